#include "voinisec.h"

#include <gtest/gtest.h>

#include <cctype>
#include <string>
#include <vector>

#include "inifixture.h"

namespace {

// Each refused statement stands on line 2, and a PREFIX behind it on
// line 3 must still be read.
struct Refusal {
    const char* statement;
    const char* reports;
};

class IniSection : public IniTest {
protected:
    // Reads each statement alone; `stored` must stay false for all.
    template <typename Stored>
    void expectRefused(const std::vector<Refusal>& cases, Stored stored) {
        for (const Refusal& c : cases) {
            EXPECT_EQ(readStatements(std::string(c.statement) + "\nPREFIX behind\n"), c.reports)
                << c.statement;
            EXPECT_FALSE(stored()) << c.statement;
            EXPECT_STREQ(ini()->prefix, "behind") << c.statement;
            reset();
        }
    }
};

using IniHeader = IniSection;

TEST_F(IniHeader, LinesKeepTheirBlanksAndEndAtAComment) {
    EXPECT_EQ(readStatements("HEADER library IEEE;\n"
                             "HEADER   -- a  comment  | not this\n"
                             "HEADER\t| nothing\n"),
              "610@4");
    vohead* newest = ini()->headers;
    ASSERT_NE(newest, nullptr);
    ASSERT_NE(newest->next, nullptr);
    EXPECT_STREQ(newest->text, "-- a  comment  ");
    EXPECT_STREQ(newest->next->text, "library IEEE;");
    EXPECT_EQ(newest->next->next, nullptr);
    EXPECT_EQ(vo->warnings, 1);
    EXPECT_EQ(vo->errors, 0);
}

using IniGeneric = IniSection;

TEST_F(IniGeneric, WrittenFormsReadBack) {
    EXPECT_EQ(readStatements("GENERIC tpd generic (tpd : time := 1 ns);\n"
                             "GENERIC width generic(w:std_logic_vector(3 downto 0)); tail\n"
                             "GENERIC pinnum NULL\n"
                             "GENERIC plain generic (p : integer\n"),
              "");
    vogen* g = ini()->gens;
    ASSERT_NE(g, nullptr);
    EXPECT_STREQ(g->name, "plain");
    EXPECT_STREQ(g->type, "integer");
    g = g->next;
    EXPECT_STREQ(g->name, "pinnum");
    EXPECT_EQ(g->vhdlname, nullptr);
    EXPECT_EQ(g->type, nullptr);
    g = g->next;
    EXPECT_STREQ(g->vhdlname, "w");
    EXPECT_STREQ(g->type, "std_logic_vector(3 downto 0)");
    EXPECT_STREQ(g->trailer, "tail");
    g = g->next;
    EXPECT_STREQ(g->name, "tpd");
    EXPECT_STREQ(g->vhdlname, "tpd");
    EXPECT_STREQ(g->type, "time := 1 ns");
    EXPECT_EQ(g->trailer, nullptr);
    EXPECT_EQ(g->value, nullptr);
    EXPECT_EQ(g->used, 1);
}

TEST_F(IniGeneric, EachMissingPartHasItsReportAndNothingIsStored) {
    expectRefused({{"GENERIC", "611@2"},
                   {"GENERIC tpd", "610@2"},
                   {"GENERIC tpd (tpd : time);", "610@2"},
                   {"GENERIC tpd other (tpd : time);", "612@2"},
                   {"GENERIC tpd generic (", "613@2"},
                   {"GENERIC tpd generic ( : time)", "613@2"},
                   {"GENERIC tpd generic (tpd :", "614@2"},
                   {"GENERIC tpd generic (tpd : );", "614@2"}},
                  [this] { return ini()->gens != nullptr; });
}

using IniAttribute = IniSection;

TEST_F(IniAttribute, BothFormsAndTheirReports) {
    EXPECT_EQ(readStatements("ATTRIBUTE loc attribute loc_att : string;\n"
                             "ATTRIBUTE pinnum null\n"),
              "");
    voattr* a = ini()->attrs;
    ASSERT_NE(a, nullptr);
    EXPECT_STREQ(a->name, "pinnum");
    EXPECT_EQ(a->vhdlname, nullptr);
    ASSERT_NE(a->next, nullptr);
    EXPECT_STREQ(a->next->vhdlname, "loc_att");
    EXPECT_STREQ(a->next->type, "string");
    reset();
    expectRefused({{"ATTRIBUTE", "611@2"},
                   {"ATTRIBUTE loc", "610@2"},
                   {"ATTRIBUTE loc attr loc : string;", "615@2"},
                   {"ATTRIBUTE loc attribute : string;", "616@2"},
                   {"ATTRIBUTE loc attribute loc :", "614@2"}},
                  [this] { return ini()->attrs != nullptr; });
}

using IniTypes = IniSection;

TEST_F(IniTypes, FirstStatementStandsAndEachTypeHasItsField) {
    EXPECT_EQ(readStatements("SIGNAL_TYPE std_logic\n"                      // 2: one word
                             "SIGNAL_TYPE std_logic std_ulogic\n"           // 3
                             "SIGNAL_TYPE bit char\n"                       // 4
                             "2D_VECTOR_TYPE mat2 string\n"                 // 5
                             "2D_VECTOR_TYPE other string\n"                // 6
                             "VECTOR_TYPE std_logic_vector std_ulogic\n"    // 7
                             "HIGH_IMPEDENCE_STATE 'Z'\n"                   // 8
                             "HIGH_IMPEDENCE_STATE\n"),                     // 9
              "625@2 617@4 617@6 617@9");
    EXPECT_STREQ(vosigtype(), "std_logic");
    EXPECT_STREQ(vosigbase(), "std_ulogic");
    EXPECT_STREQ(vo1DimVecType(), "std_logic_vector");
    EXPECT_STREQ(vovec1Dimbase(), "std_ulogic");
    EXPECT_STREQ(vo2DimVecType(), "mat2");
    EXPECT_STREQ(vovec2Dimbase(), "string");
    EXPECT_STREQ(vozval(), "'Z'");
    // Both vector statements name VECTOR_TYPE.
    EXPECT_NE(err.find("line 6: VECTOR_TYPE was given before"), std::string::npos) << err;
    EXPECT_EQ(vo->warnings, 3);
    EXPECT_EQ(vo->errors, 1);
    reset();
    expectRefused({{"SIGNAL_TYPE", "610@2"},
                   {"VECTOR_TYPE", "610@2"},
                   {"2D_VECTOR_TYPE x", "625@2"},
                   {"HIGH_IMPEDENCE_STATE", "610@2"}},
                  [this] {
                      return ini()->sigtype || ini()->vectype || ini()->vec2type || ini()->zval;
                  });
}

using IniInitialize = IniSection;

TEST_F(IniInitialize, SignalsNewestFirstAndBothOperandsNeeded) {
    EXPECT_EQ(readStatements("INITIALIZE vcc '1'\nINITIALIZE gnd '0'\n"), "");
    ASSERT_NE(ini()->sinits, nullptr);
    EXPECT_STREQ(ini()->sinits->name, "gnd");
    EXPECT_STREQ(vofindsi("VCC")->value, "'1'");
    reset();
    expectRefused({{"INITIALIZE", "610@2"}, {"INITIALIZE vcc", "618@2"}},
                  [this] { return ini()->sinits != nullptr; });
}

using IniComponent = IniSection;

TEST_F(IniComponent, NamelessComponentIsAWarningAndOpensNothing) {
    EXPECT_EQ(readStatements("COMPONENT\nSIGNAL_TYPE a b\n"), "610@2");
    EXPECT_EQ(vo->warnings, 1);
    EXPECT_EQ(ini()->comps, nullptr);
    EXPECT_NE(ini()->sigtype, nullptr) << "no component is open";
}

using IniBinding = IniSection;

TEST_F(IniBinding, BothMapsOnContinuationLines) {
    EXPECT_EQ(readStatements("COMPONENT and2\n"
                             "BINDING entity work.and2(rtl)\n"
                             "+   generic map (tpd => tpd_and, tpl=>open)\n"
                             "+   port map (a => x,   | the second on the next line\n"
                             "+             b => y);\n"
                             "COMPONENT inv\n"
                             "BINDING entity lib.inv (behave) port map (i => o)\n"),
              "");
    vocomp* inv = ini()->comps;
    ASSERT_NE(inv, nullptr);
    vocomp* and2 = inv->next;
    ASSERT_NE(and2, nullptr);
    vobind* b = and2->bind;
    ASSERT_NE(b, nullptr);
    EXPECT_STREQ(b->lib, "work");
    EXPECT_STREQ(b->entity, "and2");
    EXPECT_STREQ(b->arch, "rtl");
    ASSERT_NE(b->genmap, nullptr);
    EXPECT_STREQ(b->genmap->formal, "tpd");
    EXPECT_STREQ(b->genmap->actual, "tpd_and");
    ASSERT_NE(b->genmap->next, nullptr);
    EXPECT_STREQ(b->genmap->next->actual, "open");
    ASSERT_NE(b->portmap, nullptr);
    EXPECT_STREQ(b->portmap->formal, "a");
    ASSERT_NE(b->portmap->next, nullptr);
    EXPECT_STREQ(b->portmap->next->formal, "b");
    EXPECT_STREQ(b->portmap->next->actual, "y");
    ASSERT_NE(inv->bind, nullptr);
    EXPECT_STREQ(inv->bind->arch, "behave");
    EXPECT_EQ(inv->bind->genmap, nullptr);
    ASSERT_NE(inv->bind->portmap, nullptr);
    EXPECT_STREQ(inv->bind->portmap->actual, "o");
}

TEST_F(IniBinding, BadHeadStoresNothingAndABadMapKeepsTheRest) {
    const std::string open = "COMPONENT c\n";
    expectRefused({{"COMPONENT c\nBINDING\nCOMPONENT NULL", "610@3"},
                   {"COMPONENT c\nBINDING architecture work.c(a)\nCOMPONENT NULL", "623@3"},
                   {"COMPONENT c\nBINDING entity work\nCOMPONENT NULL", "624@3"},
                   {"COMPONENT c\nBINDING entity work.c\nCOMPONENT NULL", "624@3"},
                   {"COMPONENT c\nBINDING entity work.c(\nCOMPONENT NULL", "624@3"}},
                  [this] { return ini()->comps->bind != nullptr; });
    // The binding stands with the maps read before the one that failed;
    // each element's fault is told, then the map's, with the line on which
    // the fault was found.
    const struct {
        const char* maps;
        const char* reports;
        bool genmap;
    } cases[] = {
        {"generic map (a => b) port map (c d)", "620@3 622@3", true},
        {"generic map (a => b) port map (c = d)", "620@3 622@3", true},
        {"generic map (a =", "621@4 622@4", false},
        {"generic map (=> b)", "619@3 622@3", false},
        {"generic map a => b", "622@3", false},
        {"generic map (a => b", "622@4", false},
        {"generic map (a => b; c => d)", "622@3", false},
        {"generic map (a => b) extra", "609@3", true},
        {"generic map (a => b) port", "622@4", true},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(readStatements(open + "BINDING entity w.c(a) " + c.maps + "\nBINDING"),
                  std::string(c.reports) + " 610@4")
            << c.maps;
        vobind* b = ini()->comps->bind;
        ASSERT_NE(b, nullptr) << c.maps;
        EXPECT_EQ(b->genmap != nullptr, c.genmap) << c.maps;
        EXPECT_EQ(b->portmap, nullptr) << c.maps;
        reset();
    }
    // A later binding replaces the earlier one.
    EXPECT_EQ(readStatements(open + "BINDING entity a.b(c)\nBINDING entity d.e(f)\n"), "");
    EXPECT_STREQ(ini()->comps->bind->lib, "d");
}

using IniPinType = IniSection;

TEST_F(IniPinType, ModeWordsNamesAndRepeats) {
    const struct {
        const char* word;
        int dir;
    } modes[] = {{"in", 1},    {"ENA", 1},    {"Out", 2},    {"tri", 2},     {"INOUT", 4},
                 {"io", 4},    {"OEM", 4},    {"oct", 4},    {"IXO", 4},     {"buffer", 8},
                 {"LINKAGE", 16}};
    std::string text;
    for (const auto& m : modes) text += std::string("PIN_TYPE t_") + m.word + " " + m.word + "\n";
    EXPECT_EQ(readStatements(text + "PIN_TYPE T_IN out\n"), "");
    vopint* p = ini()->pintypes;
    for (const auto& m : modes) {
        ASSERT_NE(p, nullptr);
        std::string upper = std::string("T_") + m.word;
        for (char& ch : upper) ch = static_cast<char>(std::toupper(static_cast<unsigned char>(ch)));
        EXPECT_EQ(p->name, upper);
        EXPECT_EQ(p->dir, m.dir) << m.word;
        p = p->next;
    }
    EXPECT_EQ(p, nullptr) << "a name that differs only in case is not entered again";
    reset();
    expectRefused({{"PIN_TYPE", "610@2"}, {"PIN_TYPE bi", "626@2"}, {"PIN_TYPE bi bidir", "627@2"}},
                  [this] { return ini()->pintypes != nullptr; });
}

using IniTranslate = IniSection;

TEST_F(IniTranslate, WordsAndCharactersInFileOrder) {
    EXPECT_EQ(readStatements("TRANSLATE word begin begin_x\n"
                             "TRANSLATE char $ _D_\n"
                             "TRANSLATE CHAR #\n"
                             "TRANSLATE Word end end_x\n"),
              "");
    votrans* w = ini()->words;
    ASSERT_NE(w, nullptr);
    EXPECT_STREQ(w->from, "BEGIN");
    EXPECT_STREQ(w->to, "begin_x");
    EXPECT_EQ(w->fromlen, 5);
    ASSERT_NE(w->next, nullptr);
    EXPECT_STREQ(w->next->from, "END");
    votrans* c = ini()->chars;
    ASSERT_NE(c, nullptr);
    EXPECT_STREQ(c->from, "$");
    EXPECT_STREQ(c->to, "_D_");
    ASSERT_NE(c->next, nullptr);
    EXPECT_STREQ(c->next->from, "#");
    EXPECT_STREQ(c->next->to, "") << "a character without a translation is deleted";
    reset();
    expectRefused({{"TRANSLATE", "610@2"},
                   {"TRANSLATE letter a b", "628@2"},
                   {"TRANSLATE word", "610@2"},
                   {"TRANSLATE word begin", "610@2"}},
                  [this] { return ini()->words || ini()->chars; });
}

using IniPlace = IniSection;

TEST_F(IniPlace, PackageFilesAndTheLaterErrorWins) {
    EXPECT_EQ(readStatements("PLACE sigdecl architecture\n"
                             "PLACE COMPDECL Package lib/comps.pkg\n"
                             "PLACE sigdecl package sigs\n"),
              "");
    struct voplace* p = ini()->places;
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(p->kind, 2);
    EXPECT_EQ(p->where, 1);
    EXPECT_EQ(p->file, nullptr);
    p = p->next;
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(p->kind, 1);
    EXPECT_EQ(p->where, 2);
    EXPECT_STREQ(p->file, "comps");
    EXPECT_STREQ(p->ext, "pkg");
    ASSERT_NE(p->next, nullptr);
    EXPECT_STREQ(p->next->ext, "vhd");
    EXPECT_STREQ(voplacetype(2), "sigdecl");
    EXPECT_STREQ(voplacelocation(2), "package");
    reset();
    expectRefused({{"PLACE", "610@2"},
                   {"PLACE compdecl", "610@2"},
                   {"PLACE compdecl package", "610@2"},
                   {"PLACE compdecl package lib/", "610@2"},
                   {"PLACE typedecl architecture", "628@2"},
                   {"PLACE typedecl entity", "629@2"},
                   {"PLACE typedecl", "610@2"},
                   {"PLACE compdecl entity", "629@2"}},
                  [this] { return ini()->places != nullptr; });
}

using IniSettings = IniSection;

TEST_F(IniSettings, PrefixListSetdefTicksizeDelay) {
    EXPECT_EQ(readStatements("PREFIX x\n"
                             "PREFIX sig_\n"
                             "LIST_IDENTIFIERS Translated\n"
                             "SETDEF generic integer range 0 to 7\n"
                             "SETDEF ATTRIBUTE\tstring\n"
                             "SETDEF generic natural\n"  // 7
                             "TICKSIZE 10 ps\n"
                             "TICKSIZE 1 ns\n"  // 9
                             "DELAY MAX\n"
                             "DELAY min\n"),  // 11
              "631@7 617@9 617@11");
    EXPECT_STREQ(ini()->prefix, "sig_");
    EXPECT_EQ(ini()->listids, 2);
    EXPECT_STREQ(ini()->gendefault, "integer");
    EXPECT_STREQ(ini()->attdefault, "string");
    ASSERT_NE(ini()->ticksize, nullptr);
    EXPECT_EQ(ini()->ticksize->value, 10.0);
    EXPECT_STREQ(ini()->ticksize->unit, "ps");
    ASSERT_NE(ini()->delay, nullptr);
    EXPECT_EQ(ini()->delay->kind, 3);
    EXPECT_STREQ(ini()->delay->word, "MAX");
    reset();
    EXPECT_EQ(readStatements("LIST_IDENTIFIERS all\nTICKSIZE ten ns\nDELAY fastest\n"), "");
    EXPECT_EQ(ini()->listids, 3);
    EXPECT_EQ(ini()->ticksize->value, 0.0);
    EXPECT_EQ(ini()->delay->kind, 2);
    reset();
    expectRefused({{"PREFIX", "610@2"},
                   {"LIST_IDENTIFIERS", "610@2"},
                   {"LIST_IDENTIFIERS some", "628@2"},
                   {"SETDEF", "610@2"},
                   {"SETDEF constant integer", "630@2"},
                   {"SETDEF generic", "610@2"},
                   {"TICKSIZE", "610@2"},
                   {"TICKSIZE 10", "625@2"},
                   {"DELAY", "610@2"}},
                  [this] {
                      return ini()->listids != 1 || ini()->gendefault || ini()->attdefault ||
                             ini()->ticksize || ini()->delay;
                  });
}

}  // namespace
