// The binary master database: the reader, with its version checks and the
// debug trace of each field, and the writer of the same layout.
#include "rdb_binary.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include "kspath.h"
#include "kssrch.h"
#include "ktdufs.h"
#include "kterr.h"
#include "ktex.h"
#include "ktstr.h"
#include "rdb_model.h"

namespace {

// The database versions this reader takes: a version that stands in this
// text as a substring is read as the current one.
constexpr const char kKnownVersions[] = "5.1dm 5.2 5.2.0";
// Files of this version keep no count of the class lists of relationships.
constexpr const char kNoRelCount[] = "5.1dm";

std::string kdirValue() {
    const char* kdir = std::getenv("KDIR");
    return kdir ? kdir : "";
}

// ---- Reading ----------------------------------------------------------------------

// Reads the fields of one file in order. Past the end of the file a value
// stays as it was and `end` is set, which stops the lists.
struct In {
    ktDufsB* f;
    bool end = false;

    void pause() {
        if (!(rdbDebugV & rdbDebugLEVEL2)) return;
        rdbPrint(" #");
        std::fflush(stdout);
        int c = std::getchar();
        if (c == 'x' || c == 'X' || c == 'q' || c == 'Q') ktExit(1);
    }

    bool read(void* value, int type, int isSigned) {
        if (end) return false;
        if (ktDufsBRead(f, value, 1, type, isSigned) == 1) return true;
        end = true;
        return false;
    }

    int32_t integer(const char* label) {
        int32_t v = 0;
        read(&v, KT_DUFS_INT, 1);
        if (rdbDebugV & rdbDebugLEVEL1) rdbPrint("\nRead Int           : %s: %d", label, v);
        pause();
        return v;
    }

    uint32_t enumeration(const char* label) {
        int32_t v = 0;
        read(&v, KT_DUFS_INT2, 1);
        if (rdbDebugV & rdbDebugLEVEL1) rdbPrint("\nRead Enum          : %s: %d", label, v);
        pause();
        return static_cast<uint32_t>(v);
    }

    int32_t signedLong(const char* label) {
        int32_t v = 0;
        read(&v, KT_DUFS_LONG, 1);
        if (rdbDebugV & rdbDebugLEVEL1)
            rdbPrint("\nRead Long          : %s: %ld", label, static_cast<long>(v));
        pause();
        return v;
    }

    uint32_t unsignedLong(const char* label) {
        uint32_t v = 0;
        read(&v, KT_DUFS_LONG, 0);
        if (rdbDebugV & rdbDebugLEVEL1)
            rdbPrint("\nRead Unsigned Long : %s: %d", label, static_cast<int>(v));
        pause();
        return v;
    }

    // A string of at most 255 characters; "" past the end.
    std::string string(const char* label, bool nullIfEmpty = false) {
        char buf[KT_DUFS_STRINGMAX];
        buf[0] = '\0';
        if (end || ktDufsBReadString(f, buf) != 1) {
            end = true;
            buf[0] = '\0';
        }
        if (rdbDebugV & rdbDebugLEVEL1)
            rdbPrint(nullIfEmpty ? "\nLoad String: %s (%d bytes): %s"
                                 : "\nRead String: %s (%d bytes): %s",
                     label, static_cast<int>(std::strlen(buf)), buf);
        pause();
        return buf;
    }

    // A count: never below 0.
    int32_t count(const char* label) {
        int32_t n = integer(label);
        return n < 0 ? 0 : n;
    }
};

// A copy for a field that is null when empty.
char* orNull(const std::string& text) {
    return text.empty() ? nullptr : ktStrCpy(text.c_str());
}

struct Reading {
    In in;
    rdbMaster* m;
    bool drop;     // the master was known: all that is read is dropped
    bool oldForm;  // a "5.1dm" file
    // The class of each class entry in file order, null for one that was
    // read into scratch, and the number of its relationships.
    std::vector<rdbClass*> classes;
    std::vector<int32_t> relations;

    void properties(rdbProperty** list) {
        int32_t n = in.count("Prop Count");
        for (int32_t i = 0; i < n && !in.end; ++i) {
            std::string name = in.string("Name ");
            std::string value = in.string("Val ");
            if (list && !in.end) rdbiSetProperty(list, name.c_str(), value.c_str(), 1);
        }
    }

