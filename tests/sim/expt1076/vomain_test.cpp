#include "vomain.h"

#include <gtest/gtest.h>

#include "vofixture.h"

namespace {

using RunEnd = TranslatorTest;

TEST_F(RunEnd, OnlyCodeFiveIsSuccessAndOnlyFourAndFiveSummarise) {
    EXPECT_EXIT(voexit(5), ::testing::ExitedWithCode(0), "Translation Completed");
    EXPECT_EXIT(voexit(4), ::testing::ExitedWithCode(1), "Translation Completed");
    EXPECT_EXIT(voexit(1), ::testing::ExitedWithCode(1), "^$");
}

TEST_F(RunEnd, SummaryCountsAndTheWordFollowTheTally) {
    vo->cmdl->name = vostcpy("lib:and2.1");
    vomsg(1);
    vomsg(2);
    vomsg(2);
    vomsg(3);
    EXPECT_EQ(vo->warnings, 2);
    EXPECT_EQ(vo->errors, 1);
    EXPECT_EXIT((vodone(5), std::exit(0)), ::testing::ExitedWithCode(0),
                "Translation Completed for LIB:AND2.1: 1 error\\(s\\), 2 warning\\(s\\)");
    vomsg(4);
    EXPECT_EXIT((vodone(4), std::exit(0)), ::testing::ExitedWithCode(0),
                "Translation Aborted for LIB:AND2.1: 2 error\\(s\\), 2 warning\\(s\\)");
}

}  // namespace
