#include "ktregexp.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "thrown.h"

namespace {

// "no match", or the entries of the match joined by '|', an unset entry as
// "-", trailing unset entries left out: "abcd|a|bcd".
std::string groups(const ktRegexp* prog, const char* text) {
    ktRegexpMatch m;
    if (!ktRegexpExec(prog, &m, text)) return "no match";
    int last = KT_REGEXP_NSUB - 1;
    while (last > 0 && !m.startp[last]) --last;
    std::string out;
    for (int i = 0; i <= last; ++i) {
        if (i) out += '|';
        out += m.startp[i] ? std::string(m.startp[i], m.endp[i]) : "-";
    }
    return out;
}

std::string groups(const char* expression, const char* text) {
    std::unique_ptr<ktRegexp, void (*)(ktRegexp*)> prog{ktRegexpCompile(expression),
                                                        ktRegexpDestroy};
    return groups(prog.get(), text);
}

// The text of the error `body` threw, or "(none)".
template <typename Body>
std::string thrownText(Body body) {
    Thrown t = thrown(body);
    if (!t.tag) return "(none)";
    EXPECT_EQ(t.tag, KT_EX_FAIL);
    EXPECT_EQ(t.app, "ktRegexp");
    EXPECT_EQ(t.severity, 0);
    return t.text;
}

TEST(RegexpMatch, AnchorsSetsBranchesAndRepetition) {
    struct Case {
        const char* expression;
        const char* text;
        const char* groups;
    };
    const Case cases[] = {
        // Anchors hold at the text's ends only; the end is a place to try.
        {"^ab", "x\nab", "no match"},
        {"a^b", "a^b", "no match"},
        {"ab$", "ab\n", "no match"},
        {"^()", "abc", "|"},
        {"(x*)$", "abc", "|"},
        // Sets: ranges, negation, a leading bracket or dash, no escapes.
        {"[a-cx]+", "-abxcd", "abxc"},
        {"[^0-9]+", "12ab3", "ab"},
        {"^[]a]+", "]a]b", "]a]"},
        {"^[a-]+", "a-ab", "a-a"},
        {"^[\\n]+$", "\\n", "\\n"},
        {"a[^b]", "a", "no match"},
        {"abc", "ABC", "no match"},
        {"a\\.c", "abc", "no match"},
        // The leftmost branch that leads to a match wins.
        {"(a|ab)(c|bcd)", "abcd", "abcd|a|bcd"},
        {"^(x|xy|xyz)$", "xyz", "xyz|xyz"},
        {"^(cat|dog|)s$", "s", "s|"},
        // Greedy, but gives back for the rest; a repeated group keeps its last.
        {"^(a*)(a)b$", "aaab", "aaab|aa|a"},
        {"^(.*)x(.*)$", "axbxc", "axbxc|axb|c"},
        {"^(a|bc)*d$", "abcabcd", "abcabcd|bc"},
        {"^((a)|b)*$", "ab", "ab|b|a"},
        {"^(ab)?c$", "ababc", "no match"},
        {"^(a*)?b$", "b", "b|"},
        // An operator takes the last character of a literal.
        {"^abc*$", "abcabc", "no match"},
        {"^ab?c$", "ac", "ac"},
        // The shortcuts of a program (first character, a must-have text,
        // an anchor of one branch) hide no match.
        {"xy[0-9]", "xxy5", "xy5"},
        {"[0-9]*define[ ]+(x)", "12define  x", "12define  x|x"},
        {"^a|b", "cb", "b"},
        {"(a)(b)(c)(d)(e)(f)(g)(h)(i)", "abcdefghi", "abcdefghi|a|b|c|d|e|f|g|h|i"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(groups(c.expression, c.text), c.groups) << c.expression << " on " << c.text;
}

TEST(RegexpGroups, PositionsAndCopies) {
    ktRegexp* prog = ktRegexpCompile("([a-z]+)=([0-9]*)|(b)(x*)");
    ktRegexpMatch m;
    const char* text = "  key=;";
    ASSERT_EQ(ktRegexpExec(prog, &m, text), 1);
    EXPECT_EQ(m.startp[0], text + 2);
    EXPECT_EQ(m.endp[1], text + 5);
    EXPECT_EQ(m.startp[2], text + 6);
    EXPECT_EQ(m.startp[3], nullptr);
    char out[8] = "junk";
    EXPECT_EQ(ktRegexpGetMatch(&m, 3, out, sizeof out), 0);  // took no part
    EXPECT_STREQ(out, "");
    EXPECT_EQ(ktRegexpGetMatch(&m, 2, out, sizeof out), 0);  // matched empty
    EXPECT_EQ(ktRegexpGetMatch(&m, 1, out, 4), 1);
    EXPECT_STREQ(out, "key");
    EXPECT_EQ(ktRegexpGetMatch(&m, 1, out, 3), -1);  // cut to the buffer
    EXPECT_STREQ(out, "ke");
    EXPECT_EQ(ktRegexpGetMatch(&m, 10, out, sizeof out), 0);
    // A failed match leaves nothing of an earlier one.
    ASSERT_EQ(ktRegexpExec(prog, &m, "!"), 0);
    for (int i = 0; i < KT_REGEXP_NSUB; ++i) EXPECT_TRUE(!m.startp[i] && !m.endp[i]) << i;
    ktRegexpDestroy(prog);
}

TEST(RegexpLimits, LongTextsAndTheDepthLimit) {
    std::string text(100000, 'a');
    EXPECT_EQ(groups("^a*b", text.c_str()), "no match");
    std::string pairs;
    for (int i = 0; i < 1000; ++i) pairs += "ab";
    EXPECT_EQ(groups("^(ab)*$", pairs.c_str()), pairs + "|ab");
    for (int i = 0; i < 20000; ++i) pairs += "ab";
    EXPECT_EQ(thrownText([&] { groups("^(ab)*$", pairs.c_str()); }), "recursion too deep for text");
}

TEST(RegexpErrors, EveryWordTheCompilerUses) {
    struct Case {
        const char* expression;
        const char* error;
    };
    const Case cases[] = {
        {"(a)(b)(c)(d)(e)(f)(g)(h)(i)(j)", "too many ()"},
        {"((a)", "unmatched ()"},
        {"ab)", "unmatched ()"},
        {"(a*)*", "*+ operand could be empty"},
        {"^*", "*+ operand could be empty"},
        {"a**", "nested *?+"},
        {"a?+", "nested *?+"},
        {"[z-a]", "invalid [] range"},
        {"[abc", "unmatched []"},
        {"[]", "unmatched []"},
        {"*a", "?+* follows nothing"},
        {"a|?", "?+* follows nothing"},
        {"ab\\", "trailing \\"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(thrownText([&] { ktRegexpDestroy(ktRegexpCompile(c.expression)); }), c.error)
            << c.expression;
    EXPECT_EQ(thrownText([] { ktRegexpCompile(nullptr); }), "NULL argument");
    // A literal of n characters takes n + 10 bytes with its branch and end.
    for (size_t n : {32756, 32757})
        EXPECT_EQ(
            thrownText([&] { ktRegexpDestroy(ktRegexpCompile(std::string(n, 'a').c_str())); }),
            n == 32756 ? "(none)" : "regexp too big");
    EXPECT_EQ(thrownText([] { ktRegexpExec(nullptr, nullptr, "a"); }), "NULL parameter");
    ktRegexp* damaged = ktRegexpCompile("a*");
    damaged->magic = 0;
    EXPECT_EQ(thrownText([&] { groups(damaged, "a"); }), "corrupted program");
    ktRegexpDestroy(damaged);
}

// The patterns the library itself lives on.
TEST(RegexpLibraryPatterns, VersionNumbersAndFormatDirectives) {
    const char* version = "^([0-9]+)\\.([0-9]+)\\.([0-9]+)$";
    EXPECT_EQ(groups(version, "5.3.12"), "5.3.12|5|3|12");
    for (const char* bad : {"5.3", "5.3.1.0", "5x3.1", " 5.3.1", "5..1"})
        EXPECT_EQ(groups(version, bad), "no match") << bad;

    const char* directive =
        "^%(([1-9][0-9]?)\\$)?([-+ #0]*)?([0-9]*|\\*|\\*[1-9][0-9]?\\$)?"
        "(\\.([0-9]*|\\*|\\*[1-9][0-9]?\\$))?([hlL]?[diouxX]|[hl]n|l?[eEfgG]|[csp])";
    EXPECT_EQ(groups(directive, "%12$-08.3ldrest"), "%12$-08.3ld|12$|12|-0|8|.3|3|ld");
    // `*` alone fails the conversion, so `*` with a position is tried next.
    EXPECT_EQ(groups(directive, "%*2$.*3$Lx"), "%*2$.*3$Lx|-|-||*2$|.*3$|*3$|Lx");
    EXPECT_EQ(groups(directive, "%*.*f"), "%*.*f|-|-||*|.*|*|f");
    EXPECT_EQ(groups(directive, "%.s"), "%.s|-|-|||.||s");
    for (const char* bad : {"%0$d", "%100$d", "%n", "%Ln", "%Lf", "%ls", "%q", "%5", "x%d"})
        EXPECT_EQ(groups(directive, bad), "no match") << bad;
}

}  // namespace
