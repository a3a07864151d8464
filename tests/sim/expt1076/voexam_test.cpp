#include "voexam.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "iwmem.h"
#include "iwname.h"
#include "iwobj.h"
#include "kterr.h"
#include "ktstr.h"
#include "runprog.h"
#include "tempdir.h"
#include "vofixture.h"
#include "votr.h"

namespace {

// Symbols made in a pool of the test's own, a fresh table of names, and
// the reports kept for the test.
class Examination : public TranslatorTest {
protected:
    void SetUp() override {
        TranslatorTest::SetUp();
        vo->ini = voinibloc();
        votrsetup();
        Idatamem = iwbinit(8192);
        ktErrFileV = reports_ = open_memstream(&text_, &len_);
    }
    void TearDown() override {
        ktErrFileV = stderr;
        std::fclose(reports_);
        std::free(text_);
        TranslatorTest::TearDown();
        iwbfree(Idatamem);
        iwdelnames();
        Idatamem = 0;
    }
    // A group with the attributes "NAME=value" on its symbol, and pins
    // "NAME" each followed by the attributes of that pin.
    iwgroup* symbol(const char* name, std::vector<std::string> attrs,
                    std::vector<std::vector<std::string>> pins = {}) {
        iwgroup* g = iwmkgroup(name);
        for (const std::string& a : attrs) g->symbols->attributes = add(g->symbols->attributes, a);
        iwspin** tail = &g->symbols->pins;
        for (const auto& pin : pins) {
            *tail = iwmkspin(pin[0].c_str());
            for (size_t i = 1; i < pin.size(); ++i)
                (*tail)->attributes = add((*tail)->attributes, pin[i]);
            tail = &(*tail)->next;
        }
        return g;
    }
    vogroup* examine(iwgroup* g) {
        vo->top = g;
        voexampass();
        return vofindgr(g);
    }
    std::string reports() {
        std::fflush(reports_);
        return std::string(text_, len_);
    }

private:
    static iwatt* add(iwatt* list, const std::string& a) {
        const size_t eq = a.find('=');
        return iwaddatt(list, iwmkatt(a.substr(0, eq).c_str(), a.substr(eq + 1).c_str()));
    }
    FILE* reports_ = nullptr;
    char* text_ = nullptr;
    size_t len_ = 0;
};

std::string orNull(const char* s) {
    return s ? s : "(null)";
}

TEST_F(Examination, NamesComeFromTheVhdlAttributeOrTheSymbol) {
    const char* cases[][3] = {
        {"CELLS:AND2", "", "CELLS AND2 archAND2 and2"},
        {"REG", "LIB:ENT(ARC)", "LIB ENT ARC reg"},
        {"CELLS:X", "ENT", "CELLS ENT archENT x"},
        {"Y", "WORK:IN(", "WORK vIN archvIN y"},
    };
    for (auto [name, value, want] : cases) {
        std::vector<std::string> attrs;
        if (*value) attrs.push_back(std::string("VHDL=") + value);
        vogroup* g = examine(symbol(name, attrs));
        EXPECT_EQ(std::string(g->lib) + " " + g->entity + " " + g->arch + " " + g->base, want);
        EXPECT_EQ(orNull(g->ext), "vhd");
    }
}

TEST_F(Examination, SymbolAttributesSortIntoGenericsConstantsCommentsAndImports) {
    vogroup* g = examine(symbol("S", {"A=1",
                                      "B=2",
                                      "C=3",
                                      "D=4",
                                      "LEVEL=1",
                                      "REFDES=U1",
                                      "VHDL_CONTROL=X",
                                      "VHDL_CONFIG=Y",
                                      "VHDL_CONFIGURATION=Z",
                                      "VHDL_ATT_KEEP=BOOLEAN:TRUE",
                                      "VHDL_VECTOR=D[1:0]:T",
                                      "VHDL_GEN_TPD=TIME:=10",
                                      "VHDL_GEN_W=INTEGER",
                                      "VHDL_CON_W=INTEGER:=4",
                                      "VHDL_CON_BAD=4",
                                      "VHDL_CON_E=BIT:=",
                                      "VHDL_COM_1=HI",
                                      "VHDL_PPR_1=ASSERT TRUE;",
                                      "VHDL_IMPORT_LIB$PKG$ALL=PACKAGE",
                                      "VHDL_IMPORTX=NOTHING",
                                      "VHDL_IMPO=LIBRARY"}));
    std::string gens, rest;
    for (voglist* n = g->gens; n; n = n->next)
        gens += orNull(n->gen->vhdlname) + ":" + n->gen->type + "=" + orNull(n->gen->value) + " ";
    EXPECT_EQ(gens,
              "A:string=1 W:INTEGER=INTEGER TPD:TIME=10 VHDL_CONTROL:string=X REFDES:string=U1 "
              "D:string=4 C:string=3 B:string=2 ");
    for (voclist* n = g->consts; n; n = n->next)
        rest += std::string(n->cons->name) + ":" + n->cons->type + "=" + n->cons->value + " ";
    for (voImport* n = g->imports; n; n = n->next)
        rest += std::string(n->name) + "/" + std::to_string(n->kind) + " ";
    for (voComman* n = g->comments; n; n = n->next)
        rest += std::string(n->pair[0]) + "-" + n->pair[1] + " ";
    for (voComman* n = g->pprs; n; n = n->next)
        rest += std::string(n->pair[0]) + "-" + n->pair[1] + " ";
    EXPECT_EQ(rest, "E:BIT= W:INTEGER=4 /2 LIB.PKG.ALL/1 /0 1-HI 1-ASSERT TRUE; ");
    EXPECT_EQ(reports(),
              "entgen: Error 804:  :  Constant BAD has no type: its value holds no colon; "
              "it is left out.\n");
}

TEST_F(Examination, PinAttributesAndPinTypes) {
    vo->ini->attrs = voattrbloc();
    vo->ini->attrs->name = vostcpy("DROP");  // ATTRIBUTE DROP NULL
    vo->ini->pintypes = vopintbloc();
    vo->ini->pintypes->name = vostcpy("TRI");
    vo->ini->attdefault = vostcpy("integer");
    // The pins' attributes alone, without their port records.
    vodefpintypes();
    vogroup* g = vo->prims = vogroupbloc();
    g->grp = symbol("P", {},
                    {{"A", "PINTYPE=FOO", "LOAD=2", "DROP=1", "FLOATVAL=0"},
                     {"B", "SPEED=F", "LOAD=3", "VHDL_COM_X=C", "VHDL_TYPE=T"},
                     {"C", "VHDL_PORT_MODE=FOO"}});
    voattpins(g);
    std::string alist, types;
    for (voalist* n = g->alist; n; n = n->next)
        alist += std::string(n->attr->vhdlname) + ":" + n->attr->type + "/" +
                 std::to_string(n->flags) + " ";
    EXPECT_EQ(alist, "SPEED:integer/2 LOAD:integer/2 ");
    EXPECT_EQ(g->nopintype, 1);
    for (vopint* p = vo->ini->autopins; p; p = p->next)
        types += std::string(p->name) + std::to_string(p->dir) + " ";
    EXPECT_EQ(types, "IN1 ENA1 OUT2 BI4 OEM4 OCT4 IO4 IXO4 BUFFER8 LINKAGE16 FOO1 ");
    EXPECT_EQ(reports(),
              "entgen: Warning 527:  :  Pin type FOO is declared neither by PIN_TYPE nor "
              "among the built-in types.\n");
}

TEST_F(Examination, AGenericOfTheConfigurationKeepsTheFirstValueForTheRun) {
    vo->ini->gens = vogenbloc();
    vo->ini->gens->name = vostcpy("PART");
    vo->ini->gens->vhdlname = vostcpy("part_number");
    vogroup* first = examine(symbol("S1", {"PART=74F00", "SPEED=1"}));
    vogroup* second = examine(symbol("S2", {"PART=74F04", "SPEED=2"}));
    EXPECT_EQ(first->gens->gen, second->gens->gen);
    EXPECT_EQ(orNull(second->gens->gen->value), "74F00");
    // Made from the symbols: one record of a name for the file to write.
    EXPECT_EQ(orNull(second->gens->next->gen->value), "2");
    EXPECT_EQ(orNull(vo->gens->value), "1");
    EXPECT_EQ(vo->gens->next, nullptr);
    EXPECT_EQ(examine(first->grp), first);
}

// The pass and the group look-up as the plain loops read: every group is
// named again after each symbol, and a look-up walks both lists.
vogroup* findByTheLoops(const iwgroup* handle) {
    for (vogroup* l : {vo->hier, vo->prims})
        for (vogroup* g = l; g; g = g->next)
            if (g->grp == handle) return g;
    return nullptr;
}

TEST_F(Examination, FastFormsGiveWhatThePlainLoopsGive) {
    for (unsigned seed = 1; seed <= 6; ++seed) {
        std::mt19937 random(seed);
        std::vector<iwgroup*> seen{symbol("ABSENT", {})};
        std::vector<vogroup*> dropped;
        for (int round = 0; round < 60; ++round) {
            // Now and then groups made elsewhere, of known handles, or a new list.
            if (random() % 4 == 0 && random() % 2) dropped.push_back(vo->hier), vo->hier = nullptr;
            for (int k = random() % 5 == 0 ? 1 + random() % 2 : 0; k > 0; --k) {
                vogroup* h = vogroupbloc();
                h->grp = seen[random() % seen.size()];
                h->next = vo->hier;
                vo->hier = h;
            }
            const std::string name = (random() % 2 ? "L:G" : "L:3") +
                                     std::to_string(random() % 40) + (random() % 2 ? "$" : "");
            iwgroup* g = random() % 3 ? symbol(name.c_str(), {}) : seen[random() % seen.size()];
            seen.push_back(g);
            vo->top = g;
            voexampass();
            const std::string before = reports();
            std::vector<std::string> bases;
            for (vogroup* p = vo->prims; p; p = p->next) bases.push_back(orNull(p->base));
            for (vogroup* p = vo->prims; p; p = p->next) {
                vostfree(p->base);
                p->base = ktStrLoc(votruncnam(votr(iggrpnam(p->grp))));
                ASSERT_EQ(bases.front(), p->base) << "seed " << seed << ", round " << round;
                bases.erase(bases.begin());
            }
            EXPECT_EQ(before, reports());
            for (iwgroup* h : seen) ASSERT_EQ(vofindgr(h), findByTheLoops(h));
        }
        dropped.push_back(vo->hier);
        for (vogroup* l : dropped) vogroupfree(l);
        vo->hier = nullptr;
    }
}

}  // namespace

