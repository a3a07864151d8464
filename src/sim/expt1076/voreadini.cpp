// The initialization file reader: lexer, version line and dispatcher. The
// lexer looks one token ahead: when a statement ends, the first token of
// the next one already stands in vodata.buf with the result VOINI_NEWLINE,
// and the dispatcher starts from it. Statements behind a COMPONENT line
// belong to that component until COMPONENT NULL or the end of the file.
#include "voreadini.h"

#include <cstdio>
#include <cstring>

#include "entgen_msg.h"
#include "kspath.h"
#include "kssrch.h"
#include "ktsym.h"
#include "vgstruct.h"
#include "voinisec.h"
#include "vomain.h"

const char* keyword[20] = {
    "ENTGEN", "HEADER", "GENERIC", "ATTRIBUTE", "SIGNAL_TYPE", "VECTOR_TYPE",
    "HIGH_IMPEDENCE_STATE", "INITIALIZE", "COMPONENT", "BINDING", "PIN_TYPE",
    "PREFIX", "TRANSLATE", "PLACE", "LIST_IDENTIFIERS", "SETDEF", "TICKSIZE",
    "DELAY", "2D_VECTOR_TYPE", nullptr,
};

namespace {
// Indexes into `keyword`.
enum Keyword {
    kNone = -1,
    kVersion,
    kHeader,
    kGeneric,
    kAttribute,
    kSignalType,
    kVectorType,
    kHighImpedence,
    kInitialize,
    kComponent,
    kBinding,
};

// The program's version; a file may be of this version or older.
constexpr const char* kVersionText = "5.3.1";

int parseVersion(voini*);

// The parser of each keyword outside a component, by index. COMPONENT and
// BINDING are the dispatcher's own.
using Parser = int (*)(voini*);
constexpr Parser kParsers[19] = {
    parseVersion,
    [](voini* i) { return voiniheader(&i->headers); },
    [](voini* i) { return voinigeneric(&i->gens); },
    [](voini* i) { return voiniattribute(&i->attrs); },
    [](voini* i) { return voinisigtype(&i->sigtype); },
    [](voini* i) { return voinivector(&i->vectype); },
    [](voini* i) { return voinizval(&i->zval); },
    [](voini* i) { return voiniinitialize(&i->sinits); },
    nullptr,
    nullptr,
    [](voini*) { return voinipintype(); },
    [](voini* i) { return voiniprefix(&i->prefix); },
    [](voini* i) { return voinitranslate(&i->words, &i->chars); },
    [](voini* i) { return voiniplace(&i->places); },
    [](voini* i) { return voinilistid(&i->listids); },
    [](voini* i) { return voinisetdef(&i->gendefault, &i->attdefault); },
    [](voini* i) { return voiniticksize(&i->ticksize); },
    [](voini* i) { return voinidelay(&i->delay); },
    [](voini* i) { return voinivector(&i->vec2type); },
};

int findKeyword(const char* token) {
    for (int i = 0; keyword[i]; ++i)
        if (std::strcmp(token, keyword[i]) == 0) return i;
    return kNone;
}

// The version line, at the head of the file or anywhere later. The number
// is read as a float, as the program's own "5.3.1" is, so both stop at
// the second dot: 5.3.9 is the same version, 5.4 a newer one.
int parseVersion(voini* ini) {
    int r = voinitok(VOINI_PLAIN, VOINI_BLANKS);
    if (r != VOINI_SAMELINE) {
        voreport(4, VOM_INI_NOVERSION, ini->name, ini->stmtline);
        voexit(4);
    }
    float file = 0, own = 0;
    std::sscanf(kVersionText, "%f", &own);
    // Written so that a NaN is refused with the too-new versions.
    if (std::sscanf(vo->buf, "%f", &file) != 1 || !(file <= own)) {
        voreport(4, VOM_INI_BADVERSION, ini->name, ini->stmtline);
        voexit(4);
    }
    return voiniend(voinitok(VOINI_PLAIN, VOINI_BLANKS), keyword[kVersion]);
}

// A statement that has no place where it stands: one report, then the
// whole statement, from behind its keyword, is skipped.
int refuse(int number) {
    voreport(3, number, vo->ini->name, vo->ini->line, vo->buf);
    return voiniskip(VOINI_SAMELINE);
}

// The statements behind a COMPONENT line, up to COMPONENT NULL or the end
// of the file. Only GENERIC, BINDING and COMPONENT belong in a component.
int componentBlock(vocomp* current, int r) {
    voini* ini = vo->ini;
    while (current && r == VOINI_NEWLINE) {
        ini->stmtline = ini->line;
        switch (findKeyword(vo->buf)) {
            case kGeneric: r = voinigeneric(&current->gens); break;
            case kBinding: r = voinibinding(&current->bind); break;
            case kComponent: r = voinicomponent(&ini->comps, &current); break;
            case kVersion:
            case kHeader:
            case kAttribute:
            case kSignalType:
            case kVectorType:
            case kHighImpedence:
            case kInitialize: r = refuse(VOM_INI_INCOMPONENT); break;
            // The later sections are not known here at all.
            default: r = refuse(VOM_INI_UNKNOWN); break;
        }
    }
    return r;
}

// One statement outside a component, from its keyword in vodata.buf.
int dispatch() {
    voini* ini = vo->ini;
    int k = findKeyword(vo->buf);
    if (k == kNone) return refuse(VOM_INI_UNKNOWN);
    if (k == kBinding) return refuse(VOM_INI_NOCOMPONENT);
    if (k != kComponent) return kParsers[k](ini);
    vocomp* current = nullptr;
    int r = voinicomponent(&ini->comps, &current);
    return componentBlock(current, r);
}

// Reads the open file from its first token to its end.
void readStatements(voini* ini) {
    int r = voinitok(VOINI_PLAIN, VOINI_BLANKS);
    if (r == VOINI_EOF) {
        voreport(2, VOM_INI_EMPTY, ini->name);
        return;
    }
    ini->stmtline = ini->line;
    if (std::strcmp(vo->buf, keyword[kVersion]) != 0) {
        voreport(4, VOM_INI_NOKEYWORD, keyword[kVersion]);
        voexit(4);
    }
    r = parseVersion(ini);
    while (r == VOINI_NEWLINE) {
        ini->stmtline = ini->line;
        r = dispatch();
    }
}
}  // namespace

