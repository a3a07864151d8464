// Bus expansion: the one parser of the bus syntax that names of nets and
// pins may use. A bus text is a list of items between separators; an item
// is a name with ranges in square brackets (A[7:0], D[0:14:2], X[0:F/H]),
// or a group in braces repeated a number of times ({A,B}3). The iterator
// hands out the member names one at a time, in a fixed order (the last
// range of a name runs fastest), without ever building the list of
// members: a bus of any width costs one node per item and segment. Nothing
// here prints; a caller reads the status word after a null result.
#pragma once
#include <cstdint>

// Status of the last operation.
enum {
    KT_BUS_OK = 0,
    KT_BUS_UNBALANCED = 1,  // an unclosed "[" or "{", or a "[" inside a range
    KT_BUS_BADCHAR = 2,     // a character with no place in a range
    KT_BUS_MALFORMED = 3,   // an empty or fourth part, a second radix, a group without a count
    KT_BUS_RADIX = 4,       // a digit outside the range's radix
    KT_BUS_TOOLARGE = 5,    // a part of over 18 characters, a number of 32768 or more
    KT_BUS_ZEROSTEP = 6,
    KT_BUS_NULLARG = 7,
    KT_BUS_NOROOM = 8,  // a name does not fit the caller's buffer
};

// Members a width may count; a name or total beyond it is refused.
constexpr int KT_BUS_MAXWIDTH = 65535;

// One node of an iteration: an item, a further segment of a name, or a
// group with its body. Made from the general heap with the tag "vecrec".
struct vecrec {
    const char* rest;  // what is left of the bus text behind this item, null at the end
    int group;         // the node is a group
    int owned;         // belongs to a group that replays it, and survives its own end
    char* longtext;    // the node's text when it has 32 characters or more
    char text[32];     // otherwise: a segment's literal text, or a group's body
    int textfirst;     // the literal text stands in front of the number
    int32_t radix;     // 2, 8, 10 or 16
    int32_t step;      // signed; 0: the segment has no number
    int32_t width;     // zero padding, 0 for none
    int32_t first;
    int32_t last;
    int32_t current;
    int done;          // the node has finished a full cycle
    vecrec* nextseg;   // the next segment of the same name
    vecrec* nextitem;  // the next item, held so that a group can replay it
    int32_t repeat;    // repetitions still to come
    vecrec* head;      // first node of a group's body
    vecrec* cursor;    // current node of a group's body
    int32_t count;     // the group's count
};

// One step of the iteration. Start with a null `iterator`; each call writes
// the next member to `out` (room for `size` bytes, terminator included) and
// returns the iterator to pass next, or null when the text is finished (a
// status of 0) or a fault occurred. The iterator frees itself then. `text`
// must stay valid and unchanged for the whole iteration.
vecrec* ktBusExpand(vecrec* iterator, const char* text, char* out, int size);
// Frees an iterator given up early; a node owned by a group is left alone.
void ktBusExpandFree(vecrec* iterator);
// The number of members, or 0 with a status; an empty text gives 0 with
// status 0. Widths above KT_BUS_MAXWIDTH are refused with status 5.
int ktBusExpandWidth(const char* text);
// 1 when every member of `b` is a member of `a`, else 0. Names compare
// exactly: a bus text is case-sensitive.
int ktBusExpandSubset(const char* a, const char* b);
// Sets the separator set, cut at 19 characters; "," at start. A null
// argument sets status 7 and changes nothing.
void ktBusExpandRepsep(const char* separators);
// The status of the last operation; each operation clears it at its start.
int ktBusExpandStatus();
