// The start and end of the project database, the names it needs, and the
// status words of all its calls.
#include "rdb_master.h"

#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "kspath.h"
#include "kterr.h"
#include "ktex.h"
#include "ktstr.h"
#include "rdb_ascii.h"
#include "rdb_binary.h"
#include "rdb_itc.h"
#include "rdb_model.h"
#include "rdb_obj.h"

rdbMaster* rdbMasterRDPROJ = nullptr;
rdbDatabase* rdbDatabaseSYSTEM = nullptr;
rdbDatabase* rdbDatabaseTESMARK = nullptr;
rdbDatabase* rdbDatabaseFILESYS = nullptr;
rdbDatabase* rdbDatabaseGENERIC = nullptr;
rdbSchema* rdbSchemaSYSTEM = nullptr;
rdbSchema* rdbSchemaNULL = nullptr;
rdbSchema* rdbSchemaTESMARK = nullptr;
rdbSchema* rdbSchemaFILESYS = nullptr;
rdbSchema* rdbSchemaGENERIC = nullptr;
rdbObject* rdbTmDatabaseID = nullptr;
rdbClass* rdbClassMASTERDB = nullptr;
rdbClass* rdbClassDATABASE = nullptr;
rdbClass* rdbClassWILD = nullptr;
rdbClass* rdbClassCLASS = nullptr;
rdbClass* rdbClassPROJECT = nullptr;
rdbClass* rdbClassLIBRARY = nullptr;
rdbClass* rdbClassPROJLIST = nullptr;
rdbClass* rdbClassSCRIV_INI = nullptr;
rdbClass* rdbClassPLINTH_INI = nullptr;
rdbClass* rdbClassTMFILE = nullptr;
rdbClass* rdbClassTMABSFILE = nullptr;
rdbClass* rdbClassSCH_PAGE = nullptr;
rdbClass* rdbClassSYMBOL = nullptr;
rdbClass* rdbClassWIRELIST = nullptr;
rdbClass* rdbClassDIRECTORY = nullptr;
rdbClass* rdbClassFILE = nullptr;

uint32_t rdbPolicy = 257;
int rdbVerboseV = 0;
int rdbDebugV = 0;
int rdbiSYSCALL = 0;

