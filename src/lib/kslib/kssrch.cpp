// Search lists: the KDIR list, built once at the first search, and the
// rungs of the search for support files. The list holds, for each directory
// D of KDIR in order, D/532/ (marked as a version level) and then D.
#include "kssrch.h"

#include <sys/stat.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "kspath.h"
#include "ktex.h"
#include "ktmem.h"
#include "ktstr.h"

namespace {

constexpr size_t kMaxLen = KS_PATHMAX - 1;
constexpr size_t kEnvMax = 2048;  // the buffer of ksTrnlog
constexpr const char* kSeparators = " \t:";

struct KdirElement {
    KdirElement* next;
    char* path;
    uint32_t versioned;  // 1 for a version level below a directory of KDIR
};

KdirElement* kdirHead = nullptr;
KdirElement** kdirTail = &kdirHead;
bool kdirDirty = true;
char compatVersion[80];

// Where the program was started from and where its executable lies: this
// system fills neither, so the rungs that use them find nothing.
const char* originDir = nullptr;
const char* exeDir = nullptr;

void freeKdirList(void*) {
    while (KdirElement* e = kdirHead) {
        kdirHead = e->next;
        ktMemFree(e->path);
        ktMemFree(e);
    }
    kdirTail = &kdirHead;
}

void appendKdir(const char* path, uint32_t versioned) {
    if (!kdirHead) ktOnExitAdd(freeKdirList, nullptr);
    size_t n = std::strlen(path) + 1;
    auto* e = static_cast<KdirElement*>(ktMemMalloc(sizeof(KdirElement), "Kdir Element"));
    e->next = nullptr;
    e->path = static_cast<char*>(ktMemMalloc(n, "Kdir Element"));
    std::memcpy(e->path, path, n);
    e->versioned = versioned;
    *kdirTail = e;
    kdirTail = &e->next;
}

void buildKdirList() {
    if (!kdirDirty) return;
    kdirDirty = false;
    ktStrncpyNullTerm(compatVersion, ktCompatibleVersionV, sizeof compatVersion);
    char value[kEnvMax];
    if (ksTrnlog("KDIR", value) != KS_OK) return;
    // Where the value was cut inside an entry, the head of that entry would
    // name another directory.
    const char* full = std::getenv("KDIR");
    const char* end = value + std::strlen(value);
    bool cutEntry =
        full && std::strlen(full) > kEnvMax - 1 && !std::strchr(kSeparators, full[kEnvMax - 1]);
    char dir[KS_PATHMAX];
    const char* p = value;
    for (;;) {
        const char* start = p + std::strspn(p, kSeparators);
        if (!(p = ktStrTok(p, dir, sizeof dir, kSeparators))) break;
        // A directory cut to fit would be another directory.
        if (static_cast<size_t>(p - start) > kMaxLen || (cutEntry && p == end)) continue;
        if (*compatVersion) {
            char versioned[KS_PATHMAX];
            std::strcpy(versioned, dir);
            if (ksDnpath(versioned, compatVersion) == KS_OK) appendKdir(versioned, 1);
        }
        appendKdir(dir, 0);
    }
}

// `base` descended into `dir`, joined to name and extension.
int place(char* out, const char* base, const char* dev, const char* dir, const char* name,
          const char* ext) {
    char d[KS_PATHMAX];
    ktStrncpyNullTerm(d, base, sizeof d);
    int st = ksDnpath(d, dir);
    if (st != KS_OK) return st;
    // No extension pointer for an empty extension, whose '.' would count
    // against the length without being written.
    return ksMerge(out, dev, d, name, *ext ? ext : nullptr);
}

struct Spec {
    char dev[KS_PATHMAX], dir[KS_PATHMAX], name[KS_PATHMAX], ext[KS_PATHMAX];
};

bool found(const char* path, int kind, ksPathBuf& out) {
    char abs[KS_PATHMAX];
    if (kind == KS_FILE) {
        // A support file is a regular file: a FIFO or a device of its name
        // would hang its reader, so the search goes on past it. One look
        // at the file tells both that it is there and what it is.
        struct stat st;
        if (ksSysV.stat(path, &st) != 0 || !S_ISREG(st.st_mode)) return false;
        if (ksAbsPath2(path, abs) != KS_OK) return false;
        // The file found is commonly opened next.
        ksNoteRegular(abs);
    } else if (ksExists2(path, kind, abs) != KS_OK) {
        return false;
    }
    std::strcpy(out, abs);
    return true;
}

}  // namespace

