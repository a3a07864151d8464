// Projects and views: the project of a directory, the editor's library
// list as search paths, and the walks over them.
#include "rdb_view.h"

#include <cctype>
#include <algorithm>
#include <cstring>
#include <vector>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>

#include "kspath.h"
#include "kssrch.h"
#include "ktdufs.h"
#include "ktmem.h"
#include "ktstr.h"
#include "rdb_api.h"
#include "rdb_model.h"
#include "rdb_obj.h"
#include "rdb_ref.h"

namespace {

constexpr const char* kDelims = " \t\b\r\n\v";
constexpr size_t kLine = 512;     // a line of the ini file, terminator included
constexpr size_t kAccessMax = 5;  // token limits, terminator included
constexpr size_t kPathMax = 256;
constexpr size_t kNameMax = 33;  // an alias or library type, brackets off
constexpr uint32_t kViewHasPaths = 64;

int set(int* status, int value) {
    if (status) *status = value;
    return value;
}

void freeText(char* text) {
    if (text) ktStrFree(text);
}

// The next token of `rest`, whole; false when only delimiters are left.
bool nextToken(std::string_view& rest, std::string_view* token) {
    size_t start = rest.find_first_not_of(kDelims);
    if (start == std::string_view::npos) return false;
    rest.remove_prefix(start);
    size_t end = rest.find_first_of(kDelims);
    *token = rest.substr(0, end);
    rest.remove_prefix(token->size());
    return true;
}

bool allOf(std::string_view text, int (*test)(int)) {
    for (char c : text)
        if (!test(static_cast<unsigned char>(c))) return false;
    return true;
}

bool enclosed(std::string_view token, char open, char close) {
    return token.size() >= 2 && token.front() == open && token.back() == close;
}

// The access bits of an access token: 0 or 32.
int readAccess(std::string_view token, uint32_t* access) {
    // A longer token is cut to its limit, as every token of the line.
    token = token.substr(0, kAccessMax - 1);
    std::string_view inner = token;
    if (enclosed(token, '[', ']')) {
        inner = token.substr(1, token.size() - 2);
        if (!allOf(inner, isalnum)) return rdbStatDIRTYPE;
    } else if (token.empty() || !allOf(token, isdigit)) {
        return rdbStatDIRTYPE;
    }
    if (!inner.empty() && allOf(inner, isdigit)) {
        int value = 0;
        for (char c : inner) value = value * 10 + (c - '0');
        if (value > 20) return rdbStatDIRTYPE;
        *access = value == 0   ? uint32_t{rdbAccessPRIMARY}
                  : value <= 5 ? 0u
                               : uint32_t{rdbAccessREADONLY};
        return rdbStatOK;
    }
    if (inner.empty()) return rdbStatDIRTYPE;
    // Letters add up, so that r with m makes the value of no valid access.
    bool seen[4] = {};  // m p r w
    uint32_t sum = 0;
    for (char c : inner.substr(0, 3)) {
        switch (std::tolower(static_cast<unsigned char>(c))) {
            case 'm':
                sum += 6, seen[0] = true;
                break;
            case 'p':
                sum += 1, seen[1] = true;
                break;
            case 'r':
                sum += 2, seen[2] = true;
                break;
            case 'w':
                seen[3] = true;
                break;
            default:
                return rdbStatDIRTYPE;
        }
    }
    const bool m = seen[0], p = seen[1], r = seen[2], w = seen[3];
    if ((r && w) || (r && p) || (w && m) || (m && p)) return rdbStatDIRTYPE;
    *access = sum;
    return rdbStatOK;
}

int readPath(std::string_view token, std::string* path) {
    if (token.empty() || token.size() >= kPathMax) return rdbStatPATHFORMAT;
    if (std::strchr("([{", token.front()) || std::strchr(")]}", token.back()))
        return rdbStatPATHFORMAT;
    ksPathBuf converted;
    if (rdbiConvertDelim(std::string(token).c_str(), converted) != rdbStatOK)
        return rdbStatPATHFORMAT;
    *path = converted;
    if (path->size() > 1 && path->back() == '/') path->pop_back();
    return rdbStatOK;
}

// A text in brackets, shorter than a name may be.
int readBracketed(std::string_view token, char open, char close, std::string* out, int fault) {
    if (!enclosed(token, open, close)) return fault;
    std::string_view inner = token.substr(1, token.size() - 2);
    *out = inner;
    return inner.size() < kNameMax ? rdbStatOK : fault;
}

// The tokens of a DIR line behind its word; the first fault counts.
int parseDirLine(std::string_view rest, rdbiDirLine* out) {
    int fault = rdbStatOK;
    auto note = [&fault](int st) {
        if (!fault) fault = st;
    };
    std::string_view token;
    if (!nextToken(rest, &token)) return rdbStatPATHDEFAULT;
    note(readAccess(token, &out->access));
    if (!nextToken(rest, &token)) {
        note(rdbStatPATHFORMAT);
        return fault;
    }
    note(readPath(token, &out->path));
    if (!nextToken(rest, &token) || token.front() == '|') return fault;
    if (token.front() != '{') {
        note(readBracketed(token, '(', ')', &out->alias, rdbStatLIBNAME));
        if (!nextToken(rest, &token) || token.front() == '|') return fault;
    }
    note(readBracketed(token, '{', '}', &out->type, rdbStatLIBTYPE));
    if (nextToken(rest, &token) && token.front() != '|') note(rdbStatPATHDEFAULT);
    return fault;
}

rdbView* viewOf(rdbObject* object, const char* name) {
    if (!name || !*name) return object->curView;
    return rdbiFindView(object->views, name);
}

rdbSearchPath* newSPath(rdbView* view, const char* path, const char* alias, uint32_t access,
                        const char* libType, int sortKey, int line, int status,
                        rdbObject* library) {
    auto* s = static_cast<rdbSearchPath*>(ktMemCalloc(1, sizeof(rdbSearchPath), "rdbSearchPath"));
    s->kind = rdbKindSPATH;
    s->sortKey = sortKey;
    s->name = ktStrCpy(alias ? alias : "");
    s->object = library;
    s->status = status;
    s->access = access;
    s->line = line;
    s->view = view;
    s->libType = ktStrCpy(libType ? libType : "");
    s->path = ktStrCpy(path ? path : "");
    return s;
}

// The search paths of one view by the names they answer to (the library's
// name and the aliases), in capitals, each name with its paths in the
// order of the view: a library named in a reference is found without a
// walk over every line of a long library list. Any change to a list of
// search paths makes it be built again.
struct SPathIndex {
    const rdbView* view = nullptr;
    uint64_t epoch = 0;
    size_t paths = 0;  // the view's search paths
    std::unordered_map<std::string, std::vector<rdbSearchPath*>> byName;
};
// Up to this many search paths a walk costs less than the look-up.
constexpr size_t kFewSPaths = 8;
SPathIndex index_;
uint64_t spathEpoch_ = 1;

std::string capitals(const char* text) {
    std::string out = text ? text : "";
    ktStrUpc(out.data());
    return out;
}

// The search paths of `view` that may answer to `pattern`, a name with no
// wildcard; each still has to be matched by its own case rule. Null for a
// view of so few that a walk is cheaper.
const std::vector<rdbSearchPath*>* namedSPaths(const rdbView* view, const char* pattern) {
    if (index_.view != view || index_.epoch != spathEpoch_) {
        index_.byName.clear();
        index_.view = view;
        index_.epoch = spathEpoch_;
        index_.paths = 0;
        for (rdbSearchPath* s = view->spaths; s; s = s->next) {
            ++index_.paths;
            if (!s->object) continue;
            auto add = [&](const char* name) {
                std::vector<rdbSearchPath*>& list = index_.byName[capitals(name)];
                if (list.empty() || list.back() != s) list.push_back(s);
            };
            add(s->object->name);
            for (const char* a : s->aliases)
                if (a) add(a);
        }
    }
    if (index_.paths <= kFewSPaths) return nullptr;
    auto found = index_.byName.find(capitals(pattern));
    static const std::vector<rdbSearchPath*> none;
    return found == index_.byName.end() ? &none : &found->second;
}

bool spathMatches(const rdbSearchPath* s, const char* pattern) {
    if (!s->object) return false;
    const uint32_t rule = s->object->cls ? s->object->cls->flags : 0;
    if (rdbMatch(pattern, s->object->name ? s->object->name : "", rule)) return true;
    for (const char* a : s->aliases)
        if (a && rdbMatch(pattern, a, rule)) return true;
    return false;
}

// Adds a search path at the end of the view's list.
void rdbiInsSPID(rdbView* view, rdbSearchPath* s) {
    rdbiSPathsChanged();
    // A list of thousands of lines is appended to at its end, known.
    rdbSearchPath* prev = view->spaths ? view->lastSPath : nullptr;
    if (view->spaths && (!prev || prev->next)) {
        prev = view->spaths;
        while (prev->next) prev = prev->next;
    }
    s->prev = prev;
    (prev ? prev->next : view->spaths) = s;
    view->lastSPath = s;
    view->flags |= kViewHasPaths;
}

// Orders the search paths by their sort key, keeping the file's order among
// equal keys.
void sortSPaths(rdbView* view) {
    rdbiSPathsChanged();
    std::vector<rdbSearchPath*> all;
    for (rdbSearchPath* s = view->spaths; s; s = s->next) all.push_back(s);
    std::stable_sort(all.begin(), all.end(), [](const rdbSearchPath* a, const rdbSearchPath* b) {
        return a->sortKey < b->sortKey;
    });
    rdbSearchPath* prev = nullptr;
    view->spaths = nullptr;
    for (rdbSearchPath* s : all) {
        s->prev = prev;
        s->next = nullptr;
        (prev ? prev->next : view->spaths) = s;
        prev = s;
    }
    view->lastSPath = prev;
}

// Makes the subdirectories that the view's classes keep in a library.
int rdbiCreateViewSubdirs(rdbObject*, rdbObject* library, rdbView* view) {
    for (const rdbClassList* n = view->classes; n; n = n->next) {
        const rdbClass* c = n->cls;
        if (!c || !(c->flags & rdbFlagCREATE_VIEW_DIR) || !c->defSubdir || !*c->defSubdir) continue;
        ksPathBuf dir;
        if (rdbBuildPath(library->path, c->defSubdir, nullptr, 0, dir) != rdbStatOK)
            return rdbStatCREATE;
        if (ksExists(dir, KS_DIR) != KS_OK && rdbiCreateDir(dir) != rdbStatOK) return rdbStatCREATE;
    }
    return rdbStatOK;
}

// Closes the libraries of a view and forgets its search paths.
void rdbCloseView(rdbView* view) {
    if (view->spaths) rdbiSPathsChanged();
    while (rdbSearchPath* s = view->spaths) {
        view->spaths = s->next;
        if (s->object && s->object->kind == rdbKindOBJECT) rdbiCloseObj(s->object, rdbModeFREE);
        freeText(s->name);
        freeText(s->libType);
        freeText(s->path);
        for (char* a : s->aliases) freeText(a);
        ktMemFree(s);
    }
    view->lastSPath = nullptr;
    view->flags &= ~kViewHasPaths;
}

bool isBuiltin(const char* path) {
    char last[KS_PATHMAX];
    return path && ksParse2(path, nullptr, nullptr, last) == KS_OK &&
           ktStrIcmp(last, "builtin") == 0;
}

// Reads the DIR lines of the view's open ini file into search paths.
int rdbiReadTmviewIni(rdbObject* project, rdbView* view) {
    FILE* f = view->iniObject->file ? view->iniObject->file->stream : nullptr;
    if (!f) return rdbStatOPENERR;
    int result = rdbStatOK, lines = 0;
    for (;;) {
        rdbiDirLine l;
        int st = rdbiReadDirLine(f, &l, &lines);
        if (st == rdbStatEOF) break;
        if (st != rdbStatOK) {
            rdbiInsSPID(view, newSPath(view, l.path.c_str(), l.alias.c_str(), l.access,
                                       l.type.c_str(), -1, l.line, st, nullptr));
            result = rdbStatLIBERRORS;
            continue;
        }
        rdbSearchPath* s = rdbInsSPID(project, nullptr, view->name, l.path.c_str(), l.alias.c_str(),
                                      l.access, l.type.c_str(), -1, l.line, &st);
        if (st != rdbStatOK) result = rdbStatLIBERRORS;
        if (!s) continue;
        if ((rdbClassLIBRARY->flags & rdbFlagTMVIEW_NAME) && !l.alias.empty() &&
            !rdbiAliasOK(l.alias.c_str())) {
            s->status = rdbStatLIBNAME;
            if (s->object) rdbiCloseObj(s->object, rdbModeFREE);
            s->object = nullptr;
            result = rdbStatLIBERRORS;
        }
        if (s->object && (!s->object->name || !*s->object->name) && isBuiltin(s->object->path)) {
            freeText(s->object->name);
            s->object->name = ktStrCpy("builtin");
            freeText(s->name);
            s->name = ktStrCpy("builtin");
        }
    }
    sortSPaths(view);
    return result;
}

// The next search path after `s`: of the current view, or, without one,
// of every view of libraries that isn't disabled.
rdbSearchPath* rdbNextSPath(rdbObject* project, rdbSearchPath* s) {
    if (project->curView) return s ? s->next : project->curView->spaths;
    if (s && s->next) return s->next;
    rdbView* v = s ? s->view->next : project->views;
    for (; v; v = v->next)
        if (!(v->flags & rdbViewFlagDISABLED) && v->viewClass == rdbClassLIBRARY && v->spaths)
            return v->spaths;
    return nullptr;
}

// The ini object of a view: of the view's own file, or of `ini`.
rdbObject* iniObject(rdbObject* object, rdbView* v, const char* ini, int* status) {
    if (!ini) {
        char* path = rdbFindIni(object, v->name, status);
        if (!path) return nullptr;
        rdbObject* o = rdbiNewObj(object, v->iniClass, v->iniClass->defName,
                                  v->iniClass->defModifier, 0, path, -1, status);
        ktStrFree(path);
        if (o) o->flags |= rdbFlagRDEXISTS;
        return o;
    }
    rdbObject* o = rdbiResolveRef(nullptr, ini, 0, status);
    if (!o) return nullptr;
    ksPathBuf found;
    // A plain path names the view's file where the search for support
    // files finds it.
    if (o->database == rdbDatabaseFILESYS && o->path && ksGetini(o->path, found) == KS_OK) {
        rdbObject* in =
            rdbiNewObj(object, v->iniClass, o->name, o->modifier, o->version, found, -1, status);
        if (o->state == 3) rdbiFreeObj(o);
        if (!in) return nullptr;
        in->flags |= rdbFlagRDEXISTS;
        o = in;
    }
    if (!(o->flags & rdbFlagEXISTS)) {
        if (o->state == 3) rdbiFreeObj(o);
        set(status, rdbStatNOINI);
        return nullptr;
    }
    return o;
}

}  // namespace

