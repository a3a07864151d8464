#include "ktex.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "kterr.h"
#include "ktlib_msg.h"
#include "ktmsg.h"
#include "ktstr.h"

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

// What a handler saw; the error is kept (not swallowed) for inspection.
struct Caught {
    uint32_t tag = 0;
    ktErrObject* err = nullptr;
    ~Caught() { ktErrDestroy(err); }
};

// The handler that takes an error into `c` and clears it from flight.
auto takeInto(Caught& c) {
    return [&c](uint32_t tag, ktErrObject* err) {
        c.tag = tag;
        c.err = err;
        ktExErrV = nullptr;
        ktExTagV = 0;
    };
}

void fail(const char* text) {
    ktExThrow2(KT_EX_FAIL, "test", KT_ERR_ERROR, text);
}

struct Destructed {
    int* count;
    ~Destructed() { ++*count; }
};

TEST(CatchFrames, AFrameTakesATagOfItsMaskAndRestoresTheStack) {
    Caught c;
    ktExFrame* before = ktEx_StackV;
    ktExCatch(
        KT_EX_FAIL, [] { fail("contract broken"); }, takeInto(c));
    EXPECT_EQ(c.tag, KT_EX_FAIL);
    ASSERT_NE(c.err, nullptr);
    EXPECT_STREQ(c.err->text, "contract broken");
    EXPECT_EQ(ktEx_StackV, before);
    int r = ktExCatch(
        KT_EX_ALL, [] { return 42; }, [](uint32_t, ktErrObject*) { return -1; });
    EXPECT_EQ(r, 42);
    EXPECT_EQ(ktEx_StackV, before);
}

TEST(CatchFrames, ATagOutsideTheMaskSkipsTheFrameAndUnwindsIt) {
    Caught outer;
    bool innerHandled = false;
    int destructed = 0;
    ktExCatch(
        KT_EX_FAIL,
        [&] {
            ktExCatch(
                KT_EX_PRECOND,
                [&] {
                    Destructed d{&destructed};
                    fail("two");
                },
                [&](uint32_t, ktErrObject*) { innerHandled = true; });
        },
        takeInto(outer));
    EXPECT_FALSE(innerHandled);
    EXPECT_EQ(outer.tag, KT_EX_FAIL);
    EXPECT_EQ(destructed, 1);
    EXPECT_EQ(ktEx_StackV, nullptr);
}

TEST(CatchFrames, TheInnermostFrameThatTakesTheTagWins) {
    Caught inner;
    bool outerHandled = false;
    ktExCatch(
        KT_EX_ALL,
        [&] {
            ktExCatch(
                KT_EX_FAIL | KT_EX_SEGV, [] { fail("inner"); }, takeInto(inner));
        },
        [&](uint32_t, ktErrObject*) { outerHandled = true; });
    EXPECT_FALSE(outerHandled);
    EXPECT_EQ(inner.tag, KT_EX_FAIL);
}

TEST(CatchFrames, SwallowingClearsTheErrorInFlight) {
    ktExCatch(
        KT_EX_FAIL, [] { fail("gone"); }, [](uint32_t, ktErrObject*) { ktExSwallow(); });
    EXPECT_EQ(ktExErrV, nullptr);
    EXPECT_EQ(ktExTagV, 0u);
}

TEST(ErrorsInFlight, PassingAnErrorOnDoesNotChainItToItself) {
    Caught outer;
    ktExCatch(
        KT_EX_FAIL,
        [] {
            ktExCatch(
                KT_EX_FAIL, [] { fail("first"); },
                [](uint32_t tag, ktErrObject* err) { ktExThrow(tag, err); });
        },
        takeInto(outer));
    ASSERT_NE(outer.err, nullptr);
    EXPECT_STREQ(outer.err->text, "first");
    EXPECT_EQ(outer.err->next, nullptr);
}

