#include "kspath.h"

#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

#include "kssrch.h"
#include "ktdufs.h"
#include "kterr.h"
#include "ktex.h"
#include "tempdir.h"

namespace {

using Names = std::vector<std::string>;

std::string rep(char c, size_t n) {
    return std::string(n, c);
}

// Puts back the real system calls after a test swapped some.
struct SysSwap {
    ~SysSwap() { ksSysV = ksSysDefaultV; }
};

// A fresh directory that is also the process's default directory.
class InTempDir : public ::testing::Test {
protected:
    TempDir dir;
    ChdirGuard into{dir.path()};
    std::string def;  // the default directory, ending in '/'

    void SetUp() override {
        char buf[KS_PATHMAX];
        ASSERT_EQ(ksGetdef(buf), KS_OK);
        def = buf;
    }

    std::string abs2(const std::string& path, int expect = KS_OK) {
        char out[KS_PATHMAX] = "";
        EXPECT_EQ(ksAbsPath2(path.c_str(), out), expect) << path;
        return out;
    }
    std::string abs(const std::string& path) {
        char buf[KS_PATHMAX];
        std::strcpy(buf, path.c_str());
        EXPECT_EQ(ksAbsPath(buf), KS_OK) << path;
        return buf;
    }
};

// Each row gives `op` a run of n - `extra` characters, which makes a path
// (or a result) of n characters.
char b_[KS_PATHMAX];
const struct {
    const char* what;
    size_t extra;
    int (*op)(const std::string& run);
    int fits;  // the status at 255; at 256 and 257 the path is refused
} kLimits[] = {
    {"ksParse", 6, [](auto& r) { return ksParse(("d/" + r + ".ext").c_str(), b_, b_, b_, b_); },
     KS_OK},
    {"ksMerge", 4, [](auto& r) { return ksMerge(b_, nullptr, "d", r.c_str(), "c"); }, KS_OK},
    // An extension pointer counts its '.', even when it has nothing to write.
    {"ksMerge, empty extension", 1, [](auto& r) { return ksMerge(b_, 0, 0, r.c_str(), ""); },
     KS_OK},
    {"ksDnpath", 252,
     [](auto& r) { return ksDnpath(std::strcpy(b_, rep('d', 250).c_str()), r.c_str()); }, KS_OK},
    {"ksConvPath", 0, [](auto& r) { return ksConvPath(r.c_str(), b_); }, KS_OK},
    // The limit is on the converted path, where "//" is one character.
    {"ksConvPath, //", 128,
     [](auto& r) { return ksConvPath((rep('a', 127) + "//" + r).c_str(), b_); }, KS_OK},
    {"ksAbsPath2", 129,
     [](auto& r) { return ksAbsPath2(("/" + rep('a', 127) + "/" + r).c_str(), b_); }, KS_OK},
    {"ksCreate", 0, [](auto& r) { return ksCreate(r.c_str(), KS_FILE); }, KS_OK},
    // ksDelete takes away what ksCreate made.
    {"ksDelete", 0, [](auto& r) { return ksDelete(r.c_str(), KS_FILE); }, KS_OK},
    {"ksLoop2", 1, [](auto& r) { return ksLoop2(("/" + r).c_str(), KS_ANY, nullptr, nullptr); },
     KS_NOTFOUND},
};

using PathLimits = InTempDir;

TEST_F(PathLimits, TwoHundredFiftyFiveCharactersAndNoMore) {
    for (const auto& l : kLimits) {
        EXPECT_EQ(l.op(rep('n', 255 - l.extra)), l.fits) << l.what;
        EXPECT_EQ(l.op(rep('n', 256 - l.extra)), KS_BADSPEC) << l.what;
        EXPECT_EQ(l.op(rep('n', 257 - l.extra)), KS_BADSPEC) << l.what;
    }
}

TEST(PathBuffers, AWholePathIsWrittenOnlyIntoABufferTypedToItsSize) {
    using Small = char(&)[KS_PATHMAX - 1];
    static_assert(std::is_invocable_v<decltype(ksAbsPath), ksPathBuf&>);
    static_assert(!std::is_invocable_v<decltype(ksAbsPath), Small>);
    static_assert(!std::is_invocable_v<decltype(ksAbsPath2), const char*, Small>);
    static_assert(!std::is_invocable_v<decltype(ksSrchdirs), const char*, int, Small>);
    static_assert(!std::is_invocable_v<decltype(ktDufsBReadString), ktDufsB*, Small>);
    SUCCEED();
}

TEST(PathSplit, ExtensionIsBehindTheLastDotThatDoesNotLead) {
    const struct {
        const char *path, *dir, *name, *ext;
    } cases[] = {
        {"lib/a.b.c", "lib/", "a.b", "c"},
        {"/x.d/and2", "/x.d/", "and2", ""},
        {"d/.", "d/", ".", ""},
        {"d/..", "d/", "..", ""},
        {"d/.profile", "d/", ".profile", ""},
        {".a.b", "", ".a", "b"},
        {"d/x.", "d/", "x", ""},
    };
    for (const auto& c : cases) {
        char dev[KS_PATHMAX] = "?", dir[KS_PATHMAX], name[KS_PATHMAX], ext[KS_PATHMAX];
        ASSERT_EQ(ksParse(c.path, dev, dir, name, ext), KS_OK) << c.path;
        EXPECT_STREQ(dev, "");
        EXPECT_STREQ(dir, c.dir) << c.path;
        EXPECT_STREQ(name, c.name) << c.path;
        EXPECT_STREQ(ext, c.ext) << c.path;
        // The last component in one piece keeps even a trailing '.'.
        ASSERT_EQ(ksParse2(c.path, nullptr, nullptr, name), KS_OK);
        EXPECT_EQ(c.dir + std::string(name), c.path);
    }
}

TEST(PathJoin, OneSlashTrimmedPartsAndNoBareDot) {
    const struct {
        const char *dir, *name, *ext, *out;
    } cases[] = {
        {"a", "b", "c", "a/b.c"}, {"a/", "b", "c", "a/b.c"},     {"", "b", "c", "b.c"},
        {nullptr, "b", "", "b"},  {"a", nullptr, nullptr, "a/"}, {"  a ", " b", "c\t", "a/b.c"},
    };
    char out[KS_PATHMAX];
    for (const auto& c : cases) {
        ASSERT_EQ(ksMerge(out, nullptr, c.dir, c.name, c.ext), KS_OK) << c.out;
        EXPECT_STREQ(out, c.out);
    }
    // The output may be an input; a refused join leaves it untouched.
    std::strcpy(out, "dir");
    ASSERT_EQ(ksMerge(out, nullptr, out, "x", nullptr), KS_OK);
    EXPECT_STREQ(out, "dir/x");
    EXPECT_EQ(ksMerge(out, nullptr, "d", rep('n', 252).c_str(), "c"), KS_BADSPEC);
    EXPECT_STREQ(out, "dir/x");
}

TEST(PathLevels, DownAddsALevelEndingInSlash) {
    const struct {
        const char *dir, *level, *out;
    } cases[] = {
        {"", "532", "532/"}, {"a", "b", "a/b/"},  {"/a/", "b/c/", "/a/b/c/"},
        {"a", "", "a"},      {"a", nullptr, "a"},
    };
    char buf[KS_PATHMAX];
    for (const auto& c : cases) {
        std::strcpy(buf, c.dir);
        ASSERT_EQ(ksDnpath(buf, c.level), KS_OK) << c.out;
        EXPECT_STREQ(buf, c.out);
    }
    // A level's own '/' is not doubled; a refused level leaves the directory.
    std::string d = rep('d', 250);
    std::strcpy(buf, d.c_str());
    EXPECT_EQ(ksDnpath(buf, "xxxx/"), KS_BADSPEC);
    EXPECT_EQ(buf, d);
    EXPECT_EQ(ksDnpath(buf, "xxx/"), KS_OK);
    EXPECT_EQ(buf, d + "/xxx/");
}

TEST(PathLevels, UpClimbsToTheRootAndNoFurther) {
    char path[KS_PATHMAX], last[KS_PATHMAX];
    const struct {
        const char* start;  // else the path the step before left
        int status;
        const char *path, *last;
    } steps[] = {
        {"/a/b/", KS_OK, "/a/", "b"},    {nullptr, KS_OK, "/", "a"},
        {nullptr, KS_NOTFOUND, "/", ""}, {"name", KS_OK, "", "name"},
        {nullptr, KS_NOTFOUND, "", ""},
    };
    for (const auto& s : steps) {
        if (s.start) std::strcpy(path, s.start);
        EXPECT_EQ(ksUppath(path, last), s.status) << s.path;
        EXPECT_STREQ(path, s.path);
        EXPECT_STREQ(last, s.last);
    }
}

using AbsolutePath = InTempDir;

TEST_F(AbsolutePath, DotsSlashesAndTheRoot) {
    std::string bare = def.substr(0, def.size() - 1);  // "." and ".." leave no '/'
    EXPECT_EQ(abs2("a/./b/../c"), def + "a/c");
    EXPECT_EQ(abs2("./a\\\\b//c"), def + "a/b/c");
    EXPECT_EQ(abs2("."), bare);
    EXPECT_EQ(abs2("sub/.."), bare);
    EXPECT_EQ(abs2("/x/../../y/"), "/y/");
    EXPECT_EQ(abs2("/.."), "/");
    EXPECT_EQ(abs("/.."), "/");
    // A trailing '/' stays, and so does a '.' that ends a name; in place,
    // a trailing "/." goes with its '/'.
    EXPECT_EQ(abs2("/d/x."), "/d/x.");
    EXPECT_EQ(abs("/d/e/"), "/d/e/");
    EXPECT_EQ(abs("/d/e/."), "/d/e");
    EXPECT_EQ(abs("sub/"), def + "sub/");
    // The limit is on the result: the default directory counts, ".." too.
    size_t room = 255 - def.size();
    EXPECT_EQ(abs2(rep('r', room)), def + rep('r', room));
    abs2(rep('r', room + 1), KS_BADSPEC);
    EXPECT_EQ(abs2("/" + rep('c', 200) + "/../" + rep('d', 50)), "/" + rep('d', 50));
}

TEST_F(AbsolutePath, AnAbsolutePathWithNothingToDoComesBackAsItIs) {
    for (const char* same : {"/", "/a/b.c", "/a/..b/.c/", "/a.b/c.d.e", "/x/y z"})
        EXPECT_EQ(abs2(same), same);
    // Near misses are still worked on.
    EXPECT_EQ(abs2("/a//b"), "/a/b");
    EXPECT_EQ(abs2("/a/./b/.."), "/a");
    EXPECT_EQ(abs2("/a\\b"), "/a/b");
    EXPECT_EQ(abs2(" /a/b "), "/a/b");
    EXPECT_EQ(abs2("/a/b.."), "/a/b.");
    abs2("/" + rep('e', 255), KS_BADSPEC);
}

TEST_F(AbsolutePath, HomeDirectories) {
    EnvGuard home("HOME", "/h//");
    EXPECT_EQ(abs2("~/x"), "/h/x");
    EXPECT_EQ(abs2("~"), "/h/");
    EXPECT_EQ(abs("~"), "/h");
    abs2("~no-such-user-here/x", KS_BADSPEC);
    const passwd* root = getpwnam("root");
    ASSERT_NE(root, nullptr);
    std::string rootHome = root->pw_dir;
    if (rootHome.back() == '/') rootHome.pop_back();
    EXPECT_EQ(abs2("~root/x"), rootHome + "/x");
}

using FileChange = InTempDir;

TEST_F(FileChange, DeleteRefusesReadOnlyObjectsWhoeverRuns) {
    // The mode is checked before the system is asked, so this holds for
    // root too, whom the system would let through.
    dir.write("ro", "keep");
    ASSERT_EQ(chmod("ro", 0444), 0);
    EXPECT_EQ(ksDelete("ro", KS_FILE), KS_NOACCESS);
    dir.mkdir("rodir");
    ASSERT_EQ(chmod("rodir", 0555), 0);
    EXPECT_EQ(ksDelete("rodir/", KS_DIR), KS_NOACCESS);
    EXPECT_TRUE(dir.exists("ro") && dir.exists("rodir"));
}

TEST_F(FileChange, AFailedCreationTakesAwayOnlyTheCutNameItMade) {
    // A file holds the name: no directory is made, and the directory of the
    // 14-character name that was there before stays.
    dir.write("very_long_directory_name", "");
    dir.mkdir("very_long_dire");
    EXPECT_EQ(ksCreate("very_long_directory_name", KS_DIR), KS_NOACCESS);
    EXPECT_TRUE(dir.exists("very_long_dire"));
    // A file system that cuts names: what this call made under the cut name goes.
    SysSwap swap;
    ksSysV.mkdir = [](const char* path, mode_t mode) {
        return ::mkdir(std::string(path).substr(0, 14).c_str(), mode);
    };
    EXPECT_EQ(ksCreate("another_long_name", KS_DIR), KS_NOACCESS);
    EXPECT_FALSE(dir.exists("another_long_n"));
    EXPECT_EQ(ksCreate("very_long_directory_name", KS_DIR), KS_NOACCESS);
    EXPECT_TRUE(dir.exists("very_long_dire"));
}

TEST_F(FileChange, ReadingTakesOnlyARegularFileAndNeverWaits) {
    dir.write("plain", "text");
    ASSERT_EQ(mkfifo("fifo", 0644), 0);
    dir.mkdir("sub");
    std::unique_ptr<FILE, decltype(&std::fclose)> f(ksFopen("plain", "r"), &std::fclose);
    ASSERT_TRUE(f);
    EXPECT_EQ(std::fgetc(f.get()), 't');
    for (const char* other : {"fifo", "sub", "/dev/zero", "missing"}) {
        errno = 0;
        EXPECT_EQ(ksFopen(other, "r"), nullptr) << other;
        EXPECT_NE(errno, 0) << other;
    }
    // The open that follows a look at a file trusts that look only so far:
    // a FIFO put there meanwhile is refused all the same.
    dir.write("swapped", "");
    ASSERT_EQ(ksExists("swapped", KS_FILE), KS_OK);
    ASSERT_EQ(unlink("swapped"), 0);
    ASSERT_EQ(mkfifo("swapped", 0644), 0);
    EXPECT_EQ(ksFopen("swapped", "r"), nullptr);
    uint32_t time = 1;
    std::unique_ptr<FILE, decltype(&std::fclose)> g(ksFopenStamped("plain", "r", &time),
                                                    &std::fclose);
    EXPECT_TRUE(g);
    EXPECT_EQ(time, ksFtime("plain"));
    EXPECT_EQ(ksFopenStamped("fifo", "r", &time), nullptr);
    EXPECT_EQ(time, 0u);
}

// Names (without directory) that ksLoop2 hands to its callback.
struct Listing {
    int status;
    Names names;
};

Listing list(const std::string& pattern, int kind = KS_ANY) {
    Listing l;
    l.status = ksLoop2(
        pattern.c_str(), kind,
        [](const char* path, void* data) {
            static_cast<Names*>(data)->push_back(std::strrchr(path, '/') + 1);
            return 1;
        },
        &l.names);
    return l;
}

using DirectoryListing = InTempDir;

TEST_F(DirectoryListing, PatternsAndKindsInByteOrder) {
    for (const char* name : {"b.c", "ab.c", "a.h", "_x", "a.c", "B.c", "a.cc", "xa.c"})
        dir.write(name, "");
    dir.mkdir("sub");
    // More than the 100 entries a listing starts with room for.
    Names many;
    for (int i = 0; i < 250; ++i) many.push_back("f" + std::to_string(1000 + i));
    Names shuffled = many;
    std::shuffle(shuffled.begin(), shuffled.end(), std::mt19937(7));
    for (const std::string& n : shuffled) dir.write("many/" + n, "");
    EXPECT_EQ(list(dir.path("many/*")).names, many);
    const struct {
        const char* pattern;
        int kind;
        Names names;
    } cases[] = {
        {"*", KS_ANY, {"B.c", "_x", "a.c", "a.cc", "a.h", "ab.c", "b.c", "many", "sub", "xa.c"}},
        {"*", KS_DIR, {"many", "sub"}},
        {"*.c", KS_FILE, {"B.c", "a.c", "ab.c", "b.c", "xa.c"}},
        {"?.c", KS_ANY, {"B.c", "a.c", "b.c"}},
        {"a*c", KS_ANY, {"a.c", "a.cc", "ab.c"}},
        {"A.C", KS_ANY, {}},
        {"*.z", KS_ANY, {}},
    };
    for (const auto& c : cases) {
        Listing l = list(c.pattern, c.kind);
        EXPECT_EQ(l.names, c.names) << c.pattern;
        EXPECT_EQ(l.status, c.names.empty() ? KS_NOTFOUND : KS_OK) << c.pattern;
    }
}

TEST_F(DirectoryListing, ALinkListsAsWhatItPointsToAndADanglingOneNotAtAll) {
    dir.write("f", "");
    dir.mkdir("d");
    ASSERT_EQ(symlink("d", "to_d"), 0);
    ASSERT_EQ(symlink("f", "to_f"), 0);
    ASSERT_EQ(symlink("missing", "dangling"), 0);
    EXPECT_EQ(list("*", KS_DIR).names, (Names{"d", "to_d"}));
    EXPECT_EQ(list("*", KS_FILE).names, (Names{"f", "to_f"}));
    EXPECT_EQ(list("*").names, (Names{"d", "f", "to_d", "to_f"}));
}

TEST_F(DirectoryListing, WhatTheCallbackGetsAndReturns) {
    dir.write("sub/f", "");
    dir.write("sub/g", "");
    Names paths;
    auto keep = [](const char* path, void* data) {
        static_cast<Names*>(data)->push_back(path);
        return 1;
    };
    ASSERT_EQ(ksLoop2("sub/../sub/f*", KS_FILE, keep, &paths), KS_OK);
    EXPECT_EQ(paths, (Names{def + "sub/f"}));
    int calls = 0;
    auto stop = [](const char*, void* data) { return ++*static_cast<int*>(data), 0; };
    EXPECT_EQ(ksLoop2("sub/*", KS_FILE, stop, &calls), KS_OK);
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(ksLoop2("sub/*", KS_FILE, nullptr, nullptr), KS_OK);
    // A directory names no file, and an empty pattern matches nothing.
    EXPECT_EQ(list("sub/", KS_FILE).status, KS_BADSPEC);
    EXPECT_EQ(list("sub/", KS_ANY).status, KS_NOTFOUND);
    EXPECT_EQ(list("none/*").status, KS_NOTFOUND);
    // A throw passes through and leaves the listing sound for the next walk.
    uint32_t tag = 0;
    ktExCatch(
        KT_EX_ALL,
        [] {
            return ksLoop2(
                "sub/*", KS_FILE,
                [](const char*, void*) -> int {
                    ktExThrow2(KT_EX_USER1, "test", KT_ERR_ERROR, "callback failed");
                },
                nullptr);
        },
        [&](uint32_t t, ktErrObject*) { return tag = t, ktExSwallow(), 0; });
    EXPECT_EQ(tag, KT_EX_USER1);
    EXPECT_EQ(list("sub/*").names, (Names{"f", "g"}));
}

TEST_F(DirectoryListing, ACallbackMayListTheSameDirectoryAgain) {
    for (const char* name : {"a", "b", "c"}) dir.write(name, "");
    struct Walk {
        Names outer;
        int inner = 0;
        const TempDir* dir;
    } walk{{}, 0, &dir};
    auto visit = [](const char* path, void* data) {
        auto* w = static_cast<Walk*>(data);
        w->outer.push_back(std::strrchr(path, '/') + 1);
        // A new name makes the inner walk replace the cached listing.
        w->dir->write("new" + std::to_string(w->outer.size()), "");
        w->inner += static_cast<int>(list("*").names.size());
        return 1;
    };
    ASSERT_EQ(ksLoop2("*", KS_ANY, visit, &walk), KS_OK);
    EXPECT_EQ(walk.outer, (Names{"a", "b", "c"})) << "the outer walk keeps its own listing";
    EXPECT_EQ(walk.inner, 4 + 5 + 6);
}

using DirectoryCache = InTempDir;

TEST_F(DirectoryCache, NamesThatComeAndGoShowWhileTheDirectoryTimeStandsStill) {
    for (const char* name : {"a", "b"}) dir.write(name, "");
    struct utimbuf stamp = {1500000000, 1500000000};
    ASSERT_EQ(utime(".", &stamp), 0);
    EXPECT_EQ(list("*").names, (Names{"a", "b"}));
    dir.write("c", "");
    ASSERT_EQ(unlink("a"), 0);
    ASSERT_EQ(utime(".", &stamp), 0);
    EXPECT_EQ(list("*", KS_FILE).names, (Names{"b", "c"}));
}

}  // namespace
