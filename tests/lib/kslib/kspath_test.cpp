#include "kspath.h"

#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "kterr.h"
#include "ktex.h"
#include "tempdir.h"

namespace {

std::string rep(char c, size_t n) {
    return std::string(n, c);
}

// Sets (or, with null, unsets) an environment variable for one scope.
class ScopedEnv {
public:
    ScopedEnv(const char* name, const char* value) : name_(name) {
        if (const char* old = std::getenv(name)) {
            had_ = true;
            old_ = old;
        }
        set(value);
    }
    ~ScopedEnv() { set(had_ ? old_.c_str() : nullptr); }

private:
    void set(const char* value) {
        if (value)
            setenv(name_.c_str(), value, 1);
        else
            unsetenv(name_.c_str());
        if (name_ == "TZ") tzset();
    }
    std::string name_, old_;
    bool had_ = false;
};

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
        ksGetdefReset();
        char buf[KS_PATHMAX];
        ASSERT_EQ(ksGetdef(buf), KS_OK);
        def = buf;
    }
    ~InTempDir() override { ksGetdefReset(); }

    std::string abs2(const char* path, int expect = KS_OK) {
        char out[KS_PATHMAX] = "";
        EXPECT_EQ(ksAbsPath2(path, out), expect) << path;
        return out;
    }
    std::string abs(const std::string& path) {
        char buf[KS_PATHMAX];
        std::strcpy(buf, path.c_str());
        EXPECT_EQ(ksAbsPath(buf), KS_OK) << path;
        return buf;
    }
};

struct Parts {
    int status;
    std::string dev, dir, name, ext, nameext;
};

Parts parse(const std::string& path) {
    char dev[KS_PATHMAX] = "?", dir[KS_PATHMAX] = "", name[KS_PATHMAX] = "", ext[KS_PATHMAX] = "",
         nameext[KS_PATHMAX] = "";
    int st = ksParse(path.c_str(), dev, dir, name, ext);
    ksParse2(path.c_str(), nullptr, nullptr, nameext);
    return {st, dev, dir, name, ext, nameext};
}

TEST(PathSplit, DirectoryNameAndExtension) {
    Parts p = parse("lib/a.b.c");
    EXPECT_EQ(p.status, KS_OK);
    EXPECT_EQ(p.dev, "");
    EXPECT_EQ(p.dir, "lib/");
    EXPECT_EQ(p.name, "a.b");
    EXPECT_EQ(p.ext, "c");
    EXPECT_EQ(p.nameext, "a.b.c");

    p = parse("/x.d/and2");
    EXPECT_EQ(p.dir, "/x.d/");
    EXPECT_EQ(p.name, "and2");
    EXPECT_EQ(p.ext, "");
}

TEST(PathSplit, DotNamesAndHiddenFilesHaveNoExtension) {
    for (const char* last : {".", "..", ".profile"}) {
        Parts p = parse(std::string("d/") + last);
        EXPECT_EQ(p.name, last);
        EXPECT_EQ(p.ext, "");
    }
    Parts p = parse(".a.b");
    EXPECT_EQ(p.name, ".a");
    EXPECT_EQ(p.ext, "b");
    // A trailing '.' gives an empty extension; the whole component keeps it.
    p = parse("d/x.");
    EXPECT_EQ(p.name, "x");
    EXPECT_EQ(p.ext, "");
    EXPECT_EQ(p.nameext, "x.");
}

TEST(PathSplit, PathsOf256CharactersAreRefused) {
    EXPECT_EQ(parse("d/" + rep('n', 249) + ".ext").status, KS_OK);  // 255
    EXPECT_EQ(parse("d/" + rep('n', 250) + ".ext").status, KS_BADSPEC);
    EXPECT_EQ(parse("d/" + rep('n', 251) + ".ext").status, KS_BADSPEC);
    EXPECT_EQ(ksParse(nullptr, nullptr, nullptr, nullptr, nullptr), KS_BADSPEC);
}

std::string merge(const char* dir, const char* name, const char* ext, int expect = KS_OK) {
    char out[KS_PATHMAX] = "<untouched>";
    EXPECT_EQ(ksMerge(out, nullptr, dir, name, ext), expect);
    return out;
}