    // A class list; with a null `list` it is read and dropped. A class or
    // storage manager not known by then is left out.
    void classList(rdbClassList** list) {
        int32_t n = in.count("Num Class Lists");
        rdbClassList** link = list;
        for (int32_t i = 0; i < n && !in.end; ++i) {
            std::string name = in.string("Class Ref");
            uint32_t flags = in.unsignedLong("Flags");
            uint32_t policy = in.unsignedLong("smPolicy");
            int32_t depth = in.integer("Ver Depth");
            std::string sm = in.string("Stor Mgr Ref");
            if (!list || in.end) continue;
            rdbClass* cls = rdbiFindClass(m, name.c_str());
            if (!cls) continue;
            rdbClassList* node = rdbiAddClassList(link, cls);
            link = &node->next;
            node->flags = flags;
            node->smPolicy = policy;
            node->versionDepth = depth;
            node->storMgr = sm.empty() ? nullptr : rdbiFindStorMgr(m, sm.c_str());
        }
    }

    void classEntry() {
        std::string name = in.string("Name ");
        rdbClass* c = (drop || in.end || rdbiFindClass(m, name.c_str()))
                          ? nullptr
                          : rdbiNewClass(m, name.c_str());
        uint32_t flags = in.unsignedLong("Flags");
        uint32_t relPath = in.enumeration("Rel Path");
        uint32_t physType = in.enumeration("Phys Type");
        uint32_t objType = in.enumeration("Type");
        std::string label = in.string("Label ", true);
        std::string subdir = in.string("defSubdir ", true);
        std::string defName = in.string("defName ", true);
        std::string modifier = in.string("defModifier ", true);
        int32_t maxLen = in.integer("Max Name Len");
        if (c) {
            c->flags = flags;
            c->relPath = relPath;
            c->physType = physType;
            c->objType = objType;
            c->label = orNull(label);
            c->defSubdir = orNull(subdir);
            c->defName = orNull(defName);
            c->defModifier = orNull(modifier);
            c->maxNameLen = maxLen;
        }
        int32_t n = in.count("Rel Count ");
        int32_t read = 0;
        for (; read < n && !in.end; ++read) {
            std::string rel = in.string("Rel Name ");
            uint32_t type = in.enumeration("Type ");
            uint32_t ord = in.enumeration("Ord ");
            if (c && !in.end) rdbiNewRelation(c, rel.c_str(), type, ord);
        }
        properties(c ? &c->properties : nullptr);
        classes.push_back(c);
        relations.push_back(read);
    }

    // The `k`-th of the class's last `n` relationships, or null.
    static rdbRelation* lastRelation(rdbClass* c, int32_t n, int32_t k) {
        if (!c) return nullptr;
        int32_t total = 0;
        for (rdbRelation* r = c->relations; r; r = r->next) ++total;
        int32_t index = total - n + k;
        if (index < 0) return nullptr;
        rdbRelation* r = c->relations;
        while (r && index-- > 0) r = r->next;
        return r;
    }

    void classBlock(size_t entry) {
        rdbClass* c = classes[entry];
        classList(c ? &c->parents : nullptr);
        classList(c ? &c->children : nullptr);
        int32_t views = in.count("View Count ");
        for (int32_t i = 0; i < views && !in.end; ++i) {
            std::string name = in.string("View Name ");
            rdbView* known = c ? rdbiFindView(c->views, name.c_str()) : nullptr;
            uint32_t flags = in.unsignedLong(known ? "Dummy Flags " : "Flags ");
            std::string ini = in.string("Ini Class Ref");
            std::string view = in.string("View Class Ref");
            rdbView* v = known;
            if (c && !v && !in.end) {
                v = rdbiNewView(&c->views, name.c_str());
                v->flags = flags;
            }
            if (v && !ini.empty()) v->iniClass = rdbiFindClass(m, ini.c_str());
            if (v && !view.empty()) v->viewClass = rdbiFindClass(m, view.c_str());
            classList(v ? &v->classes : nullptr);
        }
        int32_t n = oldForm ? relations[entry] : in.count("Rel Count ");
        for (int32_t k = 0; k < n && !in.end; ++k) {
            rdbRelation* r = lastRelation(c, n, k);
            classList(r ? &r->classes : nullptr);
        }
    }

