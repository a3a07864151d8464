// The project database's interface: the calls by which a tool opens the
// project of a directory with its view (the editor's library list), finds
// the libraries of that view, and opens the files of libraries by object
// references resolved along the view's search paths. The start and end of
// the database and the properties of objects are those of rdb_master.h.
//
// A call reports through a status: the result, or an `int*` out-parameter
// beside a null result. Status 53 ("Object already open") hands back the
// open object and counts as success. A reference made by rdbMakeTmObjref
// comes from ktMemMalloc with the tag "UserString"; the caller frees it with
// ktMemFree. A stream taken from an object with rdbObjGetFilePtr is the
// caller's, to be closed with fclose.
#pragma once
#include <cstdint>
#include <cstdio>

#include "rdb_master.h"

// Statuses of objects and views, beside those of the master database.
enum : int {
    rdbStatNOTLOCKED = 17,    // "Object is not locked"
    rdbStatLOCKED = 18,       // "Object is locked"
    rdbStatLOCKERR = 19,      // "Error locking or unlocking object"
    rdbStatMODE = 24,         // "Invalid file access mode"
    rdbStatPATHFORMAT = 29,   // "Directory path format error"
    rdbStatPATHDEFAULT = 30,  // "Directory path default error"
    rdbStatTWOPRIMARY = 31,   // "Duplicate primary directory"
    rdbStatDIRTYPE = 32,      // "Directory type error"
    rdbStatCOPY = 34,         // "Cannot copy object"
    rdbStatLIBNAME = 37,      // "Error in library name"
    rdbStatCREATE = 38,       // "Create error"
    rdbStatCURPROJECT = 40,   // "Invalid current project"
    rdbStatBADPROJECT = 41,   // "Invalid project id"
    rdbStatBADREF = 42,       // "Invalid object reference"
    rdbStatLONGREF = 43,      // "Object reference too large"
    rdbStatNULLREF = 44,      // "NULL object reference"
    rdbStatBADVERSION = 46,   // "Bad object version"
    rdbStatPARENS = 48,       // "Unmatched parentheses"
    rdbStatSYSOBJ = 54,       // "Attempt to modify system object"
    rdbStatNOPRIMARY = 57,    // "No primary library open."
    rdbStatLIBERRORS = 58,    // "One or more libraries were not opened due to errors."
    rdbStatEOF = 62,          // the end of an ini file
    rdbStatBADLIB = 63,       // "Invalid library id"
    rdbStatDISKFULL = 65,     // "Insufficient disk space"
    rdbStatBADVIEW = 66,      // "Invalid view"
    rdbStatNOINI = 71,        // "Ini file not found"
    rdbStatEXTLEN = 81,       // "Object extension too long"
    rdbStatLIBTYPE = 105,     // a DIR line's library type ("Invalid workspace")
};

// Open modes, bits that may be combined.
enum : uint32_t {
    rdbModeREAD = 1,
    rdbModeWRITE = 2,
    rdbModeAPPEND = 4,
    rdbModeCREATE = 8,
    rdbModeEXCL = 16,          // with CREATE: the file must be new
    rdbModeBINARY = 32,        // "b" joined to the fopen mode
    rdbModeRAW = 64,           // a descriptor through open() in place of a stream
    rdbModeUSERWRITE = 0x100,  // permissions of a raw create
    rdbModeUSERREAD = 0x200,
    rdbModeRETURN = 0x800,       // rdbOpenPhysObj returns the object even when it didn't open
    rdbModeLOCKTEST = 0x1000,    // test for a lock without taking one
    rdbModeKEEPLOCK = 0x2000,    // lock without writing; on close keep the lock file
    rdbModeKEEPSTREAM = 0x4000,  // on close leave the stream open: the caller owns it
    rdbModeNOTOUCH = 0x8000,     // don't touch the file or directory at open
    rdbModeMEGAINDEX = 0x10000,  // keep a mega file's index
    rdbModeZERO = 0x20000,       // keep the object's mode at 0
    rdbModeFINAL = 0x40000,      // name and path are final; on close keep the record
    rdbModeFREE = 0x80000,       // on close free the record whatever happens
};
// Read, and read and write: the modes of the editor's files and libraries.
constexpr uint32_t rdbModeRW = rdbModeREAD | rdbModeWRITE;

// Access bits of a search path (a DIR line); 0 is a writable library, 8 a
// line with no valid access.
enum : uint32_t {
    rdbAccessPRIMARY = 1,
    rdbAccessREADONLY = 2,
    rdbAccessMEGA = 4,
    rdbAccessNONE = 8
};

// ---- Projects and views ---------------------------------------------------------

