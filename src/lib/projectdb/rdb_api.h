// The project database's interface: the calls by which the design database
// starts the project database, opens the project of the current directory
// with the editor's library view, and opens files of libraries by object
// references. A call reports through a status: the result, or an `int*`
// out-parameter beside a null result. Status 53 ("Object already open")
// hands back the open object and counts as success. Texts returned as
// copies come from ktMemMalloc with the tag "UserString"; the caller
// releases them with ktMemFree.
#pragma once
#include <cstdio>

struct rdbObject;  // a project, a library, a file
struct rdbSPath;   // one line of a view's library list

// Statuses that callers test.
enum : int {
    rdbStatOK = 0,
    rdbStatFAILURE = 12,    // "General Failure"
    rdbStatNOTEXIST = 13,   // "Object does not exist"
    rdbStatINIT = 20,       // "Initialization error"
    rdbStatBADREF = 42,     // "Invalid object reference"
    rdbStatNULLREF = 44,    // "NULL object reference"
    rdbStatBADCLASS = 49,   // "Invalid class"
    rdbStatOPEN = 53,       // "Object already open"
    rdbStatNOPRIMARY = 57,  // "No primary library open."
    rdbStatLIBERRORS = 58,  // "One or more libraries were not opened due to errors."
    rdbStatBADVIEW = 66,    // "Invalid view"
    rdbStatDONE = 70,       // "Tarnhold already initialized"
    rdbStatNOINI = 71,      // "Ini file not found"
    rdbStatBADOBJ = 74,     // "Invalid object id"
};

// Open modes: read, and the mode of an object that holds no file.
enum : int { rdbModeREAD = 1 };

// ---- start and end, properties ----------------------------------------------

// Reads the master database and starts the databases, with error reporting
// and exceptions. 0, a status, or 70 when this process started it already.
int rdbInit(int facility, const char* version, int clientdata);
// Ends what rdbInit started: every object still open is closed. 20 when
// nothing was started.
int rdbExit();
// A property of an object by number: 1 the object, 2 its name, 3 its
// modifier, 4 its version, 5 its physical type, 6 its state, 7 its path
// (names and paths as copies), 11 its parent. Any other number: 0, status 12.
void* rdbGetObjProp(rdbObject* object, int number, int* status);

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
// rdbGetObjProp for the objects of the view and the files.
void* rdbiGetObjProp(rdbObject* object, int number, int* status);
