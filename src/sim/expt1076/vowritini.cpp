// The initialization file that a run writes at its end. The configuration
// it ran with stands as live statements; the defaults it used and what it
// met in the symbols (generics, attributes, translations, pin types) stand
// as statements behind a comment mark in column 0, so that deleting the
// mark makes them live. Every line goes through votok and is made of
// numbered texts of the message file. The sections come in a fixed order
// with the components last, since the reader counts every statement behind
// a COMPONENT line as part of that component. The records are only read.
#include "vowritini.h"

#include <cstdio>
#include <cstring>
#include <vector>

#include "entgen_msg.h"
#include "iwobj.h"
#include "kspath.h"
#include "kterr.h"
#include "ktmsg.h"
#include "ktstr.h"
#include "vgstruct.h"
#include "voinisec.h"
#include "vomain.h"
#include "voportinfo.h"
#include "votok.h"

namespace {
// The comment mark in front of a statement that shows but does not count.
void mark() {
    votok(0, "| ");
}

void heading(int number) {
    mark();
    votokmsg(VOTOK_NLAFTER, number);
}

void blank() {
    votok(VOTOK_NLAFTER, "");
}

// A keyword and one or two operands on a line of their own.
void pair(bool live, const char* key, const char* operand) {
    if (!live) mark();
    votokmsg(VOTOK_NLAFTER, VOM_WI_PAIR, key, operand);
}

void triple(bool live, const char* key, const char* a, const char* b) {
    if (!live) mark();
    votokmsg(VOTOK_NLAFTER, VOM_WI_TRIPLE, key, a, b);
}

// The records of a list that holds the newest first, oldest first. Lists of
// a large file are long, so this walks them without recursion.
template <typename T>
std::vector<T*> oldestFirst(T* list) {
    std::vector<T*> out;
    for (; list; list = list->next) out.push_back(list);
    return {out.rbegin(), out.rend()};
}

void writeVersion() {
    pair(true, "ENTGEN", "5.3.1");
    blank();
}

void writeHeaders() {
    heading(VOM_WI_HHEADER1);
    heading(VOM_WI_HHEADER2);
    blank();
    for (vohead* h : oldestFirst(vo->ini->headers)) pair(true, "HEADER", h->text);
    if (!vo->ini->headers) {
        pair(false, "HEADER", "Library std;");
        pair(false, "HEADER", "Use std.standard.all;");
    }
    blank();
}

// A PLACE line; a package is followed by the name of its file.
void place(bool live, int kind, int where, const char* file, const char* ext) {
    if (!live) mark();
    if (where != 2) {
        votokmsg(VOTOK_NLAFTER, VOM_WI_TRIPLE, "PLACE", voplacetype(kind), voplacelocation(where));
        return;
    }
    votokmsg(0, VOM_WI_TRIPLE, "PLACE", voplacetype(kind), voplacelocation(where));
    votok(VOTOK_NLAFTER, vomerge(file ? file : "", ext ? ext : ""));
}

void writePlaces() {
    heading(VOM_WI_HPLACE1);
    heading(VOM_WI_HPLACE2);
    blank();
    for (struct voplace* p = vo->ini->places; p; p = p->next)
        place(true, p->kind, p->where, p->file, p->ext);
    if (!vo->ini->places) {
        place(false, 1, 2, "compdecl", "vhd");
        place(false, 2, 1, nullptr, nullptr);
    }
    blank();
}

void writePrefix() {
    heading(VOM_WI_HPREFIX);
    blank();
    pair(vo->ini->prefix != nullptr, "PREFIX", vo->ini->prefix ? vo->ini->prefix : "v");
    blank();
}

// A text that a whole-name translation can match: letters, digits and
// underscores only. Anything else was a character translation.
bool isWordText(const char* text) {
    for (const char* p = text ? text : ""; *p; ++p) {
        const char c = *p;
        if (!((c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') ||
              c == '_'))
            return false;
    }
    return true;
}

// The entries of `list` that `want` accepts, as TRANSLATE lines of `kind`.
// Returns whether any was written.
bool translations(votrans* list, bool live, const char* kind, bool (*want)(const char*)) {
    bool any = false;
    for (votrans* t = list; t; t = t->next) {
        if (want && !want(t->from)) continue;
        if (!live) mark();
        votokmsg(0, VOM_WI_PAIR, "TRANSLATE", kind);
        votokmsg(VOTOK_NLAFTER, VOM_WI_PAIR, t->from, t->to);
        any = true;
    }
    return any;
}

// What the configuration translated, then, commented, what the run
// translated on its own: whole names first, then single characters.
void writeTranslations() {
    auto isCharText = [](const char* text) { return !isWordText(text); };
    voini* ini = vo->ini;
    bool any = translations(ini->words, true, "word", nullptr);
    any = translations(ini->trlist, false, "word", isWordText) || any;
    any = translations(ini->chars, true, "char", nullptr) || any;
    any = translations(ini->trlist, false, "char", isCharText) || any;
    if (any) blank();
}

void writeListIds() {
    heading(VOM_WI_HLISTID1);
    heading(VOM_WI_HLISTID2);
    blank();
    const int listids = vo->ini->listids;
    pair(listids != 1, "LIST_IDENTIFIERS", listids == 3 ? "all" : "translated");
    blank();
}

// The mode word of a direction; a code of no mode reads as an input.
const char* directionWord(int dir) {
    const char* word = voport_dir_string(dir);
    return std::strcmp(word, "UnKnownPORT") == 0 ? "IN" : word;
}

void writePinTypes() {
    heading(VOM_WI_HPINTYPE);
    blank();
    for (vopint* p = vo->ini->pintypes; p; p = p->next)
        triple(true, "PIN_TYPE", p->name, directionWord(p->dir));
    for (vopint* p = vo->ini->autopins; p; p = p->next)
        triple(false, "PIN_TYPE", p->name, directionWord(p->dir));
    blank();
}

// The three type statements, each commented with its default when the
// configuration gave none.
void writeTypes() {
    voini* ini = vo->ini;
    heading(VOM_WI_HTYPES);
    blank();
    triple(ini->sigtype != nullptr, "SIGNAL_TYPE", vosigtype(), vosigbase());
    blank();
    triple(ini->vectype != nullptr, "VECTOR_TYPE", vo1DimVecType(), vovec1Dimbase());
    blank();
    triple(ini->vec2type != nullptr, "2D_VECTOR_TYPE", vo2DimVecType(), vovec2Dimbase());
    blank();
}

void writeDelay() {
    heading(VOM_WI_HDELAY);
    blank();
    const voDelay* delay = vo->ini->delay;
    const int kind = delay ? delay->kind : 2;
    triple(delay != nullptr, "DELAY", kind == 1 ? "min" : kind == 3 ? "max" : "typ", nullptr);
    blank();
}

void writeTicksize() {
    heading(VOM_WI_HTICKSIZE);
    blank();
    if (const voTicksize* tick = vo->ini->ticksize) {
        // Room for any double in fixed notation, and a unit cut to fit.
        char text[512];
        std::snprintf(text, sizeof text, "%.2f %s", tick->value, tick->unit ? tick->unit : "");
        triple(true, "TICKSIZE", text, nullptr);
    } else {
        triple(false, "TICKSIZE", "0.1 ns", nullptr);
    }
    blank();
}

void writeZval() {
    pair(vo->ini->zval != nullptr, "HIGH_IMPEDENCE_STATE", vozval());
    blank();
}

// The configured initial values, then, commented, the global nets of the
// design that none covers.
void writeInitialize() {
    heading(VOM_WI_HINIT);
    blank();
    bool any = false;
    for (vosinit* s : oldestFirst(vo->ini->sinits)) {
        triple(true, "INITIALIZE", s->name, s->value);
        any = true;
    }
    for (const char* net = iwgblnet(nullptr); net; net = iwgblnet(net)) {
        if (vofindsi(net)) continue;
        triple(false, "INITIALIZE", net, "'0'");
        any = true;
    }
    if (any) blank();
}

void writeSetdef() {
    voini* ini = vo->ini;
    heading(VOM_WI_HSETDEF);
    blank();
    triple(ini->gendefault != nullptr, "SETDEF", "generic",
           ini->gendefault ? ini->gendefault : "string");
    triple(ini->attdefault != nullptr, "SETDEF", "attribute",
           ini->attdefault ? ini->attdefault : "string");
    blank();
}

// One GENERIC line; a generic without a VHDL name or type is NULL, which
// keeps its attribute out of the model.
void generic(const vogen* g, bool live) {
    if (!live) mark();
    votokmsg(0, VOM_WI_PAIR, "GENERIC", g->name);
    if (g->vhdlname && g->type)
        votokmsg(0, VOM_WI_GENERIC, g->vhdlname, g->type);
    else
        votok(0, "NULL");
    if (g->trailer) votokmsg(0, VOM_WI_PAIR, "", g->trailer);
    votok(VOTOK_NLAFTER, "");
}

// The configured generics, then, commented, those the run made from
// symbol attributes that no GENERIC statement covers.
void writeGenerics() {
    heading(VOM_WI_HGENERIC);
    blank();
    bool any = false;
    for (vogen* g : oldestFirst(vo->ini->gens)) generic(g, true), any = true;
    for (vogen* g : oldestFirst(vo->gens)) generic(g, false), any = true;
    if (any) blank();
}

void attribute(const voattr* a, bool live) {
    if (!live) mark();
    votokmsg(0, VOM_WI_PAIR, "ATTRIBUTE", a->name);
    if (a->vhdlname && a->type)
        votokmsg(VOTOK_NLAFTER, VOM_ATTDECL, a->vhdlname, a->type);
    else
        votok(VOTOK_NLAFTER, "NULL");
}

void writeAttributes() {
    bool any = false;
    for (voattr* a : oldestFirst(vo->ini->attrs)) attribute(a, true), any = true;
    for (voattr* a : oldestFirst(vo->attrs)) attribute(a, false), any = true;
    if (any) blank();
}

// The text that opens a continuation line: the reader takes a lone "+" at
// the head of a line as the statement above going on.
void continued() {
    votokmsg(0, VOM_WI_PAIR, "   +   ", "");
}

// `map ( a => b, ... )`, one element to a line, each further line
// continued and hanging under the first element.
void association(int opening, const voae* list) {
    continued();
    votokmsg(VOTOK_HANG, opening);
    for (const voae* e = list; e; e = e->next) {
        votokmsg(0, VOM_WI_ASSOC, e->formal, e->actual);
        if (!e->next) break;
        votok(VOTOK_NLAFTER, ",");
        continued();
    }
    votok(VOTOK_NLAFTER | VOTOK_UNHANG, ")");
}

// A COMPONENT with its binding and generics one level in.
void component(const vocomp* c) {
    votokmsg(VOTOK_NLAFTER | VOTOK_INDENT, VOM_WI_PAIR, "COMPONENT", c->name);
    if (const vobind* b = c->bind) {
        votokmsg(0, VOM_WI_PAIR, "BINDING", "");
        votokmsg(VOTOK_NLAFTER | VOTOK_INDENT, VOM_WI_BINDING, b->lib, b->entity, b->arch);
        if (b->genmap) association(VOM_WI_GENMAP, b->genmap);
        if (b->portmap) association(VOM_WI_PORTMAP, b->portmap);
        votok(VOTOK_DEDENT, "");
    }
    for (vogen* g : oldestFirst(c->gens)) generic(g, true);
    votok(c->bind || c->gens ? VOTOK_DEDENT | VOTOK_NLAFTER : VOTOK_DEDENT, "");
}

void writeComponents() {
    for (vocomp* c : oldestFirst(vo->ini->comps)) component(c);
}

// The name the file is written under: the library of a library run, else
// the symbol's model file base name.
void fileBase(char (&base)[KS_PATHMAX]) {
    const char* name = vo->cmdl && vo->cmdl->name ? vo->cmdl->name : "";
    if (vo->cmdl && vo->cmdl->library) {
        ktStrncpyNullTerm(base, name, sizeof base);
        base[std::strcspn(base, ":")] = '\0';
        return;
    }
    if (const vogroup* g = vofindgr(vo->top); g && g->base) {
        ktStrncpyNullTerm(base, g->base, sizeof base);
        return;
    }
    // No group was made for the symbol: its name without library and version.
    const char* colon = std::strchr(name, ':');
    if (ksParse(colon ? colon + 1 : name, nullptr, nullptr, base, nullptr) != KS_OK) base[0] = '\0';
    ktStrLoc(base);
}
}  // namespace

void vowritini() {
    // Without the reader's record the file shows the built-in defaults.
    if (!vo->ini) vo->ini = voinibloc();
    char base[KS_PATHMAX];
    fileBase(base);
    vofopenini(base, "ini");
    vomsg(1);
    const bool library = vo->cmdl && vo->cmdl->library;
    ktErrReportBuild(voErrStrID, ViewLocation, msgFp, VOM_WROTE, "initialization",
                     library ? "Library" : "design", base, vomerge(base, "ini"));

    writeVersion();
    writeHeaders();
    writePlaces();
    writePrefix();
    writeTranslations();
    writeListIds();
    writePinTypes();
    writeTypes();
    writeDelay();
    writeTicksize();
    writeZval();
    writeInitialize();
    writeSetdef();
    writeGenerics();
    writeAttributes();
    writeComponents();
    vofclose();
}
