#include "rdb_api.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "kspath.h"
#include "kssrch.h"
#include "ktmem.h"
#include "qlm.h"
#include "tempdir.h"

namespace {

// The project database started in a directory of the test's own.
class ProjectView : public ::testing::Test {
protected:
    void SetUp() override {
        here.emplace(dir.path());
        kdir.emplace("KDIR", ENTGEN_SHARE_DIR);
        reset();
        ASSERT_EQ(rdbInit(1, "5.3.1", 0), rdbStatOK);
    }
    void TearDown() override {
        rdbExit();
        here.reset();
        reset();
    }
    static void reset() {
        qlm_free_all();
        ksGetdefReset();
        ksKdirReset();
    }
    rdbObject* project(int expected) {
        int status = -1;
        rdbObject* p = rdbOpenProject(".", nullptr, "Scrivet", 3, &status);
        EXPECT_EQ(status, expected);
        return p;
    }
    // Opens the file `name`.`ext` of the symbol directories of `library`.
    rdbObject* openFile(const char* library, const char* name, const char* ext, int* status) {
        char* ref = rdbMakeTmObjref2(library, "sym", name, ext);
        rdbObject* o = rdbOpenObject(ref, rdbModeREAD, status);
        ktMemFree(ref);
        return o;
    }
    static std::string text(FILE* f) {
        char buf[64] = "";
        std::string out = std::fgets(buf, sizeof buf, f) ? buf : "";
        std::fclose(f);
        return out;
    }