int voreadini(const char* name) {
    voini* ini = vo->ini = voinibloc();
    ini->name = vostcpy(name);
    char path[KS_PATHMAX];
    if (ksGetini(name, path) != KS_OK || !(ini->fp = std::fopen(path, "r"))) {
        voreport(2, VOM_INI_NOTFOUND, name);
        return 0;
    }
    readStatements(ini);
    std::fclose(ini->fp);
    ini->fp = nullptr;
    return 1;
}

int voinitok(const char* delims, const char* skips) {
    voini* ini = vo->ini;
    bool comment = false;
    int result = VOINI_SAMELINE;
    for (;;) {
        // A line begins with a keyword or a lone "+", whatever the operand
        // that was looked for: read it as a plain word, so that an operand
        // missing at the end of a line never swallows the next statement.
        bool lineStart = result == VOINI_NEWLINE;
        if (ktTklex(ini->fp, vo->buf, VOINI_TOKENMAX + 1, lineStart ? VOINI_PLAIN : delims,
                    lineStart ? VOINI_BLANKS : skips, nullptr) == -1)
            return VOINI_EOF;
        const char* t = vo->buf;
        if (t[0] == '\n') {
            ++ini->line;
            result = VOINI_NEWLINE;
            comment = false;
        } else if (comment) {
            continue;
        } else if (t[0] == '|') {
            comment = true;
        } else if (std::strcmp(t, "+") == 0 && result == VOINI_NEWLINE) {
            // The line end before it is cancelled: the statement goes on.
            result = VOINI_SAMELINE;
        } else {
            return result;
        }
    }
}

int voiniend(int result, const char* key) {
    if (result != VOINI_SAMELINE) return result;
    voreport(2, VOM_INI_EXTRA, vo->ini->name, vo->ini->stmtline, key);
    return voiniskip(result);
}

int voiniskip(int result) {
    while (result == VOINI_SAMELINE) result = voinitok(VOINI_PLAIN, VOINI_BLANKS);
    return result;
}
