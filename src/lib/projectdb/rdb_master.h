// The project database's master database: the records that say what kinds
// of object exist (classes), how they are grouped (schemas, databases) and
// where their files lie, the status words of every project database call,
// and the start and end of the database. rdbInit reads the master database
// file (binary "rd520.bdb", or the text "rd520.mdb" when RDBASCII is set),
// finds the databases, schemas and classes the system needs by name, and
// makes the objects of the databases; rdbExit takes it all down again.
//
// Every record begins with a 32-bit kind. All records but objects belong
// to their master and go with it. Texts are pooled strings (ktStrCpy);
// records come from the tagged allocator. Calls return a status, or take a
// status out-parameter and return null; they print nothing but the debug
// traces and the start-up faults of the file readers.
#pragma once
#include <cstdint>
#include <cstdio>

// ---- Kinds -----------------------------------------------------------------
enum : uint32_t {
    rdbKindMASTER = 1,
    rdbKindDATABASE = 2,
    rdbKindSCHEMA = 3,
    rdbKindOBJECT = 4,
    rdbKindCLASS = 5,
    rdbKindVIEW = 7,
    rdbKindSPATH = 8,
    rdbKindPROPERTY = 11,
};

// ---- Class flags -----------------------------------------------------------
enum : uint32_t {
    rdbFlagNONE = 0,
    rdbFlagMETADATA = 0x1,
    rdbFlagHIDDEN = 0x2,
    rdbFlagNOLOCK = 0x4,
    rdbFlagCREATE_ERR = 0x8,
    // Words of the text form that have no bit in the model: the cache
    // switches of a class, kept apart from the bits objects copy.
    rdbFlagNO_MEGA_CACHE = 0x10,
    rdbFlagNO_DIR_CACHE = 0x20,
    rdbFlagRELNAME = 0x100,  // use the object's name, not the class's default name
    rdbFlagNUMMOD = 0x200,   // the modifier is numeric
    rdbFlagNOCASE = 0x400,
    rdbFlagDNCASE = 0x800,   // file names in lower case
    rdbFlagUPCASE = 0x1000,  // file names in upper case
    rdbFlagEXCL_NAME = 0x2000,
    rdbFlagEXCL_PATH = 0x4000,
    rdbFlagEXCLUSIVE = 0x6000,  // both of the above
    rdbFlagMULTI_INI = 0x8000,
    rdbFlagMEGAFILE = 0x10000,
    rdbFlagCLASS_META = 0x20000,
    rdbFlagDEFER_META = 0x40000,
    rdbiFlagPROTECTED = 0x80000,  // only the system may make such objects
    rdbFlagIGNORE_DEFAULT = 0x100000,
    rdbFlagUPDATE_META = 0x200000,
    rdbFlagNO_META_LOCK = 0x400000,
    rdbFlagCREATE_DIR = 0x1000000,
    rdbFlagCREATE_VIEW_DIR = 0x2000000,
    rdbFlagTMVIEW_INI = 0x4000000,   // an ini file with DIR lines
    rdbFlagTMVIEW_NAME = 0x8000000,  // aliases follow the alias rule of the library list
    rdbFlagARCH_NONE = 0x10000000,
    rdbFlagARCH_REF = 0x20000000,
    rdbFlagARCH_ALL = 0x40000000,
};
// Locking is the default: the word rdbFlagLOCK sets no bit.
constexpr uint32_t rdbFlagLOCK = 0;
// The bits of a class that its objects take over.
constexpr uint32_t rdbFlagCLASSBITS = 0xf;

