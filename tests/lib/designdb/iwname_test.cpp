#include "iwname.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "iwfixture.h"
#include "iwobj.h"

namespace {

using NameTable = DatabaseTest;

TEST_F(NameTable, NamesAreStoredInCapitals) {
    open();
    EXPECT_STREQ(iwmkname("vhdl_type"), "VHDL_TYPE");
    EXPECT_STREQ(iwmkname("VHDL_TYPE"), "VHDL_TYPE");
    EXPECT_STREQ(iwmkname(nullptr), "");
    // Only ASCII letters are folded; a byte with the top bit set stays.
    EXPECT_STREQ(iwmkname("a\xe9z~"), "A\xe9Z~");
    // Long names, on either side of the length folded in one pass.
    for (size_t n : {254, 255, 256, 300}) {
        const char* stored = iwmkname(std::string(n, 'q').c_str());
        EXPECT_EQ(stored, std::string(n, 'Q'));
        EXPECT_EQ(iwmkname(std::string(n, 'Q').c_str()), stored) << n;
        EXPECT_NE(iwmkname((std::string(n - 1, 'q') + "r").c_str()), stored) << n;
    }
}

TEST_F(NameTable, ANameIsFoundAgainHoweverManyCameAfterIt) {
    open();
    // "BK" and "CA" have the same hash; each keeps its own entry.
    const char* bk = iwmkname("BK");
    const char* ca = iwmkname("ca");
    EXPECT_STREQ(bk, "BK");
    EXPECT_STREQ(ca, "CA");
    // Enough names for the table to grow more than once: each asked again,
    // in either case, gives the entry it was stored as.
    std::vector<const char*> first;
    for (int i = 0; i < 40000; ++i) first.push_back(iwmkname(("n" + std::to_string(i)).c_str()));
    for (int i = 0; i < 40000; ++i)
        ASSERT_EQ(iwmkname(("N" + std::to_string(i)).c_str()), first[static_cast<size_t>(i)]) << i;
    EXPECT_EQ(iwmkname("BK"), bk);
    EXPECT_EQ(iwmkname("CA"), ca);
    EXPECT_STREQ(first[39999], "N39999");
}

TEST(NameHash, CaseFoldedAndSystemAttributesByExactName) {
    EXPECT_EQ(iwhash("ab", 1000), iwhash("AB", 1000));
    EXPECT_LT(iwhash("\xff\xfe", IW_NAMEBUCKETS), static_cast<uint32_t>(IW_NAMEBUCKETS));
    EXPECT_EQ(iwsysatt("@NAME"), 1);
    EXPECT_EQ(iwsysatt("@name"), 0);
    EXPECT_EQ(iwsysatt("@NAMES"), 0);
}

TEST(StringSets, MembersFoundWithoutRegardToCase) {
    char mine[] = "Clock";
    EXPECT_EQ(inaddmem(7, mine, 0), mine);
    const char* copy = inaddmem(7, "Reset", 1);
    EXPECT_NE(copy, nullptr);
    EXPECT_STREQ(copy, "Reset");
    EXPECT_EQ(insetmem(7, "CLOCK"), mine);
    EXPECT_EQ(insetmem(7, "reset"), copy);
    EXPECT_EQ(insetmem(7, "Data"), nullptr);
    EXPECT_EQ(insetmem(8, "Clock"), nullptr);  // another set
    EXPECT_EQ(inaddmem(7, nullptr, 1), nullptr);
    EXPECT_EQ(insetmem(7, nullptr), nullptr);
}

}  // namespace
