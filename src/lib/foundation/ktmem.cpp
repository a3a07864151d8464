// Memory: the retrying heap wrappers, the purge list, the size-class free
// lists and the debug allocator. Switches come from the environment and
// are read once, at the first call of the layer concerned: the tagged
// allocator at its first call, the free lists at theirs.
#include "ktmem.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "kterr.h"
#include "ktex.h"
#include "ktlib_msg.h"
#include "ktmsg.h"
#include "ktstr.h"

ktMemHeapTB ktMem_HeapV = {std::malloc, std::calloc, std::realloc, std::free};
void (*ktMemOutV)(int) = ktMemExit;

namespace {

// ---- Heap wrappers and purge list ------------------------------------

struct PurgeNode {
    PurgeNode* next;
    void (*routine)();
};

PurgeNode* purgeList = nullptr;  // newest first
int outRunning = 0;              // ktMemExit is calling the purge routines

void runPurgeRoutines() {
    for (PurgeNode* n = purgeList; n; n = n->next) n->routine();
}

// At exit in a debug configuration: purge once more and give the list back.
void purgeAtExit(void*) {
    while (PurgeNode* n = purgeList) {
        purgeList = n->next;
        n->routine();
        ktMemFree(n);
    }
}

// ---- Debug allocator --------------------------------------------------

enum class Mode { Undecided, Plain, Debug };
Mode mode = Mode::Undecided;

constexpr unsigned char kGuard[8] = {0xF0, 0xA5, 0x5A, 0x0F, 0x83, 0x52, 0x3B, 0x6C};
constexpr size_t kBlockChains = 10001;
constexpr size_t kTagChains = 101;
constexpr uint32_t kMaxSerial = 0x7FFFFFFF;

struct TagRec {
    const char* tag;  // the caller's text, kept, not copied
    long bytes;       // sum of the sizes of the live blocks
    TagRec* next;
};

struct BlockRec {
    unsigned char* block;  // the real block: front guard first
    long size;             // as the caller asked
    TagRec* tag;
    uint32_t serial;  // 0 unless the tag is watched
    BlockRec* next;
};

// The debug tables come straight from the platform's heap and are not
// counted themselves.
BlockRec** blocks = nullptr;
TagRec** tags = nullptr;
long current = 0;
long maximum = 0;
uint32_t serial = 0;
const char* watch = nullptr;

size_t round8(size_t n) {
    return (n + 7) & ~size_t{7};
}

// The symbol tables' string hash, so that the usage report lists tags in
// the same order as any table keyed by them.
uint32_t tagHash(const char* s) {
    uint32_t h = 0;
    for (uint32_t i = 0; s[i]; ++i)
        h += static_cast<uint32_t>(static_cast<unsigned char>(s[i])) << ((7 * i) % 16);
    return h;
}

void decide() {
    if (mode != Mode::Undecided) return;
    bool debug = std::getenv("KT_MEMDBG") && !std::getenv("KT_PURIFY");
    if (!debug) {
        mode = Mode::Plain;
        return;
    }
    blocks = static_cast<BlockRec**>(ktMem_FastCalloc(kBlockChains, sizeof(BlockRec*)));
    tags = static_cast<TagRec**>(ktMem_FastCalloc(kTagChains, sizeof(TagRec*)));
    watch = std::getenv("KT_MEMWATCH");
    mode = Mode::Debug;
}

bool watched(const TagRec* t) {
    return watch && ktStrEqu(t->tag, watch);
}

uint32_t nextSerial() {
    serial = serial >= kMaxSerial ? 1 : serial + 1;
    return serial;
}

TagRec* findTag(const char* tag) {
    if (!tag) tag = "(unknown)";
    TagRec** chain = &tags[tagHash(tag) % kTagChains];
    for (TagRec* t = *chain; t; t = t->next)
        if (ktStrEqu(t->tag, tag)) return t;
    auto* t = static_cast<TagRec*>(ktMem_FastCalloc(1, sizeof(TagRec)));
    t->tag = tag;
    t->next = *chain;
    *chain = t;
    return t;
}

BlockRec** chainOf(const void* block) {
    return &blocks[reinterpret_cast<uintptr_t>(block) % kBlockChains];
}

// The record of the block whose caller's memory starts at `p`, or null.
BlockRec* findBlock(const void* p) {
    auto* block = reinterpret_cast<unsigned char*>(reinterpret_cast<uintptr_t>(p) - 8);
    for (BlockRec* b = *chainOf(block); b; b = b->next)
        if (b->block == block) return b;
    return nullptr;
}

void fillPattern(unsigned char* block, size_t n) {
    for (size_t i = 0; i < n; ++i) block[i] = kGuard[i % 8];
}

void writeGuards(unsigned char* block, size_t size) {
    std::memcpy(block, kGuard, 8);
    std::memcpy(block + 8 + size, kGuard, 8);
}

bool guardsIntact(const BlockRec* b) {
    return std::memcmp(b->block, kGuard, 8) == 0 &&
           std::memcmp(b->block + 8 + b->size, kGuard, 8) == 0;
}

// Two guard words as the reference machine reads them, most significant
// byte first, whatever this machine's order.
unsigned long word(const unsigned char* p) {
    return (static_cast<unsigned long>(p[0]) << 24) | (static_cast<unsigned long>(p[1]) << 16) |
           (static_cast<unsigned long>(p[2]) << 8) | p[3];
}

[[noreturn]] void violation(const BlockRec* b) {
    ktCleanup();
    const unsigned char* rear = b->block + 8 + b->size;
    std::fprintf(stderr, "\nError:  memory violation for type %s, size=%ld:\n", b->tag->tag,
                 b->size);
    std::fprintf(stderr, "    First 2 longs: %lx %lx should be %lx %lx\n", word(b->block),
                 word(b->block + 4), word(kGuard), word(kGuard + 4));
    std::fprintf(stderr, "     Last 2 longs: %lx %lx should be %lx %lx\n", word(rear),
                 word(rear + 4), word(kGuard), word(kGuard + 4));
    std::fputs("    Ascii dump of first 75 bytes:\n    ", stderr);
    long n = b->size < 75 ? b->size : 75;
    for (long i = 0; i < n; ++i) {
        unsigned char c = b->block[8 + i];
        std::fputc(c >= 0x20 && c < 0x7F ? c : '.', stderr);
    }
    std::fputc('\n', stderr);
    ktAbort(1);
}

void watchLine(const char* op, long size, uint32_t ser) {
    ktErrYell("ktMemWATCH: %s, %d [%ld] bytes\n", op, static_cast<int>(size),
              static_cast<long>(ser));
}

// Enters a block under its tag and size, and returns the caller's memory.
void* enter(unsigned char* block, size_t size, TagRec* tag, uint32_t ser) {
    auto* b = static_cast<BlockRec*>(ktMem_FastMalloc(sizeof(BlockRec)));
    b->block = block;
    b->size = static_cast<long>(size);
    b->tag = tag;
    b->serial = ser;
    BlockRec** chain = chainOf(block);
    b->next = *chain;
    *chain = b;
    tag->bytes += b->size;
    current += b->size;
    if (current > maximum) maximum = current;
    writeGuards(block, size);
    return block + 8;
}

// Takes a checked block out of the accounts and its chain; the block
// itself stays.
void leave(BlockRec* b) {
    b->tag->bytes -= b->size;
    current -= b->size;
    BlockRec** link = chainOf(b->block);
    while (*link != b) link = &(*link)->next;
    *link = b->next;
}

// The record of a block the caller hands back, with its guards checked.
BlockRec* checkedBlock(void* p) {
    BlockRec* b = findBlock(p);
    if (!b) {
        char text[64];
        std::snprintf(text, sizeof text, "Attempt to free unallocated space - %lX",
                      static_cast<unsigned long>(reinterpret_cast<uintptr_t>(p)));
        ktErrReport2("ktMem", KT_ERR_INTERNAL, text);
        ktAbort(1);  // the report above ends the program; this is the fall-back
    }
    if (!guardsIntact(b)) violation(b);
    return b;
}

void* dbgAlloc(size_t size, const char* tag, bool zeroed) {
    size_t total = round8(size) + 16;
    unsigned char* block;
    if (zeroed) {
        block = static_cast<unsigned char*>(ktMem_FastCalloc(1, total));
    } else {
        block = static_cast<unsigned char*>(ktMem_FastMalloc(total));
        fillPattern(block, total);
    }
    TagRec* t = findTag(tag);
    uint32_t ser = 0;
    if (watched(t)) {
        ser = nextSerial();
        watchLine(zeroed ? "calloc" : "malloc", static_cast<long>(size), ser);
    }
    return enter(block, size, t, ser);
}

void dbgFree(void* p) {
    BlockRec* b = checkedBlock(p);
    leave(b);
    if (watched(b->tag)) watchLine("free", b->size, b->serial);
    unsigned char* block = b->block;
    size_t total = round8(static_cast<size_t>(b->size)) + 16;
    ktMem_FastFree(b);
    // A stale pointer then reads the pattern, not the old contents.
    fillPattern(block, total);
    ktMem_FastFree(block);
}

void* dbgRealloc(void* p, size_t size, const char* tag) {
    if (!p) return dbgAlloc(size, tag, false);
    BlockRec* b = checkedBlock(p);
    leave(b);
    long oldSize = b->size;
    uint32_t oldSerial = b->serial;
    TagRec* oldTag = b->tag;
    unsigned char* old = b->block;
    ktMem_FastFree(b);

    auto* block = static_cast<unsigned char*>(ktMem_FastRealloc(old, round8(size) + 16));
    TagRec* t = findTag(tag);
    uint32_t ser = watched(t) ? nextSerial() : 0;
    auto line = [&] {
        ktErrYell("ktMemWATCH: %s, %d [%ld] to %d [%ld] bytes\n", "realloc",
                  static_cast<int>(oldSize), static_cast<long>(oldSerial), static_cast<int>(size),
                  static_cast<long>(ser));
    };
    if (watched(t)) line();
    if (oldTag != t && watched(oldTag)) line();
    return enter(block, size, t, ser);
}

void stdoutLine(const char* line) {
    std::fputs(line, stdout);
    std::fputc('\n', stdout);
}

// ---- Free lists --------------------------------------------------------

constexpr size_t kFlMax = 160;
constexpr size_t kFlHeads = kFlMax / 8 + 1;  // index = size / 8; 0 unused
constexpr int kDefaultBlockSize = 32000;

enum class FlMode { Undecided, On, Off };
FlMode flMode = FlMode::Undecided;
void** flHeads = nullptr;
unsigned char* chunkNext = nullptr;  // next free byte of the current chunk
size_t chunkLeft = 0;
size_t blockSize = kDefaultBlockSize;

// A chunk must hold the largest record and keep every carve a multiple of
// 8; a value that breaks this is raised to the next one that doesn't. A
// chunk larger than 1 MB would take memory that no run of records needs: a
// larger value, one too large to read, is lowered to that. `*bad` is the
// environment's text when it had to be moved.
constexpr long kMaxBlockSize = 1L << 20;

size_t readBlockSize(const char** bad) {
    const char* env = std::getenv("KT_BLOCKSIZE");
    long n = kDefaultBlockSize;
    *bad = nullptr;
    int read = ktStrCvtToLong(env, static_cast<long>(kFlMax), kMaxBlockSize, &n);
    if (read == 0) return kDefaultBlockSize;
    if (read == 1 && n % 8 == 0) return static_cast<size_t>(n);
    *bad = env;
    return round8(static_cast<size_t>(n));
}

void flDecide() {
    if (flMode != FlMode::Undecided) return;
    if (std::getenv("KT_MEMDBG") || std::getenv("KT_MEMFLDISABLE") || std::getenv("KT_PURIFY")) {
        flMode = FlMode::Off;
        return;
    }
    // On from here: the report a bad block size makes allocates records too.
    flMode = FlMode::On;
    flHeads = static_cast<void**>(ktMemCalloc(kFlHeads, sizeof(void*), "ktMemFlMemBlock"));
    const char* bad = nullptr;
    blockSize = readBlockSize(&bad);
    ktAddPurgeRoutine(ktMemFlPurge);
    // Only now may the warning be made: the report itself takes records, and
    // its chunk must already have the size it is told about.
    if (bad)
        ktErrReportBuild(nullptr, nullptr, ktMsgFile(), KTM_BADBLOCKSIZE, bad,
                         static_cast<int>(blockSize));
}

void flPush(void* record, size_t size) {
    void** slot = &flHeads[size / 8];
    *static_cast<void**>(record) = *slot;
    *slot = record;
}

void* flCarve(size_t size) {
    if (chunkLeft < size) {
        if (chunkLeft > 0) flPush(chunkNext, chunkLeft);
        chunkNext = static_cast<unsigned char*>(ktMemMalloc(blockSize, "ktMemFlBlock"));
        chunkLeft = blockSize;
    }
    void* record = chunkNext;
    chunkNext += size;
    chunkLeft -= size;
    return record;
}

}  // namespace

