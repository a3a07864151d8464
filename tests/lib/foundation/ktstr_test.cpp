#include "ktstr.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <string>

namespace {

TEST(StringPool, CopiesOfAnyLengthAndTheSharedEmptyText) {
    for (size_t n : {1, 3, 61, 62, 1000}) {
        std::string text(n, 'n');
        char* s = ktStrCpy(text.c_str());
        EXPECT_EQ(s, text);
        ktStrFree(s);
    }
    // Empty texts share one constant string, which a release leaves alone.
    char* a = ktStrCpy("");
    ktStrFree(a);
    EXPECT_STREQ(a, "");
    EXPECT_EQ(ktStrCpy(nullptr), nullptr);
}

TEST(StringCompare, NullsAndCase) {
    EXPECT_EQ(ktStrEqu(nullptr, nullptr), 1);
    EXPECT_EQ(ktStrEqu("x", nullptr), 0);
    EXPECT_EQ(ktStrEqu("ab", "aB"), 0);
    EXPECT_EQ(ktStrIcmp(nullptr, nullptr), 0);
    EXPECT_EQ(ktStrIcmp(nullptr, "a"), -1);
    EXPECT_EQ(ktStrIcmp("a", nullptr), 1);
    EXPECT_EQ(ktStrIcmp("vhdl_Gen_x", "VHDL_GEN_X"), 0);
    EXPECT_EQ(ktStrIcmp("[", "a"), '[' - 'A');          // folded before the difference
    EXPECT_EQ(ktStrIcmp("\xe9", "\xc9"), 0xe9 - 0xc9);  // only ASCII letters fold
    EXPECT_EQ(ktStrNicmp("VHDL_ATT_delay", "vhdl_att_", 9), 0);
    EXPECT_EQ(ktStrNicmp("ab", "abc", 5), -1);
}

TEST(WildcardMatch, StarsAndQuestionMarks) {
    auto match = [](const std::string& c) {  // "pattern|text"
        size_t bar = c.find('|');
        return ktStrMat(c.substr(0, bar).c_str(), c.c_str() + bar + 1);
    };
    for (const char* yes :
         {"*|", "*|anything", "|", "a*b|ab", "a*b|axxb", "?|x", "a?c|abc", "*.1|and2.1", "**x|abx",
          "*ab*ab|xabyab", "?*?|ab", "*a*a*b|aaaaaaaaaaaaaaaaaaaaaaaaaaaaaab"})
        EXPECT_EQ(match(yes), 1) << yes;
    for (const char* no : {"|a", "a*b|a", "a*b|axxbx", "?|", "a?c|ac", "*.1|and2.11", "*?|",
                           "A*|abc", "?*?|a", "*a*a*b|aaaaaaaaaaaaaaaaaaaa"})
        EXPECT_EQ(match(no), 0) << no;
    EXPECT_EQ(ktStrMat(nullptr, nullptr), 1);
    EXPECT_EQ(ktStrMat("*", nullptr), 0);
    // The case-blind form folds ASCII letters only, on both sides.
    EXPECT_EQ(ktStrMatFolded("A*", "abc"), 1);
    EXPECT_EQ(ktStrMatFolded("*.Sym", "AND2.SYM"), 1);
    EXPECT_EQ(ktStrMatFolded("\xe9?", "\xc9x"), 0);
}

TEST(NumberRecognition, SignPointAndExponent) {
    for (const char* yes : {"0", "12", "-1", "+.", ".", "1.5", "1e5", "1E+5", "-1.5e-3", ".5e2"})
        EXPECT_EQ(ktStrIsnum(yes), 1) << yes;
    for (const char* no :
         {"", "+", "-", "e5", "1e", "1.2.3", "1e5e2", "1e2.5", "--1", "1-", "0x1f", " 1", "1a"})
        EXPECT_EQ(ktStrIsnum(no), 0) << no;
    EXPECT_EQ(ktStrIsnum(nullptr), 0);
}

TEST(Abbreviations, ExactMatchWinsAndAPrefixMustBeUnique) {
    const char* const names[] = {"Stderr", "StatusLine", "Status", "LogFile"};
    EXPECT_EQ(ktStrIindex("status", names, 4), 2);  // exact, though a prefix of another
    EXPECT_EQ(ktStrIindex("statusl", names, 4), 1);
    EXPECT_EQ(ktStrIindex("LOG", names, 4), 3);
    EXPECT_EQ(ktStrIindex("st", names, 4), -2);
    EXPECT_EQ(ktStrIindex("logfiles", names, 4), -1);
    EXPECT_EQ(ktStrIindex("", names, 4), -1);
}

TEST(NumberReading, AsPercentLdReadsButWithinItsRange) {
    const struct {
        const char* text;
        int result;
        long value;
    } cases[] = {
        {" 4abc", 1, 4},
        {"-7", 1, -7},
        {"+10", 1, 10},
        {"11", -1, 10},
        {"-11", -1, -10},
        {"9223372036854775807", -1, 10},
        {"99999999999999999999", -1, 10},
        {"-99999999999999999999", -1, -10},
        {"abc", 0, 555},
        {"-", 0, 555},
    };
    for (const auto& c : cases) {
        long value = 555;
        EXPECT_EQ(ktStrCvtToLong(c.text, -10, 10, &value), c.result) << c.text;
        EXPECT_EQ(value, c.value) << c.text;
    }
    long value = 0;
    const char* end = nullptr;
    EXPECT_EQ(ktStrCvtToLong("9223372036854775807 rest", LONG_MIN, LONG_MAX, &value, &end), 1);
    EXPECT_EQ(value, LONG_MAX);
    EXPECT_STREQ(end, " rest");
}

TEST(Tokens, RunsOfDelimitersSeparateAndLongTokensAreCut) {
    char token[256];
    std::string seen;
    for (const char* p = "  one::two   :three"; (p = ktStrTok(p, token, sizeof token, " :"));)
        seen += token + std::string("|");
    EXPECT_EQ(seen, "one|two|three|");
    EXPECT_EQ(ktStrTok(" : ", token, sizeof token, " :"), nullptr);
    EXPECT_STREQ(token, "");
    const char* word = "sixsix tail";
    EXPECT_EQ(ktStrTok(word, token, 4, " "), word + 6);
    EXPECT_STREQ(token, "six");
    std::string exact(255, 'k');
    ktStrTok((exact + "k").c_str(), token, sizeof token, " ");
    EXPECT_EQ(std::string(token), exact);
}

TEST(LiteralConversion, EscapesQuotesAndLimits) {
    char out[16];
    const char* text = R"("a\tb\101\0609\477\q\
x" rest)";
    EXPECT_STREQ(ktStrCvtFromLiteral(text, out, sizeof out, 0, 0), " rest");
    EXPECT_STREQ(out, "a\tbA09'7qx");  // \477 is more than 255: \47 then 7
    EXPECT_EQ(ktStrCvtFromLiteral("'unclosed", out, sizeof out, 0, 0), nullptr);
    EXPECT_STREQ(ktStrCvtFromLiteral("bare text", out, sizeof out, 0, 0), "");
    EXPECT_STREQ(out, "bare text");
    EXPECT_STREQ(ktStrCvtFromLiteral("x = |in|side", out, sizeof out, '|', 0), "side");
    EXPECT_STREQ(out, "in");
    EXPECT_STREQ(ktStrCvtFromLiteral("abc]def", out, sizeof out, 0, ']'), "def");
    EXPECT_STREQ(ktStrCvtFromLiteral("'0123456789abcdefghij' x", out, 8, 0, 0), " x");
    EXPECT_STREQ(out, "0123456");
    EXPECT_EQ(ktStrCvtFromLiteral("'a'", out, 0, 0, 0), nullptr);
    EXPECT_EQ(ktStrCvtFromLiteral("no bar", out, sizeof out, '|', 0), nullptr);
}

TEST(StringBuffer, GrowsForItsOwnText) {
    ktStrBuf* buf = ktStrBufCreate(4);
    ktStrBufAppend(buf, "abcd");
    ktStrBufAppend(buf, buf->text);  // its own text: copied before the old one goes
    EXPECT_STREQ(ktStrBufString(buf), "abcdabcd");
    ktStrBufAppend(buf, "12345678");
    ktStrBufAppendChar(buf, '9');
    EXPECT_EQ(buf->length, 17);
    EXPECT_STREQ(ktStrBufString(buf), "abcdabcd123456789");
    ktStrBufDestroy(buf);
}

TEST(BoundedCopy, TerminatorAtTheLastByte) {
    char out[256];
    for (size_t len : {254, 255, 256, 257}) {
        ktStrncpyNullTerm(out, std::string(len, 'c').c_str(), sizeof out);
        EXPECT_EQ(std::strlen(out), len < 255 ? len : 255u) << len;
    }
}

}  // namespace
