// Strings. Copies made here come from a pool in which a short string costs
// its length plus one byte and no call of the heap; they go back with
// ktStrFree. Around the pool stands the library's string vocabulary:
// comparison with and without regard to case, trimming, tokenizing,
// wildcard matching, number recognition and growing string buffers. Text
// is treated as bytes and only ASCII letters are folded. Functions accept
// null only where their comment says so.
#pragma once
#include <cstddef>

// A growing string. The text is a pooled string, always terminated.
struct ktStrBuf {
    int capacity;  // characters that fit, terminator not counted
    int length;
    char* text;
};

// ---- Pooled strings ----------------------------------------------------------
// The pool is off under KT_STRDISABLE or KT_PURIFY, read at the first call
// that allocates; strings then come from ktMemMalloc with the tag "ktString".

// A copy of `text`; null gives null. Empty texts share one constant string,
// which must never be written to.
char* ktStrCpy(const char* text);
// Room for `size` bytes, terminator included; contents undefined. A size
// of 1 or less gives the shared empty string.
char* ktStrAlloc(size_t size);
// Releases a pooled string; never null.
void ktStrFree(char* text);
// `a` followed by `b`; neither may be null.
char* ktStrCatAlloc(const char* a, const char* b);
// A copy without white space at either end; null gives null.
char* ktStrTrimAlloc(const char* text);
// A copy on the general heap (tag "ktStrCpy"), released with ktMemFree and
// never with ktStrFree; null gives null.
char* ktStrOldCopy(const char* text);
// Releases the whole pool at the end of the run; a string released after
// this would go to ktMemFree, so nothing may be.
void ktStrTerminate();

// ---- Comparison and case -----------------------------------------------------

// 1 for the same pointer (two nulls too), 0 if either is null, else 1 when
// the texts are equal.
int ktStrEqu(const char* a, const char* b);
// Upper-cased difference of the first differing pair; 0 for the same
// pointer, -1 for a null `a`, 1 for a null `b`.
int ktStrIcmp(const char* a, const char* b);
// As ktStrIcmp over at most `count` characters; a text that ends first is
// the smaller.
int ktStrNicmp(const char* a, const char* b, int count);
// The byte in capitals: only ASCII letters change.
constexpr char ktCharUpc(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}
// Lower- and upper-case in place; null is returned as it is.
char* ktStrLoc(char* text);
char* ktStrUpc(char* text);

// ---- Scanning ----------------------------------------------------------------

// The first character that is not white space; null gives null.
const char* ktStrBlk(const char* text);
inline char* ktStrBlk(char* text) {
    return const_cast<char*>(ktStrBlk(static_cast<const char*>(text)));
}
// The first character of `text` that is in `set`, or null, also when
// either is null.
const char* ktStrBrk(const char* text, const char* set);
inline char* ktStrBrk(char* text, const char* set) {
    return const_cast<char*>(ktStrBrk(static_cast<const char*>(text), set));
}
// strchr and strrchr that give null for a null text.
const char* ktStrChr(const char* text, int c);
inline char* ktStrChr(char* text, int c) {
    return const_cast<char*>(ktStrChr(static_cast<const char*>(text), c));
}
const char* ktStrRch(const char* text, int c);
inline char* ktStrRch(char* text, int c) {
    return const_cast<char*>(ktStrRch(static_cast<const char*>(text), c));
}
// strncpy with a terminator at size - 1; a null text gives an empty string.
char* ktStrncpyNullTerm(char* out, const char* text, size_t size);
// Strips trailing white space in place, never the first character, and
// returns the first character that isn't white space.
char* ktStrTrim(char* text);
// 1 when the text reads as a number: digits with an optional sign, point
// and exponent. A lone point counts; null and the empty text don't.
int ktStrIsnum(const char* text);
// Reads the decimal number at the head of `text` as "%ld" would (blanks, a
// sign, digits; what follows is left), without ever overflowing: 1 with the
// value when it lies in lo..hi; -1 when it lies outside, or is too large for
// any type, with the value set to the bound it passed; 0, with the value
// untouched, when the text has no number. `end`, if given, receives the
// place behind the digits.
int ktStrCvtToLong(const char* text, long lo, long hi, long* value, const char** end = nullptr);
// 1 when `text` matches `pattern`, where `*` stands for any run and `?`
// for one character; case counts. With a null argument, 1 only when both
// are the same pointer.
int ktStrMat(const char* pattern, const char* text);
// ktStrMat with ASCII letters compared without regard to case.
int ktStrMatFolded(const char* pattern, const char* text);

// ---- Tokens and literals -----------------------------------------------------

// The next token of `text` between characters of `delims` (a run of them
// counts as one), at most size - 1 characters of it stored in `token`.
// Returns the place where the token ended, to be passed to the next call,
// or null, with an empty token, when only delimiters are left. Null and
// empty texts give null.
const char* ktStrTok(const char* text, char* token, int size, const char* delims);
// As ktStrTok, into a cleared buffer, with quotes: a token may be enclosed
// in double quotes, which keeps delimiters in it, and a backslash escapes
// a backslash or a double quote. Returns the place behind the token and
// the delimiters after it, or null at the end of the text.
const char* ktStrBufTokQuote(const char* text, ktStrBuf* buf, const char* delims);
// Decodes a literal with backslash escapes into `out` (at most size - 1
// characters kept) and returns the place behind it, or null on failure.
// The literal ends at `close`; with `open` given it starts behind the first
// `open` and ends at the next one; with neither, a leading single or double
// quote opens and closes it, and else the text's end ends it.
const char* ktStrCvtFromLiteral(const char* text, char* out, int size, int open, int close);

// `a` followed by `b`, nulls counting as empty, in a buffer good until the
// next call. An argument may be the previous result.
const char* ktStrCat(const char* a, const char* b);

// ---- String buffers ----------------------------------------------------------

ktStrBuf* ktStrBufCreate(int capacity);
void ktStrBufDestroy(ktStrBuf* buf);
void ktStrBufClear(ktStrBuf* buf);
char* ktStrBufString(ktStrBuf* buf);
// Append, growing the buffer to twice what is needed when it is full.
void ktStrBufAppend(ktStrBuf* buf, const char* text);
void ktStrBufAppendChar(ktStrBuf* buf, char c);

// ---- Abbreviations -----------------------------------------------------------

// The place of `text` among the `count` names, without regard to case: an
// exact match wins, else a prefix of exactly one name. -1 when none
// matches (the empty text matches none), -2 when several names begin so.
int ktStrIindex(const char* text, const char* const* names, int count);
