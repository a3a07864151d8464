// Strings. Copies made here come from the string pool and go back with
// ktStrFree; the comparison and case functions accept null where noted and
// treat text as bytes, folding only ASCII letters.
#pragma once
#include <cstddef>

char* ktStrCpy(const char* text);
void ktStrFree(char* text);
int ktStrEqu(const char* a, const char* b);
int ktStrIcmp(const char* a, const char* b);
int ktStrNicmp(const char* a, const char* b, int count);
char* ktStrLoc(char* text);
char* ktStrUpc(char* text);
int ktStrIsnum(const char* text);
char* ktStrncpyNullTerm(char* out, const char* text, size_t size);