TEST(ErrorsInFlight, AFailureDuringHandlingKeepsTheFirstBehindIt) {
    Caught outer;
    ktExCatch(
        KT_EX_FAIL,
        [] {
            ktExCatch(
                KT_EX_FAIL, [] { fail("first"); },
                [](uint32_t, ktErrObject*) { fail("while cleaning up"); });
        },
        takeInto(outer));
    ASSERT_NE(outer.err, nullptr);
    EXPECT_STREQ(outer.err->text, "while cleaning up");
    ASSERT_NE(outer.err->next, nullptr);
    EXPECT_STREQ(outer.err->next->text, "first");
    EXPECT_EQ(outer.err->next->next, nullptr);
}

TEST(ErrorsInFlight, ARecordThatAlreadyHoldsTheFirstIsNotChainedAgain) {
    Caught outer;
    ktExCatch(
        KT_EX_FAIL,
        [] {
            ktExCatch(
                KT_EX_FAIL, [] { fail("first"); },
                [](uint32_t tag, ktErrObject* err) {
                    ktExThrow(tag, ktErrAppend(ktErrCreate(nullptr, "test", 0, 0, "second"), err));
                });
        },
        takeInto(outer));
    ASSERT_NE(outer.err, nullptr);
    ASSERT_NE(outer.err->next, nullptr);
    EXPECT_STREQ(outer.err->next->text, "first");
    EXPECT_EQ(outer.err->next->next, nullptr);
}

TEST(ErrorsInFlight, ThrowBuildTakesItsTextFromTheMessage) {
    Caught c;
    ktExCatch(
        KT_EX_FAIL, [] { ktExThrowBuild(KT_EX_FAIL, "loc", ktMsgFile(), KTM_PREFUNKNOWN, "ex.x"); },
        takeInto(c));
    ASSERT_NE(c.err, nullptr);
    EXPECT_EQ(c.err->number, KTM_PREFUNKNOWN);
    EXPECT_STREQ(c.err->location, "loc");
    EXPECT_THAT(c.err->text, HasSubstr("ex.x"));
}

void noisyCleanup() {
    std::fputs("cleanup ran\n", stderr);
}

TEST(UncaughtThrow, IsReportedAfterTheCleanupAndEndsWithStatus3) {
    EXPECT_EXIT(
        {
            ktCleanupProcV = noisyCleanup;
            ktExCatch(
                KT_EX_PRECOND, [] { fail("nobody takes this"); },
                [](uint32_t, ktErrObject*) { std::fputs("wrong frame\n", stderr); });
        },
        ::testing::ExitedWithCode(3),
        ::testing::AllOf(::testing::ContainsRegex("cleanup ran\n.*nobody takes this"),
                         Not(HasSubstr("wrong frame"))));
}

void throwThroughNoexcept() {
    ktExCatch(
        KT_EX_FAIL, [] { []() noexcept { fail("cannot travel"); }(); },
        [](uint32_t, ktErrObject*) { std::fputs("resumed\n", stderr); });
}

TEST(UncaughtThrow, AThrowTheUnwinderCannotCarryEndsAsUncaught) {
    EXPECT_EXIT(throwThroughNoexcept(), ::testing::ExitedWithCode(3),
                ::testing::AllOf(HasSubstr("cannot travel"), Not(HasSubstr("resumed"))));
}

// Signal tests in this process share one ktExInit: only the first counts.
char arg0[] = "/opt/tools/mytool.exe";
void initOnce() {
    static char* argv[] = {arg0, nullptr};
    int argc = 1;
    ktExInit(&argc, argv);
}

// raise() is declared not to throw, so a call straight to it has no place
// in its caller's exception regions; through a plain pointer it has.
int (*volatile sendSignal)(int) = raise;

constexpr const char* kSignalTail =
    ".\nReceipt of this message indicates an unspecified\nsystem-level error.\n\n"
    "1.  Save your data under a new name.\n\n2.  Exit the tool.";

// Reads a word from a page that can't be read, with a local whose
// destructor must run when the fault is thrown out of this frame.
__attribute__((noinline)) int readForbidden(volatile int* p, int* destructed) {
    Destructed d{destructed};
    return *p;
}

