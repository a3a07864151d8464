// Objects and views, stand-in: it lacks the master database's classes and
// schemas, so an object reference names only symbol-directory files
// ("sym") and the variable files of a library's own directory (".var"),
// a DIR line goes through the library list of the library manager
// (which also takes the access letter l and makes no missing library
// directory), and there are no locks, directory caches, meta data or modes
// but read.
#include "rdb_api.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include "kspath.h"
#include "kssrch.h"
#include "ktdufs.h"
#include "ktmem.h"
#include "ktstr.h"
#include "qfm.h"
#include "qlm.h"

// What a stand-in object keeps beyond the object record, hung on its
// storage manager's word.
struct StandinObj {
    FILE* stream;   // held until a caller takes it
    long position;  // of a member of a mega file, else -1
    rdbObject* files;  // a project's open files
    rdbObject* next;   // the next project, or the next file of a project
    rdbSPath* spaths;     // a project's library lines, in the file's order
    kqLibDirectory* dir;  // a library's directory in the library list
};

struct rdbSPath {
    int status;       // 0, 53 for a library listed twice, or the line's fault
    int access;       // 1 primary, 2 read-only, 4 mega
    char written[4];  // the access as a refused line writes it
    int line;
    char* alias;         // pooled
    char* given;         // the path as the line gives it, pooled
    rdbObject* library;  // null when the line failed
    rdbSPath* next;
};

