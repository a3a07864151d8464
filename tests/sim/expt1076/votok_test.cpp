#include "votok.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "kterr.h"
#include "tempdir.h"
#include "vofixture.h"

namespace {

constexpr int WRAP = VOTOK_WRAP, NLB = VOTOK_NLBEFORE, NL = VOTOK_NLAFTER, IN = VOTOK_INDENT,
              HANG = VOTOK_HANG, UNHANG = VOTOK_UNHANG, OUT = VOTOK_DEDENT, WARN = VOTOK_WARNING,
              ERR = VOTOK_ERROR;

using TokenWriter = TranslatorTest;

TEST_F(TokenWriter, LayoutOfTheTokens) {
    const std::string x70(70, 'x'), sp70(70, ' '), x300(300, 'x');
    const struct {
        const char* what;
        std::vector<std::pair<int, std::string>> tokens;
        std::string text;
    } cases[] = {
        {"the indent comes with a line's first text",
         {{IN | NL, "entity E is"}, {NL, "a;"}, {0, "b"}, {NL, "c;"}, {OUT | NL, "end E;"}},
         "entity E is\n    a;\n    bc;\nend E;\n"},
        {"an empty token inside a level is a line of spaces",
         {{IN | NL, "begin"}, {NL, ""}, {OUT | NL, "end;"}},
         "begin\n    \nend;\n"},
        {"a break before breaks even an empty line",
         {{NL, "a;"}, {IN | NLB | NL, "b"}},
         "a;\n\nb\n"},
        {"a hanging indent lines up under the text until unhung",
         {{IN | NL, "entity E is"},
          {HANG, "port ("},
          {NL, "a : in bit;"},
          {UNHANG | NL, "b : out bit);"},
          {NL, "c"}},
         "entity E is\n    port (a : in bit;\n          b : out bit);\n    c\n"},
        {"unhang wins over hang in one token",
         {{HANG, "xx"}, {HANG | UNHANG | NL, "yy"}, {NL, "z"}},
         "xxyy\nz\n"},
        {"a warning stands at column 0, then the line goes on where it was",
         {{0, "    abcdefgh"}, {WARN | NL, "check this"}, {NL, "rest"}},
         "    abcdefgh\n--WARNING: check this\n            \nrest\n"},
        {"a warning at column 0 needs no extra line",
         {{WARN, "w"}, {NL, "x"}},
         "--WARNING: w\nx\n"},
        {"an error returns to the indented column",
         {{IN, ""}, {0, "sig"}, {ERR, "bad type"}, {NL, ";"}},
         "    sig\n--ERROR: bad type\n       ;\n"},
        {"plain and indented comments",
         {{IN | NL, "x"}, {VOTOK_COMMENT, "at zero"}, {VOTOK_ICOMMENT, "indented"}, {NL, ""}},
         "x\n--at zero\n    --indented\n"},
        {"a trailing comment ends at the width of 76",
         {{0, "0123456789"}, {VOTOK_TRAILING | NL, "note"}},
         "0123456789" + std::string(60, ' ') + "--note\n"},
        {"a trailing comment that cannot fit breaks first",
         {{0, x70}, {VOTOK_TRAILING | NL, "note"}},
         x70 + "\n" + sp70 + "--note\n"},
        {"wrap breaks only when the text would pass the width",
         {{0, x70}, {WRAP, "bcdef"}, {WRAP, "gh"}},
         x70 + "bcdef\ngh"},
        {"texts and indents of any length come whole",
         {{0, x300}, {WARN | NL, x300}, {IN | NL, ""}, {HANG, x70}, {NL, x300}, {NL, "y"}},
         x300 + "\n--WARNING: " + x300 + "\n" + std::string(300, ' ') + "\n\n    " + x70 + x300 +
             "\n" + std::string(74, ' ') + "y\n"},
    };
    for (const auto& c : cases) {
        writeToMemory();
        for (const auto& [mode, text] : c.tokens) votok(mode, text.c_str());
        EXPECT_EQ(written(), c.text) << c.what;
    }
}

using TokenWriterDeathTest = TranslatorTest;

TEST_F(TokenWriterDeathTest, WriteErrorsAndNoOpenFileEndTheRun) {
    EXPECT_EXIT(
        {
            vo->file->fp = std::fopen("/dev/full", "w");
            std::setvbuf(vo->file->fp, nullptr, _IONBF, 0);
            votok(NL, "entity E is");
        },
        ::testing::ExitedWithCode(1), "543(.|\n)*Aborted");
    // A write that fails only when the buffer is flushed at the close.
    EXPECT_EXIT(
        {
            vo->file->fp = std::fopen("/dev/full", "w");
            votok(NL, "short");
            vofclose();
        },
        ::testing::ExitedWithCode(1), "543");
    EXPECT_EXIT(votok(NL, "x"), ::testing::ExitedWithCode(1), "542");
}

using Dialogue = TranslatorTest;

TEST_F(Dialogue, FirstWordOrTheDefaultCutToTheBuffer) {
    answer("  yes please\n\n" + std::string(200, 'a') + "\nsecond\nabcdefgh\n");
    char out[256];
    EXPECT_STREQ(getreply("Go on?", "No", out, sizeof out), "yes");
    EXPECT_STREQ(getreply("Q", "No", out, sizeof out), "No");
    // An overlong line is cut, and its rest is not the next answer.
    EXPECT_EQ(std::string(getreply("Q", nullptr, out, sizeof out)), std::string(80, 'a'));
    EXPECT_STREQ(getreply("Q", nullptr, out, sizeof out), "second");
    EXPECT_STREQ(getreply("Q", nullptr, out, 4), "abc");
    // The end of the input takes the default too.
    EXPECT_STREQ(getreply("Q", "No", out, sizeof out), "No");
    EXPECT_STREQ(getreply("Name", nullptr, out, sizeof out), "");
    EXPECT_EQ(asked(), "Go on?[No]: Q[No]: Q: Q: Q: Q[No]: Name: ");
}

using Overwrite = TranslatorTest;

TEST_F(Overwrite, AskedOnlyForAnExistingModelAndNeverWithOOrU) {
    TempDir dir;
    vo->cmdl->outdir = vostcpy(dir.path().c_str());
    dir.write("and2.vhd", "old model\n");
    const std::string question = "Overwrite " + dir.path("and2.vhd") + "?[No]: ";
    answer("no\n\ny\n");
    // Declined, or no answer: the file stays as it was.
    EXPECT_EQ(vofopen("AND2", "VHD"), 0);
    EXPECT_EQ(vo->file->fp, nullptr);
    EXPECT_EQ(vofopen("and2", "vhd"), 0);
    EXPECT_EQ(dir.read("and2.vhd"), "old model\n");
    ASSERT_EQ(vofopen("And2", "vhd"), 1);
    votok(NL, "new");
    vofclose();
    EXPECT_EQ(dir.read("and2.vhd"), "new\n");
    // A new file is named in lower case and not asked for.
    ASSERT_EQ(vofopen("OR3", "VHD"), 1);
    vofclose();
    EXPECT_TRUE(dir.exists("or3.vhd"));
    vo->cmdl->overwrite = 1;  // -o
    EXPECT_EQ(vofopen("and2", "vhd"), 1);
    vofclose();
    vo->cmdl->overwrite = 0;
    voGraphicsMode = 1;  // -u
    EXPECT_EQ(vofopen("and2", "vhd"), 1);
    vofclose();
    EXPECT_EQ(asked(), question + question + question);
    EXPECT_EQ(vo->warnings, 3) << "a warning comes with each question";
}

// The names in a directory, hidden ones too.
std::vector<std::string> entries(const TempDir& dir) {
    std::vector<std::string> out;
    for (const auto& e : std::filesystem::directory_iterator(dir.path()))
        out.push_back(e.path().filename());
    std::sort(out.begin(), out.end());
    return out;
}

class OutputFile : public TranslatorTest {
protected:
    void SetUp() override {
        TranslatorTest::SetUp();
        vo->cmdl->outdir = vostcpy(dir.path().c_str());
        vo->cmdl->overwrite = 1;
        dir.write("and2.vhd", "old model\n");
        chmod(dir.path("and2.vhd").c_str(), 0640);
    }
    void writeModel(const std::string& text) {
        ASSERT_EQ(vofopen("and2", "vhd"), 1);
        votok(NL, text.c_str());
    }
    TempDir dir;
};

TEST_F(OutputFile, AppearsWholeInOneStepAndKeepsThePermissions) {
    writeModel("new");
    EXPECT_EQ(dir.read("and2.vhd"), "old model\n") << "the old model stands until the close";
    EXPECT_EQ(entries(dir).size(), 2u);
    vofclose();
    EXPECT_EQ(dir.read("and2.vhd"), "new\n");
    EXPECT_EQ(entries(dir), std::vector<std::string>{"and2.vhd"});
    struct stat st;
    ASSERT_EQ(stat(dir.path("and2.vhd").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0640u);
    // A link at the model's path is replaced, and what it named stays.
    dir.write("elsewhere.txt", "not a model\n");
    std::filesystem::remove(dir.path("and2.vhd"));
    std::filesystem::create_symlink("elsewhere.txt", dir.path("and2.vhd"));
    writeModel("newer");
    vofclose();
    EXPECT_FALSE(std::filesystem::is_symlink(dir.path("and2.vhd")));
    EXPECT_EQ(dir.read("and2.vhd"), "newer\n");
    // What replaces a link is a new file: the permissions any new file gets.
    const mode_t mask = umask(0);
    umask(mask);
    ASSERT_EQ(stat(dir.path("and2.vhd").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0666u & ~mask);
    EXPECT_EQ(dir.read("elsewhere.txt"), "not a model\n");
}

// Lines of rising length, some longer than a whole block, as votok writes them.
std::string manyLines(int count) {
    std::string expected;
    for (int i = 0; i < count; ++i) {
        const std::string line(static_cast<size_t>(i * 37 % 300 + (i % 50 == 0 ? 20000 : 0)),
                               static_cast<char>('a' + i % 26));
        votok(IN | NL, line.c_str());
        votok(NL, "x");
        votok(OUT, "");
        expected += line + "\n    x\n";
    }
    return expected;
}

TEST_F(OutputFile, ALongModelComesWholeThroughTheBlocks) {
    ASSERT_EQ(vofopen("and2", "vhd"), 1);
    const std::string expected = manyLines(400);
    vofclose();
    EXPECT_EQ(dir.read("and2.vhd"), expected);
}

using OutputFileDeathTest = OutputFile;

// Writes past `bytes` of any file fail as on a full disk.
void limitFileSize(rlim_t bytes) {
    rlimit limit{bytes, bytes};
    setrlimit(RLIMIT_FSIZE, &limit);
    signal(SIGXFSZ, SIG_IGN);
}

TEST_F(OutputFileDeathTest, AnyEndBeforeTheCloseLeavesTheOldFileAndNoOther) {
    // A disk that fills: no write past the first 64 bytes of any file.
    EXPECT_EXIT(
        {
            limitFileSize(64);
            writeModel(std::string(200, 'x'));
            vofclose();
        },
        ::testing::ExitedWithCode(1), "543");
    // The run ends at the token that fills a block, not at the close.
    EXPECT_EXIT(
        {
            limitFileSize(100000);
            ASSERT_EQ(vofopen("and2", "vhd"), 1);
            manyLines(4000);
            std::exit(0);
        },
        ::testing::ExitedWithCode(1), "543");
    EXPECT_EXIT(
        {
            writeModel("half a model");
            raise(SIGTERM);
        },
        ::testing::KilledBySignal(SIGTERM), "");
    EXPECT_EXIT(
        {
            writeModel("half a model");
            ktErrReport2("test", KT_ERR_FATAL, "the end");
        },
        ::testing::ExitedWithCode(3), "the end");
    EXPECT_EQ(dir.read("and2.vhd"), "old model\n");
    EXPECT_EQ(entries(dir), std::vector<std::string>{"and2.vhd"});
    // What the user may not write, and what is no file, is not replaced.
    chmod(dir.path("and2.vhd").c_str(), 0444);
    EXPECT_EXIT(writeModel("new"), ::testing::ExitedWithCode(1), "546");
    dir.mkdir("or3.vhd");
    EXPECT_EXIT(vofopen("or3", "vhd"), ::testing::ExitedWithCode(1), "546");
    EXPECT_EQ(dir.read("and2.vhd"), "old model\n");
}

}  // namespace
