// Object references: made, parsed, completed and resolved; and where the
// files of a class lie.
#include "rdb_ref.h"

#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "kspath.h"
#include "kssrch.h"
#include "ktmem.h"
#include "ktstr.h"
#include "rdb_api.h"
#include "rdb_dircache.h"
#include "rdb_mega.h"
#include "rdb_model.h"
#include "rdb_obj.h"

namespace {

constexpr size_t kMaxRef = 256;  // a reference is shorter
constexpr int32_t kMaxVersion = 16000;
constexpr size_t kMaxElems = 64;  // a chain longer than this has a loop of parents

int set(int* status, int value) {
    if (status) *status = value;
    return value;
}

// Splits an element "class:name@modifier(version)" into its parts.
int parseElement(std::string_view text, std::string* cls, rdbiRefElem* e) {
    size_t colon = text.rfind(':');
    if (colon != std::string_view::npos) {
        *cls = text.substr(0, colon);
        text.remove_prefix(colon + 1);
    }
    size_t open = text.rfind('(');
    size_t close = text.rfind(')');
    if (open == std::string_view::npos) {
        if (close != std::string_view::npos) return rdbStatPARENS;
    } else {
        if (close == std::string_view::npos || close < open) return rdbStatPARENS;
        if (close != text.size() - 1) return rdbStatBADREF;
        std::string_view v = text.substr(open + 1, close - open - 1);
        if (v == "*") {
            e->version = -1;
        } else if (!v.empty()) {
            long value = 0;
            const char* end = nullptr;
            std::string digits(v);
            if (digits.find_first_not_of("0123456789") != std::string::npos ||
                ktStrCvtToLong(digits.c_str(), 0, kMaxVersion, &value, &end) != 1)
                return rdbStatBADVERSION;
            e->version = static_cast<int32_t>(value);
        }
        text = text.substr(0, open);
    }
    size_t at = text.rfind('@');
    if (at != std::string_view::npos) {
        e->modifier = text.substr(at + 1);
        text = text.substr(0, at);
    }
    e->name = text;
    return rdbStatOK;
}

bool inList(const rdbClassList* list, const rdbClass* cls) {
    for (; list; list = list->next)
        if (list->cls == cls) return true;
    return false;
}

bool isChild(const rdbClass* parent, const rdbClass* child) {
    return inList(child->parents, parent) || inList(parent->children, child);
}

// The one parent class of `cls`; null for none or several.
rdbClass* soleParent(const rdbClass* cls) {
    const rdbClassList* p = cls->parents;
    return p && !p->next ? p->cls : nullptr;
}

rdbSchema* schemaOf(const rdbMaster* m, const rdbClass* cls) {
    for (rdbSchema* s = m->schemas; s; s = s->next)
        if (inList(s->classes, cls)) return s;
    return nullptr;
}

// Completes the chain from the last element up to the master: a class
// that isn't a child of the class in front of it gets its parent between
// them, or gives its parent to an element of any class in front of it.
int completeChain(rdbiObjref* ref) {
    // The elements are moved, not copied: a failed chain leaves the
    // reference of no use to anyone.
    std::vector<rdbiRefElem>& in = ref->elems;
    std::vector<rdbiRefElem> out;
    out.reserve(in.size() + 4);
    size_t i = in.size() - 1;
    rdbiRefElem cur = std::move(in[i]);
    for (;;) {
        if (out.size() > kMaxElems) return rdbStatBADREF;
        const rdbClass* cls = cur.cls;
        out.push_back(std::move(cur));
        if (cls == rdbClassMASTERDB) break;
        if (i > 0 && isChild(in[i - 1].cls, cls)) {
            cur = std::move(in[--i]);
            continue;
        }
        rdbClass* parent = soleParent(cls);
        if (!parent) return rdbStatBADCLASS;
        if (i > 0 && in[i - 1].cls == rdbClassWILD) {
            cur = std::move(in[--i]);
            cur.cls = parent;
            continue;
        }
        cur = rdbiRefElem{parent, {}, {}, 0, {}};
    }
    // Elements in front of the master have no place in the chain.
    if (i != 0) return rdbStatBADREF;
    in.assign(std::make_move_iterator(out.rbegin()), std::make_move_iterator(out.rend()));
    return rdbStatOK;
}

// The kind of file-system object an object of the class is.
int kindOf(const rdbClass* cls) {
    switch (cls->physType) {
        case rdbPhysTypeDIR:
            return KS_DIR;
        case rdbPhysTypeFILE:
        case rdbPhysTypeMEGA:
            return KS_FILE;
        default:
            return KS_ANY;
    }
}

// 0 when the object `path` of the class exists, else 12. A file that the
// look just before found there (the library walk finds each symbol so) is
// taken as there: the open that follows checks what it gets.
int rdbExists(const char* path, const rdbClass* cls) {
    const int kind = kindOf(cls);
    if (kind == KS_FILE && ksLookedRegular(path)) return rdbStatOK;
    return ksExists(path, kind) == KS_OK ? rdbStatOK : rdbStatFAILURE;
}

// The path of the file `file` of `cls` under `base`; with `base`'s
// directory cache on, the listing says whether it exists, and that answer
// is final (`*decided`).
int underObject(rdbObject* base, const rdbClass* cls, const char* file, ksPathBuf& out,
                bool* decided) {
    if (rdbBuildPath2(base->path, cls->defSubdir, file, nullptr, 0, out) != rdbStatOK)
        return rdbStatFAILURE;
    if ((base->flags & rdbFlagCACHE_DIR) && !(rdbPolicy & 64)) {
        *decided = true;
        return rdbiExistsCachedObj(base, cls, file);
    }
    return rdbStatOK;
}

// Directories that are their own absolute path, with a "/" behind: joined
// to a plain file name they give what ksAbsPath2 would make of the whole
// path. Whether a directory is one is a matter of its text alone, so the
// answer never goes stale.
struct TextHash {
    using is_transparent = void;
    size_t operator()(std::string_view s) const { return std::hash<std::string_view>{}(s); }
};
std::unordered_map<std::string, bool, TextHash, std::equal_to<>> absoluteDirs_;

// A file name that ksAbsPath2 leaves as it is behind an absolute
// directory: no separator, no "." or ".." of its own, nothing that trimming
// or the splitting off of an empty extension would change.
bool plainFileName(std::string_view file) {
    if (file.empty() || file == "." || file == ".." || file.back() == '.') return false;
    for (unsigned char c : file)
        if (c <= ' ' || c >= 0x7f || c == '/' || c == '\\') return false;
    return true;
}

// `path`, which ends in the plain file name `file`, as ksAbsPath2 would
// make it absolute, when its directory is known to be absolute already:
// true with `out` filled, else false and `out` untouched.
bool absoluteJoin(const char* path, const char* file, ksPathBuf& out) {
    constexpr size_t kRoom = KS_PATHMAX - 32;  // well inside every limit of ksAbsPath2
    const size_t n = std::strlen(path), f = std::strlen(file);
    if (n >= kRoom || f >= n || std::strcmp(path + n - f, file) != 0 || path[n - f - 1] != '/' ||
        !plainFileName({file, f}))
        return false;
    std::string_view dir(path, n - f);
    auto known = absoluteDirs_.find(dir);
    if (known == absoluteDirs_.end()) {
        // A one-letter name stands for every plain one: ksAbsPath2 treats
        // the last component on its own once it has no separator or dot.
        std::string probe = std::string(dir) + "x";
        ksPathBuf abs;
        bool same = dir.front() == '/' && ksAbsPath2(probe.c_str(), abs) == KS_OK && probe == abs;
        known = absoluteDirs_.emplace(std::string(dir), same).first;
    }
    if (!known->second) return false;
    std::memcpy(out, path, n + 1);
    return true;
}

// Where the file of an object of `cls` named by a reference lies, by the
// relative-path bits of its class: 0 when it exists, 12 when it doesn't
// (`out` holds the path in both cases), or another status.
int rdbiLocateFile(rdbObject* parent, const rdbClass* cls, const char* name, const char* modifier,
                   int32_t version, ksPathBuf& out) {
    out[0] = '\0';
    const uint32_t rel = cls->relPath;
    if (rel == rdbRelPathNONE) return rdbStatFAILURE;
    ksPathBuf file;
    if (int st = rdbiBuildFileName(cls, nullptr, name, modifier, version, file)) return st;
    const bool isFile = cls->physType == rdbPhysTypeFILE;
    if ((rel & rdbRelPathGETINI) && isFile) {
        if (ksGetini(file, out) == KS_OK) return rdbStatOK;
        ktStrncpyNullTerm(out, file, sizeof out);
        return rdbStatFAILURE;
    }
    ksPathBuf path;
    if ((rel & rdbRelPathCWD) && rdbBuildPath(".", file, nullptr, 0, path) == rdbStatOK &&
        rdbExists(path, cls) == rdbStatOK && ksAbsPath2(path, out) == KS_OK)
        return rdbStatOK;
    if ((rel & rdbRelPathKDIR) && isFile && ksSrchkdirs(file, KS_FILE, out) == KS_OK)
        return rdbStatOK;
    ktStrncpyNullTerm(path, file, sizeof path);
    bool decided = false;
    int st = rdbStatOK;
    if ((rel & rdbRelPathPARENT) && parent && parent->path) {
        st = underObject(parent, cls, file, path, &decided);
    } else if ((rel & rdbRelPathGRANDPARENT) && parent && parent->parent && parent->parent->path) {
        st = underObject(parent->parent, cls, file, path, &decided);
    } else if (rel & (rdbRelPathABSOLUTE | rdbRelPathABSMETA)) {
        st = rdbBuildPath(cls->defSubdir, file, nullptr, 0, path);
    }
    if (decided) {
        ktStrncpyNullTerm(out, path, sizeof out);
        return st;
    }
    if (st != rdbStatOK) return rdbStatFAILURE;
    if (!absoluteJoin(path, file, out) && ksAbsPath2(path, out) != KS_OK) return rdbStatFAILURE;
    return rdbExists(out, cls);
}

// The object of the last element under `parent`: an open one, a member of
// a mega library, or a new object at the place of its file.
rdbObject* resolveLast(rdbObject* parent, const rdbiRefElem& e, int* status) {
    int st;
    const char* path = e.path.empty() ? nullptr : e.path.c_str();
    if (rdbObject* open = rdbiFindObj(0, parent, e.cls, e.name.c_str(), path, e.modifier.c_str(),
                                      e.version, &st)) {
        set(status, rdbStatOK);
        return open;
    }
    if (e.name.empty() && !(e.cls->flags & rdbFlagIGNORE_DEFAULT))
        if (rdbObject* current = rdbObjGetCurObj(parent, e.cls)) {
            set(status, rdbStatOK);
            return current;
        }
    ksPathBuf where;
    long offset = -1;
    if (parent->physType == rdbPhysTypeMEGA && !path) {
        offset = rdbiSearchMega(parent, e.cls, e.name.c_str(), e.modifier.c_str(), e.version,
                                nullptr, &where, 1);
        // The index's file is shut between searches; its table stays.
        rdbiMegaOpenTbl(parent, e.cls, 4, &st);
    }
    int found;
    if (offset >= 0) {
        found = rdbStatOK;
    } else if (path) {
        ktStrncpyNullTerm(where, path, sizeof where);
        found = rdbExists(where, e.cls);
    } else {
        found = rdbiLocateFile(parent, e.cls, e.name.c_str(), e.modifier.c_str(), e.version, where);
        if (found != rdbStatOK && found != rdbStatFAILURE) return set(status, found), nullptr;
        if (!*where) return set(status, rdbStatFAILURE), nullptr;
    }
    rdbObject* o = rdbiNewObj(parent, e.cls, e.name.c_str(), e.modifier.c_str(), e.version, where,
                              offset, &st);
    if (!o) return set(status, st), nullptr;
    if (offset >= 0) o->physType = rdbPhysTypeMEGA;
    if (found == rdbStatOK) o->flags |= rdbFlagRDEXISTS;
    set(status, rdbStatOK);
    return o;
}

rdbObject* walk(const rdbiObjref& ref, size_t i, rdbObject* cursor, uint32_t mode, int* status);

// The first library of the view whose name matches `pattern` that holds
// the object; with a create mode, the first writable one. An empty library
// element tries them all, and a name all the lines of that name, as the
// directories of one library.
rdbObject* alongSearchPaths(const rdbiObjref& ref, size_t i, rdbObject* project,
                            const char* pattern, uint32_t mode, int* status) {
    int st;
    for (rdbSearchPath* sp = rdbFindNextSPath(project, nullptr, 0, pattern, &st); sp;
         sp = rdbFindNextSPath(project, sp, 0, pattern, &st)) {
        rdbObject* o = walk(ref, i + 1, sp->object, mode, status);
        if (!o) {
            if (*status == rdbStatNOTEXIST || *status == rdbStatFAILURE) continue;
            return nullptr;
        }
        if (o->state == 0 || (o->flags & rdbFlagEXISTS)) return o;
        rdbiFreeObj(o);
    }
    if (mode & rdbModeCREATE)
        for (rdbSearchPath* sp = rdbFindNextSPath(project, nullptr, 0, pattern, &st); sp;
             sp = rdbFindNextSPath(project, sp, 0, pattern, &st))
            if (rdbObjWritable(sp->object)) return walk(ref, i + 1, sp->object, mode, status);
    return set(status, rdbStatNOTEXIST), nullptr;
}

rdbObject* walk(const rdbiObjref& ref, size_t i, rdbObject* cursor, uint32_t mode, int* status) {
    for (; i < ref.elems.size(); ++i) {
        const rdbiRefElem& e = ref.elems[i];
        if (e.cls == rdbClassMASTERDB) {
            cursor = ref.master->root;
            continue;
        }
        if (!cursor) return set(status, rdbStatBADREF), nullptr;
        if (i + 1 == ref.elems.size()) return resolveLast(cursor, e, status);
        rdbObject* next = nullptr;
        int st = rdbStatNOTEXIST;
        if (e.name.empty()) {
            if (!(e.cls->flags & rdbFlagIGNORE_DEFAULT)) next = rdbObjGetCurObj(cursor, e.cls);
            // No current database: the one whose schema the reference has.
            if (!next && e.cls == rdbClassDATABASE)
                for (rdbDatabase* db = ref.master->databases; db && !next; db = db->next)
                    if (db->schema == ref.schema) next = db->object;
            if (!next && e.cls == rdbClassLIBRARY && cursor->cls == rdbClassPROJECT)
                return alongSearchPaths(ref, i, cursor, "*", mode, status);
            if (!next && e.cls == rdbClassPROJECT) st = rdbStatCURPROJECT;
        } else if (e.cls == rdbClassLIBRARY && cursor->cls == rdbClassPROJECT) {
            return alongSearchPaths(ref, i, cursor, e.name.c_str(), mode, status);
        } else {
            next = rdbiFindObj(0, cursor, e.cls, e.name.c_str(), nullptr, e.modifier.c_str(),
                               e.version, &st);
        }
        if (!next) return set(status, st), nullptr;
        cursor = next;
    }
    return set(status, rdbStatBADREF), nullptr;
}

bool foldCase(uint32_t flags) {
    return flags & (rdbFlagNOCASE | rdbFlagUPCASE);
}

// The parsed reference that rdbMakeTmObjref writes for objects of a class,
// kept once per class: the chain of elements follows from the classes
// alone, so only the texts of the library, the name and the modifier
// change from one object to the next.
struct TmTemplate {
    const rdbMaster* master = nullptr;
    const rdbClass* cls = nullptr;
    bool usable = false;
    rdbiObjref ref;
    size_t library = 0;      // the element of the library
    size_t fixedLength = 0;  // the text's length less library, name and modifier
};
std::vector<TmTemplate> templates_;

const rdbClass* libraryFileClass(const char* subdir) {
    if (!rdbClassLIBRARY || !subdir) return nullptr;
    for (const rdbClassList* n = rdbClassLIBRARY->children; n; n = n->next)
        if (n->cls && n->cls->defSubdir && std::strcmp(n->cls->defSubdir, subdir) == 0)
            return n->cls;
    return nullptr;
}

// A part of a reference that the parse gives back as it is: nothing that
// separates elements or parts of an element.
bool plainRefPart(const char* text) {
    return !text[std::strcspn(text, "/\\:@()")];
}

const TmTemplate* tmTemplate(const rdbClass* cls) {
    for (const TmTemplate& t : templates_)
        if (t.cls == cls && t.master == rdbMasterRDPROJ) return t.usable ? &t : nullptr;
    TmTemplate t;
    t.master = rdbMasterRDPROJ;
    t.cls = cls;
    if (char* text = rdbMakeTmObjref("", "L", cls, "N", nullptr, 0)) {
        t.fixedLength = std::strlen(text) - 2;
        ksPathBuf converted;
        if (rdbiConvertDelim(text, converted) == rdbStatOK &&
            rdbiParseObjref(converted, &t.ref) == rdbStatOK && t.ref.elems.size() > 1) {
            const rdbiRefElem& last = t.ref.elems.back();
            for (size_t i = 0; i + 1 < t.ref.elems.size(); ++i)
                if (t.ref.elems[i].name == "L") t.library = i;
            t.usable = t.library > 0 && last.cls == cls && last.name == "N" &&
                       last.modifier.empty() && last.version == 0 && last.path.empty();
        }
        ktMemFree(text);
    }
    templates_.push_back(std::move(t));
    return templates_.back().usable ? &templates_.back() : nullptr;
}

rdbObject* openResolved(rdbObject* o, uint32_t mode, int* status);

}  // namespace

