// Strings: the pooled allocator and the string vocabulary.
//
// Every pooled string has one byte in front of it, its slot byte: 0 for a
// large string in a heap block of its own, 1 for the shared empty string,
// 4 to 63 for a slot of that size carved from a 4080-byte block or taken
// from the free list of that size. A free slot keeps the link to the next
// free slot of its size in its first four bytes, unaligned. Four bytes
// don't hold an address here, so a link is the slot's offset from the
// pool's first block; a block the heap places beyond that 32-bit reach
// isn't used, and strings that would need it get heap blocks of their own.
#include "ktstr.h"

#include <cctype>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "ktex.h"
#include "ktmem.h"

namespace {

constexpr size_t kBlockData = 4080;
constexpr size_t kSlots = 64;   // free-list heads, by slot size
constexpr size_t kMinSlot = 4;  // room for a link
constexpr size_t kLarge = 63;   // a need of this many bytes gets its own block

struct StrBlock {
    uint32_t used;  // bytes of data in use
    char data[kBlockData];
    StrBlock* next;  // the block allocated before this one
};

enum class Pool { Undecided, On, Off };
Pool pool = Pool::Undecided;
uint32_t* freeHeads = nullptr;  // links, 0 for none
StrBlock* blocks = nullptr;     // the current block first
uintptr_t base = 0;             // links count from here
bool reachLost = false;         // a new block lay out of a link's reach
bool terminated = false;

// Writable, so that writing a terminator into it, as buffers and joins
// do with an empty result, is harmless.
char emptyString[2] = {1, 0};

ktStrBuf* catFirst = nullptr;
ktStrBuf* catSecond = nullptr;

uint32_t readLink(const char* slot) {
    uint32_t link;
    std::memcpy(&link, slot, sizeof link);
    return link;
}

char* slotOf(uint32_t link) {
    return reinterpret_cast<char*>(
        base + static_cast<uintptr_t>(static_cast<intptr_t>(static_cast<int32_t>(link))));
}

void pushSlot(char* slot, size_t size) {
    uint32_t link = static_cast<uint32_t>(reinterpret_cast<uintptr_t>(slot) - base);
    std::memcpy(slot, &freeHeads[size], sizeof link);
    freeHeads[size] = link;
}

// Whether every byte of a block lies within a link's reach of the base.
bool withinReach(const StrBlock* b) {
    auto lo = static_cast<intptr_t>(reinterpret_cast<uintptr_t>(b) - base);
    intptr_t hi = lo + static_cast<intptr_t>(sizeof(StrBlock));
    return lo > INT32_MIN && hi < INT32_MAX;
}

StrBlock* newBlock() {
    auto* b = static_cast<StrBlock*>(ktMemMalloc(sizeof(StrBlock), "StrBlock"));
    if (blocks && !withinReach(b)) {
        ktMemFree(b);
        reachLost = true;
        return nullptr;
    }
    b->used = 0;
    b->next = blocks;
    blocks = b;
    return b;
}

// In a debug configuration a process that ends through exit() rather than
// ktExit (the translator does) still ends as ktExit would end it: the pool
// goes, then the memory reports are made. ktExit tears the pool down
// itself, so a pool already gone means the reports have been made.
void endOfRun() {
    if (terminated) return;
    ktStrTerminate();
    ktMemPrintUsage(ktDummyProc);
    ktMem_DbgPrintStrings();
    ktMem_DbgTestMemory();
}

void decide() {
    if (pool != Pool::Undecided) return;
    bool purify = std::getenv("KT_PURIFY") != nullptr;
    pool = std::getenv("KT_STRDISABLE") || purify ? Pool::Off : Pool::On;
    if (pool == Pool::On) {
        freeHeads = static_cast<uint32_t*>(ktMemCalloc(kSlots, sizeof(uint32_t), "ktStrFreeLst"));
        newBlock();
        base = reinterpret_cast<uintptr_t>(blocks);
    }
    // Handlers of other orders may still use strings and buffers.
    ktOnExitSetOrder(reinterpret_cast<void (*)(void*)>(ktStrFree), 90);
    ktOnExitSetOrder(reinterpret_cast<void (*)(void*)>(ktStrBufDestroy), 90);
    if (std::getenv("KT_MEMDBG") || purify) std::atexit(endOfRun);
}

char* largeString(size_t n) {
    auto* p = static_cast<char*>(ktMemMalloc(n + 1, "ktStringLarge"));
    p[0] = 0;
    return p + 1;
}

char* carve(size_t n, size_t slot) {
    StrBlock* b = blocks;
    if (kBlockData - b->used < slot) {
        if (reachLost) return largeString(n);
        size_t rest = kBlockData - b->used;
        if (rest >= kMinSlot) pushSlot(b->data + b->used, rest);
        b->used = kBlockData;
        b = newBlock();
        if (!b) return largeString(n);
    }
    char* s = b->data + b->used;
    b->used += static_cast<uint32_t>(slot);
    s[0] = static_cast<char>(slot);
    return s + 1;
}

// Room for n bytes, terminator included.
inline char* takeSlot(size_t n) {
    if (pool != Pool::On) {
        decide();
        if (pool != Pool::On) return static_cast<char*>(ktMemMalloc(n, "ktString"));
    }
    if (n >= kLarge) return largeString(n);
    if (n <= 1) return emptyString + 1;
    size_t slot = n + 1 < kMinSlot ? kMinSlot : n + 1;
    if (uint32_t link = freeHeads[slot]) {
        char* s = slotOf(link);
        freeHeads[slot] = readLink(s);
        s[0] = static_cast<char>(slot);
        return s + 1;
    }
    return carve(n, slot);
}

// Escapes by letter, and the characters they stand for.
constexpr char kEscapeLetters[] = "ntvbrf";
constexpr char kEscapeValues[] = "\n\t\v\b\r\f";

bool isBlank(char c) {
    return std::isspace(static_cast<unsigned char>(c)) != 0;
}
int lower(int c) {
    return (c >= 'A' && c <= 'Z') ? c - 'A' + 'a' : c;
}

// A buffer of more than INT_MAX / 2 characters can't be had.
[[noreturn]] void bufferTooLong() {
    for (int attempt = 0;; ++attempt) ktMemOutV(attempt);
}

// The old text goes only after the copy: `text` may lie in it.
void appendBytes(ktStrBuf* buf, const char* text, size_t n) {
    size_t needed = static_cast<size_t>(buf->length) + n;
    char* old = nullptr;
    if (needed > static_cast<size_t>(buf->capacity)) {
        if (needed > INT_MAX / 2 - 1) bufferTooLong();
        old = buf->text;
        buf->text = takeSlot(2 * needed + 1);
        std::memcpy(buf->text, old, static_cast<size_t>(buf->length));
        buf->capacity = static_cast<int>(2 * needed);
    }
    std::memmove(buf->text + buf->length, text, n);
    buf->length = static_cast<int>(needed);
    buf->text[needed] = '\0';
    if (old) ktStrFree(old);
}

}  // namespace

