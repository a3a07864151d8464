// Path handling: the path grammar, file status, creation and removal, and
// the cached directory reader behind ksLoop2. Work is done in local buffers
// of KS_PATHMAX bytes and copied out at the end, so an output may be the
// same buffer as an input, and a refused call leaves its outputs as they
// were unless it says otherwise.
#include "kspath.h"

#include <dirent.h>
#include <fcntl.h>
#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include "kssysinfo.h"
#include "ktex.h"
#include "ktmem.h"
#include "ktstr.h"
#include "ktsym.h"

namespace {

// The host values through the system layer's own ksSysinfo, in the shape
// of the calls a test may put in their place.
int sysHostname(char* name, size_t size) {
    long need = ksSysinfo(KS_SI_HOSTNAME, name, static_cast<long>(size));
    return need > 0 && static_cast<size_t>(need) <= size ? 0 : -1;
}

long sysHostid() {
    char text[24];
    long need = ksSysinfo(KS_SI_HW_SERIAL, text, sizeof text);
    if (need < 0 || need > static_cast<long>(sizeof text)) return 0;
    return static_cast<long>(std::strtoul(text, nullptr, 10));
}

}  // namespace

const ksSysTB ksSysDefaultV = {
    ::stat,   ::mkdir,    ::unlink,    ::rmdir,     ::rename,  ::utime,
    ::getcwd, std::fread, std::fwrite, sysHostname, sysHostid, ::time,
    ::sleep,
};
ksSysTB ksSysV = ksSysDefaultV;

