// Mega libraries: the files of one kind packed into one data file, S.lib,
// with an index, S.tbl, of records of 30 bytes ("name.ext offset") beside
// it in the library's directory. S is the default name of the index class:
// the first class of the library's schema with rdbFlagMEGAFILE that has
// the member's class among its children.
#pragma once
#include <cstdint>

#include "kspath.h"
#include "rdb_master.h"

// The index class of members of `cls`, or null when they can't be packed.
rdbClass* rdbiMegaIndexClass(const rdbObject* library, const rdbClass* cls);
// The offset of the member name.modifier of `cls` in the data file of
// `library`, or -1. A hit copies the member's name as the index has it to
// `outName` and the data file's path to `outPath`, either of which may be
// null.
long rdbiSearchMega(rdbObject* library, const rdbClass* cls, const char* name, const char* modifier,
                    int32_t version, ksPathBuf* outName, ksPathBuf* outPath, int options);
