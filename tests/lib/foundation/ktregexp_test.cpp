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

// Anchors hold at the ends of the text only, and the end is a place to
// try; a set takes a leading `]` or `-` as itself and has no escapes; the
// leftmost branch that leads to a match wins; repetition is greedy but gives
// back, a repeated group keeps its last iteration, and an operator takes the
// last character of a literal; a program's shortcuts (its first character,
// a text it must hold, an anchor of one branch) hide no match.
TEST(RegexpMatch, AnchorsSetsBranchesAndRepetition) {
    EXPECT_EQ(groups("^ab", "x\nab"), "no match");
    EXPECT_EQ(groups("ab$", "ab\n"), "no match");
    EXPECT_EQ(groups("(x*)$", "abc"), "|");
    EXPECT_EQ(groups("[a-cx]+", "-abxcd"), "abxc");
    EXPECT_EQ(groups("[^0-9]+", "12ab3"), "ab");
    EXPECT_EQ(groups("^[]a]+", "]a]b"), "]a]");
    EXPECT_EQ(groups("^[a-]+", "a-ab"), "a-a");
    EXPECT_EQ(groups("^[\\n]+$", "\\n"), "\\n");
    EXPECT_EQ(groups("a[^b]", "a"), "no match");
    EXPECT_EQ(groups("(a|ab)(c|bcd)", "abcd"), "abcd|a|bcd");
    EXPECT_EQ(groups("^(cat|dog|)s$", "s"), "s|");
    EXPECT_EQ(groups("^(a*)(a)b$", "aaab"), "aaab|aa|a");
    EXPECT_EQ(groups("^(a|bc)*d$", "abcabcd"), "abcabcd|bc");
    EXPECT_EQ(groups("^((a)|b)*$", "ab"), "ab|b|a");
    EXPECT_EQ(groups("^(a*)?b$", "b"), "b|");
    EXPECT_EQ(groups("^abc*$", "abcabc"), "no match");
    EXPECT_EQ(groups("xy[0-9]", "xxy5"), "xy5");
    EXPECT_EQ(groups("[0-9]*define[ ]+(x)", "12define  x"), "12define  x|x");
    EXPECT_EQ(groups("^a|b", "cb"), "b");
    EXPECT_EQ(groups("(a)(b)(c)(d)(e)(f)(g)(h)(i)", "abcdefghi"), "abcdefghi|a|b|c|d|e|f|g|h|i");
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

TEST(RegexpLimits, LongTextsTheDepthLimitAndTheStepLimit) {
    std::string text(100000, 'a');
    EXPECT_EQ(groups("^a*b", text.c_str()), "no match");
    std::string pairs;
    for (int i = 0; i < 1000; ++i) pairs += "ab";
    EXPECT_EQ(groups("^(ab)*$", pairs.c_str()), pairs + "|ab");
    for (int i = 0; i < 20000; ++i) pairs += "ab";
    EXPECT_EQ(thrownText([&] { groups("^(ab)*$", pairs.c_str()); }), "recursion too deep for text");

    // Each of the 2^n ways to split a run of n `a` among the iterations is
    // tried before the match fails: refused long before that, and the
    // program stays fit for a text it can finish.
    std::unique_ptr<ktRegexp, void (*)(ktRegexp*)> nested{ktRegexpCompile("^(a+)+[bc]"),
                                                          ktRegexpDestroy};
    std::string run(40, 'a');
    EXPECT_EQ(thrownText([&] { groups(nested.get(), run.c_str()); }), "too many steps for text");
    EXPECT_EQ(groups(nested.get(), (run + "c").c_str()), run + "c|" + run);
    EXPECT_EQ(groups(nested.get(), "aaaaaaaaaaaa"), "no match");
    // A search tried at every place of a long text, each try running on.
    EXPECT_EQ(groups("x+[yz]", std::string(500, 'x').c_str()), "no match");
    EXPECT_EQ(thrownText([&] { groups("x+[yz]", std::string(4000, 'x').c_str()); }),
              "too many steps for text");
}

std::string compileError(const std::string& expression) {
    return thrownText([&] { ktRegexpDestroy(ktRegexpCompile(expression.c_str())); });
}

TEST(RegexpErrors, EveryWordTheCompilerUses) {
    EXPECT_EQ(compileError("(a)(b)(c)(d)(e)(f)(g)(h)(i)(j)"), "too many ()");
    EXPECT_EQ(compileError("((a)"), "unmatched ()");
    EXPECT_EQ(compileError("ab)"), "unmatched ()");
    EXPECT_EQ(compileError("(a*)*"), "*+ operand could be empty");
    EXPECT_EQ(compileError("^*"), "*+ operand could be empty");
    EXPECT_EQ(compileError("a**"), "nested *?+");
    EXPECT_EQ(compileError("a?+"), "nested *?+");
    EXPECT_EQ(compileError("[z-a]"), "invalid [] range");
    EXPECT_EQ(compileError("[abc"), "unmatched []");
    EXPECT_EQ(compileError("[]"), "unmatched []");
    EXPECT_EQ(compileError("*a"), "?+* follows nothing");
    EXPECT_EQ(compileError("a|?"), "?+* follows nothing");
    EXPECT_EQ(compileError("ab\\"), "trailing \\");
    // A literal of n characters takes n + 10 bytes with its branch and end.
    EXPECT_EQ(compileError(std::string(32756, 'a')), "(none)");
    EXPECT_EQ(compileError(std::string(32757, 'a')), "regexp too big");
    EXPECT_EQ(thrownText([] { ktRegexpCompile(nullptr); }), "NULL argument");
    EXPECT_EQ(thrownText([] { ktRegexpExec(nullptr, nullptr, "a"); }), "NULL parameter");
}

}  // namespace
