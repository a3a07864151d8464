#include "ktregexp.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "kterr.h"
#include "ktex.h"

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

// The text of the error `body` threw with tag 2, or "(none)".
template <typename Body>
std::string thrownText(Body body) {
    std::string text = "(none)";
    ktExCatch(
        KT_EX_FAIL, [&] { body(); },
        [&](uint32_t, ktErrObject* err) {
            EXPECT_STREQ(err->app, "ktRegexp");
            EXPECT_EQ(err->severity, 0);
            text = err->text;
            ktExSwallow();
        });
    return text;
}

std::string compileError(const char* expression) {
    return thrownText([&] { ktRegexpDestroy(ktRegexpCompile(expression)); });
}

TEST(RegexpAnchors, TextStartAndEndOnly) {
    EXPECT_EQ(groups("^ab", "abc"), "ab");
    EXPECT_EQ(groups("^ab", "cab"), "no match");
    EXPECT_EQ(groups("^ab", "x\nab"), "no match");  // no line starts
    EXPECT_EQ(groups("a^b", "a^b"), "no match");
    EXPECT_EQ(groups("a\\^b", "a^b"), "a^b");
    EXPECT_EQ(groups("ab$", "cab"), "ab");
    EXPECT_EQ(groups("ab$", "ab\n"), "no match");
    EXPECT_EQ(groups("^$", ""), "");
    EXPECT_EQ(groups("^()", "abc"), "|");  // the empty expression matches anywhere
    // The end of the text is a place to try: an empty match may lie there.
    EXPECT_EQ(groups("(x*)$", "abc"), "|");
}

TEST(RegexpSets, RangesNegationAndLiteralBracketAndDash) {
    EXPECT_EQ(groups("[a-cx]+", "-abxcd"), "abxc");
    EXPECT_EQ(groups("[^0-9]+", "12ab3"), "ab");
    EXPECT_EQ(groups("^[]a]+", "]a]b"), "]a]");
    EXPECT_EQ(groups("^[-a]+", "-a-b"), "-a-");
    EXPECT_EQ(groups("^[a-]+", "a-ab"), "a-a");
    EXPECT_EQ(groups("^[^]]", "]"), "no match");
    EXPECT_EQ(groups("^[a-a]$", "a"), "a");
    EXPECT_EQ(groups("^[\\n]+$", "\\n"), "\\n");  // no escapes inside a set
    EXPECT_EQ(groups("a[^b]", "a"), "no match");  // a set never takes the end
    EXPECT_EQ(groups("abc", "ABC"), "no match");
    EXPECT_EQ(groups("^a.c", "a\nc"), "a\nc");
    EXPECT_EQ(groups("a\\.c", "abc"), "no match");
}

TEST(RegexpAlternation, LeftmostBranchThatLeadsToAMatchWins) {
    EXPECT_EQ(groups("(a|ab)(c|bcd)", "abcd"), "abcd|a|bcd");
    EXPECT_EQ(groups("^(x|xy|xyz)$", "xyz"), "xyz|xyz");
    EXPECT_EQ(groups("^(cat|dog|)s$", "s"), "s|");
    EXPECT_EQ(groups("^(cat|dog)$", "cow"), "no match");
}

TEST(RegexpGroups, PositionsUnsetAndEmptyGroups) {
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
    EXPECT_EQ(ktRegexpGetMatch(&m, 1, out, sizeof out), 1);
    EXPECT_STREQ(out, "key");
    EXPECT_EQ(ktRegexpGetMatch(&m, 10, out, sizeof out), 0);
    EXPECT_EQ(groups(prog, "b"), "b|-|-|b|");
    ktRegexpDestroy(prog);
}

TEST(RegexpGroups, RepeatedGroupKeepsItsLastIteration) {
    EXPECT_EQ(groups("^(a|b)+$", "aab"), "aab|b");
    EXPECT_EQ(groups("^([0-9])*x", "123x"), "123x|3");
    EXPECT_EQ(groups("^((a)|b)*$", "ab"), "ab|b|a");
}

TEST(RegexpGroups, NineGroupsAndNothingLeftByAFailure) {
    EXPECT_EQ(groups("(a)(b)(c)(d)(e)(f)(g)(h)(i)", "abcdefghi"), "abcdefghi|a|b|c|d|e|f|g|h|i");
    ktRegexp* prog = ktRegexpCompile("(a)(b)c");
    ktRegexpMatch m;
    ASSERT_EQ(ktRegexpExec(prog, &m, "abc"), 1);
    ASSERT_EQ(ktRegexpExec(prog, &m, "abd"), 0);
    for (int i = 0; i < KT_REGEXP_NSUB; ++i) EXPECT_TRUE(!m.startp[i] && !m.endp[i]) << i;
    ktRegexpDestroy(prog);
}

