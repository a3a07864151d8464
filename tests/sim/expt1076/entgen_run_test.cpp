// The program as a user runs it: banner, options, exit statuses, summary.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "runprog.h"
#include "tempdir.h"

namespace {

const char* kBanner = "ENTGEN TRANSLATOR - V5.3.1; Wexcombe 5.3.2 (052595)\n";

const char* kAnd2 =
    "V 5\nY 1\nP 1 0 0 0 0 1\nL 1 0 0 8 0 1 0 0 A\nA 1 0 8 0 1 0 PINTYPE=IN\n"
    "P 1 0 0 0 0 1\nL 1 0 1 8 0 1 0 0 Y\nA 1 0 8 0 1 0 PINTYPE=OUT\nE\n";

// The library list of a run: the writable library "cells" holding and2.1.
void cells(const TempDir& dir) {
    dir.write("scrivet.ini", "; libraries of the test\nDIR [w] ./cells (cells)\n");
    dir.write("cells/sym/and2.1", kAnd2);
}

size_t count(const std::string& text, const std::string& what) {
    size_t n = 0;
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++n;
    return n;
}

TEST(ProgramRun, BannerComesFirstAndTheModelGoesBesideTheSymbol) {
    TempDir dir;
    cells(dir);
    RunResult r = runEntgen(dir.path(), {"-o", "cells:and2"});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out.rfind(kBanner, 0), 0u) << r.out;
    EXPECT_NE(r.out.find("\nProcessing design: cells:and2.1\nOutput directory: " +
                         dir.path("cells/behv/") + "\n"),
              std::string::npos)
        << r.out;
    EXPECT_TRUE(dir.exists("cells/behv/and2.vhd"));
    EXPECT_NE(r.err.find("Completed for CELLS:AND2.1: 0 error(s), 0 warning(s)"), std::string::npos)
        << r.err;
}

TEST(ProgramRun, QuietOptionDropsTheBannerAndIsStillABadOption) {
    TempDir dir;
    cells(dir);
    RunResult r = runEntgen(dir.path(), {"-Q"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out.find("ENTGEN TRANSLATOR"), std::string::npos);
    EXPECT_NE(r.err.find("\nUsage: ENTGEN [-l library] [symbol.ext] [-switched options]\n\n"),
              std::string::npos);
    EXPECT_NE(r.err.find("Translation Completed"), std::string::npos) << r.err;
    EXPECT_EQ(r.err.find("Translate library or symbol?"), std::string::npos);
}

TEST(ProgramRun, DirectoryOptionWithoutValueEndsWithStatusOne) {
    TempDir dir;
    cells(dir);
    for (auto args : {std::vector<std::string>{"cells:and2", "-d", "-i"},
                      std::vector<std::string>{"cells:and2", "-d"}}) {
        RunResult r = runEntgen(dir.path(), args);
        EXPECT_EQ(r.status, 1);
        EXPECT_NE(r.out.find("\n ERROR: expecting to find directory name after (-d).\n"),
                  std::string::npos);
        EXPECT_NE(r.err.find("Translation Completed"), std::string::npos) << r.err;
    }
}

TEST(ProgramRun, LibraryThenDirectoryIsRefusedButNotTheOtherWayRound) {
    TempDir dir;
    cells(dir);
    RunResult r = runEntgen(dir.path(), {"-l", "cells", "-d", "out"});
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.out.find("\n ERROR: Option (-l) and (-d) can not be use together.\n"),
              std::string::npos);
    EXPECT_FALSE(dir.exists("out"));
    r = runEntgen(dir.path(), {"-d", "out", "-l", "cells"});
    EXPECT_EQ(r.status, 0) << r.err;
    // The directory is settled again for each symbol of the library.
    EXPECT_TRUE(dir.exists("cells/behv/and2.vhd"));
    EXPECT_FALSE(dir.exists("out/and2.vhd"));
}

TEST(ProgramRun, DirectoryThatCannotBeMadeLeavesTheModelBesideTheSymbol) {
    TempDir dir;
    cells(dir);
    dir.write("blocked", "");
    RunResult r = runEntgen(dir.path(), {"-d", "blocked/models", "cells:and2"});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_TRUE(dir.exists("cells/behv/and2.vhd"));
    EXPECT_NE(r.err.find("0 error(s), 0 warning(s)"), std::string::npos) << r.err;
}

TEST(ProgramRun, SymbolInNoLibraryOrInAReadOnlyOne) {
    TempDir dir;
    cells(dir);
    RunResult r = runEntgen(dir.path(), {"cells:or3"});
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find("555"), std::string::npos) << r.err;
    EXPECT_NE(r.err.find("Translation Aborted for CELLS:OR3.1"), std::string::npos) << r.err;
    dir.write("scrivet.ini", "DIR [r] ./cells (cells)\n");
    r = runEntgen(dir.path(), {"and2"});
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find("554"), std::string::npos) << r.err;
    EXPECT_FALSE(dir.exists("cells/behv"));
}