int rdbiAliasOK(const char* alias) {
    if (!alias || !std::isalpha(static_cast<unsigned char>(*alias))) return 0;
    for (const char* c = alias; *c; ++c) {
        if (*c == '_' && c[1] == '_') return 0;
        if (*c != '_' && !std::isalnum(static_cast<unsigned char>(*c))) return 0;
    }
    return 1;
}

int rdbiReadDirLine(FILE* stream, rdbiDirLine* out, int* lines) {
    char buf[kLine];
    const char* rest = nullptr;
    while (!rest) {
        if (!ktDufsFgets(buf, sizeof buf, stream)) return rdbStatEOF;
        ++*lines;
        size_t n = std::strlen(buf);
        // The rest of a longer line is cut off, not read as a line of its own.
        if (n == sizeof buf - 1 && buf[n - 1] != '\n')
            for (int c; (c = std::fgetc(stream)) != EOF && c != '\n';) {
            }
        const char* word = ktStrBlk(buf);
        size_t len = std::strcspn(word, kDelims);
        if (len == 0 || word[0] == '|') continue;
        if (len == 3 && ktStrNicmp(word, "dir", 3) == 0) rest = word + len;
    }
    *out = rdbiDirLine{};
    out->line = *lines;
    return parseDirLine(rest, out);
}