// ---- Parsing -----------------------------------------------------------------------

int rdbiParseFsRef(const char* text, rdbiObjref* ref) {
    if (!rdbDatabaseFILESYS || !rdbClassDATABASE) return rdbStatINIT;
    std::string_view t = text;
    const bool dir = t.back() == '/';
    ksPathBuf abs;
    if (ksAbsPath2(text, abs) != KS_OK) return rdbStatBADREF;
    size_t n = std::strlen(abs);
    if (n > 1 && abs[n - 1] == '/') abs[--n] = '\0';
    std::string_view base = dir ? t.substr(0, t.size() - 1) : t;
    size_t slash = base.rfind('/');
    if (slash != std::string_view::npos) base.remove_prefix(slash + 1);
    ref->master = rdbMasterRDPROJ;
    ref->database = rdbDatabaseFILESYS;
    ref->schema = rdbSchemaFILESYS;
    ref->elems.clear();
    ref->elems.push_back({rdbClassDATABASE, rdbDatabaseFILESYS->name, {}, 0, {}});
    ref->elems.push_back({dir ? rdbClassDIRECTORY : rdbClassFILE, std::string(base), {}, 0, abs});
    return completeChain(ref);
}

int rdbiParseObjref(const char* text, rdbiObjref* ref) {
    if (!rdbMasterRDPROJ) return rdbStatINIT;
    if (!text || !*text) return rdbStatNULLREF;
    if (std::strlen(text) >= kMaxRef) return rdbStatLONGREF;
    if (!std::strchr(text, ':')) return rdbiParseFsRef(text, ref);
    *ref = rdbiObjref{};
    ref->master = rdbMasterRDPROJ;
    std::string_view rest = text;
    if (rest.front() == '/') rest.remove_prefix(1);
    for (;;) {
        size_t slash = rest.find('/');
        std::string_view piece = rest.substr(0, slash);
        if (piece.empty()) return rdbStatBADREF;
        rdbiRefElem e{};
        std::string clsName;
        if (int st = parseElement(piece, &clsName, &e)) return st;
        if (clsName.empty())
            e.cls = rdbClassWILD;
        else if (!ref->database)
            e.cls = rdbiFindClass(ref->master, clsName.c_str());
        else
            e.cls = rdbGetClassId(ref->database->schema, clsName.c_str());
        if (!e.cls) return rdbStatBADCLASS;
        if (e.cls == rdbClassMASTERDB && !e.name.empty()) {
            ref->master = rdbiFindMaster(e.name.c_str());
            if (!ref->master || !ref->master->root) return rdbStatBADREF;
        }
        if (e.cls == rdbClassDATABASE && !e.name.empty()) {
            ref->database = rdbiFindDatabase(ref->master, e.name.c_str());
            if (!ref->database) return rdbStatBADREF;
        }
        ref->elems.push_back(std::move(e));
        if (slash == std::string_view::npos) break;
        rest.remove_prefix(slash + 1);
    }
    ref->schema = ref->database ? ref->database->schema : nullptr;
    for (size_t i = 0; !ref->schema && i < ref->elems.size(); ++i)
        ref->schema = schemaOf(ref->master, ref->elems[i].cls);
    if (!ref->schema) return rdbStatBADREF;
    return completeChain(ref);
}

