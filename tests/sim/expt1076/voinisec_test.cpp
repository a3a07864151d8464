#include "voinisec.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <regex>
#include <string>
#include <vector>

#include "inifixture.h"
#include "modelrun.h"

namespace {

// Statements behind the version line, the reports they give, and the
// records the file leaves; a refused statement leaves none.
struct Case {
    const char* statements;
    const char* reports;
    const char* records;
};

class IniSection : public IniTest {
protected:
    void check(std::initializer_list<Case> cases) {
        for (const Case& c : cases) {
            EXPECT_EQ(read("ENTGEN 5.3.1\n" + std::string(c.statements)), c.reports)
                << c.statements;
            EXPECT_EQ(records(), c.records) << c.statements;
        }
    }
};

TEST_F(IniSection, Header) {
    check({{"HEADER library IEEE;\nHEADER   -- a  b  | not this\n", "",
            "H[-- a  b  ] H[library IEEE;]"},
           {"HEADER\t| no text", "610@2", ""}});
    EXPECT_EQ(vo->warnings, 1) << "a HEADER without text is only a warning";
    EXPECT_EQ(vo->errors, 0);
}

TEST_F(IniSection, Generic) {
    check({{"GENERIC tpd generic (tpd : time := 1 ns);", "", "G[tpd/tpd/time := 1 ns/-]"},
           {"GENERIC w generic(w:bit_vector(3 downto 0)); tail", "",
            "G[w/w/bit_vector(3 downto 0)/tail]"},
           {"GENERIC pinnum null", "", "G[pinnum/-/-/-]"},
           {"GENERIC a generic (a : t); tail extra", "609@2", "G[a/a/t/tail]"},
           {"GENERIC", "611@2", ""},
           {"GENERIC tpd", "610@2", ""},
           {"GENERIC tpd other (tpd : time);", "612@2", ""},
           {"GENERIC tpd generic ( : time)", "613@2", ""},
           {"GENERIC tpd generic (tpd : );", "614@2", ""}});
}

TEST_F(IniSection, Attribute) {
    check({{"ATTRIBUTE loc attribute loc_att : string;\nATTRIBUTE pin NULL", "",
            "A[pin/-/-] A[loc/loc_att/string]"},
           {"ATTRIBUTE", "611@2", ""},
           {"ATTRIBUTE loc", "610@2", ""},
           {"ATTRIBUTE loc attr loc : string;", "615@2", ""},
           {"ATTRIBUTE loc attribute : string;", "616@2", ""},
           {"ATTRIBUTE loc attribute loc :", "614@2", ""}});
}

TEST_F(IniSection, TypesAndHighImpedence) {
    check({{"SIGNAL_TYPE", "610@2", ""},
           {"HIGH_IMPEDENCE_STATE", "610@2", ""},
           {"SIGNAL_TYPE std_logic\n"             // 2: one word
            "SIGNAL_TYPE std_logic std_ulogic\n"  // 3
            "SIGNAL_TYPE bit char\n"              // 4
            "2D_VECTOR_TYPE mat2 string\n"        // 5
            "2D_VECTOR_TYPE other string\n"       // 6
            "VECTOR_TYPE slv std_ulogic\n"        // 7
            "HIGH_IMPEDENCE_STATE 'Z'\n"          // 8
            "HIGH_IMPEDENCE_STATE\n",             // 9: refused before it is read
            "625@2 617@4 617@6 617@9",
            "S[std_logic/std_ulogic] V[slv/std_ulogic] V2[mat2/string] Z['Z']"}});
    EXPECT_NE(err.find("line 6: VECTOR_TYPE was given before"), std::string::npos) << err;
}

TEST_F(IniSection, InitializeAndComponent) {
    check({{"INITIALIZE vcc '1'\nINITIALIZE gnd '0'", "", "I[gnd/'0'] I[vcc/'1']"},
           {"INITIALIZE", "610@2", ""},
           {"INITIALIZE vcc", "618@2", ""},
           {"COMPONENT and2\nCOMPONENT inv\nCOMPONENT AND2 | reopened", "", "C[inv] C[and2]"},
           {"COMPONENT\nSIGNAL_TYPE a b", "610@2", "S[a/b]"}});
    EXPECT_EQ(vo->warnings, 1) << "a COMPONENT without name is only a warning";
}

TEST_F(IniSection, Binding) {
    const char* both = "C[c] B[work/and2/rtl/tpd=>t1,tpl=>open/a=>x,b=>y]";
    check({{"COMPONENT c\nBINDING entity work.and2(rtl)\n"
            "+   generic map (tpd => t1, tpl=>open)\n"
            "+   port map (a => x,   | the next element on the next line\n"
            "+             b => y);",
            "", both},
           {"COMPONENT c\nBINDING entity work . and2 (rtl) port map(i=>o)", "",
            "C[c] B[work/and2/rtl//i=>o]"},
           {"COMPONENT c\nBINDING entity a.b(c)\nBINDING entity d.e(f)", "", "C[c] B[d/e/f//]"},
           {"COMPONENT c\nBINDING", "610@3", "C[c]"},
           {"COMPONENT c\nBINDING architecture work.c(a)", "623@3", "C[c]"},
           {"COMPONENT c\nBINDING entity work.c(", "624@3", "C[c]"},
           // A map's fault costs that map and what stands behind it; the
           // element's report comes first, both at the line where it was found.
           {"COMPONENT c\nBINDING entity w.c(a) generic map (a => b) port map (c d)", "620@3 622@3",
            "C[c] B[w/c/a/a=>b/]"},
           {"COMPONENT c\nBINDING entity w.c(a) generic map (a =\n", "621@4 622@4",
            "C[c] B[w/c/a//]"},
           {"COMPONENT c\nBINDING entity w.c(a) generic map (=> b)", "619@3 622@3",
            "C[c] B[w/c/a//]"},
           {"COMPONENT c\nBINDING entity w.c(a) port map a => b", "622@3", "C[c] B[w/c/a//]"},
           {"COMPONENT c\nBINDING entity w.c(a) port map (a => b\n", "622@4", "C[c] B[w/c/a//]"},
           {"COMPONENT c\nBINDING entity w.c(a) generic map (a => b) extra", "609@3",
            "C[c] B[w/c/a/a=>b/]"}});
}

TEST_F(IniSection, PinType) {
    check(
        {{"PIN_TYPE t_in in\nPIN_TYPE t_ena ENA\nPIN_TYPE t_out Out\nPIN_TYPE t_tri tri\n"
          "PIN_TYPE t_inout inout\nPIN_TYPE t_io IO\nPIN_TYPE t_oem oem\nPIN_TYPE t_oct OCT\n"
          "PIN_TYPE t_ixo ixo\nPIN_TYPE t_buf buffer\nPIN_TYPE t_link LINKAGE\nPIN_TYPE T_IN out",
          "",
          "P[T_IN/1] P[T_ENA/1] P[T_OUT/2] P[T_TRI/2] P[T_INOUT/4] P[T_IO/4] P[T_OEM/4] P[T_OCT/4] "
          "P[T_IXO/4] P[T_BUF/8] P[T_LINK/16]"},
         {"PIN_TYPE", "610@2", ""},
         {"PIN_TYPE bi", "626@2", ""},
         {"PIN_TYPE bi bidir", "627@2", ""}});
}

TEST_F(IniSection, TranslateAndPrefix) {
    check({{"TRANSLATE word begin begin_x\nTRANSLATE char $ _D_\nTRANSLATE CHAR #\nTRANSLATE Word "
            "end end_x\n"
            "PREFIX x\nPREFIX sig_",
            "", "W[BEGIN/begin_x] W[END/end_x] X[$/_D_] X[#/] PREFIX[sig_]"},
           {"TRANSLATE letter a b", "628@2", ""},
           {"TRANSLATE word", "610@2", ""},
           {"TRANSLATE word begin", "610@2", ""},
           {"PREFIX", "610@2", ""}});
}

TEST_F(IniSection, Place) {
    check({{"PLACE sigdecl architecture\nPLACE COMPDECL Package lib/comps.pkg\nPLACE sigdecl "
            "package sigs",
            "", "L[21/-/-] L[12/comps/pkg] L[22/sigs/vhd]"},
           {"PLACE compdecl package", "610@2", ""},
           {"PLACE compdecl package lib/", "610@2", ""},
           {"PLACE typedecl architecture", "628@2", ""},
           {"PLACE typedecl entity", "629@2", ""}});
}

TEST_F(IniSection, ListSetdefTicksizeDelay) {
    check({{"LIST_IDENTIFIERS Translated\n"
            "SETDEF generic integer range 0 to 7\n"
            "SETDEF ATTRIBUTE\tstring\n"
            "SETDEF generic natural\n"  // 5
            "TICKSIZE 10 ps\n"
            "TICKSIZE 1 ns\n"  // 7
            "DELAY MAX\n"
            "DELAY min\n",  // 9
            "631@5 617@7 617@9", "SETDEF[integer/string] TICK[10/ps] DELAY[3/MAX] LIST[2]"},
           {"LIST_IDENTIFIERS all\nTICKSIZE ten ns\nDELAY fastest", "",
            "TICK[0/ns] DELAY[2/fastest] LIST[3]"},
           {"DELAY Min", "", "DELAY[1/Min]"},
           {"LIST_IDENTIFIERS some", "628@2", ""},
           {"SETDEF constant integer", "630@2", ""},
           {"SETDEF generic", "610@2", ""},
           {"TICKSIZE 10", "625@2", ""}});
}

// What each section does to the model of a symbol, in a run of the program.
// A refused statement costs its report and nothing else: the statements
// around it still take effect and the model is written. HEADER and PLACE,
// ATTRIBUTE, LIST_IDENTIFIERS and PREFIX on repeated generics show in the
// tests of the reader, the attribute clause, the examination and the
// generic clause.
struct SectionEffect {
    const char* statements;  // from line 2 on
    std::vector<std::string> symbol;
    const char* reports;  // of the reader, number@line
    const char* entity;   // the lines between "entity PART is" and its end
};

using SectionInTheModel = ModelRun;

TEST_F(SectionInTheModel, EachSectionShowsInTheModelOfARun) {
    const SectionEffect cases[] = {
        {"GENERIC SPEED other (x : integer);\nGENERIC PINNUM NULL\n"
         "GENERIC SPEED generic (speed_grade : integer);\n",
         {"U PINNUM=7", "U SPEED=3", "U PART=74F00"},
         "612@2",
         "    generic (PART : string := \"74F00\";\n"
         "             speed_grade : integer := 3);\n"},
        // A component's own GENERIC wins over the file's; behind COMPONENT
        // NULL the sections count again.
        {"GENERIC SPEED generic (speed : integer);\nCOMPONENT other\nGENERIC SPEED NULL\n"
         "COMPONENT Part\nGENERIC SPEED generic (comp_speed : positive);\nGENERIC PINNUM NULL\n"
         "SIGNAL_TYPE std_logic std_ulogic\nCOMPONENT NULL\nSETDEF generic natural\n",
         {"U PINNUM=7", "U SPEED=3", "U WIDTH=8", "P A"},
         "604@8",
         "    generic (WIDTH : natural := 8;\n"
         "             comp_speed : positive := 3);\n"
         "    port (A : IN bit);\n"},
        {"SIGNAL_TYPE std_logic\nSIGNAL_TYPE std_logic std_ulogic\nVECTOR_TYPE slv string\n"
         "2D_VECTOR_TYPE mat string\n",
         {"P A", "P B[3:0]", "P M[1:0][0:1]", "P T", "A VHDL_TYPE=integer"},
         "625@2",
         "    port (A : IN std_logic;\n"
         "          B : IN slv(3 downto 0);\n"
         "          M : IN mat(1 downto 0,0 to 1);\n"
         "          T : IN INTEGER);\n"},
        // The file's row of a built-in pin type wins.
        {"PIN_TYPE clock buffer\nPIN_TYPE tri inout\nPIN_TYPE in bidir\n",
         {"P C", "A PINTYPE=CLOCK", "P O", "A PINTYPE=OUT", "P T", "A PINTYPE=TRI", "P X",
          "A PINTYPE=IN"},
         "627@4",
         "    port (C : BUFFER bit;\n"
         "          O : OUT bit;\n"
         "          T : INOUT bit;\n"
         "          X : IN bit);\n"},
        {"TRANSLATE word dout q\nTRANSLATE char ~ n_\nTRANSLATE char $\nTRANSLATE word x\n"
         "PREFIX p_\n",
         {"P ~CLR", "P DOUT", "P IN", "P D$1", "P 3S"},
         "610@5",
         "    port (p_3S : IN bit;\n"
         "          D1 : IN bit;\n"
         "          q : IN bit;\n"
         "          p_IN : IN bit;\n"
         "          n_CLR : IN bit);\n"},
        {"SETDEF generic natural\nSETDEF attribute integer\nSETDEF generic string\n",
         {"U SPEED=3", "P A", "A LOAD=2"},
         "631@4",
         "    generic (SPEED : natural := 3);\n"
         "    port (A : IN bit);\n"
         "    attribute LOAD : integer;\n    \n"
         "    attribute LOAD of A : signal is 2;\n    \n"},
        // Ticks of TICKSIZE for the value DELAY picks; without DELAY the
        // middle value in ticks of 0.1 ns, TICKSIZE or not.
        {"DELAY min\nTICKSIZE 0.5 ns\n",
         {"U VHDL_GEN_TPD=TIME:=2:4:6"},
         "",
         "    generic (TPD : TIME := 1.00 ns);\n"},
        {"TICKSIZE 0.5 ns\n",
         {"U VHDL_GEN_TPD=TIME:=2:4:6"},
         "",
         "    generic (TPD : TIME := 0.40 ns);\n"},
    };
    static const std::regex report(R"(entgen: \w+ (6\d\d):  :  entgen\.ini, line (\d+):)");
    for (const SectionEffect& c : cases) {
        const std::string model = entity(c.symbol, c.statements);
        std::string reports;
        for (std::sregex_iterator it(run.err.begin(), run.err.end(), report), end; it != end; ++it)
            reports += (reports.empty() ? "" : " ") + (*it)[1].str() + "@" + (*it)[2].str();
        EXPECT_EQ(reports, c.reports) << c.statements;
        EXPECT_EQ(model, "entity PART is\n" + std::string(c.entity) + "end PART;\n")
            << c.statements;
    }
}

}  // namespace