namespace {

using std::string_view;
constexpr size_t kMaxLen = KS_PATHMAX - 1;  // characters a path may hold
constexpr size_t npos = string_view::npos;

// Copies `text` to `out` (if given), cut to a path's length.
void put(char* out, string_view text) {
    if (!out) return;
    size_t n = std::min(text.size(), kMaxLen);
    if (n) std::memmove(out, text.data(), n);
    out[n] = '\0';
}

int parse(const char* path, char* dev, char* dir, char* name, char* ext, char* nameext) {
    if (!path) return KS_BADSPEC;
    size_t len = std::strlen(path);
    if (len >= KS_PATHMAX) return KS_BADSPEC;
    char copy[KS_PATHMAX];
    std::memcpy(copy, path, len + 1);
    string_view p(copy, len);
    size_t slash = p.rfind('/');
    size_t start = slash == npos ? 0 : slash + 1;
    string_view last = p.substr(start);
    size_t dot = last.rfind('.');
    // A leading '.' hides a file; it doesn't start an extension.
    bool whole = last == "." || last == ".." || dot == npos || dot == 0;
    put(dev, "");
    put(dir, p.substr(0, start));
    put(name, whole ? last : last.substr(0, dot));
    put(ext, whole ? string_view() : last.substr(dot + 1));
    put(nameext, last);
    return KS_OK;
}

// Whether the last component ends in a '.' that an empty extension would lose.
bool endsInDot(string_view p) {
    if (p.empty() || p.back() != '.') return false;
    size_t slash = p.rfind('/');
    string_view last = slash == npos ? p : p.substr(slash + 1);
    return last != "." && last != "..";
}

// Parses and merges again, which trims every component, and puts back a
// final '.' that went with the empty extension.
int remerge(char* path, bool dotEnd) {
    char dev[KS_PATHMAX], dir[KS_PATHMAX], name[KS_PATHMAX], ext[KS_PATHMAX];
    int st = ksParse(path, dev, dir, name, ext);
    if (st != KS_OK) return st;
    // No extension pointer for an empty extension: its '.' would count
    // against the length although it is never written.
    st = ksMerge(path, dev, dir, name, *ext ? ext : nullptr);
    if (st != KS_OK) return st;
    size_t n = std::strlen(path);
    if (dotEnd && (n == 0 || path[n - 1] != '.')) {
        if (n + 2 > KS_PATHMAX) return KS_BADSPEC;
        path[n] = '.';
        path[n + 1] = '\0';
    }
    return KS_OK;
}

// Replaces a leading "~" or "~user" of `path` (a buffer of KS_PATHMAX) by
// the home directory.
int expandHome(char* path) {
    if (path[0] != '~') return KS_OK;
    std::string home;
    const char* rest;
    if (path[1] && path[1] != '/') {
        const char* slash = std::strchr(path, '/');
        rest = slash ? slash : path + std::strlen(path);
        std::string user(static_cast<const char*>(path) + 1, rest);
        const passwd* pw = getpwnam(user.c_str());
        if (!pw || !pw->pw_dir) return KS_BADSPEC;
        home = pw->pw_dir;
    } else {
        const char* env = std::getenv("HOME");
        char conv[KS_PATHMAX];
        if (!env || ksConvPath(env, conv) != KS_OK || !*conv) return KS_NOTFOUND;
        home = conv;
        rest = path + 1;
        if (home.back() == '/' && *rest == '/') home.pop_back();
    }
    home += rest;
    if (home.size() > kMaxLen) return KS_BADSPEC;
    std::memcpy(path, home.c_str(), home.size() + 1);
    return KS_OK;
}

// Walks the components of an absolute or base-prefixed path, dropping "."
// and taking ".." back one level (never above the root).
int resolve(string_view joined, char* out) {
    // At most the input and a closing '/'.
    char result[2 * KS_PATHMAX + 2];
    size_t n = 0;
    for (size_t at = 0; at < joined.size();) {
        size_t end = joined.find('/', at);
        if (end == npos) end = joined.size();
        string_view token = joined.substr(at, end - at);
        at = end + 1;
        if (token.empty() || token == ".") continue;
        if (token == "..") {
            while (n > 0 && result[n - 1] != '/') --n;
            if (n > 0) --n;
            continue;
        }
        if (n + 1 + token.size() >= sizeof result) return KS_BADSPEC;
        result[n++] = '/';
        std::memcpy(result + n, token.data(), token.size());
        n += token.size();
    }
    // The root, or a trailing '/' that the input had.
    if (n == 0 || (!joined.empty() && joined.back() == '/')) result[n++] = '/';
    if (n > kMaxLen) return KS_BADSPEC;
    std::memcpy(out, result, n);
    out[n] = '\0';
    return KS_OK;
}

bool isLeap(int y) {
    return (y % 4 == 0 && y % 100 != 0) || y % 400 == 0;
}

// Seconds since the start of 1970 by the local clock's broken-down time.
uint32_t localSeconds(time_t t) {
    struct tm tm;
    localtime_r(&t, &tm);
    int year = tm.tm_year + 1900;
    int64_t days = tm.tm_yday;
    for (int y = 1970; y < year; ++y) days += isLeap(y) ? 366 : 365;
    for (int y = year; y < 1970; ++y) days -= isLeap(y) ? 366 : 365;
    return static_cast<uint32_t>(days * 86400 + tm.tm_hour * 3600 + tm.tm_min * 60 + tm.tm_sec);
}

int kindOf(mode_t mode) {
    return (mode & 0x4000) ? KS_DIR : KS_FILE;
}

int failedRemoval() {
    return errno == EACCES ? KS_NOACCESS : KS_NOTFOUND;
}

// The name that a file system which keeps 14 characters of a name makes of
// `path`; empty when the last component is no longer than that.
std::string cutName(const char* path) {
    char dir[KS_PATHMAX], last[KS_PATHMAX];
    if (ksParse2(path, nullptr, dir, last) != KS_OK || std::strlen(last) <= 14) return {};
    last[14] = '\0';
    return std::string(dir) + last;
}

// Creation under a full name that a file system may cut. When the object
// isn't there under its full name afterwards, the one this call made under
// the cut name is taken away again, and only that: an object of the cut
// name that was there before the call is another one's.
template <typename Make>
int createUncut(const char* path, int kind, Make make) {
    std::string cut = cutName(path);
    bool cutWasThere = !cut.empty() && ksExists(cut.c_str(), KS_ANY) == KS_OK;
    if (int st = make(); st != KS_OK) return st;
    if (ksExists(path, kind) == KS_OK) return KS_OK;
    if (!cut.empty() && !cutWasThere && ksExists(cut.c_str(), kind) == KS_OK) {
        if (kind == KS_DIR)
            ksSysV.rmdir(cut.c_str());
        else
            ksSysV.unlink(cut.c_str());
    }
    return KS_NOACCESS;
}

int createDir(const char* path) {
    size_t n = std::strlen(path);
    if (n == 0) return -1;
    char p[KS_PATHMAX];
    std::memcpy(p, path, n + 1);
    if (p[n - 1] == '/') p[n - 1] = '\0';
    return createUncut(p, KS_DIR, [&] {
        ksSysV.mkdir(p, 0777);
        return KS_OK;
    });
}

// Joins a directory that ends in '/' and a name, if the result fits.
bool join(const char* dir, const char* name, char* out) {
    size_t a = std::strlen(dir), b = std::strlen(name);
    if (a + b > kMaxLen) return false;
    std::memcpy(out, dir, a);
    std::memcpy(out + a, name, b + 1);
    return true;
}

// The directory cache. A record is one block: this head, then `count`
// entries. The table holds one reference on the record it maps to, and a
// running ksLoop2 holds another, so a record that the table drops while a
// loop walks it lives on until the loop ends.
struct DirEntry {
    char* name;  // pooled
    uint32_t time;
    long size;
    int kind;  // -1 when the entry couldn't be examined
};

struct DirRec {
    uint32_t refcount;
    uint32_t dirTime;  // the directory's own time when the entries were examined
    int32_t count;
    int32_t spare;  // keeps the entries behind the head aligned
};
static_assert(sizeof(DirRec) % alignof(DirEntry) == 0);

DirEntry* entriesOf(DirRec* r) {
    return reinterpret_cast<DirEntry*>(r + 1);
}
size_t recSize(size_t entries) {
    return sizeof(DirRec) + entries * sizeof(DirEntry);
}

// Moves a record into a block with room for `room` entries.
DirRec* moveRec(DirRec* r, size_t oldRoom, size_t room) {
    auto* moved = static_cast<DirRec*>(ktMemFlAlloc(recSize(room), "ksDirCache"));
    std::memcpy(moved, r, recSize(static_cast<size_t>(r->count)));
    ktMemFlFree(r, recSize(oldRoom));
    return moved;
}

void releaseRec(DirRec* r) {
    if (--r->refcount > 0) return;
    DirEntry* e = entriesOf(r);
    for (int i = 0; i < r->count; ++i) ktStrFree(e[i].name);
    ktMemFlFree(r, recSize(static_cast<size_t>(r->count)));
}

// The kind the listing itself gives of an entry (its type bits are those
// of the mode, shifted), or -1 where only a look at the entry can tell: a
// symbolic link, which stands for what it points to, or a file system that
// doesn't say.
int listedKind(unsigned char type) {
    if (type == DT_UNKNOWN || type == DT_LNK) return -1;
    return kindOf(static_cast<mode_t>(DTTOIF(type)));
}

// The names of a directory, without "." and "..", with the kinds the
// listing gives. A directory that can't be opened lists as empty.
DirRec* readDir(const char* dir) {
    size_t room = 100;
    auto* r = static_cast<DirRec*>(ktMemFlAlloc(recSize(room), "ksDirCache"));
    *r = DirRec{1, 0, 0, 0};
    struct CloseDir {
        void operator()(DIR* d) const { closedir(d); }
    };
    std::unique_ptr<DIR, CloseDir> d(opendir(dir));
    while (d) {
        const dirent* de = readdir(d.get());
        if (!de) break;
        if (std::strcmp(de->d_name, ".") == 0 || std::strcmp(de->d_name, "..") == 0) continue;
        if (static_cast<size_t>(r->count) == room) {
            r = moveRec(r, room, room * 2);
            room *= 2;
        }
        entriesOf(r)[r->count++] = DirEntry{ktStrCpy(de->d_name), 0, 0, listedKind(de->d_type)};
    }
    return moveRec(r, room, static_cast<size_t>(r->count));
}

void sortEntries(DirEntry* e, int n) {
    for (int gap = n / 2; gap > 0; gap /= 2)
        for (int i = gap; i < n; ++i)
            for (int j = i - gap; j >= 0 && std::strcmp(e[j].name, e[j + gap].name) > 0; j -= gap)
                std::swap(e[j], e[j + gap]);
}

// Looks at an entry whose kind the listing didn't give.
void examine(DirEntry& e, const char* dir) {
    if (e.kind != -1) return;
    char full[KS_PATHMAX];
    int kind;
    if (join(dir, e.name, full) && ksInfo(full, &e.time, &e.size, &kind) == KS_OK) e.kind = kind;
}

// Takes what the old listing knew of names that are in both (both lists
// are sorted) and whose kind the listing didn't give, and examines only the
// new ones.
void reuse(DirRec* rec, DirRec* old, const char* dir) {
    DirEntry* e = entriesOf(rec);
    DirEntry* o = entriesOf(old);
    int j = 0;
    for (int i = 0; i < rec->count; ++i) {
        while (j < old->count && std::strcmp(o[j].name, e[i].name) < 0) ++j;
        if (e[i].kind != -1) continue;
        if (j < old->count && std::strcmp(o[j].name, e[i].name) == 0) {
            e[i].time = o[j].time;
            e[i].size = o[j].size;
            e[i].kind = o[j].kind;
        } else {
            examine(e[i], dir);
        }
    }
}

ktSym* dirCache = nullptr;

void dropRec(void* value) {
    releaseRec(static_cast<DirRec*>(value));
}

void purgeDirCache() {
    ktSymDestroy(dirCache, dropRec);
    dirCache = nullptr;
}

int strKeyEqual(const void* a, const void* b) {
    return ktStrEqu(static_cast<const char*>(a), static_cast<const char*>(b));
}

// The listing of `dir` (a path ending in '/') whose own time is `dirTime`.
DirRec* fetchDir(const char* dir, uint32_t dirTime) {
    static bool purgeRegistered = false;
    if (!dirCache) {
        dirCache = ktSymCreate(5, ktSymStHash, strKeyEqual, ktSymStCpy, ktSymStFree);
        if (!purgeRegistered) ktAddPurgeRoutine(purgeDirCache);
        purgeRegistered = true;
    }
    auto* old = static_cast<DirRec*>(ktSymFetch(dirCache, dir));
    DirRec* rec = readDir(dir);
    sortEntries(entriesOf(rec), rec->count);
    if (old && old->dirTime == dirTime) {
        reuse(rec, old, dir);
    } else {
        for (int i = 0; i < rec->count; ++i) examine(entriesOf(rec)[i], dir);
    }
    rec->dirTime = dirTime;
    ktSymStore(dirCache, dir, rec);
    if (old) releaseRec(old);
    return rec;
}

struct HoldRec {
    DirRec* rec;
    ~HoldRec() { releaseRec(rec); }
};

char defDir[KS_PATHMAX];
bool haveDefDir = false;

int envInRange(const char* name, int lo, int hi, int fallback) {
    const char* v = std::getenv(name);
    if (!v || !*v) return fallback;
    char* end;
    long n = std::strtol(v, &end, 10);
    if (*end || n < lo || n > hi) return fallback;
    return static_cast<int>(n);
}

}  // namespace