    void storMgrEntry() {
        std::string name = in.string("Stor Mgr Name ");
        rdbStorMgr* sm = (drop || in.end || rdbiFindStorMgr(m, name.c_str()))
                             ? nullptr
                             : rdbiNewStorMgr(m, name.c_str());
        uint32_t type = in.enumeration("Type ");
        uint32_t flags = in.unsignedLong("Flags ");
        uint32_t policy = in.unsignedLong("Policy ");
        int32_t depth = in.integer("Ver Depth ");
        if (sm) {
            sm->type = type;
            sm->flags = flags;
            sm->policy = policy;
            sm->versionDepth = depth;
        }
        properties(sm ? &sm->properties : nullptr);
    }

    void schemaEntry() {
        std::string name = in.string("Schema Name ");
        rdbSchema* s = (drop || in.end || rdbiFindSchema(m, name.c_str()))
                           ? nullptr
                           : rdbiNewSchema(m, name.c_str());
        uint32_t flags = in.unsignedLong("Schema Flags");
        if (s) s->flags = flags;
        classList(s ? &s->classes : nullptr);
        properties(s ? &s->properties : nullptr);
    }

    void databaseEntry() {
        std::string name = in.string("Database Name");
        rdbDatabase* db = (drop || in.end || rdbiFindDatabase(m, name.c_str()))
                              ? nullptr
                              : rdbiNewDatabase(m, name.c_str());
        uint32_t flags = in.unsignedLong("Flags");
        uint32_t lockMode = in.enumeration("Lock Mode");
        uint32_t sortMode = in.enumeration("Sort Mode");
        std::string schema = in.string("Schema Ref");
        std::string sm = in.string("Stor Mgr Ref");
        if (db) {
            db->flags = flags;
            db->lockMode = lockModeOverride(lockMode);
            db->sortMode = sortMode;
            db->schema = rdbiFindSchema(m, schema.c_str());
            db->storMgr = sm.empty() ? nullptr : rdbiFindStorMgr(m, sm.c_str());
        }
        properties(db ? &db->properties : nullptr);
    }

    // LOCKMODE, when it names a mode, takes the place of the file's.
    static uint32_t lockModeOverride(uint32_t mode) {
        static const char* const kModes[] = {"NONE", "FILE", "DIR", "ALL"};
        const char* value = std::getenv("LOCKMODE");
        if (!value) return mode;
        for (uint32_t i = 0; i < 4; ++i)
            if (ktStrIcmp(value, kModes[i]) == 0) return i;
        return mode;
    }

    // Everything behind the master's name.
    void rest() {
        uint32_t flags = in.unsignedLong("Master Flags ");
        if (!drop) m->flags = flags;
        in.string("User Id");
        in.string("Host Name");
        in.signedLong("Created");
        // A file that lists no source file holds nothing more.
        int32_t n = in.count("File Count ");
        if (n == 0) return;
        readFiles(n);
        int32_t count = in.count("Class Count");
        for (int32_t i = 0; i < count && !in.end; ++i) classEntry();
        for (size_t i = 0; i < classes.size() && !in.end; ++i) classBlock(i);
        count = in.count("Stor Mgr Count");
        for (int32_t i = 0; i < count && !in.end; ++i) storMgrEntry();
        count = in.count("Schema Count");
        for (int32_t i = 0; i < count && !in.end; ++i) schemaEntry();
        count = in.count("Database Count");
        for (int32_t i = 0; i < count && !in.end; ++i) databaseEntry();
        properties(drop ? nullptr : &m->properties);
    }

