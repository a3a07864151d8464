// Message files: opening with the identity and version checks, the list of
// open handles, the cache of texts, and formatting into the static buffer.
// A fetch that misses the cache costs a binary search of the index held in
// memory, one seek and one read; the file itself is never read whole.
#include "ktmsg.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "kspath.h"
#include "kssrch.h"
#include "ktdufs.h"
#include "kterr.h"
#include "ktex.h"
#include "ktfmt.h"
#include "ktlib_msg.h"
#include "ktmem.h"
#include "ktregexp.h"
#include "ktstr.h"

ktMsgCache ktMsg_CacheV = {};

static_assert(sizeof(ktMsgIndexEntry) == 3 * sizeof(int32_t), "an index entry is read as 3 ints");

namespace {

constexpr const char* kExt = "kmb";
// The library's own file can't explain its own failures: they are made in
// place as Fatal texts.
constexpr const char* kOwnName = "ktlib";
constexpr size_t kStaticStep = 256;
constexpr int kExitOrder = 85;

ktMsgHandle* openFiles = nullptr;      // newest first
ktMsgHandle* ownFile = nullptr;        // ktMsgFile's handle while it is open
const ktMsgHandle* ownLast = nullptr;  // its last address: compared, never followed
bool started = false;
bool debugMissing = false;  // KT_MSGFILEDBG, read at the first opening
char* staticText = nullptr;
size_t staticSize = 0;

bool isOpen(const ktMsgHandle* h) {
    for (const ktMsgHandle* p = openFiles; p; p = p->next)
        if (p == h) return true;
    return false;
}

bool isOwnName(const char* name) {
    return name && ktStrIcmp(name, kOwnName) == 0;
}

// ---- failures

[[noreturn]] void ownOpenFailure(uint32_t tag, int error) {
    char text[128];
    std::snprintf(text, sizeof text, "KTLIB Error %d: Can't open message file %s.%s!\n", error,
                  kOwnName, kExt);
    ktExThrow2(tag, "ktlib", KT_ERR_FATAL, text);
}

template <typename... Args>
[[noreturn]] void openFailure(uint32_t tag, const char* name, int error, Args... args) {
    if (isOwnName(name)) ownOpenFailure(tag, error);
    ktExThrowBuild(tag, ktErrLocationRoutine("ktMsgFileOpen"), ktMsgFile(), error, args...);
}

// "KTLIB Error ..." for a message of the own file (number 0: the file as a
// whole), into `out`. With `escape` every '%' is doubled, for a text that is
// formatted again.
void ownFetchText(char* out, size_t size, int error, int number, const char* path, bool escape) {
    char dir[KS_PATHMAX] = "", name[KS_PATHMAX] = "", ext[KS_PATHMAX] = "";
    std::snprintf(name, sizeof name, "%s", kOwnName);
    std::snprintf(ext, sizeof ext, "%s", kExt);
    if (path) ksParse(path, nullptr, dir, name, ext);
    std::string dotExt = std::string(".") + ext;
    std::vector<char> text(size);
    if (number == 0)
        std::snprintf(text.data(), size, "KTLIB Error %d: Can't access message file %s%s%s!\n",
                      error, dir, name, dotExt.c_str());
    else
        std::snprintf(text.data(), size,
                      "KTLIB Error %d: Can't find message #%d in message file %s%s%s!\n", error,
                      number, dir, name, dotExt.c_str());
    size_t n = 0;
    for (const char* p = text.data(); *p && n + 2 < size; ++p) {
        if (*p == '%' && escape) out[n++] = '%';
        out[n++] = *p;
    }
    out[n] = '\0';
}

[[noreturn]] void ownFetchFailure(uint32_t tag, int error, int number, const char* path) {
    char text[3 * KS_PATHMAX + 128];
    ownFetchText(text, sizeof text, error, number, path, false);
    ktExThrow2(tag, "ktlib", KT_ERR_FATAL, text);
}

[[noreturn]] void fetchFailure(const ktMsgHandle* h, int error, int number) {
    if (isOwnName(h->name)) ownFetchFailure(KT_EX_FAIL, error, number, h->core->path);
    ktExThrowBuild(KT_EX_FAIL, ktErrLocationRoutine("ktMsgText"), ktMsgFile(), error, number,
                   h->core->path);
}

[[noreturn]] void invalidHandle(const ktMsgHandle* h, const char* routine) {
    if (h && h == ownLast) ownFetchFailure(KT_EX_PRECOND, KTM_MSG_BADHANDLE, 0, nullptr);
    ktExThrowBuild(KT_EX_PRECOND, ktErrLocationRoutine(routine), ktMsgFile(), KTM_MSG_BADHANDLE);
}

// ---- versions

constexpr const char kDefineLine[] =
    "^#[ \t]*define[ \t]+[_a-zA-Z][_a-zA-Z0-9]*[ \t]+(-([12])|([0-9]+))[ \t]+/\\*[ \t]*\"";
constexpr const char kVersionText[] = "^([0-9]+)(\\.([0-9]+)(\\.([0-9]+))?)?$";

ktRegexp* defineLineV = nullptr;
ktRegexp* versionTextV = nullptr;

void releasePatterns() {
    ktRegexpDestroy(defineLineV);
    ktRegexpDestroy(versionTextV);
    defineLineV = versionTextV = nullptr;
}

void compilePatterns() {
    if (defineLineV) return;
    defineLineV = ktRegexpCompile(kDefineLine);
    versionTextV = ktRegexpCompile(kVersionText);
    ktOnExitAdd(releasePatterns);
    ktOnExitSetOrder(releasePatterns, kExitOrder);
}

int32_t decimal(const char* from, const char* to) {
    long long n = 0;
    for (; from < to; ++from) {
        n = n * 10 + (*from - '0');
        if (n > INT32_MAX) return INT32_MAX;
    }
    return static_cast<int32_t>(n);
}

// Reads "5.3.1", "5.3" or "5" (or a definition line of a message source whose
// text is such a version) into `parts`; a part the text doesn't give keeps
// what `parts` held. The empty text gives nothing. False for any other text.
bool parseVersion(const char* text, int32_t parts[3]) {
    compilePatterns();
    std::vector<char> literal;
    ktRegexpMatch m;
    if (ktRegexpExec(defineLineV, &m, text)) {
        const char* open = m.endp[0] - 1;  // the opening quote
        literal.resize(std::strlen(open) + 1);
        if (!ktStrCvtFromLiteral(open, literal.data(), static_cast<int>(literal.size()), 0, 0))
            return false;
        text = literal.data();
    }
    if (*text == '\0') return true;
    if (!ktRegexpExec(versionTextV, &m, text)) return false;
    const int groups[3] = {1, 3, 5};
    for (int i = 0; i < 3; ++i)
        if (m.startp[groups[i]]) parts[i] = decimal(m.startp[groups[i]], m.endp[groups[i]]);
    return true;
}

// True if the string record at `offset` holds exactly `want`.
bool recordEquals(ktMsgCore* c, int32_t offset, const char* want) {
    int16_t length = 0;
    if (offset <= 0 || ktDufsBFseek(c->fp, offset, SEEK_SET) != 0 ||
        ktDufsBRead(c->fp, &length, 1, KT_DUFS_SHORT, 1) != 1 || length <= 0)
        return false;
    std::vector<char> text(static_cast<size_t>(length) + 1, '\0');
    if (ktDufsBRead(c->fp, text.data(), static_cast<size_t>(length), KT_DUFS_BYTES, 0) !=
        static_cast<size_t>(length))
        return false;
    return std::strcmp(text.data(), want) == 0;
}

bool versionPasses(ktMsgCore* c, const char* app, const char* label, const char* minver,
                   const char* maxver) {
    const int32_t* hd = c->header;
    if (app && !recordEquals(c, hd[KT_MSG_HAPP], app)) return false;
    if (label && !recordEquals(c, hd[KT_MSG_HLABEL], label)) return false;
    if (!minver && !maxver) return true;
    const int32_t file[3] = {hd[KT_MSG_HMAJOR], hd[KT_MSG_HMINOR], hd[KT_MSG_HPATCH]};
    // Parts a demand leaves out: of the lowest, the file's major and zeros;
    // of the highest, the file's own.
    int32_t low[3] = {file[0], 0, 0};
    int32_t high[3] = {file[0], file[1], file[2]};
    if (minver && !parseVersion(minver, low)) return false;
    if (maxver && !parseVersion(maxver, high)) return false;
    // Field by field, not as one number: 5.4.0 is below a lowest 5.3.1.
    for (int i = 0; i < 3; ++i)
        if (file[i] < low[i] || file[i] > high[i]) return false;
    return true;
}

void checkVersion(ktMsgHandle* h, const char* app, const char* label, const char* minver,
                  const char* maxver) {
    if (versionPasses(h->core, app, label, minver, maxver)) return;
    if (std::getenv("KT_MSGNOVERSION")) {
        ktErrOut3(h->core->path, "ktlib", KT_ERR_WARNING, "Message file failed versioning check.");
        return;
    }
    if (isOwnName(h->name)) {
        char text[KS_PATHMAX + 64];
        std::snprintf(text, sizeof text, "Trying to use wrong version of message file %s.%s!\n",
                      h->name, kExt);
        ktExThrow2(KT_EX_FAIL, "ktlib", KT_ERR_FATAL, text);
    }
    ktExThrowBuild(KT_EX_FAIL, ktErrLocationRoutine("ktMsgFileOpen"), ktMsgFile(),
                   KTM_MSG_BADVERSION, h->core->path);
}

// ---- files

void releaseCore(ktMsgCore* c) {
    if (c->fp) ktDufsBFclose(c->fp);
    if (c->path) ktStrFree(c->path);
    if (c->index) ktMemFree(c->index);
    ktMemFree(c);
}

void readIndex(ktMsgCore* c, const char* name) {
    int32_t* hd = c->header;
    if (ktDufsBRead(c->fp, hd, KT_MSG_HEADERWORDS, KT_DUFS_INT, 1) != KT_MSG_HEADERWORDS ||
        hd[KT_MSG_HMAGIC] != KT_MSG_MAGIC)
        openFailure(KT_EX_FAIL, name, KTM_MSG_BADFILE, c->path);
    int32_t count = 0;
    if (hd[KT_MSG_HINDEX] < 0 || ktDufsBFseek(c->fp, hd[KT_MSG_HINDEX], SEEK_SET) != 0 ||
        ktDufsBRead(c->fp, &count, 1, KT_DUFS_INT, 1) != 1 || count < 0 || count > KT_MSG_MAXCOUNT)
        openFailure(KT_EX_FAIL, name, KTM_MSG_BADFILE, c->path);
    c->count = count;
    if (count == 0) return;
    size_t words = 3 * static_cast<size_t>(count);
    c->index = static_cast<ktMsgIndexEntry*>(
        ktMemMalloc(static_cast<size_t>(count) * sizeof(ktMsgIndexEntry), "ktMsgIndex"));
    if (ktDufsBRead(c->fp, c->index, words, KT_DUFS_INT, 1) != words)
        openFailure(KT_EX_FAIL, name, KTM_MSG_NOINDEX, c->path);
    for (int32_t i = 0; i < count; ++i)
        if (c->index[i].length > c->maxlen) c->maxlen = c->index[i].length;
}

ktMsgCore* openCore(const char* name) {
    char file[KS_PATHMAX], path[KS_PATHMAX];
    if (ksMerge(file, nullptr, nullptr, name, kExt) != KS_OK)
        openFailure(KT_EX_FAIL, name, KTM_MSG_BADNAME, name, kExt);
    if (ksGetini(file, path) != KS_OK) openFailure(KT_EX_FAIL, name, KTM_MSG_NOTFOUND, file);
    ktDufsB* fp = ktDufsBFopen(path, "r");
    if (!fp) openFailure(KT_EX_FAIL, name, KTM_MSG_NOOPEN, path);
    auto* c = static_cast<ktMsgCore*>(ktMemCalloc(1, sizeof(ktMsgCore), "ktMsgCore"));
    c->fp = fp;
    c->path = ktStrCpy(path);
    ktExCatch(
        KT_EX_ALL,
        [&] {
            readIndex(c, name);
            return 0;
        },
        [&](uint32_t tag, ktErrObject* err) -> int {
            releaseCore(c);
            ktExThrow(tag, err);
        });
    return c;
}

// ---- the cache

ktMsgCacheEntry*& chainOf(int number) {
    return ktMsg_CacheV.chains[static_cast<unsigned>(number) % KT_MSG_CHAINS];
}

void unlinkChain(ktMsgCacheEntry* e) {
    if (e->hprev)
        e->hprev->hnext = e->hnext;
    else
        chainOf(e->number) = e->hnext;
    if (e->hnext) e->hnext->hprev = e->hprev;
    e->hnext = e->hprev = nullptr;
}

void linkChain(ktMsgCacheEntry* e) {
    ktMsgCacheEntry*& head = chainOf(e->number);
    e->hprev = nullptr;
    e->hnext = head;
    if (head) head->hprev = e;
    head = e;
}

void unlinkRecency(ktMsgCacheEntry* e) {
    ktMsgCache& c = ktMsg_CacheV;
    if (e->newer)
        e->newer->older = e->older;
    else
        c.newest = e->older;
    if (e->older)
        e->older->newer = e->newer;
    else
        c.oldest = e->newer;
    e->older = e->newer = nullptr;
}

void linkNewest(ktMsgCacheEntry* e) {
    ktMsgCache& c = ktMsg_CacheV;
    e->newer = nullptr;
    e->older = c.newest;
    if (c.newest) c.newest->newer = e;
    c.newest = e;
    if (!c.oldest) c.oldest = e;
}

void releaseCache() {
    ktMsgCache& c = ktMsg_CacheV;
    if (!c.entries) return;
    for (int i = 0; i < KT_MSG_CACHESIZE; ++i) ktMemFree(c.entries[i].text);
    ktMemFree(c.entries);
    c = ktMsgCache{};
}

void startCache() {
    ktMsgCache& c = ktMsg_CacheV;
    if (c.entries) return;
    c.entries = static_cast<ktMsgCacheEntry*>(
        ktMemCalloc(KT_MSG_CACHESIZE, sizeof(ktMsgCacheEntry), "msgcache-initialize"));
    // Pushed from the back, so that the first entry is the first taken.
    for (int i = KT_MSG_CACHESIZE - 1; i >= 0; --i) {
        ktMsgCacheEntry& e = c.entries[i];
        e.text = static_cast<char*>(ktMemMalloc(KT_MSG_TEXTSIZE, "msgcache-initialize"));
        e.capacity = KT_MSG_TEXTSIZE;
        e.hnext = c.free;
        c.free = &e;
    }
    ktOnExitAdd(releaseCache);
    ktOnExitSetOrder(releaseCache, kExitOrder);
}

ktMsgCacheEntry* cacheFind(const ktMsgHandle* h, int number) {
    for (ktMsgCacheEntry* e = chainOf(number); e; e = e->hnext)
        if (e->file == h && e->number == number) return e;
    return nullptr;
}

// A free entry, or else the oldest, taken off its lists.
ktMsgCacheEntry* takeEntry() {
    ktMsgCache& c = ktMsg_CacheV;
    if (ktMsgCacheEntry* e = c.free) {
        c.free = e->hnext;
        e->hnext = nullptr;
        return e;
    }
    ktMsgCacheEntry* e = c.oldest;
    unlinkChain(e);
    unlinkRecency(e);
    return e;
}

// The entries of a closing file go back to the free list: a later handle
// may be given the same address, and must not find the old texts.
void forgetEntries(const ktMsgHandle* h) {
    ktMsgCache& c = ktMsg_CacheV;
    if (!c.entries) return;
    for (int i = 0; i < KT_MSG_CACHESIZE; ++i) {
        ktMsgCacheEntry* e = &c.entries[i];
        if (e->file != h) continue;
        unlinkChain(e);
        unlinkRecency(e);
        e->file = nullptr;
        e->hnext = c.free;
        c.free = e;
    }
}

const ktMsgIndexEntry* indexFind(const ktMsgCore* c, int number) {
    int32_t lo = 0, hi = c->count - 1;
    while (lo <= hi) {
        int32_t mid = lo + (hi - lo) / 2;
        const ktMsgIndexEntry* e = &c->index[mid];
        if (e->number == number) return e;
        if (e->number < number)
            lo = mid + 1;
        else
            hi = mid - 1;
    }
    return nullptr;
}

// ---- handles

void closeHandle(ktMsgHandle* h) {
    if (h->prev)
        h->prev->next = h->next;
    else
        openFiles = h->next;
    if (h->next) h->next->prev = h->prev;
    forgetEntries(h);
    releaseCore(h->core);
    for (char* s : {h->name, h->app, h->label, h->minver, h->maxver})
        if (s) ktStrFree(s);
    if (h == ownFile) ownFile = nullptr;
    ktMemFree(h);
}

// At exit, whatever their references.
void closeAllFiles() {
    while (openFiles) closeHandle(openFiles);
}

void start() {
    if (started) return;
    started = true;
    ktOnExitAdd(closeAllFiles);
    ktOnExitSetOrder(closeAllFiles, kExitOrder);
    debugMissing = std::getenv("KT_MSGFILEDBG") != nullptr;
}

void releaseStatic() {
    if (staticText) ktMemFree(staticText);
    staticText = nullptr;
    staticSize = 0;
}

// A copy of a va_list, ended however the scope is left.
struct ArgsCopy {
    va_list list;
    explicit ArgsCopy(va_list from) { va_copy(list, from); }
    ~ArgsCopy() { va_end(list); }
    ArgsCopy(const ArgsCopy&) = delete;
    ArgsCopy& operator=(const ArgsCopy&) = delete;
};

}  // namespace

