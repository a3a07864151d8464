// The section parsers of the initialization file. Operands are read in
// order; the first that fails gives the statement's report, the rest of
// the line is dropped and nothing is stored. Records are made as the
// operands come and released when one fails, so that no half statement
// reaches the configuration. Operand words compare without regard to case.
#include "voinisec.h"

#include <cstdlib>
#include <cstring>
#include <initializer_list>

#include "entgen_msg.h"
#include "kspath.h"
#include "ktstr.h"
#include "vomain.h"
#include "voreadini.h"

namespace {
// Delimiters and skip characters of one operand.
struct TokenSet {
    const char* delims;
    const char* skips;
};

constexpr TokenSet kPlain{VOINI_PLAIN, VOINI_BLANKS};
// Free text up to a comment or the line end, blanks inside it and behind it.
constexpr TokenSet kRestOfLine{"|\n", VOINI_BLANKS};
// A VHDL type and what goes with it, up to the semicolon.
constexpr TokenSet kTypeText{"|\n;", ": \t"};

// The empty text of a character translation that deletes. It is shared and
// never released: vostfree leaves an empty text alone.
char kEmptyText[] = "";

int next(TokenSet set) {
    return voinitok(set.delims, set.skips);
}

// Reads an operand into vodata.buf; false when the line holds none. A
// token that is one of the set's own delimiters is punctuation, no operand.
bool operand(int& r, TokenSet set) {
    r = next(set);
    if (r != VOINI_SAMELINE) return false;
    const char* t = vo->buf;
    return !(t[0] && !t[1] && std::strchr(set.delims, t[0]));
}

bool is(const char* word) {
    return ktStrIcmp(vo->buf, word) == 0;
}

char* copy() {
    return vostcpy(vo->buf);
}

// A statement in error: the report with the file, the statement's line and
// the keyword, then the rest of the line goes without a count.
int fail(int r, int level, int number, const char* key) {
    voreport(level, number, vo->ini->name, vo->ini->stmtline, key);
    return voiniskip(r);
}

// A statement that may stand once, and stood before: the first one stays.
int twice(const char* key) {
    return fail(VOINI_SAMELINE, 2, VOM_INI_TWICE, key);
}

// An error inside a map, told with the line where it was found.
int mapFail(int r, int number) {
    voreport(3, number, vo->ini->name, vo->ini->line);
    return r;
}

template <typename T>
void push(T** list, T* rec) {
    rec->next = *list;
    *list = rec;
}

template <typename T>
void append(T** list, T* rec) {
    while (*list) list = &(*list)->next;
    *list = rec;
}

// Cuts a type at its last ")": a default written inside the parentheses of
// a GENERIC stays with the type.
void cutAtLastParen(char* text) {
    if (char* paren = ktStrRch(text, ')')) *paren = '\0';
}

// The two words of SIGNAL_TYPE and the vector types into `type`, `base`.
template <typename T>
int typePair(T** field, T* (*make)(), const char* key) {
    if (*field) return twice(key);
    int r;
    if (!operand(r, kPlain)) return fail(r, 3, VOM_INI_MISSING, key);
    char* type = copy();
    if (!operand(r, kPlain)) {
        vostfree(type);
        return fail(r, 3, VOM_INI_NOSECOND, key);
    }
    T* rec = make();
    rec->type = type;
    rec->base = copy();
    *field = rec;
    return voiniend(next(kPlain), key);
}
}  // namespace

int voiniheader(vohead** list) {
    const char* key = "HEADER";
    int r;
    if (!operand(r, kRestOfLine)) return fail(r, 2, VOM_INI_MISSING, key);
    vohead* h = voheadbloc();
    h->text = copy();
    push(list, h);
    return voiniend(next(kPlain), key);
}

int voinigeneric(vogen** list) {
    const char* key = "GENERIC";
    int r;
    if (!operand(r, kPlain)) return fail(r, 3, VOM_INI_NONAME, key);
    vogen* g = vogenbloc();
    g->name = copy();
    auto refuse = [&](int number) {
        vogenfree(g);
        return fail(r, 3, number, key);
    };
    if (!operand(r, {"|\n \t(", VOINI_BLANKS})) return refuse(VOM_INI_MISSING);
    if (is("NULL")) {
        // No VHDL name: the attribute of this name stays out of the model.
        push(list, g);
        return voiniend(next(kPlain), key);
    }
    if (!is("generic")) return refuse(VOM_INI_NOTGENERIC);
    if (!operand(r, {"|\n \t:", " \t("})) return refuse(VOM_INI_NOGENNAME);
    g->vhdlname = copy();
    if (!operand(r, kTypeText)) return refuse(VOM_INI_NOTYPE);
    cutAtLastParen(vo->buf);
    if (!*vo->buf) return refuse(VOM_INI_NOTYPE);
    g->type = copy();
    r = next({VOINI_PLAIN, " \t);"});
    if (r == VOINI_SAMELINE) {
        g->trailer = copy();
        r = next(kPlain);
    }
    push(list, g);
    return voiniend(r, key);
}

