// The binary master database: the shipped file against the text it was
// made from, the versions the reader takes and refuses, the limits of its
// fields, a master read twice, files cut short, and the writer's refusals.
#include "rdb_binary.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "ktdufs.h"
#include "ktstr.h"
#include "mastercompare.h"
#include "rdb_ascii.h"
#include "rdb_model.h"
#include "rdbfixture.h"

namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

// A binary file written field by field, as the layout has it.
class Bdb {
public:
    explicit Bdb(const std::string& path) : f_(ktDufsBFopen(path.c_str(), "w")) {}
    ~Bdb() { close(); }
    void close() {
        if (f_) ktDufsBFclose(f_);
        f_ = nullptr;
    }
    Bdb& s(const std::string& text) {
        ktDufsBWrite(f_, text.c_str(), 1, KT_DUFS_STRING);
        return *this;
    }
    Bdb& i(int32_t v) {
        ktDufsBWrite(f_, &v, 1, KT_DUFS_INT);
        return *this;
    }
    Bdb& e(int32_t v) {
        ktDufsBWrite(f_, &v, 1, KT_DUFS_INT2);
        return *this;
    }
    Bdb& l(int32_t v) {
        ktDufsBWrite(f_, &v, 1, KT_DUFS_LONG);
        return *this;
    }
    // A class list of one class.
    Bdb& list1(const std::string& cls, const std::string& sm = "") {
        return i(1).s(cls).l(0).l(0).i(0).s(sm);
    }

private:
    ktDufsB* f_;
};

// A small master: classes A and B, A with a relationship "r" to B and a
// view "v"; a storage manager, a schema and a database. In the old form
// the relationship count of the class lists is left out.
void smallMaster(Bdb& b, const std::string& version, const std::string& name = "small",
                 const std::string& label = "A label") {
    const bool old = version == "5.1dm";
    b.s(version).i(0);
    b.s(name).l(0).s("user").s("host").l(0);
    b.i(1).s("small.mdb").s("5.2.0").i(1).l(99);
    b.i(2);
    // class A: relationship r, a property
    b.s("A").l(rdbFlagNUMMOD).e(rdbRelPathPARENT).e(rdbPhysTypeFILE).e(rdbTypePRIMITIVE);
    b.s(label).s("sym").s("").s("").i(-1);
    b.i(1).s("r").e(rdbRelTypeEQUIV).e(rdbOrdType1TON);
    b.i(1).s("P").s("v");
    // class B
    b.s("B").l(0).e(0).e(rdbPhysTypeDIR).e(0).s("").s("").s("").s("").i(16).i(0).i(0);
    // class lists of A: parent B, no children, view v, the relationship's list
    b.list1("B").i(0);
    b.i(1).s("v").l(rdbViewFlagDISABLED).s("B").s("").list1("A");
    if (!old) b.i(1);
    b.list1("B");
    // class lists of B: child A
    b.i(0).list1("A").i(0);
    if (!old) b.i(0);
    b.i(1).s("sm").e(rdbSmTypeNONE).l(0x80000).l(0).i(0).i(0);
    b.i(1).s("S").l(0).i(2).s("A").l(0).l(0).i(0).s("sm").s("B").l(0).l(0).i(0).s("").i(0);
    b.i(1).s("D").l(4).e(rdbLockModeFILE).e(rdbSortModeNAME).s("S").s("").i(0);
    b.i(1).s("MP").s("mv");
}

class Binary : public RdbTest {
protected:
    rdbMaster* read(const std::string& file, int* status, std::string* said = nullptr) {
        rdbMaster* m = nullptr;
        std::string text = out([&] { m = rdbiReadMaster(file.c_str(), 1, "1.0", 0, status); });
        if (said) *said = text;
        return m;
    }
    rdbMaster* readSmall(const std::string& version, std::string* said = nullptr) {
        {
            Bdb b(cwd.path("small.bdb"));
            smallMaster(b, version);
        }
        int st = -1;
        rdbMaster* m = read("small.bdb", &st, said);
        EXPECT_EQ(st, m ? 0 : 12);
        return m;
    }
};

TEST_F(Binary, TheShippedBinaryHoldsTheRecordsOfTheShippedText) {
    int st;
    rdbMaster* text = rdbiParseDatabase(shipped("rd520.mdb").c_str(), 1, "1.0", 0, &st);
    ASSERT_NE(text, nullptr);
    // Under its own name the binary's master would be taken for this one.
    ktStrFree(text->name);
    text->name = ktStrCpy("text");
    rdbMaster* binary = read(shipped("rd520.bdb"), &st);
    ASSERT_NE(binary, nullptr);
    ASSERT_NE(binary, text);
    ktStrFree(text->name);
    text->name = ktStrCpy("rdbMasterRDPROJ");
    MasterDiff diff;
    diff.master(text, binary);
    std::string differences;
    for (const std::string& line : diff.lines) differences += line + "\n";
    EXPECT_EQ(differences, "");
    ASSERT_NE(binary->classes, nullptr);
    EXPECT_STREQ(binary->files->path, "rd520.mdb");
}

