#include "voreadini.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "inifixture.h"
#include "kssrch.h"
#include "runprog.h"
#include "voinisec.h"

namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

using IniFile = IniTest;

TEST_F(IniFile, MissingEmptyOrCommentsOnlyLeaveTheDefaults) {
    EXPECT_EQ(read(nullptr), "601");
    EXPECT_EQ(found, 0);
    ASSERT_NE(vo->ini, nullptr);
    EXPECT_STREQ(vo->ini->name, "entgen.ini");
    EXPECT_EQ(std::string(vosigtype()) + vosigbase() + vo1DimVecType() + vovec1Dimbase() +
                  vo2DimVecType() + vovec2Dimbase() + vozval(),
              "bitcharbit_vectorstringktbit_2dstringZ");
    for (const char* text : {"", "\n\n  \t\n", "| only comments\n|\n   | indented | twice"}) {
        EXPECT_EQ(read(text), "602") << text;
        EXPECT_EQ(vo->ini->fp, nullptr) << "the file is closed";
    }
    EXPECT_EQ(vo->warnings, 4);
    EXPECT_EQ(records(), "");
}

TEST_F(IniFile, TheCurrentDirectoryComesBeforeTheSearchList) {
    TempDir site;
    site.write("entgen.ini", "ENTGEN 5.3.1\nPREFIX site\n");
    EnvGuard kdir("KDIR", site.path().c_str());
    ksKdirReset();
    EXPECT_EQ(read(nullptr), "");
    EXPECT_EQ(records(), "PREFIX[site]");
    EXPECT_EQ(read("ENTGEN 5.3.1\nPREFIX here\n"), "");
    EXPECT_EQ(records(), "PREFIX[here]");
    ksKdirReset();
}

TEST_F(IniFile, OlderVersionsAndAnyPatchLevelAreAccepted) {
    for (const char* text : {"ENTGEN 5.2", "ENTGEN 5.3.9\n", "  | old file\nENTGEN 1"})
        EXPECT_EQ(read(text), "");
    EXPECT_EQ(read("ENTGEN 5.3 extra words\nPREFIX p\n"), "609@1");
    EXPECT_EQ(records(), "PREFIX[p]");
}

TEST_F(IniFile, BadVersionLineEndsTheRun) {
    const std::pair<const char*, const char*> cases[] = {
        {"ENTGEN 5.4\n", "Error 607:  :  entgen.ini, line 1: "},
        {"ENTGEN 6\n", "Error 607:  :  entgen.ini, line 1: "},
        {"ENTGEN nan\n", "Error 607:  :  entgen.ini, line 1: "},
        {"\n\nENTGEN five\n", "Error 607:  :  entgen.ini, line 3: "},
        {"ENTGEN\nPREFIX p\n", "Error 608:  :  entgen.ini, line 1: "},
        {"entgen 5.3\n",
         "Error 603:  :  The initialization file must begin with its version line: the keyword "
         "ENTGEN"},
        {"+ ENTGEN 5.3\n", "Error 603: "},
        {"ENTGEN 5.3\nPREFIX p\nENTGEN 6\n", "Error 607:  :  entgen.ini, line 3: "},
    };
    for (const auto& [text, report] : cases) {
        dir.write("entgen.ini", text);
        EXPECT_EXIT(voreadini("entgen.ini"), ::testing::ExitedWithCode(1),
                    std::string(report) + ".*Translation Aborted")
            << text;
    }
}

TEST_F(IniFile, ContinuedStatementKeepsItsFirstLine) {
    EXPECT_EQ(read("ENTGEN 5.3\n"
                   "\n"                                // 2
                   "GENERIC tpd\n"                     // 3
                   "+ generic (tpd :   | a comment\n"  // 4
                   "| a comment line between\n"        // 5
                   "  + time := 1 ns) ; keep extra\n"  // 6
                   "PREFIX +\n"                        // 7: a word here
                   "NOSUCH\n"),                        // 8
              "609@3 605@8");
    EXPECT_EQ(records(), "G[tpd/tpd/time := 1 ns/keep] PREFIX[+]");
    EXPECT_EQ(vo->ini->line, 9);
}

TEST_F(IniFile, AStatementOutOfPlaceCostsOneReportAndNothingElse) {
    EXPECT_EQ(read("ENTGEN 5.3\n"
                   "header lower case\n"         // 2
                   "+ HEADER skipped with it\n"  // 3
                   "HEADER\n"                    // 4: no text, the next line stays whole
                   "GENERIC a generic (x :\n"    // 5
                   "BINDING entity a.b(c)\n"     // 6
                   "COMPONENT and2\n"            // 7
                   "GENERIC tpd generic (tpd : time);\n"
                   "SIGNAL_TYPE std_logic std_ulogic\n"  // 9
                   "VECTOR_TYPE a b\n"                   // 10
                   "PIN_TYPE tri out\n"                  // 11
                   "ENTGEN 5.3\n"                        // 12
                   "INITIALIZE vcc '1'\n"                // 13
                   "COMPONENT or3\n"
                   "COMPONENT and2\n"
                   "BINDING entity work.and2(rtl)\n"
                   "COMPONENT null\n"
                   "SIGNAL_TYPE std_logic std_ulogic\n"
                   "PIN_TYPE tri out\n"
                   "GENERIC x generic (x : bit);\n"
                   "HEADER h\n"),
              "605@2 610@4 614@5 606@6 604@9 604@10 605@11 604@12 604@13");
    EXPECT_EQ(records(),
              "H[h] G[x/x/bit/-] S[std_logic/std_ulogic] C[or3] C[and2] G[tpd/tpd/time/-] "
              "B[work/and2/rtl//] P[TRI/2]");
    EXPECT_EQ(vo->warnings, 1);
    EXPECT_EQ(vo->errors, 8);
}

