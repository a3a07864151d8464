// Ports: what each pin becomes, values as literals, vectors and the port
// clause, on symbol files that the design database reads.
#include "voportinfo.h"

#include <gtest/gtest.h>

#include <cstring>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "iwobj.h"
#include "iwrdsym.h"
#include "iwsession.h"
#include "kssrch.h"
#include "kterr.h"
#include "qlm.h"
#include "rdb_api.h"
#include "tempdir.h"
#include "voeval.h"
#include "vofixture.h"
#include "voportcl.h"
#include "votr.h"
#include "vovector.h"

namespace {

class Ports : public TranslatorTest {
protected:
    void SetUp() override {
        TranslatorTest::SetUp();
        vo->ini = voinibloc();
        votrsetup();
        dir.write("scrivet.ini", "DIR [p] ./cells (cells)\n");
        dir.mkdir("cells/sym");
        here.emplace(dir.path());
        qlm_free_all(), ksGetdefReset(), ksKdirReset();
        ASSERT_EQ(iwinit(), 1);
        catchReports();  // after the start, which points them at stderr
    }
    void TearDown() override {
        if (Iexpand) iwexpbus();
        iwfinish();
        rdbExit();
        here.reset();
        qlm_free_all(), ksGetdefReset(), ksKdirReset();
        TranslatorTest::TearDown();
    }

    // A symbol with these attributes and pins, each pin a label with its
    // attributes behind it, ";" between them, each pin given its port.
    vogroup* examine(const std::vector<std::string>& pins, const std::vector<std::string>& attrs) {
        std::string text = "V 5\nY 1\n", part, name = "s" + std::to_string(++made_) + ".1";
        for (const std::string& a : attrs) text += "U 0 0 8 0 1 0 " + a + "\n";
        for (const std::string& pin : pins) {
            std::istringstream in(pin);
            std::getline(in, part, ';');
            text += "P 1 0 0 0 0 1\nL 1 0 0 8 0 1 0 0 " + part + "\n";
            while (std::getline(in, part, ';')) text += "A 1 0 8 0 1 0 " + part + "\n";
        }
        dir.write("cells/sym/" + name, text + "E\n");
        name = "cells:" + name;
        iwsym* s = iwrdsym(name.data());
        if (!s) return nullptr;
        for (auto [type, mode] :
             {std::pair{"IN", 1}, {"ENA", 1}, {"OUT", 2}, {"TRI", 2}, {"BI", 4}})
            if (!vofind_pintype(type)) voaddpintype(type, mode, &vo->ini->autopins);
        for (iwspin* p = s->pins; p; p = p->next) voGetPortInfo(s, p, nullptr);
        vogroup* g = vogroupbloc();
        g->grp = s->group;
        g->next = vo->prims;
        vo->prims = g;
        voSetPinVector(g);
        return g;
    }
    // Each pin's port as "name mode type range := value brf", "; " between.
    std::string examined(const std::vector<std::string>& pins,
                         const std::vector<std::string>& attrs = {}) {
        vogroup* g = examine(pins, attrs);
        std::string out;
        for (const iwspin* p = g ? g->grp->symbols->pins : nullptr; p; p = p->next) {
            const voPort* r = voPinPort(p);
            out += (out.empty() ? "" : "; ") + std::string(r->name) + " " + r->mode + " " +
                   r->type + (r->range ? r->range : "") + (r->value ? " := " : "") +
                   (r->value ? r->value : "") + (r->brf ? " " : "") + (r->brf ? r->brf : "");
        }
        return g ? out : "(no symbol)";
    }
    // The port clause; without `ports` the pins lose their records first.
    std::string clause(const std::vector<std::string>& pins,
                       const std::vector<std::string>& attrs = {}, bool ports = true) {
        vogroup* g = examine(pins, attrs);
        if (!ports) voPortFreeAll();
        writeToMemory();
        voport_clause(g, 0);
        return written();
    }

