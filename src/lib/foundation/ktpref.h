// Preferences: the library's option store. Named options in named groups,
// each with a type, a default and a description, whose values come from
// the application, from the command line and from initialization files of
// the tool family. Names of groups and options compare without regard to
// case. Strength, strongest first: the application and the command line,
// an entry of the option's own group in a file, a global entry, the
// default.
//
// Initialization files are read once each, by full path, into data that
// stay to the end of the run, so that a group declared later is matched
// by a later ktPrefParse. A line holds "group.option value" or, for every
// group that has the option, "option value"; `|` begins a comment, a value
// may be quoted, and a leading "|5.0" marks a line of this format.
#pragma once
#include <cstdint>

#include "kttype.h"

struct ktMsgHandle;
struct ktSym;

struct ktPrefDB {
    char* key;   // the name in lower case, pooled
    char* name;  // the name as given, pooled
    int references;
    ktSym* options;  // by lower-case option name
};

struct ktPrefOption {
    ktTypeTS* type;         // a reference is taken
    char* key;              // the name in lower case, pooled
    char* name;             // the name as given, pooled
    ktMsgHandle* msgfile;   // for the description, or null
    char* sourceFile;       // the file that set the value, pooled, or null
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
    KT_PREF_OWNED = 0x80,      // the value owns storage of its own
    KT_PREF_BYAPP = 0x40,      // ktPrefSetval
    KT_PREF_BYCMDLINE = 0x20,  // the command line
    KT_PREF_BYGLOBAL = 0x10,   // a global entry of a file
    KT_PREF_BYGROUP = 0x08,    // an entry of the option's group
    KT_PREF_ALWAYS = 0x04,
};

// The group that holds the entries of a file that name no group.
constexpr const char* KT_PREF_GLOBAL = "**global**";

// Returns the group, shared with earlier callers of the same name.
ktPrefDB* ktPrefCreate(const char* name);
// The last reference removes the group and its options.
void ktPrefDestroy(ktPrefDB* group);
// Adds an option with a description text (or null), or with a message of
// `msgfile` for its description. A kind-2 default is copied. Throws
// message 1502 when the group already has the option.
void ktPrefAdd(ktPrefDB* group, const char* option, ktTypeTS* type, const char* description,
               const ktTypedata* defaultValue);
void ktPrefAdd2(ktPrefDB* group, const char* option, ktTypeTS* type, ktMsgHandle* msgfile,
                int number, const ktTypedata* defaultValue);

// Takes the options the command line sets out of it (the vector keeps the
// others, in order), reads the initialization file `file` unless it was
// read before, and sets every declared option that the data read so far
// name. A file name without a directory gets the extension "ini" and is
// found by the search for support files. Returns 0 when the file can't be
// opened, else 1. A bad entry of a file is thrown (tag 2) as message 1501
// located at its file and line with the reason behind it, after all good
// entries are in force; several bad entries are chained. An entry that
// failed once isn't thrown again.
int ktPrefParse(const char* file, int* argc, char** argv);

// An option's value, its type, and a value the application sets; each
// throws message 1500 (group.option) for an option the group lacks.
ktTypedata ktPrefVal(ktPrefDB* group, const char* option);
ktTypeTS* ktPrefTypespec(ktPrefDB* group, const char* option);
// Frees an owned old value and copies a kind-2 value.
void ktPrefSetval(ktPrefDB* group, const char* option, const ktTypedata* value);

// Walks the arguments from index 1 and hands those that begin with - or +
// to `handler` with the next argument (or null). Its result: 1 took this
// argument, 2 took the next one too, 3 not ours, anything else stops.
// Taken arguments move behind the end of the vector and the count falls.
void ktCmdParse1(int* argc, char** argv,
                 int (*handler)(const char* arg, const char* next, void* data), void* data);

// Removes every group, the data of the files read and their list: the
// exit handler of the debug configurations, and a fresh start for tests.
void ktPrefDestroyAll();
