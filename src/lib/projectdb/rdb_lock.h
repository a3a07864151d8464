// Lock files: a file of the project database opened for writing is guarded
// by a lock file beside it, <dir>/lock/<name>, whose lines name the holder
// (user, host, process, tool) so that another process can tell a live
// holder from the orphan a crashed process left behind. Creating the lock
// file exclusively is the one atomic step between processes; taking over
// an existing lock file is done under an advisory lock on it, so that of
// two processes that find the same orphan only one takes it. A lock this
// process made is removed when its object closes, and at the latest when
// the process ends normally.
//
// The calls return the statuses of the project database: 0; 7 where a
// lock may not be touched; 12; 17 for no lock; 18 for a lock held by
// somebody else; 19 for a lock that can't be removed.
#pragma once
#include <cstdint>
#include <cstdio>

#include "kspath.h"
#include "rdb_master.h"

// Lock states as a lock file holds them.
enum : int32_t {
    rdbLockStateINUSE = 0,    // the guarded file is open
    rdbLockStateNOTOPEN = 1,  // kept while the file is closed; the ownership test decides
    rdbLockStateMINE = 2,     // removable by the process that wrote it
    rdbLockStateORPHAN = 4,   // found dead; never written
};

// What a lock file says of its holder, and of this process when preset.
struct rdbLockRec {
    uint32_t read;  // 1 once a lock file was read
    int32_t state;
    char owner[512];  // user id
    uint32_t created;
    int32_t facId;
    char facVer[12];
    char dbVer[12];
    int32_t pid;  // -1 when unknown
    char host[64];
    char className[36];
    uint32_t lockTest;
};
// The one record of the process, filled by each reading of a lock file.
extern rdbLockRec rdbLockInfo;

// The lock an object holds on its file (tag "LockObj").
struct rdbLockObj {
    char* path;  // of the lock file, once written
    FILE* stream;
    uint32_t word;  // the process id that wrote the lock file
    uint32_t lockTest;
    rdbLockObj* next;  // among the locks this process holds
};

// Takes the lock of an object whose file is being opened for writing; with
// locking off for it, clears a lock file that may go (an orphan, or one the
// ownership test gives to this process) and refuses with 18 one that may
// not.
int rdbiLockObj(rdbObject* object);
// Makes the lock object of a file object: 0; 17 when its database, class
// or the object itself asks for no locking; 7 for a protected class; 12
// for no file record or a lock object already there.
int rdbiCreateLockObj(rdbObject* object);
// Writes the lock file of an object with a lock object: 0; 18 when a live
// holder keeps it; 12 or 15 when it can't be written.
int rdbiCreateLockFile(rdbObject* object);
// Removes the object's lock on close: its lock file is deleted, unless
// `mode` has 0x2000, when it is written again in `state` and kept. 0; 12
// or 19 when the file can't be written or deleted.
int rdbiRemoveLockObj(rdbObject* object, uint32_t mode, int state);
// Deletes the lock file `path` when it may go: an orphan, a lock of state
// 2 of this process, or one of state 1 whose ownership test passes. 0; 7
// when it may not; 12 when it can't.
int rdbiDeleteLockFile(const char* path);
// Whether a lock file guards `path`.
int rdbObjectLocked(const char* path);
// Reads the lock file of `path` into rdbLockInfo and tests its holder: an
// unreadable file, or one whose holder on this host has died, comes back in
// state 4. Null when there is no lock file.
rdbLockRec* rdbiGetLockFileInfo(const char* path);
// Whether this process may treat the lock on `path` as its own.
int rdbMyLock(const char* path);
// 0 when the lock on the object's file is this process's, 17 when there is
// none (or an orphan), 18 when it is another's; 74 for no object.
int rdbObjIsMyLock(rdbObject* object);
// Whether the lock file on disk is still the one the object's lock object
// wrote, by all fields of the holder: 0, else 12 with the lock object gone.
int rdbiValidateLockObj(rdbObject* object);
// Parses the lines of a lock file into `record`: 0, or 12 for a missing
// line, a field that doesn't read, or a database version it doesn't know.
int rdbiReadLockInfo(FILE* stream, rdbLockRec* record);
// The lock file's path of `path`: 0, or 12 when it doesn't fit.
int rdbiMakeLockPath(const char* path, ksPathBuf& out);
// The words of a lock test ("DEFAULT", "ALL", or words joined by "+"), in
// a buffer that the next call overwrites; and a line's words as a test.
const char* rdbLockTestToStr(uint32_t test);
uint32_t rdbStrToLockTest(const char* line);
// A time in seconds as "Mon day year h:m:s", in a buffer that the next
// call overwrites.
const char* rdbTimeToStr(uint32_t seconds);
