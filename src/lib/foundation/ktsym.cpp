// Symbol tables and the keyword lexer. Records and entries come from the
// free lists, so storing a new key costs no heap call; the hash is not kept
// in the entry and is computed once per store and once per entry on growth.
#include "ktsym.h"

#include <cstring>

#include "kterr.h"
#include "ktex.h"
#include "ktmem.h"
#include "ktstr.h"

namespace {
int keysEqual(const ktSym* t, const void* stored, const void* key) {
    if (t->equal) return t->equal(stored, key);
    return t->equalText(static_cast<const char*>(stored), static_cast<const char*>(key));
}

uint32_t slotOf(const ktSym* t, const void* key, uint32_t buckets) {
    return t->hash(key) % buckets;
}

// The address of the link that points at the entry of `key` in chain
// `slot`, or of the null link that ends the chain.
ktSymEntry** findLink(ktSym* t, const void* key, uint32_t slot) {
    ktSymEntry** link = &t->slots[slot];
    while (*link && !keysEqual(t, (*link)->key, key)) link = &(*link)->next;
    return link;
}

ktSymEntry** findLink(ktSym* t, const void* key) {
    return findLink(t, key, slotOf(t, key, t->buckets));
}

// Integer square root by the five-round bitwise method. For n of 1024 or
// more it stays at 31; the bucket count depends on exactly this result.
uint32_t bitwiseRoot(uint32_t n) {
    uint32_t r = 0, v = n, b = 256, t = 256;
    while (b) {
        r >>= 1;
        if (t <= v) {
            r |= b;
            v -= t;
        }
        b >>= 2;
        t = b + r;
    }
    return r;
}

uint32_t toUnsigned(double d) {
    if (!(d > 0)) return 0;
    if (d >= 4294967295.0) return 0xffffffffu;
    return static_cast<uint32_t>(d);
}

// An odd number with no divisor from its bitwise root down to 2.
uint32_t newBucketCount(uint32_t n) {
    if (n % 2 == 0) ++n;
    for (;;) {
        bool divisible = false;
        for (uint32_t d = bitwiseRoot(n); d >= 2; --d)
            if (n % d == 0) {
                divisible = true;
                break;
            }
        if (!divisible) return n;
        // Past the largest count: 0 tells the caller to keep its size.
        if (n > 0xffffffffu - 2) return 0;
        n += 2;
    }
}

void rehash(ktSym* t, uint32_t n) {
    auto** slots = static_cast<ktSymEntry**>(ktMemCalloc(n, sizeof(ktSymEntry*), "Hash Slots"));
    // Old buckets in ascending order, each chain from its head, each entry
    // pushed on the head of its new chain: the order that loops then see.
    for (uint32_t i = 0; i < t->buckets; ++i) {
        while (ktSymEntry* e = t->slots[i]) {
            t->slots[i] = e->next;
            uint32_t s = slotOf(t, e->key, n);
            e->next = slots[s];
            slots[s] = e;
        }
    }
    ktMemFree(t->slots);
    t->slots = slots;
    t->buckets = n;
}

void growthTest(ktSym* t) {
    const ktSymDynamicInfo* d = t->dynamic;
    if (!(d->maxLoad * t->buckets < static_cast<double>(t->count))) return;
    uint32_t n = newBucketCount(toUnsigned(d->growFactor * t->count));
    if (n == 0) n = t->buckets;
    rehash(t, n);
}

bool inSet(int c, const char* set) {
    return c != '\0' && set && std::strchr(set, c);
}

template <typename Release>
void destroy(ktSym* t, Release release) {
    if (!t) return;
    for (uint32_t i = 0; i < t->buckets; ++i) {
        while (ktSymEntry* e = t->slots[i]) {
            t->slots[i] = e->next;
            t->free(e->key);
            if (release) release(e->value);
            ktMemFlFree(e, sizeof(ktSymEntry));
        }
    }
    ktMemFree(t->slots);
    if (t->dynamic) ktMemFree(t->dynamic);
    ktMemFlFree(t, sizeof(ktSym));
}
}  // namespace

uint32_t ktSymStHash(const void* key) {
    if (!key) return 0;
    uint32_t h = 0;
    const auto* p = static_cast<const unsigned char*>(key);
    // The shift of byte i is 7 * i modulo 16, stepped rather than divided.
    for (uint32_t shift = 0; *p; ++p, shift = (shift + 7) & 15)
        h += static_cast<uint32_t>(*p) << shift;
    return h;
}

void* ktSymStCpy(const void* key) {
    return ktStrCpy(static_cast<const char*>(key));
}

void* ktSymStFree(void* key) {
    if (key) ktStrFree(static_cast<char*>(key));
    return nullptr;
}

uint32_t ktSymPtrHash(const void* key) {
    return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(key));
}

int ktSymPtrCmp(const void* stored, const void* key) {
    return stored == key;
}