int ksParse(const char* path, char* dev, char* dir, char* name, char* ext) {
    return parse(path, dev, dir, name, ext, nullptr);
}

int ksParse2(const char* path, char* dev, char* dir, char* nameext) {
    return parse(path, dev, dir, nullptr, nullptr, nameext);
}

int ksMerge(char* out, const char* dev, const char* dir, const char* name, const char* ext) {
    if (!out) return KS_BADSPEC;
    // Each part without the blanks around it, as ktStrTrim leaves it.
    auto trimmed = [](const char* text) {
        if (!text) return string_view();
        string_view v(text);
        auto blank = [](char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; };
        while (!v.empty() && blank(v.front())) v.remove_prefix(1);
        while (!v.empty() && blank(v.back())) v.remove_suffix(1);
        return v;
    };
    string_view dv = trimmed(dev), dr = trimmed(dir), nm = trimmed(name), ex = trimmed(ext);
    bool slash = !dr.empty() && dr.back() != '/';
    size_t len = dv.size() + dr.size() + nm.size() + ex.size() + (ext ? 1 : 0) + (slash ? 1 : 0);
    if (len >= KS_PATHMAX) return KS_BADSPEC;
    // Built apart first: `out` may be one of the parts.
    char r[KS_PATHMAX];
    size_t at = 0;
    auto add = [&](string_view v) {
        if (v.empty()) return;
        std::memcpy(r + at, v.data(), v.size());
        at += v.size();
    };
    add(dv);
    add(dr);
    if (slash) r[at++] = '/';
    add(nm);
    if (!ex.empty()) {
        r[at++] = '.';
        add(ex);
    }
    r[at] = '\0';
    std::memcpy(out, r, at + 1);
    return KS_OK;
}