namespace {

struct StatusText {
    int number;
    const char* text;
};
constexpr StatusText kStatusTexts[] = {
    {0, "Successful completion"},
    {1, "Internal error"},
    {2, "Invalid parameter"},
    {4, "Object does not exist"},
    {5, "Object exists"},
    {7, "Cannot access"},
    {12, "General Failure"},
    {13, "Object does not exist"},
    {14, "Object already exists"},
    {15, "File open error"},
    {16, "Object is not a primitive"},
    {17, "Object is not locked"},
    {18, "Object is locked"},
    {19, "Error locking or unlocking object"},
    {20, "Initialization error"},
    {21, "Object table full"},
    {22, "Object not open"},
    {23, "Error deleting object"},
    {24, "Invalid file access mode"},
    {25, "Directory search path error"},
    {27, "Duplicate directory path"},
    {28, "Seek error in mega file"},
    {29, "Directory path format error"},
    {30, "Directory path default error"},
    {31, "Duplicate primary directory"},
    {32, "Directory type error"},
    {33, "Object is not a composite"},
    {34, "Cannot copy object"},
    {35, "Try to copy/move to the same object"},
    {36, "Error in destination path"},
    {37, "Error in library name"},
    {38, "Create error"},
    {39, "Invalid source object"},
    {40, "Invalid current project"},
    {41, "Invalid project id"},
    {42, "Invalid object reference"},
    {43, "Object reference too large"},
    {44, "NULL object reference"},
    {45, "Bad object name"},
    {46, "Bad object version"},
    {47, "Bad object modifier"},
    {48, "Unmatched parentheses"},
    {49, "Invalid class"},
    {50, "Undefined schema"},
    {51, "Memory allocation error"},
    {52, "Destination is open"},
    {53, "Object already open"},
    {54, "Attempt to modify system object"},
    {55, "User data pointer in use"},
    {56, "Parent object not open."},
    {57, "No primary library open."},
    {58, "One or more libraries were not opened due to errors."},
    {60, "Test area preparation error"},
    {61, "Test area check error"},
    {63, "Invalid library id"},
    {64, "Empty project list"},
    {65, "Insufficient disk space"},
    {66, "Invalid view"},
    {67, "Error in meta data"},
    {68, "Non-unique object name"},
    {69, "Non-unique object path"},
    {70, "Tarnhold already initialized"},
    {71, "Ini file not found"},
    {72, "Invalid storage manager"},
    {73, "Invalid version number"},
    {74, "Invalid object id"},
    {75, "Lock file in OPEN state"},
    {76, "Invalid database"},
    {77, ".cfg file not found"},
    {78, "Save not required"},
    {79, "Invalid search path id"},
    {80, "Object name too long"},
    {81, "Object extension too long"},
    {82, "List name error."},
    {83, "List version error."},
    {84, "Storage manager error."},
    {85, "Object is already locked by this object."},
    {100, "Object checkout was canceled"},
    {101, "Object not checked out -no checkin, cancel"},
    {102, "DM error"},
    {103, "Could not set dm property"},
    {104, "Could not find dm property"},
    {105, "Invalid workspace"},
    {106, "Object already checked out "},
    {107, "Last error message."},
};

// A word of an environment variable and what it adds to the setting.
struct Word {
    const char* text;
    int value;
};
constexpr Word kVerboseWords[] = {
    {"LEVEL1", 2},   {"LEVEL2", 6},    {"LEVEL3", 14},    {"LEVEL4", 30},
    {"DBREAD1", 32}, {"DBREAD2", 96},  {"DBWRITE", 128},  {"LOCK", 0x100},
    {"META", 0x400}, {"MEGA", 0x1000}, {"SPATH", 0x4000}, {"ALL", 0xfffe},
};
constexpr Word kDebugWords[] = {
    {"LEVEL1", 1}, {"LEVEL2", 2}, {"INTER", 4}, {"NOPTR", 8}, {"ALL", 0xffff},
};
constexpr const char* kLockModes[] = {"NONE", "FILE", "DIR", "ALL"};

// The words of `value`, found as substrings and added up; a value with
// none of them and no "NONE" gives `fallback`; no value gives 0.
template <size_t N>
int wordsOf(const char* value, const Word (&words)[N], int fallback) {
    if (!value) return 0;
    int sum = 0;
    for (const Word& w : words)
        if (std::strstr(value, w.text)) sum += w.value;
    if (sum == 0 && !std::strstr(value, "NONE")) sum = fallback;
    return sum;
}

void readDebugSettings() {
    const char* verbose = std::getenv("RDBVERBOSE");
    rdbVerboseV = wordsOf(verbose, kVerboseWords, 2);
    if (verbose && (std::strstr(verbose, "QUIET") || std::strstr(verbose, "TEST"))) rdbVerboseV = 1;
    rdbDebugV = wordsOf(std::getenv("RDBDEBUG"), kDebugWords, 1);
}

void reportLockMode() {
    const char* mode = std::getenv("LOCKMODE");
    if (!mode) return;
    for (const char* known : kLockModes) {
        if (ktStrIcmp(mode, known) == 0) {
            rdbPrint("\nTarnhold Lock mode: %s", mode);
            return;
        }
    }
    rdbPrint("\nWarning: Invalid Tarnhold Lock mode: %s", mode);
}

// A cache is on unless its variable says "0"; `bit` of the policy word
// set turns it off.
void cacheSwitch(const char* variable, uint32_t bit) {
    const char* value = std::getenv(variable);
    if (!value || !*value) return;
    if (std::strcmp(value, "0") == 0)
        rdbPolicy |= bit;
    else
        rdbPolicy &= ~bit;
}

// Reports and exceptions start with the database, under the name of its
// file: the program name of a caught signal reads "rd520".
void startServices(const char* file) {
    static char name[KS_PATHMAX];
    ktStrncpyNullTerm(name, file, sizeof name);
    static char* args[] = {name, nullptr};
    int count = 0;
    ktErrInit(&count, args);
    ktExInit(&count, args);
}

void clearNames() {
    rdbMasterRDPROJ = nullptr;
    rdbDatabaseSYSTEM = rdbDatabaseTESMARK = rdbDatabaseFILESYS = rdbDatabaseGENERIC = nullptr;
    rdbSchemaSYSTEM = rdbSchemaNULL = rdbSchemaTESMARK = rdbSchemaFILESYS = rdbSchemaGENERIC =
        nullptr;
    rdbTmDatabaseID = nullptr;
    for (rdbClass** c :
         {&rdbClassMASTERDB, &rdbClassDATABASE, &rdbClassWILD, &rdbClassCLASS, &rdbClassPROJECT,
          &rdbClassLIBRARY, &rdbClassPROJLIST, &rdbClassSCRIV_INI, &rdbClassPLINTH_INI,
          &rdbClassTMFILE, &rdbClassTMABSFILE, &rdbClassSCH_PAGE, &rdbClassSYMBOL,
          &rdbClassWIRELIST, &rdbClassDIRECTORY, &rdbClassFILE})
        *c = nullptr;
}

// A required name that isn't there; said only when asked to be verbose.
bool missing(const char* what, const char* name) {
    if (rdbVerboseV > 0) rdbPrint("\nError: The master database has no %s \"%s\".\n", what, name);
    return true;
}

// The database of that name with its schema, or null.
rdbDatabase* requiredDatabase(const char* name, rdbSchema** schema) {
    rdbDatabase* db = rdbiFindDatabase(rdbMasterRDPROJ, name);
    if (!db) {
        missing("database", name);
        return nullptr;
    }
    if (!db->schema) {
        missing("schema of the database", name);
        return nullptr;
    }
    *schema = db->schema;
    return db;
}

struct ClassName {
    rdbClass** global;
    const char* name;
};

// Looks up every class of `names` in `schema`; false when one is missing.
// The names are set only when all are found.
template <size_t N>
bool requiredClasses(const rdbSchema* schema, const ClassName (&names)[N]) {
    rdbClass* found[N];
    for (size_t i = 0; i < N; ++i) {
        found[i] = rdbGetClassId(schema, names[i].name);
        if (!found[i]) {
            missing("class", names[i].name);
            return false;
        }
    }
    for (size_t i = 0; i < N; ++i) *names[i].global = found[i];
    return true;
}

// The RDBITC setting as master flags: any value but "WRAPPER" asks for the
// tool session.
uint32_t itcFlags() {
    const char* itc = std::getenv("RDBITC");
    if (!itc) return 0;
    if (std::strcmp(itc, "WRAPPER") != 0) return rdbMasterFlagITC;
    return rdbMasterFlagWRAPPER;
}

struct SysCall {
    int saved = rdbiSYSCALL;
    SysCall() { rdbiSYSCALL = 1; }
    ~SysCall() { rdbiSYSCALL = saved; }
};

// The root object of a new master and an open object for each of its
// databases. 0, or 15 when an object can't be made.
int makeRootObjects(rdbMaster* m) {
    if (!rdbClassMASTERDB || !rdbClassDATABASE || !rdbDatabaseSYSTEM) return rdbStatOPENERR;
    SysCall sys;
    int status;
    rdbObject* root =
        rdbiNewObj(nullptr, rdbClassMASTERDB, m->name, nullptr, 0, nullptr, -1, &status);
    if (!root) return rdbStatOPENERR;
    root->database = rdbDatabaseSYSTEM;
    root->state = 0;
    root->mode = 3;
    root->status = rdbStatOK;
    m->root = root;
    m->rootDatabase = rdbDatabaseSYSTEM;
    m->flags |= itcFlags();
    for (rdbDatabase* db = m->databases; db; db = db->next) {
        rdbObject* o =
            rdbiNewObj(root, rdbClassDATABASE, db->name, nullptr, 0, nullptr, -1, &status);
        if (!o) return rdbStatOPENERR;
        o->database = db;
        o = rdbiOpenObj(o, 3, &status);
        if (status != rdbStatOK) {
            rdbiFreeObj(o);
            return rdbStatOPENERR;
        }
        db->object = o;
    }
    return rdbStatOK;
}

}  // namespace

