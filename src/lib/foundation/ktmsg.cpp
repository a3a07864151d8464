// Message files: opening with the identity and version checks, the list of
// open handles, the cache of texts, and formatting into the static buffer.
// A fetch that misses the cache costs a binary search of the index held in
// memory, one seek, one read and the check of the text against its
// signature; the file itself is never read whole. Only checked texts enter
// the cache.
#include "ktmsg.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "kspath.h"
#include "kssrch.h"
#include "ktdufs.h"
#include "kterr.h"
#include "ktex.h"
#include "ktfmt.h"
#include "ktlib_msg.h"
#include "ktmem.h"
#include "ktstr.h"

// An open file.
struct ktMsgCore {
    ktDufsB* fp;
    char* path;      // where the search found it
    int32_t maxlen;  // the longest text, its zero counted
    int32_t count;
    ktMsgIndexEntry* index;
    int32_t header[KT_MSG_HEADERWORDS];
    const ktMsgSignatureSet* signatures;  // null for a file the build didn't compile
};

// The strings are copies of those given at the first opening, or null.
struct ktMsgHandle {
    ktMsgHandle* next;  // handles form one list, newest first
    ktMsgHandle* prev;
    ktMsgCore* core;
    char* name;
    char* app;
    char* label;
    char* minver;
    char* maxver;
    int refs;
};

static_assert(sizeof(ktMsgIndexEntry) == 3 * sizeof(int32_t), "an index entry is read as 3 ints");

