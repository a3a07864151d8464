#include "iwobj.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "iwfixture.h"
#include "iwname.h"
#include "ktstr.h"
#include "ktsym.h"

namespace {

using Objects = DatabaseTest;

std::string pairs(const iwatt* list) {
    std::string out;
    for (const iwatt* a = list; a; a = a->next) out += std::string(a->name) + "=" + a->value + " ";
    return out;
}

TEST_F(Objects, AttributesSortByNameThenValueNewerFirst) {
    open();
    iwatt* list = nullptr;
    iwatt* older = iwmkatt("a", "9");
    for (iwatt* a : {iwmkatt("B", "2"), older, iwmkatt("B", "1"), iwmkatt("b", nullptr)})
        list = iwaddatt(list, a);
    iwatt* newer = iwmkatt("A", "9");
    list = iwaddatt(list, newer);
    list = iwaddatt(list, nullptr);
    EXPECT_EQ(pairs(list), "A=9 A=9 B= B=1 B=2 ");
    EXPECT_EQ(list, newer);
    EXPECT_EQ(list->next, older);

    // A duplicate is an exact name with a value of any case.
    EXPECT_EQ(iwdupatt(list, "B", "1"), list->next->next->next);
    iwatt* lower = iwmkatt("C", "low");
    list = iwaddatt(list, lower);
    EXPECT_EQ(iwdupatt(list, "C", "low"), lower);
    EXPECT_EQ(iwdupatt(list, "c", "LOW"), nullptr);
    EXPECT_EQ(iwdupatt(list, "B", "3"), nullptr);

    // A look-up takes any case and stops past the name.
    EXPECT_EQ(ifattatt("c", list), lower);
    EXPECT_EQ(ifattatt("b", list), list->next->next);
    EXPECT_EQ(ifattatt("AA", list), nullptr);
    EXPECT_EQ(ifattatt("D", list), nullptr);
    EXPECT_EQ(ifattatt(std::string(16384, 'A').c_str(), list), nullptr);
}

TEST_F(Objects, SymbolsOfAGroupInVersionOrderBehindTheFirst) {
    open();
    iwgroup* g = iwmkgroup("cells:and2");
    EXPECT_STREQ(g->name, "CELLS:AND2");
    ASSERT_NE(g->symbols, nullptr);
    EXPECT_EQ(g->symbols->version, 1);
    EXPECT_EQ(g->symbols->type, IW_TUNKNOWN);
    for (int v : {3, 2, 0, 5, 2}) {
        iwsym* s = iwmksym(g);
        s->version = static_cast<int16_t>(v);
        iagrpsym(g, s);
    }
    std::vector<int> order;
    for (iwsym* s = g->symbols; s; s = s->next) {
        order.push_back(s->version);
        EXPECT_EQ(s->group, g);
    }
    EXPECT_EQ(order, (std::vector<int>{1, 0, 2, 2, 3, 5}));
    EXPECT_EQ(ifsymsym(2, g->symbols), g->symbols->next->next);
    EXPECT_EQ(ifsymsym(4, g->symbols), nullptr);
}

TEST_F(Objects, GroupsByNameAndTheirTwoHalves) {
    open();
    iwgroup* g = iwmkgroup("CELLS:AND2");
    Igrp_table = store_grp(Igrp_table, g);
    char name[] = "cells:and2";
    EXPECT_EQ(iwgrpref(name), g);
    EXPECT_STREQ(name, "CELLS:AND2");
    EXPECT_EQ(fetch_grp(nullptr, "CELLS:AND2"), nullptr);
    char other[] = "cells:or2";
    EXPECT_EQ(iwgrpref(other), nullptr);

    EXPECT_STREQ(iggrpnam(g), "AND2");
    EXPECT_STREQ(iggrplnm(g), "CELLS");
    iwgroup* bare = iwmkgroup("  INV");
    EXPECT_STREQ(iggrpnam(bare), "INV");
    EXPECT_STREQ(iggrplnm(bare), "");
    EXPECT_STREQ(iggrpnam(nullptr), "");
    EXPECT_STREQ(iggrplnm(nullptr), "");
}

TEST_F(Objects, PinsLeaveTheirSymbolOneByOne) {
    open();
    iwsym* s = iwmkgroup("X")->symbols;
    iwspin* a = iwmkspin("a");
    iwspin* b = iwmkspin("B");
    iwspin* c = iwalcspin();
    EXPECT_STREQ(a->name, "A");
    EXPECT_EQ(c->name, nullptr);
    a->next = b;
    b->next = c;
    s->pins = a;
    s->pincount = 3;
    EXPECT_EQ(idsymspn(s, b), c);
    EXPECT_EQ(s->pins->next, c);
    EXPECT_EQ(s->pincount, 2);
    EXPECT_EQ(idsymspn(s, b), nullptr);  // not in the list any more
    EXPECT_EQ(s->pincount, 2);
    EXPECT_EQ(idsymspn(s, c), nullptr);  // the last: nothing follows
    EXPECT_EQ(s->pincount, 1);
    EXPECT_EQ(idsymspn(nullptr, a), nullptr);
}

// A symbol translator reads no schematic: the schematic side of the
// database takes null everywhere and finds no net of a group.
TEST_F(Objects, SchematicSideFindsNothingAndTakesNull) {
    open();
    iwgroup* g = iwmkgroup("G");
    g->nextref = Ireftop;
    Ireftop = g;
    EXPECT_EQ(ifnetnet("CLK", g), nullptr);
    EXPECT_EQ(ifnetnet("CLK", nullptr), nullptr);
    for (void* p : {(void*)igcompin(nullptr), (void*)ignetpin(nullptr), (void*)ignetspn(nullptr),
                    (void*)igpincnx(nullptr), (void*)igpinnet(nullptr), (void*)igpinnnx(nullptr),
                    (void*)igpinown(nullptr), (void*)igpinspn(nullptr)})
        EXPECT_EQ(p, nullptr);
    EXPECT_EQ(iwgblnet(nullptr), nullptr);
    // A net of the group's table is found in any case, from the group or a symbol.
    iwnet net{{IW_KNET, 0}, iwmkname("N1"), nullptr, g, nullptr, 0};
    net.firstpin = &net.head;
    EXPECT_EQ(ignetpin(&net), nullptr);
    g->nets = ktSymCreate(11, ktSymStHash, ktStrEqu, ktSymReturn, ktSymDummy);
    ktSymStore(g->nets, net.name, &net);
    EXPECT_EQ(ifnetnet("n1", g->symbols), &net);
    EXPECT_EQ(ifnetnet("N2", g), nullptr);
    // The session's end destroys the table.
}

}  // namespace
