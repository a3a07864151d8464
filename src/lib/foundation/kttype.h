// Typed values. A value is one machine word: a number of up to 32 bits
// stands in it, and a string, a double or a 64-bit integer is a pointer to
// storage the value owns. A type is a spec (name, operations, type data)
// whose operations table converts text to a value, prints a value, and
// copies and frees owned ones; the type data carry what differs between
// types of one table, such as the range of an integer or the names of an
// enumeration. Every conversion leaves its value in ktTypeReturnDataV or
// throws (tag 2) a numbered error of the library's message file.
#pragma once
#include <cstdint>

// One machine word: a number, or a pointer to storage the value owns.
using ktTypedata = intptr_t;

struct ktTypeTS;

// Receives a printed value; the text lives only for the call.
using ktTypeSinkFn = void (*)(const char* text, void* data);

// Operations of a type; the order of the slots is part of the contract.
struct ktTypeTB {
    int kind;  // KT_TYPE_WORD or KT_TYPE_OWNED
    void (*parse)(const char* text, void* typeData);
    void (*print)(ktTypedata* value, void* typeData, ktTypeSinkFn sink, void* sinkData);
    void (*free)(ktTypedata value, void* typeData);        // owned values only
    ktTypedata (*copy)(ktTypedata value, void* typeData);  // owned values only
    void (*release)(ktTypeTS* type);                       // the type record's own data
};

enum { KT_TYPE_WORD = 0, KT_TYPE_OWNED = 2 };

struct ktTypeTS {
    const char* name;
    ktTypeTB* ops;  // null for the types that have no value from text
    void* data;
    int refs;  // statically 1
};

// Where a conversion leaves its value.
extern ktTypedata ktTypeReturnDataV;

// ---- Type data ----------------------------------------------------------------

struct ktTypeIntRange {
    long min;
    long max;
};
struct ktTypeInt64Range {
    int64_t min;
    int64_t max;
};
struct ktTypeFloatRange {
    double min;
    double max;
};
// An enumeration: its names; the value is the index.
struct ktTypeEnumData {
    int count;
    const char* const* names;
};
// A string type: `filter` may change the text in place (it is a private
// copy) and returns 0 to refuse it; null accepts any text. The name is the
// type's, for the refusal.
struct ktTypeStringData {
    const char* name;
    int (*filter)(char* text);
};
// A path type: the absolute path is handed to `test`, which returns 0 to
// refuse it with message `message` of the library's file.
struct ktTypeFileData {
    int (*test)(const char* path);
    int message;
};
// The pointer types, whose value is a block of their own layout: the
// operations come with the type data.
struct ktTypePointerData {
    void (*parse)(const char* text);
    void (*print)(ktTypedata value, ktTypeSinkFn sink, void* sinkData);
    ktTypedata (*copy)(ktTypedata value);
    void (*free)(ktTypedata value);
};

// A counted block of bytes, the value of ktByteBlockTS.
struct ktTypeByteBlock {
    int32_t count;
    unsigned char bytes[1];  // `count` of them
};

// ---- Tables and types ---------------------------------------------------------

extern ktTypeTB ktIntTB;       // a long in the word, in a range
extern ktTypeTB ktInt64TB;     // an owned int64_t, in a range
extern ktTypeTB ktFloatTB;     // an owned double, in a range
extern ktTypeTB ktStringTB;    // a pooled string
extern ktTypeTB ktFileTB;      // a pooled absolute path
extern ktTypeTB ktEnumTB;      // an index in the word
extern ktTypeTB ktPointer4TB;  // a block whose operations the type data give
extern ktTypeTB ktPointer3TB;  // a type spec, with a reference taken

