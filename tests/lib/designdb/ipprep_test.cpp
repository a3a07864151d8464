#include "ipprep.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <memory>
#include <string>

#include "iwfixture.h"
#include "iwname.h"
#include "iwobj.h"
#include "ixeval.h"

namespace {

class Variables : public DatabaseTest {
protected:
    void SetUp() override {
        DatabaseTest::SetUp();
        open();
        ASSERT_EQ(ipinit(nullptr), IP_OK);
    }
    void TearDown() override {
        ipfinish();
        DatabaseTest::TearDown();
    }
    // Expands into a heap buffer of exactly `size` bytes, so that a write
    // past it is caught by the address sanitizer.
    static std::string expand(const std::string& text, int* status, int size = IP_TEXTMAX) {
        std::unique_ptr<char[]> out(new char[size]);
        std::fill_n(out.get(), size, '\0');
        *status = ipexpand(out.get(), text.c_str(), size);
        return out.get();
    }
    // Defines name and value pairs at the current level.
    static void define(std::initializer_list<const char*> pairs) {
        for (auto p = pairs.begin(); p != pairs.end(); p += 2)
            ASSERT_EQ(ipadddef(p[0], p[1]), IP_OK);
    }
    static std::string evaluate(const std::string& text, int* status, int size = 64) {
        std::unique_ptr<char[]> out(new char[size]);
        *status = ipevaluate(out.get(), text.c_str(), size);
        return out.get();
    }
};

struct Case {
    const char* text;
    const char* out;
    int status;
};

TEST_F(Variables, ExpansionFollowsValuesAndStopsAtRecursion) {
    define({"@A", "5", "@B", "@A*2", "@E", "", "@P", "@Q", "@Q", "1+@P", "@S", "X+@S", "@A_1", "7",
            "@T", "\"@A\""});
    for (const Case& c : std::initializer_list<Case>{
             {"@A", "5", IP_OK},
             {"A@B x_@A 1@A", "A@B x_@A 1@A", IP_OK},  // behind a name character
             {"\"@A\" @A", "\"@A\" 5", IP_OK},
             {"@B+1", "5*2+1", IP_OK},  // a value starts afresh
             {"(@A_1)", "(7)", IP_OK},
             {"@A.5", "5.5", IP_OK},
             {"<@E>", "<>", IP_OK},
             {"@T", "\"@A\"", IP_OK},
             {"@X+@A", "@X+5", IP_UNDEFINED},
             {"@a", "@a", IP_UNDEFINED},      // stored names are upper case
             {"@A@A", "@A@A", IP_UNDEFINED},  // one name, as "@" continues it
             {"1+@P", "1+1+@P", IP_RECURSIVE},
             {"@S", "X+@S", IP_RECURSIVE},
             {"@X @P", "@X 1+@P", IP_RECURSIVE},  // the last fault stands
             {"@P @A", "1+@P", IP_RECURSIVE},     // cut behind the name met again
             {"", "", IP_OK},
         }) {
        int status = -1;
        EXPECT_EQ(expand(c.text, &status), c.out) << c.text;
        EXPECT_EQ(status, c.status) << c.text;
    }
}

TEST_F(Variables, DefinitionsKeepTheFirstValue) {
    EXPECT_EQ(ipadddef("@W", "8"), IP_OK);
    EXPECT_EQ(ipadddef("@W", "8"), IP_OK);
    EXPECT_EQ(ipadddef("@W", "9"), IP_TWICE);
    EXPECT_STREQ(ipgetvar("@W"), "8");
    EXPECT_EQ(ipadddef(nullptr, "1"), IP_NONAME);
    EXPECT_EQ(ipadddef("@N", nullptr), IP_OK);
    EXPECT_STREQ(ipgetvar("@N"), "");
    EXPECT_EQ(ipgetvar("@w"), nullptr);
    EXPECT_EQ(ipvardef("@W"), IP_VARDEF);
    EXPECT_EQ(ipvardef("@NAME"), IP_OK);  // a system attribute
    EXPECT_EQ(ipvardef("@NAMES"), IP_VARDEF);
}

TEST_F(Variables, SymbolAttributesOfAGroupDefineVariables) {
    iwgroup* g = iwmkgroup("CELLS:REG");
    iwsym* s = g->symbols;
    for (auto [name, value] : {std::pair{"@W", "8"}, {"@NAME", "REG"}, {"MODEL", "@W"}})
        s->attributes = iwaddatt(s->attributes, iwmkatt(name, value));
    iwsym* v2 = iwmksym(g);
    v2->version = 2;
    iagrpsym(g, v2);
    v2->attributes = iwaddatt(v2->attributes, iwmkatt("@W", "16"));
    EXPECT_EQ(ipinit(g), IP_TWICE);
    EXPECT_STREQ(ipgetvar("@W"), "8");
    EXPECT_EQ(ipgetvar("@NAME"), nullptr);
    EXPECT_EQ(ipgetvar("MODEL"), nullptr);
    int status = -1;
    EXPECT_EQ(evaluate("@W*2", &status), "16");
    EXPECT_EQ(status, IP_OK);
}

TEST_F(Variables, EvaluationAfterExpansion) {
    define({"@W", "8", "@Z", "0"});
    for (const Case& c : std::initializer_list<Case>{
             {"@W*2+1", "17", IP_OK},
             {"(1+2)*3", "9", IP_OK},
             {"\"@W\"", "@W", IP_OK},  // no reference: a string for the evaluator
             {"@W/@Z", "8/0", IX_OPERANDS},
             {"@V+1", "@V+1", IP_UNDEFINED},  // not evaluated
             {"", "", IP_OK},
         }) {
        int status = -1;
        EXPECT_EQ(evaluate(c.text, &status), c.out) << c.text;
        EXPECT_EQ(status, c.status) << c.text;
    }
}

TEST_F(Variables, ExpansionStopsAtItsBuffer) {
    std::string v1023(1023, '1'), v1024(1024, '1');
    ipadddef("@L", v1023.c_str());
    ipadddef("@M", v1024.c_str());
    int status = -1;
    EXPECT_EQ(expand("@L", &status), v1023);
    EXPECT_EQ(status, IP_OK);
    EXPECT_EQ(expand("@M", &status), v1023);
    EXPECT_EQ(status, IP_TOOLONG);
    EXPECT_EQ(expand("@L", &status, 1023), "");  // doesn't fit: left alone
    EXPECT_EQ(status, IP_TOOLONG);
    EXPECT_EQ(expand("@L", &status, 1024), v1023);
    EXPECT_EQ(ipexpand(nullptr, "@L", 0), IP_TOOLONG);
    // 1024 bytes once expanded: refused before the evaluator sees them.
    EXPECT_EQ(evaluate("@L+1", &status, 8), "1111111");
    EXPECT_EQ(status, IP_TOOLONG);
    EXPECT_EQ(evaluate("@L", &status, 8), "1111111");  // too long for the evaluator
    EXPECT_EQ(status, IX_TOOLONG);
}

TEST_F(Variables, LongChainsNeedNoStack) {
    static std::string chain[10001];
    for (int i = 0; i <= 10000; ++i) chain[i] = "@C" + std::to_string(i);
    for (int i = 0; i < 10000; ++i) ipadddef(chain[i].c_str(), chain[i + 1].c_str());
    ipadddef(chain[10000].c_str(), "END");
    int status = -1;
    EXPECT_EQ(expand("@C0", &status), "END");
    EXPECT_EQ(status, IP_OK);
    // References that each follow the chain: their work is bounded too.
    EXPECT_EQ(expand("@C0 @C0 @C0 @C0 @C0 @C0", &status), "END END END END END END");
    EXPECT_EQ(status, IP_OK);
    expand("@C0 @C0 @C0 @C0 @C0 @C0 @C0", &status);
    EXPECT_EQ(status, IP_TOOLONG);
    // A chain that comes back to its start.
    ipadddef("@R", "@C0+@R");
    EXPECT_EQ(expand("@R", &status), "END+@R");
    EXPECT_EQ(status, IP_RECURSIVE);
}

TEST_F(Variables, VariableFilesDefineInCapitals) {
    dir.write("alu.var",
              "comment @X = 1\n"
              "   @width = 8   \n"
              "\t@@Global junk = a b \n"
              "@empty\n"
              "@A=5\r\n"
              "@A = 6\n"  // a clash: the line fails, the first stays
              "@ = 1\n"   // no name
              "@@ \n");
    ipadddef("@GLOBAL", "0");  // level 0 is asked after level 99
    EXPECT_EQ(ipincfile("alu"), IP_TWICE);
    EXPECT_STREQ(ipgetvar("@WIDTH"), "8");
    EXPECT_STREQ(ipgetvar("@GLOBAL"), "A B");
    EXPECT_STREQ(ipgetvar("@EMPTY"), "");
    EXPECT_STREQ(ipgetvar("@A"), "5");
    EXPECT_EQ(ipgetvar("@X"), nullptr);
    int status = -1;
    EXPECT_EQ(expand("[@EMPTY]", &status), "[]");

    EXPECT_EQ(ipincfile("none"), IP_NOFILE);
    ASSERT_EQ(mkfifo(dir.path("pipe.var").c_str(), 0600), 0);
    EXPECT_EQ(ipincfile("pipe"), IP_NOFILE);  // its open would wait for a writer
    ipadddef("@KEEP", "1");
    ipfinfile();  // the file's definitions go, an attribute's stay
    EXPECT_EQ(ipgetvar("@WIDTH"), nullptr);
    EXPECT_STREQ(ipgetvar("@KEEP"), "1");
}

TEST_F(Variables, VariableFilesOfLibrariesAndOfKdir) {
    dir.write("cells/lib.var", "@FROM = library\n");
    dir.write("kd/gen.var", "@FROM2 = kdir\n");
    EXPECT_EQ(ipincfile("lib"), IP_OK);
    EXPECT_STREQ(ipgetvar("@FROM"), "LIBRARY");
    EXPECT_EQ(ipincfile("cells:LIB"), IP_OK);  // the file of a named library, in lower case
    EXPECT_EQ(ipincfile("other:lib"), IP_NOFILE);
    EXPECT_EQ(ipincfile("gen"), IP_NOFILE);
    EnvGuard kd("KDIR", dir.path("kd").c_str());
    ksKdirReset();
    EXPECT_EQ(ipincfile("gen"), IP_OK);
    EXPECT_STREQ(ipgetvar("@FROM2"), "KDIR");
}

TEST_F(Variables, VariableFileLimits) {
    // File names of 255 characters are read; longer ones are no file's.
    for (size_t length : {255u, 256u, 257u}) {
        std::string name = std::string(200, 'd') + "/" + std::string(length - 205, 'n');
        dir.write(name + ".var", "@N" + std::to_string(length) + " = 1\n");
        EXPECT_EQ(ipincfile(name.c_str()), length == 255 ? IP_OK : IP_NOFILE) << length;
    }
    // A line fills 1023 bytes; the rest of a longer one is no line.
    std::string v1016(1016, 'v'), v1017(1017, 'v');
    dir.write("long.var", "@L1 = " + v1016 + "x\n" + "@L2 = " + v1017 + "@T=1\n@L3=3\n");
    EXPECT_EQ(ipincfile("long"), IP_OK);
    EXPECT_EQ(std::string(ipgetvar("@L1")), std::string(1016, 'V') + "X");
    EXPECT_EQ(std::string(ipgetvar("@L2")), std::string(1017, 'V'));
    EXPECT_EQ(ipgetvar("@T"), nullptr);
    EXPECT_STREQ(ipgetvar("@L3"), "3");
}

TEST_F(Variables, MessagesOfTheCodes) {
    std::string twice = ipgetmsg(IP_TWICE, "ALU.var");
    EXPECT_NE(twice.find("ALU.var: a variable is defined twice"), std::string::npos) << twice;
    EXPECT_STREQ(ipgetmsg(IX_PARENS), "Mismatched parenthesis");
    EXPECT_STREQ(ipgetmsg(11), "Error of undefined type");
}

}  // namespace