void* ktSymReturn(const void* key) {
    return const_cast<void*>(key);
}

void* ktSymDummy(void* key) {
    return key;
}

ktSym* ktSymCreate(uint32_t buckets, ktSymHashFn hash, ktSymEqualFn equal, ktSymCopyFn copy,
                   ktSymFreeFn free) {
    if (buckets == 0)
        ktExThrow2(KT_EX_PRECOND, "ktSymCreate", KT_ERR_ERROR,
                   "A symbol table needs at least one bucket.");
    auto* t = static_cast<ktSym*>(ktMemFlAlloc(sizeof(ktSym), "Hash Table"));
    *t = ktSym{hash, equal, nullptr, copy, free, nullptr, buckets, 0, nullptr, nullptr};
    t->slots = static_cast<ktSymEntry**>(ktMemCalloc(buckets, sizeof(ktSymEntry*), "Hash Slots"));
    return t;
}

ktSym* ktSymCreate(uint32_t buckets, ktSymHashFn hash, ktSymTextEqualFn equal, ktSymCopyFn copy,
                   ktSymFreeFn free) {
    ktSym* t = ktSymCreate(buckets, hash, static_cast<ktSymEqualFn>(nullptr), copy, free);
    t->equalText = equal;
    return t;
}

void ktSymDynamic(ktSym* table, double maxLoad, double growFactor) {
    if (!table->dynamic)
        table->dynamic = static_cast<ktSymDynamicInfo*>(
            ktMemMalloc(sizeof(ktSymDynamicInfo), "Hash Dynamic Info"));
    *table->dynamic = ktSymDynamicInfo{maxLoad, growFactor};
    growthTest(table);
}

void ktSymNotFoundValue(ktSym* table, void* value) {
    table->notFound = value;
}

void* ktSymStore(ktSym* table, const void* key, void* value) {
    uint32_t slot = slotOf(table, key, table->buckets);
    ktSymEntry* e = *findLink(table, key, slot);
    void* old;
    if (!e) {
        // A new key goes to the head of its chain; loops see it first.
        e = static_cast<ktSymEntry*>(ktMemFlAlloc(sizeof(ktSymEntry), "Hash Entry"));
        e->next = table->slots[slot];
        e->key = table->copy(key);
        table->slots[slot] = e;
        ++table->count;
        old = table->notFound;
    } else {
        old = e->value;
        // Copy before releasing: the caller may have passed the stored key.
        void* stored = e->key;
        e->key = table->copy(key);
        table->free(stored);
    }
    e->value = value;
    if (table->dynamic) growthTest(table);
    return old;
}

void* ktSymFetch(ktSym* table, const void* key) {
    ktSymEntry* e = *findLink(table, key);
    return e ? e->value : table->notFound;
}

void** ktSymFetchAddr(ktSym* table, const void* key) {
    ktSymEntry* e = *findLink(table, key);
    return e ? &e->value : nullptr;
}

void* ktSymRemove(ktSym* table, const void* key) {
    ktSymEntry** link = findLink(table, key);
    ktSymEntry* e = *link;
    if (!e) return table->notFound;
    *link = e->next;
    --table->count;
    void* value = e->value;
    table->free(e->key);
    ktMemFlFree(e, sizeof(ktSymEntry));
    return value;
}

int ktSymLoop(ktSym* table, ktSymLoopFn fn, void* data1, void* data2) {
    for (uint32_t i = 0; i < table->buckets; ++i)
        for (ktSymEntry* e = table->slots[i]; e; e = e->next)
            if (fn(e->value, e->key, data1, data2) == 0) return 0;
    return 1;
}

void ktSymDestroy(ktSym* table, ktSymFreeFn release) {
    destroy(table, release);
}

void ktSymDestroy(ktSym* table, void (*release)(void* value)) {
    destroy(table, release);
}

int ktTklex(FILE* stream, char* token, int size, const char* delims, const char* skips,
            const ktTklexKeyword* keywords) {
    // A zero byte is no character of a text file's token: stored, it would
    // cut the token short for every reader of the C string, down to an
    // empty one. It is passed over wherever it stands.
    int c;
    do c = std::getc(stream);
    while (c != EOF && (c == '\0' || inSet(c, skips)));
    if (c == EOF) return -1;

    int len = 0;
    if (inSet(c, delims)) {
        if (size > 1) token[len++] = static_cast<char>(c);
    } else {
        for (; c != EOF && !inSet(c, delims); c = std::getc(stream))
            if (c != '\0' && len < size - 1) token[len++] = static_cast<char>(c);
        if (c != EOF) std::ungetc(c, stream);
    }
    if (size > 0) token[len] = '\0';

    for (const ktTklexKeyword* k = keywords; k; k = k->next)
        if (k->code != 0 && len >= k->minLength && std::strncmp(token, k->text, len) == 0)
            return k->code;
    return 0;
}
