#include "ktdufs.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <initializer_list>
#include <string>
#include <vector>

#include "kterr.h"
#include "ktex.h"
#include "tempdir.h"

namespace {

std::string bytes(std::initializer_list<int> list) {
    std::string s;
    for (int b : list) s += static_cast<char>(b);
    return s;
}

// What a kt throw carried, caught and released.
struct Thrown {
    bool thrown = false;
    uint32_t tag = 0;
    int number = 0;
    int severity = -1;
    std::string app, location, text;
};

template <typename Body>
Thrown catchThrow(Body body) {
    Thrown t;
    ktExCatch(
        KT_EX_ALL,
        [&] {
            body();
            return 0;
        },
        [&](uint32_t tag, ktErrObject* err) {
            t.thrown = true;
            t.tag = tag;
            t.number = err->number;
            t.severity = err->severity;
            t.app = err->app ? err->app : "";
            t.location = err->location ? err->location : "";
            t.text = err->text ? err->text : "";
            ktExSwallow();
            return 0;
        });
    return t;
}

class DufsFile : public ::testing::Test {
protected:
    TempDir dir;
    ktDufsB* h = nullptr;

    void TearDown() override {
        if (h) ktDufsBFclose(h);
    }

    // Opens for reading a file of the two leading bytes and `data`.
    ktDufsB* openWith(int version, int machine, const std::string& data) {
        dir.write("f.bin", bytes({version, machine}) + data);
        h = ktDufsBFopen(dir.path("f.bin").c_str(), "r");
        return h;
    }