namespace {

StandinObj* X(const rdbObject* o) {
    return static_cast<StandinObj*>(o->smData);
}

enum { kPhysDIR = 1, kPhysFILE = 2, kPhysMEGA = 3 };

rdbObject* projects_ = nullptr;

int set(int* status, int value) {
    if (status) *status = value;
    return value;
}

rdbObject* newObject(rdbObject* parent, const char* name, const char* path, int physType) {
    auto* o = static_cast<rdbObject*>(ktMemCalloc(1, sizeof(rdbObject), "rdbObject"));
    o->kind = rdbKindOBJECT;
    o->smData = ktMemCalloc(1, sizeof(StandinObj), "rdbObject");
    o->name = ktStrCpy(name ? name : "");
    o->path = ktStrCpy(path);
    o->physType = physType;
    X(o)->position = -1;
    o->parent = parent;
    return o;
}

void freeObject(rdbObject* o) {
    if (X(o)->stream) std::fclose(X(o)->stream);
    ktMemFree(o->smData);
    ktStrFree(o->name);
    if (o->modifier) ktStrFree(o->modifier);
    ktStrFree(o->path);
    ktMemFree(o);
}

void freeView(rdbObject* project) {
    while (rdbSPath* s = X(project)->spaths) {
        X(project)->spaths = s->next;
        if (s->library) freeObject(s->library);
        ktStrFree(s->alias);
        ktStrFree(s->given);
        ktMemFree(s);
    }
}

bool isProject(const rdbObject* o) {
    for (rdbObject* p = projects_; p; p = X(p)->next)
        if (p == o) return true;
    return false;
}

// The project an object belongs to, or null for no object of ours.
rdbObject* projectOf(const rdbObject* o) {
    if (!o) return nullptr;
    for (rdbObject* p = projects_; p; p = X(p)->next) {
        if (p == o) return p;
        for (rdbObject* f = X(p)->files; f; f = X(f)->next)
            if (f == o) return p;
        for (rdbSPath* s = X(p)->spaths; s; s = s->next)
            if (s->library == o) return p;
    }
    return nullptr;
}

char* userCopy(const char* text) {
    if (!text) return nullptr;
    size_t n = std::strlen(text) + 1;
    char* copy = static_cast<char*>(ktMemMalloc(n, "UserString"));
    std::memcpy(copy, text, n);
    return copy;
}

// Whole-text match where "*" stands for any run and "?" for one character,
// letter case ignored. A null text matches only "*".
bool matches(const char* pattern, const char* text) {
    if (!text) return pattern && std::strcmp(pattern, "*") == 0;
    if (!pattern || !*pattern) return !*text;
    std::string p = pattern, t = text;
    ktStrUpc(p.data());
    ktStrUpc(t.data());
    return ktStrMat(p.c_str(), t.c_str());
}

// The status of a DIR line that the library list refused.
int lineFault(int reason) {
    switch (reason) {
        case QLM_NODIR:
            return rdbStatNOTEXIST;
        case QLM_NOEXAMINE:
            return 7;  // "Cannot access"
        case QLM_BADLINE:
            return 29;  // "Directory path format error"
        case QLM_SECONDPRIMARY:
            return 31;
        case QLM_BADALIAS:
            return 37;  // "Error in library name"
        default:
            return 32;  // "Directory type error": the access
    }
}

int accessOf(const kqLibDirectory* d) {
    return (d->flags & QLM_PRIMARY ? 1 : 0) | (d->flags & QLM_READONLY ? 2 : 0) |
           (d->flags & QLM_MEGA ? 4 : 0);
}

bool isBuiltin(const char* path) {
    char last[KS_PATHMAX];
    if (ksParse2(path, nullptr, nullptr, last) != KS_OK) return false;
    return ktStrIcmp(last, "builtin") == 0;
}

// One DIR line into a search path of the project's view; 0, or the
// line's status.
int takeLine(rdbObject* project, rdbSPath**& link, const char* text, int number) {
    auto* s = static_cast<rdbSPath*>(ktMemCalloc(1, sizeof(rdbSPath), "rdbSPath"));
    s->line = number;
    *link = s;
    link = &s->next;
    // The alias and path as the line gives them, also for a refused line.
    char token[QLM_PATHMAX + 1];
    const char* at = kqIGetToken(text, token, sizeof token);  // DIR
    at = kqIGetToken(at, token, sizeof token);                // access
    std::string_view access = at ? token : "";
    if (access.size() >= 2 && access.front() == '[' && access.back() == ']')
        access = access.substr(1, access.size() - 2);
    ktStrncpyNullTerm(s->written, std::string(access).c_str(), sizeof s->written);
    at = kqIGetToken(at, token, sizeof token);  // path
    s->given = ktStrCpy(at ? token : "");
    char alias[QLM_PATHMAX + 1] = "";
    if (at && kqIGetToken(at, alias, sizeof alias) && alias[0] == '(') {
        size_t n = std::strlen(alias);
        if (n && alias[n - 1] == ')') alias[n - 1] = '\0';
        std::memmove(alias, alias + 1, n);
    } else {
        alias[0] = '\0';
    }
    s->alias = ktStrCpy(alias);

    kqLibDirectory* d = qlm_read(text);
    if (!d) {
        s->status = lineFault(qlm_get_status());
        return s->status;
    }
    s->access = accessOf(d);
    for (rdbSPath* other = X(project)->spaths; other != s; other = other->next)
        if (other->library && X(other->library)->dir == d) {
            // Listed twice: the line notes it and keeps no library of its own.
            s->status = rdbStatOPEN;
            return 0;
        }
    const char* name = qlm_id_get_name(d);
    if (!*name && isBuiltin(qlm_id_get_path(d))) {
        name = "builtin";
        ktStrFree(s->alias);
        s->alias = ktStrCpy(name);
    }
    s->library =
        newObject(project, name, qlm_id_get_path(d), d->flags & QLM_MEGA ? kPhysMEGA : kPhysDIR);
    X(s->library)->dir = d;
    return 0;
}

// The current project: references with an empty project element mean it.
rdbObject* currentProject() {
    return projects_;
}

// One element of a reference: class, name, modifier and version.
struct Element {
    std::string klass, name, modifier;
    int version = 0;
};

int parseElement(std::string text, Element* e) {
    size_t colon = text.rfind(':');
    if (colon != std::string::npos) {
        e->klass = text.substr(0, colon);
        text.erase(0, colon + 1);
    }
    size_t open = text.rfind('(');
    if (open != std::string::npos) {
        if (text.back() != ')') return 48;  // "Unmatched parentheses"
        std::string v = text.substr(open + 1, text.size() - open - 2);
        e->version = v == "*" ? -1 : std::atoi(v.c_str());
        text.erase(open);
    } else if (text.find(')') != std::string::npos) {
        return 48;
    }
    size_t at = text.rfind('@');
    if (at != std::string::npos) {
        e->modifier = text.substr(at + 1);
        text.erase(at);
    }
    e->name = text;
    return 0;
}

// The file element and the library of a reference.
int parseReference(const char* reference, Element* file, std::string* library) {
    std::string text = reference;
    size_t start = text[0] == '/' ? 1 : 0;
    bool any = false;
    while (start <= text.size()) {
        size_t slash = text.find('/', start);
        std::string piece =
            text.substr(start, slash == std::string::npos ? std::string::npos : slash - start);
        Element e;
        if (int st = parseElement(piece, &e)) return st;
        if (e.klass == "rdbClassLIBRARY") *library = e.name;
        *file = e;
        any = true;
        if (slash == std::string::npos) break;
        start = slash + 1;
    }
    return any ? 0 : rdbStatBADREF;
}

rdbObject* libraryOf(rdbObject* project, const kqLibDirectory* d) {
    for (rdbSPath* s = X(project)->spaths; s; s = s->next)
        if (s->library && X(s->library)->dir == d) return s->library;
    return project;
}

bool openStream(rdbObject* o) {
    X(o)->stream = std::fopen(o->path, "r");
    if (!X(o)->stream) return false;
    if (X(o)->position >= 0 && std::fseek(X(o)->stream, X(o)->position, SEEK_SET) != 0) {
        std::fclose(X(o)->stream);
        X(o)->stream = nullptr;
        return false;
    }
    return true;
}

void unlinkFile(rdbObject* project, rdbObject* o) {
    for (rdbObject** at = &X(project)->files; *at; at = &X(*at)->next)
        if (*at == o) {
            *at = X(o)->next;
            return;
        }
}

// A variable file, <library>/<name>.<modifier> in lower case, of the
// library the reference names (by alias or name), else of the first
// library of the view that holds one. Mega libraries hold only symbols.
rdbObject* openVariableFile(rdbObject* project, const std::string& library, Element file,
                            int* status) {
    ktStrLoc(file.name.data());
    ktStrLoc(file.modifier.data());
    for (rdbSPath* s = X(project)->spaths; s; s = s->next) {
        rdbObject* lib = s->library;
        if (!lib || lib->physType != kPhysDIR) continue;
        if (!library.empty() && ktStrIcmp(s->alias, library.c_str()) != 0 &&
            ktStrIcmp(lib->name, library.c_str()) != 0)
            continue;
        char path[KS_PATHMAX];
        if (ksMerge(path, nullptr, lib->path, file.name.c_str(), file.modifier.c_str()) != KS_OK ||
            ksExists(path, KS_FILE) != KS_OK)
            continue;
        for (rdbObject* o = X(project)->files; o; o = X(o)->next)
            if (std::strcmp(o->path, path) == 0) return set(status, rdbStatOPEN), o;
        rdbObject* o = newObject(lib, file.name.c_str(), path, kPhysFILE);
        o->modifier = ktStrCpy(file.modifier.c_str());
        o->mode = rdbModeREAD;
        if (!openStream(o)) {
            freeObject(o);
            return set(status, 15), nullptr;  // "File open error"
        }
        X(o)->next = X(project)->files;
        X(project)->files = o;
        set(status, rdbStatOK);
        return o;
    }
    return set(status, rdbStatNOTEXIST), nullptr;
}

}  // namespace

