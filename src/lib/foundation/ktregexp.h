// Regular expressions. A small backtracking engine for the fixed patterns
// of the library: the directives of the formatter, version numbers and the
// lines of message sources. An expression compiles once into a program of
// linked nodes that is never changed afterwards; the positions a match found
// go into a record the caller supplies, so one program serves any number of
// matches. Every fault is thrown with tag 2 from the source "ktRegexp",
// including a text so long that a repeated group would take the matcher
// deeper than its limit (some ten thousand steps of nesting), and a text on
// which backtracking would take more than a million steps (a repeated
// group whose body repeats, such as `^(a+)+b`, on a long run of `a`).
//
// Grammar: branches joined by `|`; pieces in sequence; an atom followed by
// `*`, `+` or `?` (greedy); `(` `)` groups numbered 1 to 9 by their opening
// parenthesis; `^` the start of the text (not of a line); `$` its end; `.`
// any character; `[set]` with ranges a-z, `^` first to negate, `]` or `-`
// first and `-` last standing for themselves; a backslash quotes the next
// character. No back references, counted repetition or classes; case counts.
#pragma once
#include <cstddef>
#include <cstdint>

constexpr int KT_REGEXP_NSUB = 10;  // the whole match and nine groups
constexpr unsigned char KT_REGEXP_MAGIC = 0234;

// A compiled program: this head and its nodes in one block (tag
// "ktRegexpT"). Each node is an opcode byte, a 16-bit big-endian offset to
// the next node, and its operand; the list starts with a branch.
struct ktRegexp {
    char start;            // a character any match must begin with, or 0
    char anchored;         // non-zero: a match can only begin at the text's start
    const char* must;      // a literal any match must contain (inside the nodes), or null
    uint32_t mustlen;      // its length
    unsigned char magic;   // KT_REGEXP_MAGIC while the program is sound
    unsigned char* nodes;  // the node list, right behind this head
};

// Where a match lies: entry 0 is the whole match, 1 to 9 the groups. An
// entry a group took no part in has null pointers.
struct ktRegexpMatch {
    const char* startp[KT_REGEXP_NSUB];
    const char* endp[KT_REGEXP_NSUB];
};

ktRegexp* ktRegexpCompile(const char* expression);
void ktRegexpDestroy(ktRegexp* prog);

// Returns 1 if `text` holds a match, else 0, and fills `match` (which may be
// null when only the answer counts).
int ktRegexpExec(const ktRegexp* prog, ktRegexpMatch* match, const char* text);

// Copies entry `entry` of `match` into `out`, terminated. Returns 1 when it
// was copied whole, -1 when it was cut to size - 1 bytes, 0 when the entry
// is unset or empty (`out` is then the empty text).
int ktRegexpGetMatch(const ktRegexpMatch* match, int entry, char* out, size_t size);
