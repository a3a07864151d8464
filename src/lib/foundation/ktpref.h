// Preferences: the library's option store. Named options in named groups,
// each with a type, a default and a description, whose values come from
// the application, the command line and the tool family's initialization
// file. Names of groups and options compare without regard to case.
//
// Stand-in: the types are those of the error and exception groups
// (yes-or-no, on-or-off, the report action and style enumerations, the
// unsigned integer), and ktPrefParse takes values from the command line
// alone, for the two-valued types only (+group.option and -group.option);
// no initialization file is read, so every other option keeps its
// default. There is no ktPrefSetval, ktPrefTypespec, ktPrefAdd, no
// conversion of typed values from text and no printing of them.
#pragma once
#include <cstdint>

struct ktMsgHandle;

// One machine word: a number, or a pointer to storage the value owns.
using ktTypedata = intptr_t;

struct ktTypeTS;

// Operations of a type; the order of the slots is part of the contract.
struct ktTypeTB {
    int kind;  // 0: the value is the word itself; 2: it owns storage
    void (*parse)(const char* text, void* typeData);
    void (*print)(ktTypedata* value, void* typeData, void (*sink)(const char* text, void* data),
                  void* sinkData);
    void (*free)(ktTypedata value, void* typeData);
    ktTypedata (*copy)(ktTypedata value, void* typeData);
    void (*release)(ktTypeTS* spec);
};

struct ktTypeTS {
    const char* name;
    ktTypeTB* ops;
    void* data;
    int refs;  // statically 1
};

// An enumeration's type data: its names; the value is the index.
struct ktTypeEnumData {
    int count;
    const char* const* names;
};

// An integer type's data: the range of its values.
struct ktTypeIntRange {
    long min;
    long max;
};

extern ktTypeTB ktEnumTB;
extern ktTypeTB ktIntTB;
extern ktTypeTS ktYesNoTS;        // "No", "Yes"
extern ktTypeTS ktOnOffTS;        // "Off", "On"
extern ktTypeTS ktUnsignedIntTS;  // 0 to 2147483647
extern ktTypeTS ktErrActionTS;    // "statusLine", "alertBox", "disabled"
extern ktTypeTS ktErrStyleTS;     // "terse", "verbose"

ktTypedata ktTypeLongToTypedata(long value);
ktTypedata ktTypePtrToTypedata(void* value);
ktTypeTS* ktTypeTSCopy(ktTypeTS* spec);
void ktTypeTSFree(ktTypeTS* spec);

struct ktSym;

struct ktPrefDB {
    char* key;   // the name in lower case, pooled
    char* name;  // the name as given, pooled
    int references;
    ktSym* options;  // by lower-case option name
};

struct ktPrefOption {
    ktTypeTS* type;  // a reference is taken
    char* key;
    char* name;
    ktMsgHandle* msgfile;   // for the description, or null
    char* sourceFile;       // the file that set the value, or null
    char* description;      // pooled text when msgfile is null
    int descriptionNumber;  // with msgfile
    int sourceLine;
    int order;  // running number of all options made
    ktTypedata defaultValue;
    ktTypedata value;
    uint8_t flags;
};

// Option flags: where the value came from.
enum : uint8_t {
    KT_PREF_OWNED = 0x80,
    KT_PREF_BYAPP = 0x40,
    KT_PREF_BYCMDLINE = 0x20,
    KT_PREF_BYGLOBAL = 0x10,
    KT_PREF_BYGROUP = 0x08,
    KT_PREF_ALWAYS = 0x04,
};

// Returns the group, shared with earlier callers of the same name.
ktPrefDB* ktPrefCreate(const char* name);
// The last reference removes the group and its options.
void ktPrefDestroy(ktPrefDB* group);
// Throws message 1502 when the group already has the option.
void ktPrefAdd2(ktPrefDB* group, const char* option, ktTypeTS* type, ktMsgHandle* msgfile,
                int number, const ktTypedata* defaultValue);
// Takes the options that the command line sets out of it; returns 0 when
// a named initialization file can't be opened, else 1.
int ktPrefParse(const char* file, int* argc, char** argv);
// Throws message 1500 for an unknown option.
ktTypedata ktPrefVal(ktPrefDB* group, const char* option);

// Walks the arguments from index 1 and hands those that begin with - or +
// to `handler` with the next argument (or null). Its result: 1 took this
// argument, 2 took the next one too, 3 not ours, anything else stops.
// Taken arguments move behind the end of the vector and the count falls.
void ktCmdParse1(int* argc, char** argv,
                 int (*handler)(const char* arg, const char* next, void* data), void* data);
