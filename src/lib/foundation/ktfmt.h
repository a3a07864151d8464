// Formatted output. The library's own sprintf: translated message texts may
// need their arguments in another order, so a directive may name its
// argument (`%2$s`, `%*3$d`); the result never runs past the caller's
// buffer, and the caller learns how much room the whole text needed. The
// directive parser is open to any callback, which is how format strings are
// checked without producing output. A bad format is thrown, with tag 2, as
// message KTM_FMT_BADFORMAT of the library's message file.
//
// Directives: %[n$][flags][width][.precision]conversion, with flags from
// "-+ #0", width and precision a number, `*` or `*n$`, and conversions
// d i o u x X (h, l or L before them), n (h or l before), e E f g G (an l
// before is ignored), c s p. "%%" is one `%`. A format numbers all its
// arguments or none, and uses every position up to the highest. A null
// string argument prints as the empty text. A width, or a precision other
// than that of `s`, above 4096 is a conversion that can't be made.
#pragma once
#include <cstdarg>
#include <cstddef>
#include <cstdint>

// What a descriptor describes.
enum : int {
    KT_SPFMT_INVALID = 1,    // the format is bad from `rest` on
    KT_SPFMT_TEXT = 2,       // literal text
    KT_SPFMT_DIRECTIVE = 3,  // one directive
};

// Argument types, as ktSpFmtArgIs gives them (and as compiled message files
// keep them): the conversion's type, with the bits for a width and a
// precision taken from arguments.
enum : int {
    KT_SPFMT_INT = 1,      // d i o u x X, and a `*` width or precision
    KT_SPFMT_SHORT = 2,    // h before d i o u x X
    KT_SPFMT_LONG = 3,     // l before d i o u x X
    KT_SPFMT_DOUBLE = 4,   // e E f g G
    KT_SPFMT_CHAR = 6,     // c, passed as int
    KT_SPFMT_STRING = 7,   // s
    KT_SPFMT_POINTER = 8,  // p
    KT_SPFMT_INT64 = 9,    // L before d i o u x X
    KT_SPFMT_PINT = 16,    // n
    KT_SPFMT_PSHORT = 32,  // hn
    KT_SPFMT_PLONG = 48,   // ln
    KT_SPFMT_STARWIDTH = 0x4000,
    KT_SPFMT_STARPREC = 0x8000,
};

// One piece of a format, handed to the parser's callback. Its texts live
// only for the call.
struct ktSpFmtDesc {
    const char* orig;   // the whole format
    const char* rest;   // invalid: the format from the place of the error
    const char* text;   // literal text, or the directive as written
    const char* flags;  // the flag characters, or null
    const char* conv;   // the conversion characters, such as "ld"
    int kind;           // KT_SPFMT_INVALID, _TEXT or _DIRECTIVE
    int position;       // argument position 1 to 99, or -1
    int width;          // a number, the position of a `*n$` width, or -1
    int precision;      // a number, the position of a `*n$` precision, or -1
    int type;           // the argument type with its `*` bits
};

// A callback returns 0 to stop the parse.
typedef int (*ktSpFmtFunc)(const ktSpFmtDesc* desc, void* data);

// Delivers each piece of `format` to `callback`; an invalid piece ends the
// parse. Returns the callback's last result, or 0 when it stopped the parse
// (and for a null format or callback).
int ktSpFmtParse(const char* format, ktSpFmtFunc callback, void* data);

// A format parsed once, for one that is used many times (a message text):
// its pieces as the parser delivers them, with their texts. Running it hands
// the callback the same pieces, in the same order, with the same result as
// ktSpFmtParse of the format, without parsing again.
struct ktSpFmtProg;
// Null for a null format. A bad format compiles too: its run ends in the
// same invalid piece.
ktSpFmtProg* ktSpFmtCompile(const char* format);
void ktSpFmtProgFree(ktSpFmtProg* prog);
int ktSpFmtProgRun(const ktSpFmtProg* prog, ktSpFmtFunc callback, void* data);

const char* ktSpFmtOrigStr(const ktSpFmtDesc* desc);
// The rest of the format for an invalid piece, else the piece's text.
const char* ktSpFmtDescStr(const ktSpFmtDesc* desc);
int ktSpFmtDescIs(const ktSpFmtDesc* desc);
// These give -1 or null for anything but a directive.
const char* ktSpFmtArgFlags(const ktSpFmtDesc* desc);
const char* ktSpFmtArgConv(const ktSpFmtDesc* desc);
int ktSpFmtArgPosition(const ktSpFmtDesc* desc);
int ktSpFmtArgWidth(const ktSpFmtDesc* desc);
// A precision of 0 with g or G reads as 1, as it acts.
int ktSpFmtArgPrecision(const ktSpFmtDesc* desc);
int ktSpFmtArgIs(const ktSpFmtDesc* desc);

// Formats into `buf` of `size` bytes, always terminated, and stores in
// `needed` (if not null) the room the whole text needs, terminator included.
// Returns 0, or -1 when the text was cut, a conversion could not be made, or
// `buf` or `format` is null or `size` is 0.
int ktSprintfVa2(char* buf, size_t size, size_t* needed, const char* format, va_list args);
int ktSprintf(char* buf, size_t size, const char* format, ...);
// The same with a compiled format.
int ktSprintfProgVa2(char* buf, size_t size, size_t* needed, const ktSpFmtProg* prog,
                     va_list args);

// The whole text however long, in a buffer the library owns: good until the
// next call, which may take it as an argument. Null for a null format.
char* ktSprintfStatic(const char* format, ...);
char* ktSprintfStaticVa(const char* format, va_list args);
char* ktSprintfStaticProgVa(const ktSpFmtProg* prog, va_list args);

// "%d" of `value`, in a buffer the next call overwrites.
char* ktCvtIntStr(int value);

// Splits seconds since 1970 (no time zone) into a calendar date and time of
// day; month and day count from 1. Any out pointer may be null. Returns 1.
int ktCvtTime(long seconds, int* month, int* day, int* year, int* hour, int* minute, int* second);

// Flags of ktInt64CvtToStrEx.
enum : int {
    KT_INT64_UNSIGNED = 0x1,
    KT_INT64_UPPER = 0x2,
    KT_INT64_LEFT = 0x10,
    KT_INT64_ZEROFILL = 0x20,
    KT_INT64_PLUS = 0x100,
    KT_INT64_BLANK = 0x200,  // a blank where a plus sign would be
    KT_INT64_ALT = 0x800,    // 0 before octal, 0x before hexadecimal
};

// The 64-bit value high:low as text in `base` (2 to 16), padded to `width`
// (-1 for none) with at least `precision` digits (-1 for 1). The text lies
// in a buffer the next call overwrites.
char* ktInt64CvtToStrEx(uint32_t high, uint32_t low, int base, int width, int precision, int flags);