rdbObject* rdbOpenProject(const char* dir, const char* name, const char* view, int, int* status) {
    if (!rdbiStarted()) return set(status, rdbStatINIT), nullptr;
    if (!dir || !*dir) return set(status, rdbStatBADREF), nullptr;
    char abs[KS_PATHMAX];
    if (ksAbsPath2(dir, abs) != KS_OK) return set(status, rdbStatBADREF), nullptr;
    size_t n = std::strlen(abs);
    if (n > 1 && abs[n - 1] == '/') abs[n - 1] = '\0';
    for (rdbObject* p = projects_; p; p = X(p)->next)
        if (std::strcmp(p->path, abs) == 0) return set(status, rdbStatOPEN), p;
    if (ksExists(abs, KS_DIR) != KS_OK) return set(status, rdbStatNOTEXIST), nullptr;

    char last[KS_PATHMAX] = "";
    if (!name) ksParse2(abs, nullptr, nullptr, last);
    rdbObject* p = newObject(nullptr, name ? name : last, abs, kPhysDIR);
    X(p)->next = projects_;
    projects_ = p;
    set(status, rdbStatOK);
    if (view && *view) set(status, rdbInitView(p, view, nullptr));
    return p;
}

int rdbInitView(rdbObject* project, const char* view, const char* ini) {
    if (!isProject(project)) return rdbStatBADID;
    if (!view || ktStrIcmp(view, "Scrivet") != 0) return rdbStatBADVIEW;
    char path[KS_PATHMAX];
    if (ini ? ksExists2(ini, KS_FILE, path) != KS_OK && ksGetini(ini, path) != KS_OK
            : ksGetini("scrivet.ini", path) != KS_OK)
        return rdbStatNOINI;
    std::unique_ptr<FILE, decltype(&std::fclose)> f{std::fopen(path, "r"), &std::fclose};
    if (!f) return rdbStatNOINI;

    freeView(project);
    rdbSPath** link = &X(project)->spaths;
    int result = rdbStatOK, number = 0;
    char line[512];
    while (ktDufsFgets(line, sizeof line, f.get())) {
        ++number;
        char word[512];
        if (std::sscanf(line, "%511s", word) != 1 || word[0] == '|' || ktStrIcmp(word, "dir") != 0)
            continue;
        if (takeLine(project, link, line, number)) result = rdbStatLIBERRORS;
    }
    int primaries = 0;
    for (rdbSPath* s = X(project)->spaths; s; s = s->next)
        if (s->library && (s->access & 1)) ++primaries;
    if (primaries == 0) return rdbStatNOPRIMARY;
    if (primaries > 1) return 31;  // "Duplicate primary directory"
    return result;
}

