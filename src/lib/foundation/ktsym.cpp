// Symbol tables. Stand-in: a fixed number of chains, no growth rule, loop
// or keyword lexer yet.
#include "ktsym.h"

#include "ktmem.h"
#include "ktstr.h"

namespace {
ktSymEntry** chainOf(ktSym* t, const void* key) {
    return &t->slots[t->hash(key) % t->buckets];
}

ktSymEntry* find(ktSym* t, const void* key) {
    for (ktSymEntry* e = *chainOf(t, key); e; e = e->next)
        if (t->equal(e->key, key)) return e;
    return nullptr;
}
}  // namespace

ktSym* ktSymCreate(uint32_t buckets, uint32_t (*hash)(const void*),
                   int (*equal)(const void*, const void*), void* (*copy)(const void*),
                   void (*free)(void*)) {
    if (buckets == 0) buckets = 1;
    auto* t = static_cast<ktSym*>(ktMemFlAlloc(sizeof(ktSym), "Hash Table"));
    t->hash = hash;
    t->equal = equal;
    t->copy = copy;
    t->free = free;
    t->notFound = nullptr;
    t->buckets = buckets;
    t->count = 0;
    t->dynamic = nullptr;
    t->slots = static_cast<ktSymEntry**>(ktMemCalloc(buckets, sizeof(ktSymEntry*), "Hash Slots"));
    return t;
}

void* ktSymStore(ktSym* t, const void* key, void* value) {
    void* old = t->notFound;
    // Copied before the old key goes, in case the caller passed the stored key itself.
    void* stored = t->copy(key);
    ktSymEntry* e = find(t, key);
    if (e) {
        old = e->value;
        t->free(e->key);
    } else {
        e = static_cast<ktSymEntry*>(ktMemFlAlloc(sizeof(ktSymEntry), "Hash Entry"));
        ktSymEntry** chain = chainOf(t, key);
        e->next = *chain;
        *chain = e;
        ++t->count;
    }
    e->value = value;
    e->key = stored;
    return old;
}

void* ktSymFetch(ktSym* t, const void* key) {
    ktSymEntry* e = find(t, key);
    return e ? e->value : t->notFound;
}

void* ktSymRemove(ktSym* t, const void* key) {
    for (ktSymEntry** p = chainOf(t, key); *p; p = &(*p)->next) {
        ktSymEntry* e = *p;
        if (!t->equal(e->key, key)) continue;
        *p = e->next;
        --t->count;
        void* value = e->value;
        t->free(e->key);
        ktMemFlFree(e, sizeof(ktSymEntry));
        return value;
    }
    return t->notFound;
}

void ktSymDestroy(ktSym* t, void (*release)(void*)) {
    if (!t) return;
    for (uint32_t i = 0; i < t->buckets; ++i)
        while (ktSymEntry* e = t->slots[i]) {
            t->slots[i] = e->next;
            t->free(e->key);
            if (release) release(e->value);
            ktMemFlFree(e, sizeof(ktSymEntry));
        }
    ktMemFree(t->slots);
    ktMemFlFree(t, sizeof(ktSym));
}

uint32_t ktSymStHash(const void* key) {
    uint32_t h = 0;
    if (!key) return h;
    const auto* s = static_cast<const unsigned char*>(key);
    for (uint32_t i = 0; s[i]; ++i) h += static_cast<uint32_t>(s[i]) << ((7 * i) % 16);
    return h;
}

void* ktSymStCpy(const void* key) {
    return ktStrCpy(static_cast<const char*>(key));
}

void ktSymStFree(void* key) {
    if (key) ktStrFree(static_cast<char*>(key));
}
