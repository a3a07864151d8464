// Exceptions and exit. Throws, catch frames, the signal handler that
// turns a fault into a throw, the exit handler and exit order tables, and
// the banner.
#include "ktex.h"

#include <signal.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>

#include "kspath.h"
#include "kterr.h"
#include "ktlib_msg.h"
#include "ktlist.h"
#include "ktmem.h"
#include "ktmsg.h"
#include "ktpref.h"
#include "ktstr.h"
#include "ktsym.h"

ktExFrame* ktEx_StackV = nullptr;
uint32_t ktExTagV = 0;
ktErrObject* ktExErrV = nullptr;
void (*ktCleanupProcV)() = ktDummyProc;

char* ktCurrentBannerV = nullptr;
char* ktCurrentNameV = nullptr;
const char* ktCurrentVersionV = "532";
const char* ktCompatibleVersionV = "532";
const char* ktCompatibleExeTagV = "$Corvane compatible version: 532$";

namespace {
// The release of the library, and the stamp its date and year come from.
constexpr const char* kProduct = "Wexcombe";
constexpr const char* kMajor = "5";
constexpr const char* kMinor = "3";
constexpr const char* kPatch = "2";
constexpr const char* kDateStamp = "$Date: 1995/05/25 15:59:36 $";

void freeBanner() {
    if (ktCurrentBannerV) ktStrFree(ktCurrentBannerV);
    ktCurrentBannerV = nullptr;
}

void freeName() {
    if (ktCurrentNameV) ktStrFree(ktCurrentNameV);
    ktCurrentNameV = nullptr;
}
}  // namespace

void ktBanner(const char* title, const char* version) {
    // The stamp reads "$Date: YYYY/MM/DD ...": MMDDYY and the year come from it.
    const char* d = std::strchr(kDateStamp, ' ') + 1;
    char date[7] = {d[5], d[6], d[8], d[9], d[2], d[3], '\0'};
    char year[5] = {d[0], d[1], d[2], d[3], '\0'};

    char buf[256];
    char patch[8] = "";
    if (std::strcmp(kPatch, "0") != 0) std::snprintf(patch, sizeof patch, ".%s", kPatch);
    int n = std::snprintf(buf, sizeof buf, "%s - V%s; ", title, version);
    if (n < 0 || n >= static_cast<int>(sizeof buf)) n = static_cast<int>(sizeof buf) - 1;
    int m = std::snprintf(buf + n, sizeof buf - n, "%s %s.%s%s (%s)\n", kProduct, kMajor, kMinor,
                          patch, date);
    if (m > 0) n += m;
    if (n >= static_cast<int>(sizeof buf)) n = static_cast<int>(sizeof buf) - 1;
    std::snprintf(buf + n, sizeof buf - n,
                  "Copyright (c) %s Corvane Design Systems. All rights reserved.\n", year);

    static bool first = true;
    if (first) {
        first = false;
        ktOnExitAdd(freeBanner);
        ktOnExitAdd(freeName);
    }
    freeBanner();
    freeName();
    ktCurrentBannerV = ktStrCpy(buf);
    ktCurrentNameV = ktStrCpy(title);
    std::fputs(buf, stdout);
}

void ktDummyProc() {}


const char* ktExTagText(uint32_t tag) {
    static char unknown[64];
    switch (tag) {
        case KT_EX_PRECOND:
            return "subroutine pre-condition not met";
        case KT_EX_FAIL:
            return "subroutine failed to fulfill contract";
        case KT_EX_BUSERR:
            return "bus error";
        case KT_EX_SEGV:
            return "segmentation violation";
        case KT_EX_FPE:
            return "floating point exception";
        default:
            break;
    }
    for (int i = 0; i < 8; ++i)
        if (tag == (KT_EX_USER1 << i)) {
            std::snprintf(unknown, sizeof unknown, "user-defined exception %d", i + 1);
            return unknown;
        }
    std::snprintf(unknown, sizeof unknown, "unknown exception type %ld", static_cast<long>(tag));
    return unknown;
}

