// Name translation: any schematic name becomes a VHDL identifier, its
// subscript a VHDL range. Every name that reaches a model goes through
// votr, which remembers each name it has seen, with its translation, in one
// table for the whole run (process-wide: nothing resets it between the
// symbols of a library). The same table feeds the collision test and the
// identifier list of a library run.
#pragma once
#include <cstddef>
#include <cstdint>
#include <cstring>

// One translated name. `vhdlname` is `name` itself when the translation
// differs from the input at most in case, else the entry's own copy.
struct votrname {
    votrname* next;
    char* name;  // the input, exact
    char* vhdlname;
};

constexpr int VOTR_BUCKETS = 2048;
// A translation holds at most VOTR_BUFSIZE - 1 characters.
constexpr int VOTR_BUFSIZE = 2048;

// `text` (null: empty) copied into `out` of `size` bytes, cut to size - 1
// and ended. The bytes behind the end are left as they are: on the large
// name buffers that are filled for every pin, clearing them was most of
// the work of a copy.
inline char* voCopyName(char* out, const char* text, size_t size) {
    if (size == 0) return out;
    const size_t n = text ? strnlen(text, size - 1) : 0;
    std::memmove(out, text ? text : "", n);
    out[n] = '\0';
    return out;
}

// VOTR_BUCKETS chains, each newest first; null until the first name is
// stored. Only votr changes it.
extern votrname** trtable;
// Length of the longest name stored; the width of the identifier list.
extern int32_t trlongest;

// Counts the releases of the table of names: a translation remembered
// from before a release may no longer be the one votr gives.
extern uint32_t votrgeneration;

// Builds the character table and enters the reserved words; any table of
// an earlier run is released first.
void votrsetup();
// Releases the table of names; the next votr starts a new one.
void votrfree();
// The translation of `name`, in a static buffer valid until the next call:
// copy it or use it at once.
char* votr(const char* name);
// The translation that votr gives again for the name of its last call.
// The first call for a name can give a text that differs from it in case
// only: a translation equal to the name but for case is stored as the name.
const char* votrstored();
// The translation of the part of `name` in front of its first "[", copied
// to `out`, which holds VOTR_BUFSIZE characters. Returns `out`.
char* voGetScrivetName(const char* name, char* out);
// A private copy of the name component of `name`: no directory, no extension.
char* votruncnam(const char* name);
// Warns of reserved words among the translations and of names that differ
// only in case and stand for themselves.
void votest_translations();
// Writes the identifier list of the top group when LIST_IDENTIFIERS asks for it.
void vodump_translations();