// Each field's reading is held to the text master by the shipped file
// above; here, what differs between the versions: the class lists of a
// relationship, and references by name.
TEST_F(Binary, VersionsReadAsTheCurrentOne) {
    for (const char* version : {"5.2.0", "5.2", "5.1dm", "5.2."}) {
        std::string said;
        rdbMaster* m = readSmall(version, &said);
        ASSERT_NE(m, nullptr) << version << said;
        EXPECT_EQ(said, "");
        rdbClass* a = rdbiFindClass(m, "A");
        rdbClass* b = rdbiFindClass(m, "B");
        ASSERT_NE(a, nullptr);
        EXPECT_EQ(a->parents->cls, b);
        EXPECT_EQ(a->children, nullptr);
        EXPECT_EQ(b->children->cls, a);
        ASSERT_NE(a->relations, nullptr);
        EXPECT_EQ(a->relations->owner, a);
        ASSERT_NE(a->relations->classes, nullptr) << version;
        EXPECT_EQ(a->relations->classes->cls, b);
        EXPECT_EQ(a->views->iniClass, b);
        EXPECT_EQ(a->views->classes->cls, a);
        rdbSchema* s = rdbiFindSchema(m, "S");
        // A class list's storage manager is found by name; an empty name
        // is none.
        EXPECT_EQ(s->classes->storMgr, rdbiFindStorMgr(m, "sm"));
        EXPECT_EQ(s->classes->next->storMgr, nullptr);
        rdbDatabase* d = rdbiFindDatabase(m, "D");
        EXPECT_EQ(d->schema, s);
        EXPECT_EQ(d->storMgr, nullptr);
        EXPECT_EQ(m->files->timestamp, 99);
        rdbExit();
    }
}

TEST_F(Binary, OtherVersionsAreRefused) {
    std::string said;
    EXPECT_EQ(readSmall("5.1.0", &said), nullptr);
    EXPECT_THAT(said, StartsWith("\nError: The binary database file \"" + cwd.path("small.bdb") +
                                 "\" contains \n       a version number \"5.1.0\" which is not "
                                 "compatible"));
    EXPECT_THAT(said, HasSubstr(kdir.path()));
    {
        Bdb b(cwd.path("small.bdb"));
        b.s("5.2.0").i(3);
    }
    int st;
    EXPECT_EQ(read("small.bdb", &st, &said), nullptr);
    EXPECT_EQ(st, 12);
    EXPECT_THAT(said, StartsWith("\nError: The binary database file \"" + cwd.path("small.bdb") +
                                 "\" contains \n       internal version number 3"));
    // A development file of an older version is read, with a note when asked.
    {
        Bdb b(cwd.path("dev.bdb"));
        b.s("5.2").i(3).s("dev").l(0).s("").s("").l(0).i(0);
    }
    rdbVerboseV = 2;
    rdbMaster* m = read("dev.bdb", &st, &said);
    ASSERT_NE(m, nullptr);
    EXPECT_EQ(m->classes, nullptr);
    EXPECT_EQ(said, "\nReading binary database file: " + cwd.path("dev.bdb") +
                        " \nVersion: 5.2 (3)"
                        "\n***NOTE: Binary file internal development version number: 3");
}

TEST_F(Binary, AFileThatIsNotThereOrNotBinary) {
    int st;
    std::string said;
    EXPECT_EQ(read("absent.bdb", &st, &said), nullptr);
    EXPECT_EQ(said, "\nCould not open file: absent.bdb\n");
    cwd.write("text.bdb", "(masterDatabase m)");
    EXPECT_EQ(read("text.bdb", &st, &said), nullptr);
    EXPECT_THAT(said, StartsWith("\nError: The binary database file \"text.bdb\" can't be read"));
    EXPECT_EQ(rdbiFirstMaster(), nullptr);
    // Found along KDIR.
    {
        Bdb b(kdir.path("small.bdb"));
        smallMaster(b, "5.2.0");
    }
    EXPECT_NE(read("small.bdb", &st), nullptr);
}

