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
// Wildcard match of the whole text: `*` any run (also empty), `?` exactly
// one character; case counts. Null matches only the same pointer.
int ktStrMat(const char* pattern, const char* text);
// Skips delimiters, copies the next token (at most size - 1 characters; the
// rest of a longer token is skipped) and returns the address of what ended
// it, for the next call. Null, with an empty token, when no token is left.
const char* ktStrTok(const char* text, char* token, size_t size, const char* delimiters);
// Decodes a quoted literal into `out` (at most size - 1 characters, always
// terminated) and returns the place behind it, or null when it isn't closed.
// The literal ends at `close`; with `open` given it starts behind the first
// `open` and ends at the next one; with neither, a leading single or double
// quote opens and closes it, and else the text's end ends it. A backslash
// before a line end joins lines; \n \t \v \b \r \f and up to three octal
// digits are escapes; before any other character it stands for that one.
const char* ktStrCvtFromLiteral(const char* text, char* out, int size, int open, int close);