    template <typename T>
    T readOne(int type, int isSigned = 1) {
        T v{};
        EXPECT_EQ(ktDufsBRead(h, &v, 1, type, isSigned), 1u);
        return v;
    }
};

using DufsHeader = DufsFile;

TEST_F(DufsHeader, WrittenFileIsBigEndianBehindOurDescription) {
    h = ktDufsBFopen(dir.path("w.bin").c_str(), "w");
    ASSERT_NE(h, nullptr);
    int32_t i = 0x01020304;
    int16_t s = 0x0506;
    EXPECT_EQ(ktDufsBFtell(h), 0);
    EXPECT_EQ(ktDufsBWrite(h, &i, 1, KT_DUFS_INT), 1u);
    EXPECT_EQ(ktDufsBWrite(h, &s, 1, KT_DUFS_SHORT), 1u);
    EXPECT_EQ(ktDufsBWrite(h, "ab", 1, KT_DUFS_STRING), 1u);
    EXPECT_EQ(ktDufsBFclose(h), 0);
    h = nullptr;
    EXPECT_EQ(dir.read("w.bin"), bytes({0x01, 0x85, 1, 2, 3, 4, 5, 6, 2, 'a', 'b'}));
}

TEST_F(DufsHeader, FileShorterThanTheDescriptionGivesNullWithErrno) {
    for (const std::string& content : {std::string(), bytes({0x01})}) {
        dir.write("short.bin", content);
        errno = 0;
        EXPECT_EQ(ktDufsBFopen(dir.path("short.bin").c_str(), "r"), nullptr);
        EXPECT_NE(errno, 0);
    }
    errno = 0;
    EXPECT_EQ(ktDufsBFopen(dir.path("missing.bin").c_str(), "r"), nullptr);
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(DufsHeader, UnreadableDescriptionsThrowAndCloseTheFile) {
    struct Case {
        int version, machine, number;
    } cases[] = {
        {2, 0x85, 1300},  // unknown format version
        {1, 0x05, 1301},  // bit 7 clear
        {1, 0xA5, 1302},  // 8-byte floats
        {1, 0xC5, 1302},  // 16-byte doubles
    };
    for (const Case& c : cases) {
        dir.write("bad.bin", bytes({c.version, c.machine, 0, 0, 0, 0}));
        Thrown t = catchThrow([&] { ktDufsBFopen(dir.path("bad.bin").c_str(), "r"); });
        EXPECT_TRUE(t.thrown) << c.number;
        EXPECT_EQ(t.tag, KT_EX_FAIL);
        EXPECT_EQ(t.number, c.number);
        EXPECT_EQ(t.location, "in call to routine ktDufsBFopen()");
        // A read file is never deleted for being unreadable.
        EXPECT_TRUE(dir.exists("bad.bin"));
    }
}

TEST_F(DufsHeader, OnlyTheThreeModesAreAccepted) {
    dir.write("keep.bin", bytes({0x01, 0x85}));
    Thrown t = catchThrow([&] { ktDufsBFopen(dir.path("keep.bin").c_str(), "r+"); });
    EXPECT_EQ(t.tag, KT_EX_PRECOND);
    EXPECT_EQ(t.number, 1306);
    EXPECT_TRUE(dir.exists("keep.bin"));

    // A writing mode made the file before it was refused: it goes again.
    t = catchThrow([&] { ktDufsBFopen(dir.path("made.bin").c_str(), "wx"); });
    EXPECT_EQ(t.number, 1306);
    EXPECT_FALSE(dir.exists("made.bin"));
}

TEST_F(DufsHeader, NullArgumentsAndInvalidHandlesArePreconditions) {
    Thrown t = catchThrow([] { ktDufsBFopen(nullptr, "r"); });
    EXPECT_EQ(t.tag, KT_EX_PRECOND);
    EXPECT_EQ(t.number, 1311);

    ktDufsB stale{};
    int32_t v;
    t = catchThrow([&] { ktDufsBRead(&stale, &v, 1, KT_DUFS_INT, 1); });
    EXPECT_EQ(t.tag, KT_EX_PRECOND);
    EXPECT_EQ(t.number, 1310);
    EXPECT_EQ(t.location, "in call to routine ktDufsBRead()");
    t = catchThrow([] { ktDufsBFseek(nullptr, 0, SEEK_SET); });
    EXPECT_EQ(t.number, 1310);
}

TEST_F(DufsHeader, OwnMessageFileFailsWithoutItsMessages) {
    dir.write("KTLIB.KMB", bytes({0x07, 0x85}));
    Thrown t = catchThrow([&] { ktDufsBFopen(dir.path("KTLIB.KMB").c_str(), "r"); });
    EXPECT_EQ(t.tag, KT_EX_FAIL);
    EXPECT_EQ(t.app, "ktlib");
    EXPECT_EQ(t.severity, KT_ERR_FATAL);
    EXPECT_EQ(t.text,
              "KTLIB Error 1008: Error 1300 occured while trying to open or read the binary "
              "message file KTLIB.KMB!\n");
}

using DufsByteOrder = DufsFile;

// short -2, int 0x11223344, long -5, float 1.5, double -2.25, most
// significant byte first.
const std::string kValuesMsbFirst =
    bytes({0xFF, 0xFE, 0x11, 0x22, 0x33, 0x44, 0xFF, 0xFF, 0xFF, 0xFB, 0x3F,
           0xC0, 0x00, 0x00, 0xC0, 0x02, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00});

std::string leastSignificantFirst(const std::string& msb) {
    std::string out;
    size_t at = 0;
    for (size_t width : {2, 4, 4, 4, 8}) {
        std::string v = msb.substr(at, width);
        out.append(v.rbegin(), v.rend());
        at += width;
    }
    return out;
}

TEST_F(DufsByteOrder, BothOrdersReadTheSameValues) {
    for (int machine : {0x85, 0x84}) {
        SCOPED_TRACE(machine);
        std::string data =
            machine == 0x85 ? kValuesMsbFirst : leastSignificantFirst(kValuesMsbFirst);
        ASSERT_NE(openWith(1, machine, data), nullptr);
        EXPECT_EQ(readOne<int16_t>(KT_DUFS_SHORT), -2);
        EXPECT_EQ(readOne<int32_t>(KT_DUFS_INT), 0x11223344);
        EXPECT_EQ(readOne<int32_t>(KT_DUFS_LONG), -5);
        EXPECT_EQ(readOne<float>(KT_DUFS_FLOAT), 1.5f);
        EXPECT_EQ(readOne<double>(KT_DUFS_DOUBLE), -2.25);
        ktDufsBFclose(h);
        h = nullptr;
    }
}

TEST_F(DufsByteOrder, ManyValuesInOneReadAreEachSwapped) {
    for (int machine : {0x85, 0x84}) {
        SCOPED_TRACE(machine);
        std::string data = machine == 0x85 ? bytes({0, 0, 0, 1, 0, 0, 0, 2, 0x80, 0, 0, 0})
                                           : bytes({1, 0, 0, 0, 2, 0, 0, 0, 0, 0, 0, 0x80});
        ASSERT_NE(openWith(1, machine, data), nullptr);
        int32_t v[3];
        ASSERT_EQ(ktDufsBRead(h, v, 3, KT_DUFS_INT2, 1), 3u);
        EXPECT_EQ(v[0], 1);
        EXPECT_EQ(v[1], 2);
        EXPECT_EQ(v[2], INT32_MIN);
        ktDufsBFclose(h);
        h = nullptr;
    }
}

TEST_F(DufsByteOrder, UpdateModeReadsBackWhatItWrote) {
    h = ktDufsBFopen(dir.path("u.bin").c_str(), "w+");
    ASSERT_NE(h, nullptr);
    int16_t s[2] = {-300, 7};
    int32_t l = -70000;
    double d = 6.02e23;
    ktDufsBWrite(h, s, 2, KT_DUFS_SHORT);
    ktDufsBWrite(h, &l, 1, KT_DUFS_LONG);
    ktDufsBWrite(h, &d, 1, KT_DUFS_DOUBLE);
    ASSERT_EQ(ktDufsBFseek(h, 0, SEEK_SET), 0);
    int16_t s2[2];
    EXPECT_EQ(ktDufsBRead(h, s2, 2, KT_DUFS_SHORT, 1), 2u);
    EXPECT_EQ(s2[0], -300);
    EXPECT_EQ(s2[1], 7);
    EXPECT_EQ(readOne<int32_t>(KT_DUFS_LONG), -70000);
    EXPECT_EQ(readOne<double>(KT_DUFS_DOUBLE), 6.02e23);
}

using DufsWidths = DufsFile;

TEST_F(DufsWidths, NarrowIntsWidenBySignOrZero) {
    // Ints of 2 bytes (bits 2 and 3 clear), in both orders.
    for (int machine : {0x81, 0x80}) {
        SCOPED_TRACE(machine);
        std::string v = machine == 0x81 ? bytes({0xFF, 0xFE}) : bytes({0xFE, 0xFF});
        ASSERT_NE(openWith(1, machine, v + v), nullptr);
        EXPECT_EQ(readOne<int32_t>(KT_DUFS_INT, 1), -2);
        EXPECT_EQ(readOne<uint32_t>(KT_DUFS_INT, 0), 0xFFFEu);
        ktDufsBFclose(h);
        h = nullptr;
    }
}

TEST_F(DufsWidths, WideLongsNarrowOnlyWhenTheDroppedBytesAreFill) {
    // Longs of 8 bytes (bit 1), in both orders: -5, 7, 2 to the 32nd, -5.
    std::string msbFirst = bytes({0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFB, 0, 0, 0, 0,
                                  0,    0,    0,    7,    0,    0,    0,    1,    0, 0, 0, 0});
    std::string lsbFirst(msbFirst.size(), '\0');
    for (size_t v = 0; v < msbFirst.size(); v += 8)
        for (size_t i = 0; i < 8; ++i) lsbFirst[v + i] = msbFirst[v + 7 - i];
    for (int machine : {0x87, 0x86}) {
        SCOPED_TRACE(machine);
        const std::string& data = machine == 0x87 ? msbFirst : lsbFirst;
        ASSERT_NE(openWith(1, machine, data + data.substr(0, 8)), nullptr);
        EXPECT_EQ(readOne<int32_t>(KT_DUFS_LONG), -5);
        EXPECT_EQ(readOne<int32_t>(KT_DUFS_LONG), 7);
        int32_t v;
        Thrown t = catchThrow([&] { ktDufsBRead(h, &v, 1, KT_DUFS_LONG, 1); });
        EXPECT_EQ(t.tag, KT_EX_FAIL);
        EXPECT_EQ(t.number, 1320);
        EXPECT_NE(t.text.find("f.bin"), std::string::npos);
        // Unsigned, the leading ones are no fill.
        EXPECT_EQ(catchThrow([&] { ktDufsBRead(h, &v, 1, KT_DUFS_LONG, 0); }).number, 1320);
        ktDufsBFclose(h);
        h = nullptr;
    }
}

TEST_F(DufsWidths, WideShortsAndSixteenByteInts) {
    // Shorts of 4 bytes (bit 4) and ints of 16 (bits 2 and 3 set).
    std::string shorts = bytes({0, 0, 0x7F, 0xFF, 0xFF, 0xFF, 0x80, 0x00, 0, 1, 0, 0});
    std::string int16(16, '\xFF');
    ASSERT_NE(openWith(1, 0x9D, int16 + shorts), nullptr);
    EXPECT_EQ(readOne<int32_t>(KT_DUFS_INT), -1);
    int16_t s[2];
    EXPECT_EQ(ktDufsBRead(h, s, 2, KT_DUFS_SHORT, 1), 2u);
    EXPECT_EQ(s[0], 32767);
    EXPECT_EQ(s[1], -32768);
    EXPECT_EQ(catchThrow([&] { ktDufsBRead(h, s, 1, KT_DUFS_SHORT, 1); }).number, 1320);
}

TEST_F(DufsWidths, ShortReadCountsWholeValuesOnBothPaths) {
    ASSERT_NE(openWith(1, 0x85, bytes({0, 0, 0, 1, 0, 0, 0, 2, 0, 0})), nullptr);
    int32_t v[3];
    EXPECT_EQ(ktDufsBRead(h, v, 3, KT_DUFS_INT, 1), 2u);
    ktDufsBFclose(h);

    // 8-byte longs: two and a half of them.
    ASSERT_NE(openWith(1, 0x87, std::string(20, '\0')), nullptr);
    EXPECT_EQ(ktDufsBRead(h, v, 3, KT_DUFS_LONG, 1), 2u);
}

using DufsPositions = DufsFile;

TEST_F(DufsPositions, OffsetsDoNotCountTheDescription) {
    ASSERT_NE(openWith(1, 0x85, bytes({0, 0, 0, 1, 0, 0, 0, 2, 0, 0, 0, 3})), nullptr);
    EXPECT_EQ(ktDufsBFtell(h), 0);
    EXPECT_EQ(readOne<int32_t>(KT_DUFS_INT), 1);
    EXPECT_EQ(ktDufsBFtell(h), 4);
    ASSERT_EQ(ktDufsBFseek(h, 8, SEEK_SET), 0);
    EXPECT_EQ(readOne<int32_t>(KT_DUFS_INT), 3);
    ASSERT_EQ(ktDufsBFseek(h, 0, SEEK_SET), 0);
    EXPECT_EQ(readOne<int32_t>(KT_DUFS_INT), 1);
    // Other origins are the stream's own.
    ASSERT_EQ(ktDufsBFseek(h, -8, SEEK_END), 0);
    EXPECT_EQ(readOne<int32_t>(KT_DUFS_INT), 2);
    ASSERT_EQ(ktDufsBFseek(h, -8, SEEK_CUR), 0);
    EXPECT_EQ(readOne<int32_t>(KT_DUFS_INT), 1);
}

using DufsStrings = DufsFile;

TEST_F(DufsStrings, LengthByteThenCharacters) {
    ASSERT_NE(openWith(1, 0x85, bytes({0, 3, 'a', 'b', 'c', 5, 'x', 'y'})), nullptr);
    char s[256] = "junk";
    EXPECT_EQ(ktDufsBRead(h, s, 1, KT_DUFS_STRING, 0), 1u);
    EXPECT_STREQ(s, "");
    EXPECT_EQ(ktDufsBRead(h, s, 1, KT_DUFS_STRING, 0), 1u);
    EXPECT_STREQ(s, "abc");
    EXPECT_EQ(ktDufsBRead(h, s, 1, KT_DUFS_STRING, 0), 0u);
    EXPECT_EQ(ktDufsBRead(h, s, 1, KT_DUFS_STRING, 0), 0u);
}

TEST_F(DufsStrings, WritingRefusesWhatTheLengthByteCannotHold) {
    h = ktDufsBFopen(dir.path("s.bin").c_str(), "w+");
    ASSERT_NE(h, nullptr);
    std::string longest(255, 'm');
    EXPECT_EQ(ktDufsBWrite(h, longest.c_str(), 1, KT_DUFS_STRING), 1u);
    Thrown t =
        catchThrow([&] { ktDufsBWrite(h, std::string(256, 'm').c_str(), 1, KT_DUFS_STRING); });
    EXPECT_EQ(t.tag, KT_EX_PRECOND);
    EXPECT_EQ(t.number, 1321);
    ktDufsBFseek(h, 0, SEEK_SET);
    char s[256];
    EXPECT_EQ(ktDufsBRead(h, s, 1, KT_DUFS_STRING, 0), 1u);
    EXPECT_EQ(s, longest);
    EXPECT_EQ(ktDufsBRead(h, s, 1, KT_DUFS_STRING, 0), 0u) << "nothing of the refused string";
}

class TextLines : public ::testing::Test {
protected:
    TempDir dir;
    FILE* f = nullptr;

    FILE* openWith(const std::string& text) {
        dir.write("t.txt", text);
        f = std::fopen(dir.path("t.txt").c_str(), "rb");
        return f;
    }
    void TearDown() override {
        if (f) std::fclose(f);
    }
    std::string gets(int size) {
        char buf[64];
        return ktDufsFgets(buf, size, f) ? std::string(buf) : std::string("<end>");
    }
    std::string getline() {
        const char* line = ktDufsFgetline(f);
        return line ? std::string(line) : std::string("<end>");
    }
};

TEST_F(TextLines, CrLfReadsAsLf) {
    ASSERT_NE(openWith("a\r\nb\n\r\nc\rd\nlast"), nullptr);
    EXPECT_EQ(gets(64), "a\n");
    EXPECT_EQ(gets(64), "b\n");
    EXPECT_EQ(gets(64), "\n");
    EXPECT_EQ(gets(64), "c\rd\n");
    EXPECT_EQ(gets(64), "last");
    EXPECT_EQ(gets(64), "<end>");
}

TEST_F(TextLines, CrThatFillsTheBufferLooksAhead) {
    ASSERT_NE(openWith("ab\r\nab\rx\nab\r"), nullptr);
    EXPECT_EQ(gets(4), "ab\n");
    EXPECT_EQ(gets(4), "ab\r");
    EXPECT_EQ(gets(4), "x\n") << "the character behind the CR was put back";
    EXPECT_EQ(gets(4), "ab\r");
    EXPECT_EQ(gets(4), "<end>");
}

TEST_F(TextLines, GetlineHasNoLengthLimit) {
    // The buffer grows from 100 bytes by doubling and keeps its size, so
    // lines whose CR falls on the end of any buffer up to 3200 bytes are
    // among these, whatever an earlier call left.
    std::string text = std::string(1000, 'v') + "\r\n";
    std::vector<std::string> expected = {std::string(1000, 'v') + "\n"};
    for (size_t room = 100; room <= 3200; room *= 2)
        for (size_t n : {room - 3, room - 2, room - 1}) {
            text += std::string(n, 'x') + "\r\n";
            expected.push_back(std::string(n, 'x') + "\n");
        }
    ASSERT_NE(openWith(text + "last"), nullptr);
    for (const std::string& line : expected) EXPECT_EQ(getline(), line);
    EXPECT_EQ(getline(), "last");
    EXPECT_EQ(getline(), "<end>");
    std::fclose(f);
    ASSERT_NE(openWith(""), nullptr);
    EXPECT_EQ(getline(), "<end>");
}

}  // namespace
