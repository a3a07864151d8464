#include "kssrch.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "kspath.h"
#include "tempdir.h"

namespace {

// Keeps an environment variable's value and puts it back.
class SavedEnv {
public:
    explicit SavedEnv(const char* name) : name_(name) {
        if (const char* v = std::getenv(name)) {
            had_ = true;
            value_ = v;
        }
    }
    ~SavedEnv() {
        if (had_)
            setenv(name_.c_str(), value_.c_str(), 1);
        else
            unsetenv(name_.c_str());
    }

private:
    std::string name_, value_;
    bool had_ = false;
};

// A current directory and two directories for KDIR, with the search list and
// the default directory read afresh for each test.
class Search : public ::testing::Test {
protected:
    TempDir cwd, d1, d2;
    ChdirGuard into{cwd.path()};
    SavedEnv kdir{"KDIR"};
    std::string def;

    void SetUp() override {
        ksKdirReset();
        ksGetdefReset();
        char buf[KS_PATHMAX];
        ASSERT_EQ(ksGetdef(buf), KS_OK);
        def = buf;
        useKdir((d1.path() + ":" + d2.path()).c_str());
    }
    ~Search() override {
        ksKdirReset();
        ksGetdefReset();
    }

    static void useKdir(const char* value) {
        if (value)
            setenv("KDIR", value, 1);
        else
            unsetenv("KDIR");
    }