rdbSearchPath* rdbInsSPID(rdbObject* project, rdbSearchPath*, const char* viewname,
                          const char* path, const char* alias, uint32_t access, const char* libType,
                          int sortKey, int line, int* status) {
    *status = rdbStatOK;
    if (rdbiValidOpenObj(project) != rdbStatOK) return set(status, rdbStatBADPROJECT), nullptr;
    rdbView* v = viewOf(project, viewname);
    if (!v) return set(status, rdbStatBADVIEW), nullptr;
    const bool named = alias && *alias;
    const bool writable = access == 0 || (access & rdbAccessPRIMARY);
    if (((v->flags & rdbViewFlagSP_NO_WRITE) && writable) ||
        ((v->flags & rdbViewFlagSP_NO_MEGA) && (access & rdbAccessMEGA)) ||
        ((v->flags & rdbViewFlagSP_NO_PRIM) && (access & rdbAccessPRIMARY)) ||
        ((v->flags & rdbViewFlagSP_NAME_REQ) && !named))
        return set(status, rdbStatDIRTYPE), nullptr;
    int noted = rdbStatOK;
    if (access & rdbAccessPRIMARY)
        for (rdbSearchPath* s = v->spaths; s; s = s->next)
            if (s->access & rdbAccessPRIMARY) noted = rdbStatTWOPRIMARY;
    uint32_t mode = 0;
    if (writable)
        mode = rdbModeRW | rdbModeCREATE;
    else if (access & (rdbAccessREADONLY | rdbAccessMEGA))
        mode = (rdbPolicy & 32) ? rdbModeREAD | rdbModeCREATE : rdbModeREAD;
    else
        noted = rdbStatDIRTYPE;

    int st;
    rdbObject* lib =
        rdbiNewObj(project, v->viewClass, named ? alias : "*", nullptr, 0, path, -1, &st);
    if (!lib) return set(status, st), nullptr;
    lib = rdbiOpenObj(lib, mode, &st);
    if (lib->state == 3) {
        rdbiFreeObj(lib);
        return set(status, noted ? noted : st), nullptr;
    }
    if (st == rdbStatOPEN)
        for (rdbSearchPath* s = v->spaths; s; s = s->next)
            if (s->object == lib) {
                // The list has this library already.
                rdbSearchPath* twin =
                    newSPath(v, path, alias, access, libType, sortKey, line, rdbStatOPEN, nullptr);
                rdbiInsSPID(v, twin);
                return twin;
            }
    if (!named) {
        freeText(lib->name);
        lib->name = ktStrCpy("");
    }
    if (access & rdbAccessMEGA) lib->physType = rdbPhysTypeMEGA;
    if (lib->status != rdbStatOK && lib->status != rdbStatOPEN) *status = rdbStatLIBERRORS;
    if ((writable || (rdbPolicy & 32)) && rdbiCreateViewSubdirs(project, lib, v) != rdbStatOK)
        *status = rdbStatCREATE;
    if (noted) {
        lib->status = noted;
        *status = rdbStatLIBERRORS;
    }
    rdbSearchPath* s = newSPath(v, path, alias, access, libType, sortKey, line, lib->status, lib);
    rdbiInsSPID(v, s);
    return s;
}

