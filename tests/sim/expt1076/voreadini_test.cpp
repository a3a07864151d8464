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
using ::testing::Not;

using IniFile = IniTest;

TEST_F(IniFile, MissingEverywhereIsAWarningAndTheDefaultsHold) {
    EXPECT_EQ(readOnly(), "601");
    EXPECT_THAT(err, HasSubstr("entgen.ini not found"));
    EXPECT_EQ(found, 0);
    EXPECT_EQ(vo->warnings, 1);
    ASSERT_NE(ini(), nullptr);
    EXPECT_STREQ(ini()->name, "entgen.ini");
    EXPECT_EQ(ini()->listids, 1);
    EXPECT_EQ(ini()->fp, nullptr);
    EXPECT_STREQ(vosigtype(), "bit");
    EXPECT_STREQ(vosigbase(), "char");
    EXPECT_STREQ(vo1DimVecType(), "bit_vector");
    EXPECT_STREQ(vovec1Dimbase(), "string");
    EXPECT_STREQ(vo2DimVecType(), "ktbit_2d");
    EXPECT_STREQ(vovec2Dimbase(), "string");
    EXPECT_STREQ(vozval(), "Z");
}

TEST_F(IniFile, FoundAlongTheSearchListUnlessTheCurrentDirectoryHasOne) {
    TempDir site;
    site.write("entgen.ini", "ENTGEN 5.3.1\nPREFIX site\n");
    EnvGuard kdir("KDIR", site.path().c_str());
    ksKdirReset();
    EXPECT_EQ(readOnly(), "");
    EXPECT_EQ(found, 1);
    EXPECT_STREQ(ini()->prefix, "site");
    reset();
    EXPECT_EQ(read("ENTGEN 5.3.1\nPREFIX here\n"), "");
    EXPECT_STREQ(ini()->prefix, "here");
    ksKdirReset();
}

TEST_F(IniFile, NoTokenAtAllIsAWarning) {
    for (const char* text : {"", "\n\n  \t\n", "| only comments\n|\n   | indented | twice"}) {
        EXPECT_EQ(read(text), "602") << text;
        EXPECT_EQ(found, 1);
        EXPECT_EQ(ini()->fp, nullptr) << "the file must be closed";
        reset();
    }
    EXPECT_EQ(vo->warnings, 3);
    EXPECT_EQ(vo->errors + vo->fatals, 0);
}

TEST_F(IniFile, OlderVersionsAndAnyPatchLevelAreAccepted) {
    for (const char* text : {"ENTGEN 5.2", "ENTGEN 5.3.9\n", "ENTGEN 5.3", "  | old file\nENTGEN 1"}) {
        EXPECT_EQ(read(text), "") << text;
        reset();
    }
    EXPECT_EQ(read("ENTGEN 5.3 extra words\nPREFIX p\n"), "609@1");
    EXPECT_STREQ(ini()->prefix, "p");
}

using IniFileDeath = IniTest;

TEST_F(IniFileDeath, BadVersionLineEndsTheRun) {
    const struct {
        const char* text;
        const char* report;
    } cases[] = {
        {"ENTGEN 5.4\n", "Error 607:  :  entgen.ini, line 1: "},
        {"ENTGEN 6\n", "Error 607:  :  entgen.ini, line 1: "},
        {"ENTGEN nan\n", "Error 607:  :  entgen.ini, line 1: "},
        {"\n\nENTGEN five\n", "Error 607:  :  entgen.ini, line 3: "},
        {"ENTGEN\nPREFIX p\n", "Error 608:  :  entgen.ini, line 1: "},
        {"ENTGEN | no number\n", "Error 608:  :  entgen.ini, line 1: "},
        {"entgen 5.3\n", "Error 603:  :  The initialization file must begin with its version "
                         "line: the keyword ENTGEN"},
        {"+ ENTGEN 5.3\n", "Error 603: "},
        {"PREFIX p\nENTGEN 5.3\n", "Error 603: "},
        // A later version line is held to the same rule.
        {"ENTGEN 5.3\nPREFIX p\nENTGEN 6\n", "Error 607:  :  entgen.ini, line 3: "},
    };
    for (const auto& c : cases) {
        dir.write("entgen.ini", c.text);
        EXPECT_EXIT(voreadini("entgen.ini"), ::testing::ExitedWithCode(1),
                    std::string(c.report) + ".*Translation Aborted")
            << c.text;
    }
}

