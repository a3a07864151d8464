// Exceptions and the ways out of the program. A failure is thrown as a
// tagged error record that travels up a chain of catch frames; the first
// frame whose mask shares a bit with the tag takes it. With no such frame
// the error is reported and the program ends with status 3.
//
// A catch frame lives in the catching function and is entered through
// ktExCatch; the throw reaches it as a C++ exception, so destructors of
// everything between the throw and the frame run.
#pragma once
#include <cstdint>

struct ktErrObject;
struct ktMsgHandle;

// Exception tags, one bit each so a mask can name several.
enum : uint32_t {
    KT_EX_PRECOND = 0x1,  // subroutine pre-condition not met
    KT_EX_FAIL = 0x2,     // subroutine failed to fulfill contract
    KT_EX_BUSERR = 0x40,
    KT_EX_SEGV = 0x80,
    KT_EX_FPE = 0x100,
    KT_EX_USER1 = 0x10000,  // user-defined 1 to 8: 0x10000 to 0x800000
    KT_EX_ALL = 0xffffffffu,
};

struct ktExFrame {
    uint32_t mask;        // tags this frame takes
    ktExFrame* previous;  // next frame outward
};

// What carries a throw from ktExThrow to the frame it chose.
struct ktExUnwind {
    ktExFrame* target;
};

extern ktExFrame* ktEx_StackV;   // innermost frame, or null
extern uint32_t ktExTagV;        // tag in flight
extern ktErrObject* ktExErrV;    // error in flight
extern void (*ktCleanupProcV)();  // run once before the program ends on an error
extern char* ktCurrentBannerV;
extern char* ktCurrentNameV;
extern const char* ktCurrentVersionV;
extern const char* ktCompatibleVersionV;
extern const char* ktCompatibleExeTagV;

// The text of a tag, such as "subroutine failed to fulfill contract".
const char* ktExTagText(uint32_t tag);

[[noreturn]] void ktExThrow(uint32_t tag, ktErrObject* err);
[[noreturn]] void ktExThrow2(uint32_t tag, const char* source, int severity, const char* text);
[[noreturn]] void ktExThrowBuild(uint32_t tag, const char* source, ktMsgHandle* msgfile,
                                 int number, ...);

// Forgets the error in flight: the handler of a frame that swallows it.
void ktExSwallow();

// Runs `body` inside a catch frame of `mask`. When a throw reaches the
// frame, `handler(tag, err)` runs with the frame already gone: it swallows
// the error with ktExSwallow or passes it on with ktExThrow. Both return
// the same type.
template <typename Body, typename Handler>
auto ktExCatch(uint32_t mask, Body body, Handler handler) -> decltype(body()) {
    ktExFrame frame{mask, ktEx_StackV};
    struct Restore {
        ktExFrame* saved;
        ~Restore() { ktEx_StackV = saved; }
    } restore{ktEx_StackV};
    ktEx_StackV = &frame;
    try {
        return body();
    } catch (const ktExUnwind& u) {
        if (u.target != &frame) throw;
        ktEx_StackV = restore.saved;
        return handler(ktExTagV, ktExErrV);
    }
}

void ktDummyProc();

// Prints "<title> - V<version>; Wexcombe 5.3.2 (052595)" and the notice line
// on standard output, and keeps the text in ktCurrentBannerV.
void ktBanner(const char* title, const char* version);

// Exit handlers: `func` is called with `arg` when the program ends through
// ktExit, in the order set by ktOnExitSetOrder (lowest first). Stand-in:
// both do nothing yet.
void ktOnExitAdd(void (*func)(void*), void* arg);
void ktOnExitSetOrder(void (*func)(void*), int order);

// Runs the clean-up once, then dumps core when `core` is set, else exit(3).
[[noreturn]] void ktAbort(int core);
void ktCleanup();
