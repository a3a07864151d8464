// Name translation. Stand-in: names pass through unchanged; no character
// table, reserved words, prefix, identifier table or identifier list.
#include "votr.h"

#include "kspath.h"
#include "ktstr.h"
#include "vgstruct.h"

void votrsetup() {}

void votrfree() {}

char* votr(const char* name) {
    static char out[KS_PATHMAX];
    return ktStrncpyNullTerm(out, name, sizeof out);
}

char* votruncnam(const char* name) {
    char base[KS_PATHMAX] = "";
    ksParse(name, nullptr, nullptr, base, nullptr);
    return vostcpy(base);
}

void votest_translations() {}

void vodump_translations() {}
