// The master database compiler: what it writes reads back as the records
// of its source, and a source it can't take leaves no file behind.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "../lib/projectdb/mastercompare.h"
#include "ktstr.h"
#include "rdb_ascii.h"
#include "rdb_binary.h"
#include "rdb_model.h"
#include "runprog.h"
#include "tempdir.h"

namespace {

using ::testing::HasSubstr;

RunResult compile(const TempDir& dir, const std::string& source) {
    dir.write("src.mdb", source);
    return runProgram(RDBC_PROGRAM, dir.path(), {"src.mdb", "out.bdb"});
}

TEST(MasterCompiler, TheBinaryReadsBackAsItsSource) {
    TempDir dir;
    ChdirGuard into{dir.path()};
    // Schemas are read before the storage managers of their file, so a
    // schema names one of an earlier file.
    dir.write("more.mdb", R"((masterDatabase ignored "" "more" 2
  (storageManagerTable (storageManagerDef sm SM_OXBRACE (policies QUERY) (versionDepth 4)))
  (classTable (classDef extra 0 (physType rdbPhysTypeDIR) (relPath ABSOLUTE) (classLabel "")))))");
    RunResult r = compile(dir, R"((masterDatabase compiled "5.2.0" "source" 1
  (external "more.mdb")
  (symbolTable ALL (symbolDef S "sym"))
  (classTable
    (classDef a 0 (physType rdbPhysTypeFILE) (relPath PARENT) (defSubdir (stringRef S))
      (maxNameLength 12) (toolType "t") (flags rdbFlagNUMMOD)
      (parentClasses (classRef extra (flags rdbFlagHIDDEN)))
      (view "V" (viewClass extra) (classRef a (flags rdbFlagNOLOCK)))
      (relationship r rdbRelTypeCOMPOSITE rdbOrdType0TON (classRef extra))))
  (schemaTable (schemaDef s 0 (classRef a (storageManagerRef sm (policies NO_COPY)))))
  (databaseTable (databaseDef d (schemaRef s) (sortMode rdbSortModeVERREV)
                   (storageManagerRef sm)))))");
    ASSERT_EQ(r.status, 0) << r.out << r.err;
    ASSERT_TRUE(dir.exists("out.bdb"));

    int st;
    rdbMaster* text = rdbiParseDatabase("src.mdb", 1, "1.0", 0, &st);
    ASSERT_NE(text, nullptr);
    ktStrFree(text->name);
    text->name = ktStrCpy("text");
    rdbMaster* binary = rdbiReadMaster("out.bdb", 1, "1.0", 0, &st);
    ASSERT_NE(binary, nullptr);
    ktStrFree(text->name);
    text->name = ktStrCpy("compiled");
    MasterDiff diff;
    diff.master(text, binary);
    std::string differences;
    for (const std::string& line : diff.lines) differences += line + "\n";
    EXPECT_EQ(differences, "");
    EXPECT_STREQ(rdbiFindClass(binary, "a")->defSubdir, "sym");
    EXPECT_STREQ(binary->files->next->path, "more.mdb");
    rdbiFreeMaster(text);
    rdbiFreeMaster(binary);
}

TEST(MasterCompiler, ASourceItCantTakeLeavesNoFile) {
    struct Case {
        const char* source;
        const char* said;
    };
    const Case cases[] = {
        {"(masterDatabase m \"5.2.0\" \"bad\" 1 (classTable (classDef a.b 0)))",
         "the master database has faults; nothing written"},
        {"(masterDatabase m \"5.2.0\" \"bad\" 1 (schemaTable (schemaDef s 0 (classRef x))))",
         "the master database has faults; nothing written"},
        {"(masterDatabase m \"5.2.0\" \"bad\" 1 (classTable (classDef a 0 (lockTest "
         "rdbLockTestPID))))",
         "class a has a lock test"},
    };
    for (const Case& c : cases) {
        TempDir dir;
        RunResult r = compile(dir, c.source);
        EXPECT_EQ(r.status, 1);
        EXPECT_THAT(r.err, HasSubstr(c.said));
        EXPECT_FALSE(dir.exists("out.bdb"));
    }
    TempDir dir;
    EXPECT_EQ(runProgram(RDBC_PROGRAM, dir.path(), {"only-one"}).status, 2);
}

}  // namespace
