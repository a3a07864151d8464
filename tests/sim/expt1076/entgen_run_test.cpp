// The program as a user runs it: banner, options, exit statuses, the
// reports with their numbers and locations, the log file, and the summary,
// whose counts follow the translator's own tally.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "runprog.h"
#include "tempdir.h"

namespace {

using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

const char* kAnd2 =
    "V 5\nY 1\nP 1 0 0 0 0 1\nL 1 0 0 8 0 1 0 0 A\nA 1 0 8 0 1 0 PINTYPE=IN\n"
    "P 1 0 0 0 0 1\nL 1 0 1 8 0 1 0 0 Y\nA 1 0 8 0 1 0 PINTYPE=OUT\nE\n";

size_t count(const std::string& text, const std::string& what) {
    size_t n = 0;
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++n;
    return n;
}

// A run's directory with the library list, the primary library "cells"
// holding and2.1, and an initialization file that changes nothing.
class ProgramRun : public ::testing::Test {
protected:
    void SetUp() override {
        dir.write("scrivet.ini", "; libraries of the test\nDIR [p] ./cells (cells)\n");
        dir.write("entgen.ini", "ENTGEN 5.3.1\n");
        dir.write("cells/sym/and2.1", kAnd2);
    }
    RunResult run(const std::vector<std::string>& args, const std::string& input = "",
                  const std::vector<std::string>& env = {}) {
        return runEntgen(dir.path(), args, input, env);
    }
    // The logs of the runs, by name.
    std::vector<std::string> logs() const {
        std::vector<std::string> out;
        for (const auto& e : std::filesystem::directory_iterator(dir.path()))
            if (e.path().extension() == ".err") out.push_back(e.path().filename());
        return out;
    }
    TempDir dir;
};

TEST_F(ProgramRun, BannerFirstAndAnUnmadeDirectoryLeavesTheModelBesideTheSymbol) {
    dir.write("blocked", "");
    RunResult r = run({"-d", "blocked/models", "-o", "cells:and2"});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_THAT(r.out, StartsWith("ENTGEN TRANSLATOR - V5.3.1; Wexcombe 5.3.2 (052595)\n"));
    EXPECT_THAT(r.out, HasSubstr("\nProcessing design: cells:and2.1\nOutput directory: " +
                                 dir.path("cells/behv/") + "\n"));
    EXPECT_TRUE(dir.exists("cells/behv/and2.vhd"));
    // Reports show their number and location: a symbol's, or none.
    EXPECT_EQ(r.err,
              "entgen: Status 511: - sym AND2:  Wrote entity of primitive AND2 to and2.vhd.\n"
              "entgen: Status 514:  :  Translation Completed for CELLS:AND2.1: 0 error(s), 0 "
              "warning(s).\n");
}

TEST_F(ProgramRun, DebugAllocatorEndsTheRunWithItsUsageReport) {
    RunResult r = run({"-o", "cells:and2"}, "", {"KT_MEMDBG=1"});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_TRUE(dir.exists("cells/behv/and2.vhd"));
    // After the run's own output, on standard output, and with no guard broken.
    size_t report = r.out.find("\nMaximum memory usage=");
    ASSERT_NE(report, std::string::npos) << r.out;
    EXPECT_LT(r.out.find("Output directory"), report);
    EXPECT_NE(r.out.find("\nUnfreed strings:\n", report), std::string::npos);
    EXPECT_THAT(r.err, Not(HasSubstr("violation")));
}

TEST_F(ProgramRun, QuietOptionDropsTheBannerAndIsStillABadOption) {
    RunResult r = run({"-Q"});
    EXPECT_EQ(r.status, 1);
    EXPECT_THAT(r.out, Not(HasSubstr("ENTGEN TRANSLATOR")));
    EXPECT_THAT(r.err,
                HasSubstr("\nUsage: ENTGEN [-l library] [symbol.ext] [-switched options]\n\n"));
    EXPECT_THAT(r.err, HasSubstr("Translation Completed"));
    EXPECT_THAT(r.err, Not(HasSubstr("Translate library or symbol?")));
}

TEST_F(ProgramRun, DirectoryOptionWithoutValueEndsWithStatusOne) {
    for (auto args : {std::vector<std::string>{"cells:and2", "-d", "-i"},
                      std::vector<std::string>{"cells:and2", "-d"}}) {
        RunResult r = run(args);
        EXPECT_EQ(r.status, 1);
        EXPECT_THAT(r.out, HasSubstr("\n ERROR: expecting to find directory name after (-d).\n"));
        EXPECT_THAT(r.err, HasSubstr("Translation Completed"));
    }
}

TEST_F(ProgramRun, LibraryThenDirectoryIsRefusedButNotTheOtherWayRound) {
    RunResult r = run({"-l", "cells", "-d", "out"});
    EXPECT_EQ(r.status, 1);
    EXPECT_THAT(r.out, HasSubstr("\n ERROR: Option (-l) and (-d) can not be use together.\n"));
    EXPECT_FALSE(dir.exists("out"));
    r = run({"-d", "out", "-l", "cells"});
    EXPECT_EQ(r.status, 0) << r.err;
    // The directory is settled again for each symbol of the library.
    EXPECT_TRUE(dir.exists("cells/behv/and2.vhd"));
    EXPECT_FALSE(dir.exists("out/and2.vhd"));
}

TEST_F(ProgramRun, SymbolInNoLibraryOrInAReadOnlyOne) {
    RunResult r = run({"cells:or3"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.err,
              "entgen: Error 555:  :  Symbol or3.1 was not found in the library list (library "
              "part of the name: \"cells\").\n"
              "entgen: Status 514:  :  Translation Aborted for CELLS:OR3.1: 1 error(s), 0 "
              "warning(s).\n");
    dir.write("scrivet.ini", "DIR [r] ./cells (cells)\n");
    r = run({"and2"});
    EXPECT_EQ(r.status, 1);
    // The name has no library part, and the report says so.
    EXPECT_THAT(r.err, HasSubstr("Error 554:  :  The library of the symbol is read-only: no "
                                 "model can be written beside it (library part of the name: "
                                 "\"\")."));
    EXPECT_FALSE(dir.exists("cells/behv"));
}

TEST_F(ProgramRun, FatalCountMakesTheSummarySayAborted) {
    dir.mkdir("out/and2.vhd");  // no file can be created under that name
    RunResult r = run({"-d", "out", "-o", "cells:and2"});
    EXPECT_EQ(r.status, 1);
    EXPECT_THAT(r.err, HasSubstr("Translation Aborted for CELLS:AND2.1: 1 error(s)"));
}

TEST_F(ProgramRun, NoArgumentsShowTheUsageThenAsk) {
    RunResult r = run({}, "s\ncells:and2\n\n\nyes\n\n");
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_THAT(r.err, HasSubstr("\nAll arguments except the design name are optional.\n\n"
                                 "Translate library or symbol?[symbol]: Symbol name:: "));
    EXPECT_THAT(r.out, HasSubstr("\nProcessing design: cells:and2.1\n"));
    EXPECT_TRUE(dir.exists("cells/behv/and2.vhd"));
}

TEST_F(ProgramRun, EmptyNameAtThePromptEndsWithoutSummary) {
    RunResult r = run({}, "\n\n");
    EXPECT_EQ(r.status, 1);
    EXPECT_THAT(r.err, HasSubstr("Translate library or symbol?[symbol]: Symbol name:: "));
    EXPECT_THAT(r.err, Not(HasSubstr("Translation")));
}

TEST_F(ProgramRun, DeclinedOverwriteIsAWarningWithItsNumberAndEntersTheLog) {
    dir.write("cells/behv/and2.vhd", "mine");
    RunResult r = run({"cells:and2"}, "no\n");
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(dir.read("cells/behv/and2.vhd"), "mine");
    const std::string model = dir.path("cells/behv/and2.vhd");
    EXPECT_EQ(r.err, "entgen: Warning 558:  :  File " + model + " already exists.\nOverwrite " +
                         model +
                         "?[No]: entgen: Status 514:  :  Translation Completed for CELLS:AND2.1: 0 "
                         "error(s), 1 warning(s).\n");
    std::vector<std::string> files = logs();
    ASSERT_EQ(files.size(), 1u);
    // The log opened when the project database started, under the name of
    // its master file.
    EXPECT_EQ(files[0], "rd520.err");
    // The summary is a Status: shown, never logged.
    std::string log = dir.read(files[0]);
    EXPECT_THAT(log, StartsWith("entgen: Warning 558:  : "));
    EXPECT_EQ(count(log, "\n"), 1u) << log;
    // A log that cannot be written costs one warning, which is not counted.
    std::filesystem::remove(dir.path(files[0]));
    dir.write("notadir", "");
    r = run({"cells:and2"}, "no\n", {"KT_LOGDIR=" + dir.path("notadir")});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(count(r.err, "ktErrLog: Warning 1120: "), 1u) << r.err;
    EXPECT_EQ(count(r.err, "1120"), 1u);
    EXPECT_THAT(r.err, HasSubstr("Completed for CELLS:AND2.1: 0 error(s), 1 warning(s)"));
    EXPECT_TRUE(logs().empty());
}

// wexcombe.ini holds the options of the libraries under the program; they
// are read when the project database starts, so they govern the reports
// that come after, such as the warning of an undeclared pin type. A bad
// entry is reported with its file and line and its option keeps the
// default: the log stays on, named after the master file alone; an entry
// no library declares is passed over.
TEST_F(ProgramRun, TheOptionsFileSetsTheLogAndTheStyleOfTheReports) {
    dir.write("cells/sym/pad.1",
              "V 5\nY 1\nP 1 0 0 0 0 1\nL 1 0 0 8 0 1 0 0 A\nA 1 0 8 0 1 0 PINTYPE=ANALOG\nE\n");
    const std::string file = dir.path("wexcombe.ini");
    const std::string bad = "ktlib: Error 1501: " + file + ", line ";
    const struct {
        const char* options;
        std::string reports;  // on standard error, in this order
        const char* log;      // what rd520.err begins with, or null for no log
    } cases[] = {
        {"err.logging off\n", "entgen: Warning 527: - spn .A:  Pin type ANALOG", nullptr},
        {"| for every group that has it\nstyle_stderr terse\n",
         "entgen-W-527: - spn .A:  Pin type ANALOG", "entgen: Warning 527: - spn .A:  Pin type"},
        {"err.keep_logfiles -1\nerr.colour red\nex.catch_signals perhaps\n",
         bad +
             "1:  This entry of the initialization file is bad.\n+ktlib: Error 1401:  -1 is out "
             "of range: the value must lie between 0 and 2147483647.\n" +
             bad +
             "3:  This entry of the initialization file is bad.\n+ktlib: Error 1404:  "
             "perhaps is none of the words No, Yes.\nentgen: Warning 527: ",
         "ktlib: Error 1501: "},
    };
    for (const auto& c : cases) {
        dir.write("wexcombe.ini", c.options);
        for (const std::string& log : logs()) std::filesystem::remove(dir.path(log));
        RunResult r = run({"-o", "cells:pad"});
        EXPECT_EQ(r.status, 0) << r.err;
        EXPECT_THAT(r.err, HasSubstr(c.reports)) << c.options;
        EXPECT_THAT(r.err, Not(HasSubstr(", line 2"))) << c.options;
        EXPECT_TRUE(dir.exists("cells/behv/pad.vhd"));
        if (!c.log) {
            EXPECT_TRUE(logs().empty()) << c.options;
            continue;
        }
        EXPECT_EQ(logs(), std::vector<std::string>{"rd520.err"}) << c.options;
        EXPECT_THAT(dir.read("rd520.err"), StartsWith(c.log)) << c.options;
    }
}

TEST_F(ProgramRun, AMissingMessageFileEndsTheRunThroughAFatalReport) {
    RunResult r = run({"and2"}, "", {"KDIR=" + dir.path()});
    EXPECT_EQ(r.status, 3);
    const std::string report =
        "ENTGEN: Fatal: Couldn't find message file entgen in the local or ksKDIR directories";
    EXPECT_EQ(r.err, "\n*** Fatal error encountered ***\n" + report + "\n");
    std::vector<std::string> files = logs();
    ASSERT_EQ(files.size(), 1u);
    EXPECT_EQ(dir.read(files[0]), report + "\n");
    EXPECT_THAT(r.out, Not(HasSubstr("Processing design")));
}

TEST_F(ProgramRun, LibraryWalkTakesTheLowestVersionAndReportsAStrayFileOnce) {
    dir.write("cells/sym/and2.2", kAnd2);
    dir.write("cells/sym/notes.txt", "not a symbol");
    dir.write("cells/sym/or3.3", kAnd2);
    dir.write("cells/sym/or3.70", kAnd2);  // far above: looked up by a walk
    RunResult r = run({"-l", "cells"});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_TRUE(dir.exists("cells/behv/and2.vhd"));
    EXPECT_TRUE(dir.exists("cells/behv/or3.vhd"));
    EXPECT_EQ(count(r.err, "528"), 1u) << r.err;
    EXPECT_THAT(r.err, HasSubstr("notes.txt"));
    // One summary per translated symbol, each with the totals so far.
    EXPECT_EQ(count(r.err, "Translation Completed"), 2u) << r.err;
    size_t first = r.err.find("Completed for CELLS:AND2.1: 0 error(s)");
    size_t second = r.err.find("Completed for CELLS:OR3.3: 1 error(s)");
    EXPECT_NE(first, std::string::npos) << r.err;
    EXPECT_NE(second, std::string::npos) << r.err;
    EXPECT_LT(first, second);
    EXPECT_THAT(r.err, Not(HasSubstr("AND2.2")));
    EXPECT_THAT(r.err, Not(HasSubstr("OR3.70")));
}

TEST_F(ProgramRun, ClosedStandardStreamsLendTheirPlaceToNoFile) {
    // No input: the questions take their defaults and the run ends, as at
    // the end of an input, not reading answers from a file of its own.
    RunResult r = runEntgen(dir.path(), {}, "", {}, {0});
    EXPECT_EQ(r.status, 1);
    EXPECT_THAT(r.err, HasSubstr("Translate library or symbol?[symbol]: Symbol name:: "));
    EXPECT_EQ(count(r.err, "Translate library or symbol?"), 1u) << r.err;
    // No output: the model holds the model alone, and the reports go nowhere.
    RunResult open = run({"-o", "cells:and2"});
    ASSERT_EQ(open.status, 0) << open.err;
    const std::string model = dir.read("cells/behv/and2.vhd");
    r = runEntgen(dir.path(), {"-o", "cells:and2"}, "", {}, {1, 2});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(dir.read("cells/behv/and2.vhd"), model);
}

TEST_F(ProgramRun, SupportFilesThatAreNoFilesAreNotWaitedOn) {
    // A FIFO of the message file's name is passed over for the real one; one
    // of the library list's name is a missing library list.
    ASSERT_EQ(mkfifo(dir.path("entgen.kmb").c_str(), 0644), 0);
    std::filesystem::remove(dir.path("scrivet.ini"));
    ASSERT_EQ(mkfifo(dir.path("scrivet.ini").c_str(), 0644), 0);
    RunResult r = run({"-o", "cells:and2"});
    EXPECT_EQ(r.status, 1) << r.err;
    EXPECT_THAT(r.err, HasSubstr("Error 552:"));
}

// The shipped message file with a change a hostile or damaged copy could
// bring: placed in the run's directory, it wins the search.
std::string shippedMessages() {
    std::ifstream in(ENTGEN_SHARE_DIR "/entgen.kmb", std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

uint32_t be32At(const std::string& b, size_t at) {
    uint32_t v = 0;
    for (size_t i = 0; i < 4; ++i) v = v << 8 | static_cast<unsigned char>(b[at + i]);
    return v;
}

TEST_F(ProgramRun, AMessageFileThatDoesNotFitItsArgumentsIsRefusedNotFormatted) {
    dir.write("cells/behv/and2.vhd", "the good model\n");
    // Message 515, which takes nothing, asks for two strings.
    std::string texts = shippedMessages();
    const std::string heading("-- Entity declaration\0", 22);
    size_t at = texts.find(heading);
    ASSERT_NE(at, std::string::npos);
    texts.replace(at, heading.size(), std::string("%s%s") + std::string(18, '\0'));
    // One byte of the index, and number 514 reads as 515.
    std::string index = shippedMessages();
    const size_t entries = 2 + be32At(index, 2 + 16) + 4;
    size_t entry = entries;
    while (be32At(index, entry) != 514) entry += 12;
    index[entry + 3] = 0x03;

    for (const auto& [damaged, report] : {std::pair{texts, "Error 1024"}, {index, "Error 1006"}}) {
        dir.write("entgen.kmb", damaged);
        RunResult r = run({"-o", "cells:and2"});
        EXPECT_EQ(r.status, 3) << r.err;
        EXPECT_THAT(r.err, HasSubstr(report));
        EXPECT_THAT(r.err, HasSubstr(dir.path("entgen.kmb")));
        EXPECT_EQ(dir.read("cells/behv/and2.vhd"), "the good model\n");
    }
}

TEST_F(ProgramRun, AFileThatIsNoSymbolEndsTheRunWithTheDatabasesReason) {
    dir.write("cells/sym/bad.1", "not a symbol\n");
    RunResult r = run({"cells:bad"});
    EXPECT_EQ(r.status, 1);
    EXPECT_THAT(r.out, HasSubstr("larkmoor: Error 380:  cells:bad.1 is no symbol file: its first "
                                 "line is not a \"V \" line.\n"));
    EXPECT_EQ(r.err,
              "entgen: Error 541:  - sym cells:bad.1:  Cannot read the symbol.\n"
              "entgen: Status 514:  :  Translation Aborted for CELLS:BAD.1: 2 error(s), 0 "
              "warning(s).\n");
    EXPECT_FALSE(dir.exists("cells/behv/bad.vhd"));
}

TEST_F(ProgramRun, FaultyRecordsAreReportedAndTheModelIsStillWritten) {
    dir.write("cells/sym/odd.1",
              "V 5\nU 0 0\nU 0 0 8 0 1 0 PINORDER=A B C\n+\n"
              "P 1 0 0 0 0 1\nL 1 0 0 8 0 1 0 0 A\n");
    RunResult r = run({"cells:odd"});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_TRUE(dir.exists("cells/behv/odd.vhd"));
    EXPECT_THAT(r.out, HasSubstr("larkmoor: Error 299:  Line 2 of symbol CELLS:ODD, page 1"));
    EXPECT_THAT(r.out, HasSubstr("larkmoor: Error 300:  Line 4 of symbol CELLS:ODD, page 1"));
    EXPECT_THAT(r.out, HasSubstr("larkmoor: Error 293:  "));
    EXPECT_THAT(r.out, HasSubstr("larkmoor: Note 294:  The list names 3 pins.\n"));
    // Three errors of the database; the note that continues one is not counted.
    EXPECT_THAT(r.err, HasSubstr("Translation Completed for CELLS:ODD.1: 3 error(s), 0 "
                                 "warning(s).\n"));
}

}  // namespace