int ksDnpath(char* dir, const char* level) {
    if (!dir) return KS_BADSPEC;
    if (!level || !*level) return KS_OK;
    string_view d(dir), l(level);
    bool sep = !d.empty() && d.back() != '/';
    bool tail = l.back() != '/';
    if (d.size() + sep + l.size() + tail > kMaxLen) return KS_BADSPEC;
    std::string r(d);
    if (sep) r += '/';
    r.append(l);
    if (tail) r += '/';
    std::memcpy(dir, r.c_str(), r.size() + 1);
    return KS_OK;
}

int ksUppath(char* path, char* last) {
    if (last) *last = '\0';
    if (!path) return KS_BADSPEC;
    size_t n = std::strlen(path);
    if (n && path[n - 1] == '/') --n;
    if (n == 0) return KS_NOTFOUND;
    string_view p(path, n);
    size_t slash = p.rfind('/');
    size_t start = slash == npos ? 0 : slash + 1;
    put(last, p.substr(start));
    path[start] = '\0';
    return KS_OK;
}

int ksConvPath(const char* path, char* out) {
    if (!path || !out) return KS_BADSPEC;
    auto isSep = [](char c) { return c == '/' || c == '\\'; };
    char buf[KS_PATHMAX];
    size_t n = 0;
    for (const char* p = path; *p; ++p) {
        // The last separator of a run survives.
        if (isSep(*p) && isSep(p[1])) continue;
        if (n == kMaxLen) return KS_BADSPEC;
        buf[n++] = *p == '\\' ? '/' : *p;
    }
    buf[n] = '\0';
    std::memcpy(out, buf, n + 1);
    return KS_OK;
}