    void readFiles(int32_t n) {
        for (int32_t i = 0; i < n && !in.end; ++i) {
            std::string path = in.string("File Path", true);
            std::string version = in.string("File RD Ver", true);
            int32_t fileVersion = in.integer("File Ver  ");
            int32_t timestamp = in.signedLong("File Timestamp ");
            if (drop || in.end) continue;
            char* p = orNull(path);
            char* v = orNull(version);
            rdbiAddFileSpec(m, p, v, fileVersion, timestamp);
            if (p) ktStrFree(p);
            if (v) ktStrFree(v);
        }
    }
};

// Opens a plain file: a device or a pipe could give no end, and the
// binary file layer opens nothing else for reading.
ktDufsB* openPlain(const char* path) {
    return ktDufsBFopen(path, "r");
}

// The file in the current directory, or else along KDIR; its absolute
// path in `found`.
ktDufsB* openMaster(const char* file, ksPathBuf& found) {
    if (ksAbsPath2(file, found) != KS_OK) ktStrncpyNullTerm(found, file, KS_PATHMAX);
    if (ktDufsB* f = openPlain(file)) return f;
    if (ksSrchkdirs(file, KS_FILE, found) != KS_OK) return nullptr;
    return openPlain(found);
}

void incompatible(const char* path, const char* version) {
    rdbPrint(
        "\nError: The binary database file \"%s\" contains "
        "\n       a version number \"%s\" which is not compatible"
        "\n       with this release (%s). The current directory and the"
        "\n       directories of KDIR (\"%s\") were searched for it."
        "\n       Process terminating.\n",
        path, version, rdbVERSION, kdirValue().c_str());
}

// The file's version checks and its master; null when it is refused.
rdbMaster* readFile(ktDufsB* f, const char* file, const char* path, int facility,
                    const char* version, uintptr_t clientdata, int* status, rdbMaster** made) {
    Reading r{In{f}, nullptr, false, false, {}, {}};
    std::string dbVersion = r.in.string("Database Version");
    if (!std::strstr(kKnownVersions, dbVersion.c_str())) {
        // The older fixed-record form is not read: it is as foreign as
        // any other.
        incompatible(path, dbVersion.c_str());
        return nullptr;
    }
    int32_t internal = r.in.integer("rdbiRDVER");
    if (rdbVerboseV > 1) rdbPrint("\nVersion: %s (%d)", dbVersion.c_str(), internal);
    if (dbVersion == rdbVERSION && internal != rdbiRDVER) {
        rdbPrint(
            "\nError: The binary database file \"%s\" contains "
            "\n       internal version number %d, where this release expects %d."
            "\n       The current directory and the directories of the KDIR"
            "\n       variable (\"%s\") were searched for it.\n",
            path, internal, rdbiRDVER, kdirValue().c_str());
        return nullptr;
    }
    if (internal != rdbiRDVER && rdbVerboseV >= 2)
        rdbPrint("\n***NOTE: Binary file internal development version number: %d", internal);
    r.oldForm = dbVersion == kNoRelCount;

    std::string name = r.in.string("User Id");
    int st;
    r.m = rdbiNewMaster(name.c_str(), &st);
    r.drop = st == rdbStatEXISTS;
    if (!r.drop) *made = r.m;
    if (r.drop && (rdbVerboseV & rdbVerbDBREAD1))
        rdbPrint("\n   Note: Redefining existing master database.");
    st = rdbiRegisterUser(r.m, facility, version, file);
    if (st != rdbStatOK && st != rdbStatEXISTS) return nullptr;
    if (!r.drop) r.m->clientData = clientdata;
    r.rest();
    *status = rdbStatOK;
    return r.m;
}

}  // namespace

rdbMaster* rdbiReadMaster(const char* file, int facility, const char* version, uintptr_t clientdata,
                          int* status) {
    *status = rdbStatFAILURE;
    if (!file) return nullptr;
    char path[KS_PATHMAX];
    rdbMaster* made = nullptr;
    ktDufsB* f = nullptr;
    rdbMaster* m = ktExCatch(
        KT_EX_PRECOND | KT_EX_FAIL,
        [&]() -> rdbMaster* {
            f = openMaster(file, path);
            if (!f) {
                rdbPrint("\nCould not open file: %s\n", file);
                return nullptr;
            }
            if (rdbVerboseV > 1) rdbPrint("\nReading binary database file: %s ", path);
            return readFile(f, file, path, facility, version, clientdata, status, &made);
        },
        [&](uint32_t, ktErrObject* err) -> rdbMaster* {
            const char* why = ktErrText(err);
            rdbPrint("\nError: The binary database file \"%s\" can't be read:\n       %s\n", file,
                     why ? why : "");
            ktExSwallow();
            return nullptr;
        });
    if (f) ktDufsBFclose(f);
    if (!m) {
        *status = rdbStatFAILURE;
        // A master this file began goes again.
        if (made) rdbiFreeMaster(made);
    }
    return m;
}

// ---- Writing -----------------------------------------------------------------------

