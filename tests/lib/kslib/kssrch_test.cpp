#include "kssrch.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <string>
#include <vector>

#include "kspath.h"
#include "tempdir.h"

namespace {

void useKdir(const std::string& value) {
    setenv("KDIR", value.c_str(), 1);
}

// A current directory and two directories for KDIR, with the search list and
// the default directory read afresh for each test.
class Search : public ::testing::Test {
protected:
    TempDir cwd, d1, d2;
    ChdirGuard into{cwd.path()};
    EnvGuard kdir{"KDIR", nullptr};
    std::string def;

    void SetUp() override {
        ksKdirReset();
        char buf[KS_PATHMAX];
        ASSERT_EQ(ksGetdef(buf), KS_OK);
        def = buf;
        useKdir(d1.path() + ":" + d2.path());
    }
    ~Search() override { ksKdirReset(); }

    // The path found, or "-" and the output of a failed search.
    static std::string find(const std::string& name, int kind = KS_FILE) {
        char out[KS_PATHMAX] = "";
        int st = ksSrchdirs(name.c_str(), kind, out);
        return st == KS_OK ? std::string(out) : "-" + std::string(out);
    }
};

TEST_F(Search, VersionLevelFirstCurrentDirectoryFirstThenKdirInOrder) {
    std::vector<std::string> places;
    for (const TempDir* d : {&cwd, &d1, &d2}) {
        for (const char* rel : {"532/N", "N"}) {
            d->write(rel, "");
            places.push_back(d->path(rel));
        }
    }
    const std::string found[] = {
        def + "532/N", def + "N", d1.path("532/N"), d1.path("N"), d2.path("532/N"), d2.path("N"),
    };
    for (size_t i = 0; i < 6; ++i) {
        EXPECT_EQ(find("N"), found[i]);
        ASSERT_EQ(unlink(places[i].c_str()), 0);
    }
    EXPECT_EQ(find("N"), "-N");
}

TEST_F(Search, KdirSeparatorsAndEmptyLists) {
    d2.write("N", "");
    useKdir(" \t" + d1.path() + " ::\t" + d2.path() + ": ");
    EXPECT_EQ(find("N"), d2.path("N"));
    // A list of only separators, or none, leaves the current directory.
    cwd.write("here", "");
    for (const char* value : {":", "  \t ", static_cast<const char*>(nullptr)}) {
        ksKdirReset();
        value ? useKdir(value) : (void)unsetenv("KDIR");
        EXPECT_EQ(find("N"), "-N");
        EXPECT_EQ(find("here"), def + "here");
    }
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

TEST_F(Search, NamesOf256CharactersAreMalformed) {
    char out[KS_PATHMAX];
    std::string name255(255, 'n'), name256(256, 'n');
    EXPECT_EQ(ksSrchdirs(name256.c_str(), KS_FILE, out), KS_NOACCESS);
    EXPECT_EQ(ksSrchdirs(name255.c_str(), KS_FILE, out), KS_NOTFOUND);
    EXPECT_EQ(out, name255);
}

TEST_F(Search, KdirDirectoriesTooLongForAPathArePassedOver) {
    // Too long to name with a version level, or at all: no element of the
    // list may stand for a cut name.
    d2.write("N", "");
    useKdir("/" + std::string(300, 'x') + ":/" + std::string(252, 'y') + ":" + d2.path());
    EXPECT_EQ(find("N"), d2.path("N"));
}

TEST_F(Search, AnEntryThatTheCutOfKdirReachesIsDropped) {
    // KDIR is kept to 2047 characters. Cut inside "<d2>/xlonger", its head
    // "<d2>/x" would name another directory.
    d2.write("x/N", "");
    std::string head = d2.path("x");
    useKdir(std::string(2047 - head.size(), ':') + d2.path("xlonger"));
    EXPECT_EQ(find("N"), "-N");
    // Cut just behind an entry, the entry is whole.
    ksKdirReset();
    useKdir(std::string(2047 - head.size(), ':') + head + ":" + d1.path());
    EXPECT_EQ(find("N"), head + "/N");
}

TEST_F(Search, ASupportFileIsARegularFile) {
    // A FIFO or a device of the name would hang its reader: the search
    // passes over it to the next place.
    ASSERT_EQ(mkfifo("N", 0644), 0);
    ASSERT_EQ(symlink("/dev/zero", "Z"), 0);
    d1.write("N", "");
    EXPECT_EQ(find("N"), d1.path("N"));
    EXPECT_EQ(find("Z"), "-Z");
    EXPECT_EQ(find("Z", KS_ANY), def + "Z");
}

}  // namespace