namespace {
void (*previousTerminate)() = nullptr;

// The unwinder gives up on a throw it can't carry: out of a function
// declared not to throw (a fault inside a C library call whose caller has
// destructors to run), or out of a destructor during unwinding. Such a
// throw ends as if no frame had taken it: reported, status 3.
[[noreturn]] void onTerminate() {
    try {
        if (std::exception_ptr e = std::current_exception()) std::rethrow_exception(e);
    } catch (const ktExUnwind&) {
        ktCleanup();
        ktErrObject* err = ktExErrV;
        ktExErrV = nullptr;
        ktErrReport(nullptr, err);
        ktAbort(0);
    } catch (...) {
    }
    if (previousTerminate) previousTerminate();
    std::abort();
}
}  // namespace

void ktExThrow(uint32_t tag, ktErrObject* err) {
    ktExTagV = tag;
    ktErrObject* previous = ktExErrV;
    ktExErrV = err;
    // A failure while another is in flight keeps both; a record that
    // already holds the earlier one, or is it, is left as it is.
    bool held = false;
    for (ktErrObject* e = err; e && !held; e = e->next) held = e == previous;
    if (previous && !held) ktErrAppend(err, previous);
    ktExFrame* f = ktEx_StackV;
    while (f && !(f->mask & tag)) f = f->previous;
    if (!f) {
        ktCleanup();
        ktExErrV = nullptr;
        ktErrReport(nullptr, err);
        ktAbort(0);
    }
    static bool armed = false;
    if (!armed) {
        armed = true;
        previousTerminate = std::set_terminate(onTerminate);
    }
    ktEx_StackV = f->previous;
    throw ktExUnwind{f};
}

void ktExThrow2(uint32_t tag, const char* source, int severity, const char* text) {
    ktExThrow(tag, ktErrCreate(nullptr, source, 0, severity, text));
}

void ktExThrowBuild(uint32_t tag, const char* source, ktMsgHandle* msgfile, int number, ...) {
    va_list args;
    va_start(args, number);
    ktErrObject* err = ktErrBuildVa(source, msgfile, number, args);
    va_end(args);
    ktExThrow(tag, err);
}

void ktExSwallow() {
    ktErrDestroyTop(&ktExErrV, nullptr);
    ktExTagV = 0;
}

ktErrObject* ktExTake() {
    ktErrObject* err = ktExErrV;
    ktExErrV = nullptr;
    ktExTagV = 0;
    return err;
}

void ktCleanup() {
    static bool done = false;
    if (done) return;
    done = true;
    ktCleanupProcV();
}

namespace {
struct AbortHandler {
    void (*handler)();
    AbortHandler* older;
};
AbortHandler* abortHandlers = nullptr;
}  // namespace

void ktAbortAddHandler(void (*handler)()) {
    auto* h = static_cast<AbortHandler*>(ktMemMalloc(sizeof(AbortHandler), "ktAbortHandler"));
    *h = AbortHandler{handler, abortHandlers};
    abortHandlers = h;
}

void ktAbort(int core) {
    ktCleanup();
    // A handler that ends in ktAbort itself must not start the list again.
    while (AbortHandler* h = abortHandlers) {
        abortHandlers = h->older;
        h->handler();
        ktMemFree(h);
    }
    std::fflush(stdout);
    std::fflush(stderr);
    if (core) ksCoreDump();
    std::exit(3);
}

// Signals. The handler throws like any other failure, straight out of the
// signal frame: the unwinder steps through the kernel's signal frame into
// the interrupted code and on to the catch frame, running destructors on
// the way. Two things make that sound. The system is compiled with
// -fnon-call-exceptions, so that a faulting instruction, not only a call,
// lies inside the exception regions of its function. And the handler is
// installed with SA_NODEFER: leaving it by a throw skips the return from
// the signal, and a signal blocked for the handler's duration would stay
// blocked. The handler is never reset to the default, so a fault inside
// it is handled the same way.
namespace {
char programName[KS_PATHMAX] = "unknown";

constexpr int kSignals[] = {SIGFPE, SIGBUS, SIGSEGV};

uint32_t tagOfSignal(int sig) {
    switch (sig) {
        case SIGFPE:
            return KT_EX_FPE;
        case SIGBUS:
            return KT_EX_BUSERR;
        default:
            return KT_EX_SEGV;
    }
}

void onSignal(int sig) {
    uint32_t tag = tagOfSignal(sig);
    char text[512];
    std::snprintf(text, sizeof text,
                  "%s - %s.\nReceipt of this message indicates an unspecified\n"
                  "system-level error.\n\n1.  Save your data under a new name.\n\n"
                  "2.  Exit the tool.",
                  programName, ktExTagText(tag));
    ktExThrow(tag, ktErrCreate(nullptr, "ktlib", 2001, KT_ERR_ERROR, text));
}

void catchSignal(int sig) {
    struct sigaction sa {};
    sa.sa_handler = onSignal;
    sa.sa_flags = SA_NODEFER;
    sigemptyset(&sa.sa_mask);
    if (sigaction(sig, &sa, nullptr) != 0) ktErrYell("vrSignal failed\n");
}

// Destroys the option group on every way out of ktExInit.
struct PrefGroupGuard {
    ktPrefDB* group;
    ~PrefGroupGuard() { ktPrefDestroy(group); }
};
}  // namespace