TEST_F(Binary, AStringOf255CharactersFits) {
    const std::string label(255, 'L');
    {
        Bdb b(cwd.path("small.bdb"));
        smallMaster(b, "5.2.0", "small", label);
    }
    int st;
    rdbMaster* m = read("small.bdb", &st);
    ASSERT_NE(m, nullptr);
    EXPECT_EQ(std::string(rdbiFindClass(m, "A")->label), label);
    // The writer takes it, and refuses one character more.
    char why[256];
    EXPECT_EQ(rdbiWriteMaster(m, cwd.path("out.bdb").c_str(), why, sizeof why), 0);
    ktStrFree(rdbiFindClass(m, "A")->label);
    rdbiFindClass(m, "A")->label = ktStrCpy((label + "L").c_str());
    EXPECT_EQ(rdbiWriteMaster(m, cwd.path("out2.bdb").c_str(), why, sizeof why), 12);
    EXPECT_STREQ(why, "the label of class A has more than 255 characters");
    EXPECT_FALSE(cwd.exists("out2.bdb"));
}

TEST_F(Binary, AMasterReadTwiceIsKnownByItsName) {
    rdbMaster* m = readSmall("5.2.0");
    ASSERT_NE(m, nullptr);
    {
        Bdb b(cwd.path("other.bdb"));
        smallMaster(b, "5.2.0", "small", "another label");
    }
    int st;
    std::string said;
    EXPECT_EQ(read("other.bdb", &st, &said), m);
    EXPECT_EQ(st, 0);
    EXPECT_EQ(said, "");
    EXPECT_STREQ(rdbiFindClass(m, "A")->label, "A label");
    EXPECT_EQ(rdbiFindClass(m, "A")->next, rdbiFindClass(m, "B"));
    EXPECT_EQ(rdbiFindClass(m, "B")->next, nullptr);
    EXPECT_EQ(m->files->next, nullptr);
    EXPECT_EQ(rdbiFirstMaster(), rdbiLastMaster());
    rdbVerboseV = rdbVerbDBREAD1;
    read("other.bdb", &st, &said);
    EXPECT_THAT(said, testing::EndsWith("\n   Note: Redefining existing master database."));
}

TEST_F(Binary, AFileCutShortGivesWhatItHolds) {
    const std::string whole = readAll(shipped("rd520.bdb"));
    EnvGuard verbose{"RDBVERBOSE", "QUIET"};
    // Cut short, the file starts nothing, and the start says what it lacks.
    for (size_t size :
         {size_t{0}, size_t{1}, size_t{9}, size_t{40}, whole.size() / 3, whole.size() * 2 / 3}) {
        cwd.write("rd520.bdb", whole.substr(0, size));
        std::string said = out([] { EXPECT_NE(rdbInit(1, "1.0", 0), 0); });
        EXPECT_THAT(said, ::testing::AnyOf(HasSubstr("Could not open"), HasSubstr("no "))) << size;
        while (rdbExit() == 0) {
        }
    }
    // The file ends in the count of the master's properties, of which there
    // are none: without its last byte it gives all the same.
    cwd.write("rd520.bdb", whole.substr(0, whole.size() - 1));
    EXPECT_EQ(rdbInit(1, "1.0", 0), 0);
}

TEST_F(Binary, LockModeFromTheEnvironment) {
    for (auto [value, mode] : {std::pair{"dir", rdbLockModeDIR}, std::pair{"All", rdbLockModeALL},
                               std::pair{"sometimes", rdbLockModeFILE}}) {
        EnvGuard lock{"LOCKMODE", value};
        rdbMaster* m = readSmall("5.2.0");
        ASSERT_NE(m, nullptr);
        EXPECT_EQ(rdbiFindDatabase(m, "D")->lockMode, mode) << value;
        rdbExit();
    }
}

TEST_F(Binary, TheWriterRefusesWhatTheBinaryFormCantCarry) {
    struct Case {
        const char* body;
        const char* why;
    };
    const Case cases[] = {
        {"(classTable (classDef a 0 (lockTest rdbLockTestALL)))", "class a has a lock test"},
        {"(classTable (classDef a 0 (classProc p \"x\")))", "class a has class procedures"},
        {"(classTable (classDef a 0 (view \"v\" (property P \"x\"))))",
         "a view of class a has properties"},
        {"(storageManagerTable (storageManagerDef sm SM_NONE))"
         "(classTable (classDef a 0 (parentClasses (classRef a (storageManagerRef sm)))))",
         "a class list of class a names a storage manager, which the binary form can't resolve "
         "there"},
    };
    for (const Case& c : cases) {
        cwd.write("m.mdb", std::string("(masterDatabase m \"5.2.0\" \"t\" 1 ") + c.body + ")");
        int st;
        rdbMaster* m = nullptr;
        out([&] { m = rdbiParseDatabase("m.mdb", 1, "1.0", 0, &st); });
        ASSERT_NE(m, nullptr) << c.body;
        char why[256] = "";
        EXPECT_EQ(rdbiWriteMaster(m, cwd.path("m.bdb").c_str(), why, sizeof why), 12);
        EXPECT_STREQ(why, c.why);
        EXPECT_FALSE(cwd.exists("m.bdb"));
        rdbExit();
    }
}

}  // namespace
