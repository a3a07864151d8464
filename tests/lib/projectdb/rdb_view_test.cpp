// The editor's library view: how a DIR line reads, which libraries open,
// and what each failed line leaves for the report.
#include "rdb_view.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "rdb_api.h"
#include "rdbfixture.h"

namespace {

// The DIR lines of `text`, each as "status access path (alias) {type}".
std::vector<std::string> readLines(const std::string& text) {
    std::unique_ptr<FILE, decltype(&std::fclose)> f{
        fmemopen(const_cast<char*>(text.data()), text.size(), "r"), &std::fclose};
    std::vector<std::string> out;
    int lines = 0;
    for (;;) {
        rdbiDirLine l;
        int st = rdbiReadDirLine(f.get(), &l, &lines);
        if (st == rdbStatEOF) break;
        out.push_back(std::to_string(l.line) + ": " + std::to_string(st) + " " +
                      std::to_string(l.access) + " " + l.path + " (" + l.alias + ") {" + l.type +
                      "}");
    }
    return out;
}

TEST(DirLine, AccessByNumberOrBracketedLetters) {
    EXPECT_EQ(readLines("DIR [p] ./lib (main)\n"
                        "dir 0 ./lib (main)\n"
                        "DIR 3 .\\lib\\ (w3)\n"
                        "DIR 20 ./lib\n"
                        "DIR [M] ./lib {packed}\n"
                        "DIR [rm] ./lib\n"),
              (std::vector<std::string>{
                  "1: 0 1 ./lib (main) {}", "2: 0 1 ./lib (main) {}", "3: 0 0 ./lib (w3) {}",
                  "4: 0 2 ./lib () {}", "5: 0 6 ./lib () {packed}",
                  "6: 0 8 ./lib () {}",  // the letters add up to no valid access
              }));
    // Without brackets only digits; the library list's mark l isn't taken.
    for (const char* access :
         {"p", "25", "[l]", "[pl]", "[rw]", "[pr]", "[wm]", "[mp]", "[]", "[p1]", "[pw"})
        EXPECT_EQ(readLines(std::string("DIR ") + access + " ./lib (x)\n"),
                  (std::vector<std::string>{"1: 32 8 ./lib (x) {}"}))
            << access;
}

TEST(DirLine, TheFirstFaultOfALineCounts) {
    const std::string alias32(32, 'a'), alias33(33, 'a'), type33(33, 't');
    EXPECT_EQ(
        readLines("DIR\n"
                  "DIR [p]\n"
                  "DIR [p] (lib)\n"
                  "DIR [p] ./lib main\n"
                  "DIR [p] ./lib (" +
                  alias32 + ")\nDIR [p] ./lib (" + alias33 + ")\nDIR [p] ./lib (a) {" + type33 +
                  "}\n"
                  "DIR [p] ./lib (a) {t} more\n"
                  "DIR [p] ./lib (a) | more words\n"
                  "DIR [q] ./lib (9 x\n"),
        (std::vector<std::string>{
            "1: 30 8  () {}",
            "2: 29 1  () {}",
            "3: 29 1  () {}",
            "4: 37 1 ./lib () {}",
            "5: 0 1 ./lib (" + alias32 + ") {}",
            "6: 37 1 ./lib (" + alias33 + ") {}",
            "7: 105 1 ./lib (a) {" + type33 + "}",
            "8: 30 1 ./lib (a) {t}",
            "9: 0 1 ./lib (a) {}",
            "10: 32 8 ./lib () {}",
        }));
}

TEST(DirLine, OtherLinesAreCountedAndPassedOver) {
    // The tail of a line beyond 511 characters is no line of its own.
    EXPECT_EQ(readLines("; comment\n\n| DIR [p] ./x\nPATH [p] ./x\n  dir [p] ./a (a) |" +
                        std::string(600, 'x') + " DIR [r] ./b (b)\r\nDIR [r] ./c (c)"),
              (std::vector<std::string>{"5: 0 1 ./a (a) {}", "6: 0 2 ./c (c) {}"}));
}

// A project in the test's directory and its view of scrivet.ini.
class View : public RdbTest {
protected:
    void SetUp() override {
        RdbTest::SetUp();
        shipBoth();
        ASSERT_EQ(rdbInit(1, "5.3.1", 0), 0);
        cwd.mkdir("main/sym");
        int st;
        project = rdbOpenProject(".", nullptr, "", 3, &st);
        ASSERT_EQ(st, 0);
    }
    int start(const std::string& lines) {
        cwd.write("scrivet.ini", lines);
        return rdbInitView(project, "Scrivet", "scrivet.ini");
    }
    std::vector<std::string> libraries() {
        std::vector<std::string> names;
        int st;
        for (rdbObject* l = rdbFindNextLib(project, nullptr, "*", &st); l;
             l = rdbFindNextLib(project, l, "*", &st))
            names.push_back(std::string(l->name) + (rdbObjWritable(l) ? " w" : " r"));
        return names;
    }
    std::vector<std::string> errors() {
        std::vector<std::string> out;
        char path[KS_PATHMAX], alias[33], flags[4];
        int st, line;
        for (rdbSearchPath* s = nullptr;
             (s = rdbNextLibError(project, "Scrivet", s, path, alias, flags, &st, &line));)
            out.push_back(std::to_string(line) + ": " + std::to_string(st) + " [" + flags + "] " +
                          path + " (" + alias + ")");
        return out;
    }
    rdbObject* project = nullptr;
};

TEST_F(View, LibrariesInTheOrderOfTheFileAndTheLinesThatFailed) {
    cwd.mkdir("ro/sym");
    cwd.mkdir("lib/BuiltIn");
    EXPECT_EQ(start("; libraries\n"
                    "DIR 6 ./lib/BuiltIn\n"
                    "DIR 0 ./main (Main)\n"
                    "DIR 9 ./gone (gone)\n"
                    "DIR 3 ./made (made)\n"
                    "DIR 7 ./main\n"
                    "DIR 8 ./ro (9bad)\n"
                    "DIR [x] ./main (odd)\n"),
              rdbStatLIBERRORS);
    // Ranks don't reorder the view; a missing writable library is made, a
    // missing read-only one leaves no line at all.
    EXPECT_EQ(libraries(), (std::vector<std::string>{"builtin r", "Main w", "made w"}));
    EXPECT_TRUE(cwd.exists("made"));
    EXPECT_FALSE(cwd.exists("gone"));
    EXPECT_EQ(errors(), (std::vector<std::string>{
                            "6: 53 [r] ./main ()",
                            "7: 37 [r] ./ro (9bad)",
                            "8: 32 [] ./main (odd)",
                        }));
    int st;
    EXPECT_EQ(rdbFindNextLib(project, project, "*", &st), nullptr);
    EXPECT_EQ(st, rdbStatBADLIB);
    rdbObject* main = rdbFindNextLib(project, nullptr, "m?IN", &st);
    ASSERT_NE(main, nullptr);
    EXPECT_EQ(std::string(main->path), cwd.path("main"));
}

TEST_F(View, OnePrimaryLibrary) {
    EXPECT_EQ(start("DIR [r] ./main (main)\nDIR [m] ./main (packed)\n"), rdbStatNOPRIMARY);
    // Read again from the same file: the view starts afresh.
    EXPECT_EQ(start("DIR [p] ./main (main)\nDIR [p] ./other (other)\n"), rdbStatTWOPRIMARY);
    EXPECT_EQ(errors(), (std::vector<std::string>{"2: 31 [p] ./other (other)"}));
    EXPECT_EQ(start("DIR [p] ./main (main)\n"), rdbStatOK);
    EXPECT_EQ(errors(), (std::vector<std::string>{}));
    EXPECT_EQ(rdbInitView(project, "Elsewhere", nullptr), rdbStatBADVIEW);
    EXPECT_EQ(rdbInitView(project, "Scrivet", "missing.ini"), rdbStatNOINI);
}

}  // namespace