namespace {

// The cache of message texts: entries on a free list until first used,
// then on one hash chain (number modulo 128) and on the recency list.
constexpr int kCacheSize = 80;
constexpr int kTextSize = 80;  // the first buffer of every entry
constexpr int kChains = 128;

struct CacheEntry {
    ktMsgHandle* file;  // null: matches nothing
    int number;
    char* text;
    int capacity;       // bytes of `text`
    ktSpFmtProg* prog;  // the text parsed once, when it was read
    CacheEntry* hnext;  // hash chain; also the free list
    CacheEntry* hprev;
    CacheEntry* older;  // recency list
    CacheEntry* newer;
};

struct Cache {
    CacheEntry* chains[kChains];
    CacheEntry* newest;
    CacheEntry* oldest;
    CacheEntry* free;
    CacheEntry* entries;  // all of them, null until the first fetch
};
Cache cache = {};

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
// ktMsgStatic formats into this one and then swaps the two, so that an
// argument may be the previous result without a copy of the text.
char* spareText = nullptr;
size_t spareSize = 0;

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
    else if (error == KTM_MSG_BADTEXT)
        std::snprintf(text.data(), size,
                      "KTLIB Error %d: Message #%d in message file %s%s%s is damaged!\n", error,
                      number, dir, name, dotExt.c_str());
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

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

bool isBlank(char c) {
    return c == ' ' || c == '\t';
}

const char* skipBlanks(const char* p) {
    while (isBlank(*p)) ++p;
    return p;
}

// A definition line of a message source whose value is -1, -2 or a number
// and whose comment opens with a quote:
//   #[ \t]*define[ \t]+NAME[ \t]+(-[12]|[0-9]+)[ \t]+/\*[ \t]*"
// Returns the opening quote, or null for any other text.
const char* definedQuote(const char* p) {
    if (*p != '#') return nullptr;
    p = skipBlanks(p + 1);
    if (std::strncmp(p, "define", 6) != 0 || !isBlank(p[6])) return nullptr;
    p = skipBlanks(p + 6);
    auto isLead = [](char c) {
        return c == '_' || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
    };
    if (!isLead(*p)) return nullptr;
    while (isLead(*p) || isDigit(*p)) ++p;
    if (!isBlank(*p)) return nullptr;
    p = skipBlanks(p);
    if (*p == '-') {
        if (p[1] != '1' && p[1] != '2') return nullptr;
        p += 2;
    } else {
        if (!isDigit(*p)) return nullptr;
        while (isDigit(*p)) ++p;
    }
    if (!isBlank(*p)) return nullptr;
    p = skipBlanks(p);
    if (p[0] != '/' || p[1] != '*') return nullptr;
    p = skipBlanks(p + 2);
    return *p == '"' ? p : nullptr;
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
    std::vector<char> literal;
    if (const char* open = definedQuote(text)) {
        literal.resize(std::strlen(open) + 1);
        if (!ktStrCvtFromLiteral(open, literal.data(), static_cast<int>(literal.size()), 0, 0))
            return false;
        text = literal.data();
    }
    if (*text == '\0') return true;
    // Up to three numbers joined by points, and nothing else.
    const char* from[3] = {};
    const char* to[3] = {};
    const char* p = text;
    int n = 0;
    for (;;) {
        from[n] = p;
        while (isDigit(*p)) ++p;
        if (p == from[n]) return false;
        to[n++] = p;
        if (*p == '\0') break;
        if (*p != '.' || n == 3) return false;
        ++p;
    }
    for (int i = 0; i < n; ++i) parts[i] = decimal(from[i], to[i]);
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

// Each entry names a number above the one before and a text that lies
// between the header and the index: anything else is a damaged index, whose
// texts could be taken for other messages or read from outside the file.
bool indexSound(const ktMsgCore* c) {
    const int64_t first = KT_MSG_HEADERWORDS * 4, last = c->header[KT_MSG_HINDEX];
    for (int32_t i = 0; i < c->count; ++i) {
        const ktMsgIndexEntry& e = c->index[i];
        if (e.number <= 0 || (i > 0 && e.number <= c->index[i - 1].number)) return false;
        if (e.length < 1 || e.offset < first || int64_t{e.offset} + e.length > last) return false;
    }
    return true;
}

void readIndex(ktMsgCore* c, const char* name) {
    int32_t* hd = c->header;
    if (ktDufsBRead(c->fp, hd, KT_MSG_HEADERWORDS, KT_DUFS_INT, 1) != KT_MSG_HEADERWORDS ||
        hd[KT_MSG_HMAGIC] != KT_MSG_MAGIC)
        openFailure(KT_EX_FAIL, name, KTM_MSG_BADFILE, c->path);
    int32_t count = 0;
    if (hd[KT_MSG_HINDEX] < KT_MSG_HEADERWORDS * 4 ||
        ktDufsBFseek(c->fp, hd[KT_MSG_HINDEX], SEEK_SET) != 0 ||
        ktDufsBRead(c->fp, &count, 1, KT_DUFS_INT, 1) != 1 || count < 0 || count > KT_MSG_MAXCOUNT)
        openFailure(KT_EX_FAIL, name, KTM_MSG_BADFILE, c->path);
    c->count = count;
    if (count == 0) return;
    size_t words = 3 * static_cast<size_t>(count);
    c->index = static_cast<ktMsgIndexEntry*>(
        ktMemMalloc(static_cast<size_t>(count) * sizeof(ktMsgIndexEntry), "ktMsgIndex"));
    if (ktDufsBRead(c->fp, c->index, words, KT_DUFS_INT, 1) != words || !indexSound(c))
        openFailure(KT_EX_FAIL, name, KTM_MSG_NOINDEX, c->path);
    for (int32_t i = 0; i < count; ++i)
        if (c->index[i].length > c->maxlen) c->maxlen = c->index[i].length;
}

const ktMsgSignatureSet* signaturesOf(const char* name) {
    for (const ktMsgSignatureSet* s = ktMsgSignatureSetsV; s->name; ++s)
        if (ktStrIcmp(s->name, name) == 0) return s;
    return nullptr;
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
    c->signatures = signaturesOf(name);
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

CacheEntry*& chainOf(int number) {
    return cache.chains[static_cast<unsigned>(number) % kChains];
}

void unlinkChain(CacheEntry* e) {
    if (e->hprev)
        e->hprev->hnext = e->hnext;
    else
        chainOf(e->number) = e->hnext;
    if (e->hnext) e->hnext->hprev = e->hprev;
    e->hnext = e->hprev = nullptr;
}

void linkChain(CacheEntry* e) {
    CacheEntry*& head = chainOf(e->number);
    e->hprev = nullptr;
    e->hnext = head;
    if (head) head->hprev = e;
    head = e;
}

void unlinkRecency(CacheEntry* e) {
    Cache& c = cache;
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

void linkNewest(CacheEntry* e) {
    Cache& c = cache;
    e->newer = nullptr;
    e->older = c.newest;
    if (c.newest) c.newest->newer = e;
    c.newest = e;
    if (!c.oldest) c.oldest = e;
}

void releaseCache() {
    Cache& c = cache;
    if (!c.entries) return;
    for (int i = 0; i < kCacheSize; ++i) {
        ktMemFree(c.entries[i].text);
        ktSpFmtProgFree(c.entries[i].prog);
    }
    ktMemFree(c.entries);
    c = Cache{};
}

void startCache() {
    Cache& c = cache;
    if (c.entries) return;
    c.entries = static_cast<CacheEntry*>(
        ktMemCalloc(kCacheSize, sizeof(CacheEntry), "msgcache-initialize"));
    // Pushed from the back, so that the first entry is the first taken.
    for (int i = kCacheSize - 1; i >= 0; --i) {
        CacheEntry& e = c.entries[i];
        e.text = static_cast<char*>(ktMemMalloc(kTextSize, "msgcache-initialize"));
        e.capacity = kTextSize;
        e.hnext = c.free;
        c.free = &e;
    }
    ktOnExitAdd(releaseCache);
    ktOnExitSetOrder(releaseCache, kExitOrder);
}

CacheEntry* cacheFind(const ktMsgHandle* h, int number) {
    for (CacheEntry* e = chainOf(number); e; e = e->hnext)
        if (e->file == h && e->number == number) return e;
    return nullptr;
}

// A free entry, or else the oldest, taken off its lists.
CacheEntry* takeEntry() {
    Cache& c = cache;
    if (CacheEntry* e = c.free) {
        c.free = e->hnext;
        e->hnext = nullptr;
        return e;
    }
    CacheEntry* e = c.oldest;
    unlinkChain(e);
    unlinkRecency(e);
    return e;
}

// The entries of a closing file go back to the free list: a later handle
// may be given the same address, and must not find the old texts.
void forgetEntries(const ktMsgHandle* h) {
    Cache& c = cache;
    if (!c.entries) return;
    for (int i = 0; i < kCacheSize; ++i) {
        CacheEntry* e = &c.entries[i];
        if (e->file != h) continue;
        unlinkChain(e);
        unlinkRecency(e);
        e->file = nullptr;
        ktSpFmtProgFree(e->prog);
        e->prog = nullptr;
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

// ---- signatures

const ktMsgSignature* signatureFind(const ktMsgSignatureSet* set, int number) {
    const ktMsgSignature* t = set->table;
    int32_t lo = 0, hi = set->count - 1;
    while (lo <= hi) {
        int32_t mid = lo + (hi - lo) / 2;
        if (t[mid].number == number) return &t[mid];
        if (t[mid].number < number)
            lo = mid + 1;
        else
            hi = mid - 1;
    }
    return nullptr;
}

int argsOfProg(const ktSpFmtProg* prog, ktMsgArgs* out);

// A text is a format for its arguments only if it takes what its number
// takes in the source; in a file the build didn't compile, only if it is a
// format that writes through no argument.
bool textFits(const ktMsgCore* c, int number, const ktSpFmtProg* prog) {
    ktMsgArgs args;
    if (!argsOfProg(prog, &args)) return false;
    if (!c->signatures) return true;
    const ktMsgSignature* want = signatureFind(c->signatures, number);
    return want && std::strcmp(want->args, args.signature) == 0;
}

struct ArgsReader {
    ktMsgArgs* out;
    int next = 1;  // the position a plain directive takes next
    bool refused = false;

    template <typename... Args>
    void refuse(const char* format, Args... args) {
        if (refused) return;
        refused = true;
        // The format is always one of the literals below; without arguments
        // it goes as a text, which every compiler accepts as safe.
        if constexpr (sizeof...(Args) == 0)
            std::snprintf(out->problem, sizeof out->problem, "%s", format);
        else
            std::snprintf(out->problem, sizeof out->problem, format, args...);
    }

    void use(int position, int type) {
        if (position < 1 || position > KT_MSG_MAXARGS) return refuse("more than 128 arguments");
        if (position > out->count) out->count = position;
        int& slot = out->types[position - 1];
        if (slot && slot != type) refuse("argument %d is used as two types", position);
        slot = type;
    }

    int firstUnused() const {
        for (int i = 0; i < out->count; ++i)
            if (!out->types[i]) return i + 1;
        return 0;
    }
};

int onArgsPiece(const ktSpFmtDesc* d, void* data) {
    auto& r = *static_cast<ArgsReader*>(data);
    int kind = ktSpFmtDescIs(d);
    if (kind == KT_SPFMT_TEXT) return 1;
    if (kind == KT_SPFMT_INVALID) {
        const char* rest = ktSpFmtDescStr(d);
        // The parser finds a gap in the positions only at the format's end.
        if (rest && *rest == '\0' && r.firstUnused())
            r.refuse("argument position %d is left out", r.firstUnused());
        else
            r.refuse("bad format from \"%.60s\"", rest ? rest : "");
        return 0;
    }
    int type = ktSpFmtArgIs(d);
    int base = type & ~(KT_SPFMT_STARWIDTH | KT_SPFMT_STARPREC);
    if (base == KT_SPFMT_PINT || base == KT_SPFMT_PSHORT || base == KT_SPFMT_PLONG) {
        r.refuse("an n directive writes through its argument");
        return 0;
    }
    // A `*` takes an argument of its own: ahead of the value in a plain
    // format, at its own position in a numbered one.
    int position = ktSpFmtArgPosition(d);
    if (position < 0) {
        if (type & KT_SPFMT_STARWIDTH) r.use(r.next++, KT_SPFMT_INT);
        if (type & KT_SPFMT_STARPREC) r.use(r.next++, KT_SPFMT_INT);
        r.use(r.next++, type);
    } else {
        if (type & KT_SPFMT_STARWIDTH) r.use(ktSpFmtArgWidth(d), KT_SPFMT_INT);
        if (type & KT_SPFMT_STARPREC) r.use(ktSpFmtArgPrecision(d), KT_SPFMT_INT);
        r.use(position, type);
    }
    return r.refused ? 0 : 1;
}

char letterOf(int type) {
    switch (type & ~(KT_SPFMT_STARWIDTH | KT_SPFMT_STARPREC)) {
        case KT_SPFMT_INT:
            return 'd';
        case KT_SPFMT_SHORT:
            return 'h';
        case KT_SPFMT_LONG:
            return 'l';
        case KT_SPFMT_INT64:
            return 'L';
        case KT_SPFMT_DOUBLE:
            return 'f';
        case KT_SPFMT_CHAR:
            return 'c';
        case KT_SPFMT_STRING:
            return 's';
        default:
            return 'p';
    }
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
    if (spareText) ktMemFree(spareText);
    staticText = spareText = nullptr;
    staticSize = spareSize = 0;
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

namespace {
constexpr size_t kMissingSize = 3 * KS_PATHMAX + 128;

// The cache entry of a message, read from the file on a miss. Null only for
// a message missing while KT_MSGFILEDBG is set; its stand-in text is then
// in `missing`, of kMissingSize bytes.
CacheEntry* fetchEntry(ktMsgHandle* handle, int number, char* missing) {
    startCache();
    if (CacheEntry* e = cacheFind(handle, number)) {
        if (e != cache.newest) {
            unlinkRecency(e);
            linkNewest(e);
        }
        return e;
    }

    ktMsgCore* c = handle->core;
    const ktMsgIndexEntry* ix = indexFind(c, number);
    if (!ix) {
        if (!debugMissing) fetchFailure(handle, KTM_MSG_NOMESSAGE, number);
        ownFetchText(missing, kMissingSize, KTM_MSG_NOMESSAGE, number, c->path, true);
        return nullptr;
    }
    if (ktDufsBFseek(c->fp, ix->offset, SEEK_SET) != 0)
        fetchFailure(handle, KTM_MSG_NOSEEK, number);

    CacheEntry* e = takeEntry();
    ktSpFmtProgFree(e->prog);
    e->prog = nullptr;
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
    e->prog = ktSpFmtCompile(e->text);
    if (!textFits(c, number, e->prog)) {
        e->file = nullptr;
        fetchFailure(handle, KTM_MSG_BADTEXT, number);
    }
    return e;
}
}  // namespace

int ktMsgText(ktMsgHandle* handle, int number, ktMsgCopyFunc copy, void* data) {
    if (!isOpen(handle)) invalidHandle(handle, "ktMsgText");
    char missing[kMissingSize];
    const CacheEntry* e = fetchEntry(handle, number, missing);
    return copy(data, e ? e->text : missing);
}

int ktMsgGenerateVa(ktMsgHandle* handle, int number, ktMsgCopyFunc copy, void* data, va_list args) {
    if (!isOpen(handle)) invalidHandle(handle, "ktMsgGenerateVa");
    char missing[kMissingSize];
    const CacheEntry* e = fetchEntry(handle, number, missing);
    // A text in the cache took its arguments when it was read, so its
    // formatting throws nothing and fetches no other message: the entry and
    // its parsed form stay while they are used.
    char* text = e ? ktSprintfStaticProgVa(e->prog, args) : ktSprintfStaticVa(missing, args);
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

namespace {
// The pieces of a text, read by ktMsgAroundString.
struct Around {
    const char* before = "";
    const char* after = "";
    int directives = 0;
    bool fits = true;
};

int onAroundPiece(const ktSpFmtDesc* d, void* data) {
    auto* a = static_cast<Around*>(data);
    if (d->kind == KT_SPFMT_TEXT && a->directives == 0 && !*a->before) {
        a->before = d->text;
    } else if (d->kind == KT_SPFMT_TEXT && a->directives == 1 && !*a->after) {
        a->after = d->text;
    } else if (d->kind == KT_SPFMT_DIRECTIVE && a->directives == 0 && !*a->after &&
               d->position == -1 && !d->flags && d->width == -1 && d->precision == -1 &&
               d->type == KT_SPFMT_STRING && d->conv && std::strcmp(d->conv, "s") == 0) {
        ++a->directives;
    } else {
        a->fits = false;
        return 0;
    }
    return 1;
}
}  // namespace

int ktMsgAroundString(ktMsgHandle* handle, int number, const char** before, const char** after) {
    if (!isOpen(handle)) invalidHandle(handle, "ktMsgAroundString");
    char missing[kMissingSize];
    const CacheEntry* e = fetchEntry(handle, number, missing);
    if (!e || !e->prog) return 0;
    Around a;
    ktSpFmtProgRun(e->prog, onAroundPiece, &a);
    if (!a.fits || a.directives != 1) return 0;
    *before = a.before;
    *after = a.after;
    return 1;
}

char* ktMsgStaticVa(ktMsgHandle* handle, int number, va_list args) {
    if (!staticText) {
        staticSize = spareSize = kStaticStep;
        staticText = static_cast<char*>(ktMemMalloc(staticSize, "ktStaticBuffer"));
        spareText = static_cast<char*>(ktMemMalloc(spareSize, "ktStaticBuffer"));
        ktOnExitAdd(releaseStatic);
        ktOnExitSetOrder(releaseStatic, kExitOrder);
    }
    if (!isOpen(handle)) invalidHandle(handle, "ktMsgGenerateVa");
    char missing[kMissingSize];
    if (const CacheEntry* e = fetchEntry(handle, number, missing); e && e->prog) {
        // A text in the cache is formatted straight into the spare buffer,
        // which grows to what the text needs.
        for (;;) {
            ArgsCopy a(args);
            size_t needed = 0;
            ktSprintfProgVa2(spareText, spareSize, &needed, e->prog, a.list);
            if (needed <= spareSize) break;
            ktMemFree(spareText);
            spareSize = (needed + kStaticStep - 1) / kStaticStep * kStaticStep;
            spareText = static_cast<char*>(ktMemMalloc(spareSize, "ktStaticBuffer"));
        }
        std::swap(staticText, spareText);
        std::swap(staticSize, spareSize);
        return staticText;
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

namespace {
int argsDone(ArgsReader& r, ktMsgArgs* out) {
    if (!r.refused && r.firstUnused())
        r.refuse("argument position %d is left out", r.firstUnused());
    if (r.refused) return 0;
    for (int i = 0; i < out->count; ++i) out->signature[i] = letterOf(out->types[i]);
    out->signature[out->count] = '\0';
    return 1;
}

int argsOfProg(const ktSpFmtProg* prog, ktMsgArgs* out) {
    *out = ktMsgArgs{};
    ArgsReader r{out};
    ktSpFmtProgRun(prog, onArgsPiece, &r);
    return argsDone(r, out);
}
}  // namespace

int ktMsgArgsOf(const char* text, ktMsgArgs* out) {
    *out = ktMsgArgs{};
    ArgsReader r{out};
    ktSpFmtParse(text ? text : "", onArgsPiece, &r);
    return argsDone(r, out);
}
