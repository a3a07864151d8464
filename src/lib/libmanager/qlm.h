// The library list of the schematic editor. Each DIR line of scrivet.ini
// names a directory, its access and, optionally, the library (alias) it
// belongs to; one library may have many directories. The list is built at
// start, one line at a time, and only read afterwards. A call that fails
// keeps the reason in the status word and prints nothing: the caller words
// the failure. A line that was already taken is taken again without harm,
// so the same file may be read more than once.
//
// A line: [DIR] access path [(alias)] [| comment]. The access is either a
// number from 0 to 20 (the directory's rank; 0 primary, 6 and up read-only)
// or letters in brackets (p primary, r read-only, w writable, m mega
// library, l marked); one list holds only one of the two forms.
#pragma once
#include <cstddef>
#include <cstdint>

// Access flags of a directory.
enum {
    QLM_PRIMARY = 1,
    QLM_READONLY = 2,
    QLM_MEGA = 4,  // the files of a kind are packed in one file with an index
    QLM_MARKED = 8,
};

// Reasons of a failure, in qlm_errno.
enum {
    QLM_NULLID = -1,          // a null identity was given to an accessor
    QLM_NODIR = -2,           // the directory doesn't exist
    QLM_MIXED = -3,           // numeric and letter forms in one list
    QLM_BADLETTER = -4,       // an unknown access letter
    QLM_NOEXAMINE = -5,       // the directory can't be examined
    QLM_BADLINE = -6,         // a token missing or too long, brackets missing
    QLM_SAMENUMBER = -7,      // the same number twice
    QLM_EXCLUSIVE = -8,       // access letters that exclude each other
    QLM_NOACCESS = -9,        // none of the letters p, r, w, m
    QLM_SECONDPRIMARY = -12,  // a second primary entry
    QLM_BADALIAS = -13,
    QLM_RANGE = -15,  // a number outside 0 to 20
};

// Token limits of a line, in characters.
enum {
    QLM_ACCESSMAX = 15,
    QLM_PATHMAX = 511,
    QLM_ALIASMAX = 34,  // brackets included
};

// One directory of the list.
struct kqLibDirectory {
    char* name;               // alias; null when the line has none
    char* path;               // absolute; the very string of givenpath when the two are equal
    char* givenpath;          // as the line has it
    uint32_t flags;           // QLM_PRIMARY ...
    int32_t number;           // rank of the numeric form; -1 in the letter form
    kqLibDirectory* nextlib;  // next directory of the same alias, in reading order
    kqLibDirectory* next;     // next of the list, in search order
};

// The last failure.
extern int qlm_errno;

// Takes a line (with or without its leading word DIR) into the list; null
// with the reason in qlm_errno when it is refused, which leaves the list as
// it was.
kqLibDirectory* qlm_read(const char* line);
int qlm_get_status();

// The alias, or "" when the entry has none.
const char* qlm_id_get_name(const kqLibDirectory* id);
const char* qlm_id_get_path(const kqLibDirectory* id);
// 1 when the read-only flag is clear, else 0.
int qlm_id_writable(const kqLibDirectory* id);
int qlm_id_megafile(const kqLibDirectory* id);
// Accessors above give null or -1 with qlm_errno QLM_NULLID for a null id.

// 1 when some entry has this alias, letter case ignored.
int qlm_library_exists(const char* alias);
// The next entry of the list; the first for a null id.
kqLibDirectory* qlm_id_next_dir(const kqLibDirectory* id);
// The directories of one library, in the order of the list: the first for
// a null id, else the one behind `id`. Null for a null or empty alias.
kqLibDirectory* qlm_id_next_libdir(const kqLibDirectory* id, const char* alias);

// Copies the next token of `line` (separators blank, tab, backspace, CR,
// LF, VT) into `out`, at most size - 1 characters; the rest of a longer
// token is skipped. Returns the position behind the token, or null when no
// token is left or an argument is null.
const char* kqIGetToken(const char* line, char* out, size_t size);

// Empties the list: for a program that reads another library list, and
// for tests.
void qlm_free_all();
