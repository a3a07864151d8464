#include "voeval.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "portfixture.h"

namespace {

using ValueEvaluation = PortTest;

TEST_F(ValueEvaluation, QuotesFollowTheTypeAndAWholePairOfTheAuthorsGoes) {
    struct Case {
        const char *value, *type, *literal;
    };
    const Case cases[] = {
        {nullptr, "bit", "OPEN"},
        {"0", "bit", "'0'"},
        {"0101", "BIT_VECTOR", "\"0101\""},
        {"\"0101\"", "bit_vector", "\"0101\""},
        {"\"5\"", "integer", "5"},
        {"5", nullptr, "5"},
        {"'X'", "std_logic", "'X'"},
        {"'1", "ktbit", "'1'"},
        {"A\"B", "string", "\"A\"B\""},
        {"\"A\" AND \"B\"", "string", "\"A\" AND \"B\""},
        {"", "string", "\"\""},
        {"", "integer", "\"\""},
        {"\"\"", "char", "\"\""},
    };
    for (const Case& c : cases)
        EXPECT_STREQ(voeval(c.value, c.type), c.literal) << (c.value ? c.value : "null");
    EXPECT_EQ(numbers(), "");
}

TEST_F(ValueEvaluation, ReferencesBecomeTheNamesOfTheirGenerics) {
    EXPECT_STREQ(voeval("@WIDTH-1", "integer"), "v40WIDTH-1");
    EXPECT_STREQ(voeval("2*@WIDTH", "integer"), "2*v40WIDTH");
    EXPECT_EQ(numbers(), "557") << "the name is translated once";
    // Only a reference outside quotes makes the walk; then every "@" counts.
    EXPECT_STREQ(voeval("\"@A\"", "string"), "\"@A\"");
    EXPECT_STREQ(voeval("A@B", "integer"), "A@B");
    EXPECT_STREQ(voeval("@W & \"@W\"", "integer"), "v40W & \"v40W\"");
}

TEST_F(ValueEvaluation, ALongValueIsCutToFitWithItsQuotes) {
    const std::string text = voeval(std::string(3000, 'A').c_str(), "string");
    EXPECT_EQ(text, "\"" + std::string(2045, 'A') + "\"");
    // A value may come from the buffer it is written to.
    std::strcpy(vo->buf, "0");
    EXPECT_STREQ(voeval(vo->buf, "bit"), "'0'");
}

TEST_F(ValueEvaluation, AReferenceWhoseTranslationDoesNotFitEndsTheRun) {
    // "@A" becomes "v40A": 2043 characters in front leave room for it, 2044 do not.
    EXPECT_EQ(std::string(voeval((std::string(2042, '1') + "+@A").c_str(), "integer")).size(),
              2046u);
    EXPECT_EXIT((ktErrFileV = stderr, voeval((std::string(2043, '1') + "+@A").c_str(), nullptr)),
                ::testing::ExitedWithCode(1), "547");
}

}  // namespace