int voiniattribute(voattr** list) {
    const char* key = "ATTRIBUTE";
    int r;
    if (!operand(r, kPlain)) return fail(r, 3, VOM_INI_NONAME, key);
    voattr* a = voattrbloc();
    a->name = copy();
    auto refuse = [&](int number) {
        voattrfree(a);
        return fail(r, 3, number, key);
    };
    if (!operand(r, kPlain)) return refuse(VOM_INI_MISSING);
    if (is("NULL")) {
        push(list, a);
        return voiniend(next(kPlain), key);
    }
    if (!is("attribute")) return refuse(VOM_INI_NOTATTRIBUTE);
    if (!operand(r, {"|\n \t:", VOINI_BLANKS})) return refuse(VOM_INI_NOATTNAME);
    a->vhdlname = copy();
    if (!operand(r, kTypeText)) return refuse(VOM_INI_NOTYPE);
    a->type = copy();
    push(list, a);
    return voiniend(next({VOINI_PLAIN, " \t;"}), key);
}

int voinisigtype(vosigt** field) {
    return typePair(field, vosigtbloc, "SIGNAL_TYPE");
}

int voinivector(vovect** field) {
    return typePair(field, vovectbloc, "VECTOR_TYPE");
}

int voinizval(struct vozval** field) {
    const char* key = "HIGH_IMPEDENCE_STATE";
    if (*field) return twice(key);
    int r;
    if (!operand(r, kPlain)) return fail(r, 3, VOM_INI_MISSING, key);
    *field = vozvalbloc();
    (*field)->value = copy();
    return voiniend(next(kPlain), key);
}

int voiniinitialize(vosinit** list) {
    const char* key = "INITIALIZE";
    int r;
    if (!operand(r, kPlain)) return fail(r, 3, VOM_INI_MISSING, key);
    char* name = copy();
    if (!operand(r, kPlain)) {
        vostfree(name);
        return fail(r, 3, VOM_INI_NOVALUE, key);
    }
    vosinit* s = vosinitbloc();
    s->name = name;
    s->value = copy();
    push(list, s);
    return voiniend(next(kPlain), key);
}

int voinicomponent(vocomp** list, vocomp** current) {
    const char* key = "COMPONENT";
    int r;
    if (!operand(r, kPlain)) return fail(r, 2, VOM_INI_MISSING, key);
    if (is("NULL")) {
        *current = nullptr;
        return voiniend(next(kPlain), key);
    }
    vocomp* c = *list;
    while (c && ktStrIcmp(c->name, vo->buf) != 0) c = c->next;
    if (!c) {
        c = vocompbloc();
        c->name = copy();
        push(list, c);
    }
    *current = c;
    return voiniend(next(kPlain), key);
}

int voinibinding(vobind** field) {
    const char* key = "BINDING";
    int r;
    if (!operand(r, kPlain)) return fail(r, 3, VOM_INI_MISSING, key);
    if (!is("entity")) return fail(r, 3, VOM_INI_NOENTITY, key);
    vobind* b = vobindbloc();
    const TokenSet parts[] = {
        {"|\n \t.", VOINI_BLANKS},  // library, up to the dot
        {"|\n \t(", " \t."},        // entity, up to the parenthesis
        {"|\n \t)", " \t("},        // architecture, inside the parentheses
    };
    char** fields[] = {&b->lib, &b->entity, &b->arch};
    for (int i = 0; i < 3; ++i) {
        if (!operand(r, parts[i])) {
            vobindfree(b);
            voreport(3, VOM_INI_BADBINDING, vo->ini->name, vo->ini->stmtline);
            return voiniskip(r);
        }
        *fields[i] = copy();
    }
    // The binding stands from here on, whatever becomes of its maps.
    vobindfree(*field);
    *field = b;
    r = next({VOINI_PLAIN, " \t);"});
    if (r == VOINI_SAMELINE && is("generic")) {
        r = voinimap(&b->genmap);
        if (r == VOINI_SAMELINE && is("port")) r = voinimap(&b->portmap);
    } else if (r == VOINI_SAMELINE && is("port")) {
        r = voinimap(&b->portmap);
    }
    return voiniend(r, key);
}