namespace {
// Whether `path` is already what ksAbsPath2 makes of it: absolute, with
// nothing to convert, expand, trim or resolve, and no final '.' that the
// extension rules could touch.
bool alreadyAbsolute(string_view p) {
    if (p.empty() || p.front() != '/' || p.size() > kMaxLen || p.back() == '.') return false;
    for (size_t i = 0; i < p.size(); ++i) {
        char c = p[i];
        if (c == '\\' || std::isspace(static_cast<unsigned char>(c))) return false;
        if (c != '/') continue;
        string_view next = p.substr(i + 1);
        if (next.starts_with('/') || next == "." || next.starts_with("./") || next == ".." ||
            next.starts_with("../"))
            return false;
    }
    return true;
}
}  // namespace

int ksAbsPath2(const char* path, ksPathBuf& out) {
    if (!path) return KS_BADSPEC;
    if (size_t n = std::strlen(path); alreadyAbsolute(string_view(path, n))) {
        std::memmove(out, path, n + 1);
        return KS_OK;
    }
    char work[KS_PATHMAX];
    if (ksConvPath(path, work) != KS_OK) return KS_BADSPEC;
    int st = expandHome(work);
    if (st != KS_OK) return st;
    bool dotEnd = endsInDot(work);
    if ((st = remerge(work, dotEnd)) != KS_OK) return st;

    char dir[KS_PATHMAX];
    ksParse(work, nullptr, dir, nullptr, nullptr);
    char joined[2 * KS_PATHMAX + 1];
    size_t n = 0;
    if (dir[0] != '/') {
        char base[KS_PATHMAX];
        if (ksGetdef(base) != KS_OK) return KS_NOTFOUND;
        n = std::strlen(base);
        std::memcpy(joined, base, n);
        if (n == 0 || joined[n - 1] != '/') joined[n++] = '/';
    }
    size_t w = std::strlen(work);
    std::memcpy(joined + n, work, w);
    n += w;
    if ((st = resolve(string_view(joined, n), work)) != KS_OK) return st;
    if ((st = remerge(work, dotEnd)) != KS_OK) return st;
    std::strcpy(out, work);
    return KS_OK;
}

int ksAbsPath(ksPathBuf& path) {
    size_t n = std::strlen(path);
    bool slash = n && path[n - 1] == '/';
    char out[KS_PATHMAX];
    int st = ksAbsPath2(path, out);
    if (st != KS_OK) return st;
    size_t m = std::strlen(out);
    // The root keeps its '/', which is all it has.
    if (!slash && m > 1 && out[m - 1] == '/') out[m - 1] = '\0';
    std::strcpy(path, out);
    return KS_OK;
}

namespace {
// The path that the last look at a file found to be a regular file, so that
// ksFopen straight after it (the way a file is commonly first tested, then
// opened) needn't look again; any other look forgets it.
char lastRegular[KS_PATHMAX];

void noteLook(const char* path, const struct stat* st) {
    size_t n = std::strlen(path);
    if (st && S_ISREG(st->st_mode) && n < sizeof lastRegular)
        std::memcpy(lastRegular, path, n + 1);
    else
        lastRegular[0] = '\0';
}
}  // namespace

void ksNoteRegular(const char* path) {
    struct stat st{};
    st.st_mode = S_IFREG;
    noteLook(path, &st);
}

