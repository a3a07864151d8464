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
}

TEST_F(NameTable, ANameIsFoundAgainWhateverItsPlaceInItsBucket) {
    open();
    // Names that share one bucket, entered out of order: each asked again
    // must be found where it stands, not entered a second time.
    std::vector<std::string> bucket;
    uint32_t wanted = iwhash("N0", IW_NAMEBUCKETS);
    for (int i = 1; bucket.size() < 5 && i < 2000000; ++i) {
        std::string n = "N" + std::to_string(i);
        if (iwhash(n.c_str(), IW_NAMEBUCKETS) == wanted) bucket.push_back(n);
    }
    ASSERT_EQ(bucket.size(), 5u);
    std::vector<const char*> first;
    for (int i : {2, 4, 0, 3, 1}) first.push_back(iwmkname(bucket[static_cast<size_t>(i)].c_str()));
    int k = 0;
    for (int i : {2, 4, 0, 3, 1})
        EXPECT_EQ(iwmkname(bucket[static_cast<size_t>(i)].c_str()), first[static_cast<size_t>(k++)])
            << bucket[static_cast<size_t>(i)];
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
