#include "vocmdlin.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "kspath.h"
#include "qlm.h"
#include "tempdir.h"
#include "vofixture.h"

namespace {

using testing::internal::CaptureStderr;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStderr;
using testing::internal::GetCapturedStdout;

const char* kSymbol = "V 5\nY 1\nE\n";

// A translator in a directory of the test's own, with an empty library
// list that the test's scrivet.ini fills.
class CommandLine : public TranslatorTest {
protected:
    void SetUp() override {
        TranslatorTest::SetUp();
        qlm_free_all();
    }
    void TearDown() override {
        qlm_free_all();
        TranslatorTest::TearDown();
    }

    // The library "cells" in the directories one (read-only) and two.
    void cells() {
        dir_.write("scrivet.ini", "DIR [r] ./one (cells)\nDIR [w] ./two (cells)\n");
        dir_.mkdir("one");
        dir_.write("two/sym/and2.1", kSymbol);
        dir_.write("two/sym/and2.2", kSymbol);
    }

    // Runs vocmdlin on the words; gives what it printed on standard output.
    std::string run(std::vector<const char*> words) {
        words.insert(words.begin(), "entgen");
        vocmdlfree(vo->cmdl);
        vo->cmdl = nullptr;
        CaptureStdout();
        vocmdlin(static_cast<int>(words.size()), const_cast<char**>(words.data()));
        return GetCapturedStdout();
    }

    TempDir dir_;
    ChdirGuard here_{dir_.path()};
};

using LibraryListFile = CommandLine;

TEST_F(LibraryListFile, ReportsEachBadLineAndGoesOn) {
    dir_.mkdir("a");
    dir_.mkdir("b");
    // 511 characters fit; the 512th cuts a line, and its tail, which reads
    // like a DIR line of its own, is no line.
    std::string fits = "DIR [w] ./a (long) |" + std::string(491, 'x');
    std::string cut = "DIR [w] ./a (cut) |" + std::string(492, 'y') + " DIR [w] ./a (tail)";
    dir_.write("scrivet.ini", "; a comment\r\n  dir [w] ./a (cells)\r\nDIR [q] ./a\n" + fits +
                                  "\n" + cut +
                                  "\nDIRECTORY [w] ./a (x)\nDir\t[r] ./missing (cells)\n"
                                  "\tDIR [r] ./b (Cells)");
    CaptureStderr();
    read_tmdir(0);
    std::string err = GetCapturedStderr();
    EXPECT_NE(err.find("Line 3 of scrivet.ini is not a valid DIR line"), std::string::npos) << err;
    EXPECT_NE(err.find("Line 5 of scrivet.ini"), std::string::npos) << err;
    EXPECT_NE(err.find("its directory does not exist: DIR\t[r] ./missing (cells)"),
              std::string::npos)
        << err;
    EXPECT_EQ(vo->errors, 2);
    EXPECT_EQ(vo->fatals, 1);
    EXPECT_EQ(qlm_library_exists("long"), 1);
    EXPECT_EQ(qlm_library_exists("cut") + qlm_library_exists("tail"), 0);
    kqLibDirectory* first = qlm_id_next_libdir(nullptr, "cells");
    ASSERT_NE(first, nullptr);
    EXPECT_STREQ(qlm_id_get_path(qlm_id_next_libdir(first, "cells")), dir_.path("b").c_str());
    // Read again, for the next name of the command line: only the bad
    // lines are told again, and the list stays as it was.
    CaptureStderr();
    read_tmdir(0);
    GetCapturedStderr();
    EXPECT_EQ(vo->errors, 4);
    EXPECT_EQ(vo->fatals, 2);
    int entries = 0;
    for (kqLibDirectory* e = qlm_id_next_dir(nullptr); e; e = qlm_id_next_dir(e)) ++entries;
    EXPECT_EQ(entries, 3);
}

TEST_F(CommandLine, NameGetsVersionOneAndLevelsShowOldestFirst) {
    cells();
    std::string out = run({"cells:and2", "top", "mid"});
    EXPECT_EQ(out, "\nProcessing design: cells:and2.1\nLevel(s):  top  mid\nOutput directory: " +
                       dir_.path("two/behv/") + "\n\n");
    ASSERT_NE(vo->cmdl->levels, nullptr);
    EXPECT_STREQ(vo->cmdl->levels->name, "mid");
    EXPECT_EQ(vo->cmdl->kind, 2);
    EXPECT_EQ(vo->cmdl->library, 0);
}

TEST_F(CommandLine, LibraryNameKeepsItsFormAndHasNoDirectoryYet) {
    cells();
    std::string out = run({"-L", "cells", "-i", "-O", "-S", "-u"});
    EXPECT_EQ(out, "\nProcessing design: cells\nOutput directory: current\n\n");
    EXPECT_EQ(vo->cmdl->library, 1);
    EXPECT_EQ(vo->cmdl->writeini, 1);
    EXPECT_EQ(vo->cmdl->overwrite, 1);
    EXPECT_EQ(vo->cmdl->vectors, 0);
    EXPECT_EQ(voGraphicsMode, 1);
}

using Prompts = CommandLine;

TEST_F(Prompts, ShortAnswersInAnyCase) {
    cells();
    read_tmdir(0);
    answer("L\ncells\n\nyEs\nn\nY\n");
    voprompt();
    EXPECT_EQ(asked(),
              "Translate library or symbol?[symbol]: Library name: Output directory[current]: "
              "Write .ini file?[No]: To overwrite existed VHDL models?[No]: Expand buses?[No]: ");
    EXPECT_EQ(vo->cmdl->library, 1);
    EXPECT_STREQ(vo->cmdl->name, "cells");
    EXPECT_EQ(vo->cmdl->outdir, nullptr);
    EXPECT_EQ(vo->cmdl->writeini, 1);
    EXPECT_EQ(vo->cmdl->overwrite, 0);
    EXPECT_EQ(vo->cmdl->vectors, 0);
}

}  // namespace