// ---- Object flags (the low four bits are the class's) -----------------------
enum : uint32_t {
    rdbiFlagNOCLOSE = 0x100,
    rdbiFlagLISTOBJ = 0x200,
    rdbFlagEQUAL = 0x400,
    rdbFlagLIST1 = 0x800,
    rdbFlagLIST2 = 0x1000,
    rdbFlagNEWER1 = 0x2000,
    rdbFlagNEWER2 = 0x4000,
    rdbFlagDIFF = 0x8000,
    rdbFlagPUSHED = 0x10000,
    rdbFlagCACHE_DIR = 0x40000,
    rdbFlagFROZEN = 0x100000,
    rdbFlagDIRTY = 0x200000,
    rdbiFlagREADMETA = 0x400000,
    rdbiFlagFREE_ME = 0x800000,
    rdbFlagVISITED = 0x1000000,
    rdbFlagCUROBJ = 0x2000000,
    rdbiFlagMEGA_INDEX = 0x4000000,
    rdbFlagSMEXISTS = 0x10000000,
    rdbFlagRDEXISTS = 0x20000000,
    rdbFlagEXISTS = 0x30000000,
};

// ---- Enumerations ----------------------------------------------------------
enum : uint32_t {
    rdbPhysTypeNULL = 0,
    rdbPhysTypeDIR = 1,
    rdbPhysTypeFILE = 2,
    rdbPhysTypeMEGA = 3,
    rdbPhysTypePSEUDO = 4,
};
enum : uint32_t { rdbTypeUNKNOWN = 0, rdbTypePRIMITIVE = 1, rdbTypeCOMPOSITE = 2 };
enum : uint32_t {
    rdbLockModeNONE = 0,
    rdbLockModeFILE = 1,
    rdbLockModeDIR = 2,
    rdbLockModeALL = 3,
};
enum : uint32_t {
    rdbSortModeNONE = 0,
    rdbSortModeNAME = 1,
    rdbSortModeMOD = 2,
    rdbSortModeVER = 4,
    rdbSortModeDATE = 8,
    rdbSortModeNAMEREV = 17,
    rdbSortModeMODREV = 18,
    rdbSortModeVERREV = 20,
    rdbSortModeDATEREV = 24,
};
enum : uint32_t { rdbRelTypeCOMPOSITE = 1, rdbRelTypeEQUIV = 2, rdbRelTypeASSOC = 4 };
enum : uint32_t {
    rdbOrdType0TO1 = 1,
    rdbOrdType1TO1 = 2,
    rdbOrdType0TON = 4,
    rdbOrdType1TON = 8,
    rdbOrdTypeNTO0 = 16,
    rdbOrdTypeNTO1 = 32,
    rdbOrdTypeNTON = 64,
};
// Storage manager policies, added up.
enum : uint32_t {
    rdbSmPolicyNONE = 0,
    rdbSmPolicyQUERY = 0x1010,
    rdbSmPolicyCIN_DELETE = 0x8080,
    rdbSmPolicyNO_OVERWRITE = 0x2020,
    rdbSmPolicyNO_COPY = 0x4040,
};
enum : uint32_t { rdbSmTypeOXBRACE = 0, rdbSmTypeHALDANE = 1, rdbSmTypeNONE = 2 };
enum : uint32_t {
    rdbViewFlagNONE = 0,
    rdbViewFlagDISABLED = 1,
    rdbViewFlagSM_REF = 2,  // the view names a storage manager
    rdbViewFlagSP_NAME_REQ = 4,
    rdbViewFlagSP_NO_MEGA = 8,
    rdbViewFlagSP_NO_WRITE = 16,
    rdbViewFlagSP_NO_PRIM = 32,
    rdbViewFlagINI_NO_COPY = 0x400,
    rdbViewFlagINI_COPY_WRITE = 0x1400,
};
// Where a class's files lie, bits that may be combined; 0 is NONE.
enum : uint32_t {
    rdbRelPathNONE = 0,
    rdbRelPathABSOLUTE = 1,
    rdbRelPathCWD = 2,
    rdbRelPathKDIR = 4,
    rdbRelPathPARENT = 8,
    rdbRelPathGRANDPARENT = 16,
    rdbRelPathENVVAR = 32,  // along a directory an environment variable names
    rdbRelPathINIPATH = 64,
    rdbRelPathGETINI = 128,
    rdbRelPathPATH = 256,
    rdbRelPathABSMETA = 512,
};
// Who may remove a lock file: the fields that must agree with its owner.
enum : uint32_t {
    rdbLockTestDEFAULT = 0,
    rdbLockTestUSERID = 1,
    rdbLockTestPID = 2,
    rdbLockTestHOSTNAME = 4,
    rdbLockTestFACID = 8,
    rdbLockTestFACVER = 16,
    rdbLockTestALL = 31,
};
// Flags of a master that the environment sets (RDBITC).
enum : uint32_t { rdbMasterFlagWRAPPER = 1, rdbMasterFlagITC = 2 };

