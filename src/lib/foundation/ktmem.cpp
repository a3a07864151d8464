// Memory over the platform heap. Stand-in: plain malloc without purge
// routines, free lists or the debug allocator.
#include "ktmem.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "ktex.h"

void (*ktMemOutV)(int) = ktMemExit;

void ktMemExit(int) {
    std::fputs("Out of memory.\n", stderr);
    ktAbort(0);
}

void* ktMem_FastMalloc(size_t size) {
    for (int attempt = 0;; ++attempt) {
        if (void* p = std::malloc(size ? size : 1)) return p;
        ktMemOutV(attempt);
    }
}

void* ktMem_FastCalloc(size_t count, size_t size) {
    for (int attempt = 0;; ++attempt) {
        if (void* p = std::calloc(count ? count : 1, size ? size : 1)) return p;
        ktMemOutV(attempt);
    }
}

void* ktMem_FastRealloc(void* block, size_t size) {
    for (int attempt = 0;; ++attempt) {
        if (void* p = std::realloc(block, size ? size : 1)) return p;
        ktMemOutV(attempt);
    }
}

void ktMem_FastFree(void* block) { std::free(block); }

void* ktMemMalloc(size_t size, const char*) { return ktMem_FastMalloc(size); }
void* ktMemCalloc(size_t count, size_t size, const char*) { return ktMem_FastCalloc(count, size); }
void* ktMemRealloc(void* block, size_t size, const char*) { return ktMem_FastRealloc(block, size); }
void ktMemFree(void* block) { ktMem_FastFree(block); }

void* ktMemFlAlloc(size_t size, const char* tag) { return ktMemMalloc(size, tag); }
void ktMemFlFree(void* block, size_t) { ktMemFree(block); }
void ktMemFlPurge() {}

void* ktMemMove(void* dest, const void* src, size_t count) { return std::memmove(dest, src, count); }
void ktAddPurgeRoutine(void (*)()) {}
void ktMemPrintUsage(void (*)(const char*)) {}
void ktMemPrintUsageStdout() {}
void ktMem_DbgPrintStrings() {}
void ktMem_DbgTestMemory() {}