TEST(RegexpGroups, OneProgramServesSeveralMatchRecords) {
    ktRegexp* prog = ktRegexpCompile("([0-9]+)");
    ktRegexpMatch first, second;
    const char* a = "ab12";
    const char* b = "345";
    ASSERT_EQ(ktRegexpExec(prog, &first, a), 1);
    ASSERT_EQ(ktRegexpExec(prog, &second, b), 1);
    EXPECT_EQ(first.startp[1], a + 2);
    EXPECT_EQ(second.startp[1], b);
    EXPECT_EQ(ktRegexpExec(prog, nullptr, "xy"), 0);
    ktRegexpDestroy(prog);
}

TEST(RegexpGetMatch, CutsToTheBufferAndSaysSo) {
    ktRegexp* prog = ktRegexpCompile("b.*");
    ktRegexpMatch m;
    ASSERT_EQ(ktRegexpExec(prog, &m, "abcdefg"), 1);
    char out[8];
    EXPECT_EQ(ktRegexpGetMatch(&m, 0, out, 4), -1);
    EXPECT_STREQ(out, "bcd");
    EXPECT_EQ(ktRegexpGetMatch(&m, 0, out, 6), -1);
    EXPECT_EQ(ktRegexpGetMatch(&m, 0, out, 7), 1);
    EXPECT_STREQ(out, "bcdefg");
    EXPECT_EQ(ktRegexpGetMatch(&m, 0, out, 1), -1);
    EXPECT_STREQ(out, "");
    ktRegexpDestroy(prog);
}

TEST(RegexpRepetition, GreedyButGivesBackForTheRest) {
    EXPECT_EQ(groups("^(a*)(a)b$", "aaab"), "aaab|aa|a");
    EXPECT_EQ(groups("^(.*)x(.*)$", "axbxc"), "axbxc|axb|c");
    EXPECT_EQ(groups("^([ab]+)(b+)$", "abbb"), "abbb|abb|b");
    EXPECT_EQ(groups("^(a|bc)*d$", "abcabcd"), "abcabcd|bc");
    EXPECT_EQ(groups("^(ab)?c$", "ababc"), "no match");
    EXPECT_EQ(groups("^(ab)+$", ""), "no match");
    EXPECT_EQ(groups("^(a*)?b$", "b"), "b|");  // `?` may take what can be empty
}

TEST(RegexpRepetition, OperatorAppliesToTheLastCharacterOfALiteral) {
    EXPECT_EQ(groups("^abc*$", "ab"), "ab");
    EXPECT_EQ(groups("^abc*$", "abcabc"), "no match");
    EXPECT_EQ(groups("^(abc)*$", "abcabc"), "abcabc|abc");
    EXPECT_EQ(groups("^ab?c$", "ac"), "ac");
    EXPECT_EQ(groups("^ab+c$", "ac"), "no match");
}

TEST(RegexpRepetition, LongTextsAndTheDepthLimit) {
    std::string text(100000, 'a');
    EXPECT_EQ(groups("^a*b", text.c_str()), "no match");
    std::string pairs;
    for (int i = 0; i < 1000; ++i) pairs += "ab";
    EXPECT_EQ(groups("^(ab)*$", pairs.c_str()), pairs + "|ab");
    for (int i = 0; i < 20000; ++i) pairs += "ab";
    EXPECT_EQ(thrownText([&] { groups("^(ab)*$", pairs.c_str()); }), "recursion too deep for text");
}

TEST(RegexpCompileErrors, EveryWordTheCompilerUses) {
    EXPECT_EQ(compileError(nullptr), "NULL argument");
    EXPECT_EQ(compileError("(a)(b)(c)(d)(e)(f)(g)(h)(i)(j)"), "too many ()");
    EXPECT_EQ(compileError("((a)"), "unmatched ()");
    EXPECT_EQ(compileError("ab)"), "unmatched ()");
    EXPECT_EQ(compileError("(a*)*"), "*+ operand could be empty");
    EXPECT_EQ(compileError("()+"), "*+ operand could be empty");
    EXPECT_EQ(compileError("^*"), "*+ operand could be empty");
    EXPECT_EQ(compileError("a**"), "nested *?+");
    EXPECT_EQ(compileError("a?+"), "nested *?+");
    EXPECT_EQ(compileError("[z-a]"), "invalid [] range");
    EXPECT_EQ(compileError("[abc"), "unmatched []");
    EXPECT_EQ(compileError("[]"), "unmatched []");
    EXPECT_EQ(compileError("*a"), "?+* follows nothing");
    EXPECT_EQ(compileError("a|?"), "?+* follows nothing");
    EXPECT_EQ(compileError("(+)"), "?+* follows nothing");
    EXPECT_EQ(compileError("ab\\"), "trailing \\");
    // A literal of n characters takes n + 10 bytes with its branch and end.
    EXPECT_EQ(compileError(std::string(32757, 'a').c_str()), "regexp too big");
    EXPECT_EQ(compileError(std::string(32756, 'a').c_str()), "(none)");
}