TEST(PathJoin, DirectoryGetsOneSlashAndEmptyExtensionsNoDot) {
    EXPECT_EQ(merge("a", "b", "c"), "a/b.c");
    EXPECT_EQ(merge("a/", "b", "c"), "a/b.c");
    EXPECT_EQ(merge("", "b", "c"), "b.c");
    EXPECT_EQ(merge(nullptr, "b", ""), "b");
    EXPECT_EQ(merge("a", nullptr, nullptr), "a/");
}

TEST(PathJoin, ComponentsAreTrimmed) {
    EXPECT_EQ(merge("  a ", " b", "c\t"), "a/b.c");
}

TEST(PathJoin, ResultsOf256CharactersAreRefused) {
    EXPECT_EQ(merge("d", rep('n', 251).c_str(), "c"), "d/" + rep('n', 251) + ".c");  // 255
    EXPECT_EQ(merge("d", rep('n', 252).c_str(), "c", KS_BADSPEC), "<untouched>");
    EXPECT_EQ(merge("d", rep('n', 253).c_str(), "c", KS_BADSPEC), "<untouched>");
    // An extension pointer counts its '.', even when it has nothing to write.
    EXPECT_EQ(merge(nullptr, rep('n', 255).c_str(), nullptr), rep('n', 255));
    merge(nullptr, rep('n', 255).c_str(), "", KS_BADSPEC);
}

TEST(PathJoin, OutputMayBeAnInput) {
    char buf[KS_PATHMAX] = "dir";
    ASSERT_EQ(ksMerge(buf, nullptr, buf, "x", nullptr), KS_OK);
    EXPECT_STREQ(buf, "dir/x");
}

std::string down(const std::string& dir, const char* level, int expect = KS_OK) {
    char buf[KS_PATHMAX];
    std::strcpy(buf, dir.c_str());
    EXPECT_EQ(ksDnpath(buf, level), expect);
    return buf;
}

TEST(PathLevels, DnpathAppendsALevelEndingInSlash) {
    EXPECT_EQ(down("", "532"), "532/");
    EXPECT_EQ(down("a", "b"), "a/b/");
    EXPECT_EQ(down("/a/", "b/c/"), "/a/b/c/");
    EXPECT_EQ(down("a", ""), "a");
    EXPECT_EQ(down("a", nullptr), "a");
}

TEST(PathLevels, DnpathRefusesAResultPastTheLimitAndKeepsTheDirectory) {
    std::string d = rep('d', 250);
    EXPECT_EQ(down(d, "xxx"), d + "/xxx/");  // 255
    EXPECT_EQ(down(d, "xxxx", KS_BADSPEC), d);
    EXPECT_EQ(down(d, "xxxxx", KS_BADSPEC), d);
    EXPECT_EQ(down(d, "xxxx/", KS_BADSPEC), d);
    EXPECT_EQ(down(d, "xxx/"), d + "/xxx/");
}

TEST(PathLevels, UppathClimbsToTheRootAndNoFurther) {
    char path[KS_PATHMAX] = "/a/b/c/";
    char last[KS_PATHMAX];
    const char* steps[][2] = {{"/a/b/", "c"}, {"/a/", "b"}, {"/", "a"}};
    for (auto& step : steps) {
        ASSERT_EQ(ksUppath(path, last), KS_OK);
        EXPECT_STREQ(path, step[0]);
        EXPECT_STREQ(last, step[1]);
    }
    EXPECT_EQ(ksUppath(path, last), KS_NOTFOUND);
    EXPECT_STREQ(path, "/");
    EXPECT_STREQ(last, "");

    std::strcpy(path, "name");
    ASSERT_EQ(ksUppath(path, last), KS_OK);
    EXPECT_STREQ(path, "");
    EXPECT_STREQ(last, "name");
    EXPECT_EQ(ksUppath(path, last), KS_NOTFOUND);
}

TEST(PathSeparators, RunsCollapseAndBackslashesTurn) {
    char out[KS_PATHMAX];
    ASSERT_EQ(ksConvPath("a\\\\b//c", out), KS_OK);
    EXPECT_STREQ(out, "a/b/c");
    ASSERT_EQ(ksConvPath("\\/x\\", out), KS_OK);
    EXPECT_STREQ(out, "/x/");
    EXPECT_EQ(ksConvPath(nullptr, out), KS_BADSPEC);
    EXPECT_EQ(ksConvPath("a", nullptr), KS_BADSPEC);
}