TEST_F(IniFile, ContinuedStatementKeepsItsFirstLine) {
    EXPECT_EQ(readStatements("\n"                                // 2
                             "GENERIC tpd\n"                     // 3
                             "+ generic (tpd :   | a comment\n"  // 4
                             "| a comment line between\n"        // 5
                             "  + time := 1 ns) ; keep extra\n"  // 6
                             "HEADER behind it\n"                // 7
                             "NOSUCH\n"),                        // 8
              "609@3 605@8");
    ASSERT_NE(ini()->gens, nullptr);
    EXPECT_STREQ(ini()->gens->vhdlname, "tpd");
    EXPECT_STREQ(ini()->gens->type, "time := 1 ns");
    EXPECT_STREQ(ini()->gens->trailer, "keep");
    ASSERT_NE(ini()->headers, nullptr);
    EXPECT_STREQ(ini()->headers->text, "behind it");
    EXPECT_EQ(ini()->line, 9);
}

TEST_F(IniFile, OperandMissingAtALineEndLeavesTheNextStatementWhole) {
    EXPECT_EQ(readStatements("HEADER\n"
                             "PREFIX p\n"
                             "GENERIC a generic (x :\n"
                             "HEADER h\n"
                             "SETDEF generic\n"
                             "+ integer\n"),
              "610@2 614@4");
    EXPECT_STREQ(ini()->prefix, "p");
    ASSERT_NE(ini()->headers, nullptr);
    EXPECT_STREQ(ini()->headers->text, "h");
    EXPECT_STREQ(ini()->gendefault, "integer");
    EXPECT_EQ(vo->warnings, 1) << "a HEADER without text is a warning";
    EXPECT_EQ(vo->errors, 1);
}

TEST_F(IniFile, PlusInsideALineIsAWord) {
    EXPECT_EQ(readStatements("PREFIX +\nHEADER a + b\nTRANSLATE char + _plus_\n"), "");
    EXPECT_STREQ(ini()->prefix, "+");
    EXPECT_STREQ(ini()->headers->text, "a + b");
    ASSERT_NE(ini()->chars, nullptr);
    EXPECT_STREQ(ini()->chars->from, "+");
}

TEST_F(IniFile, UnknownStatementsAreSkippedWithTheirContinuations) {
    EXPECT_EQ(readStatements("header lower case\n"          // 2
                             "+ HEADER taken with it\n"     // 3
                             "HEADER kept\n"                // 4
                             "BINDING entity a.b(c)\n"      // 5
                             "+ port map (x => y)\n"        // 6
                             "WHATEVER | comment\n"         // 7
                             "PREFIX p\n"),                 // 8
              "605@2 606@5 605@7");
    ASSERT_NE(ini()->headers, nullptr);
    EXPECT_STREQ(ini()->headers->text, "kept");
    EXPECT_EQ(ini()->headers->next, nullptr);
    EXPECT_STREQ(ini()->prefix, "p");
    EXPECT_EQ(vo->errors, 3);
}