// ---- Heap wrappers ----------------------------------------------------------

void* ktMem_FastMalloc(size_t size) {
    for (int attempt = 0;; ++attempt) {
        if (void* p = ktMem_HeapV.malloc(size ? size : 1)) return p;
        ktMemOutV(attempt);
    }
}

void* ktMem_FastCalloc(size_t count, size_t size) {
    for (int attempt = 0;; ++attempt) {
        if (void* p = ktMem_HeapV.calloc(count ? count : 1, size ? size : 1)) return p;
        ktMemOutV(attempt);
    }
}

void* ktMem_FastRealloc(void* block, size_t size) {
    if (!block) return ktMem_FastMalloc(size);
    for (int attempt = 0;; ++attempt) {
        if (void* p = ktMem_HeapV.realloc(block, size ? size : 1)) return p;
        ktMemOutV(attempt);
    }
}

void ktMem_FastFree(void* block) {
    if (block) ktMem_HeapV.free(block);
}

void ktAddPurgeRoutine(void (*routine)()) {
    static bool registered = false;
    if (!registered) {
        registered = true;
        ktOnExitAdd(purgeAtExit, nullptr);
    }
    auto* n = static_cast<PurgeNode*>(ktMemMalloc(sizeof(PurgeNode), "Purge Routine"));
    n->routine = routine;
    n->next = purgeList;
    purgeList = n;
}