TEST(ExaminationRun, ALibraryRunListsTheNamesOfEachSymbolAndTheEarlierOnes) {
    TempDir dir;
    dir.write("scrivet.ini", "DIR [p] ./cells (cells)\n");
    dir.write("entgen.ini", "ENTGEN 5.3.1\nLIST_IDENTIFIERS translated\n");
    dir.write("cells/sym/3state.1", "V 5\nY 1\nE\n");
    dir.write("cells/sym/mux.1", R"(V 5
Y 1
U 0 0 8 0 1 0 VHDL=cells:mux$2(rtl)
U 0 0 8 0 1 0 VHDL_IMPORT_IEEE$STD_LOGIC_1164=package
U 0 0 8 0 1 0 VHDL_IMPORT_IEEE=library
U 0 0 8 0 1 0 VHDL_COM_2=second line
U 0 0 8 0 1 0 VHDL_COM_1=two-way multiplexer
U 0 0 8 0 1 0 VHDL_CON_WIDTH=integer:=2
U 0 0 8 0 1 0 VHDL_CON_BAD=7
E
)");
    RunResult r = runEntgen(dir.path(), {"-o", "cells:mux"});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_THAT(r.err, ::testing::HasSubstr("Error 804:  :  Constant BAD has no type"));
    EXPECT_FALSE(dir.exists("cells/behv/mux.xrf"));
    EXPECT_EQ(dir.read("cells/behv/mux.vhd"), R"(library IEEE;
use IEEE.STD_LOGIC_1164.all;
-- Entity declaration
-- TWO-WAY MULTIPLEXER
-- SECOND LINE
entity MUX242 is
    constant WIDTH : INTEGER := 2;
end MUX242;

architecture RTL of MUX242 is
begin
    
end RTL;
)");
    r = runEntgen(dir.path(), {"-o", "-l", "cells"});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(dir.read("cells/behv/v3state.xrf"), "3STATE v3STATE\n");
    EXPECT_EQ(dir.read("cells/behv/mux.xrf"), "3STATE v3STATE\nMUX$2  MUX242\n");
}