extern ktTypeTS ktPositiveIntTS;     // 1 to 2147483647
extern ktTypeTS ktUnsignedIntTS;     // 0 to 2147483647
extern ktTypeTS ktIntTS;             // -2147483647 to 2147483647
extern ktTypeTS ktCharTS;            // 0 to 1023
extern ktTypeTS ktInt64TS;           // -(2^63 - 1) to 2^63 - 1
extern ktTypeTS ktPositiveFloatTS;   // 0 to the largest double
extern ktTypeTS ktFloatTS;           // every finite double
extern ktTypeTS ktStringTS;          // any text
extern ktTypeTS ktStringUpperTS;     // upper-cased
extern ktTypeTS ktStringLowerTS;     // lower-cased
extern ktTypeTS ktRestTS;            // any text
extern ktTypeTS ktRest1TS;           // any text
extern ktTypeTS ktStringConstTS;     // any text
extern ktTypeTS ktStringNotEmptyTS;  // any text but the empty one
extern ktTypeTS ktFileNameTS;        // any path
extern ktTypeTS ktFileReadTS;        // a file that can be read
extern ktTypeTS ktFileWriteTS;       // a file that can be written or made
extern ktTypeTS ktFileReadWriteTS;   // a file that can be read and written
extern ktTypeTS ktDirTS;             // a directory
extern ktTypeTS ktDirWriteTS;        // a directory that can be written in
extern ktTypeTS ktYesNoTS;           // "No", "Yes"
extern ktTypeTS ktOnOffTS;           // "Off", "On"
extern ktTypeTS ktTrueFalseTS;       // "False", "True"
extern ktTypeTS ktErrSevTS;          // "Error", "Status", ..., "Disabled"
extern ktTypeTS ktErrCntxTS;         // "Stderr", "StatusLine", "AlertBox", "LogFile"
extern ktTypeTS ktErrActionTS;       // "statusLine", "alertBox", "disabled"
extern ktTypeTS ktErrStyleTS;        // "terse", "verbose"
extern ktTypeTS ktVoidTS;            // no value
extern ktTypeTS ktCallbackTS;        // a function
extern ktTypeTS ktAnyTS;             // any word
extern ktTypeTS ktStrArrayTS;        // words into a null-terminated array of pooled strings
extern ktTypeTS ktByteBlockTS;       // a ktTypeByteBlock of the text's bytes
extern ktTypeTS ktTypespecTS;        // a type spec, by its name

// ---- Operations ---------------------------------------------------------------

ktTypedata ktTypeLongToTypedata(long value);
ktTypedata ktTypePtrToTypedata(void* value);
// Takes a reference.
ktTypeTS* ktTypeTSCopy(ktTypeTS* spec);
// Drops a reference; the last one releases the record's data, its name
// (pooled) and the record (ktMemMalloc).
void ktTypeTSFree(ktTypeTS* spec);

// The value of `text` under `spec`, also left in ktTypeReturnDataV. A type
// without a conversion refuses every text with message 1408.
ktTypedata ktTypeParse(ktTypeTS* spec, const char* text);
// A copy of an owned value, or the word itself.
ktTypedata ktTypeCopyValue(ktTypeTS* spec, ktTypedata value);
// Frees an owned value; a word needs nothing.
void ktTypeFreeValue(ktTypeTS* spec, ktTypedata value);
// Hands the text of `value` to `sink`; a type that can't print gives "".
void ktTypePrint(ktTypeTS* spec, ktTypedata value, ktTypeSinkFn sink, void* sinkData);
// 1 for the two-valued enumerations (yes-or-no, on-or-off, true-or-false).
int ktTypeIsBoolean(const ktTypeTS* spec);

// A C floating number, then an optional scale word of which the initial
// letter is enough (atto, femto, pico, nano, u for micro, milli, kilo, meg
// for a million, giga, tera; case doesn't count, and m alone is milli),
// then an optional unit word (amps, farads, henries, ohms, seconds, volts),
// also abbreviable, which doesn't change the value. `*end` is set behind
// what was read; at `text` when no number begins there.
double ktCvtUstrtod(const char* text, const char** end);