rdbSearchPath* rdbGetSPID(rdbObject* project, rdbObject* library, int* status) {
    set(status, rdbStatOK);
    if (!library) return nullptr;
    if (project->curView)
        for (rdbSearchPath* s = project->curView->spaths; s; s = s->next)
            if (s->object == library) return s;
    return set(status, rdbStatBADLIB), nullptr;
}

// ---- The interface ---------------------------------------------------------------------

rdbObject* rdbOpenPhysObj(rdbObject* parent, const char* classname, const char* path,
                          const char* name, const char* modifier, int32_t version, uint32_t mode,
                          int* status) {
    int st = rdbiValidOpenObj(parent);
    if (st != rdbStatOK) return set(status, st == rdbStatNOTOPEN ? rdbStatPARENT : st), nullptr;
    rdbClass* cls = rdbGetClassId(parent->database ? parent->database->schema : nullptr, classname);
    if (!cls) return set(status, rdbStatBADCLASS), nullptr;
    ksPathBuf abs;
    if (!path || !*path || rdbiAbsRpath(path, abs) != rdbStatOK)
        return set(status, rdbStatBADREF), nullptr;
    rdbObject* o = rdbiNewObj(parent, cls, name, modifier, version, abs, -1, status);
    if (!o) return nullptr;
    o = rdbiOpenObj(o, mode, status);
    if (o->state != 3) return o;
    rdbiFreeObj(o);
    return nullptr;
}