const char* rdbGetStatusText(int status) {
    for (const StatusText& s : kStatusTexts)
        if (s.number == status) return s.text;
    return "";
}

int rdbStricmp(const char* a, const char* b) {
    return ktStrIcmp(a, b);
}

int rdbStrcmp(const char* a, const char* b) {
    if (a == b) return 0;
    if (!a) return -1;
    if (!b) return 1;
    return std::strcmp(a, b);
}

void rdbPrint(const char* format, ...) {
    va_list args;
    va_start(args, format);
    std::vfprintf(stdout, format, args);
    va_end(args);
    std::fflush(stdout);
}

// ---- Start and end -------------------------------------------------------------

int rdbInit(int facility, const char* version, uintptr_t clientdata) {
    rdbPolicy = 257;
    readDebugSettings();
    const char* ascii = std::getenv("RDBASCII");
    const bool text = ascii && std::strcmp(ascii, "0") != 0;
    const char* file = text ? "rd520.mdb" : "rd520.bdb";
    if (text) rdbPrint("\nSetting Tarnhold ASCII mode to ON...");
    if (rdbVerboseV > 1) rdbPrint("\nInitializing Tarnhold version %s...\n", rdbVERSION);
    if (rdbVerboseV == 1) reportLockMode();
    cacheSwitch("RDBMEGACACHE", 128);
    cacheSwitch("RDBDIRCACHE", 64);
    startServices(file);

    int status;
    rdbMaster* m =
        rdbInit2("rdbMasterRDPROJ", file, facility, version, clientdata, text ? 2 : 1, &status);
    if (!m) return status;
    if (status == rdbStatEXISTS) return rdbStatALREADY;
    if (rdbiInitTmDatabase() != 0 || rdbiInitFsDatabase() != 0 || rdbiInitGenDatabase() != 0)
        return rdbStatINTERNAL;
    return rdbStatOK;
}

