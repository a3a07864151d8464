// The initialization file entgen.ini: the input is the file, found in the
// working directory as a run finds it and read by the reader and the
// parsers of its sections. A bad version line ends the run (that is its
// contract); any other file is read to its end. Either way the file is
// closed, the records obey what the statements promise, the counts of
// reports match the ending, and releasing the records gives back every
// byte the reader took.
#include <cstring>
#include <string>

#include "fuzzsupport.h"
#include "ktmsg.h"
#include "ktstr.h"
#include "vgstruct.h"
#include "vomain.h"
#include "voinisec.h"
#include "voreadini.h"

namespace {
bool fits(const char* text) {
    return text && std::strlen(text) <= VOINI_TOKENMAX;
}

bool upperCase(const char* text) {
    for (; *text; ++text)
        if (*text >= 'a' && *text <= 'z') return false;
    return true;
}

// A generic or attribute is either NULL (no VHDL name, no type) or whole.
template <typename Record>
void checkDeclarations(const Record* r) {
    for (; r; r = r->next) {
        FUZZ_CHECK(fits(r->name) && *r->name);
        FUZZ_CHECK(!r->vhdlname == !r->type);
        if (r->vhdlname) FUZZ_CHECK(*r->vhdlname && fits(r->vhdlname) && fits(r->type));
    }
}

void checkMap(const voae* e) {
    for (; e; e = e->next) FUZZ_CHECK(fits(e->formal) && fits(e->actual));
}

void checkTranslations(const votrans* t, bool word) {
    for (; t; t = t->next) {
        FUZZ_CHECK(fits(t->from) && *t->from && upperCase(t->from));
        FUZZ_CHECK(t->fromlen == static_cast<int>(std::strlen(t->from)));
        if (word) FUZZ_CHECK(t->to && *t->to);
        if (t->to) FUZZ_CHECK(fits(t->to));
    }
}

void checkRecords(const voini* i) {
    for (const vohead* h = i->headers; h; h = h->next) FUZZ_CHECK(fits(h->text) && *h->text);
    checkDeclarations(i->gens);
    checkDeclarations(i->attrs);
    for (const vosigt* s : {i->sigtype})
        if (s) FUZZ_CHECK(fits(s->type) && fits(s->base));
    for (const vovect* v : {i->vectype, i->vec2type})
        if (v) FUZZ_CHECK(fits(v->type) && fits(v->base));
    if (i->zval) FUZZ_CHECK(fits(i->zval->value));
    for (const vosinit* s = i->sinits; s; s = s->next) FUZZ_CHECK(fits(s->name) && fits(s->value));
    for (const vocomp* c = i->comps; c; c = c->next) {
        FUZZ_CHECK(fits(c->name));
        // COMPONENT of a name given before reopens that one.
        for (const vocomp* d = c->next; d; d = d->next) FUZZ_CHECK(ktStrIcmp(c->name, d->name));
        checkDeclarations(c->gens);
        if (const vobind* b = c->bind) {
            FUZZ_CHECK(fits(b->lib) && fits(b->entity) && fits(b->arch));
            checkMap(b->genmap);
            checkMap(b->portmap);
        }
    }
    for (const vopint* p = i->pintypes; p; p = p->next) {
        FUZZ_CHECK(fits(p->name) && upperCase(p->name));
        FUZZ_CHECK(p->dir == 1 || p->dir == 2 || p->dir == 4 || p->dir == 8 || p->dir == 16);
        for (const vopint* q = p->next; q; q = q->next) FUZZ_CHECK(ktStrIcmp(p->name, q->name));
    }
    checkTranslations(i->words, true);
    checkTranslations(i->chars, false);
    if (i->prefix) FUZZ_CHECK(fits(i->prefix));
    for (const voplace* p = i->places; p; p = p->next) {
        FUZZ_CHECK((p->kind == 1 || p->kind == 2) && (p->where == 1 || p->where == 2));
        if (p->where == 2) FUZZ_CHECK(p->file && *p->file && p->ext && *p->ext);
    }
    FUZZ_CHECK(i->listids >= 1 && i->listids <= 3);
    if (i->gendefault) FUZZ_CHECK(fits(i->gendefault) && !std::strpbrk(i->gendefault, " \t"));
    if (i->attdefault) FUZZ_CHECK(fits(i->attdefault) && !std::strpbrk(i->attdefault, " \t"));
    if (i->ticksize) FUZZ_CHECK(fits(i->ticksize->unit));
    if (i->delay) FUZZ_CHECK(i->delay->kind >= 1 && i->delay->kind <= 3 && fits(i->delay->word));
    FUZZ_CHECK(i->stmtline >= 1 && i->stmtline <= i->line);
    // The readers of the types give the file's words or the built-in ones.
    for (const char* t : {vosigtype(), vosigbase(), vo1DimVecType(), vovec1Dimbase(),
                          vo2DimVecType(), vovec2Dimbase(), vozval()})
        FUZZ_CHECK(fits(t));
}
}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    fuzzTranslatorSetup();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzInWorkDir here;
    fuzzWriteFile("entgen.ini", data, size);
    const long before = vomemtotal, empties = fuzzEmptyCopies;
    vo->warnings = vo->errors = vo->fatals = 0;
    const int code = fuzzCatchExit([] { FUZZ_CHECK(voreadini("entgen.ini") == 1); });
    voini* ini = vo->ini;
    if (code >= 0) {
        // Only the version line ends the run, and only as a fatal error.
        FUZZ_CHECK(code == 4 && vo->fatals == 1 && ini->fp);
        std::fclose(ini->fp);
        ini->fp = nullptr;
    } else {
        FUZZ_CHECK(vo->fatals == 0 && !ini->fp);
    }
    checkRecords(ini);
    voinifree(ini);
    vo->ini = nullptr;
    // Every byte taken is given back, but for empty copies left counted.
    FUZZ_CHECK(vomemtotal >= before && vomemtotal - before <= fuzzEmptyCopies - empties);
    return 0;
}