rdbObject* rdbOpenProject(const char* dir, const char* name, const char* view, uint32_t mode,
                          int* status) {
    if (!rdbMasterRDPROJ || !rdbTmDatabaseID) return set(status, rdbStatINIT), nullptr;
    if (!dir || !*dir) return set(status, rdbStatBADREF), nullptr;
    ksPathBuf where, abs;
    ktStrncpyNullTerm(where, dir, sizeof where);
    size_t n = std::strlen(where);
    if (n > 1 && where[n - 1] == '/') where[n - 1] = '\0';
    char last[KS_PATHMAX] = "";
    if (!name) {
        if (rdbiAbsRpath(where, abs) != rdbStatOK) return set(status, rdbStatBADREF), nullptr;
        ksParse2(abs, nullptr, nullptr, last);
        name = last;
    }
    rdbObject* project = rdbOpenPhysObj(rdbTmDatabaseID, "rdbClassPROJECT", where, name, nullptr, 0,
                                        mode | rdbModeRETURN, status);
    if (!project || project->state == 3) return project;
    if (view && *view) {
        int st = rdbInitView(project, view, nullptr);
        if (st != rdbStatOK) *status = st;
    }
    rdbObjSetCurObj(rdbTmDatabaseID, project);
    return project;
}

int rdbInitView(rdbObject* object, const char* viewName, const char* ini) {
    if (int st = rdbiValidOpenObj(object)) return st;
    rdbView* v = rdbiFindView(object->views, viewName);
    if (!v) return rdbStatBADVIEW;
    if (!v->iniClass) return rdbStatOK;
    object->curView = v;
    int st = rdbStatOK;
    rdbObject* in = iniObject(object, v, ini, &st);
    if (!in) return st;
    in->flags |= rdbFlagRDEXISTS;
    in = rdbiOpenObj(in, rdbModeREAD, &st);
    if (in->state == 3) {
        rdbiFreeObj(in);
        return st;
    }
    if (st == rdbStatOPEN) {
        // The file is open already: read it again from its start.
        if (v->flags & kViewHasPaths) rdbCloseView(v);
        if ((st = rdbReopenObj(in, 0)) != rdbStatOK || (st = rdbReopenObj(in, rdbModeREAD)))
            return st;
    } else if (st != rdbStatOK) {
        return st;
    }
    v->iniObject = in;
    // Only ini files of DIR lines are read in this system; the master
    // database gives its view no other kind.
    int result =
        (v->iniClass->flags & rdbFlagTMVIEW_INI) ? rdbiReadTmviewIni(object, v) : rdbStatFAILURE;
    rdbReopenObj(in, 0);
    int primaries = 0;
    for (rdbSearchPath* s = v->spaths; s; s = s->next)
        if ((s->access & rdbAccessPRIMARY) && s->object) ++primaries;
    if (primaries == 0 && !(v->flags & rdbViewFlagSP_NO_PRIM)) return rdbStatNOPRIMARY;
    if (primaries > 1) return rdbStatTWOPRIMARY;
    return result;
}