void ktExInit(int* argc, char** argv) {
    static bool done = false;
    if (done) return;
    done = true;

    char name[KS_PATHMAX];
    if (argv && argv[0] && ksParse(argv[0], nullptr, nullptr, name, nullptr) == KS_OK && name[0])
        std::snprintf(programName, sizeof programName, "%s", name);

    PrefGroupGuard guard{ktPrefCreate("ex")};
    ktTypedata yes = 1;
    ktPrefAdd2(guard.group, "catch_signals", &ktYesNoTS, ktMsgFile(), KTM_EXCATCHSIGNALS, &yes);
    int none = 0;
    // A bad entry of the initialization file is reported, and its option
    // keeps its default.
    ktErrObject* bad = ktExCatch(
        KT_EX_FAIL,
        [&]() -> ktErrObject* {
            ktPrefParse("wexcombe", argc ? argc : &none, argv);
            return nullptr;
        },
        [](uint32_t, ktErrObject*) { return ktExTake(); });
    if (ktPrefVal(guard.group, "catch_signals"))
        for (int sig : kSignals) catchSignal(sig);
    if (bad) ktErrReport(nullptr, bad);
}

// Exit handlers and their order. Both tables exist only in the debug
// configurations, decided once, at the first call that needs them.
namespace {
using Proc = void (*)();

struct ExitHandler {
    Proc function;  // a void(void*) when flags has KT_EXIT_WITHARG
    void* argument;
    uint8_t flags;
};
constexpr uint8_t KT_EXIT_WITHARG = 0x80;

// One entry of the list that ktExit sorts.
struct ExitCall {
    ktList link;
    ExitHandler handler;
    int order;
};

ktSym* exitHandlers = nullptr;
ktSym* exitOrders = nullptr;
int exitTablesKept = -1;  // -1 until decided

bool keepExitTables() {
    if (exitTablesKept < 0)
        exitTablesKept = (std::getenv("KT_MEMDBG") || std::getenv("KT_PURIFY")) ? 1 : 0;
    return exitTablesKept == 1;
}

uintptr_t address(Proc f) {
    return reinterpret_cast<uintptr_t>(f);
}

uint32_t handlerHash(const void* key) {
    const auto* h = static_cast<const ExitHandler*>(key);
    return static_cast<uint32_t>(address(h->function) + reinterpret_cast<uintptr_t>(h->argument));
}

int handlerEqual(const void* stored, const void* key) {
    const auto* a = static_cast<const ExitHandler*>(stored);
    const auto* b = static_cast<const ExitHandler*>(key);
    return a->function == b->function && a->argument == b->argument;
}

void* handlerCopy(const void* key) {
    auto* h = static_cast<ExitHandler*>(ktMemMalloc(sizeof(ExitHandler), "ktExitHandler"));
    *h = *static_cast<const ExitHandler*>(key);
    return h;
}

void* releaseBlock(void* key) {
    ktMemFree(key);
    return nullptr;
}

uint32_t orderHash(const void* key) {
    return static_cast<uint32_t>(address(*static_cast<const Proc*>(key)));
}

int orderEqual(const void* stored, const void* key) {
    return *static_cast<const Proc*>(stored) == *static_cast<const Proc*>(key);
}

void* orderCopy(const void* key) {
    auto* cell = static_cast<Proc*>(ktMemMalloc(sizeof(Proc), "ktOnExitSetOrder"));
    *cell = *static_cast<const Proc*>(key);
    return cell;
}

void addHandler(const ExitHandler& h) {
    if (!keepExitTables()) return;
    if (!exitHandlers) {
        exitHandlers = ktSymCreate(401, handlerHash, handlerEqual, handlerCopy, releaseBlock);
        ktSymDynamic(exitHandlers, 2.0, 2.0);
    }
    ktSymStore(exitHandlers, &h, nullptr);
}

void removeHandler(const ExitHandler& h) {
    if (!keepExitTables() || !exitHandlers) return;
    ktSymRemove(exitHandlers, &h);
}

void setOrder(Proc f, int order) {
    if (!keepExitTables()) return;
    if (!exitOrders) exitOrders = ktSymCreate(29, orderHash, orderEqual, orderCopy, releaseBlock);
    ktSymStore(exitOrders, &f, reinterpret_cast<void*>(static_cast<intptr_t>(order)));
}

int orderOf(Proc f) {
    if (!exitOrders) return 0;
    return static_cast<int>(reinterpret_cast<intptr_t>(ktSymFetch(exitOrders, &f)));
}

int collectCall(void*, void* key, void* head, void*) {
    auto* call = static_cast<ExitCall*>(ktMemMalloc(sizeof(ExitCall), "ktExitHandler"));
    call->handler = *static_cast<const ExitHandler*>(key);
    call->order = orderOf(call->handler.function);
    auto** list = static_cast<ktList**>(head);
    *list = ktListSins(&call->link, nullptr, *list);
    return 1;
}

int byOrder(ktList* a, ktList* b) {
    return reinterpret_cast<ExitCall*>(a)->order - reinterpret_cast<ExitCall*>(b)->order;
}

// The calls work on copies, so a handler may add or remove handlers.
void runExitHandlers() {
    ktList* calls = nullptr;
    ktSymLoop(exitHandlers, collectCall, &calls, nullptr);
    calls = ktListSsort(calls, byOrder);
    while (calls) {
        auto* call = reinterpret_cast<ExitCall*>(calls);
        calls = calls->next;
        const ExitHandler& h = call->handler;
        if (h.flags & KT_EXIT_WITHARG)
            reinterpret_cast<void (*)(void*)>(h.function)(h.argument);
        else
            h.function();
        ktMemFree(call);
    }
}

ExitHandler withArg(void (*f)(void*), void* arg) {
    return ExitHandler{reinterpret_cast<Proc>(f), arg, KT_EXIT_WITHARG};
}
}  // namespace