rdbObject* rdbFindNextLib(rdbObject* project, rdbObject* previous, const char* pattern,
                          int* status) {
    if (!isProject(project)) return set(status, rdbStatBADID), nullptr;
    set(status, rdbStatOK);
    bool passed = previous == nullptr;
    for (rdbSPath* s = X(project)->spaths; s; s = s->next) {
        if (!s->library) continue;
        if (!passed) {
            passed = s->library == previous;
            continue;
        }
        if (matches(pattern, s->library->name)) return s->library;
    }
    return nullptr;
}

rdbSPath* rdbNextLibError(rdbObject* project, const char*, rdbSPath* previous, char* path,
                          char* alias, char* flags, int* status, int* line) {
    if (!isProject(project)) return set(status, rdbStatBADID), nullptr;
    rdbSPath* s = previous ? previous->next : X(project)->spaths;
    while (s && s->status == 0) s = s->next;
    if (!s) return nullptr;
    if (path) ktStrncpyNullTerm(path, s->given, KS_PATHMAX);
    if (alias) ktStrncpyNullTerm(alias, s->alias, 33);
    if (flags && !s->library && s->status != rdbStatOPEN) {
        ktStrncpyNullTerm(flags, s->written, 4);
    } else if (flags) {
        int n = 0;
        flags[n++] = s->access & 1 ? 'p' : s->access & 2 ? 'r' : 'w';
        if (s->access & 4) flags[n++] = 'm';
        flags[n] = '\0';
    }
    set(status, s->status);
    if (line) *line = s->line;
    return s;
}

int rdbTmCacheAllLibraries(rdbObject*, const char*, int, int) {
    return rdbStatOK;
}

char* rdbMakeTmObjref2(const char* library, const char* subdir, const char* name,
                       const char* modifier) {
    if (!subdir || std::strcmp(subdir, "sym") != 0) return nullptr;
    std::string ref = "rdbClassDATABASE:Tesmark/rdbClassPROJECT:/rdbClassLIBRARY:";
    ref += library ? library : "";
    ref += "/rdbClassSYMBOL:";
    ref += name ? name : "";
    if (modifier && *modifier) ref.append("@").append(modifier);
    if (ref.size() > 256) return nullptr;
    return userCopy(ref.c_str());
}

char* rdbMakeTmObjref(const char* project, const char* library, const rdbClass* cls,
                      const char* name, const char* modifier, int32_t version) {
    if (!cls || !cls->name || version < -1 || version > 16000) return nullptr;
    auto text = [](const char* t) { return t ? t : ""; };
    std::string ref = std::string("rdbClassDATABASE:Tesmark/rdbClassPROJECT:") + text(project) +
                      "/rdbClassLIBRARY:" + text(library) + "/" + cls->name + ":" + text(name);
    if (modifier && *modifier) ref.append("@").append(modifier);
    if (version == -1) ref += "(*)";
    if (version > 0) ref += "(" + std::to_string(version) + ")";
    if (ref.size() > 256) return nullptr;
    return userCopy(ref.c_str());
}

