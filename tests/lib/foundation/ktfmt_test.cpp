#include "ktfmt.h"

#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

#include "ktlib_msg.h"
#include "thrown.h"

namespace {

// One formatting into a generous buffer; a cut fails the test.
template <typename... Args>
std::string fmt(const char* format, Args... args) {
    char buf[512];
    EXPECT_EQ(ktSprintf(buf, sizeof buf, format, args...), 0) << format;
    return buf;
}

template <typename... Args>
int badFormat(const char* format, Args... args) {
    char buf[64];
    return thrown([&] { ktSprintf(buf, sizeof buf, format, args...); }).number;
}

// The pieces the parser hands over, one line each: kind, text, and for a
// directive flags, conversion, position, width, precision and type.
std::string pieces(const char* format) {
    std::string out;
    auto describe = [](const ktSpFmtDesc* d, void* data) {
        auto* out = static_cast<std::string*>(data);
        *out += std::to_string(ktSpFmtDescIs(d)) + " [" + ktSpFmtDescStr(d) + "]";
        if (ktSpFmtDescIs(d) == KT_SPFMT_DIRECTIVE) {
            const char* flags = ktSpFmtArgFlags(d);
            char more[96];
            std::snprintf(more, sizeof more, " %s %s %d %d %d %#x", flags ? flags : "-",
                          ktSpFmtArgConv(d), ktSpFmtArgPosition(d), ktSpFmtArgWidth(d),
                          ktSpFmtArgPrecision(d), static_cast<unsigned>(ktSpFmtArgIs(d)));
            *out += more;
        }
        *out += "\n";
        return 1;
    };
    ktSpFmtParse(format, describe, &out);
    return out;
}

// The kind of each piece, one digit each.
std::string kinds(const char* format) {
    std::string text = pieces(format), out;
    for (size_t at = 0; at < text.size(); at = text.find('\n', at) + 1) out += text[at];
    return out;
}

TEST(FormatParser, PiecesInOrderUpToAnInvalidOne) {
    EXPECT_EQ(pieces("ab%%c%-5.2fxy%3$*1$.*2$f%%"), R"(2 [ab%c]
3 [%-5.2f] - f -1 5 2 0x4
2 [xy]
1 [%3$*1$.*2$f%%]
)");
    EXPECT_EQ(pieces("%3$*1$.*2$f"), "3 [%3$*1$.*2$f] - f 3 1 2 0xc004\n");
    for (const char* bad : {"%#d", "%#s", "%.2c", "%.2p", "%.hn", "%n", "100%", "%5", "%5%"})
        EXPECT_EQ(kinds(bad).back(), '1') << bad;
    for (const char* good : {"%#x", "%#o", "%#g", "%#LX", "%.3s", "%.3x"})
        EXPECT_EQ(kinds(good), "3") << good;
    // A star takes a position only as *n$; sizes go only with their conversions.
    for (const char* bad : {"%*1d", "%.*1d", "%*0$d", "%0$d", "%123$d", "%Ln", "%lc", "%hf"})
        EXPECT_EQ(kinds(bad).back(), '1') << bad;
    for (const char* good : {"%-+ #0x", "%00d", "%.f", "%hn", "%ln", "%le", "%Lo", "%1$.0s"})
        EXPECT_EQ(kinds(good), "3") << good;
    EXPECT_EQ(pieces("%12d%.3s"), "3 [%12d] - d -1 12 -1 0x1\n3 [%.3s] - s -1 -1 3 0x7\n");
}

TEST(FormatParser, PositionsAllOrNoneAndWithoutGaps) {
    struct Case {
        const char* format;
        const char* kinds;  // the kind of each piece
    };
    const Case cases[] = {
        {"%2$s %1$d", "323"},     {"%1$s %d", "321"},    {"%s %1$d", "321"},   {"%1$*d", "1"},
        {"%*2$d", "1"},           {"%1$.*s", "1"},       {"%1$*2$.*3$f", "3"}, {"%*d %.*s", "323"},
        {"%1$s and %1$s", "323"}, {"%1$s %3$s", "3231"}, {"%2$s", "31"},       {"%1$*3$d", "31"},
        {"%3$s %1$*2$d", "323"},
    };
    for (const Case& c : cases) EXPECT_EQ(kinds(c.format), c.kinds) << c.format;
}

TEST(FormatArguments, PositionsAndStars) {
    EXPECT_EQ(fmt("%2$s %1$s", "a", "b"), "b a");
    EXPECT_EQ(fmt("%3$s|%1$d|%2$.2f|%4$Ld", 7, 2.5, "s", int64_t{1} << 40),
              "s|7|2.50|1099511627776");
    EXPECT_EQ(fmt("%4$c%3$ld%2$hd%1$x", 255, 70000, 123456789012L, 'z'), "z1234567890124464ff");
    EXPECT_EQ(fmt("[%1$-*3$.*2$f]", 3.14159, 2, 8), "[3.14    ]");
    EXPECT_EQ(fmt("[%1$*1$d]", 3), "[  3]");
    EXPECT_EQ(fmt("%1$d %1$c %1$hd", 65), "65 A 65");  // all read as int
    // Plain stars come before the value, and negatives count as zero.
    EXPECT_EQ(fmt("[%*.*f|%.*s]", 8, 3, 2.0, 2, "abc"), "[   2.000|ab]");
    EXPECT_EQ(fmt("[%*d|%*s]", -5, 42, -3, "ab"), "[42|ab]");
    EXPECT_EQ(fmt("[%.*f|%.*s]", -1, 2.7, -1, "abc"), "[3|]");
}

TEST(FormatArguments, BadFormatsAreThrownAsMessage1600) {
    EXPECT_EQ(badFormat("%2$s %s", "a", "b"), KTM_FMT_BADFORMAT);
    EXPECT_EQ(badFormat("%1$s %3$s", "a", "b", "c"), KTM_FMT_BADFORMAT);
    // One argument cannot be read as two different types.
    EXPECT_EQ(badFormat("%1$d %1$s", 1), KTM_FMT_BADFORMAT);
    EXPECT_EQ(badFormat("%2$*1$d %1$f", 1, 2), KTM_FMT_BADFORMAT);
    char buf[32];
    Thrown t = thrown([&] { ktSprintf(buf, sizeof buf, "value %", 1); });
    EXPECT_EQ(t.tag, KT_EX_FAIL);
    EXPECT_EQ(t.location, "in call to routine ktSprintf()");
    EXPECT_NE(t.text.find("value %"), std::string::npos) << t.text;
}

TEST(FormatConversions, ByHandAndThroughThePlatform) {
    EXPECT_EQ(fmt("%hu %#.3g %10.3lf", 65537, 1.0, -2.5), "1 1.00     -2.500");
    EXPECT_EQ(fmt("[%5s|%-5s|%5.2s]", "ab", "ab", "abc"), "[   ab|ab   |   ab]");
    EXPECT_EQ(fmt("[%05s|%03c|%-3c]", "ab", 'x', 'z'), "[   ab|  x|z  ]");
    const char* none = nullptr;
    EXPECT_EQ(fmt("[%s|%3s]", none, none), "[|   ]");
    // A precision stops reading: no terminator is needed past it.
    const char unterminated[3] = {'x', 'y', 'z'};
    EXPECT_EQ(fmt("[%.2s]", unterminated), "[xy]");
    // Counts are stored as short or long, also past a cut.
    short h = -1;
    long l = -1;
    EXPECT_EQ(fmt("abcde%hnf%ln", &h, &l), "abcdef");
    EXPECT_EQ(h, 5);
    EXPECT_EQ(l, 6);
    char small[4];
    EXPECT_EQ(ktSprintf(small, sizeof small, "%s%ln", "abcdef", &l), -1);
    EXPECT_EQ(l, 6);
}

TEST(FormatConversions, SixtyFourBitIntegersAgreeWithThePlatform) {
    const int64_t values[] = {0, 1, -1, 255, -255, 1234567890123LL, INT64_MAX, INT64_MIN};
    const char* shapes[] = {"",  "+",   " ",     "-8",  "08", "+08", "20", ".5",
                            "#", "#08", "010.4", "- 6", "0",  "1",   ".0", "-+12.3"};
    for (int64_t v : values)
        for (const char* shape : shapes)
            for (char c : std::string("diuoxX")) {
                if (std::strchr(shape, '#') && !std::strchr("oxX", c)) continue;  // a bad format
                std::string ours = std::string("%") + shape + "L" + c;
                std::string theirs = std::string("%") + shape + "ll" + c;
                char expect[64];
                std::snprintf(expect, sizeof expect, theirs.c_str(), static_cast<long long>(v));
                EXPECT_EQ(fmt(ours.c_str(), v), expect) << ours << " of " << v;
            }
    EXPECT_EQ(std::string(ktInt64CvtToStrEx(0, 7, 10, 300, -1, KT_INT64_LEFT)),
              "7" + std::string(299, ' '));
}

TEST(FormatBuffer, NeverWritesPastTheGivenSize) {
    using Writer = int (*)(char*, size_t);
    const Writer writers[] = {
        [](char* b, size_t n) { return ktSprintf(b, n, "0123456789abcdef"); },
        [](char* b, size_t n) { return ktSprintf(b, n, "%c%c%-20s|", 'a', 'b', "x"); },
        [](char* b, size_t n) { return ktSprintf(b, n, "%.10f", 3.25); },
        [](char* b, size_t n) { return ktSprintf(b, n, "%-20Ld", int64_t{-3}); },
        [](char* b, size_t n) { return ktSprintf(b, n, "%2$s%1$20d", 7, "ab"); },
    };
    for (size_t w = 0; w < std::size(writers); ++w)
        for (size_t size = 1; size <= 12; ++size) {
            char buf[32];
            std::memset(buf, '#', sizeof buf);
            EXPECT_EQ(writers[w](buf, size), -1) << "writer " << w << " size " << size;
            EXPECT_EQ(std::strlen(buf), size - 1) << "writer " << w << " size " << size;
            EXPECT_EQ(std::string(buf + size, sizeof buf - size),
                      std::string(sizeof buf - size, '#'));
        }
}

int runVa2(char* buf, size_t size, size_t* needed, const char* format, ...) {
    va_list args;
    va_start(args, format);
    int r = ktSprintfVa2(buf, size, needed, format, args);
    va_end(args);
    return r;
}

TEST(FormatBuffer, ExactFitAndTheRoomNeeded) {
    char buf[16];
    size_t needed = 0;
    // "hello" needs 6 bytes: sizes 5, 6 and 7.
    EXPECT_EQ(runVa2(buf, 5, &needed, "%s", "hello"), -1);
    EXPECT_STREQ(buf, "hell");
    EXPECT_EQ(needed, 6u);
    EXPECT_EQ(runVa2(buf, 6, &needed, "%s", "hello"), 0);
    EXPECT_STREQ(buf, "hello");
    needed = 0;
    EXPECT_EQ(runVa2(buf, 7, &needed, "%s", "hello"), 0);
    EXPECT_EQ(needed, 6u);
    EXPECT_EQ(runVa2(buf, 4, &needed, "%2$s%1$s", "cd", "ab"), -1);
    EXPECT_STREQ(buf, "abc");
    EXPECT_EQ(needed, 5u);
    // Size 1 holds only the terminator; nulls and size 0 are refused.
    EXPECT_EQ(runVa2(buf, 1, &needed, "a"), -1);
    EXPECT_STREQ(buf, "");
    EXPECT_EQ(runVa2(buf, 1, &needed, ""), 0);
    EXPECT_EQ(runVa2(buf, 0, &needed, "a"), -1);
    EXPECT_EQ(runVa2(nullptr, 4, &needed, "a"), -1);
    EXPECT_EQ(runVa2(buf, 4, &needed, nullptr), -1);
}

int runProg(char* buf, size_t size, size_t* needed, const ktSpFmtProg* prog, ...) {
    va_list args;
    va_start(args, prog);
    int r = ktSprintfProgVa2(buf, size, needed, prog, args);
    va_end(args);
    return r;
}

// Plain %s and %d formats take a shorter road once compiled: what they
// make, cut or whole, is what the parsed format makes.
TEST(FormatBuffer, CompiledFormatsMakeWhatTheTextMakesAtEverySize) {
    const char* formats[] = {"%s", "<%d|%s>", "%i%%%s!", "", "ab%%", "%s%s%d", "%5s|%-3d|%s"};
    const char* texts[] = {"hello", "", nullptr};
    const int numbers[] = {0, 7, -42, INT32_MIN, INT32_MAX};
    for (const char* format : formats) {
        ktSpFmtProg* prog = ktSpFmtCompile(format);
        for (const char* text : texts)
            for (int number : numbers)
                for (size_t size = 1; size <= 40; ++size) {
                    // The arguments fit every format: unused ones are ignored.
                    char a[48], b[48];
                    size_t na = 0, nb = 0;
                    int ra = 0, rb = 0;
                    if (std::strncmp(format, "<%d", 3) == 0 || std::strncmp(format, "%i", 2) == 0) {
                        ra = runVa2(a, size, &na, format, number, text);
                        rb = runProg(b, size, &nb, prog, number, text);
                    } else if (std::strcmp(format, "%s%s%d") == 0) {
                        ra = runVa2(a, size, &na, format, text, text, number);
                        rb = runProg(b, size, &nb, prog, text, text, number);
                    } else if (std::strncmp(format, "%5s", 3) == 0) {
                        ra = runVa2(a, size, &na, format, text, number, text);
                        rb = runProg(b, size, &nb, prog, text, number, text);
                    } else {
                        ra = runVa2(a, size, &na, format, text);
                        rb = runProg(b, size, &nb, prog, text);
                    }
                    ASSERT_EQ(ra, rb) << format << " size " << size;
                    ASSERT_EQ(na, nb) << format << " size " << size;
                    ASSERT_STREQ(a, b) << format << " size " << size;
                }
        ktSpFmtProgFree(prog);
    }
}

// A field as wide as a format can ask would take the platform seconds to
// pad and the static form gigabytes to hold: it is refused, the rest made.
TEST(FormatBuffer, FieldsBeyondTheLimitAreRefusedAndTheRestMade) {
    char buf[16];
    EXPECT_EQ(ktSprintf(buf, sizeof buf, "[%4097d]", 1), -1);
    EXPECT_STREQ(buf, "[]");
    EXPECT_EQ(ktSprintf(buf, sizeof buf, "[%.*f|%*Lx]", 5000, 1.0, 4097, int64_t{1}), -1);
    EXPECT_STREQ(buf, "[|]");
    EXPECT_EQ(ktSprintf(buf, sizeof buf, "[%9999999999s]", "ab"), -1);
    // A precision of a text only cuts it: any is fine.
    EXPECT_EQ(ktSprintf(buf, sizeof buf, "[%.99999s|%.*s]", "ab", 1 << 30, "cd"), 0);
    EXPECT_STREQ(buf, "[ab|cd]");
    EXPECT_EQ(std::strlen(ktSprintfStatic("%4096d", 7)), 4096u);
    EXPECT_STREQ(ktSprintfStatic("a%2000000000sb", "x"), "ab");
}

TEST(FormatStatic, WholeResultsAndThePreviousOneAsAnArgumentOrTheFormat) {
    std::string huge(100000, 'z');
    EXPECT_EQ(std::string(ktSprintfStatic("<%s|%s>", huge.c_str(), "end")), "<" + huge + "|end>");
    char* r = ktSprintfStatic("%s", "ab");
    for (int i = 0; i < 12; ++i) r = ktSprintfStatic("%s%s", r, r);
    EXPECT_EQ(std::strlen(r), 2u << 12);
    EXPECT_EQ(std::string(r, 6), "ababab");
    r = ktSprintfStatic("%s", "x%%y");
    EXPECT_STREQ(ktSprintfStatic(r), "x%y");
    EXPECT_EQ(thrown([] { ktSprintfStatic("%1$s %s", "a"); }).number, KTM_FMT_BADFORMAT);
    EXPECT_STREQ(ktSprintfStatic("%s-%d", "ok", 2), "ok-2");
    EXPECT_EQ(ktSprintfStatic(nullptr), nullptr);
}

}  // namespace