TEST(PathSeparators, TheLimitIsOnTheConvertedPath) {
    char out[KS_PATHMAX];
    EXPECT_EQ(ksConvPath(rep('a', 255).c_str(), out), KS_OK);
    EXPECT_EQ(ksConvPath(rep('a', 256).c_str(), out), KS_BADSPEC);
    // 257 characters with one doubled separator convert to 256.
    EXPECT_EQ(ksConvPath((rep('a', 127) + "//" + rep('a', 128)).c_str(), out), KS_BADSPEC);
    EXPECT_EQ(ksConvPath((rep('a', 127) + "//" + rep('a', 127)).c_str(), out), KS_OK);
    EXPECT_EQ(std::strlen(out), 255u);
}

using AbsolutePath = InTempDir;

TEST_F(AbsolutePath, RelativePathsStartAtTheDefaultDirectory) {
    EXPECT_EQ(abs2("a/./b/../c"), def + "a/c");
    EXPECT_EQ(abs2("./a\\\\b"), def + "a/b");
    // The default directory without its '/', as "." and ".." leave no slash.
    std::string bare = def.substr(0, def.size() - 1);
    EXPECT_EQ(abs2("."), bare);
    EXPECT_EQ(abs2("sub/.."), bare);
}

TEST_F(AbsolutePath, DotDotStopsAtTheRoot) {
    EXPECT_EQ(abs2("/../a"), "/a");
    EXPECT_EQ(abs2("/x/../../y/"), "/y/");
    EXPECT_EQ(abs2("/.."), "/");
    EXPECT_EQ(abs("/.."), "/");
}

TEST_F(AbsolutePath, TrailingSlashAndTrailingDotAreKept) {
    EXPECT_EQ(abs2("/d/e/"), "/d/e/");
    EXPECT_EQ(abs2("x."), def + "x.");
    EXPECT_EQ(abs2("/d/x."), "/d/x.");
    EXPECT_EQ(abs("/d/e/"), "/d/e/");
    EXPECT_EQ(abs("/d/e"), "/d/e");
    EXPECT_EQ(abs("/d/e/."), "/d/e");
    EXPECT_EQ(abs("sub/"), def + "sub/");
}

