#include "ixeval.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>

namespace {

struct Case {
    const char* text;
    const char* out;
    int kind;
};

// Evaluates into a heap buffer of exactly `size` bytes, so that a write
// past its end is caught by the address sanitizer.
std::string evaluate(const std::string& text, int size, int* kind) {
    std::unique_ptr<char[]> out(new char[size]);
    std::fill_n(out.get(), size, '?');
    *kind = ixevaluate(out.get(), text.c_str(), size);
    return std::string(out.get());
}

void expectAll(std::initializer_list<Case> cases) {
    for (const Case& c : cases) {
        int kind = 0;
        EXPECT_EQ(evaluate(c.text, 600, &kind), c.out) << "text: " << c.text;
        EXPECT_EQ(kind, c.kind) << "text: " << c.text;
    }
}

TEST(ExprConstants, NumbersStringsAndQuotes) {
    expectAll({
        {"12", "12", IX_INTEGER},
        {"  12 ", "12", IX_INTEGER},
        {"12.5", "12.500000", IX_REAL},
        {"2.0", "2.000000", IX_REAL},  // the point decides, though the values agree
        {".5", "0.500000", IX_REAL},
        {"1e3", "1.000000e+03", IX_SCIENTIFIC},
        {"1e-3", "1.000000e-03", IX_SCIENTIFIC},  // not split at the sign
        {"2.5E+2", "2.500000e+02", IX_SCIENTIFIC},
        {"(12)", "12", IX_INTEGER},
        // Beyond 32 bits an integer reads as the real number it is.
        {"2147483648", "2147483648.000000", IX_REAL},
        {"ABC", "ABC", IX_STRING},
        {"\"ABC\"", "ABC", IX_STRING},
        {" \"A B\" ", "A B", IX_STRING},
        {"\"A-B\"", "\"A-B\"", IX_STRING},  // a sign inside quotes: no constant
        {"\"AB\"C", "\"AB\"C", IX_STRING},
        {"12 34", "12 34", IX_STRING},
        {"1.2.3", "1.2.3", IX_STRING},
        {"", "", IX_STRING},
    });
}

TEST(ExprArithmetic, PrioritiesGroupingAndKinds) {
    expectAll({
        {"1+2*3", "7", IX_INTEGER},
        {"(1+2)*3", "9", IX_INTEGER},
        {"2-1-1", "0", IX_INTEGER},  // from the left
        {"2*3-4*5", "-14", IX_INTEGER},
        {"((4))", "4", IX_INTEGER},
        {" ( 2 + 3 ) * ( 4 - 1 ) ", "15", IX_INTEGER},
        {"7/2", "3", IX_INTEGER},
        {"-7/2", "-3", IX_INTEGER},
        {"7.0/2", "3.500000", IX_REAL},
        {"1 + 2.5", "3.500000", IX_REAL},
        {"1.5 * 1e1", "1.500000e+01", IX_SCIENTIFIC},
        {"3*-2", "-6", IX_INTEGER},  // the sign gives way to the `*`
        {"-(1+2)", "-3", IX_INTEGER},
        {"+4", "4", IX_INTEGER},
        {"-2.5", "-2.500000", IX_REAL},
        {"1e-3*1000", "1.000000e+00", IX_SCIENTIFIC},
        {"2147483647+1", "2147483647", IX_INTEGER},  // stops at the end of the range
        {"1/0", "1/0", IX_OPERANDS},
        {"1/0 + 1", "1/0 + 1", IX_OPERATOR},  // an operand's code isn't kept
        {"A + 1", "A + 1", IX_OPERANDS},
        {"(1<2) + 1", "(1<2) + 1", IX_OPERANDS},
        {"-A", "-A", IX_OPERANDS},
        {"1 + -2", "1 + -2", IX_OPERATOR},  // a sign only behind `*` or `/`
    });
}

TEST(ExprLogic, ComparisonsAndTruthValues) {
    expectAll({
        {"1<2", "1", IX_BOOLEAN},
        {"2<=1", "0", IX_BOOLEAN},
        {"2 > 1.5", "1", IX_BOOLEAN},
        {"1 == 1.0", "1", IX_BOOLEAN},
        {"3 != 4", "1", IX_BOOLEAN},
        {"1 < -2", "0", IX_BOOLEAN},
        {"A==a", "1", IX_BOOLEAN},  // without regard to case
        {"ABC<abd", "1", IX_BOOLEAN},
        {"A == a", "0", IX_BOOLEAN},  // a plain string keeps its blanks
        {"\"A\" == \"a\"", "1", IX_BOOLEAN},
        {"\"b\" > \"A\"", "1", IX_BOOLEAN},
        {"1<A", "1", IX_BOOLEAN},  // a string and a number compare as texts
        {"(1<2) == 1", "1", IX_BOOLEAN},
        {"1 == 2 == 0", "0", IX_BOOLEAN},  // from the right: 1 == (2 == 0)
        {"1 && 0", "0", IX_BOOLEAN},
        {"1 || 0", "1", IX_BOOLEAN},
        {"ABC && 2.5", "1", IX_BOOLEAN},
        {"\"\" || 0", "0", IX_BOOLEAN},
        {"1 < 2 && 3 < 2", "0", IX_BOOLEAN},
        {"0 && 1 || 1", "0", IX_BOOLEAN},  // from the right: 0 && (1 || 1)
        {"!0", "1", IX_BOOLEAN},
        {"!(1 == 2)", "1", IX_BOOLEAN},
        {"1 = 2", "1 = 2", IX_OPERATOR},
        {"1 & 2", "1 & 2", IX_OPERATOR},
    });
}

TEST(ExprJoin, NumbersBecomeTextAndTheLengthIsBounded) {
    expectAll({
        {"AB # CD", "AB  CD", IX_STRING},  // blanks stay in plain strings
        {"\"AB\"#\"CD\"", "ABCD", IX_STRING},
        {"1#2", "12", IX_STRING},
        {"A#1.5#1e3", "A1.51.000000e+03", IX_STRING},
        {"#12", "12", IX_STRING},
        {"#\"X\"", "X", IX_STRING},
        {"(1<2)#X", "1X", IX_STRING},
        {"2#*3", "2#*3", IX_OPERATOR},
        {"AB + CD", "AB + CD", IX_OPERANDS},
    });
    // The join may fill the whole value area, and no more.
    int kind = 0;
    std::string joined(392, 'a'), tail;
    for (int i = 0; i < 10; ++i) tail += "#1e3";
    for (int i = 0; i < 10; ++i) joined += "1.000000e+03";
    EXPECT_EQ(evaluate(std::string(392, 'a') + tail, 600, &kind), joined);
    EXPECT_EQ(kind, IX_STRING);
    std::string text = std::string(393, 'a') + tail;
    EXPECT_EQ(evaluate(text, 600, &kind), text);
    EXPECT_EQ(kind, IX_TOOLONG);
}

TEST(ExprErrors, BracketsAndQuotes) {
    // Unbalanced brackets leave the output as it was, but for its last byte.
    for (const char* text : {"(1+2", "1+2)", ")(", "((1)", "(\"a)\""}) {
        char out[8] = "keep";
        out[7] = 'x';
        EXPECT_EQ(ixevaluate(out, text, sizeof out), IX_PARENS) << text;
        EXPECT_STREQ(out, "keep");
        EXPECT_EQ(out[7], '\0');
    }
    expectAll({
        {"(\")\")", ")", IX_STRING},  // brackets in quotes don't count
        {"\"abc", "\"abc", IX_QUOTES},
        {"1 + \"abc", "1 + \"abc", IX_QUOTES},
        {"2(3)", "2(3)", IX_OPERATOR},
    });
}

TEST(ExprLimits, OutputIsCutToItsSizeAndAlwaysTerminated) {
    int kind = 0;
    EXPECT_EQ(evaluate("12345", 3, &kind), "12");
    EXPECT_EQ(kind, IX_INTEGER);
    EXPECT_EQ(evaluate("\"ABCDEF\"", 4, &kind), "ABC");
    EXPECT_EQ(evaluate("1/0", 1, &kind), "");
    EXPECT_EQ(kind, IX_OPERANDS);
    EXPECT_EQ(evaluate("1e300*1e8", 5, &kind), "1.00");
    EXPECT_EQ(evaluate(std::string(300, '9') + ".5", 8, &kind), "1000000");
    EXPECT_EQ(evaluate("123456789.5", 8, &kind), "1234567");
    EXPECT_EQ(kind, IX_REAL);

    char out[4] = "abc";
    EXPECT_EQ(ixevaluate(out, "1", 0), IX_TOOLONG);
    EXPECT_EQ(ixevaluate(out, "1", -5), IX_TOOLONG);
    EXPECT_STREQ(out, "abc");  // no room: nothing written
    EXPECT_EQ(ixevaluate(nullptr, "1+1", 8), IX_INTEGER);
    EXPECT_EQ(ixevaluate(out, nullptr, 4), IX_STRING);
    EXPECT_STREQ(out, "");
}

TEST(ExprLimits, LongAndDeeplyNestedTexts) {
    int kind = 0;
    // 511 bytes are evaluated; a longer text comes back as it is.
    std::string sum = "1";
    while (sum.size() < 511) sum += "+1";
    ASSERT_EQ(sum.size(), 511u);
    EXPECT_EQ(evaluate(sum, 600, &kind), "256");
    EXPECT_EQ(evaluate(sum + " ", 600, &kind), sum + " ");
    EXPECT_EQ(kind, IX_TOOLONG);

    std::string nested = std::string(255, '(') + "7" + std::string(255, ')');
    EXPECT_EQ(evaluate(nested, 600, &kind), "7");
    std::string negations;
    for (int i = 0; i < 170; ++i) negations += "-(";
    negations += "1" + std::string(170, ')');
    EXPECT_EQ(evaluate(negations, 600, &kind), "1");
    std::string signs = std::string(510, '-') + "1";
    evaluate(signs, 600, &kind);
    EXPECT_EQ(kind, IX_OPERATOR);

    // A hundred kilobytes, of nested brackets or of operators, are no
    // expression but don't hurt: the text comes back cut to the output.
    std::string deep = std::string(50000, '(') + "1" + std::string(50000, ')');
    EXPECT_EQ(evaluate(deep, 600, &kind), deep.substr(0, 599));
    EXPECT_EQ(kind, IX_TOOLONG);
    std::string flat;
    while (flat.size() < 100000) flat += "1+(2*\"x\")-";
    EXPECT_EQ(evaluate(flat, 100, &kind), flat.substr(0, 99));
    EXPECT_EQ(kind, IX_TOOLONG);
    EXPECT_EQ(evaluate(std::string(100000, '('), 10, &kind), "?????????");
    EXPECT_EQ(kind, IX_PARENS);
}

}  // namespace
