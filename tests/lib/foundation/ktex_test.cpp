#include "ktex.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mman.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "freshprocess.h"
#include "kterr.h"
#include "ktlib_msg.h"
#include "ktmsg.h"

namespace {

using ::testing::AllOf;
using ::testing::ExitedWithCode;
using ::testing::HasSubstr;
using ::testing::Not;

// What a handler saw; the error is kept (not swallowed) for inspection.
struct Caught {
    uint32_t tag = 0;
    ktErrObject* err = nullptr;
    ~Caught() { ktErrDestroy(err); }
    auto take() {
        return [this](uint32_t tag, ktErrObject* err) {
            this->tag = tag;
            this->err = err;
            ktExErrV = nullptr;
            ktExTagV = 0;
        };
    }
};

void fail(const char* text) {
    ktExThrow2(KT_EX_FAIL, "test", KT_ERR_ERROR, text);
}

struct Destructed {
    int* count;
    ~Destructed() { ++*count; }
};

TEST(CatchFrames, TheInnermostFrameOfTheTagTakesItAndOthersAreUnwound) {
    Caught c;
    auto wrongFrame = [](uint32_t, ktErrObject*) { ADD_FAILURE() << "taken by the wrong frame"; };
    int destructed = 0;
    ktExCatch(
        KT_EX_ALL,
        [&] {
            ktExCatch(
                KT_EX_FAIL | KT_EX_SEGV,
                [&] {
                    // Tag 2 passes a frame of mask 1 by.
                    ktExCatch(
                        KT_EX_PRECOND,
                        [&] {
                            Destructed d{&destructed};
                            ktExThrowBuild(KT_EX_FAIL, "loc", ktMsgFile(), KTM_PREFUNKNOWN, "ex.x");
                        },
                        wrongFrame);
                },
                c.take());
        },
        wrongFrame);
    EXPECT_EQ(destructed, 1);
    EXPECT_EQ(ktEx_StackV, nullptr);
    EXPECT_EQ(c.tag, KT_EX_FAIL);
    ASSERT_NE(c.err, nullptr);
    EXPECT_EQ(c.err->number, KTM_PREFUNKNOWN);
    EXPECT_STREQ(c.err->location, "loc");
    EXPECT_THAT(c.err->text, HasSubstr("ex.x"));
    ktExCatch(
        KT_EX_FAIL, [] { fail("gone"); }, [](uint32_t, ktErrObject*) { ktExSwallow(); });
    EXPECT_EQ(ktExErrV, nullptr);
    EXPECT_EQ(ktExTagV, 0u);
}

// The chain an outer frame sees when the inner handler does `handle`.
std::string chainAfter(void (*handle)(uint32_t, ktErrObject*)) {
    Caught outer;
    ktExCatch(
        KT_EX_FAIL,
        [&] {
            ktExCatch(
                KT_EX_FAIL, [] { fail("first"); }, handle);
        },
        outer.take());
    std::string texts;
    for (ktErrObject* e = outer.err; e; e = e->next) texts += std::string(e->text) + ";";
    return texts;
}

TEST(ErrorsInFlight, AFailureWhileHandlingKeepsBothAndAPassedErrorIsNotChainedToItself) {
    EXPECT_EQ(chainAfter([](uint32_t tag, ktErrObject* err) { ktExThrow(tag, err); }), "first;");
    EXPECT_EQ(chainAfter([](uint32_t, ktErrObject*) { fail("second"); }), "second;first;");
    // A record that already holds the first is not chained again.
    EXPECT_EQ(chainAfter([](uint32_t tag, ktErrObject* err) {
                  ktExThrow(tag, ktErrAppend(ktErrCreate(nullptr, "test", 0, 0, "second"), err));
              }),
              "second;first;");
}

TEST(UncaughtThrow, IsReportedAfterTheCleanupAndEndsWithStatus3) {
    EXPECT_EXIT(
        {
            ktCleanupProcV = [] { std::fputs("cleanup ran\n", stderr); };
            ktExCatch(
                KT_EX_PRECOND, [] { fail("nobody takes this"); },
                [](uint32_t, ktErrObject*) { std::fputs("wrong frame\n", stderr); });
        },
        ExitedWithCode(3),
        AllOf(::testing::ContainsRegex("cleanup ran\n.*nobody takes this"),
              Not(HasSubstr("wrong frame"))));
    // A throw the unwinder cannot carry ends as uncaught too.
    EXPECT_EXIT(ktExCatch(
                    KT_EX_FAIL, [] { []() noexcept { fail("cannot travel"); }(); },
                    [](uint32_t, ktErrObject*) { std::fputs("resumed\n", stderr); }),
                ExitedWithCode(3), AllOf(HasSubstr("cannot travel"), Not(HasSubstr("resumed"))));
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

TEST(CaughtSignals, AFaultResumesInTheFrameThatTakesItsTag) {
    static char arg0[] = "/opt/tools/mytool.exe";
    static char* argv[] = {arg0, nullptr};
    int argc = 1;
    ktExInit(&argc, argv);  // only the first call of the process counts
    void* page = mmap(nullptr, 4096, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(page, MAP_FAILED);
    Caught c;
    int destructed = 0;
    ktExCatch(
        KT_EX_SEGV, [&] { readForbidden(static_cast<volatile int*>(page), &destructed); },
        c.take());
    munmap(page, 4096);
    EXPECT_EQ(destructed, 1);
    EXPECT_EQ(c.tag, KT_EX_SEGV);
    ASSERT_NE(c.err, nullptr);
    EXPECT_EQ(c.err->number, 2001);
    EXPECT_EQ(std::string(c.err->text),
              std::string("mytool - segmentation violation") + kSignalTail);

    struct Case {
        int sig;
        uint32_t tag;
        const char* text;
    };
    for (Case k : {Case{SIGFPE, KT_EX_FPE, "floating point exception"},
                   Case{SIGBUS, KT_EX_BUSERR, "bus error"},
                   Case{SIGSEGV, KT_EX_SEGV, "segmentation violation"}}) {
        Caught outer;
        ktExCatch(
            k.tag,
            [&] {
                ktExCatch(
                    KT_EX_FAIL, [&] { sendSignal(k.sig); },
                    [](uint32_t, ktErrObject*) { ADD_FAILURE() << "taken by the wrong frame"; });
            },
            outer.take());
        EXPECT_EQ(outer.tag, k.tag);
        ASSERT_NE(outer.err, nullptr);
        EXPECT_THAT(outer.err->text, HasSubstr(std::string("mytool - ") + k.text + kSignalTail));
    }
}

// Tests of a process of its own, where ktExInit and the exit tables are
// still untouched.
using ExitHandlers = FreshProcess;

void say(void* text) {
    std::fputs(static_cast<const char*>(text), stderr);
}
void sayLast() {
    std::fputs("last\n", stderr);
}
void sayClose() {
    std::fputs("close\n", stderr);
}

void addInOrderUnderPurify() {
    setenv("KT_PURIFY", "1", 1);
    static char first[] = "first\n", gone[] = "gone\n";
    ktOnExitSetOrder(sayLast, 90);
    ktOnExitSetOrder(sayClose, 85);
    ktOnExitAdd(sayLast);
    ktOnExitAdd(sayClose);
    ktOnExitAdd(say, first);
    ktOnExitAdd(say, first);
    ktOnExitAdd(say, gone);
    ktOnExitRemove(say, gone);
    ktOnExitRemove(say, nullptr);  // not the same key as any handler
    ktExit(7);
}

TEST_F(ExitHandlers, RunByAscendingOrderEachOnceAndOnlyUnderASwitch) {
    EXPECT_EXIT(addInOrderUnderPurify(), ExitedWithCode(7),
                ::testing::ContainsRegex("^first\nclose\nlast\n$"));
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
        ExitedWithCode(5), ::testing::ContainsRegex("^$"));
}

TEST(Banner, TitleVersionReleaseAndNoticeWithTheTitleCutTo255) {
    ::testing::internal::CaptureStdout();
    ktBanner("MY TOOL", "1.2");
    EXPECT_EQ(::testing::internal::GetCapturedStdout(),
              "MY TOOL - V1.2; Wexcombe 5.3.2 (052595)\n"
              "Copyright (c) 1995 Corvane Design Systems. All rights reserved.\n");
    EXPECT_STREQ(ktCurrentNameV, "MY TOOL");
    std::string title(300, 'T');
    ::testing::internal::CaptureStdout();
    ktBanner(title.c_str(), "1");
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), std::string(255, 'T'));
    EXPECT_EQ(std::strlen(ktCurrentBannerV), 255u);
}

}  // namespace