char* rdbFindIni(rdbObject* object, const char* viewname, int* status) {
    rdbView* v = rdbiFindView(object->views, viewname);
    if (!v) return set(status, rdbStatBADVIEW), nullptr;
    const rdbClass* cls = v->iniClass;
    if (!cls) return set(status, rdbStatNOINI), nullptr;
    ksPathBuf spec, found;
    if (rdbiBuildFileSpec(object, cls, nullptr, nullptr, 0, spec) == rdbStatOK &&
        ksExists(spec, KS_FILE) == KS_OK && ksAbsPath2(spec, found) == KS_OK)
        return set(status, rdbStatOK), ktStrCpy(found);
    if (rdbiBuildFileSpec(nullptr, cls, nullptr, nullptr, 0, spec) != rdbStatOK ||
        ksGetini(spec, found) != KS_OK || ksAbsPath(found) != KS_OK)
        return set(status, rdbStatNOINI), nullptr;
    if (v->flags & rdbViewFlagINI_NO_COPY) return set(status, rdbStatOK), ktStrCpy(found);
    // The project works on a copy of its own.
    ksPathBuf file, copy;
    if (rdbiBuildFileName(cls, object, nullptr, nullptr, 0, file) != rdbStatOK ||
        rdbBuildPath(object->path, file, nullptr, 0, copy) != rdbStatOK)
        return set(status, rdbStatCOPY), nullptr;
    if (int st = ksCopy(found, copy); st != KS_OK)
        return set(status, st == KS_IOERROR ? rdbStatDISKFULL : rdbStatCOPY), nullptr;
    return set(status, rdbStatOK), ktStrCpy(copy);
}

