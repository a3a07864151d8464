#include "ktbus.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

namespace {

// Every member of `text`, and the status the iteration ended with.
struct Expansion {
    std::vector<std::string> members;
    int status;
};

Expansion expand(const char* text, int size = 256) {
    Expansion x;
    std::vector<char> out(static_cast<size_t>(size > 0 ? size : 1));
    for (vecrec* it = ktBusExpand(nullptr, text, out.data(), size); it;
         it = ktBusExpand(it, text, out.data(), size))
        x.members.push_back(out.data());
    x.status = ktBusExpandStatus();
    return x;
}

using Names = std::vector<std::string>;

// The separators that the design database sets, put back to the start's.
class BusText : public ::testing::Test {
protected:
    void TearDown() override { ktBusExpandRepsep(","); }
};

TEST_F(BusText, MembersInTheirOrder) {
    struct Case {
        const char* text;
        Names members;
    };
    const Case cases[] = {
        {"A[3:0]", {"A3", "A2", "A1", "A0"}},
        {"A[0:6:2]", {"A0", "A2", "A4", "A6"}},
        {"A[10:0:3]", {"A10", "A7", "A4", "A1"}},
        {"A[0:5:-2]", {"A0", "A2", "A4"}},  // the sign of a step is dropped
        {"A[00:10:5]", {"A00", "A05", "A10"}},
        {"A[8:010]", {"A008", "A009", "A010"}},
        {"A[-1:1]", {"A-1", "A0", "A1"}},
        {"A[-02:0]", {"A-02", "A-01", "A000"}},  // the width counts the sign
        {"A[9:B/H]", {"A9", "AA", "AB"}},
        {"A[e:f\\h]", {"AE", "AF"}},
        {"A[10:0/B]", {"A10", "A1", "A0"}},
        {"A[01:11/b]", {"A01", "A10", "A11"}},
        {"A[7:10/O]", {"A7", "A10"}},
        {"A[1:0]B[1:0]", {"A1B1", "A1B0", "A0B1", "A0B0"}},
        {"[1:0]X", {"1X", "0X"}},
        {"[1:0]A[1:0]", {"1A1", "1A0", "0A1", "0A0"}},
        {"A[1:0]B[X]C", {"A1B[X]C", "A0B[X]C"}},
        {"A,B[1:0]", {"A", "B1", "B0"}},
        {",,A,,B,", {"A", "B"}},
        {"{A,B}2", {"A", "B", "A", "B"}},
        {"{A[1:0]}2,C", {"A1", "A0", "A1", "A0", "C"}},
        {"{X,{Y}2}2", {"X", "Y", "Y", "X", "Y", "Y"}},
        // Texts of 32 characters and more.
        {"{ABCDEFGHIJKLMNOPQRSTUVWXYZ_ABCDEFGH[1:0],ABCDEFGHIJKLMNOPQRSTUVWXYZ_LONG}1",
         {"ABCDEFGHIJKLMNOPQRSTUVWXYZ_ABCDEFGH1", "ABCDEFGHIJKLMNOPQRSTUVWXYZ_ABCDEFGH0",
          "ABCDEFGHIJKLMNOPQRSTUVWXYZ_LONG"}},
        {"A[3]", {"A3"}},
        {"A[X]", {"A[X]"}},
        {"A[12/X]", {"A[12/X]"}},
        {"", {}},
    };
    for (const Case& c : cases) {
        Expansion x = expand(c.text);
        EXPECT_EQ(x.members, c.members) << c.text;
        EXPECT_EQ(x.status, KT_BUS_OK) << c.text;
    }
}

TEST_F(BusText, SeparatorsAreTheCurrentSet) {
    ktBusExpandRepsep(" ,");
    EXPECT_EQ(expand(" A B,C[1:0]").members, (Names{"A", "B", "C1", "C0"}));
    // Separators split inside square brackets too.
    EXPECT_EQ(expand("A[1, 0]").status, KT_BUS_UNBALANCED);
    // The set is cut at 19 characters; a null set changes nothing.
    ktBusExpandRepsep("abcdefghijklmnopqrs;");
    EXPECT_EQ(expand("X;Y").members, (Names{"X;Y"}));
    EXPECT_EQ(expand("XsY").members, (Names{"X", "Y"}));
    ktBusExpandRepsep(nullptr);
    EXPECT_EQ(ktBusExpandStatus(), KT_BUS_NULLARG);
    EXPECT_EQ(expand("XsY").members, (Names{"X", "Y"}));
}

TEST_F(BusText, EveryFaultHasItsStatusAndEndsTheIteration) {
    struct Case {
        const char* text;
        int status;
    };
    const Case cases[] = {
        {"A[3:0", KT_BUS_UNBALANCED},     {"A[3", KT_BUS_UNBALANCED},
        {"A[1:[0]", KT_BUS_UNBALANCED},   {"{A,B", KT_BUS_UNBALANCED},
        {"A[1:G]", KT_BUS_BADCHAR},       {"A[X:1]", KT_BUS_BADCHAR},
        {"A[1:0/Q]", KT_BUS_BADCHAR},     {"A[1:0/HX]", KT_BUS_BADCHAR},
        {"A[1:2:3:4]", KT_BUS_MALFORMED}, {"A[:3]", KT_BUS_MALFORMED},
        {"A[3:]", KT_BUS_MALFORMED},      {"A[1:0/H/H]", KT_BUS_MALFORMED},
        {"A[-:1]", KT_BUS_MALFORMED},     {"{A,B}", KT_BUS_MALFORMED},
        {"{A,B}0", KT_BUS_MALFORMED},     {"{A,B}2x", KT_BUS_MALFORMED},
        {"A[1:9/B]", KT_BUS_RADIX},       {"A[1:8/O]", KT_BUS_RADIX},
        {"A[1:F]", KT_BUS_RADIX},         {"A[40000]", KT_BUS_TOOLARGE},
        {"A[-32768:0]", KT_BUS_TOOLARGE}, {"A[0000000000000000001]", KT_BUS_TOOLARGE},
        {"A[3:0:0]", KT_BUS_ZEROSTEP},
    };
    for (const Case& c : cases) {
        Expansion x = expand(c.text);
        EXPECT_TRUE(x.members.empty()) << c.text;
        EXPECT_EQ(x.status, c.status) << c.text;
    }
    // A fault in a later item ends an iteration that has given members.
    Expansion x = expand("A,B,C[2:");
    EXPECT_EQ(x.members, (Names{"A", "B"}));
    EXPECT_EQ(x.status, KT_BUS_UNBALANCED);
    x = expand("{A,B[1:x]}3");
    EXPECT_EQ(x.members, (Names{"A"}));
    EXPECT_EQ(x.status, KT_BUS_BADCHAR);
    // Eighteen characters are still a part.
    EXPECT_EQ(expand("A[000000000000000001]").members,
              (Names{std::string("A") + "000000000000000001"}));

    char out[8];
    EXPECT_EQ(ktBusExpand(nullptr, nullptr, out, sizeof out), nullptr);
    EXPECT_EQ(ktBusExpandStatus(), KT_BUS_NULLARG);
    EXPECT_EQ(ktBusExpand(nullptr, "A", nullptr, 8), nullptr);
    EXPECT_EQ(ktBusExpandStatus(), KT_BUS_NULLARG);
}

TEST_F(BusText, ANameThatDoesNotFitEndsWithStatus8) {
    Expansion x = expand("AB[9:11]", 4);
    EXPECT_EQ(x.members, (Names{"AB9"}));
    EXPECT_EQ(x.status, KT_BUS_NOROOM);
    EXPECT_EQ(expand("ABCD", 4).status, KT_BUS_NOROOM);
    EXPECT_EQ(expand("ABC", 4).members, (Names{"ABC"}));
    EXPECT_EQ(expand("{LONGNAME}2", 4).status, KT_BUS_NOROOM);
    EXPECT_EQ(expand("A", 0).status, KT_BUS_NOROOM);
}

TEST_F(BusText, GivingUpEarlyFreesTheNodes) {
    // Under the sanitizers a node left behind is a leak.
    const char* text = "{A[3:0],{B,C}2}3,D";
    char out[16];
    vecrec* it = ktBusExpand(nullptr, text, out, sizeof out);
    for (int i = 0; i < 7; ++i) it = ktBusExpand(it, text, out, sizeof out);
    ASSERT_NE(it, nullptr);
    EXPECT_STREQ(out, "C");
    ktBusExpandFree(it);
    ktBusExpandFree(nullptr);
}

// Where width and expansion agree the random test below holds them to each
// other; these are the limits the width alone must see.
TEST_F(BusText, WidthCountsWithoutExpanding) {
    struct Case {
        const char* text;
        int width;
        int status;
    };
    const Case cases[] = {
        {"A[3:0]B[1:0]", 8, KT_BUS_OK},
        {"{A,B}3", 6, KT_BUS_OK},
        {"", 0, KT_BUS_OK},
        {"A[-32767:32767]", 65535, KT_BUS_OK},
        {"A[0:255]B[0:255]", 0, KT_BUS_TOOLARGE},
        {"A[0:30000],B[0:30000],C[0:10000]", 0, KT_BUS_TOOLARGE},
        {"{A[0:1000]}100", 0, KT_BUS_TOOLARGE},
        {"A[-32767:32767:2]", 32768, KT_BUS_OK},
        {"A,B[3:0:0]", 0, KT_BUS_ZEROSTEP},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(ktBusExpandWidth(c.text), c.width) << c.text;
        EXPECT_EQ(ktBusExpandStatus(), c.status) << c.text;
    }
}

TEST_F(BusText, SubsetTakesEveryMemberOfTheSecond) {
    struct Case {
        const char* a;
        const char* b;
        int subset;
    };
    const Case cases[] = {
        {"D[7:0]", "D3", 1},     {"D3", "D[7:0]", 0},     {"D[7:0]", "D", 0},  {"D", "D", 1},
        {"D[7:0]", "D[2:4]", 1}, {"D[7:0]", "D[6:9]", 0}, {"A,B,C", "C,A", 1}, {"{A,B}2", "B", 1},
        {"d[1:0]", "D1", 0},     {"X[1:0]", "Y1", 0},     {"A[3:0", "A1", 0},
    };
    for (const Case& c : cases)
        EXPECT_EQ(ktBusExpandSubset(c.a, c.b), c.subset) << c.a << " " << c.b;
    EXPECT_EQ(ktBusExpandSubset(nullptr, "A"), 0);
    EXPECT_EQ(ktBusExpandStatus(), KT_BUS_NULLARG);
    // Trillions of members in a few bytes: refused as too large, not listed.
    EXPECT_EQ(ktBusExpandSubset("{A[0:32767]B[0:32767]}32767", "A0B0"), 0);
    EXPECT_EQ(ktBusExpandStatus(), KT_BUS_TOOLARGE);
}

TEST_F(BusText, AnyTextEndsAndAgreesWithItsWidth) {
    // Texts made of the syntax's own characters, at random: the iteration
    // always ends, and when the width counts members the iteration makes
    // as many; when the width finds a fault the iteration ends on the same.
    ktBusExpandRepsep(" ,");
    std::mt19937 random(1);
    const std::string alphabet = "AB[]:{}0129,/H- ";
    for (int n = 0; n < 20000; ++n) {
        std::string text(random() % 16 + 1, ' ');
        for (char& c : text) c = alphabet[random() % alphabet.size()];
        int width = ktBusExpandWidth(text.c_str());
        int status = ktBusExpandStatus();
        if (status == KT_BUS_TOOLARGE || (status == KT_BUS_OK && width == 0)) continue;
        Expansion x = expand(text.c_str());
        if (status == KT_BUS_OK) {
            EXPECT_EQ(x.members.size(), static_cast<size_t>(width)) << text;
        }
        EXPECT_EQ(x.status, status) << text;
    }
}

}  // namespace