// Opens the project of the directory `dir` (named after the directory's last
// component when `name` is null) in `mode` and, with a non-empty `view`,
// starts that view; references with an empty project mean it from now on. A
// project open already comes back with status 53.
rdbObject* rdbOpenProject(const char* dir, const char* name, const char* view, uint32_t mode,
                          int* status);
// Opens an object of the class `classname` at the known path `path` under
// `parent`. Null when it didn't open, unless `mode` has rdbModeRETURN.
rdbObject* rdbOpenPhysObj(rdbObject* parent, const char* classname, const char* path,
                          const char* name, const char* modifier, int32_t version, uint32_t mode,
                          int* status);
// Makes `view` the object's current view and reads its ini file, `ini` (a
// reference or a plain path), or the view's own one when null: one search
// path per DIR line. 0; 31 for two primary libraries; 57 for none; 58 when a
// line failed; 66 for an unknown view; 71 when the file is missing.
int rdbInitView(rdbObject* object, const char* view, const char* ini);
// The path of the view's ini file, a copy that the caller frees with
// ktStrFree; null with 71 when there is none.
char* rdbFindIni(rdbObject* object, const char* viewname, int* status);
// The next library of the project's current view after `previous` (the
// first for null) whose name matches `pattern`; null at the end.
rdbObject* rdbFindNextLib(rdbObject* project, rdbObject* previous, const char* pattern,
                          int* status);
// The next search path after `spath` (the first for null) whose library
// name or further alias matches `pattern` (null for "*"); status 12 at the
// end. Paths whose line failed have no library and are passed over.
rdbSearchPath* rdbFindNextSPath(rdbObject* project, rdbSearchPath* spath, int flags,
                                const char* pattern, int* status);
// The next line of the view `viewname` (the current one for null) after
// `previous` whose status is not 0, with its path (KS_PATHMAX bytes), alias
// (33 bytes), access letters (4 bytes: p, r or w, then m), status and line
// number. Null at the end.
rdbSearchPath* rdbNextLibError(rdbObject* project, const char* viewname, rdbSearchPath* previous,
                               char* path, char* alias, char* flags, int* status, int* line);
// Caches the directory listings of the libraries of `view`: all of them
// for `which` 255, the read-only ones for bit 1, none for 0. `on` 0 drops
// the caches. 0, or a status for a bad project or view.
int rdbTmCacheAllLibraries(rdbObject* project, const char* view, int which, int on);
// Sets or clears a library's directory cache; a listing made before is
// dropped either way.
int rdbObjCache(rdbObject* object, int on);

// ---- Object references --------------------------------------------------------------

// The reference of the object `name`.`modifier`(`version`) of `cls` in
// `library` of `project` (texts; empty means the current project and any
// library of the view). Null for a protected class, a version above 16000
// or a text over 256 characters. The caller frees it with ktMemFree.
char* rdbMakeTmObjref(const char* project, const char* library, const rdbClass* cls,
                      const char* name, const char* modifier, int32_t version);
// The same, of the first class of library files whose subdirectory is
// `subdir`; null when there is none.
char* rdbMakeTmObjref2(const char* library, const char* subdir, const char* name,
                       const char* modifier);
// Whole-text match where "*" stands for any run and "?" for one character;
// flag 0x400 or 0x1000 folds case. A null text matches "*"; a null or
// empty pattern matches only a null or empty text.
int rdbMatch(const char* pattern, const char* text, uint32_t flags);

// ---- Objects --------------------------------------------------------------------------

// Resolves a reference along the search paths of the current view and
// opens the object in `mode`. Null with 13 for a file that no library
// holds; an object open already comes back with status 53.
rdbObject* rdbOpenObject(const char* reference, uint32_t mode, int* status);
// Changes the mode of an open object; mode 0 closes its file and keeps the
// object open. 0 or a status.
int rdbReopenObj(rdbObject* object, uint32_t mode);
// Detaches the stream of an open file object: it is the caller's now.
// Null with status 12 when the object holds none.
FILE* rdbObjGetFilePtr(rdbObject* object, int flags, int* status);
// Closes the object (its children first) and frees it. 0 or a status.
int rdbCloseObj(rdbObject* object, uint32_t mode);
// The caller's word kept in an object.
void rdbObjSetUserData(rdbObject* object, void* word);
void* rdbObjGetUserData(rdbObject* object);
// The access of a library object: packed, writable, read-only.
int rdbObjMegafile(const rdbObject* object);
int rdbObjWritable(const rdbObject* object);
int rdbObjReadonly(const rdbObject* object);
// The current object of a class among the children of `parent`; the setter
// gives 12 for an object that isn't a child of `parent`.
int rdbObjSetCurObj(rdbObject* parent, rdbObject* object);
rdbObject* rdbObjGetCurObj(rdbObject* parent, const rdbClass* cls);
