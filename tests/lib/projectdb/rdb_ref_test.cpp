// Object references and the objects they open: the grammar, the search
// along the libraries of the view, a second opening of an open object, the
// stream handed to the caller, and the directory cache.
#include "rdb_ref.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "kspath.h"
#include "ktmem.h"
#include "rdb_api.h"
#include "rdb_view.h"
#include "rdbfixture.h"

namespace {

class Objects : public RdbTest {
protected:
    void SetUp() override {
        RdbTest::SetUp();
        shipBoth();
        ASSERT_EQ(rdbInit(1, "5.3.1", 0), 0);
        cwd.write("a/sym/x.1", "x of a\n");
        cwd.write("b/sym/x.1", "x of b\n");
        cwd.write("b/sym/y.1", "y of b\n");
    }
    void view(const std::string& lines) {
        cwd.write("scrivet.ini", lines);
        int st;
        project = rdbOpenProject(".", nullptr, "", 3, &st);
        ASSERT_EQ(st, 0);
        ASSERT_EQ(rdbInitView(project, "Scrivet", "scrivet.ini"), 0);
    }
    // The first line of the symbol `name` of `library`, or the status.
    std::string symbol(const char* library, const char* name) {
        char* ref = rdbMakeTmObjref2(library, "sym", name, "1");
        std::string text = read(ref);
        ktMemFree(ref);
        return text;
    }
    static std::string read(const char* ref) {
        int st;
        rdbObject* o = rdbOpenObject(ref, rdbModeREAD, &st);
        if (!o) return "status " + std::to_string(st);
        FILE* f = rdbObjGetFilePtr(o, 0, &st);
        EXPECT_EQ(rdbCloseObj(o, 0), 0);
        char line[64] = "";
        if (!f || !std::fgets(line, sizeof line, f)) return "no text";
        std::fclose(f);
        return line;
    }
    rdbObject* project = nullptr;
};

TEST_F(Objects, FoundAlongTheLibrariesInTheOrderOfTheView) {
    // The view keeps the file's order whatever the ranks say.
    cwd.write("c/sym/y.1", "y of c\n");
    view("DIR 6 ./b (b)\nDIR 0 ./a (a)\nDIR 7 ./c (a)\n");
    EXPECT_EQ(symbol("", "x"), "x of b\n");
    EXPECT_EQ(symbol(nullptr, "y"), "y of b\n");
    EXPECT_EQ(symbol("A", "x"), "x of a\n");
    // The lines of one name are the directories of one library.
    EXPECT_EQ(symbol("a", "y"), "y of c\n");
    EXPECT_EQ(symbol("", "z"), "status 13");
    EXPECT_EQ(symbol("c", "x"), "status 13");
}

TEST_F(Objects, TheFirstLibraryThatHoldsTheFile) {
    view("DIR [p] ./a (a)\nDIR [r] ./b (b)\n");
    EXPECT_EQ(symbol("", "x"), "x of a\n");
    EXPECT_EQ(symbol("", "y"), "y of b\n");
    // The chain of a bare element is completed up to the master.
    EXPECT_EQ(read("rdbClassSYMBOL:y@1"), "y of b\n");
    EXPECT_EQ(read("/rdbClassLIBRARY:b/rdbClassSYMBOL:x@1"), "x of b\n");
    // A plain path is a file of the file system.
    EXPECT_EQ(read("b/sym/y.1"), "y of b\n");
}

TEST_F(Objects, ReferencesThatNameNothing) {
    view("DIR [p] ./a (a)\n");
    char* made = rdbMakeTmObjref(nullptr, "a", rdbClassSYMBOL, "x", "1", -1);
    EXPECT_STREQ(
        made, "rdbClassDATABASE:Tesmark/rdbClassPROJECT:/rdbClassLIBRARY:a/rdbClassSYMBOL:x@1(*)");
    ktMemFree(made);
    EXPECT_EQ(rdbMakeTmObjref("", "a", rdbClassSYMBOL, "x", "1", 16001), nullptr);
    EXPECT_EQ(rdbMakeTmObjref("", "a", rdbClassDATABASE, "x", "", 0), nullptr);
    EXPECT_EQ(rdbMakeTmObjref("", "a", rdbClassSYMBOL, std::string(240, 'x').c_str(), "", 0),
              nullptr);
    EXPECT_EQ(rdbMakeTmObjref2("a", "nosuch", "x", "1"), nullptr);

    const std::string tail = "/rdbClassSYMBOL:";
    EXPECT_EQ(read(nullptr), "status 44");
    EXPECT_EQ(read(""), "status 44");
    EXPECT_EQ(read(("rdbClassLIBRARY:a" + tail + std::string(238, 'x')).c_str()), "status 43");
    EXPECT_EQ(read(("rdbClassLIBRARY:a" + tail + "x(1").c_str()), "status 48");
    EXPECT_EQ(read(("rdbClassLIBRARY:a" + tail + "x)1").c_str()), "status 48");
    EXPECT_EQ(read(("rdbClassLIBRARY:a" + tail + "x(1x)").c_str()), "status 46");
    EXPECT_EQ(read("rdbClassLIBRARY:a/rdbClassNOSUCH:x@1"), "status 49");
    EXPECT_EQ(read("rdbClassDATABASE:Nowhere/rdbClassFILE:x"), "status 42");
    EXPECT_EQ(read(("rdbClassLIBRARY:a" + tail + "x@2").c_str()), "status 13");
    EXPECT_EQ(read(("rdbClassLIBRARY:a" + tail + "x@1(*)").c_str()), "x of a\n");
}

TEST_F(Objects, AnOpenObjectComesBackAndReopens) {
    view("DIR [p] ./a (a)\n");
    char* ref = rdbMakeTmObjref2("a", "sym", "x", "1");
    int st;
    rdbObject* o = rdbOpenObject(ref, rdbModeREAD, &st);
    ASSERT_NE(o, nullptr);
    EXPECT_EQ(st, 0);
    FILE* f = rdbObjGetFilePtr(o, 0, &st);
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(rdbObjGetFilePtr(o, 0, &st), nullptr);
    EXPECT_EQ(st, rdbStatFAILURE);
    std::fclose(f);
    // Asked for again, the open object, which a new mode makes usable.
    EXPECT_EQ(rdbOpenObject(ref, rdbModeREAD, &st), o);
    EXPECT_EQ(st, rdbStatOPEN);
    EXPECT_EQ(rdbReopenObj(o, rdbModeREAD), 0);
    f = rdbObjGetFilePtr(o, 0, &st);
    ASSERT_NE(f, nullptr);
    char line[16] = "";
    EXPECT_NE(std::fgets(line, sizeof line, f), nullptr);
    EXPECT_STREQ(line, "x of a\n");
    std::fclose(f);
    EXPECT_EQ(rdbCloseObj(o, 0), 0);
    EXPECT_EQ(rdbCloseObj(nullptr, 0), rdbStatFAILURE);
    rdbObject* again = rdbOpenObject(ref, rdbModeREAD, &st);
    EXPECT_EQ(st, 0);
    EXPECT_EQ(rdbCloseObj(again, 0), 0);
    ktMemFree(ref);
}

TEST_F(Objects, MadeInTheFirstWritableLibrary) {
    view("DIR [r] ./b (b)\nDIR [p] ./a (a)\n");
    char* ref = rdbMakeTmObjref2("", "sym", "new", "1");
    const uint32_t create = rdbModeRW | rdbModeCREATE;
    int st;
    rdbObject* o = rdbOpenObject(ref, create, &st);
    ASSERT_NE(o, nullptr) << st;
    FILE* f = rdbObjGetFilePtr(o, 0, &st);
    ASSERT_NE(f, nullptr);
    std::fputs("new of a\n", f);
    std::fclose(f);
    EXPECT_EQ(rdbCloseObj(o, 0), 0);
    EXPECT_EQ(cwd.read("a/sym/new.1"), "new of a\n");
    EXPECT_FALSE(cwd.exists("b/sym/new.1"));
    // A file that must be new, and isn't.
    EXPECT_EQ(rdbOpenObject(ref, create | rdbModeEXCL, &st), nullptr);
    EXPECT_EQ(st, rdbStatEXISTS);
    ktMemFree(ref);
}

TEST_F(Objects, AProjectOpensOnce) {
    view("DIR [p] ./a (a)\n");
    int st;
    EXPECT_EQ(rdbOpenProject("./", nullptr, "", 3, &st), project);
    EXPECT_EQ(st, rdbStatOPEN);
    EXPECT_EQ(rdbObjGetCurObj(rdbTmDatabaseID, rdbClassPROJECT), project);
    EXPECT_EQ(rdbOpenProject("", nullptr, "", 3, &st), nullptr);
    EXPECT_EQ(st, rdbStatBADREF);
    // A directory that isn't there opens only when asked to come back.
    EXPECT_EQ(rdbOpenPhysObj(rdbTmDatabaseID, "rdbClassPROJECT", "gone", "g", nullptr, 0, 1, &st),
              nullptr);
    EXPECT_EQ(st, rdbStatNOTEXIST);
    rdbObject* gone = rdbOpenProject("gone", nullptr, "", 1, &st);
    ASSERT_NE(gone, nullptr);
    EXPECT_EQ(st, rdbStatNOTEXIST);
    EXPECT_STREQ(gone->name, "gone");
    EXPECT_EQ(rdbObjGetCurObj(rdbTmDatabaseID, rdbClassPROJECT), gone);
    EXPECT_EQ(rdbOpenPhysObj(rdbTmDatabaseID, "rdbClassNOSUCH", "a", "a", nullptr, 0, 1, &st),
              nullptr);
    EXPECT_EQ(st, rdbStatBADCLASS);
    EXPECT_EQ(rdbCloseObj(gone, 0), 0);
}

TEST_F(Objects, CachedListingsAreNotRefreshed) {
    view("DIR [p] ./a (a)\nDIR [r] ./b (b)\n");
    // Bit 1 caches the read-only libraries only.
    ASSERT_EQ(rdbTmCacheAllLibraries(project, "Scrivet", 1, 1), 0);
    EXPECT_EQ(symbol("", "y"), "y of b\n");
    cwd.write("a/sym/new.1", "new of a\n");
    cwd.write("b/sym/late.1", "late of b\n");
    EXPECT_EQ(symbol("", "new"), "new of a\n");
    EXPECT_EQ(symbol("", "late"), "status 13");
    // Caching all libraries lists them afresh once.
    ASSERT_EQ(rdbTmCacheAllLibraries(project, "Scrivet", 255, 1), 0);
    EXPECT_EQ(symbol("", "late"), "late of b\n");
    cwd.write("a/sym/newer.1", "newer of a\n");
    EXPECT_EQ(symbol("a", "x"), "x of a\n");
    EXPECT_EQ(symbol("", "newer"), "status 13");
    ASSERT_EQ(rdbTmCacheAllLibraries(project, "Scrivet", 255, 0), 0);
    EXPECT_EQ(symbol("", "newer"), "newer of a\n");
}

// A symbol opened from the parts of its reference is the one its text
// names, with the same status, down to names that the text or the making
// of the absolute path would read otherwise.
TEST_F(Objects, OpenedByPartsAsByTheReferenceText) {
    cwd.write("a/sym/odd .1", "spaced\n");
    cwd.write("a/sym/odd.1", "trimmed\n");
    cwd.write("b/sym/y@2.1", "at\n");
    view("DIR [p] ./a (a)\nDIR [r] ./b (b)\n");
    auto describe = [](rdbObject* o, int st) {
        if (!o) return "status " + std::to_string(st);
        std::string text = std::string(o->path) + " " + std::to_string(st) + " ";
        FILE* f = rdbObjGetFilePtr(o, 0, &st);
        EXPECT_EQ(rdbCloseObj(o, 0), 0);
        char line[64] = "";
        if (f && std::fgets(line, sizeof line, f)) text += line;
        if (f) std::fclose(f);
        return text;
    };
    // Names that bring the text to 255 and 256 characters.
    char* shortest = rdbMakeTmObjref2("", "sym", "", "1");
    ASSERT_NE(shortest, nullptr);
    const std::string longName(256 - std::strlen(shortest), 'n');
    ktMemFree(shortest);
    const char* const cases[][3] = {
        {"", "x", "1"},  {"b", "x", "1"},   {"B", "y", "1"},   {"c", "x", "1"},
        {"", "z", "1"},  {"", "odd ", "1"}, {"", "y@2", "1"},  {"", "y", "1)"},
        {"a/b", "x", "1"}, {"", "x", ""},   {"", "a/sym/x", "1"}, {"", "x", "."},
        {"", longName.c_str(), "1"},        {"", longName.c_str() + 1, "1"}};
    for (const auto& c : cases) {
        int st = -1;
        char* ref = rdbMakeTmObjref2(c[0], "sym", c[1], c[2]);
        rdbObject* o = ref ? rdbOpenObject(ref, rdbModeREAD, &st) : nullptr;
        std::string byText = ref ? describe(o, st) : "no text";
        if (ref) ktMemFree(ref);
        st = -1;
        o = rdbiOpenTmObject(c[0], "sym", c[1], c[2], rdbModeREAD, &st);
        std::string byParts = !o && st == rdbStatNULLREF && !ref ? "no text" : describe(o, st);
        EXPECT_EQ(byParts, byText) << c[0] << ":" << c[1] << "." << c[2];
    }
    // A file is found at the absolute path that its library's directory and
    // its name make, as ksAbsPath2 makes it of the whole.
    auto pathOf = [](const char* name) {
        int st;
        rdbObject* o = rdbiOpenTmObject("a", "sym", name, "1", rdbModeREAD, &st);
        if (!o) return "status " + std::to_string(st);
        std::string path = o->path;
        FILE* f = rdbObjGetFilePtr(o, 0, &st);
        EXPECT_EQ(rdbCloseObj(o, 0), 0);
        if (f) std::fclose(f);
        return path;
    };
    const std::string x = pathOf("x");
    const std::string dir = x.substr(0, x.size() - 3);
    for (const char* name : {"x", "odd ", " x"}) {
        ksPathBuf abs;
        ASSERT_EQ(ksAbsPath2((dir + name + ".1").c_str(), abs), KS_OK);
        EXPECT_EQ(pathOf(name), abs) << "[" << name << "]";
    }
}

// A library line added after libraries were looked up by name is found.
TEST_F(Objects, ALibraryLineAddedLaterIsFoundByName) {
    // Enough libraries that a name isn't looked for by a walk.
    std::string lines = "DIR [p] ./a (a)\n";
    for (int i = 0; i < 12; ++i) {
        cwd.write("e" + std::to_string(i) + "/sym/x.1", "x of e\n");
        lines += "DIR [r] ./e" + std::to_string(i) + " (e" + std::to_string(i) + ")\n";
    }
    view(lines);
    EXPECT_EQ(symbol("e11", "x"), "x of e\n");
    EXPECT_EQ(symbol("a", "y"), "status 13");
    int st;
    ASSERT_NE(rdbInsSPID(project, nullptr, "Scrivet", "./b", "a", rdbAccessREADONLY, "", -1, 2,
                         &st),
              nullptr);
    EXPECT_EQ(symbol("a", "y"), "y of b\n");
    EXPECT_EQ(symbol("A", "x"), "x of a\n");
}

}  // namespace
