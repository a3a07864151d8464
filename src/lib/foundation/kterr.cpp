// Error reporting. Stand-in: objects and chains, the verbose style on
// standard error and the severity designator of the message text; no log
// file, terse style, stream lists, location helpers or preferences, and no
// complaint objects for a text without designator.
#include "kterr.h"

#include <cstdio>
#include <cstring>
#include <string>

#include "ktex.h"
#include "ktmem.h"
#include "ktmsg.h"
#include "ktstr.h"

namespace {
const char* sevWord(int sev) {
    static const char* const words[] = {"Error", "Status",         "Note",    "Warning",
                                        "Fatal", "Internal Error", "Disabled"};
    return (sev >= 0 && sev <= 6) ? words[sev] : "Error";
}

int sevOfLetter(char c) {
    switch (c | 0x20) {
        case 's': return KT_ERR_STATUS;
        case 'i': return KT_ERR_NOTE;
        case 'w': return KT_ERR_WARNING;
        case 'f': return KT_ERR_FATAL;
        case 'z': return KT_ERR_INTERNAL;
        case 'd': return KT_ERR_DISABLED;
        default: return KT_ERR_ERROR;
    }
}

void count(ktErrStream* s, int sev) {
    if (!s) return;
    switch (sev) {
        case KT_ERR_STATUS: ++s->status; break;
        case KT_ERR_NOTE: ++s->notes; break;
        case KT_ERR_WARNING: ++s->warnings; break;
        case KT_ERR_ERROR: ++s->errors; break;
        case KT_ERR_INTERNAL: ++s->internals; break;
        default: break;
    }
}

std::string verbose(const ktErrObject* err) {
    std::string out;
    for (const ktErrObject* e = err; e; e = e->next) {
        if (e != err) out += "\n+";
        out += std::string(e->app ? e->app : "") + ": " + sevWord(e->severity);
        if (e->number) out += " " + std::to_string(e->number);
        out += ": ";
        if (e->location && *e->location) out += std::string(e->location) + ": ";
        out += e->text ? e->text : "";
    }
    return out;
}
}  // namespace

ktErrObject* ktErrCreate(const char* location, const char* app, int number, int severity,
                         const char* text) {
    auto* e = static_cast<ktErrObject*>(ktMemCalloc(1, sizeof(ktErrObject), "errorObject"));
    e->app = ktStrCpy(app);
    e->location = ktStrCpy(location);
    e->text = ktStrCpy(text);
    e->number = number;
    e->severity = severity;
    e->refs = 1;
    return e;
}

ktErrObject* ktErrBuildVa(const char* location, ktMsgHandle* msgfile, int number, va_list args) {
    const char* text = ktMsgStaticVa(msgfile, number, args);
    int sev = KT_ERR_ERROR;
    const char* body = text;
    // A designator: "[", a letter (blanks before it skipped), "]", then text.
    const char* p = text;
    if (*p == '[') {
        ++p;
        while (*p == ' ') ++p;
        if (*p && p[1] == ']' && p[2]) {
            sev = sevOfLetter(*p);
            body = p + 2;
        }
    }
    return ktErrCreate(location, ktMsgGetFilename(msgfile), number, sev, body);
}

ktErrObject* ktErrBuild(const char* location, ktMsgHandle* msgfile, int number, ...) {
    va_list args;
    va_start(args, number);
    ktErrObject* e = ktErrBuildVa(location, msgfile, number, args);
    va_end(args);
    return e;
}

ktErrObject* ktErrAppend(ktErrObject* err, ktErrObject* other) {
    if (!err) return other;
    ktErrObject* last = err;
    while (last->next) last = last->next;
    last->next = other;
    return err;
}

void ktErrDestroy(ktErrObject* err) {
    while (err) {
        ktErrObject* next = err->next;
        if (--err->refs <= 0) {
            for (char* s : {err->app, err->location, err->text})
                if (s) ktStrFree(s);
            ktMemFree(err);
        }
        err = next;
    }
}

void ktErrDestroyTop(ktErrObject** chain, ktErrObject* stop) {
    ktErrObject* e = *chain;
    while (e && e != stop) {
        ktErrObject* next = e->next;
        e->next = nullptr;
        ktErrDestroy(e);
        e = next;
    }
    *chain = e;
}

void ktErrReport(ktErrStream* stream, ktErrObject* err) {
    if (!err) return;
    // A pending exception belongs behind the report that ends its flight.
    if (ktExErrV) {
        if (ktExErrV != err) ktErrAppend(err, ktExErrV);
        ktExErrV = nullptr;
    }
    int sev = err->severity;
    if (sev == KT_ERR_FATAL || sev == KT_ERR_INTERNAL) {
        std::fprintf(stderr, "\n*** Fatal error encountered ***\n%s\n", verbose(err).c_str());
        ktAbort(sev == KT_ERR_INTERNAL);
    }
    if (sev != KT_ERR_DISABLED) {
        count(stream, sev);
        std::fprintf(stderr, "%s\n", verbose(err).c_str());
    }
    ktErrDestroy(err);
}

ktErrStream* ktErrStreamCreate() {
    auto* s = static_cast<ktErrStream*>(ktMemCalloc(1, sizeof(ktErrStream), "errorStream"));
    s->refs = 1;
    return s;
}

void ktErrReportBuildVa(ktErrStream* stream, const char* location, ktMsgHandle* msgfile,
                        int number, va_list args) {
    ktErrReport(stream, ktErrBuildVa(location, msgfile, number, args));
}

void ktErrReportBuild(ktErrStream* stream, const char* location, ktMsgHandle* msgfile, int number,
                      ...) {
    va_list args;
    va_start(args, number);
    ktErrReportBuildVa(stream, location, msgfile, number, args);
    va_end(args);
}

void ktErrReport2(const char* app, int severity, const char* text) {
    ktErrReport(nullptr, ktErrCreate(nullptr, app, 0, severity, text));
}

void ktErrYell(const char* format, ...) {
    va_list args;
    va_start(args, format);
    std::vfprintf(stderr, format, args);
    va_end(args);
}

char* ktErrLocationRoutine(const char* name) {
    static char location[512];
    if (!name || !*name) return nullptr;
    std::snprintf(location, sizeof location, "in call to routine %s()", name);
    return location;
}

void ktErrOut3(const char* location, const char* app, int severity, const char* text) {
    ktErrReport(nullptr, ktErrCreate(location, app, 0, severity, text));
}