rdbMaster* rdbInit2(const char* name, const char* file, int facility, const char* version,
                    uintptr_t clientdata, int mode, int* status) {
    *status = rdbStatOK;
    if (rdbMaster* known = rdbiFindMaster(name)) {
        int st = rdbiRegisterUser(known, facility, version, file);
        if (st == rdbStatEXISTS) {
            *status = st;
            return known;
        }
        if (st != rdbStatOK) {
            *status = st;
            return nullptr;
        }
    }
    int st = rdbStatFAILURE;
    rdbMaster* m = nullptr;
    if (mode & 1)
        m = rdbiReadMaster(file, facility, version, clientdata, &st);
    else if (mode & 2)
        m = rdbiParseDatabase(file, facility, version, clientdata, &st);
    if (!m) {
        *status = rdbStatINIT;
        return nullptr;
    }
    if (st == rdbStatOPEN) {
        *status = st;
        return m;
    }
    if (!rdbMasterRDPROJ && rdbiInitRdDatabase(name) != 0) {
        *status = rdbStatINTERNAL;
        return nullptr;
    }
    for (rdbMaster* each = rdbiFirstMaster(); each; each = each->next) {
        if (!each->root && makeRootObjects(each) != rdbStatOK) {
            *status = rdbStatOPENERR;
            return nullptr;
        }
    }
    if (facility > 0) rdbInitItc(m);
    return m;
}

int rdbExit() {
    if (!rdbiFirstMaster()) return rdbStatINIT;
    rdbiCloseAllProjects();
    for (rdbMaster* m = rdbiLastMaster(); m;) {
        rdbMaster* older = m->prev;
        rdbiUnregisterUser(m);
        if (!m->users) {
            if (m == rdbMasterRDPROJ) clearNames();
            rdbiFreeMaster(m);
        }
        m = older;
    }
    return rdbStatOK;
}

int rdbiInitRdDatabase(const char* name) {
    rdbMaster* m = rdbiFindMaster(name);
    if (!m) {
        missing("master", name);
        return 1;
    }
    rdbDatabase* system = rdbiFindDatabase(m, "System");
    if (!system) return missing("database", "System"), 1;
    if (!system->schema) return missing("schema of the database", "System"), 1;
    static const char* const kNames[] = {"rdbClassMASTERDB", "rdbClassDATABASE", "rdbClassWILD",
                                         "rdbClassCLASS"};
    rdbClass* found[4];
    for (int i = 0; i < 4; ++i) {
        found[i] = rdbiFindClass(m, kNames[i]);
        if (!found[i]) return missing("class", kNames[i]), 1;
    }
    rdbMasterRDPROJ = m;
    rdbDatabaseSYSTEM = system;
    rdbSchemaSYSTEM = system->schema;
    rdbSchemaNULL = rdbiFindSchema(m, "rdbSchemaNULL");
    rdbClassMASTERDB = found[0];
    rdbClassDATABASE = found[1];
    rdbClassWILD = found[2];
    rdbClassCLASS = found[3];
    return 0;
}