bool ksLookedRegular(const char* path) {
    return path && lastRegular[0] && std::strcmp(lastRegular, path) == 0;
}

int ksInfo(const char* path, uint32_t* time, long* size, int* kind) {
    struct stat st;
    if (!path) return KS_NOTFOUND;
    if (ksSysV.stat(path, &st) != 0) {
        noteLook(path, nullptr);
        return KS_NOTFOUND;
    }
    noteLook(path, &st);
    if (size) *size = static_cast<long>(st.st_size);
    if (kind) *kind = kindOf(st.st_mode);
    if (time) *time = localSeconds(st.st_mtime);
    return KS_OK;
}

int ksExists(const char* path, int kind) {
    int is;
    int st = ksInfo(path, nullptr, nullptr, &is);
    if (st != KS_OK) return st;
    return (kind == KS_ANY || kind == is) ? KS_OK : KS_NOTFOUND;
}

int ksExists2(const char* path, int kind, ksPathBuf& out) {
    if (ksExists(path, kind) != KS_OK) return KS_NOTFOUND;
    return ksAbsPath2(path, out);
}

uint32_t ksFtime(const char* path) {
    uint32_t t;
    return ksInfo(path, &t, nullptr, nullptr) == KS_OK ? t : 0;
}

int ksCreate(const char* path, int kind) {
    lastRegular[0] = '\0';
    if (!path || std::strlen(path) >= KS_PATHMAX) return KS_BADSPEC;
    if (kind == KS_DIR) return createDir(path);
    return createUncut(path, KS_FILE, [&] {
        FILE* f = std::fopen(path, "w+");
        if (!f) return KS_NOCREATE;
        std::fclose(f);
        return KS_OK;
    });
}

int ksDelete(const char* path, int kind) {
    lastRegular[0] = '\0';
    if (!path) return KS_BADSPEC;
    size_t n = std::strlen(path);
    if (n >= KS_PATHMAX) return KS_BADSPEC;
    char p[KS_PATHMAX];
    std::memcpy(p, path, n + 1);
    if (kind == KS_DIR && n && p[n - 1] == '/') p[n - 1] = '\0';
    struct stat st;
    if (ksSysV.stat(p, &st) != 0) return failedRemoval();
    // Checked here, not left to the system, so that a read-only object is
    // safe from a program that runs with every permission.
    if (!(st.st_mode & 0222)) return KS_NOACCESS;
    int r = kind == KS_FILE ? ksSysV.unlink(p) : ksSysV.rmdir(p);
    return r == 0 ? KS_OK : failedRemoval();
}

int ksRename(const char* from, const char* to) {
    lastRegular[0] = '\0';
    if (!from || !to) return KS_BADSPEC;
    if (ksSysV.rename(from, to) == 0) return KS_OK;
    if (errno == EACCES) return KS_NOACCESS;
    if (errno == ENOENT) return KS_NOTFOUND;
    return KS_BADSPEC;
}

int ksXfer(FILE* from, FILE* to) {
    if (!from || !to) return KS_BADSPEC;
    constexpr size_t kChunk = 32767;
    std::unique_ptr<void, decltype(&ktMemFree)> buf(ktMemMalloc(kChunk, "ksXfer"), &ktMemFree);
    for (;;) {
        size_t n = ksSysV.fread(buf.get(), 1, kChunk, from);
        if (n && ksSysV.fwrite(buf.get(), 1, n, to) != n) return KS_IOERROR;
        if (n < kChunk) break;
    }
    // A read that failed is no end of the data.
    return std::ferror(from) ? KS_IOERROR : KS_OK;
}

namespace {
// The descriptor of the regular file at `path`, opened for reading, with
// what fstat says of it; -1 with errno set otherwise (EINVAL for anything
// but a regular file).
int openRegular(const char* path, struct stat& st) {
    auto regular = [](const struct stat& s) {
        if (S_ISREG(s.st_mode)) return true;
        errno = EINVAL;
        return false;
    };
    // Looked at before the open, which itself has effects on a device and
    // waits on a FIFO (unless the look just made found a regular file
    // there); and again on what was opened, which may have been put there
    // meanwhile.
    bool looked = lastRegular[0] && std::strcmp(lastRegular, path) == 0;
    lastRegular[0] = '\0';
    if (!looked && (ksSysV.stat(path, &st) != 0 || !regular(st))) return -1;
    int fd = open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) return -1;
    // A regular file never blocks a read: the descriptor may keep O_NONBLOCK.
    if (fstat(fd, &st) == 0 && regular(st)) return fd;
    int e = errno;
    close(fd);
    errno = e;
    return -1;
}
}  // namespace