    TempDir dir;
    std::optional<ChdirGuard> here;

private:
    int made_ = 0;
};

TEST_F(Ports, ValuesAreQuotedAsTheTypeAsksAndCutToFit) {
    // clang-format off
    const char* cases[][3] = {
        {nullptr, "bit", "OPEN"}, {"0", "bit", "'0'"}, {"0101", "BIT_VECTOR", "\"0101\""},
        {"\"0101\"", "bit_vector", "\"0101\""}, {"\"5\"", "integer", "5"}, {"5", nullptr, "5"},
        {"'X'", "std_logic", "'X'"}, {"'1", "ktbit", "'1'"}, {"A\"B", "string", "\"A\"B\""},
        {"\"A\" AND \"B\"", "string", "\"A\" AND \"B\""}, {"", "string", "\"\""},
        {"", "integer", "\"\""}, {"\"\"", "char", "\"\""}};
    // clang-format on
    for (auto [value, type, literal] : cases)
        EXPECT_STREQ(voeval(value, type), literal) << (value ? value : "null");
    // A value may come from the buffer it is written to.
    EXPECT_STREQ(voeval(std::strcpy(vo->buf, "1"), "bit"), "'1'");
    EXPECT_EQ(voeval(std::string(3000, 'A').c_str(), "string"),
              "\"" + std::string(2045, 'A') + "\"");
    EXPECT_EQ(numbers(), "");
}

TEST_F(Ports, ValueReferencesBecomeTheNamesOfTheirGenerics) {
    EXPECT_STREQ(voeval("@WIDTH-1", "integer"), "v40WIDTH-1");
    EXPECT_EQ(numbers(), "557") << "the name is translated once";
    // Only a reference outside quotes, not behind a name, makes the walk;
    // then every "@" counts.
    EXPECT_STREQ(voeval("\"@A\"", "string"), "\"@A\"");
    EXPECT_STREQ(voeval("A@B", "integer"), "A@B");
    EXPECT_STREQ(voeval("@W & \"@W\"", "integer"), "v40W & \"v40W\"");
    // "@A" becomes "v40A": 2043 characters in front leave room for it, 2044 do not.
    EXPECT_EQ(std::strlen(voeval((std::string(2042, '1') + "+@A").c_str(), "integer")), 2046u);
    EXPECT_EXIT((ktErrFileV = stderr, voeval((std::string(2043, '1') + "+@A").c_str(), nullptr)),
                ::testing::ExitedWithCode(1), "547");
}

TEST_F(Ports, ModeFromThePinTypeInWithoutOneAndUnknownTypesLearned) {
    voaddpintype("CLOCK", VOPORT_IN, &vo->ini->pintypes);
    voaddpintype("BI", VOPORT_OUT, &vo->ini->pintypes);  // the file's row wins
    EXPECT_EQ(examined({"A", "B;PINTYPE=BI", "C;PINTYPE=TRI;VHDL_PORT_MODE=IN",
                        "D;VHDL_PORT_MODE=ENA", "E;PINTYPE=clock"}),
              "A IN bit; B OUT bit; C OUT bit; D IN bit; E IN bit");
    EXPECT_EQ(numbers(), "");
    // An unknown type: reported once, then known as INOUT, also in a later symbol.
    EXPECT_EQ(examined({"A;PINTYPE=FOO", "B;PINTYPE=FOO"}), "A IN bit; B INOUT bit");
    EXPECT_EQ(numbers(), "527");
    EXPECT_EQ(examined({"C;PINTYPE=FOO"}), "C INOUT bit");
    vo->cmdl->warnpintype = 0;
    EXPECT_EQ(examined({"D;PINTYPE=BAR", "E;PINTYPE=BAR"}), "D IN bit; E INOUT bit");
    EXPECT_EQ(numbers(), "");
}

TEST_F(Ports, TheLabelGivesNameRangeAndType) {
    EXPECT_EQ(examined({"D[7:0]", "E[0:7]", "F[3]", "M[3:0][1:0]", "~RESET", "G[2"}),
              "D IN bit_vector(7 downto 0); E IN bit_vector(0 to 7); F IN bit_vector(3 to 3); "
              "G IN bit_vector(2 to 2); M IN ktbit_2d(3 downto 0,1 downto 0); v7ERESET IN bit");
    vo->ini->sigtype = vosigtbloc();
    vo->ini->sigtype->type = vostcpy("std_logic");
    vo->ini->vec2type = vovectbloc();
    vo->ini->vec2type->type = vostcpy("matrix");
    EXPECT_EQ(examined({"A", "B[1:0][0:1]", "C[1:0];VHDL_TYPE=COUNT", "D;VHDL_TYPE="}),
              "A IN std_logic; B IN matrix(1 downto 0,0 to 1); C IN COUNT(1 downto 0); "
              "D IN std_logic");
}

TEST_F(Ports, PinsOfOneBaseNameTakeTheirLabelsAndOverlapsAreReported) {
    vogenid = 0;
    EXPECT_EQ(examined({"D[3:0]", "D[7:4]"}),
              "D_3_0 IN bit_vector(3 downto 0); D_7_4 IN bit_vector(7 downto 4)");
    EXPECT_EQ(numbers(), "");
    EXPECT_EQ(examined({"D[3:0]", "D[2:1]"}),
              "D_2_1 IN bit_vector(2 downto 1); D_3_0 IN bit_vector(3 downto 0)");
    EXPECT_EQ(numbers(), "1001") << "only the wider range holds the other";
    EXPECT_EQ(examined({"D", "D[1:0]"}), "D IN bit; D_1_0 IN bit_vector(1 downto 0)");
    EXPECT_EQ(numbers(), "1001 1001");
    EXPECT_EQ(examined({"~A[1:0]", "A[3:2]"}),
              "A IN bit_vector(3 downto 2); v7EA IN bit_vector(1 downto 0)");
    EXPECT_EQ(numbers(), "557 557") << "another base name: no check";
    // A label that another port already has takes a number behind it.
    EXPECT_EQ(examined({"D", "D[1:0]", "D_1_0"}, {"PINORDER=D_1_0 D D[1:0]"}),
              "D_1_0 IN bit; D IN bit; D_1_0_0 IN bit_vector(1 downto 0)");
}

// The index of a symbol's pins is sized by its pin count: a count below
// the pins in the list makes it grow on the way, and the names come out as
// they do with the right count.
TEST_F(Ports, PinsOfOneBaseNameWhateverTheCountSays) {
    std::vector<std::string> pins;
    for (int i = 0; i < 12; ++i)
        for (const char* bit : {"[0]", "[1]"}) pins.push_back("P" + std::to_string(i) + bit);
    vogroup* g = examine(pins, {});
    ASSERT_NE(g, nullptr);
    iwsym* s = g->grp->symbols;
    auto names = [s] {
        std::string out;
        for (const iwspin* p = s->pins; p; p = p->next)
            out += std::string(voPinPort(p)->name) + " ";
        return out;
    };
    const std::string right = names();
    EXPECT_EQ(right.substr(0, 24), "P0_0 P0_1 P10_0 P10_1 P1");
    const int16_t count = s->pincount;
    s->pincount = 1;
    for (iwspin* p = s->pins; p; p = p->next) voGetPortInfo(s, p, nullptr);
    s->pincount = count;
    EXPECT_EQ(names(), right);
}

TEST_F(Ports, DefaultsFromThePinBeforeTheSymbolAndExpandedBusesAsScalars) {
    EXPECT_EQ(examined({"A;FLOATVAL=1;VHDL_DEFAULT=0", "B;VHDL_DEFAULT=0", "C",
                        "D[1:0];VHDL_TYPE=INTEGER", "E;VHDL_BRF=WIRED_OR;FLOATVAL="},
                       {"VHDL_DEFAULT=0", "FLOATVAL=1"}),
              "A IN bit := '1'; B IN bit := '0'; C IN bit := '1'; D IN INTEGER(1 downto 0) := 1; "
              "E IN bit := \"\" WIRED_OR");
    iwexpbus();  // -s: the reader expands a bus into pins
    EXPECT_EQ(examined({"D[3:0];PINTYPE=OUT"}), "D3 OUT bit; D2 OUT bit; D1 OUT bit; D0 OUT bit");
}

TEST_F(Ports, VectorMembersTakeItsNameRangeAndTypeAndPortsOfItsBaseItsRange) {
    EXPECT_EQ(examined({"D0;PINTYPE=OUT", "D1", "D2", "E1"}, {"VHDL_VECTOR=D[3:0]:BIT_VECTOR"}),
              "D OUT BIT_VECTOR(3 downto 0); D IN BIT_VECTOR(3 downto 0); "
              "D IN BIT_VECTOR(3 downto 0); E1 IN bit");
    EXPECT_EQ(examined({"A0", "A1", "B0"}, {"VHDL_VECTOR=A[0:3]:T", "VHDL_VECTOR=B[1:0]:U"}),
              "A IN T(0 to 3); A IN T(0 to 3); B IN U(1 downto 0)");
    EXPECT_EQ(examined({"D[3:0]", "Q"}, {"VHDL_VECTOR=D[7:0]:T"}),
              "D IN bit_vector(7 downto 0); Q IN bit");
    // A second vector of one name finds the ports the first one named.
    EXPECT_EQ(examined({"C0", "C1"}, {"VHDL_VECTOR=C[1:0]:X", "VHDL_VECTOR=C[3:0]:Y"}),
              "C IN X(3 downto 0); C IN X(3 downto 0)");
    // Without a type of its own the last colon is the range's: the types stay.
    EXPECT_EQ(examined({"A0"}, {"VHDL_VECTOR=A[1:0]"}), "A IN bit(1 downto 0)");
}

TEST_F(Ports, ClauseHasOnePortForEachNameInTheOrderOfThePins) {
    EXPECT_EQ(
        clause({"CLK;VHDL_COM_2=SECOND;VHDL_COM_1=THE CLOCK", "D0;PINTYPE=OUT;VHDL_COM_1=DATA",
                "D1;VHDL_COM_1=LOST", "Y;PINTYPE=BI;VHDL_BRF=WIRED_OR;FLOATVAL=0", "E"},
               {"VHDL_VECTOR=D[1:0]:BIT_VECTOR", "PINORDER=CLK D0 Y D1 E"}),
        R"(port (-- THE CLOCK
      -- SECOND
      CLK : IN bit;
      -- DATA
      D : OUT BIT_VECTOR(1 downto 0);
      Y : INOUT WIRED_OR bit := '0';
      E : IN bit);
)");
    EXPECT_EQ(clause({"A;FLOATVAL="}), "port (A : IN bit := \"\");\n");
    EXPECT_EQ(clause({}), "") << "no pins, no clause";
    EXPECT_EQ(clause({"A", "B"}, {}, false), "") << "no ports, no clause";
}

}  // namespace
