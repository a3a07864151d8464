#include "ktmsg.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "freshprocess.h"
#include "kssrch.h"
#include "ktfmt.h"
#include "ktlib_msg.h"
#include "msgwriter.h"
#include "tempdir.h"
#include "thrown.h"

namespace {

using ::testing::ExitedWithCode;

std::string textOf(ktMsgHandle* h, int number) {
    return ktMsgStatic(h, number);
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

TEST_F(MessageFiles, SameNameSharesOneHandleUntilTheLastClose) {
    ktMsgHandle* h = open("shared", numbered(1, 1));
    ktMsgHandle* again = ktMsgFileOpen("shared", nullptr, nullptr, nullptr, nullptr);
    EXPECT_EQ(again, h);
    ktMsgFileClose(again);
    EXPECT_EQ(textOf(h, 1), textFor(1)) << "one reference is left";
    ktMsgFileClose(h);
    opened.clear();
    Thrown t = thrown([&] { ktMsgStatic(h, 1); });
    EXPECT_EQ(t.number, KTM_MSG_BADHANDLE);
    EXPECT_EQ(t.tag, KT_EX_PRECOND);
    ktMsgFileClose(h);  // no longer open: ignored
}

TEST_F(MessageFiles, TextsStayTrueThroughTheCache) {
    // More messages than the cache holds, some longer than an entry's first
    // buffer, and two files with numbers on one hash chain.
    FileSpec spec = numbered(1, 90);
    spec.messages[1].text = std::string(80, 'b');
    spec.messages[2].text = std::string(300, 'c');
    FileSpec other;
    other.messages = {{2, "other two"}, {130, "one thirty"}};
    ktMsgHandle* h = open("many", spec);
    ktMsgHandle* o = open("other", other);
    for (int pass = 0; pass < 2; ++pass)
        for (int n : {1, 2, 3, 90, 45, 2, 1, 130}) {
            if (n <= 90) {
                EXPECT_EQ(textOf(h, n), spec.messages[n - 1].text) << n;
            }
            if (n == 2 || n == 130) {
                EXPECT_EQ(textOf(o, n), n == 2 ? "other two" : "one thirty");
            }
        }
    for (int n = 90; n >= 1; --n) ASSERT_EQ(textOf(h, n), spec.messages[n - 1].text) << n;
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

TEST_F(MessageFiles, ThePreviousTextMayBeAnArgument) {
    FileSpec spec;
    spec.messages = {{1, "<%s>"}, {2, "%s%s"}};
    ktMsgHandle* h = open("again", spec);
    const char* r = ktMsgStatic(h, 1, "ab");
    EXPECT_STREQ(ktMsgStatic(h, 1, r), "<<ab>>");
    // Doubled until the buffer has grown several times under its argument.
    r = ktMsgStatic(h, 2, "ab", "");
    for (int i = 0; i < 12; ++i) r = ktMsgStatic(h, 2, r, r);
    EXPECT_EQ(std::string(r), [] {
        std::string s;
        for (int i = 0; i < 4096; ++i) s += "ab";
        return s;
    }());
}

TEST_F(MessageFiles, TextAroundOneStringOnlyWhereFormattingIsPlainCopying) {
    FileSpec spec;
    spec.messages = {{1, "attribute %s of "}, {2, "%s;"},   {3, "%s"},     {4, "100%% %s"},
                     {5, "a %-4s b"},         {6, "%d ns"}, {7, "%s+%s"},  {8, "%1$s"},
                     {9, "no directive"},     {10, "%.2s x"}};
    ktMsgHandle* h = open("around", spec);
    const char *before = nullptr, *after = nullptr;
    const std::pair<int, std::pair<const char*, const char*>> split[] = {
        {1, {"attribute ", " of "}}, {2, {"", ";"}}, {3, {"", ""}}, {4, {"100% ", ""}}};
    for (const auto& [n, texts] : split) {
        ASSERT_EQ(ktMsgAroundString(h, n, &before, &after), 1) << n;
        EXPECT_STREQ(before, texts.first) << n;
        EXPECT_STREQ(after, texts.second) << n;
        EXPECT_EQ(std::string(before) + "arg" + after, std::string(ktMsgStatic(h, n, "arg")));
    }
    // A width, another type, a second directive, a position, a precision or
    // no directive at all: left to the formatter.
    for (int n = 5; n <= 10; ++n) EXPECT_EQ(ktMsgAroundString(h, n, &before, &after), 0) << n;
    EXPECT_EQ(thrown([&] { ktMsgAroundString(h, 11, &before, &after); }).number,
              KTM_MSG_NOMESSAGE);
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
    auto refused = [&](const char* name, const FileSpec& spec) {
        writeMessageFile(dir.path(std::string(name) + ".kmb"), spec);
        Thrown t = thrown([&] { keep(ktMsgFileOpen(name, nullptr, nullptr, nullptr, nullptr)); });
        EXPECT_NE(t.text.find(dir.path(std::string(name) + ".kmb")), std::string::npos) << t.text;
        return t.number;
    };
    FileSpec spec = numbered(1, 3);
    spec.magic = 0x10204;
    EXPECT_EQ(refused("magic", spec), KTM_MSG_BADFILE);
    spec = numbered(1, 3);
    spec.cut = 4;  // the end of the index is missing
    EXPECT_EQ(refused("cut", spec), KTM_MSG_NOINDEX);
    // An index whose entries could be taken for others, or lead out of the
    // texts, is refused at the opening.
    const struct {
        const char* name;
        std::function<void(std::vector<ktMsgIndexEntry>&)> edit;
    } damaged[] = {
        {"twice", [](auto& ix) { ix[1].number = ix[2].number; }},
        {"falling", [](auto& ix) { std::swap(ix[0].number, ix[2].number); }},
        {"zero", [](auto& ix) { ix[0].number = 0; }},
        {"intoindex", [](auto& ix) { ix[2].length += 3; }},
        {"intoheader", [](auto& ix) { ix[0].offset = 8; }},
        {"negative", [](auto& ix) { ix[1].length = -1; }},
        {"huge", [](auto& ix) { ix[1].length = INT32_MAX; }},
    };
    for (const auto& d : damaged) {
        spec = numbered(1, 3);
        spec.editIndex = d.edit;
        EXPECT_EQ(refused(d.name, spec), KTM_MSG_NOINDEX) << d.name;
    }
}

// A file of a name the build compiled (the translator's) in the test's
// directory, ahead of the build's: its texts must take what the code passes.
TEST_F(MessageFiles, ATextMustTakeTheArgumentsOfItsNumber) {
    FileSpec spec;
    spec.messages = {{511, "[S] %s %s %s %s"},
                     {514, "[S] %2$s %1$s %4$d %3$d"},
                     {515, "%s%s"},
                     {528, "[E] %s %hn"},
                     {541, "[E] %s"},
                     {9999, "no such message in the source"}};
    ktMsgHandle* h = open("entgen", spec);
    EXPECT_EQ(std::string(ktMsgStatic(h, 514, "Completed", "X", 1, 2)), "[S] X Completed 2 1");
    EXPECT_EQ(std::string(ktMsgStatic(h, 511, "a", "b", "c", "d")), "[S] a b c d");
    for (int n : {515, 528, 541, 9999, 515}) {
        Thrown t = thrown([&] { ktMsgStatic(h, n, "x", "y"); });
        EXPECT_EQ(t.number, KTM_MSG_BADTEXT) << n;
        EXPECT_EQ(t.tag, KT_EX_FAIL);
        EXPECT_NE(t.text.find(dir.path("entgen.kmb")), std::string::npos) << t.text;
    }
    // A file the build doesn't know is only kept from writing through an argument.
    FileSpec free;
    free.messages = {{1, "%s%s"}, {2, "%d%hn"}};
    ktMsgHandle* f = open("free", free);
    EXPECT_EQ(std::string(ktMsgStatic(f, 1, "a", "b")), "ab");
    EXPECT_EQ(thrown([&] { ktMsgStatic(f, 2, 1, nullptr); }).number, KTM_MSG_BADTEXT);
}

TEST_F(FreshProcess, ADamagedTextOfTheOwnFileIsFatalWithAFixedText) {
    TempDir dir;
    FileSpec spec;
    spec.app = "ktlib";
    spec.label = "5.0";
    spec.version = "5.3.2";
    spec.messages = {{KTM_FMT_BADFORMAT, "[E] %d%d%d%s%s%s"}};
    writeMessageFile(dir.path("ktlib.kmb"), spec);
    EXPECT_EXIT(
        {
            setenv("KDIR", dir.path().c_str(), 1);
            ksKdirReset();
            ktMsgStatic(ktMsgFile(), KTM_FMT_BADFORMAT, "%q");
        },
        ExitedWithCode(3),
        "KTLIB Error 1024: Message #1600 in message file .*/ktlib.kmb is damaged!");
}

TEST(MessageArguments, OneLetterPerPositionAndNoWritingThroughOne) {
    const struct {
        const char* text;
        const char* signature;  // null: refused
    } cases[] = {
        {"plain text, 100%%", ""},
        {"%s at %d", "sd"},
        {"%2$s %1$ld", "ls"},
        {"%*.*f|%-5c", "ddfc"},
        {"%2$*1$hd %3$p %4$Lx", "dhpL"},
        {"%hn", nullptr},
        {"%1$d %1$s", nullptr},
        {"%3$s %1$s", nullptr},
        {"%q", nullptr},
    };
    for (const auto& c : cases) {
        ktMsgArgs args;
        int ok = ktMsgArgsOf(c.text, &args);
        EXPECT_EQ(ok, c.signature ? 1 : 0) << c.text;
        if (ok) {
            EXPECT_STREQ(args.signature, c.signature ? c.signature : "") << c.text;
        } else {
            EXPECT_STRNE(args.problem, "") << c.text;
        }
    }
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
    for (const char* wrong : {"5.", "5.3.1.0", ".5", "5..3", "#define X -3 /* \"5.3.1\""})
        EXPECT_EQ(check("5.3.1", nullptr, wrong, nullptr), bad) << wrong;
    EXPECT_EQ(check("5.3.1", nullptr, "#\tdefine _x9 -2\t/*\"5.3\"", nullptr), -1);
    EXPECT_EQ(check("5.3.1", "Demo", nullptr, nullptr), bad);
    // A second open of a shared file meets its own demands.
    EXPECT_EQ(check("5.3.1", nullptr, nullptr, nullptr), -1);
    EXPECT_EQ(thrown([] { ktMsgFileOpen("ver9", nullptr, nullptr, "5.3.2", nullptr); }).number,
              bad);
}

}  // namespace
