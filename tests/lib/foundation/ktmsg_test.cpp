// Message files: opening and its checks, the shared handles, the cache's
// eviction order and buffers, the static buffer, and the failures.
#include "ktmsg.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "kssrch.h"
#include "ktdufs.h"
#include "kterr.h"
#include "ktex.h"
#include "ktlib_msg.h"
#include "ktstr.h"
#include "msgwriter.h"
#include "runprog.h"
#include "tempdir.h"

namespace {

// The error of a throw: its number, severity and text, and the tag.
struct Thrown {
    uint32_t tag = 0;
    int number = -1;
    int severity = -1;
    std::string text;
};

template <typename Body>
Thrown thrown(Body body) {
    return ktExCatch(
        KT_EX_ALL,
        [&] {
            body();
            return Thrown{};
        },
        [](uint32_t tag, ktErrObject* err) {
            Thrown t{tag, err->number, err->severity, err->text ? err->text : ""};
            ktExSwallow();
            return t;
        });
}

std::string textOf(ktMsgHandle* h, int number) {
    return ktMsgStatic(h, number);
}

// The numbers in the cache, newest first.
std::vector<int> recency(const ktMsgHandle* h) {
    std::vector<int> out;
    for (ktMsgCacheEntry* e = ktMsg_CacheV.newest; e; e = e->older)
        if (e->file == h) out.push_back(e->number);
    return out;
}

ktMsgCacheEntry* cached(const ktMsgHandle* h, int number) {
    for (ktMsgCacheEntry* e = ktMsg_CacheV.chains[number % KT_MSG_CHAINS]; e; e = e->hnext)
        if (e->file == h && e->number == number) return e;
    return nullptr;
}

// Files are found along KDIR: the test's directory, then the build's.
class MessageFiles : public ::testing::Test {
protected:
    void SetUp() override {
        setenv("KDIR", (dir.path() + ":" + ENTGEN_SHARE_DIR).c_str(), 1);
        ksKdirReset();
        unsetenv("KT_MSGNOVERSION");
    }
    void TearDown() override {
        for (ktMsgHandle* h : opened) ktMsgFileClose(h);
        setenv("KDIR", ENTGEN_SHARE_DIR, 1);
        ksKdirReset();
    }

    ktMsgHandle* open(const char* name, const FileSpec& spec, const char* app = nullptr,
                      const char* label = nullptr, const char* minver = nullptr,
                      const char* maxver = nullptr) {
        writeMessageFile(dir.path(std::string(name) + ".kmb"), spec);
        return keep(ktMsgFileOpen(name, app, label, minver, maxver));
    }
    ktMsgHandle* keep(ktMsgHandle* h) {
        opened.push_back(h);
        return h;
    }

