// The master database as text, "rd520.mdb": its grammar for the
// table-driven parser, and the reader that turns a parsed file into the
// records of a master. The same grammar holds the meta-data forms of
// objects (viewList, objectList, config); a master database file is the
// form masterDatabase:
//
//   (masterDatabase rdbMasterRDPROJ "5.2.0" "what this file is" 1
//     (external "more.mdb")
//     (symbolTable UNIX (symbolDef SUB "sym"))
//     (classTable (classDef rdbClassSYMBOL 0 (physType rdbPhysTypeFILE)
//                   (relPath PARENT) (defSubdir (stringRef SUB)) ...))
//     (schemaTable ...) (storageManagerTable ...) (databaseTable ...))
//
// Every fault is printed and counted, and a file with any fault gives no
// master.
#pragma once
#include <cstdint>

#include "rdb_bnf.h"
#include "rdb_master.h"

// The grammar, one rule per keyword, in keyword order.
#define RDB_GRAMMAR(X)                                                                             \
    X(dollarGoal, BNF_GROUP, 1, "( masterDatabase | viewList | objectList | config )")             \
    X(masterDatabase, BNF_FORM, 1,                                                                 \
      "identifier ; stringtoken ; stringtoken ; integertoken ; { external } ; { symbolTable | "    \
      "storageManagerTable (1) | databaseTable (1) | schemaTable (1) | classTable (1) | comment "  \
      "}")                                                                                         \
    X(external, BNF_FORM, 1, "stringValue")                                                        \
    X(storageManagerTable, BNF_FORM, 1, "{ storageManagerDef | comment }")                         \
    X(storageManagerDef, BNF_FORM, 1,                                                              \
      "identifier ; ( 'SM_OXBRACE' | 'SM_HALDANE' | 'SM_NONE' ) ; { versionDepth (1) | "           \
      "policies (1) | property | comment }")                                                       \
    X(storageManagerRef, BNF_FORM, 1,                                                              \
      "identifier ; { policies (1) | versionDepth (1) | property | comment }")                     \
    X(policies, BNF_FORM, 1, "( 'NONE' | 'QUERY' | 'CIN_DELETE' | 'NO_OVERWRITE' | 'NO_COPY' )")   \
    X(databaseTable, BNF_FORM, 1, "{ databaseDef }")                                               \
    X(databaseDef, BNF_FORM, 1,                                                                    \
      "identifier ; { schemaRef (1) | lockMode (1) | sortMode (1) | flags (1) | "                  \
      "storageManagerRef (1) | property | comment }")                                              \
    X(versionDepth, BNF_FORM, 1, "integertoken")                                                   \
    X(lockMode, BNF_FORM, 1,                                                                       \
      "( 'rdbLockModeNONE' | 'rdbLockModeFILE' | 'rdbLockModeDIR' | 'rdbLockModeALL' )")           \
    X(lockTest, BNF_FORM, 1,                                                                       \
      "( 'rdbLockTestDEFAULT' | 'rdbLockTestUSERID' | 'rdbLockTestPID' | 'rdbLockTestHOSTNAME' "   \
      "| 'rdbLockTestFACID' | 'rdbLockTestFACVER' | 'rdbLockTestALL' )")                           \
    X(sortMode, BNF_FORM, 1,                                                                       \
      "{ 'rdbSortModeNONE' | 'rdbSortModeNAME' | 'rdbSortModeNAMEREV' | 'rdbSortModeMOD' | "       \
      "'rdbSortModeMODREV' | 'rdbSortModeVER' | 'rdbSortModeVERREV' | 'rdbSortModeDATE' | "        \
      "'rdbSortModeDATEREV' }")                                                                    \
    X(schemaRef, BNF_FORM, 1, "identifier")                                                        \
    X(symbolTable, BNF_FORM, 1, "( 'UNIX' | 'PCDOS' | 'ALL' ) ; { symbolDef }")                    \
    X(symbolDef, BNF_FORM, 1, "identifier ; stringtoken")                                          \
    X(comment, BNF_FORM, 0, "{ stringtoken }")                                                     \
    X(schemaTable, BNF_FORM, 1, "{ schemaDef }")                                                   \
    X(classTable, BNF_FORM, 1, "{ classDef }")                                                     \
    X(classProc, BNF_FORM, 1, "identifier ; stringValue")                                          \
    X(classDef, BNF_FORM, 1,                                                                       \
      "identifier ; integertoken ; { relPath (1) | classLabel (1) | defName (1) | defSubdir (1) "  \
      "| defModifier (1) | maxNameLength (1) | lockTest (1) | physType (1) | objectType (1) | "    \
      "view | classProc | parentClasses (1) | childClasses (1) | toolType | flags (1) | "          \
      "relationship | property | comment }")                                                       \
    X(maxNameLength, BNF_FORM, 1, "integertoken")                                                  \
    X(view, BNF_FORM, 1,                                                                           \
      "stringValue ; { storageManagerRef | iniClass (1) | viewClass (1) | classRef | "             \
      "searchPathList (1) | viewFlags (1) | property | comment }")                                 \
    X(iniClass, BNF_FORM, 1, "identifier")                                                         \
    X(viewClass, BNF_FORM, 1, "identifier")                                                        \
    X(classLabel, BNF_FORM, 1, "stringValue")                                                      \
    X(flags, BNF_FORM, 1,                                                                          \
      "{ 'rdbFlagNONE' | 'rdbFlagRELNAME' | 'rdbFlagNUMMOD' | 'rdbFlagTMVIEW_NAME' | "             \
      "'rdbFlagEXCL_NAME' | 'rdbFlagEXCL_PATH' | 'rdbFlagEXCLUSIVE' | 'rdbFlagNOLOCK' | "          \
      "'rdbFlagLOCK' | 'rdbFlagHIDDEN' | 'rdbFlagCREATE_ERR' | 'rdbFlagMETADATA' | "               \
      "'rdbFlagDEFER_META' | 'rdbFlagNO_META_LOCK' | 'rdbFlagMEGAFILE' | 'rdbFlagNO_MEGA_CACHE' "  \
      "| 'rdbFlagNO_DIR_CACHE' | 'rdbFlagTMVIEW_INI' | 'rdbFlagMULTI_INI' | 'rdbFlagCLASS_META' "  \
      "| 'rdbFlagUPDATE_META' | 'rdbFlagIGNORE_DEFAULT' | 'rdbiFlagPROTECTED' | "                  \
      "'rdbFlagCREATE_VIEW_DIR' | 'rdbFlagCREATE_DIR' | 'rdbFlagARCH_NONE' | 'rdbFlagARCH_REF' | " \
      "'rdbFlagARCH_ALL' | 'rdbFlagNOCASE' | 'rdbFlagUPCASE' | 'rdbFlagDNCASE' }")                 \
    X(toolType, BNF_FORM, 1, "stringValue")                                                        \
    X(defName, BNF_FORM, 1, "stringValue")                                                         \
    X(defSubdir, BNF_FORM, 1, "stringValue")                                                       \
    X(defModifier, BNF_FORM, 1, "stringValue")                                                     \
    X(physType, BNF_FORM, 1,                                                                       \
      "( 'rdbPhysTypeNULL' | 'rdbPhysTypeDIR' | 'rdbPhysTypeFILE' | 'rdbPhysTypeMEGA' | "          \
      "'rdbPhysTypePSEUDO' )")                                                                     \
    X(objectType, BNF_FORM, 1,                                                                     \
      "( 'rdbTypeNULL' | 'rdbTypeUNKNOWN' | 'rdbTypeCOMPOSITE' | 'rdbTypePRIMITIVE' )")            \
    X(parentClasses, BNF_FORM, 1, "{ classRef }")                                                  \
    X(classRef, BNF_FORM, 1, "identifier ; { storageManagerRef (1) | flags (1) }")                 \
    X(childClasses, BNF_FORM, 1, "{ classRef }")                                                   \
    X(schemaDef, BNF_FORM, 1, "identifier ; integertoken ; { classRef | property | comment }")     \
    X(stringValue, BNF_GROUP, 1, "( stringtoken | stringRef )")                                    \
    X(stringRef, BNF_FORM, 1, "identifier")                                                        \
    X(relationship, BNF_FORM, 1, "identifier ; relType ; relOrd ; { classRef }")                   \
    X(relType, BNF_GROUP, 1, "( 'rdbRelTypeCOMPOSITE' | 'rdbRelTypeEQUIV' | 'rdbRelTypeASSOC' )")  \
    X(relOrd, BNF_GROUP, 1,                                                                        \
      "( 'rdbOrdType1TO1' | 'rdbOrdType1TON' | 'rdbOrdTypeNTO1' | 'rdbOrdTypeNTON' | "             \
      "'rdbOrdType0TO1' | 'rdbOrdType0TON' | 'rdbOrdTypeNTO0' )")                                  \
    X(property, BNF_FORM, 1, "identifier ; { stringValue | comment }")                             \
    X(viewList, BNF_FORM, 1, "{ view }")                                                           \
    X(searchPathList, BNF_FORM, 1, "{ searchPath }")                                               \
    X(searchPath, BNF_FORM, 1,                                                                     \
      "stringValue ; searchType ; { path (1) | partialPath (1) | archiveTo (1) | "                 \
      "archivedFrom (1) | searchFlags (1) | alias | workspace (1) }")                              \
    X(workspace, BNF_FORM, 1,                                                                      \
      "identifier ; { versionDepth (1) | policies (1) | property | comment }")                     \
    X(archiveTo, BNF_FORM, 1, "stringValue")                                                       \
    X(archivedFrom, BNF_FORM, 1, "stringValue")                                                    \
    X(alias, BNF_FORM, 1, "stringValue")                                                           \
    X(path, BNF_FORM, 1, "stringValue")                                                            \
    X(partialPath, BNF_FORM, 1,                                                                    \
      "( 'INIPATH' | 'CWD' | 'PARENT' | 'ABSOLUTE' | envVar (1) ) ; [ stringValue ]")              \
    X(envVar, BNF_FORM, 1, "stringValue")                                                          \
    X(relPath, BNF_FORM, 1,                                                                        \
      "{ 'NONE' | 'GETINI' | 'INIPATH' | 'KDIR' | 'PATH' | 'CWD' | 'PARENT' | 'GRANDPARENT' | "    \
      "'ABSOLUTE' | 'ABSMETA' | 'ENVVAR' } ; [ stringValue ]")                                     \
    X(searchType, BNF_GROUP, 1,                                                                    \
      "( 'NONE' | 'PRIMARY' | 'WRITABLE' | 'READWRITE' | 'READONLY' | 'MEGAFILE' )")               \
    X(searchFlags, BNF_FORM, 1, "integertoken")                                                    \
    X(viewFlags, BNF_FORM, 1,                                                                      \
      "{ 'rdbViewFlagNONE' | 'rdbViewFlagDISABLED' | 'rdbViewFlagSP_NAME_REQ' | "                  \
      "'rdbViewFlagSP_NO_MEGA' | 'rdbViewFlagSP_NO_WRITE' | 'rdbViewFlagSP_NO_PRIM' | "            \
      "'rdbViewFlagINI_NO_COPY' | 'rdbViewFlagINI_COPY_WRITE' }")                                  \
    X(objectList, BNF_FORM, 1,                                                                     \
      "identifier ; stringtoken ; [ stringtoken ] ; { object | property }")                        \
    X(object, BNF_FORM, 1,                                                                         \
      "identifier ; { object | objectClass (1) | objectName (1) | objectModifier (1) | "           \
      "objectVersion (1) | objectType (1) | physType (1) | objectState (1) | objectMode (1) | "    \
      "objectPath (1) | created (1) | relation | curView (1) | iniFile | property }")              \
    X(relation, BNF_FORM, 1, "stringtoken ; { flags (1) | target | property | comment }")          \
    X(target, BNF_FORM, 1, "stringtoken")                                                          \
    X(created, BNF_FORM, 1, "stringtoken ; [ stringtoken ]")                                       \
    X(objectClass, BNF_FORM, 1, "stringtoken")                                                     \
    X(objectName, BNF_FORM, 1, "stringtoken ; { stringtoken }")                                    \
    X(objectModifier, BNF_FORM, 1, "stringtoken")                                                  \
    X(objectPath, BNF_FORM, 1, "stringtoken")                                                      \
    X(objectVersion, BNF_FORM, 1, "integertoken")                                                  \
    X(objectState, BNF_FORM, 1,                                                                    \
      "{ 'rdbStateUNKNOWN' | 'rdbStateOPEN' | 'rdbStateNOTOPEN' | 'rdbStateLOCKED' | "             \
      "'rdbStateUNLOCKED' | 'rdbStateFROZEN' }")                                                   \
    X(objectMode, BNF_FORM, 1,                                                                     \
      "( 'rdbModeNONE' | 'rdbModeUNKNOWN' | 'rdbModeREAD' | 'rdbModeREAD_WRITE' )")                \
    X(config, BNF_FORM, 1, "{ object | property | comment }")                                      \
    X(iniFile, BNF_FORM, 1, "stringtoken")                                                         \
    X(curView, BNF_FORM, 1, "stringtoken")

// Keyword numbers of the rules: rdbKw_classDef and so on.
enum : int {
    rdbKwBeforeRules = BNF_KW_GOAL - 1,
#define RDB_KEYWORD(name, kind, used, contents) rdbKw_##name,
    RDB_GRAMMAR(RDB_KEYWORD)
#undef RDB_KEYWORD
};

// The tables of the grammar, built at the first call.
const bnfDescriptor* rdbiGrammar();

// Reads the text master database `file`, found in the current directory or
// along KDIR, into the master it names (a known master is added to), and
// registers the user. Status 0; 53 when this file was read already; 12 on
// any fault, with a null result.
rdbMaster* rdbiParseDatabase(const char* file, int facility, const char* version,
                             uintptr_t clientdata, int* status);
