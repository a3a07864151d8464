// Memory. Every heap block of the system is asked for here with a tag, a
// short static text that says what the memory is for. No call returns
// null: when the heap is exhausted the program ends with "Out of memory.".
#pragma once
#include <cstddef>

// Called with the number of the failed attempt (0 first); returns when the
// allocation is to be tried again.
extern void (*ktMemOutV)(int attempt);

void* ktMemMalloc(size_t size, const char* tag);
void* ktMemCalloc(size_t count, size_t size, const char* tag);
void* ktMemRealloc(void* block, size_t size, const char* tag);
void ktMemFree(void* block);

void* ktMem_FastMalloc(size_t size);
void* ktMem_FastCalloc(size_t count, size_t size);
void* ktMem_FastRealloc(void* block, size_t size);
void ktMem_FastFree(void* block);

// Records of up to 160 bytes from size-class free lists; the caller gives
// the same size again when it frees one.
void* ktMemFlAlloc(size_t size, const char* tag);
void ktMemFlFree(void* block, size_t size);
void ktMemFlPurge();

void* ktMemMove(void* dest, const void* src, size_t count);
void ktAddPurgeRoutine(void (*routine)());
void ktMemExit(int attempt);
void ktMemPrintUsage(void (*sink)(const char* line));
void ktMemPrintUsageStdout();
void ktMem_DbgPrintStrings();
void ktMem_DbgTestMemory();
