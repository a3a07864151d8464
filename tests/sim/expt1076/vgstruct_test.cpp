#include "vgstruct.h"

#include <gtest/gtest.h>

#include "vofixture.h"

namespace {

template <typename T>
T* push(T*& head, T* rec) {
    rec->next = head;
    head = rec;
    return rec;
}

vogen* gen(const char* name) {
    vogen* g = vogenbloc();
    g->name = vostcpy(name);
    g->vhdlname = vostcpy(name);
    g->type = vostcpy("time");
    g->value = vostcpy("1 ns");
    g->trailer = vostcpy("-- t");
    return g;
}

voae* ae(const char* formal, const char* actual) {
    voae* a = voaebloc();
    a->formal = vostcpy(formal);
    a->actual = vostcpy(actual);
    return a;
}

// Fills every list and sub-record of the configuration and the root.
void fillEverything() {
    vocmdl* c = vo->cmdl;
    c->name = vostcpy("LIB:AND2.1");
    c->outdir = vostcpy("/tmp/behv/");
    push(c->levels, volevbloc())->name = vostcpy("TOP");
    push(c->levels, volevbloc())->name = vostcpy("MID");

    voini* i = vo->ini = voinibloc();
    i->name = vostcpy("entgen.ini");
    push(i->headers, voheadbloc())->text = vostcpy("-- header");
    i->gendefault = vostcpy("integer");
    i->attdefault = vostcpy("string");
    push(i->gens, gen("TPD"));
    push(i->gens, gen("TPLH"));
    voattr* a = push(i->attrs, voattrbloc());
    a->name = vostcpy("LOC");
    a->vhdlname = vostcpy("loc");
    a->type = vostcpy("string");
    a->value = vostcpy("\"A1\"");
    (i->sigtype = vosigtbloc())->type = vostcpy("std_logic");
    i->sigtype->base = vostcpy("std_ulogic");
    (i->vectype = vovectbloc())->type = vostcpy("std_logic_vector");
    (i->vec2type = vovectbloc())->base = vostcpy("x");
    (i->ticksize = voTicksizeBlock())->unit = vostcpy("ns");
    (i->delay = voDelayBlock())->word = vostcpy("typ");
    (i->zval = vozvalbloc())->value = vostcpy("'Z'");
    vosinit* s = push(i->sinits, vosinitbloc());
    s->name = vostcpy("std_logic");
    s->value = vostcpy("'0'");
    vocomp* comp = push(i->comps, vocompbloc());
    comp->name = vostcpy("AND2");
    push(comp->gens, gen("DELAY"));
    comp->bind = vobindbloc();
    comp->bind->lib = vostcpy("work");
    comp->bind->entity = vostcpy("and2");
    comp->bind->arch = vostcpy("rtl");
    push(comp->bind->genmap, ae("tpd", "1 ns"));
    push(comp->bind->portmap, ae("a", "x"));
    push(i->pintypes, vopintbloc())->name = vostcpy("TRI");
    push(i->autopins, vopintbloc())->name = vostcpy("IN");
    votrans* t = push(i->words, votransbloc());
    t->from = vostcpy("BEGIN");
    t->to = vostcpy("BEGIN_X");
    push(i->chars, votransbloc())->from = vostcpy("$");
    push(i->trlist, votransbloc())->to = vostcpy("A_B");
    i->prefix = vostcpy("X");
    voplace* p = push(i->places, voplacebloc());
    p->file = vostcpy("comps");
    p->ext = vostcpy("vhd");

    push(vo->gens, gen("EXTRA"));
    push(vo->attrs, voattrbloc())->name = vostcpy("PINATT");
    vogroup* g = push(vo->prims, vogroupbloc());
    g->entity = vostcpy("AND2");
    g->arch = vostcpy("archAND2");
    g->lib = vostcpy("WORK");
    g->base = vostcpy("and2");
    g->ext = vostcpy("vhd");
    push(g->gens, voglistbloc())->gen = i->gens;
    push(g->consts, voclistbloc());
    push(g->alist, voalistbloc())->attr = i->attrs;
    push(g->hiergens, voglistbloc());
    push(vo->hier, vogroupbloc())->entity = vostcpy("TOP");
}

TEST(RecordRelease, EverythingAllocatedIsGivenBack) {
    long before = vomemtotal;
    vodatafree(vo = vodatabloc());  // no command line, no configuration
    EXPECT_EQ(vomemtotal, before);
    vo = vodatabloc();
    vo->cmdl = vocmdlbloc();
    fillEverything();
    EXPECT_GT(vomemtotal, before);
    vodatafree(vo);
    EXPECT_EQ(vomemtotal, before);
    EXPECT_EQ(vo, nullptr);
}

}  // namespace