namespace {
// A text stream read straight from its descriptor: it costs no system call
// to set up, and stdio takes its block size as given instead of asking.
ssize_t readFd(void* cookie, char* buf, size_t size) {
    return ::read(static_cast<int>(reinterpret_cast<intptr_t>(cookie)), buf, size);
}
int seekFd(void* cookie, off64_t* at, int whence) {
    off64_t to = ::lseek64(static_cast<int>(reinterpret_cast<intptr_t>(cookie)), *at, whence);
    if (to < 0) return -1;
    *at = to;
    return 0;
}
int closeFd(void* cookie) {
    return ::close(static_cast<int>(reinterpret_cast<intptr_t>(cookie)));
}

// The stream of a descriptor opened for reading. A binary one stays a plain
// descriptor stream, since its users examine it by descriptor.
FILE* readStream(int fd, const char* mode) {
    if (std::strchr(mode, 'b')) return fdopen(fd, mode);
    return fopencookie(reinterpret_cast<void*>(static_cast<intptr_t>(fd)), "r",
                       cookie_io_functions_t{readFd, nullptr, seekFd, closeFd});
}
}  // namespace

FILE* ksFopenStamped(const char* path, const char* mode, uint32_t* time) {
    struct stat st;
    if (time) *time = 0;
    if (!path || !mode || mode[0] != 'r' || std::strchr(mode, '+')) {
        errno = EINVAL;
        return nullptr;
    }
    int fd = openRegular(path, st);
    if (fd < 0) return nullptr;
    FILE* f = readStream(fd, mode);
    if (!f) {
        int e = errno;
        close(fd);
        errno = e;
        return nullptr;
    }
    if (time) *time = localSeconds(st.st_mtime);
    return f;
}

int ksOpenRead(const char* path, long* size) {
    struct stat st;
    if (size) *size = 0;
    if (!path) {
        errno = EINVAL;
        return -1;
    }
    int fd = openRegular(path, st);
    if (fd >= 0 && size) *size = static_cast<long>(st.st_size);
    return fd;
}

FILE* ksFopen(const char* path, const char* mode) {
    return ksFopenStamped(path, mode, nullptr);
}

int ksCopy(const char* from, const char* to) {
    lastRegular[0] = '\0';
    if (!from || !to) return KS_BADSPEC;
    std::unique_ptr<FILE, decltype(&std::fclose)> in(std::fopen(from, "rb"), &std::fclose);
    if (!in) return KS_NOTFOUND;
    if (ksExists(to, KS_FILE) == KS_OK && ksDelete(to, KS_FILE) != KS_OK) return KS_NOTFOUND;
    FILE* out = std::fopen(to, "wb");
    if (!out) return KS_NOTFOUND;
    int st = ksXfer(in.get(), out);
    // Buffered data reaches the disk at the close: a failure there is a
    // failed transfer too.
    if (std::fclose(out) != 0 && st == KS_OK) st = KS_IOERROR;
    in.reset();
    if (st == KS_IOERROR) ksDelete(to, KS_FILE);
    if (st != KS_OK) return st;

    struct stat s;
    if (ksSysV.stat(from, &s) != 0) return KS_NOTFOUND;
    struct utimbuf times = {s.st_atime, s.st_mtime};
    return ksSysV.utime(to, &times) == 0 ? KS_OK : KS_NOTFOUND;
}

int ksLoop2(const char* pattern, int kind, ksLoopProc proc, void* data) {
    char abs[KS_PATHMAX];
    int st = ksAbsPath2(pattern, abs);
    if (st != KS_OK) return st;
    char dev[KS_PATHMAX], dir[KS_PATHMAX], last[KS_PATHMAX];
    if ((st = ksParse2(abs, dev, dir, last)) != KS_OK) return st;
    if (!*last) {
        if (kind == KS_FILE) return KS_BADSPEC;
        kind = KS_DIR;
    }
    char where[KS_PATHMAX];
    if ((st = ksMerge(where, dev, dir, nullptr, nullptr)) != KS_OK) return st;
    uint32_t dirTime;
    if (ksInfo(where, &dirTime, nullptr, nullptr) != KS_OK) return KS_NOTFOUND;

    DirRec* rec = fetchDir(where, dirTime);
    ++rec->refcount;
    // Released on every way out, a throw from the callback included.
    HoldRec hold{rec};
    bool countOnly = !proc || reinterpret_cast<void (*)()>(proc) == ktDummyProc;
    int count = 0;
    const DirEntry* e = entriesOf(rec);
    for (int i = 0; i < rec->count; ++i) {
        if (e[i].kind == -1) continue;
        if (kind != KS_ANY && e[i].kind != kind) continue;
        if (!*last || !ktStrMat(last, e[i].name)) continue;
        char full[KS_PATHMAX];
        // A cut path would name another object.
        if (!join(where, e[i].name, full)) continue;
        ++count;
        if (!countOnly && proc(full, data) == 0) break;
    }
    return count ? KS_OK : KS_NOTFOUND;
}

