// Symbol load and examination. The load reads the symbol into the design
// database with the run's switches set; the pass goes over the symbol once
// and sorts every pin and attribute into the group's lists. The lists of
// generics, constants, comments, passive texts and imports keep the first
// item found at their head and put every later one directly behind it;
// the attribute list grows at its head. Every name goes through votr, in
// the order the steps meet them, since that order decides the order of the
// reports and of the identifier list.
#include "voexam.h"

#include <cstdio>
#include <cstring>
#include <string>

#include "entgen_msg.h"
#include "iwobj.h"
#include "iwrdsym.h"
#include "iwsession.h"
#include "kspath.h"
#include "kterr.h"
#include "ktmem.h"
#include "ktstr.h"
#include "vgstruct.h"
#include "vomain.h"
#include "vomodel.h"
#include "voportinfo.h"
#include "votr.h"
#include "vovector.h"

const char* const ReservATTRIBUTE[15] = {
    "VHDL_TYPE",      "VHDL_CVF_OUT",       "VHDL_CVF_IN", "VHDL_BRF",    "VHDL_DEFAULT",
    "VHDL_PORT_MODE", "VHDL_CONFIGURATION", "VHDL_IMPORT", "VHDL_GEN_",   "VHDL_CON_",
    "VHDL_COM_",      "VHDL_PPR_",          "VHDL_ATT_",   "VHDL_VECTOR", nullptr,
};

namespace {
// The level names of the command line, oldest first: the list holds the
// newest first.
void setLevels(const volev* level) {
    if (!level) return;
    setLevels(level->next);
    iwsetlevel(level->name);
}
}  // namespace

void voloadproj() {
    if (!initalization) {
        if (!iwinit()) {
            vomsg(4);
            ViewLocation[0] = '\0';
            ktErrReportBuild(nullptr, ViewLocation, msgFp, VOM_NODBINIT);
            voexit(4);
        }
        initalization = 1;
    }
    // -s: the database expands bus pins. The call toggles, so a second one
    // puts back what the first took away.
    if (vo->cmdl->vectors == 0 && iwexpbus() == 0) iwexpbus();
    setLevels(vo->cmdl->levels);
    iwcombine_hetero(1);
    iwstatmode(vo->cmdl->quiet == 0 ? 1 : 0);
    char ext[KS_PATHMAX] = "";
    if (ksParse(vo->cmdl->name, nullptr, nullptr, nullptr, ext) == KS_OK && !*ext) {
        // A bare name means version 1.
        size_t n = std::strlen(vo->cmdl->name);
        char* named = static_cast<char*>(voalloc(n + 3));
        std::snprintf(named, n + 3, "%s.1", vo->cmdl->name);
        vostfree(vo->cmdl->name);
        vo->cmdl->name = named;
    }
    if (iwsym* sym = iwrdsym(vo->cmdl->name)) vo->top = sym->group;
    iwcleanup();
    if (!vo->top) {
        vomsg(4);
        std::snprintf(ViewLocation, sizeof ViewLocation, " - sym %s", vo->cmdl->name);
        ktErrReportBuild(nullptr, ViewLocation, msgFp, VOM_NOSYMBOL);
        voexit(4);
    }
    std::fputs("\n \n", stdout);
}

void voinitpa() {
    // Only kind 2 runs exist, and they need no attribute preprocessor.
}