    // The path found, or "-" and the output of a failed search.
    static std::string find(const std::string& spec, int kind = KS_FILE) {
        char out[KS_PATHMAX] = "";
        int st = ksSrchdirs(spec.c_str(), kind, out);
        return st == KS_OK ? std::string(out) : "-" + std::string(out);
    }
};

TEST_F(Search, VersionLevelFirstCurrentDirectoryFirstThenKdirInOrder) {
    const std::string places[] = {
        cwd.path("532/N"), cwd.path("N"),    d1.path("532/N"),
        d1.path("N"),      d2.path("532/N"), d2.path("N"),
    };
    const std::string found[] = {
        def + "532/N", def + "N", d1.path("532/N"), d1.path("N"), d2.path("532/N"), d2.path("N"),
    };
    for (const std::string& p : places) {
        std::string dir = p.substr(0, p.rfind('/'));
        ASSERT_EQ(ksCreate(dir.c_str(), KS_DIR), KS_OK);
        ASSERT_EQ(ksCreate(p.c_str(), KS_FILE), KS_OK);
    }
    for (size_t i = 0; i < 6; ++i) {
        EXPECT_EQ(find("N"), found[i]);
        ASSERT_EQ(unlink(places[i].c_str()), 0);
    }
    EXPECT_EQ(find("N"), "-N");
}

TEST_F(Search, KdirSeparatorsAndEmptyItems) {
    d2.write("N", "");
    useKdir((" \t" + d1.path() + " ::\t" + d2.path() + ": ").c_str());
    EXPECT_EQ(find("N"), d2.path("N"));
}

TEST_F(Search, KdirOfOnlySeparatorsOrUnsetSearchesTheCurrentDirectory) {
    d1.write("N", "");
    cwd.write("here", "");
    for (const char* value : {":", "  \t ", static_cast<const char*>(nullptr)}) {
        ksKdirReset();
        useKdir(value);
        EXPECT_EQ(find("N"), "-N");
        EXPECT_EQ(find("here"), def + "here");
    }
}

TEST_F(Search, KdirIsReadAtTheFirstSearchOnly) {
    d2.write("N", "");
    useKdir(d1.path().c_str());
    EXPECT_EQ(find("N"), "-N");
    useKdir(d2.path().c_str());
    EXPECT_EQ(find("N"), "-N");
    ksKdirReset();
    EXPECT_EQ(find("N"), d2.path("N"));
}

TEST_F(Search, TheVersionLevelGoesBetweenKdirAndTheNamesDirectory) {
    d1.write("sub/N", "");
    d1.write("532/sub/N", "");
    EXPECT_EQ(find("sub/N"), d1.path("532/sub/N"));
    // In the current directory it goes behind the requested name's directory.
    cwd.write("sub/N", "");
    cwd.write("sub/532/N", "");
    EXPECT_EQ(find("sub/N"), def + "sub/532/N");
    ASSERT_EQ(unlink("sub/532/N"), 0);
    EXPECT_EQ(find("sub/N"), def + "sub/N");
}

TEST_F(Search, AnAbsoluteNameIsNotLookedForAlongKdir) {
    std::string abs = cwd.path("abs/N");
    d1.write("N", "");
    d1.write(abs.substr(1), "");  // the requested name's directory below d1
    EXPECT_EQ(find(abs), "-" + abs);
    cwd.write("abs/532/N", "");
    EXPECT_EQ(find(abs), cwd.path("abs/532/N"));
    cwd.write("abs/N", "");
    EXPECT_EQ(find(abs), cwd.path("abs/532/N"));
}

TEST_F(Search, KdirOnlySearchSkipsTheCurrentDirectory) {
    cwd.write("N", "");
    char out[KS_PATHMAX];
    EXPECT_EQ(ksSrchkdirs("N", KS_FILE, out), KS_NOTFOUND);
    d2.write("532/N", "");
    ASSERT_EQ(ksSrchkdirs("N", KS_FILE, out), KS_OK);
    EXPECT_EQ(std::string(out), d2.path("532/N"));
}

TEST_F(Search, TheKindDecides) {
    cwd.mkdir("N");
    d1.write("N", "");
    char out[KS_PATHMAX];
    ASSERT_EQ(ksGetini("N", out), KS_OK);
    EXPECT_EQ(std::string(out), d1.path("N"));
    EXPECT_EQ(find("N", KS_DIR), def + "N");
    EXPECT_EQ(find("N", KS_ANY), def + "N");
}

TEST_F(Search, NamesOf256CharactersAreMalformed) {
    char out[KS_PATHMAX];
    std::string spec255(255, 'n'), spec256(256, 'n');
    EXPECT_EQ(ksSrchkdirs(spec256.c_str(), KS_FILE, out), KS_NOACCESS);
    EXPECT_EQ(ksSrchdirs(spec256.c_str(), KS_FILE, out), KS_NOACCESS);
    EXPECT_EQ(ksSrchkdirs(spec255.c_str(), KS_FILE, out), KS_NOTFOUND);
    EXPECT_EQ(ksSrchdirs(spec255.c_str(), KS_FILE, out), KS_NOTFOUND);
    EXPECT_EQ(out, spec255);
}

TEST_F(Search, KdirDirectoriesTooLongForAPathArePassedOver) {
    // Too long to name with a version level, or at all: no element of the
    // list may stand for a cut name.
    std::string tooLong = "/" + std::string(300, 'x');
    std::string noLevel = "/" + std::string(252, 'y');
    d2.write("N", "");
    useKdir((tooLong + ":" + noLevel + ":" + d2.path()).c_str());
    EXPECT_EQ(find("N"), d2.path("N"));
}

TEST(EnvironmentValues, TrnlogCutsAt2047Characters) {
    SavedEnv saved("KS_TEST_VALUE");
    char out[2048];
    unsetenv("KS_TEST_VALUE");
    EXPECT_EQ(ksTrnlog("KS_TEST_VALUE", out), KS_NOTFOUND);
    setenv("KS_TEST_VALUE", std::string(3000, 'v').c_str(), 1);
    ASSERT_EQ(ksTrnlog("KS_TEST_VALUE", out), KS_OK);
    EXPECT_EQ(std::strlen(out), 2047u);
}

TEST(ExecutablePath, FoundAlongPathInOrder) {
    SavedEnv saved("PATH");
    TempDir a, b;
    b.write("tool", "");
    a.mkdir("both");
    b.write("both", "");
    setenv("PATH", (a.path() + " " + b.path() + ":/nonexistent").c_str(), 1);
    char out[KS_PATHMAX];
    ASSERT_EQ(ksFindExeInPath("tool", out), KS_OK);
    EXPECT_EQ(std::string(out), b.path("tool"));
    ASSERT_EQ(ksFindExeInPath("both", out), KS_OK) << "a directory of the name is passed over";
    EXPECT_EQ(std::string(out), b.path("both"));
    EXPECT_EQ(ksFindExeInPath("none", out), KS_NOTFOUND);

    setenv("PATH", ("/" + std::string(300, 'p') + ":" + b.path()).c_str(), 1);
    EXPECT_EQ(ksFindExeInPath("tool", out), KS_ERROR);
    unsetenv("PATH");
    EXPECT_EQ(ksFindExeInPath("tool", out), KS_NOACCESS);
}

}  // namespace
