// The symbol file reader: reads <library>/sym/<name>.<version> into a group
// of the design database, a symbol of that version, the symbol's type and
// attributes, and its pins with their labels and attributes. Graphic
// records are passed over. The pins come out in the order of the symbol's
// PINORDER attribute or of its ".pin" file, else sorted by name, and with
// the session's bus expansion on, a bus pin becomes one pin per member.
// Faults of a file are reported through the database's messages and the
// read goes on; only a file that can't be opened or isn't a symbol file,
// and a bad version, give no symbol.
#pragma once
#include <string>

#include "kspath.h"

struct iwsym;
struct rdbObject;

// Reads the symbol "[alias:]name.version"; null on failure. `name` is
// turned to lower case in place.
iwsym* iwrdsym(char* name);
// The reader itself.
iwsym* iwreadsym(char* name);
// Opens the library file "[alias:]name.ext" of the class `klass` ("sym")
// and keeps its stream as the object's user data; null when there is none.
// The caller closes the object (rdbCloseObj) and then the stream.
rdbObject* iwvfopen(const char* name, const char* klass);
// The parts of a library file's name "[alias:]name.ext" as the opens take
// them: the alias (empty when none) and the base and extension of the
// name, turned to lower case; false for a name that can't be a file's.
bool iwsplitfile(const char* name, std::string* alias, ksPathBuf& base, ksPathBuf& ext);
// The name without its library alias, by the rule of iggrpnam.
const char* iwparsename(const char* name);
// The message of the bus expansion's last status, if it is a fault; the
// status.
int iwchkexp(const char* name);
// One step of expanding `text` (a single name when `expand` is 0): 1 with
// the next name in `out` (256 bytes), else 0, after a message for a fault.
// `first` starts on `text`. One expansion runs at a time.
int iwexpstr(const char* text, char* out, int expand, int first);
// The number of blank-separated names in `text`.
int iwpinwidth(const char* text, int);
// Frees the kept pin order list.
void iwfreepinorder();
