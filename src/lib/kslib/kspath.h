// Path handling. Every file name is split and joined here, in buffers of
// 256 bytes. Calls return small status numbers and never print: the caller
// knows whether a missing file is news or routine.
#pragma once

enum {
    KS_OK = 0,
    KS_ERROR = 1,
    KS_BADSPEC = 2,
    KS_IOERROR = 3,
    KS_NOTFOUND = 4,
    KS_NOCREATE = 5,
    KS_NOACCESS = 7,
};

enum { KS_DIR = 2, KS_FILE = 3, KS_ANY = 4 };

// Every path buffer handed to this layer holds this many bytes.
constexpr int KS_PATHMAX = 256;

int ksParse(const char* path, char* dev, char* dir, char* name, char* ext);
int ksMerge(char* out, const char* dev, const char* dir, const char* name, const char* ext);
int ksDnpath(char* dir, const char* level);
int ksExists(const char* path, int kind);
int ksCreate(const char* path, int kind);
// Ends the process with a core dump; never returns.
[[noreturn]] void ksCoreDump();