int ksGetdef(ksPathBuf& dir) {
    if (!haveDefDir) {
        char buf[KS_PATHMAX];
        if (!ksSysV.getcwd(buf, sizeof buf)) return KS_ERROR;
        size_t n = std::strlen(buf);
        if ((n == 0 || buf[n - 1] != '/') && n < kMaxLen) {
            buf[n] = '/';
            buf[n + 1] = '\0';
        }
        std::strcpy(defDir, buf);
        haveDefDir = true;
    }
    std::strcpy(dir, defDir);
    return KS_OK;
}

void ksGetdefReset() {
    haveDefDir = false;
}

const char* ksGetuid() {
    static char uid[24];
    std::snprintf(uid, sizeof uid, "%d", static_cast<int>(getuid()));
    return uid;
}

const char* ksGethostname() {
    static char name[64];
    char buf[256];
    bool ok = ksSysV.gethostname(buf, sizeof buf) == 0 && std::memchr(buf, '\0', sizeof buf) &&
              *buf && std::strlen(buf) < sizeof name;
    std::strcpy(name, ok ? buf : "localhost");
    return name;
}

uint32_t ksGethostid() {
    return static_cast<uint32_t>(ksSysV.gethostid());
}

int ksTimer(int mode, uint32_t* out) {
    if (!out || (mode != KS_TIMER_LOCALSEC && mode != KS_TIMER_MONTHCENTI)) return KS_BADSPEC;
    time_t now = ksSysV.time(nullptr);
    struct tm local;
    localtime_r(&now, &local);
    if (mode == KS_TIMER_MONTHCENTI) {
        *out = static_cast<uint32_t>((local.tm_mday - 1) * 8640000 + local.tm_hour * 360000 +
                                     local.tm_min * 6000 + local.tm_sec * 100);
        return KS_OK;
    }
    struct tm gm;
    gmtime_r(&now, &gm);
    int gday = envInRange("KS_TIMER_GMDAY", 0, 6, gm.tm_wday);
    int lday = envInRange("KS_TIMER_LOCALDAY", 0, 6, local.tm_wday);
    int ghour = envInRange("KS_TIMER_GMHOUR", 0, 23, gm.tm_hour);
    int lhour = envInRange("KS_TIMER_LOCALHOUR", 0, 23, local.tm_hour);
    // The hours of the week wrap between Saturday and Sunday.
    if (gday == 0 && lday == 6) gday = 7;
    if (lday == 0 && gday == 6) lday = 7;
    long diff = (gday * 24L + ghour) - (lday * 24L + lhour);
    *out = static_cast<uint32_t>(now - diff * 3600);
    return KS_OK;
}

namespace {
struct stat stdStatus[3];
bool stdKnown[3];
}  // namespace

bool ksStdFileStatus(int fd, struct stat* st) {
    if (fd < 0 || fd > 2 || !stdKnown[fd]) return false;
    *st = stdStatus[fd];
    return true;
}

void ksStdFilesOpen() {
    for (int fd = 0; fd <= 2; ++fd) {
        // The look that tells whether it is open also tells what it is.
        stdKnown[fd] = fstat(fd, &stdStatus[fd]) == 0;
        if (stdKnown[fd] || errno != EBADF) continue;
        // The lowest free descriptor is this one, since those below are open.
        int got = open("/dev/null", fd == 0 ? O_RDONLY : O_WRONLY);
        if (got >= 0 && got != fd) {
            dup2(got, fd);
            close(got);
        }
    }
}

void ksSleepSec(unsigned seconds) {
    ksSysV.sleep(seconds);
}

void ksCoreDump() {
    std::abort();
}