    TempDir dir;
    std::vector<ktMsgHandle*> opened;  // closed at the end, once per open
};

// "m7........": the text of message 7 in a file of numbered().
std::string textFor(int n) {
    std::string text = "m" + std::to_string(n);
    text.resize(10, '.');
    return text;
}

FileSpec numbered(int from, int to) {
    FileSpec spec;
    for (int n = from; n <= to; ++n) spec.messages.push_back({n, textFor(n)});
    return spec;
}

TEST_F(MessageFiles, BigAndLittleEndianFilesReadTheSame) {
    FileSpec spec;
    spec.version = "5.3.1";
    spec.app = "demo";
    spec.messages = {{7, "[W] %2$s before %1$d"}, {3, "three"}};
    ktMsgHandle* big = open("bigend", spec, "demo", nullptr, "5.3.1", "5.3.1");
    spec.littleEndian = true;
    ktMsgHandle* little = open("littleend", spec, "demo", nullptr, "5.3.1", "5.3.1");
    EXPECT_EQ(dir.read("littleend.kmb").substr(0, 6), std::string("\x01\x84\x03\x02\x01\x00", 6));
    for (ktMsgHandle* h : {big, little}) {
        EXPECT_EQ(std::string(ktMsgStatic(h, 7, 12, "text")), "[W] text before 12");
        EXPECT_EQ(textOf(h, 3), "three");
        EXPECT_EQ(h->core->count, 2);
        EXPECT_EQ(h->core->maxlen, 21);
        char* raw = nullptr;
        EXPECT_EQ(ktMsgText(h, 7, ktMsgCopyAlloc, &raw), 0);
        EXPECT_STREQ(raw, "[W] %2$s before %1$d");
        ktStrFree(raw);
    }
}

TEST_F(MessageFiles, CompiledSourceReadsBack) {
    RunResult r = compileMessages(dir.path(), "compiled", R"(
#define C_APP -1 /* "compiled" */
#define C_LABEL -2 /* "L1" */
#define C_VERSION 0 /* "5.3.1" */
#define C_LATE 900 /* "[E] %2$s comes \
before %1$*3$d." */
#define C_EARLY 12 /* "tab\there" */
)");
    ASSERT_EQ(r.status, 0) << r.err;
    ktMsgHandle* h = keep(ktMsgFileOpen("compiled", "compiled", "L1", "5.3", "5.3.1"));
    EXPECT_EQ(std::string(ktMsgStatic(h, 900, 7, "second", 4)), "[E] second comes before    7.");
    EXPECT_EQ(textOf(h, 12), "tab\there");
}

TEST_F(MessageFiles, SameNameSharesOneHandleUntilTheLastClose) {
    FileSpec spec;
    spec.messages = {{1, "one"}};
    ktMsgHandle* h = open("shared", spec);
    ktMsgHandle* again = ktMsgFileOpen("shared", nullptr, nullptr, nullptr, nullptr);
    EXPECT_EQ(again, h);
    EXPECT_EQ(h->refs, 2);
    ktMsgFileClose(again);
    EXPECT_EQ(textOf(h, 1), "one") << "one reference is left";
    ktMsgFileClose(h);
    opened.clear();
    Thrown t = thrown([&] { ktMsgStatic(h, 1); });
    EXPECT_EQ(t.number, KTM_MSG_BADHANDLE);
    EXPECT_EQ(t.tag, KT_EX_PRECOND);
    ktMsgFileClose(h);  // no longer open: ignored
}

// ---- the cache

TEST_F(MessageFiles, EightyFirstFetchEvictsTheOldest) {
    ktMsgHandle* h = open("evict", numbered(1, 81));
    for (int n = 1; n <= 80; ++n) EXPECT_EQ(textOf(h, n), textFor(n));
    ASSERT_EQ(recency(h).size(), 80u);
    EXPECT_EQ(ktMsg_CacheV.oldest->number, 1);
    ktMsgCacheEntry* first = cached(h, 1);

    EXPECT_EQ(textOf(h, 81), textFor(81));
    EXPECT_EQ(cached(h, 1), nullptr);
    EXPECT_EQ(cached(h, 81), first) << "the evicted entry takes the new text";
    EXPECT_EQ(recency(h).front(), 81);
    EXPECT_EQ(recency(h).back(), 2);

    EXPECT_EQ(textOf(h, 1), textFor(1)) << "read from the file again";
    EXPECT_EQ(cached(h, 2), nullptr);
}

TEST_F(MessageFiles, HitMovesAnEntryToTheNewestEnd) {
    ktMsgHandle* h = open("hit", numbered(1, 81));
    for (int n = 1; n <= 80; ++n) textOf(h, n);
    textOf(h, 1);
    EXPECT_EQ(recency(h).front(), 1);
    EXPECT_EQ(recency(h).back(), 2);
    textOf(h, 81);
    EXPECT_NE(cached(h, 1), nullptr);
    EXPECT_EQ(cached(h, 2), nullptr);
}

// The entry the next miss takes. Entries keep a grown buffer for the life
// of the process, so a test compares with what the entry had.
ktMsgCacheEntry* nextTaken() {
    // The cache is made at the first fetch of the process.
    if (!ktMsg_CacheV.entries) ktMsgStatic(ktMsgFile(), KTM_MSG_BADHANDLE);
    return ktMsg_CacheV.free ? ktMsg_CacheV.free : ktMsg_CacheV.oldest;
}

TEST_F(MessageFiles, LongTextReplacesTheEvictedBufferAndKeepsIt) {
    FileSpec spec = numbered(1, 80);
    spec.messages.push_back({81, std::string(300, 'L')});
    for (int n = 82; n <= 161; ++n) spec.messages.push_back({n, "s" + std::to_string(n)});
    ktMsgHandle* h = open("long", spec);
    for (int n = 1; n <= 80; ++n) textOf(h, n);
    ktMsgCacheEntry* e = cached(h, 1);
    ASSERT_EQ(nextTaken(), e);
    ASSERT_LT(e->capacity, 301);

    EXPECT_EQ(textOf(h, 81), std::string(300, 'L'));
    EXPECT_EQ(cached(h, 81), e);
    EXPECT_EQ(e->capacity, 301);

    // 80 more fetches pass the entry on to a short text; its buffer stays.
    for (int n = 82; n <= 161; ++n) textOf(h, n);
    EXPECT_EQ(cached(h, 81), nullptr);
    EXPECT_EQ(cached(h, 161), e);
    EXPECT_EQ(e->capacity, 301);
    EXPECT_EQ(textOf(h, 161), "s161");
}

TEST_F(MessageFiles, TextOfEightyCharactersNeedsABiggerBuffer) {
    FileSpec spec;
    spec.messages = {{1, std::string(79, 'a')}, {2, std::string(80, 'b')}};
    ktMsgHandle* h = open("edge", spec);
    for (int n : {1, 2}) {
        ktMsgCacheEntry* e = nextTaken();
        int before = e->capacity;
        EXPECT_EQ(textOf(h, n), spec.messages[n - 1].text);
        EXPECT_EQ(cached(h, n), e);
        // 80 bytes hold 79 characters and the zero.
        EXPECT_EQ(e->capacity, n == 1 ? before : std::max(before, 81));
    }
}

TEST_F(MessageFiles, NumbersOfOneChainStayApart) {
    FileSpec spec;
    spec.messages = {{5, "five"}, {133, "one three three"}, {261, "two six one"}};
    ktMsgHandle* h = open("chain", spec);
    EXPECT_EQ(textOf(h, 133), "one three three");
    EXPECT_EQ(textOf(h, 5), "five");
    EXPECT_EQ(textOf(h, 261), "two six one");
    EXPECT_EQ(textOf(h, 133), "one three three");
    int onChain = 0;
    for (ktMsgCacheEntry* e = ktMsg_CacheV.chains[5]; e; e = e->hnext) onChain += e->file == h;
    EXPECT_EQ(onChain, 3);
}

TEST_F(MessageFiles, AnEntryBelongsToOneOpenFile) {
    FileSpec a, b;
    a.messages = {{1, "from a"}};
    b.messages = {{1, "from b"}};
    ktMsgHandle* ha = open("filea", a);
    ktMsgHandle* hb = open("fileb", b);
    EXPECT_EQ(textOf(ha, 1), "from a");
    EXPECT_EQ(textOf(hb, 1), "from b");
    ktMsgFileClose(ha);
    opened.erase(opened.begin());
    a.messages = {{1, "a renewed"}};
    ha = open("filea", a);  // the allocator may give the old address
    EXPECT_EQ(textOf(ha, 1), "a renewed");
}

// ---- the static buffer

TEST_F(MessageFiles, StaticBufferGrowsForATextAsLongAsItself) {
    FileSpec spec;
    spec.messages = {{1, "%s"}};
    ktMsgHandle* h = open("grow", spec);
    // The buffer grows by 256: rising lengths meet its size exactly,
    // whatever earlier calls left it at.
    for (size_t length = 255; length <= 16 * 256 + 1; ++length) {
        std::string text(length, 'x');
        text.back() = 'E';
        ASSERT_EQ(std::string(ktMsgStatic(h, 1, text.c_str())), text) << length;
    }
}

TEST(MessageBuffers, CopyToBufferCountsTheZero) {
    char out[5];
    ktMsgBuffer b{out, sizeof out};
    EXPECT_EQ(ktMsgCopyToBuffer(&b, "abcd"), 0);
    EXPECT_STREQ(out, "abcd");
    EXPECT_EQ(ktMsgCopyToBuffer(&b, "abcde"), 1);
    EXPECT_STREQ(out, "abcd");
    EXPECT_EQ(ktMsgCopyToBuffer(&b, "abcdefgh"), 1);
    EXPECT_STREQ(out, "abcd");
}

// ---- failures

TEST_F(MessageFiles, MissingMessageAndEmptyIndex) {
    FileSpec spec;
    spec.messages = {{1, "one"}, {3, "three"}};
    ktMsgHandle* h = open("gaps", spec);
    Thrown t = thrown([&] { ktMsgStatic(h, 2); });
    EXPECT_EQ(t.number, KTM_MSG_NOMESSAGE);
    EXPECT_EQ(t.tag, KT_EX_FAIL);
    EXPECT_EQ(t.severity, KT_ERR_ERROR);
    EXPECT_NE(t.text.find("no message 2 in message file " + dir.path("gaps.kmb")),
              std::string::npos)
        << t.text;

    ktMsgHandle* empty = open("empty", FileSpec{});
    EXPECT_EQ(empty->core->count, 0);
    EXPECT_EQ(thrown([&] { ktMsgStatic(empty, 1); }).number, KTM_MSG_NOMESSAGE);
}

TEST_F(MessageFiles, MissingAndBrokenFiles) {
    Thrown t = thrown([] { ktMsgFileOpen("nosuch", nullptr, nullptr, nullptr, nullptr); });
    EXPECT_EQ(t.number, KTM_MSG_NOTFOUND);
    EXPECT_EQ(t.tag, KT_EX_FAIL);
    EXPECT_NE(t.text.find("nosuch.kmb"), std::string::npos) << t.text;

    t = thrown([] { ktMsgFileOpen(nullptr, nullptr, nullptr, nullptr, nullptr); });
    EXPECT_EQ(t.number, KTM_MSG_NONAME);
    EXPECT_EQ(t.tag, KT_EX_PRECOND);

    struct Broken {
        const char* name;
        FileSpec spec;
        int number;
    };
    FileSpec badMagic = numbered(1, 3);
    badMagic.magic = 0x10204;
    FileSpec tooMany = numbered(1, 3);
    tooMany.count = KT_MSG_MAXCOUNT + 1;
    FileSpec negative = numbered(1, 3);
    negative.count = -1;
    FileSpec shortIndex = numbered(1, 3);
    shortIndex.cut = 4;
    FileSpec noIndexHead = FileSpec{};
    noIndexHead.cut = 4;
    const Broken cases[] = {{"badmagic", badMagic, KTM_MSG_BADFILE},
                            {"toomany", tooMany, KTM_MSG_BADFILE},
                            {"negative", negative, KTM_MSG_BADFILE},
                            {"noindexhead", noIndexHead, KTM_MSG_BADFILE},
                            {"shortindex", shortIndex, KTM_MSG_NOINDEX}};
    for (const Broken& c : cases) {
        SCOPED_TRACE(c.name);
        writeMessageFile(dir.path(std::string(c.name) + ".kmb"), c.spec);
        t = thrown([&] { ktMsgFileOpen(c.name, nullptr, nullptr, nullptr, nullptr); });
        EXPECT_EQ(t.number, c.number);
        EXPECT_NE(t.text.find(dir.path(std::string(c.name) + ".kmb")), std::string::npos) << t.text;
    }
    dir.write("tiny.kmb", "\x01");
    EXPECT_EQ(thrown([] { ktMsgFileOpen("tiny", nullptr, nullptr, nullptr, nullptr); }).number,
              KTM_MSG_NOOPEN);
}

TEST_F(MessageFiles, UnreadableTextIsNotCachedAsRead) {
    ktMsgHandle* h = open("far", numbered(1, 1));
    // An index entry that points past the end of the file.
    h->core->index[0].offset = 1 << 20;
    Thrown t = thrown([&] { ktMsgStatic(h, 1); });
    EXPECT_EQ(t.number, KTM_MSG_NOREAD);
    EXPECT_EQ(cached(h, 1), nullptr);
    h->core->index[0].offset = -1000;
    EXPECT_EQ(thrown([&] { ktMsgStatic(h, 1); }).number, KTM_MSG_NOSEEK);
}

TEST_F(MessageFiles, OwnFilesMissingMessageIsFatal) {
    Thrown t = thrown([] { ktMsgStatic(ktMsgFile(), 99999); });
    EXPECT_EQ(t.severity, KT_ERR_FATAL);
    EXPECT_EQ(t.number, 0);
    EXPECT_EQ(t.text, "KTLIB Error 1021: Can't find message #99999 in message file " +
                          std::string(ENTGEN_SHARE_DIR) + "/ktlib.kmb!\n");
}

TEST(OwnMessageFile, MissingFileIsFatalWithAFixedText) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    TempDir dir;
    EXPECT_EXIT(
        {
            setenv("KDIR", dir.path().c_str(), 1);
            ksKdirReset();
            ktMsgFile();
        },
        ::testing::ExitedWithCode(3), "KTLIB Error 1003: Can't open message file ktlib.kmb!");
}