TEST_F(IniFile, ComponentBlockHoldsItsOwnStatementsUntilComponentNull) {
    EXPECT_EQ(readStatements("COMPONENT and2\n"                            // 2
                             "GENERIC tpd generic (tpd : time);\n"         // 3
                             "SIGNAL_TYPE std_logic std_ulogic\n"          // 4
                             "PIN_TYPE tri out\n"                          // 5
                             "HEADER no\n"                                 // 6
                             "ENTGEN 5.3\n"                                // 7
                             "INITIALIZE vcc '1'\n"                        // 8
                             "COMPONENT or3\n"                             // 9
                             "GENERIC w generic (w : integer);\n"          // 10
                             "COMPONENT AND2\n"                            // 11
                             "BINDING entity work.and2(rtl)\n"             // 12
                             "COMPONENT null\n"                            // 13
                             "SIGNAL_TYPE std_logic std_ulogic\n"          // 14
                             "PIN_TYPE tri out\n"                          // 15
                             "GENERIC x generic (x : bit);\n"              // 16
                             "BINDING entity work.x(y)\n"),                // 17
              "604@4 605@5 604@6 604@7 604@8 606@17");
    vocomp* or3 = ini()->comps;
    ASSERT_NE(or3, nullptr);
    vocomp* and2 = or3->next;
    ASSERT_NE(and2, nullptr);
    EXPECT_EQ(and2->next, nullptr) << "AND2 reopens and2";
    EXPECT_STREQ(or3->name, "or3");
    ASSERT_NE(or3->gens, nullptr);
    EXPECT_STREQ(or3->gens->name, "w");
    EXPECT_STREQ(and2->gens->name, "tpd");
    ASSERT_NE(and2->bind, nullptr);
    EXPECT_STREQ(and2->bind->entity, "and2");
    EXPECT_EQ(or3->bind, nullptr);
    // Behind COMPONENT NULL the sections are the file's again.
    ASSERT_NE(ini()->gens, nullptr);
    EXPECT_STREQ(ini()->gens->name, "x");
    EXPECT_EQ(ini()->gens->next, nullptr);
    ASSERT_NE(ini()->sigtype, nullptr);
    ASSERT_NE(ini()->pintypes, nullptr);
    EXPECT_STREQ(ini()->pintypes->name, "TRI");
    EXPECT_EQ(ini()->headers, nullptr);
    EXPECT_EQ(ini()->sinits, nullptr);
}

TEST_F(IniFile, TheFileMayEndAnywhere) {
    EXPECT_EQ(readStatements("PREFIX last"), "");
    EXPECT_STREQ(ini()->prefix, "last");
    reset();
    EXPECT_EQ(readStatements("PREFIX p\nSIGNAL_TYPE std_logic"), "625@3");
    EXPECT_EQ(ini()->sigtype, nullptr);
    reset();
    EXPECT_EQ(readStatements("GENERIC tpd generic (tpd"), "614@2");
    EXPECT_EQ(ini()->gens, nullptr);
    reset();
    EXPECT_EQ(readStatements("COMPONENT and2\nBINDING entity work.and2(rtl) generic map (a =>"),
              "620@3 622@3");
    ASSERT_NE(ini()->comps, nullptr);
    ASSERT_NE(ini()->comps->bind, nullptr);
    EXPECT_EQ(ini()->comps->bind->genmap, nullptr);
}

TEST_F(IniFile, LongTokensAreCutAndStrangeBytesReadAsText) {
    std::string word(300, 'x');
    EXPECT_EQ(readStatements("PREFIX " + word + "\nHEADER " + word + "|\n"), "");
    EXPECT_EQ(std::string(ini()->prefix), word.substr(0, VOINI_TOKENMAX));
    EXPECT_EQ(std::string(ini()->headers->text), word.substr(0, VOINI_TOKENMAX));
    reset();
    // Garbage behind a sound version line: reports at most, never a fault.
    std::mt19937 random(1995);
    const std::string alphabet = "|+\n \t:;()=>,.abcAZ_\r\x01\xff";
    const char* words[] = {"HEADER ", "GENERIC ",  "BINDING ", "COMPONENT ", "PLACE ",
                           "map ",    "generic ",  "entity ",  "PIN_TYPE ",  "TRANSLATE "};
    for (int round = 0; round < 200; ++round) {
        std::string text = "ENTGEN 5.3\n";
        for (int i = 0; i < 60; ++i)
            text += random() % 4 == 0 ? words[random() % std::size(words)]
                                      : std::string(1, alphabet[random() % alphabet.size()]);
        read(text);
        reset();
    }
}

