// Memory. Every heap block of the system is asked for here with a tag, a
// short static text that says what the memory is for. No call returns
// null: when the heap is exhausted the program ends with "Out of memory.".
#pragma once
#include <cstddef>

void* ktMemMalloc(size_t size, const char* tag);
void* ktMemCalloc(size_t count, size_t size, const char* tag);
void* ktMemRealloc(void* block, size_t size, const char* tag);
void ktMemFree(void* block);