TEST(OwnMessageFile, DebugSwitchShowsAMissingMessage) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            setenv("KT_MSGFILEDBG", "1", 1);
            std::fprintf(stderr, "[%s]", ktMsgStatic(ktMsgFile(), 4242, "unused"));
            std::exit(0);
        },
        ::testing::ExitedWithCode(0),
        "\\[KTLIB Error 1021: Can't find message #4242 in message file .*/ktlib.kmb!\n\\]");
}

TEST(OwnMessageFile, ClosedWithTheCacheAtExitOrder85) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            // Exit handlers are kept only in the debug configurations.
            setenv("KT_PURIFY", "1", 1);
            ktMsgHandle* own = ktMsgFile();
            ktMsgStatic(own, KTM_MSG_NOREAD, 1, "x");
            static ktMsgHandle* seen = own;
            auto before = [] {
                std::fprintf(stderr, "before:%s;", ktMsgStatic(seen, KTM_MSG_BADHANDLE));
            };
            auto after = [] {
                std::fprintf(stderr, "after:%s;", ktMsg_CacheV.entries ? "cache" : "no cache");
            };
            ktOnExitAdd(+before);
            ktOnExitSetOrder(+before, 84);
            ktOnExitAdd(+after);
            ktOnExitSetOrder(+after, 86);
            ktExit(0);
        },
        ::testing::ExitedWithCode(0), "before:\\[E\\] The message file handle.*;after:no cache;");
}

