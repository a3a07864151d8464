// Exceptions and exit. Stand-in: catch frames and throws work, but there
// are no signal handlers, exit handlers, exit order or ktExit yet.
#include "ktex.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "kterr.h"
#include "ktstr.h"

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
    std::snprintf(buf + n, sizeof buf - n, "Copyright (c) %s Corvane Design Systems. All rights reserved.\n",
                  year);

    if (ktCurrentBannerV) ktStrFree(ktCurrentBannerV);
    if (ktCurrentNameV) ktStrFree(ktCurrentNameV);
    ktCurrentBannerV = ktStrCpy(buf);
    ktCurrentNameV = ktStrCpy(title);
    std::fputs(buf, stdout);
}

void ktDummyProc() {}

const char* ktExTagText(uint32_t tag) {
    static char unknown[64];
    switch (tag) {
        case KT_EX_PRECOND: return "subroutine pre-condition not met";
        case KT_EX_FAIL: return "subroutine failed to fulfill contract";
        case KT_EX_BUSERR: return "bus error";
        case KT_EX_SEGV: return "segmentation violation";
        case KT_EX_FPE: return "floating point exception";
        default: break;
    }
    for (int i = 0; i < 8; ++i)
        if (tag == (KT_EX_USER1 << i)) {
            std::snprintf(unknown, sizeof unknown, "user-defined exception %d", i + 1);
            return unknown;
        }
    std::snprintf(unknown, sizeof unknown, "unknown exception type %ld", static_cast<long>(tag));
    return unknown;
}

void ktExThrow(uint32_t tag, ktErrObject* err) {
    ktExTagV = tag;
    ktErrObject* previous = ktExErrV;
    ktExErrV = err;
    // A failure while another is in flight keeps both.
    if (previous && previous != err) ktErrAppend(err, previous);
    ktExFrame* f = ktEx_StackV;
    while (f && !(f->mask & tag)) f = f->previous;
    if (!f) {
        ktCleanup();
        ktExErrV = nullptr;
        ktErrReport(nullptr, err);
        ktAbort(0);
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

void ktOnExitAdd(void (*)(void*), void*) {}
void ktOnExitSetOrder(void (*)(void*), int) {}

void ktCleanup() {
    static bool done = false;
    if (done) return;
    done = true;
    ktCleanupProcV();
}

void ktAbort(int core) {
    ktCleanup();
    std::fflush(stdout);
    if (core) std::abort();
    std::exit(3);
}
