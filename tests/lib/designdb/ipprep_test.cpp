#include "ipprep.h"

#include <gtest/gtest.h>

namespace {

TEST(VariableReference, AnAtOutsideQuotesThatStartsAName) {
    for (const char* text : {"@WIDTH", "2*@W", "@@X", "(@A)", "\"@A\" & @B", "\"\"@A"})
        EXPECT_EQ(ipvarref(text), IP_VARREF) << text;
    for (const char* text : {"", "WIDTH", "A@B", "A_@B", "9@B", "X@@A", "\"@A\"", "\"A\" & \"@B\""})
        EXPECT_EQ(ipvarref(text), IP_OK) << text;
    EXPECT_EQ(ipvarref(nullptr), IP_OK);
}

}  // namespace
