// Path handling: the only place where the system touches file names and
// the file system's metadata. A path lives in a buffer of KS_PATHMAX (256)
// bytes, so at most 255 characters; every output buffer of this module has
// that size, and a path that wouldn't fit is refused, never cut. A path is
// told as device (always empty here, kept so that callers look the same on
// systems with drive prefixes), directory (through the last '/'), name, and
// extension (behind the last '.' of the last component, unless that '.' is
// its first character; "." and ".." are names). Calls return small KS_
// status numbers and never print: the caller knows whether a missing file
// is news or routine.
//
// Directory listings go through a process-wide cache keyed by directory: a
// directory whose time hasn't moved is re-read with readdir only, and only
// its new names are examined. A memory purge empties the cache.
#pragma once
#include <sys/stat.h>
#include <sys/types.h>
#include <utime.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <ctime>

enum {
    KS_OK = 0,
    KS_ERROR = 1,     // the current directory could not be read
    KS_BADSPEC = 2,   // invalid or too long; also a refused rename
    KS_IOERROR = 3,   // a transfer of data failed
    KS_NOTFOUND = 4,  // no such object, or nothing matched
    KS_NOCREATE = 5,  // a file could not be created
    KS_NOACCESS = 7,  // permission denied, or not made under its full name
};

// Object kinds. Anything whose mode has bit 0x4000 set counts as a
// directory (so do block devices and sockets), all else as a file.
enum { KS_DIR = 2, KS_FILE = 3, KS_ANY = 4 };

// Every path buffer handed to this layer holds this many bytes. A call that
// writes a whole path takes it by this type, so that the compiler checks
// every caller's buffer.
constexpr int KS_PATHMAX = 256;
using ksPathBuf = char[KS_PATHMAX];

// Splitting and joining. Outputs may be null.
int ksParse(const char* path, char* dev, char* dir, char* name, char* ext);
// As ksParse, with the last component in one piece.
int ksParse2(const char* path, char* dev, char* dir, char* nameext);
// Joins the components, each trimmed of white space; an extension pointer,
// even to an empty text, counts one character for its '.', which is only
// written before a non-empty extension.
int ksMerge(char* out, const char* dev, const char* dir, const char* name, const char* ext);
// Appends the directory level `level` to `dir`, which then ends in '/'.
int ksDnpath(char* dir, const char* level);
// Takes the last component off `path` into `last`; `path` keeps the '/'.
// The root and the empty path have nothing above them: KS_NOTFOUND.
int ksUppath(char* path, char* last);
// Collapses runs of '/' and '\' to one, and makes every separator '/'.
int ksConvPath(const char* path, char* out);
// The absolute path: '~' and '~user' expanded, "." and ".." resolved (".."
// stops at the root), relative paths taken from the default directory. A
// trailing '/' is kept, as is a '.' that ends the last component.
int ksAbsPath2(const char* path, ksPathBuf& out);
// ksAbsPath2 in place; a trailing '/' is there only if the input had one.
int ksAbsPath(ksPathBuf& path);

// File status. `time` is the modification time as local-clock seconds
// since the start of 1970: comparable, but not a UTC time stamp.
int ksInfo(const char* path, uint32_t* time, long* size, int* kind);
int ksExists(const char* path, int kind);
// As ksExists, and gives the object's absolute path.
int ksExists2(const char* path, int kind, ksPathBuf& out);
// The time of ksInfo, or 0 for a missing object.
uint32_t ksFtime(const char* path);