// ---- Pooled strings ----------------------------------------------------------

char* ktStrCpy(const char* text) {
    if (!text) return nullptr;
    size_t n = std::strlen(text) + 1;
    char* s = takeSlot(n);
    std::memcpy(s, text, n);
    return s;
}

char* ktStrAlloc(size_t size) {
    return takeSlot(size);
}

void ktStrFree(char* text) {
    if (pool != Pool::On) {
        decide();
        if (pool != Pool::On) {
            // An empty string handed out before the pool went stays valid.
            if (text != emptyString + 1) ktMemFree(text);
            return;
        }
    }
    auto slot = static_cast<unsigned char>(text[-1]);
    if (slot == 1) return;
    if (slot == 0) return ktMemFree(text - 1);
    pushSlot(text - 1, slot);
}

char* ktStrCatAlloc(const char* a, const char* b) {
    size_t la = std::strlen(a), lb = std::strlen(b);
    char* s = takeSlot(la + lb + 1);
    std::memcpy(s, a, la);
    std::memcpy(s + la, b, lb + 1);
    return s;
}

char* ktStrTrimAlloc(const char* text) {
    if (!text) return nullptr;
    char* copy = ktStrCpy(text);
    char* trimmed = ktStrCpy(ktStrTrim(copy));
    ktStrFree(copy);
    return trimmed;
}