    TempDir dir;
    std::optional<ChdirGuard> here;
    std::optional<EnvGuard> kdir;
};

TEST_F(ProjectView, StartsOnceAndEndsOnce) {
    EXPECT_EQ(rdbInit(1, "5.3.1", 0), rdbStatDONE);
    EXPECT_EQ(rdbExit(), rdbStatOK);
    EXPECT_EQ(rdbExit(), rdbStatINIT);
    int status = -1;
    EXPECT_EQ(rdbOpenProject(".", nullptr, "", 3, &status), nullptr);
    EXPECT_EQ(status, rdbStatINIT);
}

TEST_F(ProjectView, ALibraryListNeedsOnePrimaryAndTellsItsFaultyLines) {
    dir.mkdir("a/sym");
    dir.write("scrivet.ini", "DIR [w] ./a (a)\n");
    project(rdbStatNOPRIMARY);
    rdbExit();
    reset();
    ASSERT_EQ(rdbInit(1, "5.3.1", 0), rdbStatOK);
    dir.write("scrivet.ini", "DIR [p] ./a (a)\n| comment\nDIR [x] ./a (b)\nDIR 0 ./a (a)\n");
    rdbObject* p = project(rdbStatLIBERRORS);
    char path[KS_PATHMAX], alias[33], flags[4];
    int status = 0, line = 0;
    rdbSPath* s = rdbNextLibError(p, "Scrivet", nullptr, path, alias, flags, &status, &line);
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(std::string(path) + " " + alias + " " + flags, "./a b x");
    EXPECT_EQ(status, 32);
    EXPECT_EQ(line, 3);
    s = rdbNextLibError(p, "Scrivet", s, path, alias, flags, &status, &line);
    ASSERT_NE(s, nullptr);  // a numeric line in a list of letters
    EXPECT_EQ(line, 4);
    EXPECT_EQ(rdbNextLibError(p, "Scrivet", s, path, alias, flags, &status, &line), nullptr);
    EXPECT_EQ(rdbInitView(p, "Other", nullptr), rdbStatBADVIEW);
    EXPECT_EQ(rdbInitView(p, "Scrivet", "none.ini"), rdbStatNOINI);
}

TEST_F(ProjectView, LibrariesByPatternWithTheirPaths) {
    for (const char* d : {"cells/sym", "gates/sym", "more/sym"}) dir.mkdir(d);
    dir.write("scrivet.ini", "DIR [p] ./cells (cells)\nDIR [r] ./gates (Gates)\nDIR [r] ./more\n");
    rdbObject* p = project(rdbStatOK);
    int status = -1;
    rdbObject* cells = rdbFindNextLib(p, nullptr, "*", &status);
    rdbObject* gates = rdbFindNextLib(p, cells, "*", &status);
    EXPECT_EQ(rdbFindNextLib(p, nullptr, "g?TES", &status), gates);
    rdbObject* more = rdbFindNextLib(p, gates, "*", &status);
    ASSERT_NE(more, nullptr);
    EXPECT_EQ(rdbFindNextLib(p, more, "*", &status), nullptr);
    char* path = static_cast<char*>(rdbGetObjProp(gates, 7, &status));
    EXPECT_EQ(std::string(path), dir.path("gates"));
    ktMemFree(path);
    char* name = static_cast<char*>(rdbGetObjProp(more, 2, &status));
    EXPECT_STREQ(name, "");
    ktMemFree(name);
    EXPECT_EQ(rdbGetObjProp(more, 99, &status), nullptr);
    EXPECT_EQ(status, rdbStatFAILURE);
}

TEST_F(ProjectView, FilesOfPlainAndMegaLibraries) {
    dir.write("cells/sym/and2.1", "plain and2\n");
    dir.write("cells/sym/and2.pin", "A B\n");
    dir.write("packed/sym.lib", "first\nsecond\n");
    dir.write("packed/sym.tbl", "or3.1 6                       ");
    dir.write("scrivet.ini", "DIR [p] ./cells (cells)\nDIR [m] ./packed (packed)\n");
    project(rdbStatOK);
    int status = -1;
    rdbObject* o = openFile("cells", "and2", "1", &status);
    ASSERT_NE(o, nullptr);
    EXPECT_EQ(status, rdbStatOK);
    // A second open of the same file gives the open object.
    EXPECT_EQ(openFile("", "and2", "1", &status), o);
    EXPECT_EQ(status, rdbStatOPEN);
    FILE* f = rdbObjGetFilePtr(o, 0, &status);
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(rdbObjGetFilePtr(o, 0, &status), nullptr);  // the caller holds it now
    EXPECT_EQ(text(f), "plain and2\n");
    EXPECT_EQ(rdbReopenObj(o, 0), rdbStatOK);
    EXPECT_EQ(rdbReopenObj(o, rdbModeREAD), rdbStatOK);
    EXPECT_EQ(text(rdbObjGetFilePtr(o, 0, &status)), "plain and2\n");
    rdbObjSetUserData(o, &status);
    EXPECT_EQ(rdbObjGetUserData(o), &status);
    EXPECT_EQ(rdbCloseObj(o, 0), rdbStatOK);

    o = openFile("", "or3", "1", &status);
    ASSERT_NE(o, nullptr);
    EXPECT_EQ(text(rdbObjGetFilePtr(o, 0, &status)), "second\n");
    rdbCloseObj(o, 0);
    o = openFile("cells", "and2", "pin", &status);
    ASSERT_NE(o, nullptr);
    rdbCloseObj(o, 0);

    EXPECT_EQ(openFile("cells", "or3", "1", &status), nullptr);
    EXPECT_EQ(status, rdbStatNOTEXIST);
    EXPECT_EQ(openFile("nolib", "and2", "1", &status), nullptr);
    EXPECT_EQ(status, rdbStatNOTEXIST);
    EXPECT_EQ(rdbMakeTmObjref2("cells", "sch", "top", "1"), nullptr);
    EXPECT_EQ(rdbMakeTmObjref2("cells", "sym", std::string(300, 'x').c_str(), "1"), nullptr);
    EXPECT_EQ(rdbOpenObject("rdbClassSYMBOL:and2@1(", rdbModeREAD, &status), nullptr);
    EXPECT_EQ(status, 48);
    EXPECT_EQ(rdbOpenObject("", rdbModeREAD, &status), nullptr);
    EXPECT_EQ(status, rdbStatNULLREF);
    EXPECT_EQ(rdbCloseObj(nullptr, 0), rdbStatFAILURE);
}

}  // namespace