rdbObject* rdbFindNextLib(rdbObject* project, rdbObject* previous, const char* pattern,
                          int* status) {
    if (rdbiValidOpenObj(project) != rdbStatOK) return set(status, rdbStatBADPROJECT), nullptr;
    if (project->cls != rdbClassPROJECT) return set(status, rdbStatBADPROJECT), nullptr;
    if (!project->curView) return set(status, rdbStatBADVIEW), nullptr;
    int st;
    rdbSearchPath* s = rdbGetSPID(project, previous, &st);
    if (st != rdbStatOK) return set(status, st), nullptr;
    s = rdbFindNextSPath(project, s, 0, pattern, status);
    return s ? s->object : nullptr;
}

void rdbiSPathsChanged() {
    ++spathEpoch_;
}

rdbSearchPath* rdbFindNextSPath(rdbObject* project, rdbSearchPath* spath, int, const char* pattern,
                                int* status) {
    if (!pattern) pattern = "*";
    // A plain name in the current view: only the paths that answer to it.
    const std::vector<rdbSearchPath*>* candidates =
        project->curView && *pattern && !pattern[std::strcspn(pattern, "*?")]
            ? namedSPaths(project->curView, pattern)
            : nullptr;
    if (candidates) {
        const std::vector<rdbSearchPath*>& named = *candidates;
        auto at = named.begin();
        if (spath) at = std::find(named.begin(), named.end(), spath);
        if (!spath || at != named.end()) {
            for (at = spath && at != named.end() ? at + 1 : at; at != named.end(); ++at)
                if (spathMatches(*at, pattern)) return set(status, rdbStatOK), *at;
            return set(status, rdbStatFAILURE), nullptr;
        }
    }
    for (rdbSearchPath* s = rdbNextSPath(project, spath); s; s = rdbNextSPath(project, s))
        if (spathMatches(s, pattern)) return set(status, rdbStatOK), s;
    return set(status, rdbStatFAILURE), nullptr;
}

rdbSearchPath* rdbNextLibError(rdbObject* project, const char* viewname, rdbSearchPath* previous,
                               char* path, char* alias, char* flags, int* status, int* line) {
    if (rdbiValidOpenObj(project) != rdbStatOK) return set(status, rdbStatBADPROJECT), nullptr;
    rdbView* v = viewOf(project, viewname);
    if (!v) return set(status, rdbStatBADVIEW), nullptr;
    rdbSearchPath* s = previous ? previous->next : v->spaths;
    while (s && s->status == rdbStatOK) s = s->next;
    if (!s) return set(status, rdbStatOK), nullptr;
    if (path) ktStrncpyNullTerm(path, s->path, KS_PATHMAX);
    if (alias) ktStrncpyNullTerm(alias, s->name, kNameMax);
    if (flags) {
        // A line with no valid access has no letters.
        int n = 0;
        if (!(s->access & rdbAccessNONE)) {
            flags[n++] = (s->access & rdbAccessPRIMARY)    ? 'p'
                         : (s->access & rdbAccessREADONLY) ? 'r'
                                                           : 'w';
            if (s->access & rdbAccessMEGA) flags[n++] = 'm';
        }
        flags[n] = '\0';
    }
    set(status, s->status);
    if (line) *line = s->line;
    return s;
}

int rdbTmCacheAllLibraries(rdbObject* project, const char* view, int which, int on) {
    if (which == 0) return rdbStatOK;
    if (rdbiValidOpenObj(project) != rdbStatOK) return rdbStatBADPROJECT;
    rdbView* v = viewOf(project, view);
    if (!v) return rdbStatBADVIEW;
    for (rdbSearchPath* s = v->spaths; s; s = s->next) {
        rdbObject* lib = s->object;
        if (!lib || rdbObjMegafile(lib)) continue;
        if (which == 255 || ((which & 1) && rdbObjReadonly(lib))) rdbObjCache(lib, on);
    }
    return rdbStatOK;
}