char* ktStrOldCopy(const char* text) {
    if (!text) return nullptr;
    size_t n = std::strlen(text) + 1;
    auto* p = static_cast<char*>(ktMemMalloc(n, "ktStrCpy"));
    std::memcpy(p, text, n);
    return p;
}

void ktStrTerminate() {
    terminated = true;
    if (pool == Pool::Off) return;
    pool = Pool::Off;
    if (freeHeads) ktMemFree(freeHeads);
    freeHeads = nullptr;
    while (StrBlock* b = blocks) {
        blocks = b->next;
        ktMemFree(b);
    }
}

// ---- Comparison and case -----------------------------------------------------

int ktStrEqu(const char* a, const char* b) {
    if (a == b) return 1;
    if (!a || !b) return 0;
    return std::strcmp(a, b) == 0;
}

int ktStrIcmp(const char* a, const char* b) {
    if (a == b) return 0;
    if (!a) return -1;
    if (!b) return 1;
    // Bytes that are the same need no folding: the lists searched this way
    // mostly hold names written as they are asked for.
    for (;; ++a, ++b) {
        if (*a == *b) {
            if (*a == '\0') return 0;
            continue;
        }
        int ca = static_cast<unsigned char>(ktCharUpc(*a));
        int cb = static_cast<unsigned char>(ktCharUpc(*b));
        if (ca != cb) return ca - cb;
    }
}

int ktStrNicmp(const char* a, const char* b, int count) {
    if (a == b) return 0;
    if (!a) return -1;
    if (!b) return 1;
    for (int i = 0; i < count; ++i) {
        if (a[i] == b[i]) {
            if (a[i] == '\0') return 0;
            continue;
        }
        int ca = static_cast<unsigned char>(ktCharUpc(a[i]));
        int cb = static_cast<unsigned char>(ktCharUpc(b[i]));
        if (ca == 0) return -1;
        if (cb == 0) return 1;
        if (ca != cb) return ca - cb;
    }
    return 0;
}

char* ktStrLoc(char* text) {
    for (char* p = text; p && *p; ++p)
        *p = static_cast<char>(lower(static_cast<unsigned char>(*p)));
    return text;
}

char* ktStrUpc(char* text) {
    for (char* p = text; p && *p; ++p)
        *p = ktCharUpc(*p);
    return text;
}

// ---- Scanning ----------------------------------------------------------------

const char* ktStrBlk(const char* text) {
    if (!text) return nullptr;
    while (isBlank(*text)) ++text;
    return text;
}

const char* ktStrBrk(const char* text, const char* set) {
    if (!text || !set) return nullptr;
    return std::strpbrk(text, set);
}

const char* ktStrChr(const char* text, int c) {
    return text ? std::strchr(text, c) : nullptr;
}

const char* ktStrRch(const char* text, int c) {
    return text ? std::strrchr(text, c) : nullptr;
}

char* ktStrncpyNullTerm(char* out, const char* text, size_t size) {
    if (size == 0) return out;
    std::strncpy(out, text ? text : "", size);
    out[size - 1] = '\0';
    return out;
}

char* ktStrTrim(char* text) {
    char* end = text + std::strlen(text);
    while (end > text + 1 && isBlank(end[-1])) --end;
    if (*text) *end = '\0';
    while (isBlank(*text)) ++text;
    return text;
}