ktMsgHandle* ktMsgFileOpen(const char* name, const char* app, const char* label, const char* minver,
                           const char* maxver) {
    start();
    if (!name)
        ktExThrowBuild(KT_EX_PRECOND, ktErrLocationRoutine("ktMsgFileOpen"), ktMsgFile(),
                       KTM_MSG_NONAME, kExt);
    for (ktMsgHandle* h = openFiles; h; h = h->next)
        if (ktStrEqu(h->name, name)) {
            checkVersion(h, app, label, minver, maxver);
            ++h->refs;
            return h;
        }

    ktMsgCore* core = openCore(name);
    auto* h = static_cast<ktMsgHandle*>(ktMemCalloc(1, sizeof(ktMsgHandle), "ktMsgHandle"));
    h->core = core;
    h->name = ktStrCpy(name);
    h->app = ktStrCpy(app);
    h->label = ktStrCpy(label);
    h->minver = ktStrCpy(minver);
    h->maxver = ktStrCpy(maxver);
    h->refs = 1;
    h->next = openFiles;
    if (openFiles) openFiles->prev = h;
    openFiles = h;
    ktExCatch(
        KT_EX_ALL,
        [&] {
            checkVersion(h, app, label, minver, maxver);
            return 0;
        },
        [&](uint32_t tag, ktErrObject* err) -> int {
            closeHandle(h);
            ktExThrow(tag, err);
        });
    return h;
}