void ktMemExit(int attempt) {
    if (attempt >= 2 || outRunning) {
        ktMemPrintUsage(ktDummyProc);
        ktCleanup();
        std::fputs("Out of memory.\n", stderr);
        ktAbort(0);
    }
    ++outRunning;
    runPurgeRoutines();
    --outRunning;
}

// ---- Tagged allocator -------------------------------------------------------

void* ktMemMalloc(size_t size, const char* tag) {
    if (mode == Mode::Plain) return ktMem_FastMalloc(size);
    decide();
    return mode == Mode::Debug ? dbgAlloc(size, tag, false) : ktMem_FastMalloc(size);
}

void* ktMemCalloc(size_t count, size_t size, const char* tag) {
    if (mode == Mode::Plain) return ktMem_FastCalloc(count, size);
    decide();
    if (mode != Mode::Debug) return ktMem_FastCalloc(count, size);
    size_t n;
    // A product that doesn't fit can't be had: the same ending as a refusal.
    for (int attempt = 0; __builtin_mul_overflow(count, size, &n); ++attempt) ktMemOutV(attempt);
    return dbgAlloc(n, tag, true);
}

void* ktMemRealloc(void* block, size_t size, const char* tag) {
    if (mode == Mode::Plain) return ktMem_FastRealloc(block, size);
    decide();
    return mode == Mode::Debug ? dbgRealloc(block, size, tag) : ktMem_FastRealloc(block, size);
}

