// Views of a project: the editor's library list read from its ini file,
// one search path per DIR line in the order of the file, each with the
// library object it opened or the fault that kept it from opening.
//
// A DIR line: "DIR access path [(alias)] [{type}] [| comment]". The access
// is a number from 0 to 20 (0 primary, 1 to 5 writable, 6 to 20 read-only)
// or, in square brackets, the letters p (primary), w (writable), r
// (read-only) and m (packed, read-only), of which only the first three
// count. A line's first fault is what its search path keeps.
#pragma once
#include <cstdint>
#include <cstdio>
#include <string>

#include "rdb_master.h"

// A DIR line as read.
struct rdbiDirLine {
    std::string path, alias, type;  // the alias and type without their brackets
    uint32_t access = 8;            // rdbAccess bits; 8 when the access is refused
    int line = 0;                   // its line number in the file
};

// Reads the next DIR line of `stream` into `out`, counting the lines read
// in `*lines`: 0, the status of the line's first fault (29, 30, 32, 37,
// 105), or 62 at the end of the file.
int rdbiReadDirLine(FILE* stream, rdbiDirLine* out, int* lines);
// Opens the library of a good DIR line and adds its search path to the view
// `viewname` (the current view for null) of the project. Null, with no
// search path, when the library can't be opened; status 58 when the line
// or its library failed, though it got a search path.
rdbSearchPath* rdbInsSPID(rdbObject* project, rdbSearchPath* spath, const char* viewname,
                          const char* path, const char* alias, uint32_t access, const char* libType,
                          int sortKey, int line, int* status);
// The search path of the current view that holds `library`; null for a
// null library (the start of the list), and with 63 for one it doesn't hold.
rdbSearchPath* rdbGetSPID(rdbObject* project, rdbObject* library, int* status);
// 1 when `alias` follows the rule of library names: a letter, then
// letters, digits and single underscores.
int rdbiAliasOK(const char* alias);
// Tells the index of search paths by name that a list of search paths, or
// the library of one, has changed.
void rdbiSPathsChanged();