void ktOnExitAdd(void (*function)(void*), void* argument) {
    addHandler(withArg(function, argument));
}
void ktOnExitAdd(void (*function)()) {
    addHandler(ExitHandler{function, nullptr, 0});
}

void ktOnExitRemove(void (*function)(void*), void* argument) {
    removeHandler(withArg(function, argument));
}
void ktOnExitRemove(void (*function)()) {
    removeHandler(ExitHandler{function, nullptr, 0});
}

void ktOnExitSetOrder(void (*function)(void*), int order) {
    setOrder(reinterpret_cast<Proc>(function), order);
}
void ktOnExitSetOrder(void (*function)(), int order) {
    setOrder(function, order);
}

void ktExit(int status) {
    // A handler that ends the program itself must not run the handlers again.
    static bool exiting = false;
    if (!exiting) {
        exiting = true;
        ktOnExitSetOrder(ktMemFree, 90);
        if (exitHandlers) {
            runExitHandlers();
            ktSymDestroy(exitHandlers, ktSymDummy);
            exitHandlers = nullptr;
        }
        if (exitOrders) {
            ktSymDestroy(exitOrders, ktSymDummy);
            exitOrders = nullptr;
        }
        ktStrTerminate();
        ktDlistPurge();
        // The usage report goes to standard output; all three are silent
        // unless the debug allocator is on.
        ktMemPrintUsageStdout();
        ktMem_DbgPrintStrings();
        ktMem_DbgTestMemory();
    }
    std::exit(status);
}