// ---- Status words ------------------------------------------------------------
enum : int {
    rdbStatOK = 0,
    rdbStatINTERNAL = 1,
    rdbStatACCESS = 7,
    rdbStatFAILURE = 12,
    rdbStatNOTEXIST = 13,
    rdbStatEXISTS = 14,
    rdbStatOPENERR = 15,
    rdbStatINIT = 20,
    rdbStatNOTOPEN = 22,
    rdbStatBADCLASS = 49,
    rdbStatPARENT = 56,
    rdbStatOPEN = 53,  // the object was open already: counts as success
    rdbStatNAMELEN = 80,
    rdbStatALREADY = 70,
    rdbStatBADID = 74,
};
// The text of a status word, or the empty text for a number that has none.
const char* rdbGetStatusText(int status);

// The version of this reader of master databases.
constexpr const char rdbVERSION[] = "5.2.0";

// ---- Records -----------------------------------------------------------------
struct rdbMaster;
struct rdbClass;
struct rdbObject;
struct rdbView;

struct rdbProperty {
    uint32_t kind;  // rdbKindPROPERTY
    char* name;
    char* value;
    rdbProperty* next;
};

// Text substitution of the text form: a name and the text it stands for.
struct rdbSymbol {
    char* name;
    char* value;
    rdbSymbol* next;
};

struct rdbFileSpec {
    char* path;
    char* version;        // the versions the file suits, as it says
    int32_t fileVersion;  // the file's own number
    int32_t timestamp;
    rdbFileSpec* next;
};

// One process's use of a master.
struct rdbUser {
    int32_t pid;
    char* host;
    uint32_t hostId;
    char* userId;
    int32_t facility;
    char* version;  // 1 to 12 characters
    char* path;     // the master database file
    rdbUser* next;
};

struct rdbStorMgr {
    char* name;
    uint32_t type;  // rdbSmType...
    uint32_t flags;
    uint32_t policy;
    int32_t versionDepth;
    rdbProperty* properties;
    rdbStorMgr* next;
};

struct rdbClassList {
    uint32_t flags;
    uint32_t smPolicy;
    int32_t versionDepth;
    rdbStorMgr* storMgr;  // or null
    rdbClass* cls;
    rdbClassList* next;
};

struct rdbRelation {
    char* name;
    rdbClass* owner;
    uint32_t type;        // rdbRelType...
    uint32_t ordinality;  // rdbOrdType...
    rdbClassList* classes;
    rdbRelation* next;
};

// A class procedure: named, never run in this system.
struct rdbClassProc {
    char* name;
    char* value;
    rdbClassProc* next;
};

struct rdbSearchPath {
    uint32_t kind;  // rdbKindSPATH
    int32_t sortKey;
    char* name;  // the alias as given
    rdbObject* object;
    int32_t status;
    uint32_t access;  // 1 primary, 2 read-only, 4 mega
    int32_t line;
    rdbView* view;
    char* libType;
    char* path;
    char* aliases[16];
    rdbSearchPath* next;
    rdbSearchPath* prev;
};

struct rdbView {
    uint32_t kind;  // rdbKindVIEW
    uint32_t flags;
    char* name;
    rdbClass* viewClass;
    rdbClass* iniClass;
    rdbClassList* classes;
    rdbSearchPath* spaths;
    rdbView* next;
    rdbView* prev;
    rdbObject* iniObject;  // the open ini file of an object's view
    rdbProperty* properties;
};

