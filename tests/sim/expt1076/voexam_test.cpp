#include "voexam.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "iwmem.h"
#include "iwname.h"
#include "iwobj.h"
#include "runprog.h"
#include "tempdir.h"
#include "vofixture.h"
#include "votr.h"

namespace {

using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

// Symbols made in a pool of the test's own, a fresh table of names, and a
// directory for the log of the reports.
class Examination : public TranslatorTest {
protected:
    TempDir dir;
    ChdirGuard inDir{dir.path()};
    void SetUp() override {
        TranslatorTest::SetUp();
        vo->ini = voinibloc();
        votrsetup();
        Idatamem = iwbinit(8192);
    }
    void TearDown() override {
        TranslatorTest::TearDown();
        iwbfree(Idatamem);
        iwdelnames();
        Idatamem = 0;
    }
    // A group whose symbol has the attributes "NAME=value,..."; pins have
    // their own, behind the pin's name: "NAME,ATT=value,...".
    static iwgroup* symbol(const char* name, const std::string& attrs,
                           std::vector<std::string> pins = {}) {
        iwgroup* g = iwmkgroup(name);
        g->symbols->attributes = add(nullptr, attrs);
        for (iwspin** tail = &g->symbols->pins; const std::string& pin : pins) {
            *tail = iwmkspin(pin.substr(0, pin.find(',')).c_str());
            (*tail)->attributes = add(nullptr, pin.substr(pin.find(',') + 1));
            tail = &(*tail)->next;
        }
        return g;
    }
    static iwatt* add(iwatt* list, const std::string& attrs) {
        const size_t eq = attrs.find('='), end = attrs.find(',');
        if (eq == attrs.npos) return list;
        iwatt* a = iwmkatt(attrs.substr(0, eq).c_str(), attrs.substr(eq + 1, end - eq - 1).c_str());
        return add(iwaddatt(list, a), end == attrs.npos ? "" : attrs.substr(end + 1));
    }
    // What a test looks at in a node of each list.
    static std::string str(const char* s) { return s ? s : "(null)"; }
    static std::string show(const voImport* n) {
        return str(n->name) + "/" + std::to_string(n->kind);
    }
    static std::string show(const voComman* n) { return str(n->pair[0]) + "-" + n->pair[1]; }
    static std::string show(const vopint* n) { return str(n->name) + std::to_string(n->dir); }
    static std::string show(const voclist* n) {
        return str(n->cons->name) + ":" + n->cons->type + "=" + n->cons->value;
    }
    static std::string show(const voglist* n) {
        return str(n->gen->vhdlname) + ":" + str(n->gen->type) + "=" + str(n->gen->value);
    }
    static std::string show(const voalist* n) {
        return str(n->attr->vhdlname) + ":" + n->attr->type + "/" + std::to_string(n->flags);
    }
    template <typename T>
    static std::string join(const T* list) {
        std::string out;
        for (; list; list = list->next) out += show(list) + " ";
        return out;
    }
    static vogroup* examine(iwgroup* g) {
        vo->top = g;
        voexampass();
        return vofindgr(g);
    }
};

TEST_F(Examination, NamesComeFromTheVhdlAttributeOrTheSymbol) {
    const char* cases[][3] = {{"CELLS:AND2", "", "CELLS AND2 archAND2 and2.vhd"},
                              {"REG", "VHDL=LIB:ENT(ARC)", "LIB ENT ARC reg.vhd"},
                              {"CELLS:X", "VHDL=ENT", "CELLS ENT archENT x.vhd"},
                              {"Y", "VHDL=WORK:IN(", "WORK vIN archvIN y.vhd"}};
    for (auto [name, attrs, want] : cases) {
        vogroup* g = examine(symbol(name, attrs));
        EXPECT_EQ(str(g->lib) + " " + g->entity + " " + g->arch + " " + g->base + "." + g->ext,
                  want);
    }
}

TEST_F(Examination, SymbolAttributesSortIntoGenericsConstantsCommentsAndImports) {
    CaptureStderr();
    vogroup* g = examine(symbol(
        "S",
        "A=1,B=2,C=3,D=4,LEVEL=1,REFDES=U1,VHDL_CONTROL=X,VHDL_CONFIG=Y,VHDL_CONFIGURATION=Z,"
        "VHDL_ATT_KEEP=BOOLEAN:TRUE,VHDL_VECTOR=D[1:0]:T,VHDL_GEN_TPD=TIME:=10,VHDL_GEN_W=INT,"
        "VHDL_CON_W=INTEGER:=4,VHDL_CON_BAD=4,VHDL_CON_E=BIT:=,VHDL_COM_1=HI,VHDL_PPR_1=END;,"
        "VHDL_IMPORT_LIB$PKG$ALL=PACKAGE,VHDL_IMPORTX=NOTHING,VHDL_IMPO=LIBRARY"));
    EXPECT_EQ(join(g->gens),
              "A:string=1 W:INT=INT TPD:TIME=10 VHDL_CONTROL:string=X REFDES:string=U1 "
              "D:string=4 C:string=3 B:string=2 ");
    EXPECT_EQ(join(g->consts), "E:BIT= W:INTEGER=4 ");
    EXPECT_EQ(join(g->imports), "/2 LIB.PKG.ALL/1 /0 ");
    EXPECT_EQ(join(g->comments) + join(g->pprs), "1-HI 1-END; ");
    EXPECT_THAT(GetCapturedStderr(),
                testing::EndsWith("Error 804:  :  Constant BAD has no type: "
                                  "its value holds no colon; it is left out.\n"));
}

TEST_F(Examination, PinAttributesAndPinTypes) {
    vo->ini->attrs = voattrbloc();
    vo->ini->attrs->name = vostcpy("DROP");  // ATTRIBUTE DROP NULL
    vo->ini->pintypes = vopintbloc();
    vo->ini->pintypes->name = vostcpy("TRI");
    vo->ini->attdefault = vostcpy("integer");
    // The pins' attributes alone, without their port records.
    CaptureStderr();
    vodefpintypes();
    vogroup* g = vo->prims = vogroupbloc();
    g->grp = symbol("P", "",
                    {"A,PINTYPE=FOO,LOAD=2,DROP=1,FLOATVAL=0",
                     "B,SPEED=F,LOAD=3,VHDL_COM_X=C,VHDL_TYPE=T", "C,VHDL_PORT_MODE=FOO"});
    voattpins(g);
    EXPECT_EQ(join(g->alist), "SPEED:integer/2 LOAD:integer/2 ");
    EXPECT_EQ(g->nopintype, 1);
    EXPECT_EQ(join(vo->ini->autopins),
              "IN1 ENA1 OUT2 BI4 OEM4 OCT4 IO4 IXO4 BUFFER8 LINKAGE16 FOO1 ");
    EXPECT_THAT(GetCapturedStderr(), testing::StartsWith("entgen: Warning 527:  :  Pin type FOO "));
}

TEST_F(Examination, AGenericOfTheConfigurationKeepsTheFirstValueForTheRun) {
    vo->ini->gens = vogenbloc();
    vo->ini->gens->name = vostcpy("PART");
    vo->ini->gens->vhdlname = vostcpy("part_number");
    vogroup* first = examine(symbol("S1", "PART=74F00,SPEED=1"));
    vogroup* second = examine(symbol("S2", "PART=74F04,SPEED=2"));
    EXPECT_EQ(join(second->gens), "part_number:(null)=74F00 SPEED:string=2 ");
    EXPECT_EQ(first->gens->gen, second->gens->gen);
    // Made from the symbols: one record of a name for the file to write.
    EXPECT_EQ(str(vo->gens->value) + str(vo->gens->next ? "and more" : ""), "1");
    EXPECT_EQ(examine(first->grp), first);
}

}  // namespace