namespace {
// Generics that vonewgen made for a name vodata.gens already held: no list
// of the configuration owns them, so they wait here for voexamfree.
vogen* unlisted_ = nullptr;

// A copy for a record. An empty text gets the one shared empty string,
// which vostfree leaves alone as it leaves every empty copy: so nothing is
// lost when the record goes.
char* copyOf(const char* text) {
    static char empty[1] = "";
    return text && !*text ? empty : vostcpy(text);
}

// The model file's name of a group: its translated name without
// directory or extension, in lower case.
void nameModelFile(vogroup* g) {
    vostfree(g->base);
    vostfree(g->ext);
    g->base = ktStrLoc(votruncnam(votr(iggrpnam(g->grp))));
    g->ext = copyOf("vhd");
}

iwsym* firstSymbol(const vogroup* g) {
    return g->grp ? g->grp->symbols : nullptr;
}

// Puts `node` behind the head of a list; the first node found stays first.
template <typename T>
void addBehindFirst(T*& head, T* node) {
    if (!head) {
        head = node;
        return;
    }
    node->next = head->next;
    head->next = node;
}

// The text behind a prefix of `count` characters; empty for a shorter name.
const char* behind(const char* name, size_t count) {
    return name && std::strlen(name) >= count ? name + count : "";
}

// The first letter of an attribute's name in capitals; 0 for no name.
char leadOf(const iwatt* a) {
    const char c = a->name ? a->name[0] : '\0';
    return ktCharUpc(c);
}

bool named(const iwatt* a, int reserved) {
    return ktStrIcmp(a->name, ReservATTRIBUTE[reserved]) == 0;
}

// True when the name begins with the first `count` characters of the
// reserved name.
bool prefixed(const iwatt* a, int reserved, int count) {
    return ktStrNicmp(a->name, ReservATTRIBUTE[reserved], count) == 0;
}

bool isAnyOf(const iwatt* a, std::initializer_list<const char*> names) {
    for (const char* n : names)
        if (ktStrIcmp(a->name, n) == 0) return true;
    return false;
}

// "arch" and the entity's name.
char* archOf(const char* entity) {
    size_t n = std::strlen(entity) + 5;
    char* arch = static_cast<char*>(voalloc(n));
    std::snprintf(arch, n, "arch%s", entity);
    return arch;
}

// The library of a group without a library in its VHDL attribute: the
// translated alias of its name, or WORK.
char* libOf(const vogroup* g) {
    const char* alias = iggrplnm(g->grp);
    return copyOf(*alias ? votr(alias) : "WORK");
}

// A type:=value text: `type` is what stands in front of the first colon,
// `value` what stands two characters behind it (stepping over ":="); a
// text that ends at or just behind its colon has an empty value. Without a
// colon it gives false and sets nothing.
bool splitTyped(const std::string& text, char** type, char** value) {
    const size_t colon = text.find(':');
    if (colon == std::string::npos) return false;
    *type = copyOf(text.substr(0, colon).c_str());
    *value = copyOf(colon + 2 < text.size() ? text.c_str() + colon + 2 : "");
    return true;
}

voComman* newComman(const iwatt* a) {
    voComman* c = voCommanBlock();
    c->pair = static_cast<char**>(voalloc(2 * sizeof(char*)));
    c->pair[0] = copyOf(behind(a->name, 9));
    c->pair[1] = copyOf(a->value);
    return c;
}

voImport* newImport(const iwatt* a) {
    voImport* im = voImportBlock();
    // The name stands behind "VHDL_IMPORT" and one more character.
    im->name = copyOf(behind(a->name, 12));
    for (char* p = im->name; p && *p; ++p)
        if (*p == '$') *p = '.';
    im->kind = voIsImportKind(a->value);
    return im;
}

void addConstant(vogroup* g, iwatt* a) {
    voCons* k = vonewcons(a);
    if (!k->value) {
        vostfree(k->name);
        vostfree(k->type);
        ktMemFlFree(k, sizeof *k);
        return;
    }
    voclist* node = voclistbloc();
    node->cons = k;
    addBehindFirst(g->consts, node);
}

// One pin attribute that is none of the translator's own: its voattr, made
// on first sight in the run, and its node in g.alist, which is returned
// (null when the attribute is dropped).
voalist* addPinAttribute(vogroup* g, const iwatt* a) {
    if (voalist* node = vofindal(a->name, g->alist)) {
        node->flags |= 2;
        return node;
    }
    voattr* attr = vofindatt(a->name);
    if (!attr) {
        attr = voattrbloc();
        attr->name = copyOf(a->name);
        attr->vhdlname = copyOf(votr(a->name));
        attr->type = copyOf(vo->ini && vo->ini->attdefault ? vo->ini->attdefault : "string");
        attr->next = vo->attrs;
        vo->attrs = attr;
    }
    // An ATTRIBUTE entry with NULL drops the attribute.
    if (!attr->vhdlname) return nullptr;
    voalist* node = voalistbloc();
    node->attr = attr;
    node->flags = 2;
    node->next = g->alist;
    g->alist = node;
    return node;
}

// A pin's PINTYPE or VHDL_PORT_MODE: a type nobody declared is learned
// with the direction IN.
void learnPinType(const iwatt* a) {
    if (!vo->ini || vofind_pintype(a->value)) return;
    if (vo->cmdl && vo->cmdl->warnpintype) voreport(2, VOM_NOPINTYPE, a->value);
    voaddpintype(a->value, VOPORT_IN, &vo->ini->autopins);
}
}  // namespace

int voexampass() {
    vodefpintypes();
    voexamgroup(vo->top, nullptr);
    // New groups stand at the head of the list, unnamed; every group behind
    // them was named by an earlier pass, and naming it again would give the
    // same text, its name being in the table of translations.
    for (vogroup* g = vo->prims; g && !g->base; g = g->next) nameModelFile(g);
    return 1;
}

