// File search in libraries: finds a design file of a kind in the
// directories of the library list, and walks all files of a library. A kind
// of file lies in a subdirectory of its own, or, in a mega library, inside
// one packed file with an index beside it. Nothing here opens a design file
// or prints: a failure is a null result, with the reason in qfm_errno.
#pragma once
#include <cstdint>

struct kqLibDirectory;

// File kinds the translator uses.
enum { QFM_SYMBOL = 1 };

// Reasons of a failure, in qfm_errno.
enum {
    QFM_NONAME = -1,  // no name was given
    QFM_NOLIB = -9,   // the library isn't in the list
};

// Index records of a mega library are this long, with no header.
constexpr int QFM_MEGARECORD = 30;

// A file found by a search; made by qfm_find_file, released by qfm_free_id.
struct qfm_id {
    char* name;      // lower case
    char* ext;       // lower case
    char* reserved;  // never set here; released if set
    int32_t kind;
    long position;              // offset in the mega data file; -1 for a plain file
    uint32_t time;              // the file's time; a mega member's is its data file's
    kqLibDirectory* directory;  // where it was found
};

extern int qfm_errno;

// Searches the directories of `lib` (every directory of the list when null
// or empty) for the file `name`.`ext` of `kind`; the first hit wins. The
// kind's fixed extension, if any, replaces `ext`; a null `ext` is empty.
qfm_id* qfm_find_file(const char* lib, int kind, const char* name, const char* ext);
// The same search, giving the directory of the hit.
kqLibDirectory* qfm_find_directory(const char* lib, int kind, const char* name, const char* ext);
// 1 when `id` stands for an existing file.
int qfm_id_file_exists(const qfm_id* id);
// Releases a search result; null is accepted.
void qfm_free_id(qfm_id* id);

// Called with each matching file's name (name.ext, no directory); a
// non-zero result ends the walk and is its result.
typedef int (*qfm_loop_fn)(const char* file, void* data);
// Calls `callback` for every file of `kind` in the directories of `lib`
// whose name and extension match the wildcard patterns ('*', '?'), sorted
// within a plain directory, in index order within a mega library. Returns
// 0, a callback's non-zero result, or QFM_NOLIB.
int qfm_file_loop(const char* lib, int kind, const char* namepattern, const char* extpattern,
                  qfm_loop_fn callback, void* data);

// Splits "alias:name" in place: `text` is left holding the name without
// leading white space; the result is the alias ("" without a colon), in a
// buffer that the next call overwrites.
char* q_split_lib_comp(char* text);
// "alias:name", or the name alone for an empty alias, as a new pooled
// string that the caller releases with ktStrFree.
char* q_merge_lib_comp(const char* alias, const char* name);
