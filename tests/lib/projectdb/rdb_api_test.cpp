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
