#include "ktmsg.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "freshprocess.h"
#include "kssrch.h"
#include "ktlib_msg.h"
#include "msgwriter.h"
#include "tempdir.h"
#include "thrown.h"

namespace {

using ::testing::ExitedWithCode;

std::string textOf(ktMsgHandle* h, int number) {
    return ktMsgStatic(h, number);
}

// The numbers of a file in the cache, newest first.
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

// The entry the next miss takes; the cache is made at the first fetch.
ktMsgCacheEntry* nextTaken() {
    if (!ktMsg_CacheV.entries) ktMsgStatic(ktMsgFile(), KTM_MSG_BADHANDLE);
    return ktMsg_CacheV.free ? ktMsg_CacheV.free : ktMsg_CacheV.oldest;
}

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

// Files are found along KDIR: the test's directory, then the build's.
class MessageFiles : public ::testing::Test {
protected:
    void SetUp() override {
        setenv("KDIR", (dir.path() + ":" + ENTGEN_SHARE_DIR).c_str(), 1);
        ksKdirReset();
    }
    void TearDown() override {
        for (ktMsgHandle* h : opened) ktMsgFileClose(h);
        setenv("KDIR", ENTGEN_SHARE_DIR, 1);
        ksKdirReset();
    }
    ktMsgHandle* open(const char* name, const FileSpec& spec, const char* minver = nullptr,
                      const char* maxver = nullptr) {
        writeMessageFile(dir.path(std::string(name) + ".kmb"), spec);
        return keep(ktMsgFileOpen(name, spec.app, nullptr, minver, maxver));
    }
    ktMsgHandle* keep(ktMsgHandle* h) {
        opened.push_back(h);
        return h;
    }