TEST_F(IniFile, TheFileMayEndAnywhere) {
    EXPECT_EQ(read("ENTGEN 5.3\nPREFIX last"), "");
    EXPECT_EQ(records(), "PREFIX[last]");
    EXPECT_EQ(read("ENTGEN 5.3\nPREFIX p\nSIGNAL_TYPE std_logic"), "625@3");
    EXPECT_EQ(records(), "PREFIX[p]");
    EXPECT_EQ(read("ENTGEN 5.3\nGENERIC tpd generic (tpd"), "614@2");
}

TEST_F(IniFile, LongTokensAreCutAndGarbageCostsReportsOnly) {
    std::string word(300, 'x');
    EXPECT_EQ(read("ENTGEN 5.3\nPREFIX " + word + "\n"), "");
    EXPECT_EQ(std::string(vo->ini->prefix), word.substr(0, VOINI_TOKENMAX));
    std::mt19937 random(1995);
    const std::string bytes = "|+\n \t:;()=>,.abcAZ_\r\x01\xff";
    const char* words[] = {"HEADER ", "GENERIC ", "BINDING ", "COMPONENT ", "PLACE ",
                           "map ",    "generic ", "entity ",  "PIN_TYPE ",  "TRANSLATE "};
    for (int round = 0; round < 200; ++round) {
        std::string text = "ENTGEN 5.3\n";
        for (int i = 0; i < 60; ++i)
            text += random() % 4 ? std::string(1, bytes[random() % bytes.size()])
                                 : words[random() % 10];
        read(text);
    }
}

// The program as a user runs it, with and without a file.
class IniInTheRun : public ::testing::Test {
protected:
    void SetUp() override {
        dir.write("scrivet.ini", "DIR [p] ./cells (cells)\n");
        dir.write("cells/sym/and2.1", "V 5\nY 1\nE\n");
    }
    RunResult run(const std::vector<std::string>& args) { return runEntgen(dir.path(), args); }
    TempDir dir;
};

TEST_F(IniInTheRun, NoFileWarnsInTheOrderOfTheRun) {
    RunResult r = run({"-o", "cells:and2"});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.err,
              "entgen: Warning 601:  :  Initialization file entgen.ini not found or not readable; "
              "the built-in "
              "defaults are used.\n"
              "entgen: Status 511: - sym AND2:  Wrote entity of primitive AND2 to and2.vhd.\n"
              "entgen: Status 514:  :  Translation Completed for CELLS:AND2.1: 0 error(s), 1 "
              "warning(s).\n");
    EXPECT_TRUE(dir.exists("cells/behv/and2.vhd"));
    // Behind the command line, ahead of what the run finds of the library.
    r = run({"-l", "nolib"});
    EXPECT_THAT(r.err, ::testing::ContainsRegex("Warning 601: .*\n.*Error 553: "));
}

TEST_F(IniInTheRun, HeaderAndPackageShowInTheModelWhateverElseFails) {
    dir.write("entgen.ini",
              "ENTGEN 5.3.1  | written for the test\n"
              "HEADER library IEEE;   | the comment is no part of the text\n"
              "NOSUCH statement\n"
              "SIGNAL_TYPE std_logic\n"
              "HEADER use IEEE.std_logic_1164.all;\n"
              "PLACE compdecl package lib/comps.pkg\n"
              "PLACE compdecl architecture\n"
              "COMPONENT and2\n"
              "PIN_TYPE in in\n");
    RunResult r = run({"-o", "cells:and2"});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_THAT(r.err, HasSubstr("Completed for CELLS:AND2.1: 3 error(s), 0 warning(s)"));
    // Header lines in file order, a blank line, the package of the first
    // compdecl place.
    EXPECT_THAT(dir.read("cells/behv/and2.vhd"),
                StartsWith("library IEEE;   \nuse IEEE.std_logic_1164.all;\n\nuse WORK.comps.all;\n"
                           "-- Entity declaration\n"));
    dir.write("entgen.ini", "ENTGEN 5.3.1\nPLACE compdecl architecture\nPLACE sigdecl package s\n");
    r = run({"-o", "cells:and2"});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_THAT(dir.read("cells/behv/and2.vhd"), StartsWith("-- Entity declaration\n"));
}

}  // namespace
