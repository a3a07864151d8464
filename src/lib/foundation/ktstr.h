// Strings. Copies made here come from the string pool and go back with
// ktStrFree; the comparison and case functions accept null where noted and
// treat text as bytes, folding only ASCII letters.
#pragma once
#include <cstddef>

char* ktStrCpy(const char* text);
// Room for `size` bytes, terminator included.
char* ktStrAlloc(size_t size);
void ktStrFree(char* text);
char* ktStrCatAlloc(const char* a, const char* b);
char* ktStrTrimAlloc(const char* text);
// A copy on the general heap, released with ktMemFree.
char* ktStrOldCopy(const char* text);
void ktStrTerminate();
int ktStrEqu(const char* a, const char* b);
int ktStrIcmp(const char* a, const char* b);
int ktStrNicmp(const char* a, const char* b, int count);
char* ktStrLoc(char* text);
char* ktStrUpc(char* text);
int ktStrIsnum(const char* text);
char* ktStrncpyNullTerm(char* out, const char* text, size_t size);