TEST(CaughtSignals, ARealSegmentationFaultResumesInAFrameThatTakesIt) {
    initOnce();
    void* page = mmap(nullptr, 4096, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(page, MAP_FAILED);
    Caught c;
    int destructed = 0;
    bool reached = false;
    ktExCatch(
        KT_EX_SEGV,
        [&] {
            readForbidden(static_cast<volatile int*>(page), &destructed);
            reached = true;
        },
        takeInto(c));
    munmap(page, 4096);
    EXPECT_FALSE(reached);
    EXPECT_EQ(destructed, 1);
    EXPECT_EQ(c.tag, KT_EX_SEGV);
    ASSERT_NE(c.err, nullptr);
    EXPECT_EQ(c.err->number, 2001);
    EXPECT_STREQ(c.err->app, "ktlib");
    EXPECT_EQ(std::string(c.err->text),
              std::string("mytool - segmentation violation") + kSignalTail);
}

TEST(CaughtSignals, EachSignalHasItsTagAndCanBeCaughtAgain) {
    initOnce();
    struct Case {
        int sig;
        uint32_t tag;
        const char* text;
    };
    for (Case k : {Case{SIGFPE, KT_EX_FPE, "floating point exception"},
                   Case{SIGBUS, KT_EX_BUSERR, "bus error"},
                   Case{SIGSEGV, KT_EX_SEGV, "segmentation violation"},
                   Case{SIGSEGV, KT_EX_SEGV, "segmentation violation"}}) {
        Caught c;
        ktExCatch(
            KT_EX_ALL, [&] { sendSignal(k.sig); }, takeInto(c));
        EXPECT_EQ(c.tag, k.tag);
        ASSERT_NE(c.err, nullptr);
        EXPECT_THAT(c.err->text, HasSubstr(std::string("mytool - ") + k.text + kSignalTail));
    }
}

TEST(CaughtSignals, AFrameWhoseMaskLacksTheTagLetsTheOuterOneTakeIt) {
    initOnce();
    Caught outer;
    bool inner = false;
    ktExCatch(
        KT_EX_FPE,
        [&] {
            ktExCatch(
                KT_EX_FAIL, [] { sendSignal(SIGFPE); },
                [&](uint32_t, ktErrObject*) { inner = true; });
        },
        takeInto(outer));
    EXPECT_FALSE(inner);
    EXPECT_EQ(outer.tag, KT_EX_FPE);
}

TEST(CaughtSignals, ASecondInitDoesNothing) {
    initOnce();
    char name[] = "/bin/other";
    char opt[] = "-ex.catch_signals";
    char* argv[] = {name, opt, nullptr};
    int argc = 2;
    ktExInit(&argc, argv);
    EXPECT_EQ(argc, 2);  // the option was not even looked at
    Caught c;
    ktExCatch(
        KT_EX_SEGV, [] { sendSignal(SIGSEGV); }, takeInto(c));
    EXPECT_EQ(c.tag, KT_EX_SEGV);
    ASSERT_NE(c.err, nullptr);
    EXPECT_THAT(c.err->text, HasSubstr("mytool - "));
}

// The tests below need a process of their own in which ktExInit and the
// exit tables are still untouched: the death test starts the program anew.
class FreshProcess : public ::testing::Test {
protected:
    void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

using UncaughtSignal = FreshProcess;
using ExitHandlers = FreshProcess;

void segvUnderAFailFrame() {
    char name[] = "/usr/bin/rd520.mdb";
    char* argv[] = {name, nullptr};
    int argc = 0;  // as the project database gives it
    ktExInit(&argc, argv);
    ktExCatch(
        KT_EX_FAIL, [] { sendSignal(SIGSEGV); }, [](uint32_t, ktErrObject*) {});
    std::fputs("went on\n", stderr);
}

TEST_F(UncaughtSignal, IsReportedWithTheProgramNameAndEndsWithStatus3) {
    EXPECT_EXIT(
        segvUnderAFailFrame(), ::testing::ExitedWithCode(3),
        ::testing::AllOf(HasSubstr(std::string("rd520 - segmentation violation") + kSignalTail),
                         Not(HasSubstr("went on"))));
}

void segvWithCatchSignalsNo() {
    char name[] = "mytool";
    char opt[] = "-ex.catch_signals";
    char keep[] = "design";
    char* argv[] = {name, opt, keep, nullptr};
    int argc = 3;
    ktExInit(&argc, argv);
    // The option is taken off the command line and moved behind its end.
    if (argc != 2 || std::strcmp(argv[1], "design") != 0 || argv[2] != opt) std::exit(9);
    ktExCatch(
        KT_EX_ALL, [] { sendSignal(SIGSEGV); }, [](uint32_t, ktErrObject*) { std::exit(8); });
}

// Killed by the signal; under the address checker, ended by its report.
bool endedByThePlatform(int status) {
    if (!WIFEXITED(status)) return true;
    int code = WEXITSTATUS(status);
    return code != 0 && code != 3 && code != 8 && code != 9;
}

TEST_F(UncaughtSignal, CatchSignalsNoLeavesTheSignalToThePlatform) {
    EXPECT_EXIT(segvWithCatchSignalsNo(), endedByThePlatform,
                Not(HasSubstr("Receipt of this message")));
}

void say(void* text) {
    std::fputs(static_cast<const char*>(text), stderr);
}
void sayLast() {
    std::fputs("last\n", stderr);
}
void sayClose() {
    std::fputs("close\n", stderr);
}

TEST_F(ExitHandlers, RunByAscendingOrderUnderPurify) {
    EXPECT_EXIT(
        {
            setenv("KT_PURIFY", "1", 1);
            ktOnExitSetOrder(sayLast, 90);
            ktOnExitSetOrder(sayClose, 85);
            ktOnExitAdd(sayLast);
            ktOnExitAdd(sayClose);
            ktOnExitAdd(say, const_cast<char*>("first\n"));
            ktExit(7);
        },
        ::testing::ExitedWithCode(7), ::testing::ContainsRegex("^first\nclose\nlast\n$"));
}

void addTwiceRemoveOnce() {
    setenv("KT_MEMDBG", "1", 1);
    static char a[] = "a\n", b[] = "b\n";
    ktOnExitAdd(say, a);
    ktOnExitAdd(say, a);
    ktOnExitAdd(say, b);
    ktOnExitAdd(sayClose);
    ktOnExitRemove(say, b);
    ktOnExitRemove(say, nullptr);  // not the same key as any handler
    ktExit(0);
}

TEST_F(ExitHandlers, AHandlerIsKeptOnceAndRemovedByTheSameKey) {
    EXPECT_EXIT(addTwiceRemoveOnce(), ::testing::ExitedWithCode(0),
                ::testing::ContainsRegex("^(a\nclose\n|close\na\n)$"));
}

TEST_F(ExitHandlers, WithoutTheSwitchesAddingHasNoEffect) {
    EXPECT_EXIT(
        {
            unsetenv("KT_MEMDBG");
            unsetenv("KT_PURIFY");
            ktOnExitAdd(sayClose);
            // Decided at the first call: setting the switch now is too late.
            setenv("KT_PURIFY", "1", 1);
            ktOnExitAdd(sayLast);
            ktExit(5);
        },
        ::testing::ExitedWithCode(5), ::testing::ContainsRegex("^$"));
}

void reportBanner() {
    std::fputs(ktCurrentBannerV || ktCurrentNameV ? "kept\n" : "released\n", stderr);
}

TEST_F(ExitHandlers, TheBannerTextsAreReleasedAtExitUnderPurify) {
    EXPECT_EXIT(
        {
            setenv("KT_PURIFY", "1", 1);
            ktOnExitSetOrder(reportBanner, 90);
            ktOnExitAdd(reportBanner);
            ktBanner("FIRST", "1");
            ktBanner("SECOND", "2");  // replaces the texts; the handlers stay two
            ktExit(0);
        },
        ::testing::ExitedWithCode(0), ::testing::ContainsRegex("^released\n$"));
}

TEST(Banner, ATooLongTitleIsCutTo255Characters) {
    std::string title(300, 'T');
    ::testing::internal::CaptureStdout();
    ktBanner(title.c_str(), "1");
    std::string out = ::testing::internal::GetCapturedStdout();
    EXPECT_EQ(out.size(), 255u);
    EXPECT_EQ(std::strlen(ktCurrentBannerV), 255u);
}

}  // namespace