rdbObject* rdbiResolveRef(rdbObject* base, const char* text, uint32_t mode, int* status) {
    if (!rdbMasterRDPROJ) return set(status, rdbStatINIT), nullptr;
    if (!text || !*text) return set(status, rdbStatNULLREF), nullptr;
    if (std::strlen(text) >= kMaxRef) return set(status, rdbStatLONGREF), nullptr;
    ksPathBuf converted;
    if (rdbiConvertDelim(text, converted) != rdbStatOK) return set(status, rdbStatBADREF), nullptr;
    rdbiObjref ref;
    if (int st = rdbiParseObjref(converted, &ref)) return set(status, st), nullptr;
    // A base object starts the walk below itself: the elements up to its
    // class are taken as its own.
    size_t from = 0;
    if (base) {
        while (from < ref.elems.size() && ref.elems[from].cls != base->cls) ++from;
        if (from == ref.elems.size()) return set(status, rdbStatBADREF), nullptr;
        ++from;
    }
    return walk(ref, from, base, mode, status);
}

// ---- Names and places of files -----------------------------------------------------

int rdbiBuildFileName(const rdbClass* cls, const rdbObject* object, const char* name,
                      const char* modifier, int32_t version, ksPathBuf& out) {
    out[0] = '\0';
    if (!name || !*name)
        name = (cls->flags & rdbFlagRELNAME) && object ? object->name : cls->defName;
    if (!modifier || !*modifier) modifier = cls->defModifier;
    if (!name) name = "";
    if (!modifier) modifier = "";
    if (std::strlen(name) > kMaxRef) return rdbStatNAMELEN;
    if (std::strlen(modifier) > kMaxRef) return rdbStatEXTLEN;
    if (version > kMaxVersion) return rdbStatBADVERSION;
    std::string file = name;
    if (*modifier) file.append(".").append(modifier);
    if (file.size() >= sizeof out) return rdbStatNAMELEN;
    std::memcpy(out, file.c_str(), file.size() + 1);
    if (cls->flags & rdbFlagUPCASE) ktStrUpc(out);
    if (cls->flags & rdbFlagDNCASE) ktStrLoc(out);
    return rdbStatOK;
}