struct rdbClass {
    uint32_t kind;  // rdbKindCLASS
    rdbProperty* properties;
    uint32_t flags;
    char* name;
    uint32_t relPath;  // rdbRelPath... bits
    uint32_t physType;
    uint32_t objType;
    char* label;
    char* defSubdir;
    char* defName;
    char* defModifier;
    int32_t maxNameLen;  // -1 for no limit
    uint32_t lockTest;   // rdbLockTest... bits, 1 unless the text form says
    rdbMaster* master;
    rdbClassList* parents;
    rdbClassList* children;
    rdbRelation* relations;
    rdbView* views;
    rdbClassProc* procs;
    rdbClass* prev;
    rdbClass* next;
};

struct rdbSchema {
    uint32_t kind;  // rdbKindSCHEMA
    uint32_t flags;
    char* name;
    rdbClassList* classes;
    rdbProperty* properties;
    rdbSchema* prev;
    rdbSchema* next;
};

struct rdbDatabase {
    uint32_t kind;  // rdbKindDATABASE
    uint32_t flags;
    char* name;
    uint32_t lockMode;
    uint32_t sortMode;
    rdbSchema* schema;
    rdbObject* object;
    rdbMaster* master;
    rdbDatabase* prev;
    rdbDatabase* next;
    rdbStorMgr* storMgr;
    rdbProperty* properties;
};

// The file behind an object of a physical type DIR, FILE or MEGA.
struct rdbFileRec {
    int32_t type;
    FILE* stream;
    int fd;
    // Of a member in a mega file, its offset (-1 for none); of a mega
    // index, the slot of the last hit, or the byte behind it with no table.
    long position;
    struct ktSym* dirCache;          // a library's listings by subdirectory, or null
    struct rdbLockObj* lock;         // the lock this object holds on its file, or null
    struct rdbiMegaSlot* megaIndex;  // a mega index's table, or null
    long size;                       // of the file when its time was noted
};

struct rdbObject {
    uint32_t kind;  // rdbKindOBJECT
    rdbProperty* properties;
    uint32_t flags;
    char* name;
    int32_t status;  // last status of an operation; 13 at first
    uint32_t relPath;
    rdbClass* cls;
    char* modifier;  // the file extension
    int32_t version;
    uint32_t physType;
    char* path;
    int32_t state;  // 0 open, 1 child list only, 3 not open
    uint32_t mode;
    rdbFileRec* file;
    rdbView* views;
    rdbView* curView;
    rdbDatabase* database;
    rdbObject* parent;
    rdbObject* sibling;
    rdbObject* firstChild;
    void* smData;
    uintptr_t userData;  // the caller's word
    uint32_t timestamp;  // time of the file when it was opened or its index read
};

struct rdbMaster {
    uint32_t kind;  // rdbKindMASTER
    uint32_t flags;
    char* name;
    char* version;  // of the reader that made it
    rdbFileSpec* files;
    rdbUser* users;  // newest first
    uintptr_t clientData;
    rdbDatabase* databases;
    rdbDatabase* databasesTail;
    rdbSchema* schemas;
    rdbSchema* schemasTail;
    rdbClass* classes;
    rdbClass* classesTail;
    rdbStorMgr* storMgrs;
    rdbSymbol* symbols;
    rdbObject* root;
    rdbDatabase* rootDatabase;
    rdbMaster* prev;
    rdbMaster* next;
    rdbProperty* properties;
    void* session;        // the tool session, when one was started
    struct ktSym* index;  // classes by name, without regard to case
};