int rdbiInitTmDatabase() {
    rdbSchema* schema = nullptr;
    rdbDatabase* db = requiredDatabase("Tesmark", &schema);
    if (!db) return 1;
    static const ClassName kClasses[] = {
        {&rdbClassPROJECT, "rdbClassPROJECT"},       {&rdbClassLIBRARY, "rdbClassLIBRARY"},
        {&rdbClassPROJLIST, "rdbClassPROJLIST"},     {&rdbClassSCRIV_INI, "rdbClassSCRIV_INI"},
        {&rdbClassPLINTH_INI, "rdbClassPLINTH_INI"}, {&rdbClassTMFILE, "rdbClassTMFILE"},
        {&rdbClassTMABSFILE, "rdbClassTMABSFILE"},   {&rdbClassSCH_PAGE, "rdbClassSCH_PAGE"},
        {&rdbClassSYMBOL, "rdbClassSYMBOL"},         {&rdbClassWIRELIST, "rdbClassWIRELIST"},
    };
    if (!requiredClasses(schema, kClasses)) return 1;
    rdbDatabaseTESMARK = db;
    rdbSchemaTESMARK = schema;
    rdbTmDatabaseID = db->object;
    return 0;
}

int rdbiInitFsDatabase() {
    rdbSchema* schema = nullptr;
    rdbDatabase* db = requiredDatabase("FileSystem", &schema);
    if (!db) return 1;
    static const ClassName kClasses[] = {
        {&rdbClassDIRECTORY, "rdbClassDIRECTORY"},
        {&rdbClassFILE, "rdbClassFILE"},
    };
    if (!requiredClasses(schema, kClasses)) return 1;
    rdbDatabaseFILESYS = db;
    rdbSchemaFILESYS = schema;
    return 0;
}

int rdbiInitGenDatabase() {
    rdbSchema* schema = nullptr;
    rdbDatabase* db = requiredDatabase("Generic", &schema);
    if (!db) return 1;
    rdbDatabaseGENERIC = db;
    rdbSchemaGENERIC = schema;
    return 0;
}

// ---- Records by number ---------------------------------------------------------

int rdbValidObjType(const void* object, uint32_t kind) {
    if (!rdbMasterRDPROJ) return rdbStatINIT;
    if (!object) return rdbStatBADID;
    // A wild pointer faults here; the fault comes back as a throw.
    uint32_t found = ktExCatch(
        KT_EX_SEGV | KT_EX_BUSERR,
        [object] {
            uint32_t k;
            std::memcpy(&k, object, sizeof k);
            return k;
        },
        [](uint32_t, ktErrObject*) {
            ktExSwallow();
            return 0u;
        });
    return found == kind ? rdbStatOK : rdbStatBADID;
}

intptr_t rdbGetObjProp(void* object, int number, int* status) {
    *status = rdbStatOK;
    if (number == 0) return 0;
    int valid = rdbValidObjType(object, rdbKindOBJECT);
    if (valid != rdbStatOK) {
        if (number == 6 && valid == rdbStatBADID) return 1;
        *status = valid;
        return 0;
    }
    auto* o = static_cast<rdbObject*>(object);
    auto copy = [](const char* text) { return reinterpret_cast<intptr_t>(ktStrCpy(text)); };
    switch (number) {
        case 1:
            return reinterpret_cast<intptr_t>(o);
        case 2:
            return copy(o->name);
        case 3:
            return copy(o->modifier);
        case 4:
            return o->version;
        case 5:
            return o->physType;
        case 6:
            return o->state;
        case 7:
            return copy(o->path);
        // Lock files are not kept yet, so no object is locked.
        case 9:
            return 0;
        case 10:
            return o->path ? static_cast<intptr_t>(ksFtime(o->path)) : 0;
        case 11:
            return reinterpret_cast<intptr_t>(o->parent);
        case 12:
            return reinterpret_cast<intptr_t>(o->cls);
        case 13:
            return o->cls ? o->cls->objType : 0;
        case 14:
            return o->cls ? copy(o->cls->defName) : 0;
        case 15:
            return o->cls ? copy(o->cls->defModifier) : 0;
        case 16:
            return o->cls ? copy(o->cls->defSubdir) : 0;
        case 17: {
            // What the path is on disk: KS_FILE, KS_DIR, or 0 for nothing.
            int kind = 0;
            if (o->path && ksInfo(o->path, nullptr, nullptr, &kind) != KS_OK) kind = 0;
            return kind;
        }
        default:
            *status = rdbStatFAILURE;
            return 0;
    }
}

rdbClass* rdbGetClassId(const rdbSchema* schema, const char* name) {
    for (const rdbSchema* s : {schema, static_cast<const rdbSchema*>(rdbSchemaSYSTEM)}) {
        if (!s) continue;
        for (const rdbClassList* n = s->classes; n; n = n->next)
            if (n->cls && rdbStricmp(n->cls->name, name) == 0) return n->cls;
    }
    return rdbClassNULL;
}