// KS_DIR makes a directory, any other kind a file. KS_NOACCESS when the
// object isn't there under its full name afterwards; what the call made
// under a name the file system cut to 14 characters is taken away again,
// and nothing that had that name before.
int ksCreate(const char* path, int kind);
// Refuses (KS_NOACCESS) an object with no write bit in its mode, whoever runs.
int ksDelete(const char* path, int kind);
int ksRename(const char* from, const char* to);
// Copies a file with its access and modification times; a failed transfer
// leaves no partial target behind.
int ksCopy(const char* from, const char* to);
// Copies the rest of one stream to another.
int ksXfer(FILE* from, FILE* to);
// fopen for reading ("r" or "rb") that takes only a regular file: a FIFO,
// a device or a directory at `path` gives null with errno EINVAL at once,
// never a wait on it or a read that doesn't end. Every file the system
// reads from outside is opened here.
FILE* ksFopen(const char* path, const char* mode);
// As ksFopen, and gives the time (as ksInfo's) of the file it opened, or 0.
FILE* ksFopenStamped(const char* path, const char* mode, uint32_t* time);
// As ksFopen, for a caller that reads the descriptor itself: the open
// descriptor (close it with close) and the file's size then, or -1 with
// errno set.
int ksOpenRead(const char* path, long* size);
// Tells ksFopen that a look just made found a regular file at `path`, as
// ksInfo does of its own looks: an open of that path next needn't look again.
void ksNoteRegular(const char* path);

// True when the last look at a path that this layer made (nothing created,
// removed or renamed through it since) found a regular file at `path`: a
// test of that file just after it may take the answer, when an open that
// checks what it opened follows.
bool ksLookedRegular(const char* path);

// Called by ksLoop2 with each matching path; 0 ends the loop.
using ksLoopProc = int (*)(const char* path, void* data);
// Calls `proc` for every entry of the pattern's directory whose name
// matches its last component (wildcards '*' and '?') and whose kind is
// `kind` (or any, with KS_ANY), in byte order of the names. A null `proc`,
// or ktDummyProc, only counts. KS_NOTFOUND if nothing matched. A throw from
// `proc` passes through.
int ksLoop2(const char* pattern, int kind, ksLoopProc proc, void* data);

// The process's default directory, ending in '/', as it was at the first
// call: later changes of directory are not seen.
int ksGetdef(ksPathBuf& dir);
// Forgets the default directory, so that the next ksGetdef reads it anew:
// for a program that changes directory on purpose, and for tests.
void ksGetdefReset();

// The decimal user id, in a buffer that the next call overwrites.
const char* ksGetuid();
// The host name (at most 63 characters, else "localhost"), in a buffer that
// the next call overwrites.
const char* ksGethostname();
uint32_t ksGethostid();

// Clock readings of ksTimer.
enum {
    KS_TIMER_LOCALSEC = 0,    // local-clock seconds (time shifted by the zone)
    KS_TIMER_MONTHCENTI = 1,  // centiseconds since the start of the local month
};
int ksTimer(int mode, uint32_t* out);
// Makes sure that descriptors 0, 1 and 2 are open, on /dev/null where they
// are not, so that no file the program opens takes the place of a standard
// stream: answers would be read from it, reports written into it. The
// first call of a program's main.
void ksStdFilesOpen();
// What ksStdFilesOpen found at descriptor `fd` (0 to 2) when it was open
// already; false for one it had to open, or before it ran.
bool ksStdFileStatus(int fd, struct stat* st);
void ksSleepSec(unsigned seconds);
[[noreturn]] void ksCoreDump();

// The system calls behind this module, so that a test can make one fail
// (a refused rename, a full disk) where the real system won't.
struct ksSysTB {
    int (*stat)(const char* path, struct stat* st);
    int (*mkdir)(const char* path, mode_t mode);
    int (*unlink)(const char* path);
    int (*rmdir)(const char* path);
    int (*rename)(const char* from, const char* to);
    int (*utime)(const char* path, const struct utimbuf* times);
    char* (*getcwd)(char* buf, size_t size);
    size_t (*fread)(void* buf, size_t size, size_t count, FILE* stream);
    size_t (*fwrite)(const void* buf, size_t size, size_t count, FILE* stream);
    int (*gethostname)(char* name, size_t size);
    long (*gethostid)();
    time_t (*time)(time_t* out);
    unsigned (*sleep)(unsigned seconds);
};
extern ksSysTB ksSysV;
// The table of the real calls, to put back what a test swapped.
extern const ksSysTB ksSysDefaultV;