vogroup* voexamgroup(iwgroup* group, vogroup* parent) {
    if (!group) return nullptr;
    if (vogroup* seen = vofindgr(group)) return seen;
    // The pins come first: the first names a symbol translates are theirs.
    iwsym* symbol = group->symbols;
    for (iwspin* pin = symbol ? symbol->pins : nullptr; pin; pin = pin->next)
        voGetPortInfo(symbol, pin, parent);
    vogroup* g = vogroupbloc();
    g->grp = group;
    g->next = vo->prims;
    vo->prims = g;
    vogroupnames(g);
    g->comp = vofindcomp(iggrpnam(group));
    voattpins(g);
    vosymattrs(g, symbol ? symbol->attributes : nullptr);
    voSetPinVector(g);
    return g;
}

void vodefpintypes() {
    static constexpr struct {
        const char* name;
        int dir;
    } kBuiltIn[] = {
        {"IN", VOPORT_IN},         {"ENA", VOPORT_IN},          {"OUT", VOPORT_OUT},
        {"TRI", VOPORT_OUT},       {"BI", VOPORT_INOUT},        {"OEM", VOPORT_INOUT},
        {"OCT", VOPORT_INOUT},     {"IO", VOPORT_INOUT},        {"IXO", VOPORT_INOUT},
        {"BUFFER", VOPORT_BUFFER}, {"LINKAGE", VOPORT_LINKAGE},
    };
    if (!vo->ini) return;
    // A PIN_TYPE entry of the same name wins over the built-in row.
    for (const auto& row : kBuiltIn)
        if (!vofind_pintype(row.name)) voaddpintype(row.name, row.dir, &vo->ini->autopins);
}

void vogroupnames(vogroup* g) {
    const iwsym* symbol = firstSymbol(g);
    const iwatt* a = ifattatt("VHDL", symbol ? symbol->attributes : nullptr);
    if (!a) {
        g->entity = copyOf(votr(iggrpnam(g->grp)));
        g->arch = archOf(g->entity);
        g->lib = libOf(g);
        return;
    }
    // The value reads [library:]entity[(architecture)].
    std::string rest = a->value ? a->value : "";
    if (size_t colon = rest.find(':'); colon != std::string::npos) {
        const std::string lib = rest.substr(0, colon);
        g->lib = copyOf(ktStrIcmp(lib.c_str(), "WORK") == 0 ? "WORK" : votr(lib.c_str()));
        rest.erase(0, colon + 1);
    } else {
        g->lib = libOf(g);
    }
    const size_t open = rest.find('(');
    g->entity = copyOf(votr(rest.substr(0, open).c_str()));
    const size_t close = open == std::string::npos ? open : rest.find(')', open + 1);
    if (close != std::string::npos)
        g->arch = copyOf(votr(rest.substr(open + 1, close - open - 1).c_str()));
    else
        g->arch = archOf(g->entity);
}

void voattpins(vogroup* g) {
    const iwsym* symbol = firstSymbol(g);
    // The pins of a symbol mostly carry the same few attribute names, shared
    // by address in the database's name pool, and the same few pin types:
    // what a name was found to be, and the types already learned, are kept
    // for the symbol's other pins. A name sorted once sorts the same way
    // again, and a type once learned is in the list for good.
    enum Kind { kTyped, kFiltered, kListed };
    struct Seen {
        const char* name;
        Kind kind;
        voalist* node;  // kListed: the name's node in g->alist
    };
    constexpr int kKept = 16;
    Seen seen[kKept];
    int seenCount = 0;
    const char* learned[kKept];
    int learnedCount = 0;
    auto known = [&](const char* name) -> const Seen* {
        for (int i = 0; i < seenCount; ++i)
            if (seen[i].name == name) return &seen[i];
        return nullptr;
    };
    auto keep = [&](const char* name, Kind kind, voalist* node) {
        if (name && seenCount < kKept) seen[seenCount++] = Seen{name, kind, node};
    };
    for (const iwspin* pin = symbol ? symbol->pins : nullptr; pin; pin = pin->next) {
        bool typed = false;
        for (const iwatt* a = pin->attributes; a; a = a->next) {
            const Seen* s = a->name ? known(a->name) : nullptr;
            if (s && s->kind == kListed) {
                s->node->flags |= 2;
                continue;
            }
            if (s && s->kind == kFiltered) continue;
            const char lead = leadOf(a);
            if (s || (lead == 'P' && ktStrIcmp(a->name, "PINTYPE") == 0) ||
                (lead == 'V' && named(a, VORES_PORT_MODE))) {
                if (!s) keep(a->name, kTyped, nullptr);
                typed = true;
                bool done = false;
                for (int i = 0; i < learnedCount && !done; ++i) done = learned[i] == a->value;
                if (done) continue;
                learnPinType(a);
                if (a->value && learnedCount < kKept) learned[learnedCount++] = a->value;
            } else if (!voattfilter(const_cast<iwatt*>(a))) {
                if (voalist* node = addPinAttribute(g, a)) keep(a->name, kListed, node);
            } else {
                keep(a->name, kFiltered, nullptr);
            }
        }
        if (!typed) ++g->nopintype;
    }
}

