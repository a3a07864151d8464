// Mega libraries through the database: the member found by its index,
// with the index cached and not, a changed index, and the members that
// can't be had.
#include "rdb_mega.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "ktmem.h"
#include "rdb_api.h"
#include "rdbfixture.h"

namespace {

std::string record(const std::string& text) {
    return text + std::string(rdbMEGARECORD - text.size(), ' ');
}

class Mega : public RdbTest {
protected:
    void SetUp() override {
        RdbTest::SetUp();
        shipBoth();
        cwd.mkdir("a/sym");
        cwd.write("scrivet.ini", "DIR [p] ./a (a)\nDIR [m] ./m (m)\n");
        // The data file: foo.10's member, then foo.1's, then bar.1's.
        cwd.write("m/sym.lib", "foo.10\nfoo.1\nbar.1\n");
        cwd.write("m/sym.tbl", record("foo.10 0") + record("FOO.1 7") + record("bar.1 -1") +
                                   record("bar.1 13") + record("far.1 99"));
    }
    void start(const char* cache) {
        EnvGuard env{"RDBMEGACACHE", cache};
        ASSERT_EQ(rdbInit(1, "5.3.1", 0), 0);
        int st;
        rdbObject* project = rdbOpenProject(".", nullptr, "", 3, &st);
        ASSERT_EQ(rdbInitView(project, "Scrivet", "scrivet.ini"), 0);
    }
    // The first line of the member, or the status.
    static std::string member(const char* name, uint32_t mode = rdbModeREAD) {
        char* ref = rdbMakeTmObjref2("m", "sym", name, "1");
        int st;
        rdbObject* o = rdbOpenObject(ref, mode, &st);
        ktMemFree(ref);
        if (!o) return "status " + std::to_string(st);
        FILE* f = rdbObjGetFilePtr(o, 0, &st);
        EXPECT_EQ(rdbCloseObj(o, 0), 0);
        char line[64] = "";
        if (!f || !std::fgets(line, sizeof line, f)) line[0] = '\0';
        if (f) std::fclose(f);
        return line;
    }
};

TEST_F(Mega, CachedWholeNamesOrUncachedTheHeadOfARecord) {
    for (const char* cache : {"1", "0"}) {
        start(cache);
        const std::string foo = *cache == '1' ? "foo.1\n" : "foo.10\n";
        EXPECT_EQ(member("foo"), foo);
        EXPECT_EQ(member("FOO"), foo);
        // The first entry of a name decides: a negative offset doesn't count.
        EXPECT_EQ(member("bar"), "status 13");
        // An offset beyond the data can't be reached.
        EXPECT_EQ(member("far"), "status 12");
        // The library is only read, and so are its members.
        EXPECT_EQ(member("foo", rdbModeRW), "status 7");
        ASSERT_EQ(rdbExit(), 0);
    }
}

TEST_F(Mega, AChangedIndexIsReadAgain) {
    start("1");
    EXPECT_EQ(member("bar"), "status 13");
    cwd.write("m/sym.tbl", record("bar.1 13"));
    EXPECT_EQ(member("bar"), "bar.1\n");
    EXPECT_EQ(member("foo"), "status 13");
    // An empty index finds nothing; with none at all, the plain files count.
    cwd.write("m/sym.tbl", "");
    EXPECT_EQ(member("bar"), "status 13");
    std::remove(cwd.path("m/sym.tbl").c_str());
    cwd.write("m/sym/bar.1", "bar.1 unpacked\n");
    EXPECT_EQ(member("bar"), "bar.1 unpacked\n");
}

}  // namespace