int ktStrCvtToLong(const char* text, long lo, long hi, long* value, const char** end) {
    if (!text) return 0;
    const char* p = text;
    while (*p == ' ' || (*p >= '\t' && *p <= '\r')) ++p;
    bool negative = *p == '-';
    if (*p == '-' || *p == '+') ++p;
    if (*p < '0' || *p > '9') return 0;
    // Digits past what a long holds only say that the number is out of range.
    bool overflow = false;
    long n = 0;
    for (; *p >= '0' && *p <= '9'; ++p) {
        long d = negative ? -(*p - '0') : *p - '0';
        overflow =
            overflow || __builtin_mul_overflow(n, 10L, &n) || __builtin_add_overflow(n, d, &n);
    }
    if (end) *end = p;
    if (!overflow && n >= lo && n <= hi) {
        *value = n;
        return 1;
    }
    *value = (overflow ? negative : n < lo) ? lo : hi;
    return -1;
}

int ktStrIsnum(const char* text) {
    if (!text || !*text) return 0;
    bool sign = true, point = true, exponent = true;
    for (const char* p = text; *p; ++p) {
        char c = *p;
        if (c >= '0' && c <= '9') {
            sign = false;
        } else if (c == '.' && point) {
            point = sign = false;
        } else if ((c == 'e' || c == 'E') && exponent && p != text && p[1]) {
            exponent = point = false;
            sign = true;
        } else if ((c == '-' || c == '+') && sign && p[1]) {
            sign = false;
        } else {
            return 0;
        }
    }
    return 1;
}

namespace {
// ktStrMat's walk, with the characters compared by `same`.
template <typename Same>
int matchWith(const char* pattern, const char* text, Same same) {
    if (!pattern || !text) return pattern == text;
    // Each `*` may swallow any run; on a mismatch the latest `*` takes one
    // character more. Retrying only the latest one is enough: whatever an
    // earlier `*` could still take, the latest can take instead.
    const char* star = nullptr;    // behind the latest `*`
    const char* resume = nullptr;  // where the text goes on after it
    while (*text) {
        if (*pattern == '*') {
            while (*pattern == '*') ++pattern;
            if (!*pattern) return 1;
            star = pattern;
            resume = text;
        } else if (*pattern && (*pattern == '?' || same(*pattern, *text))) {
            ++pattern;
            ++text;
        } else if (star) {
            pattern = star;
            text = ++resume;
        } else {
            return 0;
        }
    }
    while (*pattern == '*') ++pattern;
    return *pattern == '\0';
}
}  // namespace

int ktStrMat(const char* pattern, const char* text) {
    return matchWith(pattern, text, [](char a, char b) { return a == b; });
}

int ktStrMatFolded(const char* pattern, const char* text) {
    return matchWith(pattern, text, [](char a, char b) { return ktCharUpc(a) == ktCharUpc(b); });
}

// ---- Tokens and literals -----------------------------------------------------

const char* ktStrTok(const char* text, char* token, int size, const char* delims) {
    if (size > 0) token[0] = '\0';
    if (!text) return nullptr;
    text += std::strspn(text, delims);
    if (!*text) return nullptr;
    size_t len = std::strcspn(text, delims);
    if (size > 0) {
        size_t kept = len < static_cast<size_t>(size - 1) ? len : static_cast<size_t>(size - 1);
        std::memcpy(token, text, kept);
        token[kept] = '\0';
    }
    return text + len;
}

const char* ktStrBufTokQuote(const char* text, ktStrBuf* buf, const char* delims) {
    ktStrBufClear(buf);
    text += std::strspn(text, delims);
    if (!*text) return nullptr;
    bool quoted = *text == '"';
    if (quoted) ++text;
    bool pending = false;  // a backslash waits for the character behind it
    for (; *text; ++text) {
        char c = *text;
        if (!quoted && std::strchr(delims, c)) break;
        if (pending) {
            if (c != '\\' && c != '"') ktStrBufAppendChar(buf, '\\');
            ktStrBufAppendChar(buf, c);
            pending = false;
        } else if (quoted && c == '"') {
            ++text;
            break;
        } else if (c == '\\') {
            pending = true;
        } else {
            ktStrBufAppendChar(buf, c);
        }
    }
    if (pending) ktStrBufAppendChar(buf, '\\');
    return text + std::strspn(text, delims);
}