void ktMsgFileClose(ktMsgHandle* handle) {
    if (!isOpen(handle)) return;
    if (--handle->refs > 0) return;
    closeHandle(handle);
}

ktMsgHandle* ktMsgFile() {
    if (!ownFile) {
        ownFile = ktMsgFileOpen(kOwnName, "ktlib", "5.0", "5.0.0", nullptr);
        ownLast = ownFile;
    }
    return ownFile;
}

const char* ktMsgGetFilename(ktMsgHandle* handle) {
    return handle ? handle->name : nullptr;
}

int ktMsgText(ktMsgHandle* handle, int number, ktMsgCopyFunc copy, void* data) {
    if (!isOpen(handle)) invalidHandle(handle, "ktMsgText");
    startCache();
    if (ktMsgCacheEntry* e = cacheFind(handle, number)) {
        unlinkRecency(e);
        linkNewest(e);
        return copy(data, e->text);
    }

    ktMsgCore* c = handle->core;
    const ktMsgIndexEntry* ix = indexFind(c, number);
    if (!ix) {
        if (!debugMissing) fetchFailure(handle, KTM_MSG_NOMESSAGE, number);
        char text[3 * KS_PATHMAX + 128];
        ownFetchText(text, sizeof text, KTM_MSG_NOMESSAGE, number, c->path, true);
        return copy(data, text);
    }
    if (ktDufsBFseek(c->fp, ix->offset, SEEK_SET) != 0)
        fetchFailure(handle, KTM_MSG_NOSEEK, number);

    ktMsgCacheEntry* e = takeEntry();
    if (ix->length > e->capacity) {
        ktMemFree(e->text);
        e->text =
            static_cast<char*>(ktMemMalloc(static_cast<size_t>(ix->length), "msgcache-initialize"));
        e->capacity = ix->length;
    }
    e->file = handle;
    e->number = number;
    linkNewest(e);
    linkChain(e);
    size_t length = ix->length > 0 ? static_cast<size_t>(ix->length) : 0;
    if (length == 0 || ktDufsBRead(c->fp, e->text, length, KT_DUFS_BYTES, 0) != length) {
        e->file = nullptr;
        fetchFailure(handle, KTM_MSG_NOREAD, number);
    }
    e->text[length - 1] = '\0';
    return copy(data, e->text);
}