// ---- versions

struct VersionCase {
    const char* what;
    const char* file;  // the file's version, or null for none
    const char* app;
    const char* label;
    const char* minver;
    const char* maxver;
    bool passes;
};

const VersionCase kVersions[] = {
    {"equal bounds", "5.3.1", nullptr, nullptr, "5.3.1", "5.3.1", true},
    {"field by field, not as one number", "5.4.0", nullptr, nullptr, "5.3.1", nullptr, false},
    {"patch above the highest", "5.3.2", nullptr, nullptr, nullptr, "5.3.1", false},
    {"lowest of two parts: patch 0", "5.3.0", nullptr, nullptr, "5.3", nullptr, true},
    {"highest of two parts takes the file's patch", "5.3.9", nullptr, nullptr, nullptr, "5.3",
     true},
    {"a definition line", "5.3.1", nullptr, nullptr, "#define X 0 /* \"5.3.1\" */", nullptr, true},
    {"no version in the file", nullptr, nullptr, nullptr, "1.0.0", nullptr, false},
    {"unreadable demand", "5.3.1", nullptr, nullptr, "five", nullptr, false},
    {"other application", "5.3.1", "Demo", nullptr, nullptr, nullptr, false},
    {"label", "5.3.1", nullptr, "L5", nullptr, nullptr, true},
};

