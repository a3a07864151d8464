// File search. The library list gives the directories; a fixed table of
// kinds gives the subdirectory and extension of a file. A mega library's
// index is read afresh on every search, record by record, never cached.
#include "qfm.h"

#include <cctype>
#include <climits>
#include <cstdio>
#include <cstring>
#include <memory>

#include "kspath.h"
#include "ktmem.h"
#include "ktstr.h"
#include "qlm.h"

int qfm_errno = 0;

namespace {
struct Kind {
    int code;
    const char* subdir;  // null: the library directory itself
    const char* ext;     // fixed extension, or null
    bool mega;           // may lie in a mega library
};

constexpr Kind kKinds[] = {
    {0, "sch", nullptr, true},      {1, "sym", nullptr, true},     {2, "doc", nullptr, false},
    {3, "wir", nullptr, true},      {4, "sym", "pin", true},       {5, "sym", "mod", true},
    {6, "sch", "jed", true},        {7, "wir", "pld", true},       {8, "wir", "wir", true},
    {9, "behv", nullptr, false},    {42, nullptr, nullptr, false}, {64, "brd", "brd", true},
    {65, "brd_sym", nullptr, true},
};

// A kind outside the table lies in the library directory, with no fixed extension.
constexpr Kind kOther = {-1, nullptr, nullptr, false};

const Kind& kindOf(int code) {
    for (const Kind& k : kKinds)
        if (k.code == code) return k;
    return kOther;
}

using File = std::unique_ptr<FILE, decltype(&std::fclose)>;

bool megaSearch(const kqLibDirectory* dir, const Kind& k) {
    return k.mega && k.subdir && qlm_id_megafile(dir) == 1;
}

// One index record: its name in lower case and its offset; false when the
// record holds no name and number, a negative offset (an entry that doesn't
// count), or one too large to read.
bool scanRecord(const char* rec, char* name, long* offset) {
    char text[QFM_MEGARECORD + 1];
    std::memcpy(text, rec, QFM_MEGARECORD);
    text[QFM_MEGARECORD] = '\0';
    int used = 0;
    if (std::sscanf(text, "%30s%n", name, &used) != 1) return false;
    if (ktStrCvtToLong(text + used, 0, LONG_MAX, offset) != 1) return false;
    ktStrLoc(name);
    return true;
}

// Calls `visit(name, offset)` for each record of the kind's index in `dir`
// until it returns non-zero; a short tail is ignored. 0 when the index is
// missing or all went through.
template <typename Visit>
int walkIndex(const kqLibDirectory* dir, const Kind& k, Visit visit) {
    char path[KS_PATHMAX];
    if (ksMerge(path, nullptr, qlm_id_get_path(dir), k.subdir, "tbl") != KS_OK) return 0;
    File f{ksFopen(path, "rb"), &std::fclose};
    if (!f) return 0;
    char rec[QFM_MEGARECORD];
    while (std::fread(rec, 1, sizeof rec, f.get()) == sizeof rec) {
        char name[QFM_MEGARECORD + 1];
        long offset;
        if (!scanRecord(rec, name, &offset)) continue;
        if (int r = visit(name, offset)) return r;
    }
    return 0;
}

qfm_id* makeRecord(kqLibDirectory* dir, int kind, const char* name, const char* ext, long position,
                   uint32_t time) {
    auto* id = static_cast<qfm_id*>(ktMemMalloc(sizeof(qfm_id), "kqQFMFE"));
    id->name = ktStrLoc(ktStrCpy(name));
    id->ext = ktStrLoc(ktStrCpy(ext));
    id->reserved = nullptr;
    id->kind = kind;
    id->position = position;
    id->time = time;
    id->directory = dir;
    return id;
}

qfm_id* findInMega(kqLibDirectory* dir, const Kind& k, int kind, const char* name,
                   const char* ext) {
    char wanted[KS_PATHMAX];
    if (ksMerge(wanted, nullptr, nullptr, name, ext) != KS_OK) return nullptr;
    ktStrLoc(wanted);
    long position = -1;
    walkIndex(dir, k, [&](const char* entry, long offset) {
        if (std::strcmp(entry, wanted) != 0) return 0;
        position = offset;
        return 1;
    });
    if (position < 0) return nullptr;
    char data[KS_PATHMAX];
    uint32_t time = 0;
    long size = 0;
    // An offset read from the index is checked against the data it points into.
    if (ksMerge(data, nullptr, qlm_id_get_path(dir), k.subdir, "lib") != KS_OK ||
        ksInfo(data, &time, &size, nullptr) != KS_OK || position >= size)
        return nullptr;
    return makeRecord(dir, kind, name, ext, position, time);
}

qfm_id* findPlain(kqLibDirectory* dir, const Kind& k, int kind, const char* name, const char* ext) {
    char where[KS_PATHMAX], path[KS_PATHMAX];
    std::snprintf(where, sizeof where, "%s", qlm_id_get_path(dir));
    uint32_t time = 0;
    if (std::strlen(qlm_id_get_path(dir)) >= sizeof where || ksDnpath(where, k.subdir) != KS_OK ||
        ksMerge(path, nullptr, where, name, ext) != KS_OK ||
        ksInfo(path, &time, nullptr, nullptr) != KS_OK)
        return nullptr;
    return makeRecord(dir, kind, name, ext, -1, time);
}

// The directories of a search: all of the list, or those of one library.
struct Walk {
    const char* lib;
    kqLibDirectory* next(kqLibDirectory* at) const {
        return lib ? qlm_id_next_libdir(at, lib) : qlm_id_next_dir(at);
    }
};

// False, with qfm_errno set, for a library the list doesn't know.
bool startWalk(const char* lib, Walk* w) {
    w->lib = lib && *lib ? lib : nullptr;
    if (w->lib && !qlm_library_exists(w->lib)) {
        qfm_errno = QFM_NOLIB;
        return false;
    }
    return true;
}

struct LoopState {
    qfm_loop_fn callback;
    void* data;
    int result;
};

int loopPlainFile(const char* path, void* data) {
    auto* s = static_cast<LoopState*>(data);
    char last[KS_PATHMAX];
    if (ksParse2(path, nullptr, nullptr, last) != KS_OK) return 1;
    s->result = s->callback(last, s->data);
    return s->result == 0;  // ksLoop2 goes on while the answer is not 0
}

int loopDirectory(const kqLibDirectory* dir, const Kind& k, const char* namepat, const char* extpat,
                  qfm_loop_fn callback, void* data) {
    if (megaSearch(dir, k)) {
        char pattern[KS_PATHMAX];
        if (ksMerge(pattern, nullptr, nullptr, namepat, extpat) != KS_OK) return 0;
        ktStrLoc(pattern);
        return walkIndex(dir, k, [&](const char* entry, long) {
            return ktStrMat(pattern, entry) ? callback(entry, data) : 0;
        });
    }
    char where[KS_PATHMAX], pattern[KS_PATHMAX];
    std::snprintf(where, sizeof where, "%s", qlm_id_get_path(dir));
    if (std::strlen(qlm_id_get_path(dir)) >= sizeof where || ksDnpath(where, k.subdir) != KS_OK ||
        ksMerge(pattern, nullptr, where, namepat, k.ext ? k.ext : extpat) != KS_OK)
        return 0;
    LoopState s{callback, data, 0};
    ksLoop2(pattern, KS_FILE, loopPlainFile, &s);
    return s.result;
}
}  // namespace