int voinimap(voae** list) {
    const TokenSet map{"|\n \t()=>,", VOINI_BLANKS};
    voae* head = nullptr;
    auto refuse = [&](int r) {
        voaefree(head);
        return voiniskip(mapFail(r, VOM_INI_BADMAP));
    };
    int r = next(map);
    if (r != VOINI_SAMELINE || !is("map")) return refuse(r);
    r = next(map);
    if (r != VOINI_SAMELINE || !is("(")) return refuse(r);
    voae** tail = &head;
    for (;;) {
        r = voiniae(tail);
        if (!*tail) return refuse(r);
        tail = &(*tail)->next;
        r = next(map);
        if (r != VOINI_SAMELINE) return refuse(r);
        if (is(")")) break;
        if (!is(",")) return refuse(r);
    }
    append(list, head);
    return next({VOINI_PLAIN, " \t;"});
}

int voiniae(voae** out) {
    const TokenSet arrow{"|\n \t=>", VOINI_BLANKS};
    *out = nullptr;
    int r;
    if (!operand(r, arrow)) return mapFail(r, VOM_INI_NOFORMAL);
    char* formal = copy();
    auto refuse = [&](int number) {
        vostfree(formal);
        return mapFail(r, number);
    };
    for (const char* part : {"=", ">"}) {
        r = next(arrow);
        if (r != VOINI_SAMELINE) return refuse(VOM_INI_NOARROW);
        if (!is(part)) return refuse(VOM_INI_BADARROW);
    }
    if (!operand(r, {"|\n \t,)", VOINI_BLANKS})) return refuse(VOM_INI_BADARROW);
    voae* e = voaebloc();
    e->formal = formal;
    e->actual = copy();
    *out = e;
    return r;
}

namespace {
struct Mode {
    const char* word;
    int dir;
};
constexpr Mode kModes[] = {
    {"IN", 1},  {"ENA", 1}, {"OUT", 2}, {"TRI", 2},     {"INOUT", 4},    {"IO", 4},
    {"OEM", 4}, {"OCT", 4}, {"IXO", 4}, {"BUFFER", 8}, {"LINKAGE", 16},
};
}  // namespace

int voinipintype() {
    const char* key = "PIN_TYPE";
    int r;
    if (!operand(r, kPlain)) return fail(r, 3, VOM_INI_MISSING, key);
    char* name = vostcpy(ktStrUpc(vo->buf));
    if (!operand(r, kPlain)) {
        vostfree(name);
        return fail(r, 3, VOM_INI_NOMODE, key);
    }
    int dir = 0;
    for (const Mode& m : kModes)
        if (is(m.word)) dir = m.dir;
    if (!dir) {
        vostfree(name);
        return fail(r, 3, VOM_INI_BADMODE, key);
    }
    vopint** at = &vo->ini->pintypes;
    while (*at && ktStrIcmp((*at)->name, name) != 0) at = &(*at)->next;
    if (*at) {
        // The first statement of a name stands; a repeat is dropped silently.
        vostfree(name);
    } else {
        *at = vopintbloc();
        (*at)->name = name;
        (*at)->dir = dir;
    }
    return voiniend(next(kPlain), key);
}

int voiniprefix(char** field) {
    const char* key = "PREFIX";
    int r;
    if (!operand(r, kPlain)) return fail(r, 3, VOM_INI_MISSING, key);
    vostfree(*field);
    *field = copy();
    return voiniend(next(kPlain), key);
}

int voinitranslate(votrans** words, votrans** chars) {
    const char* key = "TRANSLATE";
    int r;
    if (!operand(r, kPlain)) return fail(r, 3, VOM_INI_MISSING, key);
    votrans** list = is("word") ? words : is("char") ? chars : nullptr;
    if (!list) return fail(r, 3, VOM_INI_BADWORD, key);
    if (!operand(r, kPlain)) return fail(r, 3, VOM_INI_MISSING, key);
    char* from = vostcpy(ktStrUpc(vo->buf));
    char* to = kEmptyText;
    if (operand(r, kPlain)) {
        to = copy();
        r = next(kPlain);
    } else if (list == words) {
        vostfree(from);
        return fail(r, 3, VOM_INI_MISSING, key);
    }
    votrans* t = votransbloc();
    t->from = from;
    t->to = to;
    t->fromlen = static_cast<int>(std::strlen(from));
    append(list, t);
    return voiniend(r, key);
}