TEST_F(AbsolutePath, HomeDirectories) {
    {
        ScopedEnv home("HOME", nullptr);
        abs2("~/x", KS_NOTFOUND);
    }
    {
        ScopedEnv home("HOME", "");
        abs2("~", KS_NOTFOUND);
    }
    ScopedEnv home("HOME", "/h//");
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

TEST_F(AbsolutePath, ResultsOf256CharactersAreRefused) {
    std::string p255 = "/" + rep('a', 127) + "/" + rep('b', 126);
    EXPECT_EQ(abs2(p255.c_str()), p255);
    abs2((p255 + "b").c_str(), KS_BADSPEC);
    abs2((p255 + "bb").c_str(), KS_BADSPEC);
    // Long enough only with the default directory in front.
    abs2(rep('r', 255 - def.size() + 1).c_str(), KS_BADSPEC);
    EXPECT_EQ(abs2(rep('r', 255 - def.size()).c_str()), def + rep('r', 255 - def.size()));
    // ".." may bring a long input back within the limit.
    std::string back = "/" + rep('c', 200) + "/../" + rep('d', 50);
    EXPECT_EQ(abs2(back.c_str()), "/" + rep('d', 50));
}

TEST_F(AbsolutePath, TheDefaultDirectoryIsReadOnce) {
    TempDir other;
    ChdirGuard there(other.path());
    EXPECT_EQ(abs2("x"), def + "x");
    ksGetdefReset();
    char now[KS_PATHMAX];
    ASSERT_EQ(ksGetdef(now), KS_OK);
    EXPECT_NE(now, def);
    EXPECT_EQ(abs2("x"), std::string(now) + "x");
}

TEST_F(AbsolutePath, AnUnreadableWorkingDirectoryIsAnError) {
    SysSwap swap;
    ksGetdefReset();
    ksSysV.getcwd = [](char*, size_t) -> char* {
        errno = EACCES;
        return nullptr;
    };
    char out[KS_PATHMAX];
    EXPECT_EQ(ksGetdef(out), KS_ERROR);
    EXPECT_EQ(ksAbsPath2("x", out), KS_NOTFOUND);
    EXPECT_EQ(ksAbsPath2("/x", out), KS_OK);
}

using FileStatus = InTempDir;

TEST_F(FileStatus, KindFollowsTheDirectoryBitOfTheMode) {
    dir.write("f", "12345");
    dir.mkdir("d");
    int kind = 0;
    long size = 0;
    ASSERT_EQ(ksInfo(dir.path("f").c_str(), nullptr, &size, &kind), KS_OK);
    EXPECT_EQ(kind, KS_FILE);
    EXPECT_EQ(size, 5);
    ASSERT_EQ(ksInfo(dir.path("d").c_str(), nullptr, nullptr, &kind), KS_OK);
    EXPECT_EQ(kind, KS_DIR);
    EXPECT_EQ(ksInfo(dir.path("none").c_str(), nullptr, nullptr, &kind), KS_NOTFOUND);

    // A socket's type bits (0xC000) include 0x4000.
    int s = socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_GE(s, 0);
    sockaddr_un addr{};
    addr.sun_family = AF_UNIX;
    std::strcpy(addr.sun_path, "sock");
    ASSERT_EQ(bind(s, reinterpret_cast<sockaddr*>(&addr), sizeof addr), 0);
    close(s);
    EXPECT_EQ(ksInfo("sock", nullptr, nullptr, &kind), KS_OK);
    EXPECT_EQ(kind, KS_DIR);
    // A character device's (0x2000) don't.
    EXPECT_EQ(ksInfo("/dev/null", nullptr, nullptr, &kind), KS_OK);
    EXPECT_EQ(kind, KS_FILE);
}

TEST_F(FileStatus, ExistsWantsTheKindAskedFor) {
    dir.write("f", "");
    dir.mkdir("d");
    EXPECT_EQ(ksExists("f", KS_FILE), KS_OK);
    EXPECT_EQ(ksExists("f", KS_DIR), KS_NOTFOUND);
    EXPECT_EQ(ksExists("d", KS_DIR), KS_OK);
    EXPECT_EQ(ksExists("d", KS_FILE), KS_NOTFOUND);
    EXPECT_EQ(ksExists("d", KS_ANY), KS_OK);
    EXPECT_EQ(ksExists("none", KS_ANY), KS_NOTFOUND);

    char out[KS_PATHMAX] = "";
    EXPECT_EQ(ksExists2("d/../f", KS_FILE, out), KS_OK);
    EXPECT_EQ(out, def + "f");
    EXPECT_EQ(ksExists2("f", KS_DIR, out), KS_NOTFOUND);
}

TEST_F(FileStatus, TimeCountsLocalClockSecondsSince1970) {
    ScopedEnv tz("TZ", "XYZ-3");  // three hours east of Greenwich, no summer time
    dir.write("f", "");
    struct Case {
        time_t utc;
    } cases[] = {
        {951827696},   // 2000-02-29 12:34:56 UTC, a leap day of a year divisible by 400
        {983404800},   // 2001-03-01 00:00:00 UTC
        {4107542399},  // 2100-02-28 23:59:59 UTC, which is 1 March here
        {4139078400},  // 2101-03-01 00:00:00 UTC, after 2100, which is no leap year
    };
    for (const Case& c : cases) {
        struct utimbuf t = {c.utc, c.utc};
        ASSERT_EQ(utime("f", &t), 0);
        uint32_t got = 0;
        ASSERT_EQ(ksInfo("f", &got, nullptr, nullptr), KS_OK);
        EXPECT_EQ(got, static_cast<uint32_t>(c.utc + 3 * 3600)) << c.utc;
        EXPECT_EQ(ksFtime("f"), got);
    }
    EXPECT_EQ(ksFtime("none"), 0u);
}

using FileCreate = InTempDir;

TEST_F(FileCreate, FilesAndDirectories) {
    EXPECT_EQ(ksCreate("f", KS_FILE), KS_OK);
    EXPECT_EQ(ksExists("f", KS_FILE), KS_OK);
    EXPECT_EQ(ksCreate("d/", KS_DIR), KS_OK);
    EXPECT_EQ(ksExists("d", KS_DIR), KS_OK);
    EXPECT_EQ(ksCreate("d", KS_DIR), KS_OK) << "an existing directory is no failure";
    EXPECT_EQ(ksCreate("", KS_DIR), -1);
    EXPECT_EQ(ksCreate("none/f", KS_FILE), KS_NOCREATE);
    EXPECT_EQ(ksCreate("f", KS_DIR), KS_NOACCESS) << "a file holds the name";
    EXPECT_EQ(ksCreate(rep('n', 256).c_str(), KS_FILE), KS_BADSPEC);
    EXPECT_FALSE(dir.exists(rep('n', 255)));
}

using FileDelete = InTempDir;

TEST_F(FileDelete, ReadOnlyObjectsAreRefusedWhoeverRuns) {
    // The mode is checked before the system is asked, so this holds for
    // root too, whom the system would let through.
    dir.write("ro", "keep");
    ASSERT_EQ(chmod("ro", 0444), 0);
    EXPECT_EQ(ksDelete("ro", KS_FILE), KS_NOACCESS);
    EXPECT_TRUE(dir.exists("ro"));

    dir.mkdir("rodir");
    ASSERT_EQ(chmod("rodir", 0555), 0);
    EXPECT_EQ(ksDelete("rodir/", KS_DIR), KS_NOACCESS);
    EXPECT_TRUE(dir.exists("rodir"));
}

TEST_F(FileDelete, FilesAndDirectories) {
    dir.write("f", "");
    dir.mkdir("d");
    dir.write("full/x", "");
    EXPECT_EQ(ksDelete("d", KS_FILE), KS_NOTFOUND) << "a directory is no file";
    EXPECT_EQ(ksDelete("f", KS_FILE), KS_OK);
    EXPECT_FALSE(dir.exists("f"));
    EXPECT_EQ(ksDelete("d/", KS_DIR), KS_OK);
    EXPECT_FALSE(dir.exists("d"));
    EXPECT_EQ(ksDelete("full", KS_DIR), KS_NOTFOUND);
    EXPECT_EQ(ksDelete("none", KS_FILE), KS_NOTFOUND);
    EXPECT_EQ(ksDelete(rep('n', 255).c_str(), KS_FILE), KS_NOTFOUND);
    EXPECT_EQ(ksDelete(rep('n', 256).c_str(), KS_FILE), KS_BADSPEC);
}

TEST_F(FileDelete, ASystemRefusalIsNoAccess) {
    SysSwap swap;
    ksSysV.unlink = [](const char*) {
        errno = EACCES;
        return -1;
    };
    dir.write("f", "");
    EXPECT_EQ(ksDelete("f", KS_FILE), KS_NOACCESS);
    EXPECT_TRUE(dir.exists("f"));
}

using FileRename = InTempDir;

TEST_F(FileRename, StatusByCause) {
    dir.write("a", "text");
    EXPECT_EQ(ksRename("a", "b"), KS_OK);
    EXPECT_EQ(dir.read("b"), "text");
    EXPECT_EQ(ksRename("a", "c"), KS_NOTFOUND);
    dir.write("full/x", "");
    dir.mkdir("d");
    EXPECT_EQ(ksRename("d", "full"), KS_BADSPEC) << "onto a directory that isn't empty";

    SysSwap swap;
    ksSysV.rename = [](const char*, const char*) {
        errno = EACCES;
        return -1;
    };
    EXPECT_EQ(ksRename("b", "c"), KS_NOACCESS);
}

using FileCopy = InTempDir;

std::string pattern(size_t n) {
    std::string s(n, '\0');
    for (size_t i = 0; i < n; ++i) s[i] = static_cast<char>((i * 7 + i / 251) & 0xFF);
    return s;
}

TEST_F(FileCopy, ContentAndTimesOfAnySize) {
    // Around the transfer buffer of 32767 bytes.
    for (size_t n : {0, 1, 32766, 32767, 32768, 65534, 100000}) {
        SCOPED_TRACE(n);
        dir.write("src", pattern(n));
        struct utimbuf t = {1000000000, 900000000};
        ASSERT_EQ(utime("src", &t), 0);
        ASSERT_EQ(ksCopy("src", "dst"), KS_OK);
        EXPECT_EQ(dir.read("dst"), pattern(n));
        // The copy itself may have moved the source's access time.
        struct stat source, target;
        ASSERT_EQ(stat("src", &source), 0);
        ASSERT_EQ(stat("dst", &target), 0);
        EXPECT_EQ(target.st_mtime, 900000000);
        EXPECT_EQ(target.st_atime, source.st_atime);
    }
}

TEST_F(FileCopy, AWritableTargetIsReplacedAReadOnlyOneKept) {
    dir.write("src", "new");
    EXPECT_EQ(ksCopy("none", "dst"), KS_NOTFOUND);
    EXPECT_EQ(ksCopy("src", "none/dst"), KS_NOTFOUND);
    dir.write("dst", "older and longer");
    ASSERT_EQ(ksCopy("src", "dst"), KS_OK);
    EXPECT_EQ(dir.read("dst"), "new");

    dir.write("ro", "kept");
    ASSERT_EQ(chmod("ro", 0444), 0);
    EXPECT_EQ(ksCopy("src", "ro"), KS_NOTFOUND);
    EXPECT_EQ(dir.read("ro"), "kept");
}

TEST_F(FileCopy, AFailedTransferLeavesNoTarget) {
    dir.write("src", pattern(50000));
    SysSwap swap;
    // A full disk: the second block is written short.
    static int writes;
    writes = 0;
    ksSysV.fwrite = [](const void* buf, size_t size, size_t count, FILE* f) {
        size_t n = std::fwrite(buf, size, count, f);
        return ++writes == 2 ? n / 2 : n;
    };
    EXPECT_EQ(ksCopy("src", "dst"), KS_IOERROR);
    EXPECT_FALSE(dir.exists("dst"));
    EXPECT_EQ(ksXfer(nullptr, stdout), KS_BADSPEC);
}

// Names (without directory) that ksLoop2 hands to its callback.
struct Listing {
    int status;
    std::vector<std::string> names;
};

int collect(const char* path, void* data) {
    const char* slash = std::strrchr(path, '/');
    static_cast<std::vector<std::string>*>(data)->push_back(slash ? slash + 1 : path);
    return 1;
}

Listing list(const std::string& pattern, int kind = KS_ANY) {
    Listing l;
    l.status = ksLoop2(pattern.c_str(), kind, collect, &l.names);
    return l;
}

using Names = std::vector<std::string>;

using DirectoryListing = InTempDir;

TEST_F(DirectoryListing, EntriesComeInByteOrder) {
    for (const char* name : {"b.c", "ab.c", "a.h", "_x", "a.c", "B.c"}) dir.write(name, "");
    dir.mkdir("sub");
    EXPECT_EQ(list("*").names, (Names{"B.c", "_x", "a.c", "a.h", "ab.c", "b.c", "sub"}));
    EXPECT_EQ(list("*", KS_FILE).names, (Names{"B.c", "_x", "a.c", "a.h", "ab.c", "b.c"}));
    EXPECT_EQ(list("*", KS_DIR).names, (Names{"sub"}));
}

TEST_F(DirectoryListing, ManyEntriesAllComeSorted) {
    // More than the 100 entries a listing starts with room for.
    Names names;
    for (int i = 0; i < 250; ++i) names.push_back("f" + std::to_string(1000 + i));
    Names shuffled = names;
    std::shuffle(shuffled.begin(), shuffled.end(), std::mt19937(7));
    for (const std::string& n : shuffled) dir.write(n, "");
    EXPECT_EQ(list(dir.path("*")).names, names);
}

TEST_F(DirectoryListing, PatternsMatchTheWholeName) {
    for (const char* name : {"a.c", "ab.c", "b.c", "a.cc", "xa.c"}) dir.write(name, "");
    EXPECT_EQ(list("*.c").names, (Names{"a.c", "ab.c", "b.c", "xa.c"}));
    EXPECT_EQ(list("?.c").names, (Names{"a.c", "b.c"}));
    EXPECT_EQ(list("a*c").names, (Names{"a.c", "a.cc", "ab.c"}));
    EXPECT_EQ(list("a.c").names, (Names{"a.c"}));
    EXPECT_EQ(list("A.c").status, KS_NOTFOUND) << "case counts";
    Listing none = list("*.h");
    EXPECT_EQ(none.status, KS_NOTFOUND);
    EXPECT_TRUE(none.names.empty());
}

TEST_F(DirectoryListing, DirectoriesThemselvesAndMissingOnes) {
    dir.write("sub/f", "");
    EXPECT_EQ(list("sub/", KS_FILE).status, KS_BADSPEC);
    EXPECT_EQ(list("sub/", KS_ANY).status, KS_NOTFOUND) << "an empty pattern matches nothing";
    EXPECT_EQ(list("none/*").status, KS_NOTFOUND);
    EXPECT_EQ(list(rep('n', 256)).status, KS_BADSPEC);
}

TEST_F(DirectoryListing, CallbackGetsFullPaths) {
    dir.write("sub/f", "");
    std::vector<std::string> paths;
    auto keep = [](const char* path, void* data) {
        static_cast<std::vector<std::string>*>(data)->push_back(path);
        return 1;
    };
    ASSERT_EQ(ksLoop2("sub/../sub/*", KS_FILE, keep, &paths), KS_OK);
    EXPECT_EQ(paths, (Names{def + "sub/f"}));
}

TEST_F(DirectoryListing, CountingOnlyAndStoppingEarly) {
    dir.write("a", "");
    dir.write("b", "");
    auto dummy = reinterpret_cast<ksLoopProc>(ktDummyProc);
    EXPECT_EQ(ksLoop2("*", KS_FILE, dummy, nullptr), KS_OK);
    EXPECT_EQ(ksLoop2("c*", KS_FILE, dummy, nullptr), KS_NOTFOUND);
    EXPECT_EQ(ksLoop2("*", KS_FILE, nullptr, nullptr), KS_OK);

    int calls = 0;
    auto stop = [](const char*, void* data) {
        ++*static_cast<int*>(data);
        return 0;
    };
    EXPECT_EQ(ksLoop2("*", KS_FILE, stop, &calls), KS_OK);
    EXPECT_EQ(calls, 1);
}

TEST_F(DirectoryListing, AThrowFromTheCallbackPassesThrough) {
    dir.write("a", "");
    dir.write("b", "");
    auto fail = [](const char*, void*) -> int {
        ktExThrow2(KT_EX_USER1, "test", KT_ERR_ERROR, "callback failed");
    };
    uint32_t tag = 0;
    ktExCatch(
        KT_EX_ALL, [&] { return ksLoop2("*", KS_FILE, fail, nullptr); },
        [&](uint32_t t, ktErrObject*) {
            tag = t;
            ktExSwallow();
            return 0;
        });
    EXPECT_EQ(tag, KT_EX_USER1);
    // The listing is still sound for the next walk.
    EXPECT_EQ(list("*").names, (Names{"a", "b"}));
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
        Listing again = list("*");
        w->inner += static_cast<int>(again.names.size());
        return 1;
    };
    ASSERT_EQ(ksLoop2("*", KS_ANY, visit, &walk), KS_OK);
    EXPECT_EQ(walk.outer, (Names{"a", "b", "c"})) << "the outer walk keeps its own listing";
    EXPECT_EQ(walk.inner, 4 + 5 + 6);
}

