#include "voportcl.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "portfixture.h"
#include "voreadini.h"

namespace {

class PortClause : public PortTest {
protected:
    std::string clause(const std::vector<std::string>& pins,
                       const std::vector<std::string>& attrs = {}, bool examined = true) {
        iwsym* s = symbol(pins, attrs);
        if (!s) return "(no symbol)";
        vogroup* g = examine(s);
        if (!examined) voPortFreeAll();
        writeToMemory();
        voport_clause(g, 0);
        return written();
    }
};

TEST_F(PortClause, OnePortForEachNameInTheOrderOfThePins) {
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

// The example library with its configuration: buses, a vector port, a pin
// type the file declares, one it does not, a two-dimensional port.
TEST_F(PortClause, TheExampleLibrary) {
    namespace fs = std::filesystem;
    fs::copy(ENTGEN_EXAMPLES_DIR, dir.path(),
             fs::copy_options::recursive | fs::copy_options::overwrite_existing);
    voinifree(vo->ini);
    vo->ini = nullptr;
    ASSERT_EQ(voreadini("entgen.ini"), 1);
    std::string clauses;
    for (std::string name : {"cnt4", "mux4", "pad", "mem4x2"}) {
        name = "cells:" + name + ".1";
        iwsym* s = iwrdsym(name.data());
        ASSERT_NE(s, nullptr) << name;
        vogroup* g = examine(s);
        writeToMemory();
        voport_clause(g, 0);
        clauses += written();
    }
    EXPECT_EQ(clauses, R"(port (CLK : IN bit;
      -- COUNT, LEAST SIGNIFICANT BIT IN Q0
      Q : OUT BIT_VECTOR(3 downto 0);
      RST : IN bit := '0');
port (D : IN bit_vector(3 downto 0);
      S : IN bit_vector(1 downto 0);
      Y : OUT bit);
port (DQ : INOUT bit;
      PAD : IN bit;
      REF : INOUT bit);
port (A : IN bit_vector(1 downto 0);
      BUSY : INOUT WIRED_OR bit;
      D : IN bit_vector(1 downto 0);
      M : OUT ktbit_2d(3 downto 0,1 downto 0);
      WE : IN bit := '1');
)");
    EXPECT_EQ(numbers(), "527") << "ANALOG, at the first pin of that type";
}

}  // namespace