int voiniplace(struct voplace** list) {
    const char* key = "PLACE";
    int r;
    if (!operand(r, kPlain)) return fail(r, 3, VOM_INI_MISSING, key);
    int kind = is("compdecl") ? 1 : is("sigdecl") ? 2 : 0;
    // An unknown kind is told only if the place behind it is sound.
    if (!operand(r, kPlain)) return fail(r, 3, VOM_INI_MISSING, key);
    int where = is("architecture") ? 1 : is("package") ? 2 : 0;
    if (!where) return fail(r, 3, VOM_INI_BADPLACE, key);
    if (!kind) return fail(r, 3, VOM_INI_BADWORD, key);
    char base[KS_PATHMAX] = "", ext[KS_PATHMAX] = "";
    if (where == 2) {
        if (!operand(r, kPlain) || ksParse(vo->buf, nullptr, nullptr, base, ext) != KS_OK ||
            !*base)
            return fail(r, 3, VOM_INI_MISSING, key);
    }
    struct voplace* p = voplacebloc();
    p->kind = kind;
    p->where = where;
    if (where == 2) {
        p->file = vostcpy(base);
        p->ext = vostcpy(*ext ? ext : "vhd");
    }
    append(list, p);
    return voiniend(next(kPlain), key);
}

int voinilistid(int* field) {
    const char* key = "LIST_IDENTIFIERS";
    int r;
    if (!operand(r, kPlain)) return fail(r, 3, VOM_INI_MISSING, key);
    int value = is("all") ? 3 : is("translated") ? 2 : 0;
    if (!value) return fail(r, 3, VOM_INI_BADWORD, key);
    *field = value;
    return voiniend(next(kPlain), key);
}

int voinisetdef(char** gendefault, char** attdefault) {
    const char* key = "SETDEF";
    int r;
    if (!operand(r, kPlain)) return fail(r, 3, VOM_INI_MISSING, key);
    char** target = is("generic") ? gendefault : is("attribute") ? attdefault : nullptr;
    if (!target) return fail(r, 3, VOM_INI_BADKIND, key);
    if (*target) return fail(r, 3, VOM_INI_KINDTWICE, key);
    if (!operand(r, kRestOfLine)) return fail(r, 3, VOM_INI_MISSING, key);
    // A type is one word: what stands behind its first blank is dropped.
    vo->buf[std::strcspn(vo->buf, " \t")] = '\0';
    *target = copy();
    return voiniend(next(kPlain), key);
}

int voiniticksize(voTicksize** field) {
    const char* key = "TICKSIZE";
    if (*field) return twice(key);
    int r;
    if (!operand(r, kPlain)) return fail(r, 3, VOM_INI_MISSING, key);
    // A word that is no number gives 0.
    double value = std::strtod(vo->buf, nullptr);
    if (!operand(r, kPlain)) return fail(r, 3, VOM_INI_NOSECOND, key);
    *field = voTicksizeBlock();
    (*field)->value = value;
    (*field)->unit = copy();
    return voiniend(next(kPlain), key);
}

int voinidelay(voDelay** field) {
    const char* key = "DELAY";
    if (*field) return twice(key);
    int r;
    if (!operand(r, kPlain)) return fail(r, 3, VOM_INI_MISSING, key);
    *field = voDelayBlock();
    (*field)->kind = is("min") ? 1 : is("max") ? 3 : 2;
    (*field)->word = copy();
    return voiniend(next(kPlain), key);
}

namespace {
voini* ini() {
    return vo ? vo->ini : nullptr;
}
}  // namespace

const char* vosigtype() {
    vosigt* s = ini() ? ini()->sigtype : nullptr;
    return s && s->type ? s->type : "bit";
}

const char* vosigbase() {
    vosigt* s = ini() ? ini()->sigtype : nullptr;
    return s && s->base ? s->base : "char";
}

const char* vo1DimVecType() {
    vovect* v = ini() ? ini()->vectype : nullptr;
    return v && v->type ? v->type : "bit_vector";
}

const char* vovec1Dimbase() {
    vovect* v = ini() ? ini()->vectype : nullptr;
    return v && v->base ? v->base : "string";
}

const char* vo2DimVecType() {
    vovect* v = ini() ? ini()->vec2type : nullptr;
    return v && v->type ? v->type : "ktbit_2d";
}

const char* vovec2Dimbase() {
    vovect* v = ini() ? ini()->vec2type : nullptr;
    return v && v->base ? v->base : "string";
}

const char* vozval() {
    struct vozval* z = ini() ? ini()->zval : nullptr;
    return z && z->value ? z->value : "Z";
}

const char* voplacetype(int kind) {
    return kind == 1 ? "compdecl" : kind == 2 ? "sigdecl" : "";
}

const char* voplacelocation(int where) {
    return where == 1 ? "architecture" : where == 2 ? "package" : "";
}