    TempDir dir;
    std::vector<ktMsgHandle*> opened;  // closed at the end, once per open
};

TEST_F(MessageFiles, BigAndLittleEndianFilesReadTheSame) {
    FileSpec spec;
    spec.version = "5.3.1";
    spec.app = "demo";
    spec.messages = {{7, "[W] %2$s before %1$d"}, {3, "three"}};
    ktMsgHandle* big = open("bigend", spec, "5.3.1", "5.3.1");
    spec.littleEndian = true;
    ktMsgHandle* little = open("littleend", spec, "5.3.1", "5.3.1");
    EXPECT_EQ(dir.read("littleend.kmb").substr(0, 6), std::string("\x01\x84\x03\x02\x01\x00", 6));
    for (ktMsgHandle* h : {big, little}) {
        EXPECT_EQ(std::string(ktMsgStatic(h, 7, 12, "text")), "[W] text before 12");
        EXPECT_EQ(textOf(h, 3), "three");
        EXPECT_EQ(h->core->maxlen, 21);
    }
}

TEST_F(MessageFiles, SameNameSharesOneHandleUntilTheLastClose) {
    ktMsgHandle* h = open("shared", numbered(1, 1));
    ktMsgHandle* again = ktMsgFileOpen("shared", nullptr, nullptr, nullptr, nullptr);
    EXPECT_EQ(again, h);
    EXPECT_EQ(h->refs, 2);
    ktMsgFileClose(again);
    EXPECT_EQ(textOf(h, 1), textFor(1)) << "one reference is left";
    ktMsgFileClose(h);
    opened.clear();
    Thrown t = thrown([&] { ktMsgStatic(h, 1); });
    EXPECT_EQ(t.number, KTM_MSG_BADHANDLE);
    EXPECT_EQ(t.tag, KT_EX_PRECOND);
    ktMsgFileClose(h);  // no longer open: ignored
}

TEST_F(MessageFiles, TheEightyFirstFetchEvictsTheLeastRecentlyUsed) {
    ktMsgHandle* h = open("evict", numbered(1, 82));
    for (int n = 1; n <= 80; ++n) EXPECT_EQ(textOf(h, n), textFor(n));
    ASSERT_EQ(recency(h).size(), 80u);
    textOf(h, 1);  // a hit moves the entry to the newest end
    ktMsgCacheEntry* second = cached(h, 2);
    EXPECT_EQ(textOf(h, 81), textFor(81));
    EXPECT_EQ(cached(h, 2), nullptr);
    EXPECT_EQ(cached(h, 81), second) << "the evicted entry takes the new text";
    EXPECT_EQ(recency(h).front(), 81);
    EXPECT_EQ(recency(h).back(), 3);
    EXPECT_EQ(textOf(h, 2), textFor(2)) << "read from the file again";
    EXPECT_EQ(cached(h, 3), nullptr);
    EXPECT_NE(cached(h, 1), nullptr);
}

TEST_F(MessageFiles, AnEntryGrowsItsBufferForATextOfEightyAndKeepsIt) {
    FileSpec spec;
    spec.messages = {{1, std::string(79, 'a')}, {2, std::string(80, 'b')}};
    for (int n = 3; n <= 82; ++n) spec.messages.push_back({n, "s" + std::to_string(n)});
    ktMsgHandle* h = open("edge", spec);
    for (int n : {1, 2}) {
        ktMsgCacheEntry* e = nextTaken();
        int before = e->capacity;
        EXPECT_EQ(textOf(h, n), spec.messages[n - 1].text);
        EXPECT_EQ(cached(h, n), e);
        // 80 bytes hold 79 characters and the zero.
        EXPECT_EQ(e->capacity, n == 1 ? before : std::max(before, 81));
    }
    // 80 more fetches pass the entry of 2 on to a short text; its buffer stays.
    ktMsgCacheEntry* e = cached(h, 2);
    int grown = e->capacity;
    for (int n = 3; n <= 82; ++n) textOf(h, n);
    EXPECT_EQ(cached(h, 2), nullptr);
    EXPECT_EQ(e->capacity, grown);
    EXPECT_EQ(std::string(e->text), "s" + std::to_string(e->number));
}

TEST_F(MessageFiles, EntriesKeepTheirNumberAndFile) {
    FileSpec a, b;
    a.messages = {{5, "five"}, {5 + KT_MSG_CHAINS, "on one chain"}};
    b.messages = {{5, "from b"}};
    ktMsgHandle* ha = open("filea", a);
    ktMsgHandle* hb = open("fileb", b);
    for (int pass = 0; pass < 2; ++pass) {
        EXPECT_EQ(textOf(ha, 5 + KT_MSG_CHAINS), "on one chain");
        EXPECT_EQ(textOf(ha, 5), "five");
        EXPECT_EQ(textOf(hb, 5), "from b");
    }
}

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

TEST_F(MessageFiles, MissingMessagesAndFiles) {
    ktMsgHandle* h = open("gaps", numbered(1, 1));
    Thrown t = thrown([&] { ktMsgStatic(h, 2); });
    EXPECT_EQ(t.number, KTM_MSG_NOMESSAGE);
    EXPECT_EQ(t.tag, KT_EX_FAIL);
    EXPECT_EQ(t.severity, KT_ERR_ERROR);
    EXPECT_NE(t.text.find("no message 2 in message file " + dir.path("gaps.kmb")),
              std::string::npos)
        << t.text;
    t = thrown([] { ktMsgFileOpen("nosuch", nullptr, nullptr, nullptr, nullptr); });
    EXPECT_EQ(t.number, KTM_MSG_NOTFOUND);
    EXPECT_NE(t.text.find("nosuch.kmb"), std::string::npos) << t.text;
    t = thrown([] { ktMsgStatic(ktMsgFile(), 99999); });
    EXPECT_EQ(t.severity, KT_ERR_FATAL);
    EXPECT_EQ(t.text, "KTLIB Error 1021: Can't find message #99999 in message file " +
                          std::string(ENTGEN_SHARE_DIR) + "/ktlib.kmb!\n");
}

TEST_F(MessageFiles, DamagedFilesAreRefusedWithTheirPath) {
    FileSpec spec = numbered(1, 3);
    spec.magic = 0x10204;
    writeMessageFile(dir.path("magic.kmb"), spec);
    Thrown t = thrown([] { ktMsgFileOpen("magic", nullptr, nullptr, nullptr, nullptr); });
    EXPECT_EQ(t.number, KTM_MSG_BADFILE);
    EXPECT_NE(t.text.find(dir.path("magic.kmb")), std::string::npos) << t.text;
    spec = numbered(1, 3);
    spec.cut = 4;  // the end of the index is missing
    writeMessageFile(dir.path("cut.kmb"), spec);
    t = thrown([] { ktMsgFileOpen("cut", nullptr, nullptr, nullptr, nullptr); });
    EXPECT_EQ(t.number, KTM_MSG_NOINDEX);
}

TEST_F(FreshProcess, OwnMessageFileMissingIsFatalWithAFixedText) {
    TempDir dir;
    EXPECT_EXIT(
        {
            setenv("KDIR", dir.path().c_str(), 1);
            ksKdirReset();
            ktMsgFile();
        },
        ExitedWithCode(3), "KTLIB Error 1003: Can't open message file ktlib.kmb!");
}

TEST_F(FreshProcess, DebugSwitchShowsAMissingMessage) {
    EXPECT_EXIT(
        {
            setenv("KT_MSGFILEDBG", "1", 1);
            std::fprintf(stderr, "[%s]", ktMsgStatic(ktMsgFile(), 4242, "unused"));
            std::exit(0);
        },
        ExitedWithCode(0),
        "\\[KTLIB Error 1021: Can't find message #4242 in message file .*/ktlib.kmb!\n\\]");
}

TEST_F(MessageFiles, VersionCheckFieldByField) {
    // Opens a fresh file of version `file` (null: none) and application
    // "demo" with these demands: the number thrown, or -1.
    int files = 0;
    auto check = [&](const char* file, const char* app, const char* minver, const char* maxver) {
        std::string name = "ver" + std::to_string(files++);
        FileSpec spec = numbered(1, 1);
        spec.version = file;
        spec.app = "demo";
        writeMessageFile(dir.path(name + ".kmb"), spec);
        Thrown t = thrown([&] { keep(ktMsgFileOpen(name.c_str(), app, nullptr, minver, maxver)); });
        if (t.tag) {
            EXPECT_EQ(t.tag, KT_EX_FAIL);
            EXPECT_NE(t.text.find(dir.path(name + ".kmb")), std::string::npos) << t.text;
            // The failed open left nothing open: the next open reads the file anew.
            EXPECT_EQ(thrown([&] {
                          keep(ktMsgFileOpen(name.c_str(), nullptr, nullptr, nullptr, nullptr));
                      }).tag,
                      0u);
        }
        return t.number;
    };
    const int bad = KTM_MSG_BADVERSION;
    EXPECT_EQ(check("5.3.1", nullptr, "5.3.1", "5.3.1"), -1);
    EXPECT_EQ(check("5.4.0", nullptr, "5.3.1", nullptr), bad);  // not as one number
    EXPECT_EQ(check("5.3.2", nullptr, nullptr, "5.3.1"), bad);
    EXPECT_EQ(check("5.3.0", nullptr, "5.3", nullptr), -1);  // a lowest of two parts: patch 0
    EXPECT_EQ(check("5.3.9", nullptr, nullptr, "5.3"), -1);  // a highest takes the file's patch
    EXPECT_EQ(check("5.3.1", nullptr, "#define X 0 /* \"5.3.1\" */", nullptr), -1);
    EXPECT_EQ(check(nullptr, nullptr, "1.0.0", nullptr), bad);
    EXPECT_EQ(check("5.3.1", nullptr, "five", nullptr), bad);
    EXPECT_EQ(check("5.3.1", "Demo", nullptr, nullptr), bad);
    // A second open of a shared file meets its own demands.
    EXPECT_EQ(check("5.3.1", nullptr, nullptr, nullptr), -1);
    EXPECT_EQ(thrown([] { ktMsgFileOpen("ver9", nullptr, nullptr, "5.3.2", nullptr); }).number,
              bad);
    EXPECT_EQ(opened.back()->refs, 1);
}

}  // namespace
