// The program as a user runs it: banner, options, exit statuses, summary.
#include <gtest/gtest.h>

#include "runprog.h"
#include "tempdir.h"

namespace {

const char* kBanner = "ENTGEN TRANSLATOR - V5.3.1; Wexcombe 5.3.2 (052595)\n";

TEST(ProgramRun, BannerComesFirstAndTheModelIsWritten) {
    TempDir dir;
    RunResult r = runEntgen(dir.path(), {"-o", "and2"});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out.rfind(kBanner, 0), 0u) << r.out;
    EXPECT_NE(r.out.find("\nProcessing design: and2.1\nOutput directory: current\n"),
              std::string::npos);
    EXPECT_TRUE(dir.exists("and2.vhd"));
    EXPECT_NE(r.err.find("Completed for AND2.1: 0 error(s), 0 warning(s)"), std::string::npos)
        << r.err;
}

TEST(ProgramRun, QuietOptionDropsTheBannerAndIsStillABadOption) {
    TempDir dir;
    RunResult r = runEntgen(dir.path(), {"-Q"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out.find("ENTGEN TRANSLATOR"), std::string::npos);
    EXPECT_NE(r.err.find("\nUsage: ENTGEN [-l library] [symbol.ext] [-switched options]\n\n"),
              std::string::npos);
    EXPECT_NE(r.err.find("Translation Completed"), std::string::npos) << r.err;
}

TEST(ProgramRun, DirectoryOptionWithoutValueEndsWithStatusOne) {
    TempDir dir;
    RunResult r = runEntgen(dir.path(), {"and2", "-d", "-i"});
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.out.find("\n ERROR: expecting to find directory name after (-d).\n"),
              std::string::npos);
    EXPECT_NE(r.err.find("Completed"), std::string::npos);
}

TEST(ProgramRun, DeclinedOverwriteStillCompletes) {
    TempDir dir;
    dir.write("and2.vhd", "mine");
    RunResult r = runEntgen(dir.path(), {"and2"}, "no\n");
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(dir.read("and2.vhd"), "mine");
    EXPECT_NE(r.err.find("Overwrite and2.vhd?[No]: "), std::string::npos) << r.err;
    EXPECT_NE(r.err.find("Completed for AND2.1: 0 error(s), 1 warning(s)"), std::string::npos);
}

TEST(ProgramRun, FatalCountMakesTheSummarySayAborted) {
    TempDir dir;
    dir.mkdir("out/and2.vhd");  // no file can be created under that name
    RunResult r = runEntgen(dir.path(), {"-d", "out", "-o", "and2"});
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find("Translation Aborted for AND2.1: 1 error(s)"), std::string::npos) << r.err;
}

TEST(ProgramRun, MissingMessageFileIsFatal) {
    TempDir dir;
    RunResult r = runEntgen(dir.path(), {"and2"}, "", {"KDIR=" + dir.path()});
    EXPECT_EQ(r.status, 3);
    EXPECT_NE(r.err.find("*** Fatal error encountered ***"), std::string::npos);
    EXPECT_NE(r.err.find("Couldn't find message file entgen in the local or ksKDIR directories"),
              std::string::npos);
}

TEST(ProgramRun, EmptyNameAtThePromptEndsWithoutSummary) {
    TempDir dir;
    RunResult r = runEntgen(dir.path(), {}, "\n\n");
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find("Translate library or symbol?[symbol]: Symbol name:: "),
              std::string::npos)
        << r.err;
    EXPECT_EQ(r.err.find("Translation"), std::string::npos);
}

TEST(ProgramRun, UnknownLibraryAbortsWithStatusZero) {
    TempDir dir;
    RunResult r = runEntgen(dir.path(), {"-l", "nolib"});
    EXPECT_EQ(r.status, 0);
    EXPECT_NE(r.err.find("553"), std::string::npos);
    EXPECT_NE(r.err.find("Translation Aborted for NOLIB"), std::string::npos) << r.err;
}

}  // namespace