// Counts the calls of stat while it is installed.
int statCalls;
int countingStat(const char* path, struct stat* st) {
    ++statCalls;
    return ::stat(path, st);
}

using DirectoryCache = InTempDir;

TEST_F(DirectoryCache, NamesAddedOrRemovedShowAtOnce) {
    dir.write("a", "");
    EXPECT_EQ(list("*").names, (Names{"a"}));
    dir.write("b", "");
    EXPECT_EQ(list("*").names, (Names{"a", "b"}));
    ASSERT_EQ(unlink("a"), 0);
    EXPECT_EQ(list("*").names, (Names{"b"}));
}

TEST_F(DirectoryCache, OnlyNewNamesAreExaminedWhileTheDirectoryTimeStands) {
    for (const char* name : {"a", "b", "c", "d", "e"}) dir.write(name, "");
    struct utimbuf stamp = {1500000000, 1500000000};
    ASSERT_EQ(utime(".", &stamp), 0);
    SysSwap swap;
    ksSysV.stat = countingStat;

    statCalls = 0;
    EXPECT_EQ(list("*").names.size(), 5u);
    EXPECT_EQ(statCalls, 1 + 5) << "the directory and each entry";

    statCalls = 0;
    EXPECT_EQ(list("*").names.size(), 5u);
    EXPECT_EQ(statCalls, 1) << "only the directory";

    dir.write("f", "");
    ASSERT_EQ(utime(".", &stamp), 0);
    statCalls = 0;
    EXPECT_EQ(list("*").names.size(), 6u);
    EXPECT_EQ(statCalls, 1 + 1) << "the directory and the new name";

    struct utimbuf later = {1500000100, 1500000100};
    ASSERT_EQ(utime(".", &later), 0);
    statCalls = 0;
    EXPECT_EQ(list("*").names.size(), 6u);
    EXPECT_EQ(statCalls, 1 + 6) << "a new directory time examines everything again";
}