qfm_id* qfm_find_file(const char* lib, int kind, const char* name, const char* ext) {
    Walk w;
    if (!startWalk(lib, &w)) return nullptr;
    if (!name) {
        qfm_errno = QFM_NONAME;
        return nullptr;
    }
    const Kind& k = kindOf(kind);
    if (k.ext) ext = k.ext;
    else if (!ext) ext = "";
    for (kqLibDirectory* d = w.next(nullptr); d; d = w.next(d)) {
        qfm_id* id =
            megaSearch(d, k) ? findInMega(d, k, kind, name, ext) : findPlain(d, k, kind, name, ext);
        if (qfm_id_file_exists(id)) return id;
        qfm_free_id(id);
    }
    return nullptr;
}

kqLibDirectory* qfm_find_directory(const char* lib, int kind, const char* name, const char* ext) {
    qfm_id* id = qfm_find_file(lib, kind, name, ext);
    kqLibDirectory* dir = id ? id->directory : nullptr;
    qfm_free_id(id);
    return dir;
}

int qfm_id_file_exists(const qfm_id* id) { return id && id->time > 1; }

void qfm_free_id(qfm_id* id) {
    if (!id) return;
    for (char* s : {id->name, id->ext, id->reserved})
        if (s) ktStrFree(s);
    ktMemFree(id);
}

int qfm_file_loop(const char* lib, int kind, const char* namepattern, const char* extpattern,
                  qfm_loop_fn callback, void* data) {
    Walk w;
    if (!lib || !*lib || !startWalk(lib, &w)) {
        qfm_errno = QFM_NOLIB;
        return QFM_NOLIB;
    }
    const Kind& k = kindOf(kind);
    int result = 0;
    for (kqLibDirectory* d = w.next(nullptr); d && result == 0; d = w.next(d))
        result = loopDirectory(d, k, namepattern ? namepattern : "*", extpattern ? extpattern : "*",
                               callback, data);
    return result;
}

char* q_split_lib_comp(char* text) {
    static char alias[KS_PATHMAX];
    alias[0] = '\0';
    if (!text) return alias;
    char* colon = std::strchr(text, ':');
    const char* name = text;
    if (colon) {
        const char* a = text;
        while (std::isspace(static_cast<unsigned char>(*a))) ++a;
        size_t n = static_cast<size_t>(colon - a);
        while (n && std::isspace(static_cast<unsigned char>(a[n - 1]))) --n;
        // An alias is far shorter than the buffer; a longer text names no
        // library whether it is cut or not.
        if (n >= sizeof alias) n = sizeof alias - 1;
        std::memcpy(alias, a, n);
        alias[n] = '\0';
        name = colon + 1;
    }
    while (std::isspace(static_cast<unsigned char>(*name))) ++name;
    std::memmove(text, name, std::strlen(name) + 1);
    return alias;
}

char* q_merge_lib_comp(const char* alias, const char* name) {
    if (!name) name = "";
    if (!alias || !*alias) return ktStrCpy(name);
    size_t n = std::strlen(alias) + std::strlen(name) + 2;
    char* merged = ktStrAlloc(n);
    std::snprintf(merged, n, "%s:%s", alias, name);
    return merged;
}