// ---- The system's names --------------------------------------------------------
// Found by rdbInit; null before it and after rdbExit.
extern rdbMaster* rdbMasterRDPROJ;
extern rdbDatabase* rdbDatabaseSYSTEM;
extern rdbDatabase* rdbDatabaseTESMARK;
extern rdbDatabase* rdbDatabaseFILESYS;
extern rdbDatabase* rdbDatabaseGENERIC;
extern rdbSchema* rdbSchemaSYSTEM;
extern rdbSchema* rdbSchemaNULL;  // may stay null
extern rdbSchema* rdbSchemaTESMARK;
extern rdbSchema* rdbSchemaFILESYS;
extern rdbSchema* rdbSchemaGENERIC;
extern rdbObject* rdbTmDatabaseID;
extern rdbClass* rdbClassMASTERDB;
extern rdbClass* rdbClassDATABASE;
extern rdbClass* rdbClassWILD;
extern rdbClass* rdbClassCLASS;
extern rdbClass* rdbClassPROJECT;
extern rdbClass* rdbClassLIBRARY;
extern rdbClass* rdbClassPROJLIST;
extern rdbClass* rdbClassSCRIV_INI;
extern rdbClass* rdbClassPLINTH_INI;
extern rdbClass* rdbClassTMFILE;
extern rdbClass* rdbClassTMABSFILE;
extern rdbClass* rdbClassSCH_PAGE;
extern rdbClass* rdbClassSYMBOL;
extern rdbClass* rdbClassWIRELIST;
extern rdbClass* rdbClassDIRECTORY;
extern rdbClass* rdbClassFILE;
inline constexpr rdbClass* rdbClassNULL = nullptr;

// Policy bits: 64 set turns the directory cache off, 128 the mega-file
// index cache. 257 at start.
extern uint32_t rdbPolicy;
// RDBVERBOSE and RDBDEBUG as numbers; read by rdbInit.
extern int rdbVerboseV;
extern int rdbDebugV;
// Verbosity bits.
enum : int {
    rdbVerbLEVEL1 = 2,
    rdbVerbDBREAD1 = 32,
    rdbVerbLOCK = 0x100,
};
// Debug bits: a trace of each field of the binary file, and a stop after it.
enum : int { rdbDebugLEVEL1 = 1, rdbDebugLEVEL2 = 2, rdbDebugINTER = 4, rdbDebugNOPTR = 8 };
// Set while the database itself makes objects of protected classes.
extern int rdbiSYSCALL;

// ---- Start and end -------------------------------------------------------------
// Reads the master database and starts the databases: 0, a status, or 70
// when this process started it already.
int rdbInit(int facility, const char* version, uintptr_t clientdata);
// Reads `file` as the master `name` (mode 1 binary, 2 text) unless that
// master is known, and makes the objects of its databases. Returns the
// master, or null with the status; status 14 says the user was known.
rdbMaster* rdbInit2(const char* name, const char* file, int facility, const char* version,
                    uintptr_t clientdata, int mode, int* status);
// Unregisters this process's newest use of each master, newest master
// first, and frees a master that nobody uses. 20 when nothing was started.
int rdbExit();

// Finds the names the system needs: the master and its "System" database,
// the "Tesmark", "FileSystem" and "Generic" databases and their classes.
// 0, or 1 when a required name is missing.
int rdbiInitRdDatabase(const char* name);
int rdbiInitTmDatabase();
int rdbiInitFsDatabase();
int rdbiInitGenDatabase();

// ---- Records by number ---------------------------------------------------------
// 0 when `object` is a record of `kind`, 74 when it isn't (a wild pointer
// included), 20 before start-up.
int rdbValidObjType(const void* object, uint32_t kind);
// A property of an object by number; copies of texts belong to the caller
// (ktStrFree). An unknown number gives 0 and status 12.
intptr_t rdbGetObjProp(void* object, int number, int* status);
// A class of `schema`, else of the system schema, by name without regard
// to case; rdbClassNULL when there is none.
rdbClass* rdbGetClassId(const rdbSchema* schema, const char* name);

// Comparison of names; a null text is less than any other, two nulls equal.
int rdbStricmp(const char* a, const char* b);
int rdbStrcmp(const char* a, const char* b);

// The database's own output: debug traces and the faults of start-up, on
// standard output.
void rdbPrint(const char* format, ...) __attribute__((format(printf, 1, 2)));