int voattfilter(iwatt* a) {
    // A name can only be one whose first letter it has.
    switch (leadOf(a)) {
        case 'P':
            return ktStrIcmp(a->name, "PINTYPE") == 0;
        case 'F':
            return ktStrIcmp(a->name, "FLOATVAL") == 0;
        case 'V':
            return isAnyOf(a, {ReservATTRIBUTE[VORES_TYPE], ReservATTRIBUTE[VORES_CVF_OUT],
                               ReservATTRIBUTE[VORES_CVF_IN], ReservATTRIBUTE[VORES_BRF],
                               ReservATTRIBUTE[VORES_DEFAULT], ReservATTRIBUTE[VORES_PORT_MODE]}) ||
                   prefixed(a, VORES_COM, 9) || prefixed(a, VORES_PPR, 9);
        default:
            return 0;
    }
}

void vosymattrs(vogroup* g, iwatt* list) {
    for (iwatt* a = list; a; a = a->next) {
        // Every reserved name begins with V: any other is a generic at once.
        if (leadOf(a) != 'V') {
            voAddGeneric(g, a->name, a);
            continue;
        }
        // Nine characters: any name that begins with VHDL_CONF is skipped,
        // any that begins with VHDL_IMPO is an import.
        if (prefixed(a, VORES_CONFIGURATION, 9)) continue;
        if (prefixed(a, VORES_IMPORT, 9))
            addBehindFirst(g->imports, newImport(a));
        else if (prefixed(a, VORES_CON, 9))
            addConstant(g, a);
        else if (prefixed(a, VORES_COM, 9))
            addBehindFirst(g->comments, newComman(a));
        else if (prefixed(a, VORES_PPR, 9))
            addBehindFirst(g->pprs, newComman(a));
        else if (prefixed(a, VORES_ATT, 9) || prefixed(a, VORES_VECTOR, 11))
            continue;  // the model writer and the vector pass read these
        else
            voAddGeneric(g, a->name, a);
    }
}

voCons* vonewcons(iwatt* a) {
    voCons* k = voConsBlock();
    k->name = copyOf(behind(a->name, 9));
    // The stored value is the database's shared name: work on a copy.
    char copy[VO_BUFSIZE];
    voCopyName(copy, a->value ? a->value : "", sizeof copy);
    if (!splitTyped(copy, &k->type, &k->value)) voreport(3, VOM_NOCONSTTYPE, k->name);
    return k;
}

void voAddGeneric(vogroup* g, const char* name, iwatt* attribute) {
    if (vogenfilter(attribute)) return;
    vogen* rec = voFindGenHier(name, g->comp);
    if (!rec) rec = vonewgen(name, attribute->value);
    // A record of the GENERIC section keeps the first value it is given,
    // for every later symbol of the run too.
    if (!rec->value && attribute->value) rec->value = copyOf(attribute->value);
    voglist* node = voglistbloc();
    node->gen = rec;
    addBehindFirst(g->gens, node);
}

int vogenfilter(iwatt* a) {
    return isAnyOf(a, {"LABEL", "PINORDER", "VHDL", "MODEL", "FLOATVAL", "LEVEL"}) ||
           prefixed(a, VORES_ATT, 9);
}

vogen* vonewgen(const char* name, const char* value) {
    vogen* rec = vogenbloc();
    rec->name = copyOf(name);
    if (ktStrNicmp(name, ReservATTRIBUTE[VORES_GEN], 9) == 0) {
        rec->vhdlname = copyOf(votr(behind(name, 9)));
        const std::string copy = value ? value : "";
        if (!splitTyped(copy, &rec->type, &rec->value)) rec->type = copyOf(copy.c_str());
    } else {
        rec->vhdlname = copyOf(votr(name));
        rec->type = copyOf(vo->ini && vo->ini->gendefault ? vo->ini->gendefault : "string");
        rec->value = copyOf(value);
    }
    for (vogen* known = vo->gens; known; known = known->next) {
        if (ktStrIcmp(known->name, name) == 0) {
            rec->next = unlisted_;
            unlisted_ = rec;
            return rec;
        }
    }
    rec->next = vo->gens;
    vo->gens = rec;
    return rec;
}

void voexamfree() {
    vogenfree(unlisted_);
    unlisted_ = nullptr;
}
