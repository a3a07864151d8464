#include "ktdufs.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include "tempdir.h"
#include "thrown.h"

namespace {

std::string bytes(std::initializer_list<int> list) {
    std::string s;
    for (int b : list) s += static_cast<char>(b);
    return s;
}

// Each value of `msb` (of the given widths, most significant byte first)
// with its bytes reversed.
std::string reversed(const std::string& msb, std::initializer_list<size_t> widths) {
    std::string out;
    size_t at = 0;
    for (size_t width : widths) {
        std::string v = msb.substr(at, width);
        out.append(v.rbegin(), v.rend());
        at += width;
    }
    return out;
}

class Dufs : public ::testing::Test {
protected:
    TempDir dir;
    ktDufsB* h = nullptr;

    void TearDown() override { close(); }
    void close() {
        if (h) ktDufsBFclose(h);
        h = nullptr;
    }
    // Opens for reading a file of the two leading bytes and `data`.
    ktDufsB* openWith(int machine, const std::string& data) {
        close();
        dir.write("f.bin", bytes({1, machine}) + data);
        return h = ktDufsBFopen(dir.path("f.bin").c_str(), "r");
    }
    template <typename T>
    T readOne(int type, int isSigned = 1) {
        T v{};
        EXPECT_EQ(ktDufsBRead(h, &v, 1, type, isSigned), 1u);
        return v;
    }
};

// short -2, int 0x11223344, long -5, float 1.5, double -2.25, most
// significant byte first.
const std::string kValues =
    bytes({0xFF, 0xFE, 0x11, 0x22, 0x33, 0x44, 0xFF, 0xFF, 0xFF, 0xFB, 0x3F,
           0xC0, 0x00, 0x00, 0xC0, 0x02, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00});

TEST_F(Dufs, WrittenFileIsBigEndianBehindOurDescription) {
    h = ktDufsBFopen(dir.path("w.bin").c_str(), "w+");
    ASSERT_NE(h, nullptr);
    const int16_t s = -2;
    const int32_t i = 0x11223344, l = -5;
    const float f = 1.5f;
    const double d = -2.25;
    for (auto [value, type] : {std::pair<const void*, int>{&s, KT_DUFS_SHORT},
                               {&i, KT_DUFS_INT},
                               {&l, KT_DUFS_LONG},
                               {&f, KT_DUFS_FLOAT},
                               {&d, KT_DUFS_DOUBLE}})
        EXPECT_EQ(ktDufsBWrite(h, value, 1, type), 1u);
    EXPECT_EQ(ktDufsBFtell(h), 22);
    EXPECT_EQ(ktDufsBWrite(h, std::string(255, 'm').c_str(), 1, KT_DUFS_STRING), 1u);
    Thrown t = thrown([&] { ktDufsBWrite(h, std::string(256, 'm').c_str(), 1, KT_DUFS_STRING); });
    EXPECT_EQ(t.tag, KT_EX_PRECOND);
    EXPECT_EQ(t.number, 1321);
    close();
    EXPECT_EQ(dir.read("w.bin"), bytes({0x01, 0x85}) + kValues + "\xFF" + std::string(255, 'm'));
}

TEST_F(Dufs, BothOrdersReadTheSameValues) {
    for (int machine : {0x85, 0x84}) {
        SCOPED_TRACE(machine);
        std::string values = machine == 0x85 ? kValues : reversed(kValues, {2, 4, 4, 4, 8});
        std::string ints = bytes({0, 0, 0, 1, 0, 0, 0, 2, 0x80, 0, 0, 0});
        if (machine == 0x84) ints = reversed(ints, {4, 4, 4});
        ASSERT_NE(openWith(machine, values + ints), nullptr);
        EXPECT_EQ(readOne<int16_t>(KT_DUFS_SHORT), -2);
        EXPECT_EQ(readOne<int32_t>(KT_DUFS_INT), 0x11223344);
        EXPECT_EQ(readOne<int32_t>(KT_DUFS_LONG), -5);
        EXPECT_EQ(readOne<float>(KT_DUFS_FLOAT), 1.5f);
        EXPECT_EQ(readOne<double>(KT_DUFS_DOUBLE), -2.25);
        int32_t v[3];  // many values in one read are each swapped
        ASSERT_EQ(ktDufsBRead(h, v, 3, KT_DUFS_INT2, 1), 3u);
        EXPECT_EQ(std::vector<int32_t>(v, v + 3), (std::vector<int32_t>{1, 2, INT32_MIN}));
    }
}

TEST_F(Dufs, OtherWidthsWidenBySignOrNarrowOnlyOverFill) {
    // Ints of 2 bytes (bits 2 and 3 clear), in both orders.
    for (int machine : {0x81, 0x80}) {
        std::string v = machine == 0x81 ? bytes({0xFF, 0xFE}) : bytes({0xFE, 0xFF});
        ASSERT_NE(openWith(machine, v + v), nullptr);
        EXPECT_EQ(readOne<int32_t>(KT_DUFS_INT, 1), -2);
        EXPECT_EQ(readOne<uint32_t>(KT_DUFS_INT, 0), 0xFFFEu);
    }
    // Longs of 8 bytes (bit 1), in both orders: -5, 7, 2 to the 32nd, -5.
    const std::string longs = bytes({0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFB, 0, 0, 0, 0,
                                     0,    0,    0,    7,    0,    0,    0,    1,    0, 0, 0, 0});
    for (int machine : {0x87, 0x86}) {
        SCOPED_TRACE(machine);
        std::string data = machine == 0x87 ? longs : reversed(longs, {8, 8, 8});
        ASSERT_NE(openWith(machine, data + data.substr(0, 8)), nullptr);
        EXPECT_EQ(readOne<int32_t>(KT_DUFS_LONG), -5);
        EXPECT_EQ(readOne<int32_t>(KT_DUFS_LONG), 7);
        int32_t v;
        Thrown t = thrown([&] { ktDufsBRead(h, &v, 1, KT_DUFS_LONG, 1); });
        EXPECT_EQ(t.tag, KT_EX_FAIL);
        EXPECT_EQ(t.number, 1320);
        EXPECT_NE(t.text.find("f.bin"), std::string::npos);
        // Unsigned, the leading ones are no fill.
        EXPECT_EQ(thrown([&] { ktDufsBRead(h, &v, 1, KT_DUFS_LONG, 0); }).number, 1320);
    }
    // Shorts of 4 bytes (bit 4) and ints of 16 (bits 2 and 3 set).
    std::string shorts = bytes({0, 0, 0x7F, 0xFF, 0xFF, 0xFF, 0x80, 0x00, 0, 1, 0, 0});
    ASSERT_NE(openWith(0x9D, std::string(16, '\xFF') + shorts), nullptr);
    EXPECT_EQ(readOne<int32_t>(KT_DUFS_INT), -1);
    int16_t s[2];
    EXPECT_EQ(ktDufsBRead(h, s, 2, KT_DUFS_SHORT, 1), 2u);
    EXPECT_EQ(s[0], 32767);
    EXPECT_EQ(s[1], -32768);
    EXPECT_EQ(thrown([&] { ktDufsBRead(h, s, 1, KT_DUFS_SHORT, 1); }).number, 1320);
}

TEST_F(Dufs, ShortReadsCountWholeValuesAndStringsTheirLengthByte) {
    int32_t v[3];
    ASSERT_NE(openWith(0x85, bytes({0, 0, 0, 1, 0, 0, 0, 2, 0, 0})), nullptr);
    EXPECT_EQ(ktDufsBRead(h, v, 3, KT_DUFS_INT, 1), 2u);
    ASSERT_NE(openWith(0x87, std::string(20, '\0')), nullptr);  // 8-byte longs: two and a half
    EXPECT_EQ(ktDufsBRead(h, v, 3, KT_DUFS_LONG, 1), 2u);
    ASSERT_NE(openWith(0x85, bytes({0, 3, 'a', 'b', 'c', 5, 'x', 'y'})), nullptr);
    char s[KT_DUFS_STRINGMAX] = "junk";
    EXPECT_EQ(ktDufsBReadString(h, s), 1u);
    EXPECT_STREQ(s, "");
    EXPECT_EQ(ktDufsBReadString(h, s), 1u);
    EXPECT_STREQ(s, "abc");
    EXPECT_EQ(ktDufsBReadString(h, s), 0u);
    EXPECT_STREQ(s, "xy");
    // An untyped buffer can't take a string.
    EXPECT_EQ(thrown([&] { ktDufsBRead(h, s, 1, KT_DUFS_STRING, 0); }).number, 1303);
}

TEST_F(Dufs, PositionsDoNotCountTheDescription) {
    ASSERT_NE(openWith(0x85, bytes({0, 0, 0, 1, 0, 0, 0, 2, 0, 0, 0, 3})), nullptr);
    EXPECT_EQ(ktDufsBFtell(h), 0);
    EXPECT_EQ(readOne<int32_t>(KT_DUFS_INT), 1);
    EXPECT_EQ(ktDufsBFtell(h), 4);
    ASSERT_EQ(ktDufsBFseek(h, 8, SEEK_SET), 0);
    EXPECT_EQ(readOne<int32_t>(KT_DUFS_INT), 3);
    // Other origins are the stream's own.
    ASSERT_EQ(ktDufsBFseek(h, -8, SEEK_END), 0);
    EXPECT_EQ(readOne<int32_t>(KT_DUFS_INT), 2);
    // Before the start is refused; past the end reads nothing; a value cut
    // by the end is no value, and what it left is used up.
    EXPECT_NE(ktDufsBFseek(h, -20, SEEK_CUR), 0);
    EXPECT_EQ(ktDufsBFtell(h), 8);
    ASSERT_EQ(ktDufsBFseek(h, 20, SEEK_SET), 0);
    int32_t v = 0;
    EXPECT_EQ(ktDufsBRead(h, &v, 1, KT_DUFS_INT, 1), 0u);
    ASSERT_EQ(ktDufsBFseek(h, -2, SEEK_END), 0);
    EXPECT_EQ(ktDufsBRead(h, &v, 1, KT_DUFS_INT, 1), 0u);
    EXPECT_EQ(ktDufsBFtell(h), 12);
}

TEST_F(Dufs, OpeningRefusesWhatItCannotRead) {
    for (const std::string& content : {std::string(), bytes({0x01})}) {
        dir.write("short.bin", content);
        errno = 0;
        EXPECT_EQ(ktDufsBFopen(dir.path("short.bin").c_str(), "r"), nullptr);
        EXPECT_NE(errno, 0);
    }
    // An unknown format version, bit 7 clear, 8-byte floats.
    for (auto [head, number] :
         {std::pair{bytes({2, 0x85}), 1300}, {bytes({1, 0x05}), 1301}, {bytes({1, 0xA5}), 1302}}) {
        dir.write("bad.bin", head + bytes({0, 0, 0, 0}));
        Thrown t = thrown([&] { ktDufsBFopen(dir.path("bad.bin").c_str(), "r"); });
        EXPECT_EQ(t.tag, KT_EX_FAIL);
        EXPECT_EQ(t.number, number);
        EXPECT_EQ(t.location, "in call to routine ktDufsBFopen()");
        EXPECT_TRUE(dir.exists("bad.bin"));  // a read file is never deleted
    }
    // A writing mode made the file before it was refused: it goes again.
    Thrown t = thrown([&] { ktDufsBFopen(dir.path("made.bin").c_str(), "wx"); });
    EXPECT_EQ(t.tag, KT_EX_PRECOND);
    EXPECT_EQ(t.number, 1306);
    EXPECT_FALSE(dir.exists("made.bin"));
}

// The lines of `text` as ktDufsFgets reads them into `size` bytes.
std::vector<std::string> linesOf(const std::string& text, int size) {
    TempDir dir;
    dir.write("t.txt", text);
    std::unique_ptr<FILE, int (*)(FILE*)> f{std::fopen(dir.path("t.txt").c_str(), "rb"),
                                            std::fclose};
    std::vector<std::string> out;
    char buf[64];
    while (ktDufsFgets(buf, size, f.get())) out.push_back(buf);
    return out;
}

TEST(TextLines, CrLfReadsAsLfAlsoWhenTheCrFillsTheBuffer) {
    using V = std::vector<std::string>;
    EXPECT_EQ(linesOf("a\r\nb\n\r\nc\rd\nlast", 64), (V{"a\n", "b\n", "\n", "c\rd\n", "last"}));
    // A CR at the end of the buffer looks ahead and puts back what isn't LF.
    EXPECT_EQ(linesOf("ab\r\nab\rx\nab\r", 4), (V{"ab\n", "ab\r", "x\n", "ab\r"}));
}

}  // namespace