int ktMsgGenerateVa(ktMsgHandle* handle, int number, ktMsgCopyFunc copy, void* data, va_list args) {
    if (!isOpen(handle)) invalidHandle(handle, "ktMsgGenerateVa");
    // A private copy: formatting may fetch other messages (a bad format is
    // reported from the library's file) and so reuse the cache entry.
    struct Raw {
        char* text = nullptr;
        ~Raw() {
            if (text) ktStrFree(text);
        }
    } raw;
    int r = ktMsgText(handle, number, ktMsgCopyAlloc, &raw.text);
    if (r != 0) return r;
    char* text = ktSprintfStaticVa(raw.text, args);
    return copy(data, text ? text : "");
}

int ktMsgCopyToBuffer(void* data, const char* text) {
    auto* b = static_cast<ktMsgBuffer*>(data);
    if (!b->text || b->size == 0) return 1;
    size_t n = std::strlen(text);
    // A text as long as the buffer leaves no room for its zero.
    if (n < b->size) {
        std::memcpy(b->text, text, n + 1);
        return 0;
    }
    std::memcpy(b->text, text, b->size - 1);
    b->text[b->size - 1] = '\0';
    return 1;
}

int ktMsgCopyAlloc(void* data, const char* text) {
    *static_cast<char**>(data) = ktStrCpy(text);
    return 0;
}

char* ktMsgStaticVa(ktMsgHandle* handle, int number, va_list args) {
    if (!staticText) {
        staticSize = kStaticStep;
        staticText = static_cast<char*>(ktMemMalloc(staticSize, "ktStaticBuffer"));
        ktOnExitAdd(releaseStatic);
        ktOnExitSetOrder(releaseStatic, kExitOrder);
    }
    for (;;) {
        ktMsgBuffer buffer{staticText, staticSize};
        ArgsCopy a(args);
        int r = ktMsgGenerateVa(handle, number, ktMsgCopyToBuffer, &buffer, a.list);
        if (r == 0) return staticText;
        if (r != 1) {
            std::snprintf(staticText, staticSize, "*** internal message file error; message #%d",
                          number);
            return staticText;
        }
        // Formatted again in the larger buffer: rare, and then the buffer
        // stays large.
        staticSize += kStaticStep;
        staticText = static_cast<char*>(ktMemRealloc(staticText, staticSize, "ktStaticBuffer"));
    }
}

char* ktMsgStatic(ktMsgHandle* handle, int number, ...) {
    va_list args;
    va_start(args, number);
    char* r = ktMsgStaticVa(handle, number, args);
    va_end(args);
    return r;
}
