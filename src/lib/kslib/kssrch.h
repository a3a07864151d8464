// Search lists. Every support file of the system (message files, scrivet.ini,
// entgen.ini, the master database, include files) is found by one search:
// for a file N, first ./532/N and ./N, then for each directory D of the
// environment variable KDIR (separated by ':', blanks or tabs) D/532/N and
// D/N; the first hit wins. 532 is the compatible version, the level under
// which a site keeps files for this release beside older ones. KDIR is read
// once, at the first search; an absolute file name is never looked
// for along it. A file asked for as KS_FILE is found only as a regular
// file: a FIFO or a device of its name is passed over. Of a KDIR longer
// than the 2047 characters kept, the entry that the cut reaches is dropped.
// Calls return KS_ status numbers and never print.
#pragma once
#include "kspath.h"

// The value of an environment variable, cut to 2047 characters, into a
// buffer of 2048 bytes; KS_NOTFOUND if it is unset.
int ksTrnlog(const char* name, char* out);
// Looks for `spec` (of kind KS_FILE, KS_DIR or KS_ANY) below each directory
// of the KDIR list only; `out` (KS_PATHMAX bytes) receives the absolute
// path of a hit. KS_NOACCESS for a malformed or too long file name.
int ksSrchkdirs(const char* spec, int kind, ksPathBuf& out);
// The whole search. On KS_NOTFOUND `out` holds the file name as given,
// for the caller's report.
int ksSrchdirs(const char* spec, int kind, ksPathBuf& out);
// ksSrchdirs for a file.
int ksGetini(const char* spec, ksPathBuf& path);
// Looks in the executable's directory, descended into `dir`. That place
// isn't known in this system, so the result is KS_NOTFOUND.
int ksSrchExeDir(const char* dir, const char* name, const char* ext, int kind, ksPathBuf& out);
// The origin directory, or null: this system has none.
const char* ksGetorigin();
// Finds the file `program` along PATH. KS_NOACCESS if PATH is unset,
// KS_ERROR if a directory of it and the name make no path.
int ksFindExeInPath(const char* program, ksPathBuf& out);

// Forgets the KDIR list, so that the next search reads KDIR anew: for
// tests, and for a program that changes KDIR on purpose.
void ksKdirReset();