TEST(RegexpExecErrors, NullsAndDamagedPrograms) {
    EXPECT_EQ(thrownText([] { ktRegexpExec(nullptr, nullptr, "a"); }), "NULL parameter");
    ktRegexp* star = ktRegexpCompile("a*");
    EXPECT_EQ(thrownText([&] { ktRegexpExec(star, nullptr, nullptr); }), "NULL parameter");
    star->magic = 0;
    EXPECT_EQ(thrownText([&] { groups(star, "a"); }), "corrupted program");
    star->magic = KT_REGEXP_MAGIC;
    // Nodes of "a*": branch at 0, star at 3 with its operand at 6, end.
    ASSERT_EQ(star->nodes[3], 10);
    star->nodes[6] = 9;
    EXPECT_EQ(thrownText([&] { groups(star, "a"); }), "corrupted pointers");
    star->nodes[3] = 99;
    EXPECT_EQ(thrownText([&] { groups(star, "a"); }), "internal foulup");
    ktRegexpDestroy(star);

    // Nodes of "ab": branch at 0, literal at 3; cut the literal's link.
    ktRegexp* cut = ktRegexpCompile("ab");
    ASSERT_EQ(cut->nodes[3], 8);
    cut->nodes[4] = cut->nodes[5] = 0;
    EXPECT_EQ(thrownText([&] { groups(cut, "ab"); }), "memory corruption");
    ktRegexpDestroy(cut);
}

TEST(RegexpPrograms, ShortcutsAreSetAndHideNoMatch) {
    ktRegexp* lit = ktRegexpCompile("xy[0-9]");
    EXPECT_EQ(lit->start, 'x');
    EXPECT_EQ(groups(lit, "xxy5"), "xy5");
    ktRegexp* must = ktRegexpCompile("[0-9]*define[ ]+(x)");
    EXPECT_STREQ(must->must, "define");
    EXPECT_EQ(must->mustlen, 6u);
    EXPECT_EQ(groups(must, "12define  x"), "12define  x|x");
    ktRegexp* anchored = ktRegexpCompile("^a|b");
    EXPECT_EQ(anchored->anchored, 0);  // only one of two branches is anchored
    EXPECT_EQ(groups(anchored, "cb"), "b");
    for (ktRegexp* p : {lit, must, anchored}) ktRegexpDestroy(p);
}

// The patterns the library itself lives on.
TEST(RegexpLibraryPatterns, VersionNumbers) {
    const char* version = "^([0-9]+)\\.([0-9]+)\\.([0-9]+)$";
    EXPECT_EQ(groups(version, "5.3.12"), "5.3.12|5|3|12");
    for (const char* bad : {"5.3", "5.3.1.0", "5x3.1", " 5.3.1", "5..1"})
        EXPECT_EQ(groups(version, bad), "no match") << bad;
}

TEST(RegexpLibraryPatterns, MessageSourceLines) {
    const char* line =
        "^#[ \t]*define[ \t]+[_a-zA-Z][_a-zA-Z0-9]*[ \t]+(-([12])|([0-9]+))[ \t]+/\\*[ \t]*\"";
    EXPECT_EQ(groups(line, "#define KTM_APPLICATION -1 /* \"ktlib\" */"),
              "#define KTM_APPLICATION -1 /* \"|-1|1");
    EXPECT_EQ(groups(line, "#\tdefine\t_M2\t1600\t/*\t\"[E] %s\" */"),
              "#\tdefine\t_M2\t1600\t/*\t\"|1600|-|1600");
    EXPECT_EQ(groups(line, "# define V 0 /*\"5.3.2\" */"), "# define V 0 /*\"|0|-|0");
    for (const char* bad :
         {"#define KTM_X -3 /* \"x\" */", "#define 9X 12 /* \"x\" */", " #define X 12 /* \"x\" */",
          "#define X 12 // \"x\"", "#define X 12 /* x */", "#defineX 12 /* \"x\" */"})
        EXPECT_EQ(groups(line, bad), "no match") << bad;
}

TEST(RegexpLibraryPatterns, FormatDirectives) {
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
