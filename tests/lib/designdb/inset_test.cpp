#include <gtest/gtest.h>

#include "iwobj.h"

namespace {

// Identities of these tests' own, away from the translator's set 5.
constexpr int kFirst = 9001, kSecond = 9002;

TEST(StringSets, MembershipIgnoresCaseAndSetsStayApart) {
    static const char kept[] = "Beta_2";
    char given[] = "Alpha";
    const char* copy = inaddmem(kFirst, given, 1);
    EXPECT_NE(copy, given);
    given[0] = 'X';  // the set holds its own copy
    EXPECT_EQ(insetmem(kFirst, "ALPHA"), copy);
    EXPECT_EQ(insetmem(kFirst, "Xlpha"), nullptr);
    EXPECT_EQ(inaddmem(kSecond, kept, 0), kept);
    EXPECT_EQ(insetmem(kSecond, "beta_2"), kept);
    EXPECT_EQ(insetmem(kSecond, "alpha"), nullptr);
    EXPECT_EQ(insetmem(kFirst, "BETA_2"), nullptr);
    EXPECT_EQ(insetmem(kFirst, "ALPH"), nullptr);
    EXPECT_EQ(insetmem(9003, "alpha"), nullptr);
    EXPECT_EQ(inaddmem(kFirst, nullptr, 1), nullptr);
    EXPECT_EQ(insetmem(kFirst, nullptr), nullptr);
}

}  // namespace