TEST(ExaminationRun, ALibraryRunListsTheNamesOfEachSymbolAndTheEarlierOnes) {
    TempDir dir;
    dir.write("scrivet.ini", "DIR [p] ./cells (cells)\n");
    dir.write("entgen.ini", "ENTGEN 5.3.1\nLIST_IDENTIFIERS translated\n");
    dir.write("cells/sym/3state.1", "V 5\nY 1\nE\n");
    dir.write("cells/sym/mux.1", R"(V 5
U 0 0 8 0 1 0 VHDL=cells:mux$2(rtl)
U 0 0 8 0 1 0 VHDL_IMPORT_IEEE$STD_LOGIC_1164=package
U 0 0 8 0 1 0 VHDL_IMPORT_IEEE=library
U 0 0 8 0 1 0 VHDL_COM_1=two-way multiplexer
U 0 0 8 0 1 0 VHDL_CON_WIDTH=integer:=2
)");
    RunResult r = runEntgen(dir.path(), {"-o", "-l", "cells"});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_THAT(dir.read("cells/behv/mux.vhd"), testing::StartsWith(R"(library IEEE;
use IEEE.STD_LOGIC_1164.all;
-- Entity declaration
-- TWO-WAY MULTIPLEXER
entity MUX242 is
    constant WIDTH : INTEGER := 2;
end MUX242;

architecture RTL of MUX242 is
)"));
    EXPECT_EQ(dir.read("cells/behv/v3state.xrf"), "3STATE v3STATE\n");
    EXPECT_EQ(dir.read("cells/behv/mux.xrf"), "3STATE v3STATE\nMUX$2  MUX242\n");
    // A symbol translated on its own lists nothing.
    std::filesystem::remove_all(dir.path("cells/behv"));
    r = runEntgen(dir.path(), {"-o", "cells:3state"});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_TRUE(dir.exists("cells/behv/v3state.vhd"));
    EXPECT_FALSE(dir.exists("cells/behv/v3state.xrf"));
}
