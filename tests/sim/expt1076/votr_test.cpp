#include "votr.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <regex>
#include <string>
#include <vector>

#include "entgen_msg.h"
#include "iwobj.h"
#include "kterr.h"
#include "ktstr.h"
#include "qlm.h"
#include "tempdir.h"
#include "vofixture.h"

namespace {

using ::testing::HasSubstr;

// A translator with a fresh table of names and an empty configuration,
// working in a directory of its own, whose reports are kept for the test.
class NameTest : public TranslatorTest {
protected:
    void SetUp() override {
        TranslatorTest::SetUp();
        vo->ini = voinibloc();
        votrsetup();
        reports_ = open_memstream(&reportText_, &reportLen_);
        ktErrFileV = reports_;
    }
    void TearDown() override {
        ktErrFileV = stderr;
        std::fclose(reports_);
        std::free(reportText_);
        if (!vo) {
            // A library run released the root: give the fixture one to release.
            vo = vodatabloc();
            vo->cmdl = vocmdlbloc();
        }
        TranslatorTest::TearDown();
    }

    // The reports since the last call.
    std::string reports() {
        std::fflush(reports_);
        std::string text(reportText_ + taken_, reportLen_ - taken_);
        taken_ = reportLen_;
        return text;
    }
    // For a death test, which reads the reports on standard error.
    void reportOnStderr() { ktErrFileV = stderr; }
    // The numbers of the reports since the last call, blank-separated.
    std::string numbers() {
        static const std::regex number(R"((?:Status|Note|Warning|Error) (\d+):)");
        std::string text = reports(), out;
        for (std::sregex_iterator it(text.begin(), text.end(), number), end; it != end; ++it)
            out += (out.empty() ? "" : " ") + (*it)[1].str();
        return out;
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

private:
    FILE* reports_ = nullptr;
    char* reportText_ = nullptr;
    size_t reportLen_ = 0, taken_ = 0;
};

using NameTranslation = NameTest;

TEST_F(NameTranslation, EachRuleOnItsExample) {
    const struct {
        const char* name;
        const char* vhdl;
        const char* reports;
    } cases[] = {
        {"A[3:0]", "A(3 downto 0)", ""},
        {"A[0:3]", "A(0 to 3)", ""},
        {"A[5:5]", "A(5 to 5)", ""},
        {"M[7:0][0:1]", "M(7 downto 0,0 to 1)", ""},
        {"M[0:1][7:0]", "M(0 to 1,7 downto 0)", ""},
        {"A[2]", "A(2)", ""},
        {"A[N]", "A(N)", ""},
        {"A__B", "A5F5FB", ""},
        {"D$1", "D241", ""},
        {"a-b", "a2Db", ""},
        {"~RESET", "v7ERESET", "557"},
        {"IN", "vIN", "557"},
        {"3STATE", "v3STATE", "557"},
        {"_X", "v_X", "557"},
        {"CLK EXTRA", "CLK", ""},
        {"", "v", ""},
        {"A_", "A_", ""},
    };
    for (const auto& c : cases) {
        EXPECT_STREQ(votr(c.name), c.vhdl) << c.name;
        EXPECT_EQ(numbers(), c.reports) << c.name;
    }
}

TEST_F(NameTranslation, ASubscriptItCannotReadLeavesTheNameAndWarns) {
    for (const char* name : {"A[3:0]B", "A[N:0]", "A[1:0][1:0][1:0]", "A[3:0", "A[-1:0]"}) {
        EXPECT_STREQ(votr(name), name);
        EXPECT_EQ(reports(), std::string("entgen: Warning 523:  :  ") + name +
                                 " is no legal VHDL identifier; it is used as it stands.\n");
    }
}

TEST_F(NameTranslation, ANameWarnsOnceAndKeepsItsTranslation) {
    EXPECT_STREQ(votr("~RESET"), "v7ERESET");
    EXPECT_EQ(reports(),
              "entgen: Warning 557:  :  7ERESET is no VHDL identifier; it becomes v7ERESET.\n");
    int warnings = vo->warnings;
    // The result is the caller's to spoil: the table keeps its own copy.
    ktStrLoc(votr("~RESET"));
    EXPECT_STREQ(votr("~RESET"), "v7ERESET");
    EXPECT_EQ(reports(), "");
    EXPECT_EQ(vo->warnings, warnings);
    // Its own result given back is a name like any other.
    EXPECT_STREQ(votr(votr("A$")), "A24");
    reports();
    // Another spelling is another name.
    EXPECT_STREQ(votr("~reset"), "v7Ereset");
    EXPECT_EQ(numbers(), "557");
}

TEST_F(NameTranslation, ConfiguredWordsAndCharactersComeFirstInFileOrder) {
    addTranslation(vo->ini->words, "GND", "GROUND");
    addTranslation(vo->ini->words, "gnd", "SECOND");
    addTranslation(vo->ini->words, "VCC", "in");
    addTranslation(vo->ini->words, "lower", "LOWER");
    addTranslation(vo->ini->chars, "~", "N_");
    addTranslation(vo->ini->chars, "$", "");
    addTranslation(vo->ini->chars, "<=", "LE");
    addTranslation(vo->ini->chars, "<", "LT");
    addTranslation(vo->ini->chars, "X", "x");

    EXPECT_STREQ(votr("gnd"), "GROUND");
    // A target is a text like any other: a reserved word gets the prefix.
    EXPECT_STREQ(votr("VCC"), "vin");
    EXPECT_EQ(numbers(), "557");
    EXPECT_STREQ(votr("~Q$1"), "N_Q1");
    EXPECT_STREQ(votr("A<=B<C"), "ALEBLTC");
    // Letters too can be translated, without regard to case.
    EXPECT_STREQ(votr("max"), "max");
    // A translation that changes only the case is kept as the name itself.
    EXPECT_STREQ(votr("lower"), "LOWER");
    EXPECT_STREQ(votr("lower"), "lower");
    // A rule never reaches past the end of the name.
    EXPECT_STREQ(votr("A<"), "ALT");
    EXPECT_EQ(numbers(), "");
    // The records' release leaves an empty text alone.
    votrans* dollar = vo->ini->chars->next;
    vofree(dollar->to, 1);
    dollar->to = nullptr;
}

TEST_F(NameTranslation, TheConfiguredPrefixAndOneThatIsNoLetter) {
    vo->ini->prefix = vostcpy("N");
    EXPECT_STREQ(votr("OR"), "NOR");
    EXPECT_EQ(reports(), "entgen: Warning 557:  :  OR is no VHDL identifier; it becomes NOR.\n");
    vostfree(vo->ini->prefix);
    vo->ini->prefix = vostcpy("9");
    // Prefixed once as a reserved word, once for the digit, and still illegal.
    EXPECT_STREQ(votr("IN"), "99IN");
    EXPECT_EQ(numbers(), "557 557 523");
    EXPECT_STREQ(votr(""), "9");
    EXPECT_EQ(numbers(), "523");
}

TEST_F(NameTranslation, PairsAreNotedOnceAndOnlyForAnIniFileToWrite) {
    votr("A$B");
    EXPECT_EQ(vo->ini->trlist, nullptr);
    vo->cmdl->writeini = 1;
    for (const char* name : {"C$D", "E$F", "A__B", "B__C", "IN", "X[1:0]"}) votr(name);
    std::vector<std::string> noted;
    for (votrans* t = vo->ini->trlist; t; t = t->next) {
        noted.push_back(std::string(t->from) + "=" + t->to);
        EXPECT_EQ(t->fromlen, static_cast<int>(std::strlen(t->from)));
    }
    std::sort(noted.begin(), noted.end());
    EXPECT_EQ(noted, (std::vector<std::string>{"$=24", "IN=vIN", "__=5F5F"}));
}

TEST_F(NameTranslation, ATranslationLongerThanTheBufferEndsTheRun) {
    reportOnStderr();
    const std::string fits(VOTR_BUFSIZE - 1, 'A');
    EXPECT_EQ(votr(fits.c_str()), fits);
    const std::string one = fits + "B";
    EXPECT_EXIT(votr(one.c_str()), ::testing::ExitedWithCode(1), "Error 547:");
    // Each of these would grow past the limit only in a later step.
    const std::string digits(VOTR_BUFSIZE - 1, '1');
    EXPECT_EXIT(votr(digits.c_str()), ::testing::ExitedWithCode(1), "Error 547:");
    const std::string range = "A" + std::string(VOTR_BUFSIZE - 12, 'B') + "[9:0]";
    EXPECT_EXIT(votr(range.c_str()), ::testing::ExitedWithCode(1), "Error 547:");
    const std::string dollars(VOTR_BUFSIZE / 2, '$');
    EXPECT_EXIT(votr(dollars.c_str()), ::testing::ExitedWithCode(1), "Error 547:");
}

TEST_F(NameTranslation, BaseNameOfABusAndFileBaseOfAName) {
    char out[VOTR_BUFSIZE];
    EXPECT_STREQ(voGetScrivetName("DATA[7:0]", out), "DATA");
    EXPECT_STREQ(voGetScrivetName("~Q[1]", out), "v7EQ");
    const std::string longName = std::string(3000, 'D') + "[1]";
    EXPECT_EQ(std::string(voGetScrivetName(longName.c_str(), out)), std::string(2047, 'D'));

    char* base = votruncnam("AND2");
    EXPECT_STREQ(base, "AND2");
    vostfree(base);
    base = votruncnam("lib/and2.1");
    EXPECT_STREQ(base, "and2");
    vostfree(base);
}

// The collision test as the loops read: every entry against every later one.
void collisionsByTheLoops() {
    for (int b = 0; b < VOTR_BUCKETS; ++b) {
        for (votrname* e = trtable[b]; e; e = e->next) {
            if (insetmem(5, e->vhdlname)) voreport(2, VOM_RESERVED, e->vhdlname, e->name);
            int fb = b;
            for (votrname* f = e->next;; f = f->next) {
                while (!f && ++fb < VOTR_BUCKETS) f = trtable[fb];
                if (!f) break;
                if (ktStrIcmp(f->vhdlname, e->vhdlname) == 0 &&
                    ktStrIcmp(f->vhdlname, e->name) == 0 && ktStrIcmp(f->vhdlname, f->name) == 0)
                    voreport(2, VOM_CASECLASH, e->name, f->name, f->vhdlname);
            }
        }
    }
}

using CollisionTest = NameTest;

TEST_F(CollisionTest, ReservedTranslationsAndNamesThatDifferOnlyInCase) {
    vo->ini->prefix = vostcpy("N");
    for (const char* name : {"OR", "Abc", "ABC", "x$", "X24", "abc", "Q", "q"}) votr(name);
    reports();
    votest_translations();
    std::string text = reports();
    EXPECT_THAT(text, HasSubstr("Warning 532:  :  The translation NOR of OR is a reserved word"));
    // Three spellings make three pairs; X24 and x$ meet only after translation.
    const std::regex pair("Warning 533:  :  The names (\\w+) and (\\w+) differ only in case");
    std::vector<std::string> pairs;
    for (std::sregex_iterator it(text.begin(), text.end(), pair), end; it != end; ++it)
        pairs.push_back((*it)[1].str() < (*it)[2].str() ? (*it)[1].str() + "/" + (*it)[2].str()
                                                        : (*it)[2].str() + "/" + (*it)[1].str());
    std::sort(pairs.begin(), pairs.end());
    EXPECT_EQ(pairs, (std::vector<std::string>{"ABC/Abc", "ABC/abc", "Abc/abc", "Q/q"}));
    // The table lives on: the next symbol hears it all again.
    votest_translations();
    EXPECT_EQ(reports(), text);
}

TEST_F(CollisionTest, SameReportsAsTheLoopsOnRandomTables) {
    const char* pieces[] = {"a",  "A", "b", "B",     "or", "OR", "in", "In", "_",
                            "__", "$", "~", "[1:0]", " x", "to", "TO", "1"};
    for (unsigned seed = 1; seed <= 12; ++seed) {
        votrfree();
        vostfree(vo->ini->prefix);
        vo->ini->prefix = vostcpy(seed % 2 ? "N" : "v");
        std::mt19937 random(seed);
        for (int round = 0; round < 12; ++round) {
            for (int n = static_cast<int>(random() % 25); n > 0; --n) {
                std::string name;
                for (int k = 1 + static_cast<int>(random() % 3); k > 0; --k)
                    name += pieces[random() % std::size(pieces)];
                votr(name.c_str());
            }
            reports();
            const int before = vo->warnings;
            votest_translations();
            const std::string fast = reports();
            const int fastWarnings = vo->warnings - before;
            collisionsByTheLoops();
            EXPECT_EQ(fast, reports()) << "seed " << seed << ", round " << round;
            EXPECT_EQ(fastWarnings, vo->warnings - before - fastWarnings);
        }
    }
}

// A top group named AND2 in library CELLS, whose files are and2.*.
vogroup* topGroup() {
    vogroup* g = vogroupbloc();
    g->grp = iwmkgroup("CELLS:AND2");
    g->grp->nextref = Ireftop;
    Ireftop = g->grp;
    g->base = vostcpy("and2");
    g->ext = vostcpy("vhd");
    g->next = vo->prims;
    vo->prims = g;
    vo->top = g->grp;
    return g;
}

using IdentifierList = NameTest;

TEST_F(IdentifierList, BucketOrderColumnWidthAndWhichNames) {
    topGroup();
    // "A?" and "AAAAAAAA" share a chain, which lists the newer first.
    for (const char* name : {"B", "AAAAAAAA", "A?", "A", "~RESET"}) votr(name);
    reports();
    vo->ini->listids = 1;
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
    vo->ini->listids = 2;
    vo->cmdl->overwrite = 1;
    vodump_translations();
    EXPECT_EQ(dir.read("and2.xrf"), "A?       A3F\n~RESET   v7ERESET\n");
}

TEST_F(IdentifierList, NamesPastFortyPushTheirTranslationRight) {
    topGroup();
    vo->ini->listids = 2;
    const std::string longName = std::string(44, 'L') + "$";
    votr(longName.c_str());
    votr("A$");
    vodump_translations();
    EXPECT_EQ(dir.read("and2.xrf"), "A$" + std::string(38, ' ') + " A24\n" + longName + " " +
                                        std::string(44, 'L') + "24\n");
}

TEST_F(IdentifierList, DeclinedOverwriteEndsTheRunAtTheFirstLine) {
    topGroup();
    vo->ini->listids = 3;
    dir.write("and2.xrf", "mine");
    votr("A");
    answer("no\n");
    reportOnStderr();
    EXPECT_EXIT(vodump_translations(), ::testing::ExitedWithCode(1), "Error 542:");
    EXPECT_EQ(dir.read("and2.xrf"), "mine");
}

using LibraryRun = NameTest;

// Two symbols of one library, walked in name order: 3state, then and2.
void writeLibrary(const TempDir& dir) {
    const char* symbol =
        "V 5\nY 1\nP 1 0 0 0 0 1\nL 1 0 0 8 0 1 0 0 A\nA 1 0 8 0 1 0 PINTYPE=IN\nE\n";
    dir.write("cells/sym/3state.1", symbol);
    dir.write("cells/sym/and2.1", symbol);
    qlm_free_all();
    ASSERT_NE(qlm_read(("DIR [w] " + dir.path("cells") + " (cells)").c_str()), nullptr);
}

TEST_F(LibraryRun, EverySymbolListsTheNamesOfTheEarlierOnesToo) {
    writeLibrary(dir);
    vo->cmdl->name = vostcpy("cells");
    vo->cmdl->library = 1;
    vo->ini->listids = 2;
    EXPECT_EQ(volibraryrun(), 0);
    // The file takes the translated name of the symbol.
    EXPECT_EQ(dir.read("cells/behv/v3state.xrf"), "3STATE v3STATE\n");
    EXPECT_EQ(dir.read("cells/behv/and2.xrf"), "3STATE v3STATE\n");
    EXPECT_THAT(reports(), HasSubstr("Wrote identifier list of design AND2 to and2.xrf."));
    qlm_free_all();
}

TEST_F(LibraryRun, ASingleSymbolWritesNoList) {
    writeLibrary(dir);
    vo->cmdl->name = vostcpy("cells:3state");
    vo->ini->listids = 3;
    reportOnStderr();
    EXPECT_EXIT(vosinglerun(), ::testing::ExitedWithCode(0), "Translation Completed");
    EXPECT_TRUE(dir.exists("v3state.vhd"));
    EXPECT_FALSE(dir.exists("v3state.xrf"));
    qlm_free_all();
}

}  // namespace