TEST_F(MessageFiles, VersionCheckFieldByField) {
    int i = 0;
    for (const VersionCase& c : kVersions) {
        SCOPED_TRACE(c.what);
        std::string name = "ver" + std::to_string(i++);
        FileSpec spec = numbered(1, 1);
        spec.version = c.file;
        spec.app = "demo";
        spec.label = "L5";
        writeMessageFile(dir.path(name + ".kmb"), spec);
        ktMsgHandle* h = nullptr;
        Thrown t = thrown(
            [&] { h = keep(ktMsgFileOpen(name.c_str(), c.app, c.label, c.minver, c.maxver)); });
        if (c.passes) {
            EXPECT_EQ(t.number, -1) << t.text;
            EXPECT_NE(h, nullptr);
            continue;
        }
        EXPECT_EQ(t.number, KTM_MSG_BADVERSION);
        EXPECT_EQ(t.tag, KT_EX_FAIL);
        EXPECT_NE(t.text.find(dir.path(name + ".kmb")), std::string::npos) << t.text;
        // The failed open left nothing open: the next open reads the file anew.
        EXPECT_EQ(thrown([&] {
                      keep(ktMsgFileOpen(name.c_str(), nullptr, nullptr, nullptr, nullptr));
                  }).number,
                  -1);
    }
}

TEST_F(MessageFiles, SecondOpenMeetsItsOwnDemands) {
    FileSpec spec = numbered(1, 1);
    spec.version = "5.3.1";
    ktMsgHandle* h = open("twice", spec);
    Thrown t = thrown([] { ktMsgFileOpen("twice", nullptr, nullptr, "5.3.2", nullptr); });
    EXPECT_EQ(t.number, KTM_MSG_BADVERSION);
    EXPECT_EQ(h->refs, 1);
}

TEST_F(MessageFiles, NoVersionSwitchMakesAFailureAWarning) {
    FileSpec spec = numbered(1, 1);
    spec.version = "5.4.0";
    writeMessageFile(dir.path("lenient.kmb"), spec);
    setenv("KT_MSGNOVERSION", "1", 1);
    testing::internal::CaptureStderr();
    ktMsgHandle* h = keep(ktMsgFileOpen("lenient", nullptr, nullptr, "5.3.1", nullptr));
    std::string err = testing::internal::GetCapturedStderr();
    unsetenv("KT_MSGNOVERSION");
    EXPECT_NE(h, nullptr);
    EXPECT_NE(err.find("Warning"), std::string::npos) << err;
    EXPECT_NE(err.find("Message file failed versioning check."), std::string::npos) << err;
    EXPECT_NE(err.find(dir.path("lenient.kmb")), std::string::npos) << err;
}

}  // namespace
