#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "tempdir.h"
#include "vofixture.h"
#include "votok.h"

namespace {

class TokenWriter : public TranslatorTest {
protected:
    void SetUp() override {
        TranslatorTest::SetUp();
        writeToMemory();
    }
};

TEST_F(TokenWriter, IndentIsAppliedWhenALineGetsItsFirstText) {
    votok(0x0C, "entity E is");
    votok(0x04, "a;");
    votok(0x00, "b");
    votok(0x04, "c;");
    votok(0x44, "end E;");
    EXPECT_EQ(written(), "entity E is\n    a;\n    bc;\nend E;\n");
}

TEST_F(TokenWriter, EmptyTokenInsideALevelIsABlankLineOfSpaces) {
    votok(0x0C, "begin");
    votok(0x04, "");
    votok(0x44, "end;");
    EXPECT_EQ(written(), "begin\n    \nend;\n");
}

TEST_F(TokenWriter, NewlineBeforeBreaksEvenAnEmptyLine) {
    votok(0x04, "a;");
    votok(0x0E, "b");
    EXPECT_EQ(written(), "a;\n\nb\n");
}

TEST_F(TokenWriter, HangingIndentLinesUpUnderTheTextUntilUnhang) {
    votok(0x0C, "entity E is");
    votok(0x10, "port (");
    votok(0x04, "a : in bit;");
    votok(0x24, "b : out bit);");
    votok(0x04, "c");
    EXPECT_EQ(written(),
              "entity E is\n"
              "    port (a : in bit;\n"
              "          b : out bit);\n"
              "    c\n");
}

TEST_F(TokenWriter, UnhangWinsOverHangInOneToken) {
    votok(0x10, "xx");
    votok(0x34, "yy");
    votok(0x04, "z");
    EXPECT_EQ(written(), "xxyy\nz\n");
}

TEST_F(TokenWriter, WarningCommentStandsAtColumnZeroThenTheLineGoesOn) {
    votok(0x00, "    abcdefgh");
    votok(0x84, "check this");
    votok(0x04, "rest");
    EXPECT_EQ(written(), "    abcdefgh\n--WARNING: check this\n            \nrest\n");
}

TEST_F(TokenWriter, WarningAtColumnZeroNeedsNoExtraLineOrSpaces) {
    votok(0x80, "w");
    votok(0x04, "x");
    EXPECT_EQ(written(), "--WARNING: w\nx\n");
}

TEST_F(TokenWriter, ErrorCommentReturnsToTheIndentedColumn) {
    votok(0x08, "");
    votok(0x00, "sig");
    votok(0x100, "bad type");
    votok(0x04, ";");
    EXPECT_EQ(written(), "    sig\n--ERROR: bad type\n       ;\n");
}

TEST_F(TokenWriter, PlainAndIndentedComments) {
    votok(0x0C, "x");
    votok(0x200, "at zero");
    votok(0x400, "indented");
    votok(0x04, "");
    EXPECT_EQ(written(), "x\n--at zero\n    --indented\n");
}

TEST_F(TokenWriter, TrailingCommentEndsAtTheLineWidth) {
    votok(0x00, "0123456789");
    votok(0x804, "note");
    std::string line = written();
    ASSERT_EQ(line.back(), '\n');
    line.pop_back();
    EXPECT_EQ(line.size(), 76u);
    EXPECT_EQ(line.substr(line.size() - 6), "--note");
}

TEST_F(TokenWriter, TrailingCommentThatCannotFitBreaksFirst) {
    votok(0x00, std::string(70, 'x').c_str());
    votok(0x804, "note");
    std::string text = written();
    EXPECT_EQ(text, std::string(70, 'x') + "\n" + std::string(70, ' ') + "--note\n");
}

TEST_F(TokenWriter, WrapBreaksOnlyWhenTheTextWouldPassTheWidth) {
    votok(0x00, std::string(70, 'a').c_str());
    votok(0x01, "bcdef");  // 75: fits
    votok(0x01, "gh");     // 77: does not
    EXPECT_EQ(written(), std::string(70, 'a') + "bcdef\ngh");
}

TEST_F(TokenWriter, ResetReturnsTheChannelToItsStartValues) {
    votok(0x1C, "abc");
    vofilereset(vo->file);
    EXPECT_EQ(vo->file->level, 0);
    EXPECT_EQ(vo->file->hang, 0);
    EXPECT_EQ(vo->file->unit, 4);
    EXPECT_EQ(vo->file->width, 76);
    EXPECT_EQ(vo->file->column, 0);
}

using TokenWriterDeathTest = TranslatorTest;

TEST_F(TokenWriterDeathTest, WriteErrorEndsTheRunAsAborted) {
    EXPECT_EXIT(
        {
            vo->file->fp = std::fopen("/dev/full", "w");
            std::setvbuf(vo->file->fp, nullptr, _IONBF, 0);
            votok(0x04, "entity E is");
        },
        ::testing::ExitedWithCode(1), "543(.|\n)*Aborted");
}

TEST_F(TokenWriterDeathTest, TextWithNoOutputOpenIsFatal) {
    EXPECT_EXIT(votok(0x04, "x"), ::testing::ExitedWithCode(1), "542");
}

TEST_F(TokenWriterDeathTest, FailedFlushAtCloseIsAWriteError) {
    EXPECT_EXIT(
        {
            vo->file->fp = std::fopen("/dev/full", "w");
            votok(0x04, "short");
            vofclose();
        },
        ::testing::ExitedWithCode(1), "543");
}

// Answers to questions come from a string; questions go to a string.
class Dialogue : public TranslatorTest {
protected:
    void answer(const std::string& input) {
        input_ = input;
        in_ = fmemopen(input_.data(), input_.size(), "r");
        out_ = open_memstream(&asked_, &askedLen_);
        voreplyin = in_;
        voreplyout = out_;
    }
    std::string asked() {
        std::fflush(out_);
        return std::string(asked_, askedLen_);
    }
    void TearDown() override {
        if (in_) std::fclose(in_);
        if (out_) std::fclose(out_);
        std::free(asked_);
        TranslatorTest::TearDown();
    }

private:
    std::string input_;
    FILE* in_ = nullptr;
    FILE* out_ = nullptr;
    char* asked_ = nullptr;
    size_t askedLen_ = 0;
};

TEST(Equal, AnyPrefixInAnyCaseMatches) {
    EXPECT_TRUE(equal("y", "Yes"));
    EXPECT_TRUE(equal("Ye", "Yes"));
    EXPECT_TRUE(equal("YES", "Yes"));
    EXPECT_TRUE(equal("", "Yes"));
    EXPECT_FALSE(equal("yess", "Yes"));
    EXPECT_FALSE(equal("n", "Yes"));
    EXPECT_FALSE(equal("No", "N"));
}

TEST_F(Dialogue, OnlyTheFirstWordCounts) {
    answer("  yes please\n");
    char out[80];
    EXPECT_STREQ(getreply("Go on?", "No", out, sizeof out), "yes");
    EXPECT_EQ(asked(), "Go on?[No]: ");
}

TEST_F(Dialogue, EmptyLineAndEndOfInputTakeTheDefault) {
    answer("\n");
    char out[80];
    EXPECT_STREQ(getreply("Q", "No", out, sizeof out), "No");
    EXPECT_STREQ(getreply("Q", "No", out, sizeof out), "No");
    EXPECT_STREQ(getreply("Name", nullptr, out, sizeof out), "");
    EXPECT_EQ(asked(), "Q[No]: Q[No]: Name: ");
}

TEST_F(Dialogue, OverlongLineIsCutAndItsRestIsNotTheNextAnswer) {
    answer(std::string(200, 'a') + "\nsecond\n");
    char out[256];
    getreply("Q", nullptr, out, sizeof out);
    EXPECT_EQ(std::string(out), std::string(80, 'a'));
    EXPECT_STREQ(getreply("Q", nullptr, out, sizeof out), "second");
}

TEST_F(Dialogue, AnswerIsCutToTheCallersBuffer) {
    answer("abcdefgh\n");
    char out[4];
    EXPECT_STREQ(getreply("Q", nullptr, out, sizeof out), "abc");
}

class Overwrite : public Dialogue {
protected:
    void SetUp() override {
        Dialogue::SetUp();
        vo->cmdl->outdir = vostcpy(dir.path().c_str());
        dir.write("and2.vhd", "old model\n");
    }
    void TearDown() override {
        vofclose();
        Dialogue::TearDown();
    }
    TempDir dir;
};

TEST_F(Overwrite, DeclinedLeavesTheFileAndWritesNothing) {
    answer("no\n");
    EXPECT_EQ(vofopen("AND2", "VHD"), 0);
    EXPECT_EQ(vo->file->fp, nullptr);
    EXPECT_EQ(dir.read("and2.vhd"), "old model\n");
    EXPECT_EQ(asked(), "Overwrite " + dir.path("and2.vhd") + "?[No]: ");
    EXPECT_EQ(vo->warnings, 1);
}

TEST_F(Overwrite, EmptyAnswerIsNo) {
    answer("\n");
    EXPECT_EQ(vofopen("and2", "vhd"), 0);
    EXPECT_EQ(dir.read("and2.vhd"), "old model\n");
}

TEST_F(Overwrite, AcceptedReplacesTheFile) {
    answer("y\n");
    ASSERT_EQ(vofopen("And2", "vhd"), 1);
    votok(0x04, "new");
    vofclose();
    EXPECT_EQ(dir.read("and2.vhd"), "new\n");
}

TEST_F(Overwrite, OptionsOAndUNeverAsk) {
    answer("no\n");
    vo->cmdl->overwrite = 1;
    EXPECT_EQ(vofopen("and2", "vhd"), 1);
    vofclose();
    vo->cmdl->overwrite = 0;
    voGraphicsMode = 1;
    EXPECT_EQ(vofopen("and2", "vhd"), 1);
    vofclose();
    EXPECT_EQ(asked(), "");
    EXPECT_EQ(vo->warnings, 0);
}

TEST_F(Overwrite, NewFileIsNamedInLowerCaseWithoutAsking) {
    answer("");
    ASSERT_EQ(vofopen("OR3", "VHD"), 1);
    vofclose();
    EXPECT_TRUE(dir.exists("or3.vhd"));
    EXPECT_EQ(asked(), "");
}

TEST_F(Overwrite, IniFileGoesToTheCurrentDirectoryUnasked) {
    TempDir cwd;
    ChdirGuard in(cwd.path());
    cwd.write("lib.ini", "old");
    answer("");
    vofopenini("LIB", "ini");
    votok(0x04, "x");
    vofclose();
    EXPECT_EQ(cwd.read("lib.ini"), "x\n");
    EXPECT_EQ(asked(), "");
}

using OverwriteDeathTest = Overwrite;

TEST_F(OverwriteDeathTest, OpeningWhileOpenIsFatal) {
    vo->cmdl->overwrite = 1;
    EXPECT_EXIT(
        {
            vofopen("a", "vhd");
            vofopen("b", "vhd");
        },
        ::testing::ExitedWithCode(1), "542");
}

TEST_F(OverwriteDeathTest, UncreatableFileIsFatal) {
    dir.mkdir("or3.vhd");  // a directory stands where the file should go
    EXPECT_EXIT(vofopen("or3", "vhd"), ::testing::ExitedWithCode(1), "546.*or3\\.vhd");
}

}  // namespace