int rdbiBuildFileSpec(rdbObject* parent, const rdbClass* cls, const char* name,
                      const char* modifier, int32_t version, ksPathBuf& out) {
    if (cls->physType != rdbPhysTypeDIR && cls->physType != rdbPhysTypeFILE &&
        cls->physType != rdbPhysTypeMEGA)
        return rdbStatBADCLASS;
    ksPathBuf file;
    if (int st = rdbiBuildFileName(cls, parent, name, modifier, version, file)) return st;
    if ((cls->relPath & rdbRelPathPARENT) && parent && parent->path)
        return rdbBuildPath2(parent->path, cls->defSubdir, file, nullptr, 0, out);
    if ((cls->relPath & rdbRelPathGRANDPARENT) && parent && parent->parent && parent->parent->path)
        return rdbBuildPath2(parent->parent->path, cls->defSubdir, file, nullptr, 0, out);
    return rdbBuildPath(cls->defSubdir, file, nullptr, 0, out);
}

int rdbBuildPath(const char* dir, const char* name, const char* modifier, int32_t version,
                 ksPathBuf& out) {
    return rdbBuildPath2(dir, nullptr, name, modifier, version, out);
}

int rdbBuildPath2(const char* dir, const char* subdir, const char* name, const char* modifier,
                  int32_t version, ksPathBuf& out) {
    out[0] = '\0';
    if (version > kMaxVersion) return rdbStatFAILURE;
    // Built in place: it is asked for each library a look-up passes.
    size_t n = 0;
    auto append = [&](const char* text, size_t length) {
        if (n + length >= sizeof out) return false;
        std::memcpy(out + n, text, length);
        n += length;
        return true;
    };
    bool fits = true;
    for (const char* level : {dir, subdir}) {
        if (!level || !*level) continue;
        size_t length = std::strlen(level);
        fits = fits && append(level, length);
        if (level[length - 1] != '/') fits = fits && append("/", 1);
    }
    if (name) fits = fits && append(name, std::strlen(name));
    if (modifier && *modifier) fits = fits && append(".", 1) && append(modifier, std::strlen(modifier));
    // A cut path would name another file.
    if (!fits) {
        out[0] = '\0';
        return rdbStatFAILURE;
    }
    out[n] = '\0';
    return rdbStatOK;
}

