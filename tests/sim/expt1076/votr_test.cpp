#include "votr.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "entgen_msg.h"
#include "iwmem.h"
#include "iwobj.h"
#include "kterr.h"
#include "ktstr.h"
#include "tempdir.h"
#include "vofixture.h"

namespace {

// A translator with a fresh table of names and an empty configuration, in
// a directory of its own, its reports caught.
class NameTest : public TranslatorTest {
protected:
    void SetUp() override {
        TranslatorTest::SetUp();
        vo->ini = voinibloc();
        votrsetup();
        catchReports();
    }
    void addTranslation(votrans*& list, const char* from, const char* to) {
        votrans** tail = &list;
        while (*tail) tail = &(*tail)->next;
        *tail = votransbloc();
        (*tail)->from = vostcpy(from);
        (*tail)->to = vostcpy(to);
        (*tail)->fromlen = static_cast<int>(std::strlen(from));
    }
    TempDir dir;
    ChdirGuard inDir{dir.path()};
};

using NameTranslation = NameTest;

TEST_F(NameTranslation, EachRuleOnItsExample) {
    const struct {
        const char *name, *vhdl, *reports;
    } cases[] = {
        {"A[3:0]", "A(3 downto 0)", ""},
        {"A[5:5]", "A(5 to 5)", ""},
        {"M[7:0][0:1]", "M(7 downto 0,0 to 1)", ""},
        {"M[0:1][7:0]", "M(0 to 1,7 downto 0)", ""},
        {"A[N]", "A(N)", ""},
        {"A__B", "A5F5FB", ""},
        {"D$1", "D241", ""},
        {"~RESET", "v7ERESET", "557"},
        {"IN", "vIN", "557"},
        {"3STATE", "v3STATE", "557"},
        {"CLK EXTRA", "CLK", ""},
        {"", "v", ""},
        {"A_", "A_", ""},
        // A subscript the range fix cannot read leaves the name as it stands.
        {"A[3:0]B", "A[3:0]B", "523"},
        {"A[N:0]", "A[N:0]", "523"},
        {"A[1:0][1:0][1:0]", "A[1:0][1:0][1:0]", "523"},
    };
    for (const auto& c : cases) {
        EXPECT_STREQ(votr(c.name), c.vhdl) << c.name;
        EXPECT_EQ(numbers(), c.reports) << c.name;
    }
}

TEST_F(NameTranslation, ANameWarnsOnceAndKeepsItsTranslation) {
    EXPECT_STREQ(votr("~RESET"), "v7ERESET");
    EXPECT_EQ(reports(),
              "entgen: Warning 557:  :  7ERESET is no VHDL identifier; it becomes v7ERESET.\n");
    // The result is the caller's to spoil: the table keeps its own copy.
    ktStrLoc(votr("~RESET"));
    EXPECT_STREQ(votr("~RESET"), "v7ERESET");
    EXPECT_STREQ(votr(votr("A$")), "A24");
    EXPECT_EQ(reports(), "");
    EXPECT_EQ(vo->warnings, 1);
}

TEST_F(NameTranslation, ConfiguredWordsCharactersAndPrefix) {
    addTranslation(vo->ini->words, "GND", "GROUND");
    addTranslation(vo->ini->words, "gnd", "SECOND");
    addTranslation(vo->ini->words, "VCC", "in");
    addTranslation(vo->ini->chars, "~", "N_");
    addTranslation(vo->ini->chars, "$", "");
    addTranslation(vo->ini->chars, "<=", "LE");
    addTranslation(vo->ini->chars, "<", "LT");
    EXPECT_STREQ(votr("gnd"), "GROUND");
    // A target is a text like any other: a reserved word gets the prefix.
    EXPECT_STREQ(votr("VCC"), "vin");
    EXPECT_STREQ(votr("~Q$1"), "N_Q1");
    EXPECT_STREQ(votr("A<=B<C<"), "ALEBLTCLT");
    EXPECT_EQ(numbers(), "557");

    vo->ini->prefix = vostcpy("9");
    // Prefixed as a reserved word, again for the digit, and still illegal.
    EXPECT_STREQ(votr("OR"), "99OR");
    EXPECT_EQ(numbers(), "557 557 523");
    // The records' release leaves an empty text alone.
    vofree(vo->ini->chars->next->to, 1);
    vo->ini->chars->next->to = nullptr;
}

TEST_F(NameTranslation, PairsAreNotedOnceAndOnlyForAnIniFileToWrite) {
    votr("A$B");
    EXPECT_EQ(vo->ini->trlist, nullptr);
    vo->cmdl->writeini = 1;
    for (const char* name : {"C$D", "E$F", "A__B", "B__C", "IN", "X[1:0]"}) votr(name);
    std::vector<std::string> noted;
    for (votrans* t = vo->ini->trlist; t; t = t->next)
        noted.push_back(std::string(t->from) + "=" + t->to + "/" + std::to_string(t->fromlen));
    std::sort(noted.begin(), noted.end());
    EXPECT_EQ(noted, (std::vector<std::string>{"$=24/1", "IN=vIN/2", "__=5F5F/2"}));
}

TEST_F(NameTranslation, LimitsOfTheResultAndTheBaseOfABus) {
    ktErrFileV = stderr;
    const std::string fits(VOTR_BUFSIZE - 1, 'A');
    EXPECT_EQ(votr(fits.c_str()), fits);
    EXPECT_EXIT(votr((fits + "B").c_str()), ::testing::ExitedWithCode(1), "Error 547:");
    // The prefix and the word downto push a fitting text past the limit.
    const std::string digits(VOTR_BUFSIZE - 1, '1');
    EXPECT_EXIT(votr(digits.c_str()), ::testing::ExitedWithCode(1), "Error 547:");
    const std::string range = std::string(VOTR_BUFSIZE - 11, 'B') + "[9:0]";
    EXPECT_EXIT(votr(range.c_str()), ::testing::ExitedWithCode(1), "Error 547:");

    char out[VOTR_BUFSIZE];
    EXPECT_STREQ(voGetScrivetName("~Q[1]", out), "v7EQ");
}

using CollisionTest = NameTest;

TEST_F(CollisionTest, ReservedTranslationsAndNamesThatDifferOnlyInCase) {
    vostfree(vo->ini->prefix);
    vo->ini->prefix = vostcpy("N");
    for (const char* name : {"or", "Clk", "CLK", "Data", "D$"}) votr(name);
    reports();
    votest_translations();
    const std::string said = reports();
    EXPECT_NE(said.find("Warning 532:  :  The translation Nor of or is a reserved word of VHDL.\n"),
              said.npos)
        << said;
    EXPECT_NE(said.find("Warning 533:  :  The names "), said.npos) << said;
    // Each finding once: two reports in all, none about the other names.
    size_t count = 0;
    for (size_t at = 0; (at = said.find("entgen: ", at)) != said.npos; ++at) ++count;
    EXPECT_EQ(count, 2u) << said;
    EXPECT_EQ(said.find("Data"), said.npos);
}

// A top group AND2 of library CELLS, whose files are and2.*.
void topGroup() {
    // A group as the symbol reader makes it, in the design database's pool.
    if (!Idatamem) Idatamem = iwbinit(8192);
    vogroup* g = vogroupbloc();
    g->grp = iwmkgroup("CELLS:AND2");
    g->grp->nextref = Ireftop;
    Ireftop = vo->top = g->grp;
    g->base = vostcpy("and2");
    vo->prims = g;
}

using IdentifierList = NameTest;

TEST_F(IdentifierList, BucketOrderColumnWidthAndWhichNames) {
    topGroup();
    // "A?" and "AAAAAAAA" share a chain, which lists the newer first.
    for (const char* name : {"B", "AAAAAAAA", "A?", "A", "~RESET"}) votr(name);
    reports();
    vodump_translations();
    EXPECT_FALSE(dir.exists("and2.xrf"));
    vo->ini->listids = 3;
    vodump_translations();
    EXPECT_EQ(reports(),
              "entgen: Status 511:  :  Wrote identifier list of design AND2 to and2.xrf.\n");
    EXPECT_EQ(dir.read("and2.xrf"), R"(A        A
B        B
A?       A3F
AAAAAAAA AAAAAAAA
~RESET   v7ERESET
)");
    // Past 40 characters a name pushes its translation right.
    const std::string longName = std::string(44, 'L') + "$";
    votr(longName.c_str());
    vo->ini->listids = 2;
    vo->cmdl->overwrite = 1;
    vodump_translations();
    EXPECT_EQ(dir.read("and2.xrf"), "A?" + std::string(39, ' ') + "A3F\n" + longName + " " +
                                        std::string(44, 'L') + "24\n~RESET" + std::string(35, ' ') +
                                        "v7ERESET\n");
}

}  // namespace