TEST(ProgramRun, MissingLibraryListIsReportedForEachName) {
    TempDir dir;
    RunResult r = runEntgen(dir.path(), {"and2", "top"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(count(r.err, "552"), 2u) << r.err;
    EXPECT_NE(r.err.find("555"), std::string::npos) << r.err;
}

TEST(ProgramRun, DeclinedOverwriteStillCompletes) {
    TempDir dir;
    cells(dir);
    dir.write("cells/behv/and2.vhd", "mine");
    RunResult r = runEntgen(dir.path(), {"cells:and2"}, "no\n");
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(dir.read("cells/behv/and2.vhd"), "mine");
    EXPECT_NE(r.err.find("Overwrite " + dir.path("cells/behv/and2.vhd") + "?[No]: "),
              std::string::npos)
        << r.err;
    EXPECT_NE(r.err.find("Completed for CELLS:AND2.1: 0 error(s), 1 warning(s)"),
              std::string::npos);
}

TEST(ProgramRun, FatalCountMakesTheSummarySayAborted) {
    TempDir dir;
    cells(dir);
    dir.mkdir("out/and2.vhd");  // no file can be created under that name
    RunResult r = runEntgen(dir.path(), {"-d", "out", "-o", "cells:and2"});
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find("Translation Aborted for CELLS:AND2.1: 1 error(s)"), std::string::npos)
        << r.err;
}

TEST(ProgramRun, MissingMessageFileIsFatal) {
    TempDir dir;
    RunResult r = runEntgen(dir.path(), {"and2"}, "", {"KDIR=" + dir.path()});
    EXPECT_EQ(r.status, 3);
    EXPECT_NE(r.err.find("*** Fatal error encountered ***"), std::string::npos);
    EXPECT_NE(r.err.find("Couldn't find message file entgen in the local or ksKDIR directories"),
              std::string::npos);
}

TEST(ProgramRun, NoArgumentsShowTheUsageThenAsk) {
    TempDir dir;
    cells(dir);
    RunResult r = runEntgen(dir.path(), {}, "s\ncells:and2\n\n\nyes\n\n");
    EXPECT_EQ(r.status, 0) << r.err;
    const std::string usageEnd = "\nAll arguments except the design name are optional.\n\n";
    size_t usage = r.err.find(usageEnd);
    ASSERT_NE(usage, std::string::npos) << r.err;
    EXPECT_EQ(r.err.find("Translate library or symbol?[symbol]: Symbol name:: "),
              usage + usageEnd.size())
        << r.err;
    EXPECT_NE(r.out.find("\nProcessing design: cells:and2.1\n"), std::string::npos) << r.out;
    EXPECT_TRUE(dir.exists("cells/behv/and2.vhd"));
}

TEST(ProgramRun, EmptyNameAtThePromptEndsWithoutSummary) {
    TempDir dir;
    cells(dir);
    RunResult r = runEntgen(dir.path(), {}, "\n\n");
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find("Translate library or symbol?[symbol]: Symbol name:: "), std::string::npos)
        << r.err;
    EXPECT_EQ(r.err.find("Translation"), std::string::npos);
}

TEST(ProgramRun, UnknownLibraryAbortsWithStatusZero) {
    TempDir dir;
    cells(dir);
    RunResult r = runEntgen(dir.path(), {"-l", "nolib"});
    EXPECT_EQ(r.status, 0);
    EXPECT_NE(r.err.find("553"), std::string::npos);
    EXPECT_NE(r.err.find("Translation Aborted for NOLIB"), std::string::npos) << r.err;
}

TEST(LibraryRun, LowestVersionOfEachSymbolAndOneReportPerStrayFile) {
    TempDir dir;
    cells(dir);
    dir.write("cells/sym/and2.2", kAnd2);
    dir.write("cells/sym/notes.txt", "not a symbol");
    dir.write("cells/sym/or3.3", kAnd2);
    dir.write("cells/sym/or3.70", kAnd2);  // far above: looked up by a walk
    RunResult r = runEntgen(dir.path(), {"-l", "cells"});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_TRUE(dir.exists("cells/behv/and2.vhd"));
    EXPECT_TRUE(dir.exists("cells/behv/or3.vhd"));
    EXPECT_EQ(count(r.err, "528"), 1u) << r.err;
    EXPECT_NE(r.err.find("notes.txt"), std::string::npos);
    // One summary per translated symbol, each with the totals so far.
    EXPECT_EQ(count(r.err, "Translation Completed"), 2u) << r.err;
    size_t first = r.err.find("Completed for CELLS:AND2.1: 0 error(s)");
    size_t second = r.err.find("Completed for CELLS:OR3.3: 1 error(s)");
    EXPECT_NE(first, std::string::npos) << r.err;
    EXPECT_NE(second, std::string::npos) << r.err;
    EXPECT_LT(first, second);
    EXPECT_EQ(r.err.find("AND2.2"), std::string::npos);
    EXPECT_EQ(r.err.find("OR3.70"), std::string::npos);
}

}  // namespace
