// The model writer. vomodel opens the file (asking before it replaces
// one), writes the model in its fixed order through votok, and closes it.
// Each template is fetched with ktMsgStatic and handed on before the next
// is fetched, since they share one buffer.
#include "vomodel.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "entgen_msg.h"
#include "iwobj.h"
#include "kterr.h"
#include "ktmsg.h"
#include "ktstr.h"
#include "vgstruct.h"
#include "voattcl.h"
#include "vogencl.h"
#include "vomain.h"
#include "voportcl.h"
#include "votok.h"

namespace {
// A symbol has at most this many VHDL_COM_ and this many VHDL_PPR_ texts.
constexpr int kMaxPairs = 256;

struct Pair {
    char* name;
    char* value;
};

// Copies the pairs of a list into `table` and sorts them by name; returns
// how many there are. The copies are released with releasePairs.
int sortedPairs(voComman* list, Pair* table) {
    int n = 0;
    for (voComman* c = list; c && n < kMaxPairs; c = c->next, ++n)
        table[n] = {ktStrCpy(c->pair[0]), ktStrCpy(c->pair[1])};
    std::qsort(table, static_cast<size_t>(n), sizeof(Pair), voStringCompare);
    return n;
}

void releasePairs(Pair* table, int n) {
    for (int i = 0; i < n; ++i) {
        if (table[i].name) ktStrFree(table[i].name);
        if (table[i].value) ktStrFree(table[i].value);
    }
}

int importMessage(int kind) {
    switch (kind) {
        case 1: return VOM_USEALL;
        case 2: return VOM_LIBRARY;
        case 3:
        case 4:
        case 5: return VOM_USE;
        default: return 0;
    }
}
}  // namespace

int vomodel(vogroup* group) {
    if (!group) return 0;
    if (!vofopen(group->base, group->ext)) return 0;

    const char* symbol = iggrpnam(group->grp);
    vomsg(1);
    std::snprintf(ViewLocation, sizeof ViewLocation, "- sym %s", symbol);
    char* file = ktStrCpy(vomerge(group->base, group->ext));
    ktErrReportBuild(voErrStrID, ViewLocation, msgFp, VOM_WROTE, "entity", "primitive", symbol,
                     ktStrLoc(file));
    ktStrFree(file);

    if (vo->ini && vo->ini->headers) {
        vhdl_header(vo->ini->headers);
        votok(VOTOK_NLAFTER, "");
    }
    vopackage_use(group);
    for (voImport* im = group->imports; im; im = im->next)
        if (int number = importMessage(im->kind)) votokmsg(VOTOK_NLAFTER, number, im->name);
    votokmsg(VOTOK_NLAFTER, VOM_ENTITYHEAD);
    voPrintEntityComments(group);
    votokmsg(VOTOK_NLAFTER | VOTOK_INDENT, VOM_ENTITY, group->entity);
    vogen_clause(group);
    voport_clause(group, 0);
    voEntityConstants(group);
    voatt_decl(group, 2);
    voatt_spec(group, 2);
    voGetVhdlAttr(group->grp && group->grp->symbols ? group->grp->symbols->attributes : nullptr, 0,
                  group->entity);
    voPrintEntityPPR(group);
    votokmsg(VOTOK_DEDENT | VOTOK_NLAFTER, VOM_ENTITYEND, group->entity);
    votokmsg(VOTOK_NLBEFORE | VOTOK_NLAFTER | VOTOK_INDENT, VOM_ARCH, group->arch, group->entity);
    votokmsg(VOTOK_DEDENT | VOTOK_NLAFTER | VOTOK_INDENT, VOM_ARCHBEGIN);
    votok(VOTOK_NLAFTER, "");
    votokmsg(VOTOK_DEDENT | VOTOK_NLAFTER, VOM_ARCHEND, group->arch);
    vofclose();
    return 0;
}

void vhdl_header(vohead* line) {
    if (!line) return;
    // The list holds the newest line first; the file order is the reverse.
    vhdl_header(line->next);
    votok(VOTOK_NLAFTER, line->text);
}

void vopackage_use(vogroup*) {
    if (!voplace(1, 2)) return;
    for (struct voplace* p = vo->ini->places; p; p = p->next) {
        if (p->kind != 1) continue;
        char text[VO_BUFSIZE];
        std::snprintf(text, sizeof text, "WORK.%s", p->file ? p->file : "");
        votokmsg(VOTOK_NLAFTER, VOM_USEALL, text);
        return;
    }
}

int voplace(int kind, int where) {
    for (struct voplace* p = vo->ini ? vo->ini->places : nullptr; p; p = p->next)
        if (p->kind == kind) return p->where == where;
    // Without a record of this kind, component declarations stay in the architecture.
    return kind == 1 && where == 1;
}

void voEntityConstants(vogroup* group) {
    for (voclist* c = group->consts; c; c = c->next)
        votokmsg(VOTOK_NLAFTER, VOM_CONSTDECL, c->cons->name, c->cons->type, c->cons->value);
}

void voPrintEntityComments(vogroup* group) {
    Pair table[kMaxPairs];
    int n = sortedPairs(group->comments, table);
    for (int i = 0; i < n; ++i) votokmsg(VOTOK_NLAFTER, VOM_COMMENT, table[i].value);
    releasePairs(table, n);
}

void voPrintEntityPPR(vogroup* group) {
    if (!group->pprs) return;
    votokmsg(VOTOK_NLAFTER | VOTOK_INDENT, VOM_PASSIVE);
    Pair table[kMaxPairs];
    int n = sortedPairs(group->pprs, table);
    for (int i = 0; i < n; ++i) votok(VOTOK_NLAFTER, table[i].value);
    releasePairs(table, n);
    votok(VOTOK_DEDENT | VOTOK_NLAFTER, "");
}

void voGetVhdlAttr(iwatt* attributes, int, const char* entity) {
    for (iwatt* a = attributes; a; a = a->next) {
        if (ktStrNicmp(a->name, "VHDL_ATT_", 9) != 0) continue;
        char* name = ktStrCpy(a->name + 9);
        char* text = ktStrCpy(a->value);
        char* value = std::strchr(text, ':');
        if (value) *value++ = '\0';
        votokmsg(VOTOK_NLAFTER, VOM_ATTDECL, name, text);
        votokmsg(0, VOM_ATTSPEC, name);
        votokmsg(0, VOM_ATTENTITY, entity);
        votokmsg(VOTOK_NLAFTER, VOM_ATTSPECEND, value ? value : "");
        votok(VOTOK_NLAFTER, "");
        ktStrFree(name);
        ktStrFree(text);
    }
}

int voStringCompare(const void* a, const void* b) {
    return ktStrIcmp(static_cast<const Pair*>(a)->name, static_cast<const Pair*>(b)->name);
}

int voIsImportKind(const char* text) {
    static constexpr const char* kinds[] = {"PACKAGE", "LIBRARY", "PROCEDURE", "FUNCTION", "ENTITY"};
    for (int i = 0; i < 5; ++i)
        if (ktStrIcmp(text, kinds[i]) == 0) return i + 1;
    return 0;
}
