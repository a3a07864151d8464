// Symbol tables and the keyword lexer. ktSym is the one hash table of the
// system: chained, with hash, equality, key copy and key release given by
// the caller. Its iteration order follows from the bucket count and the
// order of insertion, and other modules print in that order, so where a
// new entry goes and how a growing table picks its new size are fixed
// here and must not change. Keys and values are machine words (pointers
// or small integers); the table never owns the values. ktTklex reads one
// token from a stream and matches it against a list of abbreviable
// keywords.
#pragma once
#include <cstdint>
#include <cstdio>

using ktSymHashFn = uint32_t (*)(const void* key);
// Called with the stored key first; non-zero when the keys are equal.
using ktSymEqualFn = int (*)(const void* stored, const void* key);
// Called at every store; its result is the key the table keeps.
using ktSymCopyFn = void* (*)(const void* key);
// Called when a stored key leaves the table; the result is ignored.
using ktSymFreeFn = void* (*)(void* stored);
// Equality over texts, such as ktStrEqu.
using ktSymTextEqualFn = int (*)(const char* stored, const char* key);

struct ktSymEntry {
    ktSymEntry* next;
    void* key;
    void* value;
};

// Growth rule: grow when count exceeds maxLoad x buckets.
struct ktSymDynamicInfo {
    double maxLoad;
    double growFactor;
};

struct ktSym {
    ktSymHashFn hash;
    ktSymEqualFn equal;          // null when equalText is set
    ktSymTextEqualFn equalText;  // null when equal is set
    ktSymCopyFn copy;
    ktSymFreeFn free;
    void* notFound;  // what a failed fetch returns; null after creation
    uint32_t buckets;
    uint32_t count;
    ktSymDynamicInfo* dynamic;  // null: the table keeps its size
    ktSymEntry** slots;
};

// The standard key routines. String keys: ktSymStHash, ktStrEqu,
// ktSymStCpy, ktSymStFree. Pointer or integer keys: ktSymPtrHash,
// ktSymPtrCmp, ktSymReturn, ktSymDummy.
uint32_t ktSymStHash(const void* key);
void* ktSymStCpy(const void* key);
void* ktSymStFree(void* key);
uint32_t ktSymPtrHash(const void* key);
int ktSymPtrCmp(const void* stored, const void* key);
void* ktSymReturn(const void* key);
void* ktSymDummy(void* key);

// `buckets` must not be 0.
ktSym* ktSymCreate(uint32_t buckets, ktSymHashFn hash, ktSymEqualFn equal, ktSymCopyFn copy,
                   ktSymFreeFn free);
ktSym* ktSymCreate(uint32_t buckets, ktSymHashFn hash, ktSymTextEqualFn equal, ktSymCopyFn copy,
                   ktSymFreeFn free);
// Sets the growth rule and applies it at once. Every growing table of the
// system uses 2.0 and 2.0.
void ktSymDynamic(ktSym* table, double maxLoad, double growFactor);
void ktSymNotFoundValue(ktSym* table, void* value);

// Returns the value the key had, or the not-found value.
void* ktSymStore(ktSym* table, const void* key, void* value);
void* ktSymFetch(ktSym* table, const void* key);
// The address of the entry's value slot, or null.
void** ktSymFetchAddr(ktSym* table, const void* key);
// Returns the removed value, or the not-found value. A table never shrinks.
void* ktSymRemove(ktSym* table, const void* key);

// Calls fn(value, key, data1, data2) bucket by bucket, each chain from its
// head; fn must not change the table. Returns 0 as soon as fn returns 0,
// else 1.
using ktSymLoopFn = int (*)(void* value, void* key, void* data1, void* data2);
int ktSymLoop(ktSym* table, ktSymLoopFn fn, void* data1, void* data2);

// Releases every key, hands every value to `release`, then the table.
void ktSymDestroy(ktSym* table, ktSymFreeFn release);
void ktSymDestroy(ktSym* table, void (*release)(void* value));

// One keyword of ktTklex: a token matches if it has at least minLength
// characters and is a prefix of text (case counts).
struct ktTklexKeyword {
    ktTklexKeyword* next;
    const char* text;
    int minLength;
    int code;
};

// Reads one token into `token` (at most size - 1 characters; the rest of a
// longer word is read and dropped). Characters of `skips` are passed over
// ahead of a token; the token runs up to a character of `delims`, which is
// pushed back; a delimiter met at once is a token of its own. Zero bytes
// are passed over, so a token is never empty. Returns the
// code of the first keyword with a non-zero code that the token matches,
// 0 if none does, or -1 at the end of the stream.
int ktTklex(FILE* stream, char* token, int size, const char* delims, const char* skips,
            const ktTklexKeyword* keywords);
