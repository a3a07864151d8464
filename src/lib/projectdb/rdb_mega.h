// Mega libraries: the files of one kind packed into one data file, S.lib,
// with an index, S.tbl, beside it in the library's directory. S is the
// default name of the index class: the first class of the library's schema
// with rdbFlagMEGAFILE that has the member's class among its children. The
// index is a run of records of 30 bytes, "name.ext offset", with no header;
// a negative offset marks an entry that doesn't count. Mega libraries are
// only read.
//
// The index is an object of the index class under the library. With the
// cache on (rdbPolicy bit 128 clear, the default) its records are read
// once into a table in lower case, and again only when the file changes;
// a search matches whole names. With the cache off each search reads the
// file from its start and compares as many characters as the wanted name
// has, so "foo.1" hits a record "foo.10" that stands first.
#pragma once
#include <cstdint>

#include "kspath.h"
#include "rdb_master.h"

// One slot of an index table. Slot 0 holds no name, and the number of
// slots as its offset.
struct rdbiMegaSlot {
    char* name;  // lower case, pooled
    long offset;
};

// Size of an index record.
constexpr int rdbMEGARECORD = 30;

// The index class of members of `cls`, or null when they can't be packed.
rdbClass* rdbiMegaIndexClass(const rdbObject* library, const rdbClass* cls);
// Opens the index of the members of `cls` in `library`, loading its table
// when the cache is on. Option bit 1 starts the next search from the
// first record; bit 4 closes the index's file again, keeping its table,
// and makes no index that isn't there. Null with 13 when the class has no
// index class, 12 when the index can't be opened.
rdbObject* rdbiMegaOpenTbl(rdbObject* library, const rdbClass* cls, int options, int* status);
// The offset of the member name.modifier of `cls` in the data file of
// `library`, searching on from the last hit (from the first record with
// option bit 1), or -1. A hit copies the member's name as the index has it
// to `outName` and the data file's path to `outPath`, either of which may
// be null.
long rdbiSearchMega(rdbObject* library, const rdbClass* cls, const char* name, const char* modifier,
                    int32_t version, ksPathBuf* outName, ksPathBuf* outPath, int options);
// Frees the table of an index object, and clears rdbiFlagMEGA_INDEX.
void rdbiMegaFreeIndx(rdbObject* object);
// Whether the object's file changed since its time was noted; a file that
// can't be examined counts as changed.
int rdbPhysObjModified(rdbObject* object);
// Whether the first `length` characters of `record` match `pattern`, by
// the case rule of `flags`: 0x400 folds both sides, 0x1000 the pattern to
// upper case, 0x800 the pattern to lower case.
int rdbiMatch2(const char* pattern, const char* record, size_t length, uint32_t flags);