// The program as a user runs it, with and without a file.
class IniInTheRun : public ::testing::Test {
protected:
    void SetUp() override {
        dir.write("scrivet.ini", "DIR [w] ./cells (cells)\n");
        dir.write("cells/sym/and2.1", "V 5\nY 1\nE\n");
    }
    RunResult run(const std::vector<std::string>& args) { return runEntgen(dir.path(), args); }
    std::string model() { return dir.read("cells/behv/and2.vhd"); }
    TempDir dir;
};

TEST_F(IniInTheRun, NoFileWarnsInTheOrderOfTheRunAndTheModelIsWritten) {
    RunResult r = run({"-o", "cells:and2"});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.err,
              "entgen: Warning 601:  :  Initialization file entgen.ini not found or not readable; "
              "the built-in defaults are used.\n"
              "entgen: Status 511: - sym AND2:  Wrote entity of primitive AND2 to and2.vhd.\n"
              "entgen: Status 514:  :  Translation Completed for CELLS:AND2.1: 0 error(s), 1 "
              "warning(s).\n");
    EXPECT_THAT(model(), HasSubstr("entity AND2 is\n"));
    // Behind the command line, ahead of what the run finds of the library.
    r = run({"-l", "nolib"});
    EXPECT_EQ(r.status, 0);
    size_t warning = r.err.find("Warning 601");
    EXPECT_NE(warning, std::string::npos) << r.err;
    EXPECT_LT(warning, r.err.find("553"));
}

TEST_F(IniInTheRun, BadVersionStopsBeforeTheSymbol) {
    dir.write("entgen.ini", "ENTGEN 5.4\n");
    RunResult r = run({"-o", "cells:and2"});
    EXPECT_EQ(r.status, 1);
    EXPECT_THAT(r.err, HasSubstr("Error 607:  :  entgen.ini, line 1: "));
    EXPECT_THAT(r.err, HasSubstr("Translation Aborted"));
    EXPECT_FALSE(dir.exists("cells/behv/and2.vhd"));
}

TEST_F(IniInTheRun, HeaderAndPackagePlaceShowInTheModelWhateverElseFails) {
    dir.write("entgen.ini",
              "ENTGEN 5.3.1  | written for the test\n"
              "HEADER library IEEE;   | the comment is no part of the text\n"
              "NOSUCH statement\n"
              "SIGNAL_TYPE std_logic\n"
              "GENERIC tpd other (tpd : time);\n"
              "HEADER use IEEE.std_logic_1164.all;\n"
              "PLACE compdecl package lib/comps.pkg\n"
              "PLACE compdecl architecture\n"
              "COMPONENT and2\n"
              "PIN_TYPE in in\n");
    RunResult r = run({"-o", "cells:and2"});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_THAT(r.err, HasSubstr("Completed for CELLS:AND2.1: 4 error(s), 0 warning(s)"));
    // Header lines in file order, a blank line, then the package of the
    // first compdecl place.
    EXPECT_THAT(model(), ::testing::StartsWith("library IEEE;   \n"
                                               "use IEEE.std_logic_1164.all;\n"
                                               "\n"
                                               "use WORK.comps.all;\n"
                                               "-- Entity declaration\n"));
    dir.write("entgen.ini", "ENTGEN 5.3.1\nPLACE compdecl architecture\nPLACE sigdecl package s\n");
    r = run({"-o", "cells:and2"});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_THAT(model(), ::testing::StartsWith("-- Entity declaration\n"));
    EXPECT_THAT(model(), Not(HasSubstr("use ")));
}

}  // namespace
