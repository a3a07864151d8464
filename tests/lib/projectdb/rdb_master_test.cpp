// The start and end of the project database: where the master database is
// looked for, what a start without one or with a faulty one gives, the
// environment's switches, the names the system needs, and the records that
// come out of it.
#include "rdb_master.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <string>

#include "ktstr.h"
#include "rdb_itc.h"
#include "rdb_model.h"
#include "rdb_obj.h"
#include "rdbfixture.h"

namespace {

[[maybe_unused]] auto* const kLogDir = ::testing::AddGlobalTestEnvironment(new RdbLogDir);

using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

constexpr const char* kTool = "5.3.1";

int start(int facility = 1) {
    return rdbInit(facility, kTool, 0);
}

int countClasses(const rdbMaster* m) {
    int n = 0;
    for (const rdbClass* c = m->classes; c; c = c->next) ++n;
    return n;
}

// The shipped text with each `from` in it made `to`.
std::string shippedWith(const std::string& from, const std::string& to) {
    std::string text = readAll(shipped("rd520.mdb"));
    EXPECT_NE(text.find(from), std::string::npos) << from;
    for (size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size())
        text.replace(at, from.size(), to);
    return text;
}

class MasterStart : public RdbTest {};

TEST_F(MasterStart, WithoutAMasterDatabaseAnywhereTheStatusIs20) {
    std::string said = out([] { EXPECT_EQ(start(), 20); });
    EXPECT_EQ(said, "\nCould not open file: rd520.bdb\n");
    EXPECT_EQ(rdbMasterRDPROJ, nullptr);
    EnvGuard ascii{"RDBASCII", "yes"};
    said = out([] { EXPECT_EQ(start(), 20); });
    EXPECT_EQ(said,
              "\nSetting Tarnhold ASCII mode to ON..."
              "\nError: ascii database file \"rd520.mdb\" not found.\n");
    EXPECT_EQ(rdbExit(), 20);
}

TEST_F(MasterStart, EitherShippedFileStartsTheDatabaseAndASecondStartIs70) {
    shipBoth();
    for (const char* ascii : {"0", "1"}) {
        EnvGuard mode{"RDBASCII", ascii};
        std::string said = out([] { EXPECT_EQ(start(), 0); });
        const bool text = ascii[0] == '1';
        EXPECT_EQ(said, text ? "\nSetting Tarnhold ASCII mode to ON..." : "");
        ASSERT_NE(rdbMasterRDPROJ, nullptr);
        EXPECT_STREQ(rdbMasterRDPROJ->users->path, text ? "rd520.mdb" : "rd520.bdb");
        EXPECT_EQ(std::string(rdbMasterRDPROJ->files->path),
                  text ? kdir.path("rd520.mdb") : std::string("rd520.mdb"));
        EXPECT_STREQ(rdbMasterRDPROJ->version, "5.2.0");

        // The databases are open objects under the master's root.
        rdbObject* root = rdbMasterRDPROJ->root;
        ASSERT_NE(root, nullptr);
        EXPECT_EQ(root->cls, rdbClassMASTERDB);
        ASSERT_NE(rdbTmDatabaseID, nullptr);
        EXPECT_EQ(rdbTmDatabaseID, rdbDatabaseTESMARK->object);
        EXPECT_EQ(rdbTmDatabaseID->parent, root);
        EXPECT_EQ(rdbSchemaTESMARK, rdbDatabaseTESMARK->schema);
        EXPECT_NE(rdbDatabaseGENERIC, nullptr);

        const int classes = countClasses(rdbMasterRDPROJ);
        rdbMaster* first = rdbMasterRDPROJ;
        out([] { EXPECT_EQ(start(), 70); });
        EXPECT_EQ(rdbMasterRDPROJ, first);
        EXPECT_EQ(countClasses(first), classes);
        EXPECT_EQ(rdbiFirstMaster(), rdbiLastMaster());

        EXPECT_EQ(rdbExit(), 0);
        EXPECT_EQ(rdbMasterRDPROJ, nullptr);
        EXPECT_EQ(rdbClassSYMBOL, nullptr);
        EXPECT_EQ(rdbiFirstMaster(), nullptr);
        EXPECT_EQ(rdbExit(), 20);
    }
}

TEST_F(MasterStart, TheCurrentDirectoryComesBeforeKdir) {
    shipBoth();
    cwd.write("rd520.mdb", R"((masterDatabase rdbMasterRDPROJ "5.2.0" "here" 1))");
    EnvGuard ascii{"RDBASCII", "1"};
    out([] { EXPECT_EQ(start(), 1); });
    ASSERT_NE(rdbiFirstMaster(), nullptr);
    EXPECT_EQ(std::string(rdbiFirstMaster()->files->path), cwd.path("rd520.mdb"));
}

TEST_F(MasterStart, ARequiredDatabaseOrClassMissingStopsTheStart) {
    struct Case {
        std::string text;
        const char* said;  // at verbosity QUIET
    };
    const Case cases[] = {
        {R"((masterDatabase rdbMasterRDPROJ "5.2.0" "only its head" 1))", "no database \"System\""},
        {R"((masterDatabase otherName "5.2.0" "another master" 1))",
         "no master \"rdbMasterRDPROJ\""},
        {shippedWith("(classRef rdbClassSYMINDEX)\n      (classRef rdbClassSYMBOL)",
                     "(classRef rdbClassSYMINDEX)"),
         "no class \"rdbClassSYMBOL\""},
        {shippedWith("rdbClassWILD", "rdbClassJOKER"), "no class \"rdbClassWILD\""},
        {shippedWith("(classRef rdbClassDIRECTORY)\n      (classRef rdbClassFILE))",
                     "(classRef rdbClassDIRECTORY))"),
         "no class \"rdbClassFILE\""},
        {shippedWith("(schemaRef rdbSchemaGENERIC)", ""), "no schema of the database \"Generic\""},
        {shippedWith("(databaseDef FileSystem", "(databaseDef Files"),
         "no database \"FileSystem\""},
    };
    EnvGuard ascii{"RDBASCII", "1"};
    EnvGuard quiet{"RDBVERBOSE", "QUIET"};
    for (const Case& c : cases) {
        cwd.write("rd520.mdb", c.text);
        std::string said = out([] { EXPECT_EQ(start(), 1); });
        EXPECT_THAT(said, HasSubstr(c.said));
        EXPECT_EQ(rdbExit(), 0);
        EXPECT_EQ(rdbiFirstMaster(), nullptr);
    }
}

TEST_F(MasterStart, ATextThatFailsToParseIsStatus20) {
    EnvGuard ascii{"RDBASCII", "1"};
    cwd.write("rd520.mdb", "(masterDatabase rdbMasterRDPROJ \"5.2.0\" \"unfinished\" 1\n");
    std::string said = out([] { EXPECT_EQ(start(), 20); });
    EXPECT_THAT(said, HasSubstr("line 1: Unexpected end of file."));
    EXPECT_EQ(rdbiFirstMaster(), nullptr);
}

// Two tools of one process share the master; it goes with the last of them.
TEST_F(MasterStart, EachUserOfTheMasterIsUnregisteredByOneExit) {
    shipBoth();
    ASSERT_EQ(start(1), 0);
    rdbMaster* m = rdbMasterRDPROJ;
    const int classes = countClasses(m);
    EXPECT_EQ(rdbInit(2, "1.0", 0), 0);
    EXPECT_EQ(rdbMasterRDPROJ, m);
    EXPECT_EQ(countClasses(m), classes);
    EXPECT_EQ(m->users->facility, 2);
    EXPECT_EQ(rdbExit(), 0);
    EXPECT_EQ(rdbMasterRDPROJ, m);
    EXPECT_EQ(m->users->facility, 1);
    EXPECT_EQ(rdbExit(), 0);
    EXPECT_EQ(rdbMasterRDPROJ, nullptr);
}

TEST(MasterUsers, RegistrationRules) {
    int st;
    rdbMaster* m = rdbiNewMaster("users", &st);
    ASSERT_EQ(st, 0);
    EXPECT_EQ(rdbiRegisterUser(m, -1, "1.0", "f"), 20);
    EXPECT_EQ(rdbiRegisterUser(m, 1, nullptr, "f"), 20);
    EXPECT_EQ(rdbiRegisterUser(m, 1, "", "f"), 20);
    EXPECT_EQ(rdbiRegisterUser(m, 1, "123456789abcd", "f"), 20);
    EXPECT_EQ(rdbiRegisterUser(m, 1, "123456789abc", "f"), 0);
    EXPECT_EQ(rdbiRegisterUser(m, 1, "123456789abc", "f"), 14);
    EXPECT_EQ(rdbiRegisterUser(m, 1, "123456789abc", "g"), 0);
    EXPECT_EQ(rdbiRegisterUser(m, 0, "123456789abc", "g"), 0);
    EXPECT_EQ(m->users->pid, static_cast<int32_t>(getpid()));
    EXPECT_EQ(rdbiNewMaster("USERS", &st), m);
    EXPECT_EQ(st, 14);
    rdbiFreeMaster(m);
    EXPECT_EQ(rdbiFirstMaster(), nullptr);
}

class MasterEnvironment : public RdbTest {};

TEST_F(MasterEnvironment, VerbosityAndDebugWords) {
    struct Case {
        const char* value;
        int verbose;
        int debug;
    };
    const Case cases[] = {
        {nullptr, 0, 0},           {"QUIET", 1, 1},    {"TEST ALL", 1, 0xffff}, {"LEVEL1", 2, 1},
        {"LEVEL2,DBREAD1", 38, 2}, {"anything", 2, 1}, {"NONE", 0, 0},          {"", 2, 1},
        {"INTER NOPTR", 2, 12},
    };
    for (const Case& c : cases) {
        EnvGuard v{"RDBVERBOSE", c.value};
        EnvGuard d{"RDBDEBUG", c.value};
        out([] { start(); });
        EXPECT_EQ(rdbVerboseV, c.verbose) << (c.value ? c.value : "unset");
        EXPECT_EQ(rdbDebugV, c.debug) << (c.value ? c.value : "unset");
    }
}

TEST_F(MasterEnvironment, WhatTheStartSaysAtEachVerbosity) {
    EnvGuard quiet{"RDBVERBOSE", "QUIET"};
    EnvGuard lock{"LOCKMODE", "dir"};
    EXPECT_THAT(out([] { start(); }), StartsWith("\nTarnhold Lock mode: dir\nCould not open"));
    EnvGuard odd{"LOCKMODE", "SOMETIMES"};
    EXPECT_THAT(out([] { start(); }),
                StartsWith("\nWarning: Invalid Tarnhold Lock mode: SOMETIMES"));
    EnvGuard level{"RDBVERBOSE", "LEVEL2"};
    std::string said = out([] { start(); });
    EXPECT_THAT(said, StartsWith("\nInitializing Tarnhold version 5.2.0...\n"));
    EXPECT_THAT(said, Not(HasSubstr("Lock mode")));
}

TEST_F(MasterEnvironment, CacheSwitchesSetPolicyBits) {
    struct Case {
        const char* mega;
        const char* dir;
        uint32_t policy;
    };
    const Case cases[] = {
        {nullptr, nullptr, 257}, {"0", nullptr, 257 | 128}, {nullptr, "0", 257 | 64},
        {"1", "yes", 257},       {"", "0", 257 | 64},
    };
    for (const Case& c : cases) {
        EnvGuard mega{"RDBMEGACACHE", c.mega};
        EnvGuard dir{"RDBDIRCACHE", c.dir};
        out([] { start(); });
        EXPECT_EQ(rdbPolicy, c.policy);
    }
}

TEST_F(MasterEnvironment, ToolMessagesStartOnlyForAToolAboveOne) {
    shipBoth();
    struct Case {
        const char* itc;
        uint32_t flags;
    };
    for (Case c : {Case{nullptr, 0}, Case{"1", 2}, Case{"NOWRAPPER", 2}, Case{"WRAPPER", 1}}) {
        EnvGuard itc{"RDBITC", c.itc};
        ASSERT_EQ(start(), 0);
        EXPECT_EQ(rdbMasterRDPROJ->flags & 3, c.flags);
        EXPECT_EQ(rdbInitItc(rdbMasterRDPROJ), 0);
        EXPECT_EQ(rdbMasterRDPROJ->session, nullptr);
        EXPECT_EQ(rdbExit(), 0);
    }
    // A second tool would need the session layer, which is not there.
    int st;
    rdbMaster* m = rdbiNewMaster("tool2", &st);
    rdbiRegisterUser(m, 2, "1.0", "f");
    EXPECT_EQ(rdbInitItc(m), 0);
    m->flags |= rdbMasterFlagITC;
    EXPECT_EQ(rdbInitItc(m), 12);
    rdbiFreeMaster(m);
}

class ObjectIds : public RdbTest {
protected:
    void SetUp() override {
        RdbTest::SetUp();
        shipBoth();
        ASSERT_EQ(start(), 0);
    }
};

TEST_F(ObjectIds, ValidityByKindEvenForAWildPointer) {
    EXPECT_EQ(rdbValidObjType(rdbTmDatabaseID, rdbKindOBJECT), 0);
    EXPECT_EQ(rdbValidObjType(rdbClassSYMBOL, rdbKindOBJECT), 74);
    EXPECT_EQ(rdbValidObjType(rdbClassSYMBOL, rdbKindCLASS), 0);
    EXPECT_EQ(rdbValidObjType(rdbMasterRDPROJ, rdbKindMASTER), 0);
    EXPECT_EQ(rdbValidObjType(nullptr, rdbKindOBJECT), 74);
    void* page = mmap(nullptr, 4096, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(page, MAP_FAILED);
    EXPECT_EQ(rdbValidObjType(page, rdbKindOBJECT), 74);
    munmap(page, 4096);
    rdbExit();
    char record[4] = {4, 0, 0, 0};
    EXPECT_EQ(rdbValidObjType(record, rdbKindOBJECT), 20);
}

TEST_F(ObjectIds, PropertiesByNumber) {
    int st = -1;
    auto text = [&](void* object, int number) {
        char* copy = reinterpret_cast<char*>(rdbGetObjProp(object, number, &st));
        std::string value = copy ? copy : "(null)";
        if (copy) ktStrFree(copy);
        return value;
    };
    rdbObject* tm = rdbTmDatabaseID;
    EXPECT_EQ(rdbGetObjProp(tm, 0, &st), 0);
    EXPECT_EQ(rdbGetObjProp(tm, 1, &st), reinterpret_cast<intptr_t>(tm));
    EXPECT_EQ(text(tm, 2), "Tesmark");
    EXPECT_EQ(rdbGetObjProp(tm, 5, &st), static_cast<intptr_t>(rdbPhysTypePSEUDO));
    EXPECT_EQ(rdbGetObjProp(tm, 6, &st), 0);
    EXPECT_EQ(rdbGetObjProp(tm, 11, &st), reinterpret_cast<intptr_t>(rdbMasterRDPROJ->root));
    EXPECT_EQ(rdbGetObjProp(tm, 12, &st), reinterpret_cast<intptr_t>(rdbClassDATABASE));
    EXPECT_EQ(st, 0);
    EXPECT_EQ(rdbGetObjProp(tm, 8, &st), 0);
    EXPECT_EQ(st, 12);
    // A record of another kind is no object: its state reads as 1.
    EXPECT_EQ(rdbGetObjProp(rdbClassLIBRARY, 6, &st), 1);
    EXPECT_EQ(rdbGetObjProp(rdbClassLIBRARY, 2, &st), 0);
    EXPECT_EQ(st, 74);

    // A symbol file on disk, as an object of the symbol class.
    cwd.write("and2.1", "x");
    rdbiSYSCALL = 1;
    rdbObject* sym =
        rdbiNewObj(tm, rdbClassSYMBOL, "and2", "1", 1, cwd.path("and2.1").c_str(), -1, &st);
    rdbiSYSCALL = 0;
    ASSERT_NE(sym, nullptr);
    EXPECT_EQ(text(sym, 3), "1");
    EXPECT_EQ(rdbGetObjProp(sym, 4, &st), 1);
    EXPECT_EQ(rdbGetObjProp(sym, 6, &st), 3);
    EXPECT_EQ(text(sym, 7), cwd.path("and2.1"));
    EXPECT_EQ(rdbGetObjProp(sym, 9, &st), 0);
    EXPECT_EQ(rdbGetObjProp(sym, 10, &st),
              static_cast<intptr_t>(ksFtime(cwd.path("and2.1").c_str())));
    EXPECT_EQ(rdbGetObjProp(sym, 13, &st), static_cast<intptr_t>(rdbTypePRIMITIVE));
    EXPECT_EQ(text(sym, 14), "(null)");
    EXPECT_EQ(text(sym, 16), "sym");
    EXPECT_EQ(rdbGetObjProp(sym, 17, &st), KS_FILE);
    rdbiFreeObj(sym);
}

TEST_F(ObjectIds, ObjectsOfProtectedClassesAreTheSystemsOwn) {
    int st;
    EXPECT_EQ(rdbiNewObj(rdbTmDatabaseID, rdbClassDATABASE, "x", nullptr, 0, nullptr, -1, &st),
              nullptr);
    EXPECT_EQ(st, 7);
    // A class's limit on names holds for its objects.
    rdbClassSYMBOL->maxNameLen = 4;
    EXPECT_EQ(rdbiNewObj(rdbTmDatabaseID, rdbClassSYMBOL, "and22", nullptr, 0, nullptr, -1, &st),
              nullptr);
    EXPECT_EQ(st, 80);
    rdbObject* o =
        rdbiNewObj(rdbTmDatabaseID, rdbClassSYMBOL, "and2", nullptr, 0, nullptr, -1, &st);
    ASSERT_NE(o, nullptr);
    EXPECT_EQ(o->status, 13);
    EXPECT_EQ(o->flags, rdbClassSYMBOL->flags & 0xfu);
    rdbiFreeObj(o);
    // Each object of the project class has its own copy of the class's view.
    rdbObject* project =
        rdbiNewObj(rdbTmDatabaseID, rdbClassPROJECT, "p", nullptr, 0, nullptr, -1, &st);
    ASSERT_NE(project, nullptr);
    ASSERT_NE(project->views, nullptr);
    EXPECT_NE(project->views, rdbClassPROJECT->views);
    EXPECT_STREQ(project->views->name, "Scrivet");
    EXPECT_EQ(project->views->viewClass, rdbClassLIBRARY);
    EXPECT_EQ(project->views->iniClass, rdbClassSCRIV_INI);
    rdbiFreeObj(project);
}

TEST_F(ObjectIds, ClassesOfTheSystemSchemaAreFoundThroughAnySchema) {
    EXPECT_EQ(rdbGetClassId(rdbSchemaTESMARK, "rdbclasslibrary"), rdbClassLIBRARY);
    EXPECT_EQ(rdbGetClassId(rdbSchemaTESMARK, "rdbClassDATABASE"), rdbClassDATABASE);
    EXPECT_EQ(rdbGetClassId(rdbSchemaFILESYS, "rdbClassDATABASE"), rdbClassDATABASE);
    EXPECT_EQ(rdbGetClassId(rdbSchemaFILESYS, "rdbClassSYMBOL"), rdbClassNULL);
    EXPECT_EQ(rdbGetClassId(nullptr, "rdbClassWILD"), rdbClassWILD);
}

// Objects find their place by walking up one parent per class to the
// master's; what the classes hold for views, references and packed
// libraries shows in the tests of those, which run on the shipped master.
TEST_F(ObjectIds, EachClassOfTheShippedMasterHasOneWayUp) {
    for (rdbClass* c = rdbMasterRDPROJ->classes; c; c = c->next) {
        if (c == rdbClassMASTERDB || c == rdbClassWILD || c == rdbClassCLASS) continue;
        int steps = 0;
        for (rdbClass* up = c; up != rdbClassMASTERDB && steps < 10; ++steps) {
            ASSERT_NE(up->parents, nullptr) << c->name;
            EXPECT_EQ(up->parents->next, nullptr) << up->name;
            up = up->parents->cls;
        }
        EXPECT_LT(steps, 10) << c->name;
    }
}

}  // namespace
