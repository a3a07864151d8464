// Memory. Every heap block of the system is asked for here with a tag, a
// short static text that says what the memory is for. No call returns
// null: a failed request is tried again after the purge routines ran, and
// the third failure ends the program with "Out of memory.". Small records
// come from size-class free lists without a header. With KT_MEMDBG in the
// environment every block carries guard words at both ends and is counted
// under its tag, so that overruns, stray frees and leaks come to light.
#pragma once
#include <cstddef>

// The platform's heap. Everything below reaches it through this table, so
// that a test can make it fail.
struct ktMemHeapTB {
    void* (*malloc)(size_t size);
    void* (*calloc)(size_t count, size_t size);
    void* (*realloc)(void* block, size_t size);
    void (*free)(void* block);
};
extern ktMemHeapTB ktMem_HeapV;

// Called with the number of the failed attempt (0 first); returns when the
// allocation is to be tried again. ktMemExit at start.
extern void (*ktMemOutV)(int attempt);

// The tagged allocator: the debug allocator when KT_MEMDBG is set (and
// KT_PURIFY is not), else the platform's heap. The tag must stay valid for
// the whole run: the debug allocator keeps the pointer.
void* ktMemMalloc(size_t size, const char* tag);
void* ktMemCalloc(size_t count, size_t size, const char* tag);
// A null block allocates.
void* ktMemRealloc(void* block, size_t size, const char* tag);
// Under the debug allocator a null or unknown pointer is a fatal error.
void ktMemFree(void* block);

// The platform's heap with retries, without tags or accounting. A size of
// 0 counts as 1; ktMem_FastFree ignores null.
void* ktMem_FastMalloc(size_t size);
void* ktMem_FastCalloc(size_t count, size_t size);
void* ktMem_FastRealloc(void* block, size_t size);
void ktMem_FastFree(void* block);

// Records of up to 160 bytes from size-class free lists (multiples of 8),
// carved from chunks of KT_BLOCKSIZE bytes (32000 by default, or when the
// value is no number; another value is moved to a multiple of 8 from 160
// to 1048576, with a warning); larger ones,
// and all of them under KT_MEMDBG, KT_PURIFY or KT_MEMFLDISABLE, come from
// ktMemMalloc. Not cleared. The caller gives the same size again when it
// frees a record: it is not stored anywhere.
void* ktMemFlAlloc(size_t size, const char* tag);
void ktMemFlFree(void* block, size_t size);
// The free lists' purge routine. Chunks are never given back, so it has
// nothing to do.
void ktMemFlPurge();

// A byte copy that is right for overlapping areas.
void* ktMemMove(void* dest, const void* src, size_t count);

// Routines run, newest first, when an allocation has failed, to give
// memory back before it is tried again.
void ktAddPurgeRoutine(void (*routine)());

// The default out-of-memory handler: purges after the first and second
// failure, then prints the usage report, "Out of memory." and ends with
// status 3.
void ktMemExit(int attempt);

// The debug allocator's reports; they print nothing when it is off.
// Usage per tag, one line at a time to `sink`.
void ktMemPrintUsage(void (*sink)(const char* line));
// ktDummyProc as the sink: the lines go to standard output.
void ktMemPrintUsage(void (*dummy)());
void ktMemPrintUsageStdout();
// The texts of the live blocks tagged "ktString", on standard output.
void ktMem_DbgPrintStrings();
// Checks the guards of every live block; a broken one ends the program
// with the violation report and a core dump.
void ktMem_DbgTestMemory();