rdbObject* rdbOpenObject(const char* reference, int mode, int* status) {
    if (!rdbiStarted()) return set(status, rdbStatINIT), nullptr;
    if (!reference || !*reference) return set(status, rdbStatNULLREF), nullptr;
    if (std::strlen(reference) >= 256) return set(status, 43), nullptr;
    Element file;
    std::string library;
    if (int st = parseReference(reference, &file, &library)) return set(status, st), nullptr;
    if (file.klass != "rdbClassSYMBOL" && file.klass != "rdbClassDLYBIN")
        return set(status, rdbStatBADCLASS), nullptr;
    rdbObject* project = currentProject();
    if (!project) return set(status, 40), nullptr;             // "Invalid current project"
    if (mode != rdbModeREAD) return set(status, 24), nullptr;  // "Invalid file access mode"
    if (file.klass == "rdbClassDLYBIN") return openVariableFile(project, library, file, status);

    std::unique_ptr<qfm_id, decltype(&qfm_free_id)> id{
        qfm_find_file(library.c_str(), QFM_SYMBOL, file.name.c_str(), file.modifier.c_str()),
        &qfm_free_id};
    if (!id) return set(status, rdbStatNOTEXIST), nullptr;
    char where[KS_PATHMAX], path[KS_PATHMAX];
    const char* dir = qlm_id_get_path(id->directory);
    bool mega = id->position >= 0;
    if (std::strlen(dir) >= sizeof where) return set(status, rdbStatNOTEXIST), nullptr;
    std::strcpy(where, dir);
    if ((mega                              ? ksMerge(path, nullptr, where, "sym", "lib")
         : ksDnpath(where, "sym") == KS_OK ? ksMerge(path, nullptr, where, id->name, id->ext)
                                           : KS_BADSPEC) != KS_OK)
        return set(status, rdbStatNOTEXIST), nullptr;

    for (rdbObject* o = X(project)->files; o; o = X(o)->next)
        if (std::strcmp(o->path, path) == 0 && X(o)->position == id->position)
            return set(status, rdbStatOPEN), o;
    rdbObject* o = newObject(libraryOf(project, id->directory), file.name.c_str(), path,
                             mega ? kPhysMEGA : kPhysFILE);
    o->modifier = ktStrCpy(file.modifier.c_str());
    o->version = file.version;
    X(o)->position = id->position;
    o->mode = mode;
    if (!openStream(o)) {
        freeObject(o);
        return set(status, 15), nullptr;  // "File open error"
    }
    X(o)->next = X(project)->files;
    X(project)->files = o;
    set(status, rdbStatOK);
    return o;
}

int rdbReopenObj(rdbObject* object, int mode) {
    rdbObject* project = projectOf(object);
    if (!project || object == project || object->physType == kPhysDIR) return rdbStatBADID;
    if (object->mode == static_cast<uint32_t>(mode)) return rdbStatOK;
    if (X(object)->stream) std::fclose(X(object)->stream);
    X(object)->stream = nullptr;
    object->mode = 0;
    if (mode == 0) return rdbStatOK;
    if (mode != rdbModeREAD) return 24;
    if (!openStream(object)) return 15;
    object->mode = mode;
    return rdbStatOK;
}

FILE* rdbObjGetFilePtr(rdbObject* object, int, int* status) {
    if (!projectOf(object) || !X(object)->stream) return set(status, rdbStatFAILURE), nullptr;
    FILE* f = X(object)->stream;
    X(object)->stream = nullptr;
    set(status, rdbStatOK);
    return f;
}

void rdbObjSetUserData(rdbObject* object, void* word) {
    if (projectOf(object)) object->userData = reinterpret_cast<uintptr_t>(word);
}

void* rdbObjGetUserData(rdbObject* object) {
    return projectOf(object) ? reinterpret_cast<void*>(object->userData) : nullptr;
}

int rdbCloseObj(rdbObject* object, int) {
    if (!object) return rdbStatFAILURE;
    rdbObject* project = projectOf(object);
    if (!project) return rdbStatBADID;
    if (object == project) {
        for (rdbObject** at = &projects_; *at; at = &X(*at)->next)
            if (*at == project) {
                *at = X(project)->next;
                break;
            }
        while (rdbObject* f = X(project)->files) {
            X(project)->files = X(f)->next;
            freeObject(f);
        }
        freeView(project);
        freeObject(project);
        return rdbStatOK;
    }
    for (rdbSPath* s = X(project)->spaths; s; s = s->next)
        if (s->library == object) {
            // A library closes with its view line, which keeps its place.
            s->library = nullptr;
            s->status = rdbStatFAILURE;
            freeObject(object);
            return rdbStatOK;
        }
    unlinkFile(project, object);
    freeObject(object);
    return rdbStatOK;
}

void rdbiCloseAllProjects() {
    while (projects_) rdbCloseObj(projects_, 0);
}

int rdbiStarted() {
    return rdbMasterRDPROJ != nullptr;
}
