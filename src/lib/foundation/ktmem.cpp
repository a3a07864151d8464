// Memory over the platform heap. Stand-in: plain malloc without purge
// routines, free lists or the debug allocator.
#include "ktmem.h"

#include <cstdio>
#include <cstdlib>

namespace {
[[noreturn]] void outOfMemory() {
    std::fputs("Out of memory.\n", stderr);
    std::exit(3);
}
}  // namespace

void* ktMemMalloc(size_t size, const char* /*tag*/) {
    void* p = std::malloc(size ? size : 1);
    if (!p) outOfMemory();
    return p;
}

void* ktMemCalloc(size_t count, size_t size, const char* /*tag*/) {
    void* p = std::calloc(count ? count : 1, size ? size : 1);
    if (!p) outOfMemory();
    return p;
}

void* ktMemRealloc(void* block, size_t size, const char* /*tag*/) {
    void* p = std::realloc(block, size ? size : 1);
    if (!p) outOfMemory();
    return p;
}

void ktMemFree(void* block) { std::free(block); }