int rdbiConvertDelim(const char* path, ksPathBuf& out) {
    if (!path || std::strlen(path) >= sizeof out) return rdbStatFAILURE;
    return ksConvPath(path, out) == KS_OK ? rdbStatOK : rdbStatFAILURE;
}

int rdbiAbsRpath(const char* path, ksPathBuf& out) {
    if (!path || !*path || ksAbsPath2(path, out) != KS_OK) return rdbStatBADREF;
    size_t n = std::strlen(out);
    if (n > 1 && out[n - 1] == '/') out[n - 1] = '\0';
    return rdbStatOK;
}

// ---- The interface ---------------------------------------------------------------------

char* rdbMakeTmObjref(const char* project, const char* library, const rdbClass* cls,
                      const char* name, const char* modifier, int32_t version) {
    if (!cls || (cls->flags & rdbiFlagPROTECTED) || !rdbClassDATABASE || !rdbClassPROJECT ||
        !rdbClassLIBRARY)
        return nullptr;
    if (version > kMaxVersion || version < -1) return nullptr;
    auto text = [](const char* t) { return t ? t : ""; };
    std::string ref = std::string(rdbClassDATABASE->name) + ":Tesmark/" + rdbClassPROJECT->name +
                      ":" + text(project) + "/" + rdbClassLIBRARY->name + ":" + text(library) +
                      "/" + cls->name + ":" + text(name);
    if (modifier && *modifier) ref.append("@").append(modifier);
    if (version == -1) ref += "(*)";
    if (version > 0) ref += "(" + std::to_string(version) + ")";
    if (ref.size() > kMaxRef) return nullptr;
    auto* copy = static_cast<char*>(ktMemMalloc(ref.size() + 1, "UserString"));
    std::memcpy(copy, ref.c_str(), ref.size() + 1);
    return copy;
}

