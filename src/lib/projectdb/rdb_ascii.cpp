// The text master database: parsing a file, its external files, and the
// second pass that fills the records from the tree of forms.
#include "rdb_ascii.h"

#include <cstring>
#include <string>

#include "kspath.h"
#include "kssrch.h"
#include "ktmem.h"
#include "ktstr.h"
#include "rdb_model.h"

namespace {

constexpr bnfRule kRules[] = {
#define RDB_RULE(name, kind, used, contents) {#name, kind, contents, used},
    RDB_GRAMMAR(RDB_RULE)
#undef RDB_RULE
};

// ---- Words and their values ------------------------------------------------------

struct Word {
    const char* text;
    uint32_t value;
};
#define W(x) \
    { #x, x }
constexpr Word kClassFlags[] = {
    W(rdbFlagNONE),           W(rdbFlagRELNAME),      W(rdbFlagNUMMOD),
    W(rdbFlagTMVIEW_NAME),    W(rdbFlagEXCL_NAME),    W(rdbFlagEXCL_PATH),
    W(rdbFlagEXCLUSIVE),      W(rdbFlagNOLOCK),       W(rdbFlagLOCK),
    W(rdbFlagHIDDEN),         W(rdbFlagCREATE_ERR),   W(rdbFlagMETADATA),
    W(rdbFlagDEFER_META),     W(rdbFlagNO_META_LOCK), W(rdbFlagMEGAFILE),
    W(rdbFlagNO_MEGA_CACHE),  W(rdbFlagNO_DIR_CACHE), W(rdbFlagTMVIEW_INI),
    W(rdbFlagMULTI_INI),      W(rdbFlagCLASS_META),   W(rdbFlagUPDATE_META),
    W(rdbFlagIGNORE_DEFAULT), W(rdbiFlagPROTECTED),   W(rdbFlagCREATE_VIEW_DIR),
    W(rdbFlagCREATE_DIR),     W(rdbFlagARCH_NONE),    W(rdbFlagARCH_REF),
    W(rdbFlagARCH_ALL),       W(rdbFlagNOCASE),       W(rdbFlagUPCASE),
    W(rdbFlagDNCASE),
};
// A database takes only these two of the flag words.
constexpr Word kDatabaseFlags[] = {W(rdbFlagNOLOCK), W(rdbFlagHIDDEN)};
constexpr Word kPhysTypes[] = {W(rdbPhysTypeNULL), W(rdbPhysTypeDIR), W(rdbPhysTypeFILE),
                               W(rdbPhysTypeMEGA), W(rdbPhysTypePSEUDO)};
constexpr Word kObjectTypes[] = {
    {"rdbTypeNULL", rdbTypeUNKNOWN}, W(rdbTypeUNKNOWN), W(rdbTypeCOMPOSITE), W(rdbTypePRIMITIVE)};
constexpr Word kLockModes[] = {W(rdbLockModeNONE), W(rdbLockModeFILE), W(rdbLockModeDIR),
                               W(rdbLockModeALL)};
constexpr Word kSortModes[] = {
    W(rdbSortModeNONE),   W(rdbSortModeNAME),   W(rdbSortModeNAMEREV),
    W(rdbSortModeMOD),    W(rdbSortModeMODREV), W(rdbSortModeVER),
    W(rdbSortModeVERREV), W(rdbSortModeDATE),   W(rdbSortModeDATEREV),
};
constexpr Word kLockTests[] = {
    W(rdbLockTestDEFAULT), W(rdbLockTestUSERID), W(rdbLockTestPID), W(rdbLockTestHOSTNAME),
    W(rdbLockTestFACID),   W(rdbLockTestFACVER), W(rdbLockTestALL),
};
constexpr Word kRelTypes[] = {W(rdbRelTypeCOMPOSITE), W(rdbRelTypeEQUIV), W(rdbRelTypeASSOC)};
constexpr Word kOrdinalities[] = {
    W(rdbOrdType1TO1), W(rdbOrdType1TON), W(rdbOrdTypeNTO1), W(rdbOrdTypeNTON),
    W(rdbOrdType0TO1), W(rdbOrdType0TON), W(rdbOrdTypeNTO0),
};
constexpr Word kViewFlags[] = {
    W(rdbViewFlagNONE),        W(rdbViewFlagDISABLED),       W(rdbViewFlagSP_NAME_REQ),
    W(rdbViewFlagSP_NO_MEGA),  W(rdbViewFlagSP_NO_WRITE),    W(rdbViewFlagSP_NO_PRIM),
    W(rdbViewFlagINI_NO_COPY), W(rdbViewFlagINI_COPY_WRITE),
};
#undef W
constexpr Word kPolicies[] = {
    {"NONE", rdbSmPolicyNONE},
    {"QUERY", rdbSmPolicyQUERY},
    {"CIN_DELETE", rdbSmPolicyCIN_DELETE},
    {"NO_OVERWRITE", rdbSmPolicyNO_OVERWRITE},
    {"NO_COPY", rdbSmPolicyNO_COPY},
};
constexpr Word kSmTypes[] = {
    {"SM_OXBRACE", rdbSmTypeOXBRACE}, {"SM_HALDANE", rdbSmTypeHALDANE}, {"SM_NONE", rdbSmTypeNONE}};
constexpr Word kRelPaths[] = {
    {"NONE", rdbRelPathNONE},         {"GETINI", rdbRelPathGETINI},
    {"INIPATH", rdbRelPathINIPATH},   {"KDIR", rdbRelPathKDIR},
    {"PATH", rdbRelPathPATH},         {"CWD", rdbRelPathCWD},
    {"PARENT", rdbRelPathPARENT},     {"GRANDPARENT", rdbRelPathGRANDPARENT},
    {"ABSOLUTE", rdbRelPathABSOLUTE}, {"ABSMETA", rdbRelPathABSMETA},
    {"ENVVAR", rdbRelPathENVVAR},
};

// ---- Reading the tree ----------------------------------------------------------------

// One file's second pass.
struct Pass {
    bnfParser* p;
    rdbMaster* m;
    int errors = 0;

    void error(const std::string& text) {
        rdbPrint("%s", text.c_str());
        ++errors;
    }

    bnfObject* find(bnfObject* form, int keyword) { return bnfFindFirst(p, form, keyword); }
    bnfObject* next(bnfObject* form) { return bnfFindNext(p, form); }

    const char* ident(bnfObject* form) {
        const char* text = nullptr;
        bnfGetObjIdent(p, form, &text);
        return text;
    }

    int integer(bnfObject* form) {
        int value = 0;
        bnfGetFirstInttok(p, form, &value);
        return value;
    }

    // The string of a form: a string token, or the value of the symbol a
    // stringRef names; null when there is neither, or no such symbol.
    const char* stringValue(bnfObject* form) {
        for (bnfObject* c = form ? form->link : nullptr; c; c = c->next) {
            if (c->type == BNF_KW_STRING) return bnfGetStrtok(p, c);
            if (c->type == rdbKw_stringRef) {
                const char* name = ident(c);
                if (rdbSymbol* s = rdbiFindSymbol(m, name)) return s->value;
                rdbPrint("\nWarning: Symbol \"%s\" not found in symbol table.", name ? name : "");
                return nullptr;
            }
        }
        return nullptr;
    }

    // The values of the literal words of a form that the table knows, one
    // after the other into `add`.
    template <size_t N, typename Add>
    uint32_t combine(bnfObject* form, const Word (&table)[N], Add add) {
        uint32_t value = 0;
        int keyword = 0;
        for (bnfObject* o = bnfGetFirstLitval(p, form, &keyword); o;
             o = bnfGetNextLitval(p, o, &keyword)) {
            const char* word = bnfKeywordName(p, keyword);
            for (const Word& w : table)
                if (ktStrIcmp(w.text, word) == 0) value = add(value, w.value);
        }
        return value;
    }
    // The literal words of a form, their values or-ed together.
    template <size_t N>
    uint32_t words(bnfObject* form, const Word (&table)[N]) {
        return combine(form, table, [](uint32_t a, uint32_t b) { return a | b; });
    }
    // The literal words of a form, added up.
    template <size_t N>
    uint32_t sum(bnfObject* form, const Word (&table)[N]) {
        return combine(form, table, [](uint32_t a, uint32_t b) { return a + b; });
    }

    void properties(bnfObject* form, rdbProperty** list) {
        for (bnfObject* f = find(form, rdbKw_property); f; f = next(f)) {
            const char* value = stringValue(f);
            rdbiSetProperty(list, ident(f), value ? value : "", 1);
        }
    }

    rdbStorMgr* storMgrRef(bnfObject* ref) {
        const char* name = ident(ref);
        rdbStorMgr* sm = rdbiFindStorMgr(m, name);
        if (!sm)
            error(std::string("\n   Error: Referenced storage manager \"") + (name ? name : "") +
                  "\" not defined in master db");
        return sm;
    }

    // A classRef form as a node of the list `link` leads into; the class
    // must exist. The link moves on to the new node's.
    void classRef(bnfObject* ref, rdbClassList**& link) {
        const char* name = ident(ref);
        rdbClass* cls = rdbiFindClass(m, name);
        if (!cls) {
            error(std::string("\n   Error: Referenced class \"") + (name ? name : "") +
                  "\" not found in master db");
            return;
        }
        rdbClassList* node = rdbiAddClassList(link, cls);
        link = &node->next;
        if (bnfObject* f = find(ref, rdbKw_flags)) node->flags = words(f, kClassFlags);
        if (bnfObject* sm = find(ref, rdbKw_storageManagerRef)) {
            node->storMgr = storMgrRef(sm);
            if (bnfObject* f = find(sm, rdbKw_policies)) node->smPolicy = sum(f, kPolicies);
            if (bnfObject* f = find(sm, rdbKw_versionDepth)) node->versionDepth = integer(f);
        }
    }

    void classRefs(bnfObject* form, rdbClassList** list) {
        for (bnfObject* r = find(form, rdbKw_classRef); r; r = next(r)) classRef(r, list);
    }

    // ---- Classes, first their own fields ----

    // A field of a class defined before keeps its first value.
    bool firstOnly(bool again, rdbClass* cls, const char* what) {
        if (again)
            rdbPrint("\n   Warning: Attempt to redefine %s in class \"%s\". Ignoring.", what,
                     cls->name);
        return !again;
    }

    // An empty text is no text, as in the binary form.
    void text(bnfObject* def, int keyword, char** field, bool again, rdbClass* cls,
              const char* what) {
        bnfObject* f = find(def, keyword);
        if (!f || !firstOnly(again, cls, what)) return;
        if (*field) ktStrFree(*field);
        const char* value = stringValue(f);
        *field = value && *value ? ktStrCpy(value) : nullptr;
    }

    template <typename T, size_t N>
    void word(bnfObject* def, int keyword, T* field, const Word (&table)[N], bool again,
              rdbClass* cls, const char* what) {
        bnfObject* f = find(def, keyword);
        if (f && firstOnly(again, cls, what)) *field = words(f, table);
    }

    void classFields(bnfObject* def) {
        const char* name = ident(def);
        rdbClass* cls = rdbiFindClass(m, name);
        const bool again = cls != nullptr;
        if (!cls) cls = rdbiNewClass(m, name);
        text(def, rdbKw_classLabel, &cls->label, again, cls, "label");
        text(def, rdbKw_defName, &cls->defName, again, cls, "default name");
        text(def, rdbKw_defSubdir, &cls->defSubdir, again, cls, "default subdirectory");
        text(def, rdbKw_defModifier, &cls->defModifier, again, cls, "default modifier");
        if (bnfObject* f = find(def, rdbKw_maxNameLength))
            if (firstOnly(again, cls, "name length")) cls->maxNameLen = integer(f);
        word(def, rdbKw_physType, &cls->physType, kPhysTypes, again, cls, "physical type");
        word(def, rdbKw_objectType, &cls->objType, kObjectTypes, again, cls, "object type");
        word(def, rdbKw_flags, &cls->flags, kClassFlags, again, cls, "flags");
        word(def, rdbKw_lockTest, &cls->lockTest, kLockTests, again, cls, "lock test");
        word(def, rdbKw_relPath, &cls->relPath, kRelPaths, again, cls, "relative path");
        if (!again && !find(def, rdbKw_relPath) &&
            (cls->physType == rdbPhysTypeDIR || cls->physType == rdbPhysTypeFILE ||
             cls->physType == rdbPhysTypeMEGA))
            rdbPrint("\n   Warning: Mandatory \"RelPath\" not defined in class \"%s\".", cls->name);
        for (bnfObject* f = find(def, rdbKw_toolType); f; f = next(f))
            rdbiSetProperty(&cls->properties, "TOOLTYPE", stringValue(f), 1);
        properties(def, &cls->properties);
        for (bnfObject* f = find(def, rdbKw_classProc); f; f = next(f))
            rdbiAddClassProc(cls, ident(f), stringValue(f));
        for (bnfObject* f = find(def, rdbKw_relationship); f; f = next(f)) relationFields(cls, f);
    }

    void relationFields(rdbClass* cls, bnfObject* form) {
        const char* name = ident(form);
        uint32_t type = words(form, kRelTypes), ord = words(form, kOrdinalities);
        if (rdbRelation* known = rdbiFindRelation(cls, name)) {
            if (known->type != type || known->ordinality != ord)
                error(std::string("\n   Error: Relationship \"") + (name ? name : "") +
                      "\" of class \"" + cls->name +
                      "\" redefined with another type or ordinality");
            return;
        }
        rdbiNewRelation(cls, name, type, ord);
    }

    // ---- Classes, then the lists that refer to other classes ----

    void classLists(bnfObject* def) {
        rdbClass* cls = rdbiFindClass(m, ident(def));
        if (!cls) return;
        if (bnfObject* f = find(def, rdbKw_parentClasses)) classRefs(f, &cls->parents);
        if (bnfObject* f = find(def, rdbKw_childClasses)) classRefs(f, &cls->children);
        for (bnfObject* f = find(def, rdbKw_view); f; f = next(f)) view(cls, f);
        for (bnfObject* f = find(def, rdbKw_relationship); f; f = next(f))
            if (rdbRelation* r = rdbiFindRelation(cls, ident(f))) classRefs(f, &r->classes);
    }

    rdbClass* referenced(bnfObject* form, const char* what) {
        const char* name = ident(form);
        rdbClass* cls = rdbiFindClass(m, name);
        if (!cls)
            error(std::string("\n   Error: Referenced ") + what +
                  " class not defined: " + (name ? name : ""));
        return cls;
    }

    // The view's search paths come from its ini file when it starts; any
    // the master database holds are not read.
    void view(rdbClass* cls, bnfObject* form) {
        const char* name = stringValue(form);
        if (!name) return;
        rdbView* v = rdbiFindView(cls->views, name);
        if (!v) v = rdbiNewView(&cls->views, name);
        if (bnfObject* f = find(form, rdbKw_iniClass)) v->iniClass = referenced(f, "ini");
        if (bnfObject* f = find(form, rdbKw_viewClass)) v->viewClass = referenced(f, "view");
        classRefs(form, &v->classes);
        if (find(form, rdbKw_storageManagerRef)) v->flags |= rdbViewFlagSM_REF;
        if (bnfObject* f = find(form, rdbKw_viewFlags)) v->flags |= words(f, kViewFlags);
        properties(form, &v->properties);
    }

    // ---- Schemas, storage managers, databases ----

    void schema(bnfObject* def) {
        const char* name = ident(def);
        rdbSchema* s = rdbiFindSchema(m, name);
        if (!s) s = rdbiNewSchema(m, name);
        classRefs(def, &s->classes);
        properties(def, &s->properties);
    }

    void storMgr(bnfObject* def) {
        const char* name = ident(def);
        rdbStorMgr* sm = rdbiFindStorMgr(m, name);
        if (!sm) sm = rdbiNewStorMgr(m, name);
        sm->type = words(def, kSmTypes);
        if (bnfObject* f = find(def, rdbKw_versionDepth)) sm->versionDepth = integer(f);
        if (bnfObject* f = find(def, rdbKw_policies)) sm->policy = sum(f, kPolicies);
        properties(def, &sm->properties);
    }

    void database(bnfObject* def) {
        const char* name = ident(def);
        rdbDatabase* db = rdbiFindDatabase(m, name);
        if (!db) db = rdbiNewDatabase(m, name);
        if (bnfObject* f = find(def, rdbKw_schemaRef)) {
            const char* schema = ident(f);
            db->schema = rdbiFindSchema(m, schema);
            if (!db->schema)
                error(std::string("\n   Error: Referenced schema \"") + (schema ? schema : "") +
                      "\" not defined in master db");
        }
        if (bnfObject* f = find(def, rdbKw_lockMode)) db->lockMode = words(f, kLockModes);
        if (bnfObject* f = find(def, rdbKw_sortMode)) db->sortMode = sum(f, kSortModes);
        if (bnfObject* f = find(def, rdbKw_flags)) db->flags = words(f, kDatabaseFlags);
        if (bnfObject* f = find(def, rdbKw_storageManagerRef)) db->storMgr = storMgrRef(f);
        properties(def, &db->properties);
    }

    // Each of the master's tables, in this order; then the class lists,
    // which may name any class of the file.
    void tables(bnfObject* goal) {
        auto each = [&](int table, int def, auto fn) {
            if (bnfObject* t = find(goal, table))
                for (bnfObject* d = find(t, def); d; d = next(d)) (this->*fn)(d);
        };
        each(rdbKw_classTable, rdbKw_classDef, &Pass::classFields);
        each(rdbKw_schemaTable, rdbKw_schemaDef, &Pass::schema);
        each(rdbKw_storageManagerTable, rdbKw_storageManagerDef, &Pass::storMgr);
        each(rdbKw_databaseTable, rdbKw_databaseDef, &Pass::database);
        each(rdbKw_classTable, rdbKw_classDef, &Pass::classLists);
    }

    // Symbol tables of this platform, or of all platforms.
    void symbols(bnfObject* goal) {
        for (bnfObject* t = find(goal, rdbKw_symbolTable); t; t = next(t)) {
            int keyword = 0;
            bnfGetFirstLitval(p, t, &keyword);
            const char* platform = bnfKeywordName(p, keyword);
            if (ktStrIcmp(platform, "UNIX") != 0 && ktStrIcmp(platform, "ALL") != 0) continue;
            for (bnfObject* d = find(t, rdbKw_symbolDef); d; d = next(d)) {
                const char* value = nullptr;
                bnfGetFirstStrtok(p, d, &value);
                rdbiSetSymbol(m, ident(d), value);
            }
        }
    }
};

// What the call for the outermost file brings along.
struct Top {
    const char* file;  // as the caller named it
    int facility;
    const char* version;
    uintptr_t clientdata;
    bool made;  // the master is new
};

// Frees the parser on every way out.
struct ParserGuard {
    bnfParser* p;
    ~ParserGuard() { bnfExitParser(p); }
};

// The text file `file`, found in the current directory or along KDIR.
bool locate(const char* file, ksPathBuf& path) {
    if (ksExists2(file, KS_FILE, path) == KS_OK) return true;
    return ksSrchkdirs(file, KS_FILE, path) == KS_OK;
}

// Reads `file` into `*master`, making the master for the outermost file
// (`top`). Status 0, 53 or 12.
int parseInto(const char* file, rdbMaster** master, Top* top) {
    char path[KS_PATHMAX];
    if (!locate(file, path)) {
        rdbPrint("\nError: ascii database file \"%s\" not found.\n", file);
        return rdbStatFAILURE;
    }
    bnfParser* p = bnfNewParser(rdbiGrammar());
    ParserGuard guard{p};
    p->file = ktStrCpy(path);
    if (bnfReadFile(p) != 0) return rdbStatFAILURE;

    Pass pass{p, *master};
    bnfObject* goal = pass.find(nullptr, rdbKw_masterDatabase);
    const char* name = goal ? pass.ident(goal) : nullptr;
    const char* suits = nullptr;
    const char* what = nullptr;
    int fileVersion = 0;
    bnfObject* first = goal ? bnfGetFirstStrtok(p, goal, &suits) : nullptr;
    if (first) bnfGetNextStrtok(p, first, &what);
    if (!name || !suits || !what || !bnfGetFirstInttok(p, goal, &fileVersion)) {
        rdbPrint("\nInternal error processing master database.\n");
        return rdbStatFAILURE;
    }
    if (top) {
        int st;
        pass.m = *master = rdbiNewMaster(name, &st);
        top->made = st != rdbStatEXISTS;
        if (!top->made) rdbPrint("\n   Note: Redefining existing master database.");
        st = rdbiRegisterUser(pass.m, top->facility, top->version, top->file);
        if (st != rdbStatOK && st != rdbStatEXISTS) return rdbStatFAILURE;
        pass.m->clientData = top->clientdata;
    }
    if (!std::strstr(suits, rdbVERSION))
        rdbPrint(
            "\nWarning: This version of the ascii database definition file reader"
            "\n         (%s) may not suit the file \"%s\", which is meant for \"%s\".",
            rdbVERSION, path, suits);
    if (rdbiAddFileSpec(pass.m, path, *suits ? suits : nullptr, fileVersion,
                        static_cast<int32_t>(ksFtime(path))) == rdbStatOPEN)
        return rdbStatOPEN;

    for (bnfObject* e = pass.find(goal, rdbKw_external); e; e = pass.next(e)) {
        const char* other = pass.stringValue(e);
        if (!other) return rdbStatFAILURE;
        int st = parseInto(other, master, nullptr);
        if (st != rdbStatOK && st != rdbStatOPEN) return rdbStatFAILURE;
    }
    pass.symbols(goal);
    pass.tables(goal);
    pass.properties(goal, &pass.m->properties);
    return pass.errors ? rdbStatFAILURE : rdbStatOK;
}

}  // namespace

const bnfDescriptor* rdbiGrammar() {
    static bnfDescriptor desc{};
    static bool built = false;
    if (!built) {
        bnfBuildTables(kRules, static_cast<int>(sizeof kRules / sizeof kRules[0]), &desc);
        built = true;
    }
    return &desc;
}

rdbMaster* rdbiParseDatabase(const char* file, int facility, const char* version,
                             uintptr_t clientdata, int* status) {
    *status = rdbStatFAILURE;
    if (!file) return nullptr;
    rdbMaster* m = nullptr;
    Top top{file, facility, version, clientdata, false};
    int st = parseInto(file, &m, &top);
    if (st == rdbStatFAILURE) {
        // A master this file began goes again; one known before keeps
        // what it had.
        if (m && top.made) rdbiFreeMaster(m);
        return nullptr;
    }
    *status = st;
    return m;
}
