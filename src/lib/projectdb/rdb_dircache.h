// The directory cache of a library: the names of the files of each of its
// subdirectories, listed once at the first question about the
// subdirectory, and asked instead of the file system for the rest of the
// run. A file made after the listing isn't seen through it.
#pragma once
#include "rdb_master.h"

// 0 when the file `fileName` lies in the subdirectory of `cls` (the
// library's own directory for a class without one) by the cached listing,
// else 12.
int rdbiExistsCachedObj(rdbObject* library, const rdbClass* cls, const char* fileName);
// Drops the listings of a file record.
void rdbiFreeDirCache(rdbFileRec* file);
