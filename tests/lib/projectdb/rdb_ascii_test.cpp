// The text master database: the language the parser accepts and the
// faults it reports, and the records the second pass makes of a file.
#include "rdb_ascii.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "rdb_model.h"
#include "rdbfixture.h"

namespace {

using ::testing::HasSubstr;

struct Parsed {
    rdbMaster* m;
    int status;
    std::string said;
};

// Masters, each with one class of the text's body.
std::string master(const std::string& body, const char* name = "m") {
    return std::string("(masterDatabase ") + name + " \"5.2.0\" \"test\" 1\n" + body + ")\n";
}

class Ascii : public RdbTest {
protected:
    Parsed parse(const std::string& text, const std::string& file = "m.mdb") {
        cwd.write(file, text);
        Parsed p{nullptr, -1, ""};
        p.said = out([&] { p.m = rdbiParseDatabase(file.c_str(), 1, "1.0", 0, &p.status); });
        return p;
    }
    std::string where(int line, const std::string& file = "m.mdb") {
        return cwd.path(file) + ", line " + std::to_string(line) + ": ";
    }
};

class AsciiSyntax : public Ascii {};

TEST_F(AsciiSyntax, CommentsStringsCaseAndAmpersands) {
    Parsed p = parse(R"(; a comment before anything
(  MASTERDATABASE m "5.2.0" "test" 1 ; a comment behind the head
  (CLASSTABLE
    (classDef &rdbClassA 0 (classLabel "a; not a comment")
      (DEFNAME "two
lines") (comment "anything" (here (at all))) (physType RDBPHYSTYPEDIR)
      (relPath parent)))))");
    ASSERT_NE(p.m, nullptr) << p.said;
    EXPECT_EQ(p.said, "");
    rdbClass* c = rdbiFindClass(p.m, "rdbClassA");
    ASSERT_NE(c, nullptr);
    EXPECT_STREQ(c->label, "a; not a comment");
    EXPECT_STREQ(c->defName, "two\nlines");
    EXPECT_EQ(c->physType, rdbPhysTypeDIR);
    EXPECT_EQ(c->relPath, rdbRelPathPARENT);
}

TEST_F(AsciiSyntax, AStringOf4096BytesAndALineOf4096CharactersAreRefused) {
    auto withLabel = [](const std::string& label) {
        return master("(classTable (classDef a 0 (classLabel \"" + label + "\")))");
    };
    // Over several lines, so that no line is too long.
    std::string fits;
    for (int i = 0; i < 4095; ++i) fits += (i % 100 == 99) ? '\n' : 'x';
    Parsed p = parse(withLabel(fits));
    ASSERT_NE(p.m, nullptr) << p.said;
    EXPECT_EQ(std::string(rdbiFindClass(p.m, "a")->label), fits);
    rdbExit();
    p = parse(withLabel(fits + "y"));
    EXPECT_EQ(p.m, nullptr);
    EXPECT_EQ(p.status, 12);
    EXPECT_EQ(p.said, "Error: " + where(42) + "Input buffer length exceeded.\n");

    std::string line = ";" + std::string(4094, 'c');
    p = parse(master(line + "\n"));
    ASSERT_NE(p.m, nullptr) << p.said;
    rdbExit();
    p = parse(master(line + "c\n"));
    EXPECT_EQ(p.m, nullptr);
    EXPECT_EQ(p.said, "Error: " + where(2) + "Input buffer length exceeded.\n");
}

TEST_F(AsciiSyntax, FaultsAreReportedWithTheirLines) {
    struct Case {
        std::string text;
        std::string said;  // with "@n" for the file and line n
    };
    const Case cases[] = {
        {master("(classTable (classDef a.b 0))"), "Error: @2Unidentified syntax error.\n"},
        {master("(classTable (classDef a 0 (classLabel \"open\n\n)))"),
         "Error: @2Unmatched quotes.\n"},
        {master("(classTable\n (classDef 0))"),
         "Error: @3Required construct missing: \"identifier\" (Token=\"0\").\n"
         "Note: @3Skipping rest of form: \"classDef\"\n"},
        {master("(classTable (classDef a 0 (physType rdbPhysTypeBIG)))"),
         "Error: @2Required construct missing: \"physType\" (Token=\"rdbPhysTypeBIG\").\n"
         "Note: @2Skipping rest of form: \"physType\"\n"},
        {master("(classTable (classDef a 0 (relationship r rdbRelTypeEQUIV)))"),
         "Error: @2Required construct missing: \"relOrd\" (Token=\")\").\n"
         "Note: @2Skipping rest of form: \"relationship\"\n"},
        {master("(classTable (classDef a 0 (physType rdbPhysTypeDIR)\n"
                "(physType rdbPhysTypeFILE)))"),
         "Error: @3Keyword \"physType\" can occur only once within the current form. \n"},
        {master("(classTable (classDef a 0 (colour red (deep))))"),
         "Error: @2Unrecognized form \"colour\".\n"},
        {master("(databaseTable (databaseDef d (schemaRef s extra)))"),
         "Error: @2Expecting end of form \")\" (Token=\"extra\").\n"
         "Note: @2Skipping rest of form: \"schemaRef\"\n"},
        {"(classTable)", "Error: @1Missing $GOAL form: classTable.\n"},
        {"", "Error: @0Missing $GOAL form: .\n"},
        {") (masterDatabase m \"\" \"\" 1)", "Error: @1Unexpected end of form \")\".\n"},
        {"(masterDatabase m \"5.2.0\" \"test\" 1\n (classTable",
         "Error: @2Unexpected end of file.\n"},
        // Deeper than the parser's stack.
        {"(config" +
             [] {
                 std::string nest;
                 for (int i = 0; i < 4100; ++i) nest += "\n(object o";
                 return nest + std::string(4101, ')');
             }(),
         "Error: @4095Unidentified syntax error.\n"},
    };
    for (const Case& c : cases) {
        Parsed p = parse(c.text);
        std::string said = c.said;
        for (size_t at; (at = said.find('@')) != std::string::npos;) {
            size_t digits = said.find_first_not_of("0123456789", at + 1) - at - 1;
            said.replace(at, digits + 1, where(std::stoi(said.substr(at + 1, digits))));
        }
        EXPECT_EQ(p.said, said) << c.text;
        EXPECT_EQ(p.m, nullptr) << c.text;
        EXPECT_EQ(p.status, 12);
        EXPECT_EQ(rdbiFirstMaster(), nullptr);
    }
}

TEST_F(AsciiSyntax, WarningsAloneDontFailTheFile) {
    Parsed p = parse(master("(classTable (classDef a 0 (maxNameLength 99999999999)))") +
                     "(masterDatabase more \"\" \"\" 1)");
    ASSERT_NE(p.m, nullptr);
    EXPECT_EQ(p.said,
              "Warning: " + where(2) +
                  "Token \"99999999999\" does not satisfy semantic requirements of construct: "
                  "\"integertoken\".\n"
                  "Warning: " +
                  where(3) + "Parsing ended before end of file.\n");
    EXPECT_EQ(rdbiFindClass(p.m, "a")->maxNameLen, 2147483647);
    EXPECT_EQ(rdbiFindMaster("more"), nullptr);
}

TEST_F(AsciiSyntax, TheParseGivesUpAfterTooManyErrors) {
    std::string body = "(classTable (classDef a 0";
    for (int i = 0; i < 40; ++i) body += " (odd)";
    Parsed p = parse(master(body + "))"));
    EXPECT_EQ(p.m, nullptr);
    EXPECT_THAT(p.said, testing::EndsWith("Too many errors.\n"));
    size_t errors = 0;
    for (size_t at = 0; (at = p.said.find("Error:", at)) != std::string::npos; ++at) ++errors;
    EXPECT_EQ(errors, 25u);
}

class AsciiMaster : public Ascii {};

TEST_F(AsciiMaster, AHeadAloneMakesAnEmptyMaster) {
    Parsed p = parse("(masterDatabase rdbMasterRDPROJ \"5.2.0 5.3\" \"empty\" 7)");
    ASSERT_NE(p.m, nullptr);
    EXPECT_EQ(p.status, 0);
    EXPECT_STREQ(p.m->name, "rdbMasterRDPROJ");
    EXPECT_EQ(p.m->classes, nullptr);
    ASSERT_NE(p.m->files, nullptr);
    EXPECT_EQ(std::string(p.m->files->path), cwd.path("m.mdb"));
    EXPECT_STREQ(p.m->files->version, "5.2.0 5.3");
    EXPECT_EQ(p.m->files->fileVersion, 7);
    EXPECT_EQ(p.said, "");
    // A head that isn't whole is no master database.
    p = parse("(objectList o \"a\")");
    EXPECT_EQ(p.m, nullptr);
    EXPECT_EQ(p.said, "\nInternal error processing master database.\n");
}

TEST_F(AsciiMaster, AFileForOtherVersionsIsReadWithAWarning) {
    Parsed p = parse("(masterDatabase m \"5.1.0\" \"old\" 1)");
    ASSERT_NE(p.m, nullptr);
    EXPECT_THAT(p.said,
                testing::StartsWith("\nWarning: This version of the ascii database definition file "
                                    "reader"));
}

TEST_F(AsciiMaster, SymbolsOfThisPlatformStandForStrings) {
    Parsed p = parse(master(R"(
  (symbolTable PCDOS (symbolDef DIR "SYM") (symbolDef DOS "only there"))
  (symbolTable UNIX (symbolDef DIR "sym") (symbolDef EXT "1"))
  (symbolTable ALL (symbolDef EXT "ext"))
  (classTable (classDef a 0 (defSubdir (stringRef DIR)) (defModifier (stringRef EXT))
                            (classLabel (stringRef DOS)))))"));
    ASSERT_NE(p.m, nullptr) << p.said;
    rdbClass* a = rdbiFindClass(p.m, "a");
    EXPECT_STREQ(a->defSubdir, "sym");
    EXPECT_STREQ(a->defModifier, "ext");
    EXPECT_EQ(a->label, nullptr);
    EXPECT_EQ(p.said, "\nWarning: Symbol \"DOS\" not found in symbol table.");
}

TEST_F(AsciiMaster, ExternalFilesAreReadOnceIntoTheSameMaster) {
    cwd.write("ext.mdb", master("(classTable (classDef fromExt 0))", "anyName"));
    Parsed p = parse(master(R"((external "ext.mdb") (external "./ext.mdb") (external "m.mdb")
        (classTable (classDef own 0 (parentClasses (classRef fromExt)))))"));
    ASSERT_NE(p.m, nullptr) << p.said;
    EXPECT_EQ(p.said, "");
    EXPECT_EQ(rdbiFindMaster("anyName"), nullptr);
    ASSERT_NE(rdbiFindClass(p.m, "fromExt"), nullptr);
    EXPECT_EQ(rdbiFindClass(p.m, "own")->parents->cls, rdbiFindClass(p.m, "fromExt"));
    int classes = 0, files = 0;
    for (rdbClass* c = p.m->classes; c; c = c->next) ++classes;
    for (rdbFileSpec* f = p.m->files; f; f = f->next) ++files;
    EXPECT_EQ(classes, 2);
    EXPECT_EQ(files, 2);

    rdbExit();
    p = parse(master("(external \"gone.mdb\")"));
    EXPECT_EQ(p.m, nullptr);
    EXPECT_EQ(p.said, "\nError: ascii database file \"gone.mdb\" not found.\n");
}

TEST_F(AsciiMaster, AFileReadTwiceIsNotReadAgain) {
    const std::string text = master("(classTable (classDef a 0))");
    Parsed p = parse(text);
    ASSERT_NE(p.m, nullptr);
    Parsed again = parse(text);
    EXPECT_EQ(again.m, p.m);
    EXPECT_EQ(again.status, 53);
    EXPECT_EQ(again.said, "\n   Note: Redefining existing master database.");
    EXPECT_EQ(p.m->classes->next, nullptr);
}

TEST_F(AsciiMaster, ReferencesToWhatIsNotDefinedFailTheRead) {
    struct Case {
        const char* body;
        const char* said;
    };
    const Case cases[] = {
        {"(schemaTable (schemaDef s 0 (classRef nowhere)))",
         "\n   Error: Referenced class \"nowhere\" not found in master db"},
        {"(databaseTable (databaseDef d (schemaRef nowhere)))",
         "\n   Error: Referenced schema \"nowhere\" not defined in master db"},
        {"(classTable (classDef a 0 (view \"v\" (iniClass nowhere))))",
         "\n   Error: Referenced ini class not defined: nowhere"},
        {"(classTable (classDef a 0 (view \"v\" (viewClass nowhere))))",
         "\n   Error: Referenced view class not defined: nowhere"},
        {"(classTable (classDef a 0 (childClasses (classRef a (storageManagerRef sm)))))",
         "\n   Error: Referenced storage manager \"sm\" not defined in master db"},
        {"(classTable (classDef a 0 (relationship r rdbRelTypeEQUIV rdbOrdType1TO1))"
         "            (classDef a 0 (relationship r rdbRelTypeASSOC rdbOrdType1TO1)))",
         "\n   Error: Relationship \"r\" of class \"a\" redefined with another type or "
         "ordinality"},
    };
    for (const Case& c : cases) {
        Parsed p = parse(master(c.body));
        EXPECT_EQ(p.m, nullptr) << c.body;
        EXPECT_EQ(p.status, 12);
        EXPECT_EQ(p.said, c.said);
        EXPECT_EQ(rdbiFirstMaster(), nullptr);
    }
}

TEST_F(AsciiMaster, AClassDefinedTwiceKeepsItsFirstFields) {
    Parsed p = parse(master(R"((classTable
  (classDef a 0 (classLabel "first") (physType rdbPhysTypeFILE) (relPath PARENT)
                (property P "1") (property Q "q"))
  (classDef a 0 (classLabel "second") (physType rdbPhysTypeDIR) (flags rdbFlagHIDDEN)
                (property P "2"))
  (classDef b 0 (physType rdbPhysTypeDIR))))"));
    ASSERT_NE(p.m, nullptr);
    EXPECT_EQ(p.said,
              "\n   Warning: Attempt to redefine label in class \"a\". Ignoring."
              "\n   Warning: Attempt to redefine physical type in class \"a\". Ignoring."
              "\n   Warning: Attempt to redefine flags in class \"a\". Ignoring."
              "\n   Warning: Mandatory \"RelPath\" not defined in class \"b\".");
    rdbClass* a = rdbiFindClass(p.m, "a");
    EXPECT_STREQ(a->label, "first");
    EXPECT_EQ(a->physType, rdbPhysTypeFILE);
    EXPECT_EQ(a->flags, 0u);
    EXPECT_STREQ(rdbiFindProperty(a->properties, "P")->value, "2");
    EXPECT_STREQ(rdbiFindProperty(a->properties, "Q")->value, "q");
    EXPECT_EQ(a->next, rdbiFindClass(p.m, "b"));
}

TEST_F(AsciiMaster, EveryFormFillsItsField) {
    Parsed p = parse(master(R"(
  (storageManagerTable (storageManagerDef sm SM_HALDANE (versionDepth 3) (policies NO_COPY)
                          (property K "v")))
  (classTable
    (classDef a 5 (relPath CWD KDIR) (physType rdbPhysTypeMEGA) (objectType rdbTypeCOMPOSITE)
      (flags rdbFlagMEGAFILE rdbFlagRELNAME) (maxNameLength 8) (lockTest rdbLockTestPID)
      (toolType "editor") (defName "n") (defModifier "m") (classProc init "run")
      (parentClasses (classRef b (flags rdbFlagHIDDEN)))
      (childClasses (classRef b (storageManagerRef sm (policies QUERY) (versionDepth 2))))
      (view "V" (viewClass b) (iniClass b) (classRef a) (storageManagerRef sm)
                (viewFlags rdbViewFlagDISABLED rdbViewFlagSP_NO_MEGA) (property VP "x"))
      (relationship r rdbRelTypeASSOC rdbOrdTypeNTON (classRef b))
      (property P))
    (classDef b 0 (relPath NONE)))
  (schemaTable (schemaDef s 0 (classRef a) (property SP "y")))
  (databaseTable (databaseDef d (schemaRef s) (lockMode rdbLockModeDIR)
                    (sortMode rdbSortModeNAME rdbSortModeDATE)
                    (flags rdbFlagNOLOCK rdbFlagHIDDEN rdbFlagMEGAFILE)
                    (storageManagerRef sm (policies QUERY)))))"));
    ASSERT_NE(p.m, nullptr) << p.said;
    rdbClass* a = rdbiFindClass(p.m, "a");
    rdbClass* b = rdbiFindClass(p.m, "b");
    rdbStorMgr* sm = rdbiFindStorMgr(p.m, "sm");
    EXPECT_EQ(sm->type, rdbSmTypeHALDANE);
    EXPECT_EQ(sm->versionDepth, 3);
    EXPECT_EQ(sm->policy, rdbSmPolicyNO_COPY);
    EXPECT_EQ(sm->flags, 0x80000u);
    EXPECT_EQ(a->relPath, rdbRelPathCWD | rdbRelPathKDIR);
    EXPECT_EQ(a->physType, rdbPhysTypeMEGA);
    EXPECT_EQ(a->objType, rdbTypeCOMPOSITE);
    EXPECT_EQ(a->flags, rdbFlagMEGAFILE | rdbFlagRELNAME);
    EXPECT_EQ(a->maxNameLen, 8);
    EXPECT_EQ(a->lockTest, rdbLockTestPID);
    EXPECT_STREQ(rdbiFindProperty(a->properties, "TOOLTYPE")->value, "editor");
    EXPECT_STREQ(rdbiFindProperty(a->properties, "P")->value, "");
    EXPECT_STREQ(a->procs->name, "init");
    EXPECT_EQ(a->parents->cls, b);
    EXPECT_EQ(a->parents->flags, rdbFlagHIDDEN);
    EXPECT_EQ(a->children->storMgr, sm);
    EXPECT_EQ(a->children->smPolicy, rdbSmPolicyQUERY);
    EXPECT_EQ(a->children->versionDepth, 2);
    rdbView* v = a->views;
    EXPECT_EQ(v->viewClass, b);
    EXPECT_EQ(v->iniClass, b);
    EXPECT_EQ(v->classes->cls, a);
    EXPECT_EQ(v->flags, rdbViewFlagSM_REF | rdbViewFlagDISABLED | rdbViewFlagSP_NO_MEGA);
    EXPECT_STREQ(v->properties->value, "x");
    rdbRelation* r = a->relations;
    EXPECT_EQ(r->type, rdbRelTypeASSOC);
    EXPECT_EQ(r->ordinality, rdbOrdTypeNTON);
    EXPECT_EQ(r->owner, a);
    EXPECT_EQ(r->classes->cls, b);
    EXPECT_EQ(b->maxNameLen, -1);
    EXPECT_EQ(b->lockTest, rdbLockTestUSERID);
    rdbSchema* s = rdbiFindSchema(p.m, "s");
    EXPECT_EQ(s->classes->cls, a);
    EXPECT_STREQ(s->properties->value, "y");
    rdbDatabase* d = rdbiFindDatabase(p.m, "d");
    EXPECT_EQ(d->schema, s);
    EXPECT_EQ(d->lockMode, rdbLockModeDIR);
    EXPECT_EQ(d->sortMode, rdbSortModeNAME + rdbSortModeDATE);
    EXPECT_EQ(d->flags, 6u);
    EXPECT_EQ(d->storMgr, sm);
}

}  // namespace