namespace {

struct Out {
    ktDufsB* f;
    bool ok = true;

    void put(const void* value, int type) {
        if (ok && ktDufsBWrite(f, value, 1, type) != 1) ok = false;
    }
    void integer(int32_t v) { put(&v, KT_DUFS_INT); }
    void enumeration(uint32_t v) {
        int32_t s = static_cast<int32_t>(v);
        put(&s, KT_DUFS_INT2);
    }
    void signedLong(int32_t v) { put(&v, KT_DUFS_LONG); }
    void unsignedLong(uint32_t v) { put(&v, KT_DUFS_LONG); }
    void string(const char* text) { put(text ? text : "", KT_DUFS_STRING); }
    template <typename T>
    void count(const T* list) {
        int32_t n = 0;
        for (const T* e = list; e; e = e->next) ++n;
        integer(n);
    }

    void properties(const rdbProperty* list) {
        count(list);
        for (const rdbProperty* p = list; p; p = p->next) {
            string(p->name);
            string(p->value);
        }
    }

    void classList(const rdbClassList* list) {
        count(list);
        for (const rdbClassList* n = list; n; n = n->next) {
            string(n->cls ? n->cls->name : "");
            unsignedLong(n->flags);
            unsignedLong(n->smPolicy);
            integer(n->versionDepth);
            string(n->storMgr ? n->storMgr->name : "");
        }
    }

    void classEntry(const rdbClass* c) {
        string(c->name);
        unsignedLong(c->flags);
        enumeration(c->relPath);
        enumeration(c->physType);
        enumeration(c->objType);
        string(c->label);
        string(c->defSubdir);
        string(c->defName);
        string(c->defModifier);
        integer(c->maxNameLen);
        count(c->relations);
        for (const rdbRelation* r = c->relations; r; r = r->next) {
            string(r->name);
            enumeration(r->type);
            enumeration(r->ordinality);
        }
        properties(c->properties);
    }

    void classBlock(const rdbClass* c) {
        classList(c->parents);
        classList(c->children);
        count(c->views);
        for (const rdbView* v = c->views; v; v = v->next) {
            string(v->name);
            unsignedLong(v->flags);
            string(v->iniClass ? v->iniClass->name : "");
            string(v->viewClass ? v->viewClass->name : "");
            classList(v->classes);
        }
        count(c->relations);
        for (const rdbRelation* r = c->relations; r; r = r->next) classList(r->classes);
    }

    void master(const rdbMaster* m) {
        string(m->name);
        unsignedLong(m->flags);
        string(ksGetuid());
        string(ksGethostname());
        signedLong(static_cast<int32_t>(std::time(nullptr)));
        count(m->files);
        for (const rdbFileSpec* s = m->files; s; s = s->next) {
            // Where a source lay on the machine that compiled it means
            // nothing to another: only its name goes in.
            char name[KS_PATHMAX] = "";
            if (!s->path || ksParse2(s->path, nullptr, nullptr, name) != KS_OK)
                ktStrncpyNullTerm(name, s->path, sizeof name);
            string(name);
            string(s->version);
            integer(s->fileVersion);
            signedLong(s->timestamp);
        }
        count(m->classes);
        for (const rdbClass* c = m->classes; c; c = c->next) classEntry(c);
        for (const rdbClass* c = m->classes; c; c = c->next) classBlock(c);
        count(m->storMgrs);
        for (const rdbStorMgr* s = m->storMgrs; s; s = s->next) {
            string(s->name);
            enumeration(s->type);
            unsignedLong(s->flags);
            unsignedLong(s->policy);
            integer(s->versionDepth);
            properties(s->properties);
        }
        count(m->schemas);
        for (const rdbSchema* s = m->schemas; s; s = s->next) {
            string(s->name);
            unsignedLong(s->flags);
            classList(s->classes);
            properties(s->properties);
        }
        count(m->databases);
        for (const rdbDatabase* d = m->databases; d; d = d->next) {
            string(d->name);
            unsignedLong(d->flags);
            enumeration(d->lockMode);
            enumeration(d->sortMode);
            string(d->schema ? d->schema->name : "");
            string(d->storMgr ? d->storMgr->name : "");
            properties(d->properties);
        }
        properties(m->properties);
    }
};

// What the binary form can't hold; the first such thing in `why`.
struct Check {
    char* why;
    size_t size;
    bool ok = true;