int ksTrnlog(const char* name, char* out) {
    if (!name || !out) return KS_BADSPEC;
    const char* value = std::getenv(name);
    if (!value) return KS_NOTFOUND;
    ktStrncpyNullTerm(out, value, kEnvMax);
    return KS_OK;
}

int ksSrchkdirs(const char* spec, int kind, ksPathBuf& out) {
    Spec s;
    if (ksParse(spec, s.dev, s.dir, s.name, s.ext) != KS_OK) return KS_NOACCESS;
    buildKdirList();
    for (const KdirElement* e = kdirHead; e; e = e->next) {
        char path[KS_PATHMAX];
        // An element too long for this file name is passed over.
        if (place(path, e->path, s.dev, s.dir, s.name, s.ext) != KS_OK) continue;
        if (found(path, kind, out)) return KS_OK;
    }
    return KS_NOTFOUND;
}

int ksSrchdirs(const char* spec, int kind, ksPathBuf& out) {
    buildKdirList();
    Spec s;
    if (ksParse(spec, s.dev, s.dir, s.name, s.ext) != KS_OK) return KS_NOACCESS;
    char path[KS_PATHMAX];
    // In the current directory the version level goes behind the
    // requested name's own directory: sub/532/N.
    if (*compatVersion && place(path, s.dir, s.dev, compatVersion, s.name, s.ext) == KS_OK &&
        found(path, kind, out))
        return KS_OK;
    if (found(spec, kind, out)) return KS_OK;
    ktStrncpyNullTerm(out, spec, sizeof out);
    if (s.dir[0] == '/' || s.dev[0]) return KS_NOTFOUND;
    const char* origin = ksGetorigin();
    if (origin && std::strlen(origin) < KS_PATHMAX &&
        place(path, origin, s.dev, s.dir, s.name, s.ext) == KS_OK && found(path, kind, out))
        return KS_OK;
    if (ksSrchkdirs(spec, kind, out) == KS_OK) return KS_OK;
    return ksSrchExeDir(s.dir, s.name, s.ext, kind, out);
}

int ksGetini(const char* spec, ksPathBuf& path) {
    return ksSrchdirs(spec, KS_FILE, path);
}

int ksSrchExeDir(const char* dir, const char* name, const char* ext, int kind, ksPathBuf& out) {
    if (!exeDir || !dir || !name || !ext) return KS_NOTFOUND;
    char path[KS_PATHMAX];
    if (place(path, exeDir, "", dir, name, ext) != KS_OK) return KS_NOTFOUND;
    return found(path, kind, out) ? KS_OK : KS_NOTFOUND;
}

const char* ksGetorigin() {
    return originDir;
}

int ksFindExeInPath(const char* program, ksPathBuf& out) {
    const char* env = std::getenv("PATH");
    if (!env) return KS_NOACCESS;
    char* copy = ktStrCpy(env);
    int st = KS_NOTFOUND;
    char dir[kEnvMax];
    for (const char* p = copy; (p = ktStrTok(p, dir, sizeof dir, kSeparators));) {
        char path[KS_PATHMAX];
        if (ksMerge(path, nullptr, dir, program, nullptr) != KS_OK) {
            st = KS_ERROR;
            break;
        }
        if (found(path, KS_FILE, out)) {
            st = KS_OK;
            break;
        }
    }
    ktStrFree(copy);
    return st;
}

void ksKdirReset() {
    freeKdirList(nullptr);
    kdirDirty = true;
}