char* rdbMakeTmObjref2(const char* library, const char* subdir, const char* name,
                       const char* modifier) {
    if (!rdbClassLIBRARY || !subdir) return nullptr;
    for (const rdbClassList* n = rdbClassLIBRARY->children; n; n = n->next)
        if (n->cls && n->cls->defSubdir && std::strcmp(n->cls->defSubdir, subdir) == 0)
            return rdbMakeTmObjref("", library ? library : "", n->cls, name, modifier, 0);
    return nullptr;
}

int rdbMatch(const char* pattern, const char* text, uint32_t flags) {
    if (!text) return pattern && std::strcmp(pattern, "*") == 0;
    if (!pattern || !*pattern) return !*text;
    if (!foldCase(flags)) return ktStrMat(pattern, text);
    return ktStrMatFolded(pattern, text) != 0;
}

rdbObject* rdbOpenObject(const char* reference, uint32_t mode, int* status) {
    return openResolved(rdbiResolveRef(nullptr, reference, mode, status), mode, status);
}

rdbObject* rdbiOpenTmObject(const char* library, const char* subdir, const char* name,
                            const char* modifier, uint32_t mode, int* status) {
    if (!library) library = "";
    if (!name) name = "";
    if (!modifier) modifier = "";
    const rdbClass* cls = libraryFileClass(subdir);
    const TmTemplate* t = cls && rdbMasterRDPROJ ? tmTemplate(cls) : nullptr;
    const size_t length = t ? t->fixedLength + std::strlen(library) + std::strlen(name) +
                                  (*modifier ? 1 + std::strlen(modifier) : 0)
                            : kMaxRef;
    if (length >= kMaxRef || !plainRefPart(library) || !plainRefPart(name) ||
        !plainRefPart(modifier)) {
        char* ref = rdbMakeTmObjref2(library, subdir, name, modifier);
        if (!ref) return set(status, rdbStatNULLREF), nullptr;
        rdbObject* o = rdbOpenObject(ref, mode, status);
        ktMemFree(ref);
        return o;
    }
    rdbiObjref ref = t->ref;
    ref.elems[t->library].name = library;
    ref.elems.back().name = name;
    ref.elems.back().modifier = modifier;
    return openResolved(walk(ref, 0, nullptr, mode, status), mode, status);
}

void rdbiForgetTmRefs() {
    templates_.clear();
}

namespace {

rdbObject* openResolved(rdbObject* o, uint32_t mode, int* status) {
    if (!o) return nullptr;
    if (*status == rdbStatOK && o->state != 3) {
        *status = rdbStatOPEN;
        return o;
    }
    if (!(o->flags & rdbFlagEXISTS) && !(mode & rdbModeCREATE)) {
        rdbiFreeObj(o);
        *status = rdbStatNOTEXIST;
        return nullptr;
    }
    int st = rdbiValidOpenObj(o->parent);
    if (st != rdbStatOK) {
        rdbiFreeObj(o);
        *status = st == rdbStatNOTOPEN || st == rdbStatBADID ? rdbStatPARENT : st;
        return nullptr;
    }
    o = rdbiOpenObj(o, mode, status);
    if (o->state == 3) {
        rdbiFreeObj(o);
        return nullptr;
    }
    return o;
}

}  // namespace