void ktMemFree(void* block) {
    if (mode == Mode::Plain) return ktMem_FastFree(block);
    decide();
    if (mode == Mode::Debug)
        dbgFree(block);
    else
        ktMem_FastFree(block);
}

// ---- Free lists -------------------------------------------------------------

void* ktMemFlAlloc(size_t size, const char* tag) {
    size_t n = size ? round8(size) : 8;
    if (flMode == FlMode::Undecided) flDecide();
    if (flMode == FlMode::Off || n > kFlMax) return ktMemMalloc(n, tag);
    void** head = &flHeads[n / 8];
    if (void* record = *head) {
        *head = *static_cast<void**>(record);
        return record;
    }
    return flCarve(n);
}

void ktMemFlFree(void* block, size_t size) {
    size_t n = size ? round8(size) : 8;
    if (flMode == FlMode::Undecided) flDecide();
    if (flMode == FlMode::Off || n > kFlMax) return ktMemFree(block);
    // A null record on a list would come back from ktMemFlAlloc.
    if (block) flPush(block, n);
}

void ktMemFlPurge() {}

void* ktMemMove(void* dest, const void* src, size_t count) {
    if (count) std::memmove(dest, src, count);
    return dest;
}

// ---- Debug reports ----------------------------------------------------------

void ktMemPrintUsage(void (*sink)(const char*)) {
    decide();
    if (mode != Mode::Debug || (maximum <= 0 && current <= 0)) return;
    char line[128];
    std::snprintf(line, sizeof line, "Maximum memory usage=%ld, current memory usage=%ld", maximum,
                  current);
    sink(line);
    for (size_t i = 0; i < kTagChains; ++i)
        for (const TagRec* t = tags[i]; t; t = t->next) {
            if (t->bytes < 1) continue;
            int percent = static_cast<int>(100.0 * static_cast<double>(t->bytes) /
                                           static_cast<double>(current));
            std::snprintf(line, sizeof line, "%20s:%7ld (%2d%%) ", t->tag, t->bytes, percent);
            std::string text = line;
            text.append(static_cast<size_t>(current > 100 ? percent : t->bytes), '*');
            sink(text.c_str());
        }
    if (!watch) return;
    bool first = true;
    for (size_t i = 0; i < kBlockChains; ++i)
        for (const BlockRec* b = blocks[i]; b; b = b->next) {
            if (!watched(b->tag)) continue;
            if (first) sink("ktMemWATCH: unfreed");
            first = false;
            std::snprintf(line, sizeof line, "[%ld]", static_cast<long>(b->serial));
            sink(line);
        }
}