    void refuse(const std::string& text) {
        if (ok) std::snprintf(why, size, "%s", text.c_str());
        ok = false;
    }
    void text(const char* t, const std::string& what) {
        if (t && std::strlen(t) > 255) refuse(what + " has more than 255 characters");
    }
    void properties(const rdbProperty* list, const std::string& owner) {
        for (const rdbProperty* p = list; p; p = p->next) {
            text(p->name, "a property name of " + owner);
            text(p->value, "property " + std::string(p->name ? p->name : "") + " of " + owner);
        }
    }
    // The class lists of a class are read before the storage managers.
    void classList(const rdbClassList* list, const std::string& owner) {
        for (const rdbClassList* n = list; n; n = n->next)
            if (n->storMgr)
                refuse("a class list of " + owner +
                       " names a storage manager, which the binary form can't resolve there");
    }

    void master(const rdbMaster* m) {
        text(m->name, "the master's name");
        for (const rdbFileSpec* s = m->files; s; s = s->next) text(s->version, "a file version");
        properties(m->properties, "the master");
        for (const rdbClass* c = m->classes; c; c = c->next) klass(c);
        for (const rdbStorMgr* s = m->storMgrs; s; s = s->next) {
            text(s->name, "a storage manager's name");
            properties(s->properties, std::string("storage manager ") + s->name);
        }
        for (const rdbSchema* s = m->schemas; s; s = s->next) {
            text(s->name, "a schema's name");
            properties(s->properties, std::string("schema ") + s->name);
        }
        for (const rdbDatabase* d = m->databases; d; d = d->next) {
            text(d->name, "a database's name");
            properties(d->properties, std::string("database ") + d->name);
        }
    }

    void klass(const rdbClass* c) {
        const std::string owner = std::string("class ") + (c->name ? c->name : "");
        text(c->name, "a class name");
        text(c->label, "the label of " + owner);
        text(c->defSubdir, "the default subdirectory of " + owner);
        text(c->defName, "the default name of " + owner);
        text(c->defModifier, "the default modifier of " + owner);
        properties(c->properties, owner);
        if (c->procs) refuse(owner + " has class procedures");
        if (c->lockTest != rdbLockTestUSERID) refuse(owner + " has a lock test");
        classList(c->parents, owner);
        classList(c->children, owner);
        for (const rdbRelation* r = c->relations; r; r = r->next) {
            text(r->name, "a relationship name of " + owner);
            classList(r->classes, owner);
        }
        for (const rdbView* v = c->views; v; v = v->next) {
            text(v->name, "a view name of " + owner);
            if (v->properties) refuse("a view of " + owner + " has properties");
            if (v->spaths) refuse("a view of " + owner + " has search paths");
            classList(v->classes, owner);
        }
    }
};

}  // namespace

int rdbiWriteMaster(const rdbMaster* m, const char* path, char* why, size_t size) {
    Check check{why, size};
    check.master(m);
    if (!check.ok) return rdbStatFAILURE;
    return ktExCatch(
        KT_EX_PRECOND | KT_EX_FAIL,
        [&] {
            ktDufsB* f = ktDufsBFopen(path, "w");
            if (!f) {
                std::snprintf(why, size, "can't create %s: %s", path, std::strerror(errno));
                return static_cast<int>(rdbStatFAILURE);
            }
            // Closed on every way out, a throw of the writes included.
            struct Closer {
                ktDufsB* f;
                ~Closer() {
                    if (f) ktDufsBFclose(f);
                }
            } closer{f};
            Out out{f};
            out.string(rdbVERSION);
            out.integer(rdbiRDVER);
            out.master(m);
            bool ok = out.ok;
            ok = ktDufsBFclose(f) == 0 && ok;
            closer.f = nullptr;
            if (!ok) {
                std::snprintf(why, size, "can't write %s", path);
                std::remove(path);
                return static_cast<int>(rdbStatFAILURE);
            }
            return static_cast<int>(rdbStatOK);
        },
        [&](uint32_t, ktErrObject* err) {
            const char* text = ktErrText(err);
            std::snprintf(why, size, "%s", text ? text : "the binary file could not be written");
            ktExSwallow();
            std::remove(path);
            return static_cast<int>(rdbStatFAILURE);
        });
}
