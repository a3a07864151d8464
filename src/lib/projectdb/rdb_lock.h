// Lock files: a file opened for writing is guarded by a lock file beside
// it, <dir>/lock/<name>, which says who holds it. The calls return the
// statuses of the project database: 0, 17 for no lock, 18 for a lock held
// by somebody else.
#pragma once
#include "kspath.h"
#include "rdb_master.h"

// Takes the lock of an object whose file is being opened for writing.
int rdbiLockObj(rdbObject* object);
// Removes the object's lock on close, or keeps it in `state` when `mode`
// has 0x2000.
int rdbiRemoveLockObj(rdbObject* object, uint32_t mode, int state);
// 0 when the lock on the object's file is this process's, 17 when there is
// none, 18 when it is another's; 74 for no object.
int rdbObjIsMyLock(rdbObject* object);
// Whether a lock file guards `path`.
int rdbObjectLocked(const char* path);
// The lock file's path of `path`: 0, or 12 when it doesn't fit.
int rdbiMakeLockPath(const char* path, ksPathBuf& out);
