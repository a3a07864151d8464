// Symbol tables: the one hash table of the system, chained, with the
// caller's hash, equality, key copy and key release. Keys and values are
// machine words (pointers or small integers). The table owns its keys
// through the copy and release routines, never its values: the caller
// gives a routine for them at destruction. A new key goes to the head of
// its chain, so iteration order follows the bucket count and the order of
// insertion.
//
// Stand-in: creation, store, fetch, remove and destruction with the string
// key routines; no growth rule, loop, not-found value setter or keyword
// lexer yet.
#pragma once
#include <cstdint>

struct ktSymEntry {
    ktSymEntry* next;
    void* key;
    void* value;
};

struct ktSym {
    uint32_t (*hash)(const void* key);
    int (*equal)(const void* stored, const void* key);
    void* (*copy)(const void* key);  // called at every store
    void (*free)(void* key);         // called when a key leaves the table
    void* notFound;                  // what a failed fetch returns
    uint32_t buckets;
    uint32_t count;
    void* dynamic;  // growth rule, or null for a table that keeps its size
    ktSymEntry** slots;
};

ktSym* ktSymCreate(uint32_t buckets, uint32_t (*hash)(const void*),
                   int (*equal)(const void*, const void*), void* (*copy)(const void*),
                   void (*free)(void*));
// Returns the value the key had, or the not-found value for a new key.
void* ktSymStore(ktSym* table, const void* key, void* value);
void* ktSymFetch(ktSym* table, const void* key);
void* ktSymRemove(ktSym* table, const void* key);
// Releases every key, hands every value to `release` (if given), and frees
// the table.
void ktSymDestroy(ktSym* table, void (*release)(void* value));

// String keys.
uint32_t ktSymStHash(const void* key);
void* ktSymStCpy(const void* key);
void ktSymStFree(void* key);
