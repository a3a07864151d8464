#include <gtest/gtest.h>

#include "vgstruct.h"
#include "vofixture.h"

namespace {

using Records = TranslatorTest;

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
    vo = vodatabloc();
    vo->cmdl = vocmdlbloc();
    fillEverything();
    EXPECT_GT(vomemtotal, before);
    vodatafree(vo);
    EXPECT_EQ(vomemtotal, before);
    EXPECT_EQ(vo, nullptr);
}

TEST(RecordRelease, RootWithoutCommandLineOrConfiguration) {
    long before = vomemtotal;
    vodata* root = vo = vodatabloc();
    vodatafree(root);
    EXPECT_EQ(vomemtotal, before);
}

TEST(RecordRelease, NullListsAreNoOps) {
    long before = vomemtotal;
    vogenfree(nullptr);
    vocompfree(nullptr);
    vogroupfree(nullptr);
    voinifree(nullptr);
    vofilefree(nullptr);
    EXPECT_EQ(vomemtotal, before);
}

TEST(StringCopies, NullGivesNullAndEmptyCopyStaysCounted) {
    EXPECT_EQ(vostcpy(nullptr), nullptr);
    long before = vomemtotal;
    char* empty = vostcpy("");
    vostfree(empty);
    EXPECT_EQ(vomemtotal, before + 1);
    vofree(empty, 1);
    EXPECT_EQ(vomemtotal, before);
}

TEST(Allocators, DefaultsOfTheRecords) {
    vocmdl* c = vocmdlbloc();
    EXPECT_EQ(c->warnpintype, 1);
    EXPECT_EQ(c->genclause, 1);
    EXPECT_EQ(c->vectors, 1);
    EXPECT_EQ(c->kind, 0);
    vocmdlfree(c);
    voini* i = voinibloc();
    EXPECT_EQ(i->line, 1);
    EXPECT_EQ(i->stmtline, 1);
    EXPECT_EQ(i->listids, 1);
    voinifree(i);
    vopint* p = vopintbloc();
    EXPECT_EQ(p->dir, 4);
    vopintfree(p);
    vogen* g = vogenbloc();
    EXPECT_EQ(g->used, 1);
    vogenfree(g);
    vofile* f = vofilebloc();
    EXPECT_EQ(f->unit, 4);
    EXPECT_EQ(f->width, 76);
    EXPECT_EQ(f->fp, nullptr);
    vofilefree(f);
}

TEST_F(Records, GenericSearchGoesComponentThenFileThenRun) {
    vo->ini = voinibloc();
    vocomp* comp = push(vo->ini->comps, vocompbloc());
    comp->name = vostcpy("And2");
    vogen* inComp = push(comp->gens, gen("TPD"));
    vogen* inFile = push(vo->ini->gens, gen("tpd"));
    push(vo->ini->gens, gen("WIDTH"));
    vogen* inRun = push(vo->gens, gen("Extra"));

    EXPECT_EQ(vofindcomp("AND2"), comp);
    EXPECT_EQ(vofindgen("tpd", comp), inComp);
    EXPECT_EQ(vofindgen("TPD", nullptr), inFile);
    EXPECT_EQ(vofindgen("EXTRA", comp), inRun);
    EXPECT_EQ(voFindGenHier("EXTRA", comp), nullptr);
    EXPECT_EQ(vofindgen("NONE", comp), nullptr);
    EXPECT_EQ(voFindConst("X", comp), nullptr);
}

TEST_F(Records, AttributeSearchPrefersTheFile) {
    vo->ini = voinibloc();
    voattr* file = push(vo->ini->attrs, voattrbloc());
    file->name = vostcpy("LOC");
    voattr* run = push(vo->attrs, voattrbloc());
    run->name = vostcpy("loc");
    voattr* only = push(vo->attrs, voattrbloc());
    only->name = vostcpy("Slew");
    EXPECT_EQ(vofindatt("Loc"), file);
    EXPECT_EQ(vofindatt("SLEW"), only);

    voalist* al = voalistbloc();
    al->attr = run;
    EXPECT_EQ(vofindal("LOC", al), al);
    EXPECT_EQ(vofindal("SLEW", al), nullptr);
    voalistfree(al);
}

TEST_F(Records, GroupSearchComparesHandlesNotNames) {
    iwgroup* a = reinterpret_cast<iwgroup*>(0x1000);
    iwgroup* b = reinterpret_cast<iwgroup*>(0x2000);
    vogroup* inHier = push(vo->hier, vogroupbloc());
    inHier->grp = a;
    vogroup* inPrims = push(vo->prims, vogroupbloc());
    inPrims->grp = a;
    vogroup* other = push(vo->prims, vogroupbloc());
    other->grp = b;
    EXPECT_EQ(vofindgr(a), inHier);
    EXPECT_EQ(vofindgr(b), other);
    EXPECT_EQ(vofindgr(nullptr), nullptr);
}

}  // namespace
