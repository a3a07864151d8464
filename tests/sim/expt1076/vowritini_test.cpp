#include "vowritini.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <regex>
#include <string>

#include "inifixture.h"
#include "iwobj.h"
#include "runprog.h"

namespace {

using ::testing::HasSubstr;
namespace fs = std::filesystem;

// Every section but HEADER, components last; statements that change the
// models of the example library.
const std::string kEverySection =
    "PLACE compdecl package comps.pkg\nPLACE sigdecl architecture\nPREFIX p_\n"
    "TRANSLATE word and2 and2_gate\nTRANSLATE char $ _D_\nTRANSLATE char #\nTRANSLATE char ~ n_\n"
    "LIST_IDENTIFIERS all\nPIN_TYPE clock ENA\nPIN_TYPE tri io\nPIN_TYPE analog buffer\n"
    "PIN_TYPE l linkage\nSIGNAL_TYPE std_logic std_ulogic\nVECTOR_TYPE slv string\n"
    "2D_VECTOR_TYPE mat string\nDELAY max\nTICKSIZE 10.25 ps\nHIGH_IMPEDENCE_STATE 'Z'\n"
    "INITIALIZE vcc '1'\nINITIALIZE g 0\nSETDEF generic integer\nSETDEF attribute natural\n"
    "GENERIC DEVICE generic (device_type : string);\n"
    "GENERIC w generic(w:bit_vector(3 downto 0)); tail\nGENERIC pinnum NULL\n"
    "ATTRIBUTE SLEW attribute slew_rate : string;\nATTRIBUTE LOAD NULL\nCOMPONENT bare\n"
    "COMPONENT reg4\nBINDING entity work.reg4(rtl)\n+ generic map (tpd => t1, tpl => open)\n"
    "+ port map (a => x, b => y)\nGENERIC PART generic (reg_part : string); t\n"
    "COMPONENT inv\nBINDING entity lib.inv(a) port map (i => o)\nGENERIC n generic (n : natural);\n"
    "COMPONENT noport\nBINDING entity w.c(a) generic map (g => 1)\n";

// The configuration is read from entgen.ini and written for the symbol AND2.
class IniWriter : public IniTest {
protected:
    void SetUp() override {
        IniTest::SetUp();
        vo->prims = vogroupbloc();
        vo->prims->grp = &group_;
        vo->prims->base = vostcpy("and2");
    }
    std::string write() {
        vo->top = &group_;
        testing::internal::CaptureStderr();
        vowritini();
        testing::internal::GetCapturedStderr();
        vo->top = nullptr;  // no database session to end with the records
        return dir.read("and2.ini");
    }
    iwgroup group_{};
};

TEST_F(IniWriter, EverySectionReadsBackAsTheSameRecords) {
    ASSERT_EQ(read("ENTGEN 5.3\nHEADER library ieee;\nHEADER -- b  c\n" + kEverySection), "");
    const std::string first = records();
    EXPECT_EQ(read(write()), "");
    // A HEADER text keeps the blank that ends each written statement.
    EXPECT_EQ(records(), std::regex_replace(first, std::regex(R"(H\[([^\]]*)\])"), "H[$1 ]"));
}

// What the file did not set, and what the run found, stands behind comment
// marks in column 0; without the marks it reads as statements. DELAY comes
// back as one of three words, TICKSIZE with two decimals.
TEST_F(IniWriter, DefaultsAndFindingsAreCommentedAndBecomeLiveWithoutTheMark) {
    read("ENTGEN 5.3\nDELAY Maximum\nTICKSIZE 0.126 ns\nSETDEF attribute natural\n");
    for (auto [from, to] : {std::pair{"__", "5F5F"}, {"$", "24"}, {"IN", "vIN"}}) {
        votrans* t = votransbloc();
        t->from = vostcpy(from), t->to = vostcpy(to), t->next = vo->ini->trlist;
        vo->ini->trlist = t;
    }
    vopint* bi = vo->ini->autopins = vopintbloc();
    bi->name = vostcpy("BI"), bi->dir = 32;  // no mode: shown as IN
    vo->gens = vogenbloc();
    vo->gens->name = vostcpy("pinnum");
    voattr* a = vo->attrs = voattrbloc();
    a->name = vostcpy("loc"), a->vhdlname = vostcpy("l"), a->type = vostcpy("string");
    std::string order, text = "\n" + write();
    const std::regex statement("\n(\\| )?([A-Z_0-9]+) ");
    for (std::sregex_iterator m(text.begin(), text.end(), statement), end; m != end; ++m)
        order += m->str(1).substr(0, 1) + m->str(2) + " ";
    EXPECT_EQ(order,
              "ENTGEN |HEADER |HEADER |PLACE |PLACE |PREFIX |TRANSLATE |TRANSLATE |TRANSLATE "
              "|LIST_IDENTIFIERS |PIN_TYPE |SIGNAL_TYPE |VECTOR_TYPE |2D_VECTOR_TYPE DELAY "
              "TICKSIZE |HIGH_IMPEDENCE_STATE |SETDEF SETDEF |GENERIC |ATTRIBUTE ");
    EXPECT_EQ(read(std::regex_replace(text, std::regex("\n\\| ([A-Z_0-9]+ )"), "\n$1")), "");
    EXPECT_EQ(records(),
              "H[Use std.standard.all; ] H[Library std; ] SETDEF[string/natural] G[pinnum/-/-/-] "
              "A[loc/l/string] S[bit/char] V[bit_vector/string] V2[ktbit_2d/string] TICK[0.13/ns] "
              "DELAY[2/typ] Z[Z] P[BI/1] W[IN/vIN] W[__/5F5F] X[$/24] PREFIX[v] L[12/compdecl/vhd] "
              "L[21/-/-] "
              "LIST[2]");
}

// The translator on a copy of the example library; the reader reports nothing.
class IniWriterRun : public ::testing::Test {
protected:
    void SetUp() override {
        fs::copy(ENTGEN_EXAMPLES_DIR, dir.path(), fs::copy_options::recursive);
    }
    RunResult run(std::vector<std::string> args) {
        RunResult r = runEntgen(dir.path(), args);
        EXPECT_EQ(r.status, 0) << r.err;
        EXPECT_THAT(r.err, testing::Not(testing::ContainsRegex(" 6[0-3][0-9]: ")));
        return r;
    }
    std::map<std::string, std::string> outputs(const std::string& where, const char* ext) {
        std::map<std::string, std::string> out;
        for (const auto& e : fs::directory_iterator(dir.path(where)))
            if (std::string name = e.path().filename(); e.path().extension() == ext)
                out[name] = dir.read(where + "/" + name);
        return out;
    }
    // The example's HEADER line, read back from a written file, ends in the
    // blank that ends every written statement; so do the models' first lines.
    static void headerGainsABlank(std::map<std::string, std::string>& models) {
        for (auto& [name, text] : models)
            text = std::regex_replace(text, std::regex("\"\\.\n"), "\". \n");
    }
    TempDir dir;
};

// A library run writes one file for all its symbols, replacing any file of
// that name unasked; renamed to entgen.ini it gives the same models again.
TEST_F(IniWriterRun, ALibraryRunWritesOneFileThatGivesTheSameModelsAgain) {
    dir.write("cells/sym/in.1", dir.read("cells/sym/inv.1"));
    dir.write("cells/sym/d$1.1", dir.read("cells/sym/inv.1"));
    const std::string every = "ENTGEN 5.3\n" + kEverySection;
    for (const std::string& config : {every, dir.read("entgen.ini")}) {
        fs::remove_all(dir.path("cells/behv"));
        dir.write("entgen.ini", config);
        dir.write("cells.ini", "mine\n");
        RunResult r = run({"-i", "-l", "cells"});
        EXPECT_THAT(r.err, HasSubstr("Status 511:  :  Wrote initialization of Library CELLS to "
                                     "cells.ini.\n"));
        EXPECT_THAT(r.err, testing::Not(HasSubstr("?")));
        EXPECT_EQ(outputs(".", ".ini").size(), 3u) << "scrivet.ini, entgen.ini and cells.ini";
        auto models = outputs("cells/behv", ".vhd");
        std::string written = dir.read("cells.ini");
        fs::rename(dir.path("cells.ini"), dir.path("entgen.ini"));
        run({"-o", "-i", "-l", "cells"});
        if (config == every) {
            EXPECT_EQ(dir.read("cells.ini"), written);
        } else {
            // The findings of two symbols stand in the one file.
            EXPECT_THAT(written, HasSubstr("\n| TRANSLATE word IN vIN \n"));
            EXPECT_THAT(written, HasSubstr("\n| TRANSLATE char $ 24 \n"));
            headerGainsABlank(models);
        }
        EXPECT_EQ(outputs("cells/behv", ".vhd"), models);
    }
    // One symbol: the model file's name, in the current directory even with -d.
    EXPECT_THAT(run({"-o", "-i", "-d", "out", "cells:in"}).err,
                HasSubstr("Status 511: - sym IN:  Wrote initialization of design vin to vin.ini."));
    EXPECT_TRUE(dir.exists("vin.ini") && dir.exists("out/vin.vhd"));
}

// Each symbol on its own: the file named after its model, renamed to
// entgen.ini, gives the same model again.
TEST_F(IniWriterRun, EachSymbolsFileGivesTheSameModelAgain) {
    const std::string example = dir.read("entgen.ini");
    std::vector<std::string> symbols;
    for (const auto& e : fs::directory_iterator(dir.path("cells/sym")))
        symbols.push_back(e.path().stem());
    EXPECT_EQ(symbols.size(), 15u);
    for (const std::string& config : {"ENTGEN 5.3\n" + kEverySection, example}) {
        for (const std::string& symbol : symbols) {
            dir.write("entgen.ini", config);
            std::map<std::string, std::string> models[2];
            for (auto& m : models) {
                fs::remove_all(dir.path("cells/behv"));
                run({"-o", "-i", "cells:" + symbol});
                m = outputs("cells/behv", ".vhd");
                auto written = outputs(".", ".ini");
                written.erase("scrivet.ini"), written.erase("entgen.ini");
                ASSERT_EQ(written.size(), 1u) << symbol;
                fs::rename(dir.path(written.begin()->first), dir.path("entgen.ini"));
            }
            if (config == example) headerGainsABlank(models[0]);
            EXPECT_EQ(models[1], models[0]) << symbol;
        }
    }
}

}  // namespace