TEST(HostValues, HostNameFallsBackToLocalhost) {
    SysSwap swap;
    static std::string given;
    ksSysV.gethostname = [](char* out, size_t size) {
        if (given.size() >= size) {
            errno = ENAMETOOLONG;
            return -1;
        }
        std::strcpy(out, given.c_str());
        return 0;
    };
    given = rep('h', 63);
    EXPECT_EQ(std::string(ksGethostname()), given);
    given = rep('h', 64);
    EXPECT_STREQ(ksGethostname(), "localhost");
    given = "";
    EXPECT_STREQ(ksGethostname(), "localhost");
    ksSysV.gethostname = [](char*, size_t) { return -1; };
    EXPECT_STREQ(ksGethostname(), "localhost");
}

class Clock : public ::testing::Test {
protected:
    SysSwap swap;
    static time_t now;
    void SetUp() override {
        ksSysV.time = [](time_t* out) {
            if (out) *out = now;
            return now;
        };
    }
    uint32_t read(int mode) {
        uint32_t out = 0;
        EXPECT_EQ(ksTimer(mode, &out), KS_OK);
        return out;
    }
};
time_t Clock::now = 0;

TEST_F(Clock, ReadingsFollowTheLocalZone) {
    now = 1710498030;  // Friday 2024-03-15 10:20:30 UTC
    {
        ScopedEnv tz("TZ", "XYZ-3");  // three hours east
        EXPECT_EQ(read(KS_TIMER_MONTHCENTI), 14u * 8640000 + 13 * 360000 + 20 * 6000 + 30 * 100);
        EXPECT_EQ(read(KS_TIMER_LOCALSEC), static_cast<uint32_t>(now + 3 * 3600));
    }
    ScopedEnv tz("TZ", "XYZ+5");
    EXPECT_EQ(read(KS_TIMER_LOCALSEC), static_cast<uint32_t>(now - 5 * 3600));
    uint32_t out;
    EXPECT_EQ(ksTimer(2, &out), KS_BADSPEC);
}

TEST_F(Clock, TheWeekWrapsBetweenSaturdayAndSunday) {
    ScopedEnv tz("TZ", "UTC0");
    now = 1710498030;
    struct Case {
        const char *gmDay, *localDay, *gmHour, *localHour;
        long shift;
    } cases[] = {
        {"0", "6", "1", "23", -2 * 3600},  // Sunday 01:00 at Greenwich, Saturday 23:00 here
        {"6", "0", "22", "1", 3 * 3600},   // Saturday 22:00 at Greenwich, Sunday 01:00 here
        {"7", "-1", "24", "3x", 0},        // out of range: the clock's own readings
    };
    for (const Case& c : cases) {
        ScopedEnv gd("KS_TIMER_GMDAY", c.gmDay), ld("KS_TIMER_LOCALDAY", c.localDay);
        ScopedEnv gh("KS_TIMER_GMHOUR", c.gmHour), lh("KS_TIMER_LOCALHOUR", c.localHour);
        EXPECT_EQ(read(KS_TIMER_LOCALSEC), static_cast<uint32_t>(now + c.shift)) << c.gmDay;
    }
}

}  // namespace
