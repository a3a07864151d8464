// What the translator writes must pass a VHDL-1987 analyser: the model
// frame from a run of the program, and a model that fills every statement
// template of the message file the way the clause writers fill them. The
// analyser is ghdl; without it the tests are skipped.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "entgen_msg.h"
#include "kspath.h"
#include "kssrch.h"
#include "ktmsg.h"
#include "runprog.h"
#include "tempdir.h"

namespace {

class Vhdl87 : public ::testing::Test {
protected:
    void SetUp() override {
        if (ksFindExeInPath("ghdl", ghdl) != KS_OK)
            GTEST_SKIP() << "ghdl is not installed: no VHDL analyser to check the models with";
    }

    // Analyses `file` of the test's directory; the analyser's report on failure.
    ::testing::AssertionResult analyses(const std::string& file) {
        RunResult r = runProgram(ghdl, dir.path(), {"-a", "--std=87", file});
        if (r.status == 0) return ::testing::AssertionSuccess();
        return ::testing::AssertionFailure()
               << "ghdl -a --std=87 " << file << " (status " << r.status << "):\n"
               << r.err << r.out << "\n--- " << file << ":\n"
               << dir.read(file);
    }

    char ghdl[KS_PATHMAX] = "";
    TempDir dir;
};

TEST_F(Vhdl87, ModelFrameWrittenByTheProgram) {
    dir.write("scrivet.ini", "DIR [p] ./cells (cells)\n");
    dir.write("cells/sym/and2.1", "V 5\nE\n");
    RunResult r = runEntgen(dir.path(), {"-o", "-d", "out", "cells:and2"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_TRUE(analyses("out/and2.vhd"));
}

// Every model of the example library. Its names are all legal identifiers,
// and its types are VHDL's own, the IEEE library's, or those of the package
// that the two-dimensional port's symbol imports, which the test provides.
TEST_F(Vhdl87, EveryModelOfTheExampleLibrary) {
    std::filesystem::copy(ENTGEN_EXAMPLES_DIR, dir.path(),
                          std::filesystem::copy_options::recursive);
    RunResult r = runEntgen(dir.path(), {"-o", "-l", "cells"});
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.err.find(" 523: "), std::string::npos) << "an illegal name:\n" << r.err;
    dir.write("kttypes.vhd", R"(package KTTYPES is
    type KTBIT_2D is array (natural range <>, natural range <>) of bit;
    function WIRED_OR (drivers : bit_vector) return bit;
end KTTYPES;
)");
    ASSERT_TRUE(analyses("kttypes.vhd"));
    std::string all;
    int models = 0;
    for (const auto& e : std::filesystem::directory_iterator(dir.path("cells/behv"))) {
        const std::string model = "cells/behv/" + e.path().filename().string();
        EXPECT_TRUE(analyses(model));
        all += dir.read(model);
        ++models;
    }
    EXPECT_EQ(models, 15) << "one model for each symbol";
    // Until the examination hangs the ports on the pins, models have no ports.
    if (all.find("port (") == std::string::npos)
        GTEST_SKIP() << "no model has a port clause: the ports are not examined yet";
    for (const char* port :
         {"Q : OUT BIT_VECTOR(3 downto 0);", "S : IN bit_vector(1 downto 0);", "PAD : IN bit;",
          "REF : INOUT bit);", "M : OUT ktbit_2d(3 downto 0,1 downto 0);",
          "generic (TPD : TIME := 5.00 ns);", "attribute DRIVE of O1 : signal is 12;"})
        EXPECT_NE(all.find(port), std::string::npos) << port;
}

// A model as the model writer and the clause writers build it, one template
// at a time, with the arguments each of them passes.
class TemplateModel : public Vhdl87 {
protected:
    void SetUp() override {
        Vhdl87::SetUp();
        if (IsSkipped()) return;
        setenv("KDIR", ENTGEN_SHARE_DIR, 1);
        ksKdirReset();
        msg = ktMsgFileOpen("entgen", nullptr, nullptr, nullptr, nullptr);
    }
    void TearDown() override {
        if (msg) ktMsgFileClose(msg);
    }

    template <typename... Args>
    std::string t(int number, Args... args) {
        return ktMsgStatic(msg, number, args...);
    }

    ktMsgHandle* msg = nullptr;
};

TEST_F(TemplateModel, EveryTemplateFilledAsItsWriterFillsIt) {
    // What the model's imports name: a package of the work library with a
    // resolution function and the default two-dimensional port type.
    std::string cells = R"(package CELLS is
    function WIRED_OR (drivers : bit_vector) return bit;
    type KTBIT_2D is array (natural range <>, natural range <>) of bit;
end CELLS;
)";
    dir.write("cells.vhd", cells);
    ASSERT_TRUE(analyses("cells.vhd"));

    std::string m;
    auto line = [&m](const std::string& text) { m += text + "\n"; };
    // Context clauses of the imports (PACKAGE, LIBRARY, FUNCTION) and of a
    // component package.
    line(t(VOM_LIBRARY, "IEEE"));
    line(t(VOM_USEALL, "IEEE.STD_LOGIC_1164"));
    line(t(VOM_USE, "WORK.CELLS.WIRED_OR"));
    line(t(VOM_USEALL, "WORK.CELLS"));
    line(t(VOM_ENTITYHEAD));
    line(t(VOM_COMMENT, "a comment of the symbol"));
    line(t(VOM_ENTITY, "AND2"));

    // The generic clause: a string default, a repeated name with its
    // warning comment and prefix, a time, and one with no default.
    m += "    " + t(VOM_GENERICS);
    m += t(VOM_GENERIC, "REFNAME", "string") + t(VOM_DEFAULT, "\"U1\"") + ";\n";
    m += "             --WARNING: " + t(VOM_DUPGENERIC, "vREFNAME") + "\n";
    m += "             " + t(VOM_GENERIC, "vREFNAME", "string") + t(VOM_DEFAULT, "\"U2\"") + ";\n";
    m += "             " + t(VOM_GENERIC, "TPD", "TIME") + t(VOM_DEFAULT, "1.50 ns") + ";\n";
    m += "             " + t(VOM_GENERIC, "WIDTH", "integer") + ");\n";

    // The port clause: comments of the first port behind the opening, a
    // default, a bus, a resolution function, a two-dimensional port.
    m += "    " + t(VOM_PORTS) + t(VOM_COMMENT, "the clock") + "\n";
    m += "          " + t(VOM_PORT, "CLK", "IN", "bit", nullptr) + t(VOM_DEFAULT, "'0'") + ";\n";
    m += "          " + t(VOM_PORT, "D", "OUT", "bit_vector", "(3 downto 0)") + ";\n";
    m += "          " + t(VOM_PORTBRF, "Y", "INOUT", "WIRED_OR", "bit", nullptr) + ";\n";
    m += "          " + t(VOM_PORT, "M", "IN", "KTBIT_2D", "(3 downto 0,1 downto 0)") + ");\n";

    line("    " + t(VOM_CONSTDECL, "DEPTH", "integer", "8"));
    // A pin attribute: declared once, specified for a port.
    line("    " + t(VOM_PINATTDECL, "SPEED", "string"));
    line("");
    line("    " + t(VOM_ATTSPEC, "SPEED") + t(VOM_ATTPORT, "CLK") + t(VOM_ATTSPECEND, "\"FAST\""));
    line("");
    // A symbol attribute VHDL_ATT_LOC with the value STRING:"A1".
    line("    " + t(VOM_ATTDECL, "LOC", "STRING"));
    line("    " + t(VOM_ATTSPEC, "LOC") + t(VOM_ATTENTITY, "AND2") + t(VOM_ATTSPECEND, "\"A1\""));
    line("");
    // Passive texts stand as the symbol has them.
    line("    " + t(VOM_PASSIVE));
    line("        assert TRUE;");
    line(t(VOM_ENTITYEND, "AND2"));
    line("");
    line(t(VOM_ARCH, "archAND2", "AND2"));
    line(t(VOM_ARCHBEGIN));
    line("");
    line(t(VOM_ARCHEND, "archAND2"));

    dir.write("and2.vhd", m);
    EXPECT_TRUE(analyses("and2.vhd"));
}

}  // namespace
