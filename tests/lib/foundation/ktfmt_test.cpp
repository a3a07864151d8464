#include "ktfmt.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <string>
#include <vector>

#include "kterr.h"
#include "ktex.h"
#include "ktlib_msg.h"

namespace {

// The text of one formatting into a generous buffer; fails the test when
// the formatter reports a cut.
template <typename... Args>
std::string fmt(const char* format, Args... args) {
    char buf[512];
    int r = ktSprintf(buf, sizeof buf, format, args...);
    EXPECT_EQ(r, 0) << format;
    return buf;
}

// What a throw of tag 2 carried, or a number of 0 if nothing was thrown.
struct Thrown {
    int number = 0;
    std::string text;
    std::string location;
};

template <typename Body>
Thrown thrown(Body body) {
    Thrown t;
    ktExCatch(
        KT_EX_FAIL, [&] { body(); },
        [&](uint32_t, ktErrObject* err) {
            t.number = err->number;
            t.text = err->text ? err->text : "";
            t.location = err->location ? err->location : "";
            ktExSwallow();
        });
    return t;
}

template <typename... Args>
int badFormat(const char* format, Args... args) {
    char buf[64];
    return thrown([&] { ktSprintf(buf, sizeof buf, format, args...); }).number;
}

// One descriptor as the parser handed it over, its texts copied.
struct Piece {
    int kind;
    std::string str;
    std::string flags;  // "(null)" for none
    std::string conv;
    int position, width, precision, type;
};

struct Collected {
    std::vector<Piece> pieces;
    int stopAfter = -1;  // return 0 from this piece on
};

int collect(const ktSpFmtDesc* d, void* data) {
    auto* c = static_cast<Collected*>(data);
    const char* flags = ktSpFmtArgFlags(d);
    const char* conv = ktSpFmtArgConv(d);
    c->pieces.push_back({ktSpFmtDescIs(d), ktSpFmtDescStr(d), flags ? flags : "(null)",
                         conv ? conv : "(null)", ktSpFmtArgPosition(d), ktSpFmtArgWidth(d),
                         ktSpFmtArgPrecision(d), ktSpFmtArgIs(d)});
    EXPECT_STREQ(ktSpFmtOrigStr(d), d->orig);
    int n = static_cast<int>(c->pieces.size());
    return c->stopAfter >= 0 && n > c->stopAfter ? 0 : n;
}

std::vector<Piece> parse(const char* format, int* result = nullptr) {
    Collected c;
    int r = ktSpFmtParse(format, collect, &c);
    if (result) *result = r;
    return c.pieces;
}

Piece directive(const char* format) {
    std::vector<Piece> p = parse(format);
    EXPECT_EQ(p.size(), 1u) << format;
    EXPECT_EQ(p.empty() ? 0 : p[0].kind, KT_SPFMT_DIRECTIVE) << format;
    return p.empty() ? Piece{} : p[0];
}

TEST(FormatParser, PiecesArriveInOrderWithDoublePercentCollapsed) {
    int result = 0;
    std::vector<Piece> p = parse("ab%%c%-5.2fxy%d%%", &result);
    ASSERT_EQ(p.size(), 5u);
    EXPECT_EQ(p[0].kind, KT_SPFMT_TEXT);
    EXPECT_EQ(p[0].str, "ab%c");
    EXPECT_EQ(p[1].kind, KT_SPFMT_DIRECTIVE);
    EXPECT_EQ(p[1].str, "%-5.2f");
    EXPECT_EQ(p[1].flags, "-");
    EXPECT_EQ(p[1].conv, "f");
    EXPECT_EQ(p[1].width, 5);
    EXPECT_EQ(p[1].precision, 2);
    EXPECT_EQ(p[1].position, -1);
    EXPECT_EQ(p[2].str, "xy");
    EXPECT_EQ(p[3].str, "%d");
    EXPECT_EQ(p[3].flags, "(null)");
    EXPECT_EQ(p[3].width, -1);
    EXPECT_EQ(p[3].precision, -1);
    EXPECT_EQ(p[4].kind, KT_SPFMT_TEXT);
    EXPECT_EQ(p[4].str, "%");
    EXPECT_EQ(result, 5);
}

TEST(FormatParser, EmptyFormatGivesOneEmptyTextAndNullsGiveNothing) {
    int result = 0;
    std::vector<Piece> p = parse("", &result);
    ASSERT_EQ(p.size(), 1u);
    EXPECT_EQ(p[0].kind, KT_SPFMT_TEXT);
    EXPECT_EQ(p[0].str, "");
    EXPECT_EQ(result, 1);
    EXPECT_EQ(ktSpFmtParse(nullptr, collect, nullptr), 0);
    EXPECT_EQ(ktSpFmtParse("x", nullptr, nullptr), 0);
}

TEST(FormatParser, CallbackResultOfZeroStopsTheParse) {
    Collected c;
    c.stopAfter = 1;
    EXPECT_EQ(ktSpFmtParse("a%db%sc", collect, &c), 0);
    ASSERT_EQ(c.pieces.size(), 2u);
    EXPECT_EQ(c.pieces[1].str, "%d");
    Collected first;
    first.stopAfter = 0;
    EXPECT_EQ(ktSpFmtParse("text%d", collect, &first), 0);
    EXPECT_EQ(first.pieces.size(), 1u);
}

TEST(FormatParser, InvalidPieceEndsTheParseWithTheRestOfTheFormat) {
    int result = 0;
    std::vector<Piece> p = parse("ok %d then %q and %d", &result);
    ASSERT_EQ(p.size(), 4u);
    EXPECT_EQ(p[3].kind, KT_SPFMT_INVALID);
    EXPECT_EQ(p[3].str, "%q and %d");
    EXPECT_EQ(result, 4);
    // Accessors of anything but a directive.
    EXPECT_EQ(p[3].flags, "(null)");
    EXPECT_EQ(p[3].conv, "(null)");
    EXPECT_EQ(p[3].position, -1);
    EXPECT_EQ(p[3].width, -1);
    EXPECT_EQ(p[3].precision, -1);
    EXPECT_EQ(p[3].type, -1);
    EXPECT_EQ(p[0].type, -1);
    EXPECT_EQ(p[0].conv, "(null)");
}

TEST(FormatParser, RulesOfFlagsPrecisionAndEnd) {
    auto lastKind = [](const char* format) {
        std::vector<Piece> p = parse(format);
        return p.empty() ? 0 : p.back().kind;
    };
    EXPECT_EQ(lastKind("%#d"), KT_SPFMT_INVALID);
    EXPECT_EQ(lastKind("%#s"), KT_SPFMT_INVALID);
    EXPECT_EQ(lastKind("%#x"), KT_SPFMT_DIRECTIVE);
    EXPECT_EQ(lastKind("%#o"), KT_SPFMT_DIRECTIVE);
    EXPECT_EQ(lastKind("%#g"), KT_SPFMT_DIRECTIVE);
    EXPECT_EQ(lastKind("%#LX"), KT_SPFMT_DIRECTIVE);
    EXPECT_EQ(lastKind("%.2c"), KT_SPFMT_INVALID);
    EXPECT_EQ(lastKind("%.2p"), KT_SPFMT_INVALID);
    EXPECT_EQ(lastKind("%.hn"), KT_SPFMT_INVALID);
    // A count always names the size it stores.
    EXPECT_EQ(lastKind("%n"), KT_SPFMT_INVALID);
    EXPECT_EQ(lastKind("%.3s"), KT_SPFMT_DIRECTIVE);
    EXPECT_EQ(lastKind("%.3x"), KT_SPFMT_DIRECTIVE);
    EXPECT_EQ(lastKind("100%"), KT_SPFMT_INVALID);
    EXPECT_EQ(lastKind("%5"), KT_SPFMT_INVALID);
    EXPECT_EQ(lastKind("%5%"), KT_SPFMT_INVALID);
}

TEST(FormatParser, PositionsMustBeAllOrNoneAndLeaveNoGap) {
    auto kinds = [](const char* format) {
        std::string k;
        for (const Piece& p : parse(format)) k += static_cast<char>('0' + p.kind);
        return k;
    };
    EXPECT_EQ(kinds("%2$s %1$d"), "323");
    EXPECT_EQ(kinds("%1$s %d"), "321");
    EXPECT_EQ(kinds("%s %1$d"), "321");
    EXPECT_EQ(kinds("%1$*d"), "1");
    EXPECT_EQ(kinds("%*2$d"), "1");
    EXPECT_EQ(kinds("%1$.*s"), "1");
    EXPECT_EQ(kinds("%1$*2$.*3$f"), "3");
    EXPECT_EQ(kinds("%*d %.*s"), "323");
    // A gap is found at the end, after every directive went through.
    EXPECT_EQ(kinds("%1$s %3$s"), "3231");
    EXPECT_EQ(kinds("%2$s"), "31");
    EXPECT_EQ(kinds("%1$*3$d"), "31");
    EXPECT_EQ(kinds("%3$s %1$*2$d"), "323");
    EXPECT_EQ(kinds("%1$s and %1$s"), "323");
}

TEST(FormatParser, WidthAndPrecisionOfEveryForm) {
    Piece p = directive("%3$*1$.*2$f");
    EXPECT_EQ(p.position, 3);
    EXPECT_EQ(p.width, 1);
    EXPECT_EQ(p.precision, 2);
    EXPECT_EQ(p.type, KT_SPFMT_DOUBLE | KT_SPFMT_STARWIDTH | KT_SPFMT_STARPREC);

    p = directive("%*.*e");
    EXPECT_EQ(p.width, -1);
    EXPECT_EQ(p.precision, -1);
    EXPECT_EQ(p.type, KT_SPFMT_DOUBLE | KT_SPFMT_STARWIDTH | KT_SPFMT_STARPREC);

    p = directive("%.s");
    EXPECT_EQ(p.precision, 0);
    p = directive("%.0g");
    EXPECT_EQ(p.precision, 1);
    p = directive("%.G");
    EXPECT_EQ(p.precision, 1);
    p = directive("%.0f");
    EXPECT_EQ(p.precision, 0);
    p = directive("%+ 0#12.4e");
    EXPECT_EQ(p.flags, "+ 0#");
    EXPECT_EQ(p.width, 12);
    EXPECT_EQ(p.precision, 4);
    p = directive("%0005d");
    EXPECT_EQ(p.flags, "000");
    EXPECT_EQ(p.width, 5);
}

TEST(FormatArgumentTypes, EveryConversion) {
    struct Case {
        const char* format;
        int type;
    };
    const Case cases[] = {
        {"%d", 1},
        {"%i", 1},
        {"%o", 1},
        {"%u", 1},
        {"%x", 1},
        {"%X", 1},
        {"%hd", 2},
        {"%hi", 2},
        {"%ho", 2},
        {"%hu", 2},
        {"%hx", 2},
        {"%hX", 2},
        {"%ld", 3},
        {"%li", 3},
        {"%lo", 3},
        {"%lu", 3},
        {"%lx", 3},
        {"%lX", 3},
        {"%e", 4},
        {"%E", 4},
        {"%f", 4},
        {"%g", 4},
        {"%G", 4},
        {"%le", 4},
        {"%lE", 4},
        {"%lf", 4},
        {"%lg", 4},
        {"%lG", 4},
        {"%c", 6},
        {"%s", 7},
        {"%p", 8},
        {"%Ld", 9},
        {"%Li", 9},
        {"%Lo", 9},
        {"%Lu", 9},
        {"%Lx", 9},
        {"%LX", 9},
        {"%hn", 32},
        {"%ln", 48},
        {"%*d", 0x4001},
        {"%.*s", 0x8007},
        {"%*.*Lx", 0xC009},
        {"%1$*2$hn", 0x4020},
    };
    for (const Case& c : cases) EXPECT_EQ(directive(c.format).type, c.type) << c.format;
}

TEST(FormatPositional, ReorderedArguments) {
    EXPECT_EQ(fmt("%2$s %1$s", "a", "b"), "b a");
    EXPECT_EQ(fmt("%1$s-%1$s", "x"), "x-x");
    // The list is read in position order whatever the types, whatever the
    // order of use.
    EXPECT_EQ(fmt("%3$s|%1$d|%2$.2f|%4$Ld", 7, 2.5, "s", int64_t{1} << 40),
              "s|7|2.50|1099511627776");
    EXPECT_EQ(fmt("%4$c%3$ld%2$hd%1$x", 255, 70000, 123456789012L, 'z'), "z1234567890124464ff");
}

TEST(FormatPositional, StarPositionsTakeIntegers) {
    EXPECT_EQ(fmt("[%2$*1$d]", 5, 42), "[   42]");
    EXPECT_EQ(fmt("[%1$-*3$.*2$f]", 3.14159, 2, 8), "[3.14    ]");
    EXPECT_EQ(fmt("[%2$.*1$s]", 3, "abcdef"), "[abc]");
    // A position used both as a width and as an int value.
    EXPECT_EQ(fmt("[%1$*1$d]", 3), "[  3]");
}

TEST(FormatPositional, BadFormatsAreThrownAsMessage1600) {
    EXPECT_EQ(badFormat("%2$s %s", "a", "b"), KTM_FMT_BADFORMAT);
    EXPECT_EQ(badFormat("%s %2$s", "a", "b"), KTM_FMT_BADFORMAT);
    EXPECT_EQ(badFormat("%1$s %3$s", "a", "b", "c"), KTM_FMT_BADFORMAT);
    EXPECT_EQ(badFormat("%1$*d", 1, 2), KTM_FMT_BADFORMAT);
    // One argument cannot be read as two different types.
    EXPECT_EQ(badFormat("%1$d %1$s", 1), KTM_FMT_BADFORMAT);
    EXPECT_EQ(badFormat("%1$ld %1$Ld", 1L), KTM_FMT_BADFORMAT);
    EXPECT_EQ(badFormat("%1$s %1$n", "x"), KTM_FMT_BADFORMAT);
    EXPECT_EQ(badFormat("%2$*1$d %1$f", 1, 2), KTM_FMT_BADFORMAT);
    // Readings of one type are fine: char and short arrive as int, and a
    // string may be shown as a pointer.
    EXPECT_EQ(fmt("%1$d %1$c %1$hd", 65), "65 A 65");
    const char* s = "t";
    char expect[64];
    std::snprintf(expect, sizeof expect, "t %p", static_cast<const void*>(s));
    EXPECT_EQ(fmt("%1$s %1$p", s), expect);
}

TEST(FormatPositional, ThrowNamesTheFormatAndTheRoutine) {
    char buf[32];
    Thrown t = thrown([&] { ktSprintf(buf, sizeof buf, "value %", 1); });
    EXPECT_EQ(t.number, KTM_FMT_BADFORMAT);
    EXPECT_EQ(t.location, "in call to routine ktSprintf()");
    EXPECT_NE(t.text.find("value %"), std::string::npos) << t.text;
    EXPECT_EQ(badFormat("%#d", 1), KTM_FMT_BADFORMAT);
    EXPECT_EQ(badFormat("%.2c", 'x'), KTM_FMT_BADFORMAT);
    EXPECT_EQ(fmt("%#x %.2s", 255, "abc"), "0xff ab");
}

TEST(FormatStar, PlainStarsAreReadBeforeTheValue) {
    EXPECT_EQ(fmt("[%*d]", 5, 42), "[   42]");
    EXPECT_EQ(fmt("[%-*d]", 5, 42), "[42   ]");
    EXPECT_EQ(fmt("[%.*s]", 2, "abc"), "[ab]");
    EXPECT_EQ(fmt("[%*.*f|%s]", 8, 3, 2.0, "x"), "[   2.000|x]");
}

TEST(FormatStar, NegativeAmountsCountAsZero) {
    // No fill, and no turn into left adjustment.
    EXPECT_EQ(fmt("[%*d]", -5, 42), "[42]");
    EXPECT_EQ(fmt("[%*s]", -5, "ab"), "[ab]");
    EXPECT_EQ(fmt("[%.*f]", -1, 2.7), "[3]");
    EXPECT_EQ(fmt("[%.*s]", -1, "abc"), "[]");
}

TEST(FormatConversions, IntegersThroughThePlatform) {
    EXPECT_EQ(fmt("%d %i %o %u %x %X", -5, 7, 8, 3000000000u, 255, 255),
              "-5 7 10 3000000000 ff FF");
    EXPECT_EQ(fmt("%hd %hu %hx", 70000, 65537, 0x12345), "4464 1 2345");
    EXPECT_EQ(fmt("%ld %lu %lx", -1234567890123L, 1UL << 40, 0xabcdef012L),
              "-1234567890123 1099511627776 abcdef012");
    EXPECT_EQ(fmt("[%+05d|% d|%-4x|%#o|%.3d]", 42, 7, 10, 8, 5), "[+0042| 7|a   |010|005]");
}

TEST(FormatConversions, DoublesWithAnIgnoredL) {
    EXPECT_EQ(fmt("%.2f %lf %e %G", 1.005, 0.5, 1500.0, 1e-10), "1.00 0.500000 1.500000e+03 1E-10");
    EXPECT_EQ(fmt("%.0g %#.3g %10.3lf", 123.0, 1.0, -2.5), "1e+02 1.00     -2.500");
}

TEST(FormatConversions, StringsAndCharactersByHand) {
    EXPECT_EQ(fmt("[%s]", "abc"), "[abc]");
    EXPECT_EQ(fmt("[%5s|%-5s|%.1s|%5.2s]", "ab", "ab", "ab", "abc"), "[   ab|ab   |a|   ab]");
    // Zero fill means nothing to texts.
    EXPECT_EQ(fmt("[%05s|%03c]", "ab", 'x'), "[   ab|  x]");
    EXPECT_EQ(fmt("[%c%c|%-3c]", 'o', 'k', 'z'), "[ok|z  ]");
    // A precision stops reading: the text needs no terminator past it.
    const char unterminated[3] = {'x', 'y', 'z'};
    EXPECT_EQ(fmt("[%.2s]", unterminated), "[xy]");
}

TEST(FormatConversions, NullStringIsEmpty) {
    const char* none = nullptr;
    EXPECT_EQ(fmt("[%s]", none), "[]");
    EXPECT_EQ(fmt("[%3s|%-2s]", none, none), "[   |  ]");
}

TEST(FormatConversions, PointersAsHexadecimal) {
    int x = 0;
    char expect[64];
    std::snprintf(expect, sizeof expect, "0x%lx",
                  static_cast<unsigned long>(reinterpret_cast<uintptr_t>(&x)));
    EXPECT_EQ(fmt("%p", static_cast<void*>(&x)), expect);
    EXPECT_EQ(fmt("[%p]", static_cast<void*>(nullptr)), "[0]");
}

TEST(FormatConversions, CountStoredAsShortOrLong) {
    short h = -1;
    long l = -1;
    EXPECT_EQ(fmt("abcde%hnf%ln", &h, &l), "abcdef");
    EXPECT_EQ(h, 5);
    EXPECT_EQ(l, 6);
    EXPECT_EQ(fmt("%2$s%1$hn", &h, "xyz"), "xyz");
    EXPECT_EQ(h, 3);
    // The count goes on past a cut.
    char small[4];
    EXPECT_EQ(ktSprintf(small, sizeof small, "%s%ln", "abcdef", &l), -1);
    EXPECT_EQ(l, 6);
}

TEST(FormatConversions, SixtyFourBitIntegersAgreeWithThePlatform) {
    const int64_t values[] = {0, 1, -1, 255, -255, 1234567890123LL, INT64_MAX, INT64_MIN};
    const char* specs[] = {"",       "+", " ",   "-8",    "08",  "+08", "20", ".5",
                           "-+12.3", "#", "#08", "010.4", "- 6", "0",   "1",  ".0"};
    const char convs[] = {'d', 'i', 'u', 'o', 'x', 'X'};
    for (int64_t v : values)
        for (const char* spec : specs)
            for (char c : convs) {
                // The alternate form is for o, x and X only.
                if (std::strchr(spec, '#') && !std::strchr("oxX", c)) continue;
                std::string ours = std::string("%") + spec + "L" + c;
                std::string theirs = std::string("%") + spec + "ll" + c;
                char expect[64];
                std::snprintf(expect, sizeof expect, theirs.c_str(), static_cast<long long>(v));
                EXPECT_EQ(fmt(ours.c_str(), v), expect) << ours << " of " << v;
            }
}

TEST(FormatConversions, SixtyFourBitTextInAnyBase) {
    EXPECT_STREQ(ktInt64CvtToStrEx(0, 5, 2, -1, -1, 0), "101");
    EXPECT_STREQ(ktInt64CvtToStrEx(0xffffffffu, 0xffffffffu, 2, -1, -1, KT_INT64_UNSIGNED),
                 std::string(64, '1').c_str());
    EXPECT_STREQ(ktInt64CvtToStrEx(0xffffffffu, 0xffffffffu, 10, -1, -1, 0), "-1");
    EXPECT_STREQ(
        ktInt64CvtToStrEx(0, 35, 16, 6, -1, KT_INT64_ZEROFILL | KT_INT64_ALT | KT_INT64_UPPER),
        "0X0023");
    EXPECT_STREQ(ktInt64CvtToStrEx(1, 0, 10, -1, 12, 0), "004294967296");
    // A wide text goes beyond the usual buffer.
    std::string wide = ktInt64CvtToStrEx(0, 7, 10, 300, -1, KT_INT64_LEFT);
    EXPECT_EQ(wide, "7" + std::string(299, ' '));
}

TEST(FormatBuffer, NeverWritesPastTheGivenSize) {
    // Cut inside literal text, padded texts, characters, a number from the
    // platform and a 64-bit number: nothing lands beyond the size.
    using Writer = int (*)(char*, size_t);
    const Writer writers[] = {
        [](char* b, size_t n) { return ktSprintf(b, n, "0123456789abcdef"); },
        [](char* b, size_t n) { return ktSprintf(b, n, "%20s", "x"); },
        [](char* b, size_t n) { return ktSprintf(b, n, "%-20s|", "x"); },
        [](char* b, size_t n) {
            return ktSprintf(b, n, "%c%c%c%c%c%c%c%c%c%c%c%c", 'a', 'b', 'c', 'd', 'e', 'f', 'g',
                             'h', 'i', 'j', 'k', 'l');
        },
        [](char* b, size_t n) { return ktSprintf(b, n, "%20d", 1); },
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
            for (size_t i = size; i < sizeof buf; ++i)
                ASSERT_EQ(buf[i], '#') << "writer " << w << " size " << size << " byte " << i;
        }
}

TEST(FormatBuffer, ExactFitBoundaries) {
    char buf[16];
    size_t needed = 0;
    auto run = [&](size_t size, const char* format, ...) {
        va_list args;
        va_start(args, format);
        int r = ktSprintfVa2(buf, size, &needed, format, args);
        va_end(args);
        return r;
    };
    // "hello" needs 6 bytes.
    EXPECT_EQ(run(5, "%s", "hello"), -1);
    EXPECT_STREQ(buf, "hell");
    EXPECT_EQ(needed, 6u);
    EXPECT_EQ(run(6, "%s", "hello"), 0);
    EXPECT_STREQ(buf, "hello");
    EXPECT_EQ(needed, 6u);
    EXPECT_EQ(run(7, "%s", "hello"), 0);
    EXPECT_EQ(needed, 6u);
    // The needed size is the whole text's, however small the buffer.
    EXPECT_EQ(run(3, "%d", 12345), -1);
    EXPECT_STREQ(buf, "12");
    EXPECT_EQ(needed, 6u);
    EXPECT_EQ(run(6, "%d", 12345), 0);
    EXPECT_EQ(run(5, "%d", 12345), -1);
    EXPECT_STREQ(buf, "1234");
    EXPECT_EQ(run(4, "%2$s%1$s", "cd", "ab"), -1);
    EXPECT_STREQ(buf, "abc");
    EXPECT_EQ(needed, 5u);
    EXPECT_EQ(run(5, "%2$s%1$s", "cd", "ab"), 0);
    EXPECT_STREQ(buf, "abcd");
}

TEST(FormatBuffer, SizeOneAndBadArguments) {
    char buf[4] = "xyz";
    EXPECT_EQ(ktSprintf(buf, 1, "a"), -1);
    EXPECT_STREQ(buf, "");
    EXPECT_EQ(ktSprintf(buf, 1, ""), 0);
    EXPECT_EQ(ktSprintf(buf, 0, "a"), -1);
    EXPECT_EQ(ktSprintf(nullptr, 4, "a"), -1);
    EXPECT_EQ(ktSprintf(buf, sizeof buf, nullptr), -1);
}

TEST(FormatStatic, LongResultsComeBackWhole) {
    std::string long2000(2000, 'q');
    EXPECT_EQ(std::string(ktSprintfStatic("%s", long2000.c_str())), long2000);
    std::string huge(100000, 'z');
    std::string got = ktSprintfStatic("<%s|%s>", huge.c_str(), "end");
    EXPECT_EQ(got, "<" + huge + "|end>");
    EXPECT_EQ(std::string(ktSprintfStatic("%2$s %1$s", "b", long2000.c_str())), long2000 + " b");
    EXPECT_EQ(ktSprintfStatic(nullptr), nullptr);
}

TEST(FormatStatic, PreviousResultMayBeAnArgumentAndIsThenReplaced) {
    char* first = ktSprintfStatic("<%d>", 1);
    EXPECT_STREQ(first, "<1>");
    char* second = ktSprintfStatic("%s%s", first, first);
    EXPECT_STREQ(second, "<1><1>");
    // Chained growth: each result feeds the next, past the work buffer's start.
    char* r = ktSprintfStatic("%s", "ab");
    for (int i = 0; i < 12; ++i) r = ktSprintfStatic("%s%s", r, r);
    EXPECT_EQ(std::strlen(r), 2u << 12);
    EXPECT_EQ(std::string(r, 4), "abab");
    // The format itself may be the previous result.
    r = ktSprintfStatic("%s", "x%%y");
    EXPECT_STREQ(ktSprintfStatic(r), "x%y");
}

TEST(FormatStatic, BadFormatLeavesTheBuffersUsable) {
    EXPECT_EQ(thrown([] { ktSprintfStatic("%1$s %s", "a"); }).number, KTM_FMT_BADFORMAT);
    EXPECT_STREQ(ktSprintfStatic("%s-%d", "ok", 2), "ok-2");
}

TEST(FormatCalendar, SecondsToDateAndTime) {
    struct Case {
        long seconds;
        int y, mo, d, h, mi, s;
    };
    const Case cases[] = {
        {0, 1970, 1, 1, 0, 0, 0},
        {951782400, 2000, 2, 29, 0, 0, 0},
        {1000000000, 2001, 9, 9, 1, 46, 40},
        {978307199, 2000, 12, 31, 23, 59, 59},
        {4107456000, 2100, 2, 28, 0, 0, 0},
        {4107542400, 2100, 3, 1, 0, 0, 0},
        {253402300799, 9999, 12, 31, 23, 59, 59},
        {-1, 1969, 12, 31, 23, 59, 59},
        {-2208988800, 1900, 1, 1, 0, 0, 0},
    };
    for (const Case& c : cases) {
        int y, mo, d, h, mi, s;
        EXPECT_EQ(ktCvtTime(c.seconds, &mo, &d, &y, &h, &mi, &s), 1);
        EXPECT_EQ((std::vector<int>{y, mo, d, h, mi, s}),
                  (std::vector<int>{c.y, c.mo, c.d, c.h, c.mi, c.s}))
            << c.seconds;
    }
    int day = 0;
    EXPECT_EQ(ktCvtTime(86400 * 31, nullptr, &day, nullptr, nullptr, nullptr, nullptr), 1);
    EXPECT_EQ(day, 1);
}

TEST(FormatIntegerText, StaticDecimal) {
    EXPECT_STREQ(ktCvtIntStr(INT_MIN), "-2147483648");
    EXPECT_STREQ(ktCvtIntStr(1002), "1002");
}

}  // namespace
