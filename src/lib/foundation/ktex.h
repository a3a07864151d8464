// Exceptions and the ways out of the program. A failure is thrown as a
// tagged error record that travels up a chain of catch frames; the first
// frame whose mask shares a bit with the tag takes it. With no such frame
// the error is reported and the program ends with status 3. After
// ktExInit, floating point exceptions, bus errors and segmentation
// violations enter the same path. ktExit runs the exit handlers in their
// order and the final memory checks; exit handlers exist only when
// KT_MEMDBG or KT_PURIFY is set, so nothing that must happen at every end
// of the program belongs in one.
//
// A catch frame lives in the catching function and is entered through
// ktExCatch; the throw reaches it as a C++ exception, so destructors of
// everything between the throw and the frame run. The frame needs no jump
// buffer: the unwinder finds it. A throw the unwinder can't carry (out of
// a function declared not to throw, such as a fault inside a C library
// call whose caller has destructors to run) ends as an uncaught one.
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

extern ktExFrame* ktEx_StackV;    // innermost frame, or null
extern uint32_t ktExTagV;         // tag in flight
extern ktErrObject* ktExErrV;     // error in flight
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
[[noreturn]] void ktExThrowBuild(uint32_t tag, const char* source, ktMsgHandle* msgfile, int number,
                                 ...);

// Forgets the error in flight: the handler of a frame that swallows it.
void ktExSwallow();
// Takes the error in flight out of the frame's hands: the handler's caller
// then holds it, to report or destroy.
ktErrObject* ktExTake();

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

// Takes the program name from argv[0] and, unless the option
// ex.catch_signals says no, catches SIGFPE, SIGBUS and SIGSEGV: a frame
// that takes the tag resumes, and otherwise the signal is reported and the
// program ends with status 3. `argc` is the address of the count, as
// ktPrefParse takes it. Only the first call counts.
void ktExInit(int* argc, char** argv);

// Exit handlers: with an argument, or without. A function and argument are
// kept once however often they are added. Order 0 runs first; message
// files close at 85, ktMemFree and string releases run at 90.
void ktOnExitAdd(void (*function)(void*), void* argument);
void ktOnExitAdd(void (*function)());
void ktOnExitRemove(void (*function)(void*), void* argument);
void ktOnExitRemove(void (*function)());
void ktOnExitSetOrder(void (*function)(void*), int order);
void ktOnExitSetOrder(void (*function)(), int order);

// Runs the exit handlers by ascending order, tears down the string pool
// and the recycled list cells, makes the memory reports of the debug
// allocator, and exits with `status`.
[[noreturn]] void ktExit(int status);

// Prints "<title> - V<version>; Wexcombe 5.3.2 (052595)" and the notice line
// on standard output, and keeps the text in ktCurrentBannerV.
void ktBanner(const char* title, const char* version);

// Runs the clean-up once and the abort handlers, newest first, then dumps
// core when `core` is set, else exit(3).
[[noreturn]] void ktAbort(int core);
// Adds a handler that ktAbort calls on its way out.
void ktAbortAddHandler(void (*handler)());
void ktCleanup();
