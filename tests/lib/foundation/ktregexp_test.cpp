#include "ktregexp.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "kterr.h"
#include "ktex.h"

namespace {

// A compiled expression with the record of its last match.
class Regexp {
public:
    explicit Regexp(const char* expression) : prog_(ktRegexpCompile(expression)) {}
    ~Regexp() { ktRegexpDestroy(prog_); }
    Regexp(const Regexp&) = delete;
    Regexp& operator=(const Regexp&) = delete;

    bool exec(const char* text) {
        text_ = text;
        return ktRegexpExec(prog_, &match_, text) == 1;
    }
    // The text of an entry, or "(unset)" when the entry has no start.
    std::string group(int i) const {
        if (!match_.startp[i]) return "(unset)";
        return std::string(match_.startp[i], match_.endp[i]);
    }
    long offset(int i) const { return match_.startp[i] - text_; }
    ktRegexp* prog() { return prog_; }
    const ktRegexpMatch& match() const { return match_; }

private:
    ktRegexp* prog_;
    ktRegexpMatch match_{};
    const char* text_ = nullptr;
};

bool matches(const char* expression, const char* text) {
    Regexp re(expression);
    return re.exec(text);
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

TEST(RegexpAnchors, CaretMeansTheTextsStartOnly) {
    EXPECT_TRUE(matches("^ab", "abc"));
    EXPECT_FALSE(matches("^ab", "cab"));
    // Not a line start: the text after a newline is no start.
    EXPECT_FALSE(matches("^ab", "x\nab"));
    EXPECT_FALSE(matches("a^b", "a^b"));
    EXPECT_TRUE(matches("a\\^b", "a^b"));
}

TEST(RegexpAnchors, DollarMeansTheTextsEnd) {
    EXPECT_TRUE(matches("ab$", "cab"));
    EXPECT_FALSE(matches("ab$", "abc"));
    EXPECT_FALSE(matches("ab$", "ab\n"));
    EXPECT_TRUE(matches("^$", ""));
    EXPECT_FALSE(matches("^$", "x"));
}

TEST(RegexpAnchors, EmptyExpressionMatchesEmptyTextAtTheStart) {
    Regexp re("");
    ASSERT_TRUE(re.exec("abc"));
    EXPECT_EQ(re.offset(0), 0);
    EXPECT_EQ(re.group(0), "");
    ASSERT_TRUE(re.exec(""));
}

TEST(RegexpAnchors, UnanchoredSearchTriesEveryPlaceUpToTheEnd) {
    Regexp re("x*$");
    ASSERT_TRUE(re.exec("abc"));
    EXPECT_EQ(re.offset(0), 3);
    Regexp first("b+");
    ASSERT_TRUE(first.exec("abbcbbb"));
    EXPECT_EQ(first.offset(0), 1);
    EXPECT_EQ(first.group(0), "bb");
}

TEST(RegexpSets, RangesNegationAndLiteralBracketAndDash) {
    EXPECT_TRUE(matches("^[a-cx]+$", "abcxcba"));
    EXPECT_FALSE(matches("^[a-cx]+$", "abd"));
    EXPECT_TRUE(matches("^[^0-9]+$", "abc"));
    EXPECT_FALSE(matches("^[^0-9]+$", "ab1"));
    EXPECT_TRUE(matches("^[]a]+$", "]a]"));
    EXPECT_TRUE(matches("^[-a]+$", "-a-"));
    EXPECT_TRUE(matches("^[a-]+$", "a-a"));
    EXPECT_TRUE(matches("^[^]]$", "x"));
    EXPECT_FALSE(matches("^[^]]$", "]"));
    EXPECT_TRUE(matches("^[a-a]$", "a"));
    // A backslash has no power inside a set.
    EXPECT_TRUE(matches("^[\\n]+$", "\\n"));
    // A negated set never takes the end of the text.
    EXPECT_FALSE(matches("a[^b]", "a"));
}

TEST(RegexpSets, CaseCountsAndDotTakesAnyCharacter) {
    EXPECT_FALSE(matches("abc", "ABC"));
    EXPECT_TRUE(matches("^a.c$", "a\nc"));
    EXPECT_FALSE(matches("^a.c$", "ac"));
    EXPECT_TRUE(matches("^a\\.c$", "a.c"));
    EXPECT_FALSE(matches("^a\\.c$", "abc"));
}

TEST(RegexpAlternation, LeftmostBranchThatLeadsToAMatchWins) {
    Regexp re("(a|ab)(c|bcd)");
    ASSERT_TRUE(re.exec("abcd"));
    EXPECT_EQ(re.group(1), "a");
    EXPECT_EQ(re.group(2), "bcd");

    Regexp late("^(x|xy|xyz)$");
    ASSERT_TRUE(late.exec("xyz"));
    EXPECT_EQ(late.group(1), "xyz");
    EXPECT_TRUE(matches("^(cat|dog|)s$", "s"));
    EXPECT_FALSE(matches("^(cat|dog)$", "cow"));
}

TEST(RegexpGroups, PositionsOfTheWholeMatchAndEachGroup) {
    Regexp re("([a-z]+)=([0-9]*)");
    ASSERT_TRUE(re.exec("  key=42;"));
    EXPECT_EQ(re.offset(0), 2);
    EXPECT_EQ(re.group(0), "key=42");
    EXPECT_EQ(re.offset(1), 2);
    EXPECT_EQ(re.group(1), "key");
    EXPECT_EQ(re.offset(2), 6);
    EXPECT_EQ(re.group(2), "42");
    EXPECT_EQ(re.match().startp[3], nullptr);
}

TEST(RegexpGroups, GroupOutsideTheMatchIsUnsetAndEmptyGroupGivesNothing) {
    Regexp re("^(a)|(b)(x*)$");
    ASSERT_TRUE(re.exec("b"));
    EXPECT_EQ(re.group(1), "(unset)");
    EXPECT_EQ(re.match().endp[1], nullptr);
    EXPECT_EQ(re.group(2), "b");
    EXPECT_EQ(re.group(3), "");

    char out[8] = "junk";
    EXPECT_EQ(ktRegexpGetMatch(&re.match(), 1, out, sizeof out), 0);
    EXPECT_STREQ(out, "");
    std::strcpy(out, "junk");
    EXPECT_EQ(ktRegexpGetMatch(&re.match(), 3, out, sizeof out), 0);
    EXPECT_STREQ(out, "");
    EXPECT_EQ(ktRegexpGetMatch(&re.match(), 2, out, sizeof out), 1);
    EXPECT_STREQ(out, "b");
    EXPECT_EQ(ktRegexpGetMatch(&re.match(), 10, out, sizeof out), 0);
    EXPECT_EQ(ktRegexpGetMatch(&re.match(), -1, out, sizeof out), 0);
}

TEST(RegexpGroups, RepeatedGroupKeepsItsLastIteration) {
    Regexp re("^(a|b)+$");
    ASSERT_TRUE(re.exec("aab"));
    EXPECT_EQ(re.group(1), "b");
    Regexp digits("^([0-9])*x");
    ASSERT_TRUE(digits.exec("123x"));
    EXPECT_EQ(digits.group(1), "3");
}

TEST(RegexpGroups, NineGroupsWorkAndAFailedTryLeavesNothingBehind) {
    Regexp re("(a)(b)(c)(d)(e)(f)(g)(h)(i)");
    ASSERT_TRUE(re.exec("abcdefghi"));
    for (int i = 1; i <= 9; ++i)
        EXPECT_EQ(re.group(i), std::string(1, static_cast<char>('a' + i - 1)));

    Regexp part("(a)(b)c");
    ASSERT_TRUE(part.exec("abc"));
    ASSERT_FALSE(part.exec("abd"));
    for (int i = 0; i < KT_REGEXP_NSUB; ++i) {
        EXPECT_EQ(part.match().startp[i], nullptr) << i;
        EXPECT_EQ(part.match().endp[i], nullptr) << i;
    }
}

TEST(RegexpGroups, OneProgramServesSeveralMatchRecords) {
    Regexp re("([0-9]+)");
    ktRegexpMatch first{}, second{};
    const char* a = "ab12";
    const char* b = "345";
    ASSERT_EQ(ktRegexpExec(re.prog(), &first, a), 1);
    ASSERT_EQ(ktRegexpExec(re.prog(), &second, b), 1);
    EXPECT_EQ(first.startp[1], a + 2);
    EXPECT_EQ(second.startp[1], b);
    EXPECT_EQ(ktRegexpExec(re.prog(), nullptr, "x9"), 1);
    EXPECT_EQ(ktRegexpExec(re.prog(), nullptr, "xy"), 0);
}

TEST(RegexpGetMatch, CutsToTheBufferAndSaysSo) {
    Regexp re("b.*");
    ASSERT_TRUE(re.exec("abcdefg"));
    char out[8];
    EXPECT_EQ(ktRegexpGetMatch(&re.match(), 0, out, 4), -1);
    EXPECT_STREQ(out, "bcd");
    EXPECT_EQ(ktRegexpGetMatch(&re.match(), 0, out, 6), -1);
    EXPECT_STREQ(out, "bcdef");
    EXPECT_EQ(ktRegexpGetMatch(&re.match(), 0, out, 7), 1);
    EXPECT_STREQ(out, "bcdefg");
    EXPECT_EQ(ktRegexpGetMatch(&re.match(), 0, out, 8), 1);
    EXPECT_EQ(ktRegexpGetMatch(&re.match(), 0, out, 1), -1);
    EXPECT_STREQ(out, "");
}

TEST(RegexpRepetition, GreedyButGivesBackForTheRest) {
    Regexp re("^(a*)(a)b$");
    ASSERT_TRUE(re.exec("aaab"));
    EXPECT_EQ(re.group(1), "aa");
    Regexp dots("^(.*)x(.*)$");
    ASSERT_TRUE(dots.exec("axbxc"));
    EXPECT_EQ(dots.group(1), "axb");
    EXPECT_EQ(dots.group(2), "c");
    Regexp plus("^([ab]+)(b+)$");
    ASSERT_TRUE(plus.exec("abbb"));
    EXPECT_EQ(plus.group(1), "abb");
    EXPECT_EQ(plus.group(2), "b");
}

TEST(RegexpRepetition, OperatorAppliesToTheLastCharacterOfALiteral) {
    EXPECT_TRUE(matches("^abc*$", "ab"));
    EXPECT_TRUE(matches("^abc*$", "abccc"));
    EXPECT_FALSE(matches("^abc*$", "abcabc"));
    EXPECT_TRUE(matches("^(abc)*$", "abcabc"));
    EXPECT_TRUE(matches("^ab?c$", "ac"));
    EXPECT_FALSE(matches("^ab+c$", "ac"));
}

TEST(RegexpRepetition, OptionalAndRepeatedGroups) {
    EXPECT_TRUE(matches("^(ab)?c$", "c"));
    EXPECT_TRUE(matches("^(ab)?c$", "abc"));
    EXPECT_FALSE(matches("^(ab)?c$", "ababc"));
    EXPECT_TRUE(matches("^(ab)+$", "ababab"));
    EXPECT_FALSE(matches("^(ab)+$", ""));
    EXPECT_TRUE(matches("^(a|bc)*d$", "abcabcd"));
    // An operand that may be empty is fine for `?`.
    EXPECT_TRUE(matches("^(a*)?b$", "b"));
}

TEST(RegexpRepetition, LongTextsUnderSimpleAndGroupedRepetition) {
    std::string text(100000, 'a');
    EXPECT_TRUE(matches("^a*$", text.c_str()));
    EXPECT_FALSE(matches("^a*b", text.c_str()));
    std::string pairs;
    for (int i = 0; i < 1000; ++i) pairs += "ab";
    EXPECT_TRUE(matches("^(ab)*$", pairs.c_str()));
}

TEST(RegexpRepetition, TooDeepABacktrackIsRefusedNotACrash) {
    std::string pairs;
    for (int i = 0; i < 50000; ++i) pairs += "ab";
    EXPECT_EQ(thrownText([&] { matches("^(ab)*$", pairs.c_str()); }),
              "recursion too deep for text");
}

TEST(RegexpCompileErrors, EveryWordTheCompilerUses) {
    EXPECT_EQ(compileError(nullptr), "NULL argument");
    EXPECT_EQ(compileError("(a)(b)(c)(d)(e)(f)(g)(h)(i)(j)"), "too many ()");
    EXPECT_EQ(compileError("(ab"), "unmatched ()");
    EXPECT_EQ(compileError("ab)"), "unmatched ()");
    EXPECT_EQ(compileError("((a)"), "unmatched ()");
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
}

TEST(RegexpCompileErrors, ProgramSizeLimit) {
    // Each literal run of n characters costs a node head, n bytes and a
    // terminator; the whole program must stay under 32767 bytes.
    std::string big(32760, 'a');
    EXPECT_EQ(compileError(big.c_str()), "regexp too big");
    std::string fits(32000, 'a');
    EXPECT_EQ(compileError(fits.c_str()), "(none)");
    std::string many;
    for (int i = 0; i < 11000; ++i) many += ".";
    EXPECT_EQ(compileError(many.c_str()), "regexp too big");
}

TEST(RegexpExecErrors, NullsAndDamagedPrograms) {
    EXPECT_EQ(thrownText([] { ktRegexpExec(nullptr, nullptr, "a"); }), "NULL parameter");
    Regexp re("a*");
    EXPECT_EQ(thrownText([&] { ktRegexpExec(re.prog(), nullptr, nullptr); }), "NULL parameter");

    re.prog()->magic = 0;
    EXPECT_EQ(thrownText([&] { re.exec("a"); }), "corrupted program");
    re.prog()->magic = KT_REGEXP_MAGIC;
    ASSERT_TRUE(re.exec("aa"));

    // Nodes of "a*": branch at 0, star at 3 with its operand at 6, end.
    ASSERT_EQ(re.prog()->nodes[3], 10);
    re.prog()->nodes[6] = 9;
    EXPECT_EQ(thrownText([&] { re.exec("a"); }), "corrupted pointers");
    re.prog()->nodes[3] = 99;
    EXPECT_EQ(thrownText([&] { re.exec("a"); }), "internal foulup");

    // Nodes of "ab": branch at 0, literal at 3; cut the literal's link.
    Regexp cut("ab");
    ASSERT_EQ(cut.prog()->nodes[3], 8);
    cut.prog()->nodes[4] = cut.prog()->nodes[5] = 0;
    EXPECT_EQ(thrownText([&] { cut.exec("ab"); }), "memory corruption");
}

TEST(RegexpPrograms, StartCharacterAnchorAndMustText) {
    Regexp lit("xy[0-9]");
    EXPECT_EQ(lit.prog()->start, 'x');
    EXPECT_EQ(lit.prog()->anchored, 0);
    Regexp anchored("^ab");
    EXPECT_NE(anchored.prog()->anchored, 0);
    Regexp must("[0-9]*define[ ]+(x)");
    ASSERT_NE(must.prog()->must, nullptr);
    EXPECT_STREQ(must.prog()->must, "define");
    EXPECT_EQ(must.prog()->mustlen, 6u);
    Regexp alternatives("ab|cd");
    EXPECT_EQ(alternatives.prog()->start, 0);
    EXPECT_EQ(alternatives.prog()->must, nullptr);
    // The shortcuts must not hide a match.
    EXPECT_TRUE(must.exec("12define  x"));
    EXPECT_TRUE(lit.exec("xxy5"));
    EXPECT_TRUE(alternatives.exec("xcd"));
}

// The patterns the library itself lives on.
TEST(RegexpLibraryPatterns, VersionNumbers) {
    Regexp re("^([0-9]+)\\.([0-9]+)\\.([0-9]+)$");
    ASSERT_TRUE(re.exec("5.3.12"));
    EXPECT_EQ(re.group(1), "5");
    EXPECT_EQ(re.group(2), "3");
    EXPECT_EQ(re.group(3), "12");
    EXPECT_FALSE(re.exec("5.3"));
    EXPECT_FALSE(re.exec("5.3.1.0"));
    EXPECT_FALSE(re.exec("5x3.1"));
    EXPECT_FALSE(re.exec(" 5.3.1"));
    EXPECT_FALSE(re.exec("5..1"));
}

TEST(RegexpLibraryPatterns, MessageSourceLines) {
    Regexp re(
        "^#[ \t]*define[ \t]+[_a-zA-Z][_a-zA-Z0-9]*[ \t]+(-([12])|([0-9]+))[ \t]+/\\*[ \t]*\"");
    ASSERT_TRUE(re.exec("#define KTM_APPLICATION -1 /* \"ktlib\" */"));
    EXPECT_EQ(re.group(1), "-1");
    EXPECT_EQ(re.group(2), "1");
    EXPECT_EQ(re.group(3), "(unset)");
    ASSERT_TRUE(re.exec("#\tdefine\t_M2\t1600\t/*\t\"[E] text %s\" */"));
    EXPECT_EQ(re.group(2), "(unset)");
    EXPECT_EQ(re.group(3), "1600");
    ASSERT_TRUE(re.exec("# define V 0 /*\"5.3.2\" */"));
    EXPECT_EQ(re.group(3), "0");

    EXPECT_FALSE(re.exec("#define KTM_X -3 /* \"x\" */"));
    EXPECT_FALSE(re.exec("#define 9X 12 /* \"x\" */"));
    EXPECT_FALSE(re.exec(" #define X 12 /* \"x\" */"));
    EXPECT_FALSE(re.exec("#define X 12 // \"x\""));
    EXPECT_FALSE(re.exec("#define X 12 /* x */"));
    EXPECT_FALSE(re.exec("#defineX 12 /* \"x\" */"));
}

TEST(RegexpLibraryPatterns, FormatDirectives) {
    Regexp re(
        "^%(([1-9][0-9]?)\\$)?([-+ #0]*)?([0-9]*|\\*|\\*[1-9][0-9]?\\$)?"
        "(\\.([0-9]*|\\*|\\*[1-9][0-9]?\\$))?([hlL]?[diouxX]|[hl]n|l?[eEfgG]|[csp])");
    ASSERT_TRUE(re.exec("%12$-08.3ldrest"));
    EXPECT_EQ(re.group(0), "%12$-08.3ld");
    EXPECT_EQ(re.group(2), "12");
    EXPECT_EQ(re.group(3), "-0");
    EXPECT_EQ(re.group(4), "8");
    EXPECT_EQ(re.group(6), "3");
    EXPECT_EQ(re.group(7), "ld");

    // `*` alone, then `*` with a position: the alternatives are tried in turn.
    ASSERT_TRUE(re.exec("%*2$.*3$Lx"));
    EXPECT_EQ(re.group(4), "*2$");
    EXPECT_EQ(re.group(6), "*3$");
    EXPECT_EQ(re.group(7), "Lx");
    ASSERT_TRUE(re.exec("%*.*f"));
    EXPECT_EQ(re.group(4), "*");
    EXPECT_EQ(re.group(6), "*");
    ASSERT_TRUE(re.exec("%.s"));
    EXPECT_EQ(re.group(5), ".");
    EXPECT_EQ(re.group(6), "");
    ASSERT_TRUE(re.exec("%hn"));
    EXPECT_EQ(re.group(1), "(unset)");

    EXPECT_FALSE(re.exec("%0$d"));
    EXPECT_FALSE(re.exec("%100$d"));
    EXPECT_FALSE(re.exec("%Ln"));
    EXPECT_FALSE(re.exec("%Lf"));
    EXPECT_FALSE(re.exec("%ls"));
    EXPECT_FALSE(re.exec("%q"));
    EXPECT_FALSE(re.exec("%5"));
    EXPECT_FALSE(re.exec("x%d"));
}

}  // namespace