const char* ktStrCvtFromLiteral(const char* text, char* out, int size, int open, int close) {
    if (!text || !out || size <= 0) return nullptr;
    int closing = 0;
    if (open) {
        text = std::strchr(text, open);
        if (!text) return nullptr;
        ++text;
        closing = open;
    } else if (close) {
        closing = close;
    } else if (*text == '\'' || *text == '"') {
        closing = *text++;
    }
    int kept = 0;
    // Characters beyond the room are decoded and dropped, so that the place
    // returned is still behind the literal.
    auto store = [&](char c) {
        if (kept < size - 1) out[kept++] = c;
    };
    const char* p = text;
    for (;;) {
        char c = *p;
        if (!c) {
            out[kept] = '\0';
            return closing ? nullptr : p;
        }
        ++p;
        if (c == closing) break;
        if (c != '\\') {
            store(c);
            continue;
        }
        c = *p;
        if (!c) continue;  // the text's end stops it on the next round
        ++p;
        if (c == '\n') continue;  // a line end escaped away
        if (const char* e = std::strchr(kEscapeLetters, c)) {
            store(kEscapeValues[e - kEscapeLetters]);
        } else if (c >= '0' && c <= '7') {
            int value = c - '0';
            for (int digits = 1; digits < 3 && *p >= '0' && *p <= '7'; ++digits) {
                int next = value * 8 + (*p - '0');
                if (next > 255) break;
                value = next;
                ++p;
            }
            store(static_cast<char>(value));
        } else {
            store(c);
        }
    }
    out[kept] = '\0';
    return p;
}

const char* ktStrCat(const char* a, const char* b) {
    if (!catFirst) {
        catFirst = ktStrBufCreate(256);
        catSecond = ktStrBufCreate(256);
        ktOnExitAdd(reinterpret_cast<void (*)(void*)>(ktStrBufDestroy), catFirst);
        ktOnExitAdd(reinterpret_cast<void (*)(void*)>(ktStrBufDestroy), catSecond);
    }
    // Joined in the first buffer, so that an argument may be the second's text.
    ktStrBufClear(catFirst);
    if (a) ktStrBufAppend(catFirst, a);
    if (b) ktStrBufAppend(catFirst, b);
    ktStrBufClear(catSecond);
    appendBytes(catSecond, catFirst->text, static_cast<size_t>(catFirst->length));
    return catSecond->text;
}

// ---- String buffers ----------------------------------------------------------

ktStrBuf* ktStrBufCreate(int capacity) {
    if (capacity < 0) capacity = 0;
    auto* buf = static_cast<ktStrBuf*>(ktMemFlAlloc(sizeof(ktStrBuf), "ktStrBuf"));
    buf->capacity = capacity;
    buf->length = 0;
    buf->text = takeSlot(static_cast<size_t>(capacity) + 1);
    buf->text[0] = '\0';
    return buf;
}

void ktStrBufDestroy(ktStrBuf* buf) {
    ktStrFree(buf->text);
    ktMemFlFree(buf, sizeof(ktStrBuf));
}

void ktStrBufClear(ktStrBuf* buf) {
    buf->length = 0;
    buf->text[0] = '\0';
}

char* ktStrBufString(ktStrBuf* buf) {
    return buf->text;
}

void ktStrBufAppend(ktStrBuf* buf, const char* text) {
    appendBytes(buf, text, std::strlen(text));
}

void ktStrBufAppendChar(ktStrBuf* buf, char c) {
    appendBytes(buf, &c, 1);
}

int ktStrIindex(const char* text, const char* const* names, int count) {
    if (!text || !*text) return -1;
    int length = static_cast<int>(std::strlen(text));
    int found = -1;
    for (int i = 0; i < count; ++i) {
        if (ktStrNicmp(names[i], text, length) != 0) continue;
        if (names[i][length] == '\0') return i;
        found = found == -1 ? i : -2;
    }
    return found;
}
