// The project database's interface: the calls by which the design database
// starts the project database, opens the project of the current directory
// with the editor's library view, and opens files of libraries by object
// references. A call reports through a status: the result, or an `int*`
// out-parameter beside a null result. Status 53 ("Object already open")
// hands back the open object and counts as success. A reference made by
// rdbMakeTmObjref2 comes from ktMemMalloc with the tag "UserString"; the
// caller releases it with ktMemFree. The start and end of the database and
// the properties of objects are those of rdb_master.h.
#pragma once
#include <cstdio>

#include "rdb_master.h"

struct rdbObject;  // a project, a library, a file
struct rdbSPath;   // one line of a view's library list

// Statuses of objects and views, beside those of the master database.
enum : int {
    rdbStatBADREF = 42,     // "Invalid object reference"
    rdbStatNULLREF = 44,    // "NULL object reference"
    rdbStatNOPRIMARY = 57,  // "No primary library open."
    rdbStatLIBERRORS = 58,  // "One or more libraries were not opened due to errors."
    rdbStatBADVIEW = 66,    // "Invalid view"
    rdbStatNOINI = 71,      // "Ini file not found"
};

// Open modes: read, and the mode of an object that holds no file.
enum : int { rdbModeREAD = 1 };

// ---- projects and views -------------------------------------------------------

// Opens the project of `dir` (its name is the directory's last component
// when `name` is null) and, with a non-empty `view`, starts that view. A
// project open already is handed back with status 53.
rdbObject* rdbOpenProject(const char* dir, const char* name, const char* view, int mode,
                          int* status);
// Makes `view` the project's current view and reads its library list from
// `ini` (the file of the search for support files when null): one library
// object per DIR line. 0; 57 when no primary library opened; 58 when a
// line failed; 66 for an unknown view; 71 when the file is missing.
int rdbInitView(rdbObject* project, const char* view, const char* ini);
// The next library of the current view after `previous` (the first for
// null) whose name matches `pattern` ("*" any run, "?" any character,
// letter case ignored). Null at the end.
rdbObject* rdbFindNextLib(rdbObject* project, rdbObject* previous, const char* pattern,
                          int* status);
// The next line of the view after `previous` whose library failed, with the
// line's path (256 bytes), alias (33 bytes), access letters (4 bytes),
// status and line number. Null at the end.
rdbSPath* rdbNextLibError(rdbObject* project, const char* viewname, rdbSPath* previous, char* path,
                          char* alias, char* flags, int* status, int* line);
// Marks the libraries of `view` for caching their directories; with
// `which` 0 nothing happens. 0.
int rdbTmCacheAllLibraries(rdbObject* project, const char* view, int which, int on);

// ---- objects ------------------------------------------------------------------

// The reference of the file `name`.`modifier` in the library subdirectory
// `subdir` of `library` (any library of the view when null or empty); null
// when no class of file lies in `subdir`. The caller frees it.
char* rdbMakeTmObjref2(const char* library, const char* subdir, const char* name,
                       const char* modifier);
// The reference of the object `name`.`modifier`(`version`) of the class
// `cls` in `library` of `project` (empty texts: the current project, any
// library of the view). Null without a class, for a version out of range
// or a reference over 256 characters. The caller frees it.
char* rdbMakeTmObjref(const char* project, const char* library, const rdbClass* cls,
                      const char* name, const char* modifier, int32_t version);
// Resolves a reference along the libraries of the current view and opens
// the object in `mode`. 13 and null for a file that no library holds; an
// object open already comes back with status 53.
rdbObject* rdbOpenObject(const char* reference, int mode, int* status);
// Changes the mode of an open object; mode 0 closes its file and keeps the
// object. 0 or a status.
int rdbReopenObj(rdbObject* object, int mode);
// Detaches the stream of an open file object: it is the caller's now, to be
// closed with fclose. Null with status 12 when the object holds none.
FILE* rdbObjGetFilePtr(rdbObject* object, int flags, int* status);
// The caller's word kept in an object.
void rdbObjSetUserData(rdbObject* object, void* word);
void* rdbObjGetUserData(rdbObject* object);
// Closes the object and frees it. 0, or 12 for a null object.
int rdbCloseObj(rdbObject* object, int mode);

// ---- between the modules of the project database --------------------------------

// 1 once rdbInit has started the project database, until rdbExit.
int rdbiStarted();
// Closes every project with its libraries and files.
void rdbiCloseAllProjects();