void ktMemPrintUsage(void (*)()) {
    ktMemPrintUsage(stdoutLine);
}

void ktMemPrintUsageStdout() {
    ktMemPrintUsage(stdoutLine);
}

void ktMem_DbgPrintStrings() {
    decide();
    if (mode != Mode::Debug) return;
    std::fputs("\n\nUnfreed strings:\n", stdout);
    size_t column = 0;
    for (size_t i = 0; i < kBlockChains; ++i)
        for (const BlockRec* b = blocks[i]; b; b = b->next) {
            if (!ktStrEqu(b->tag->tag, "ktString")) continue;
            // The text may lack its terminator: it ends with the block.
            const char* text = reinterpret_cast<const char*>(b->block + 8);
            size_t len = strnlen(text, static_cast<size_t>(b->size));
            if (column > 0 && column + len + 1 >= 80) {
                std::fputc('\n', stdout);
                column = 0;
            }
            std::fprintf(stdout, "%.*s ", static_cast<int>(len), text);
            column += len + 1;
        }
    std::fputc('\n', stdout);
}

void ktMem_DbgTestMemory() {
    decide();
    if (mode != Mode::Debug) return;
    for (size_t i = 0; i < kBlockChains; ++i)
        for (const BlockRec* b = blocks[i]; b; b = b->next)
            if (!guardsIntact(b)) violation(b);
}
