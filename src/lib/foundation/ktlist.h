// Lists. ktDlist is the library's doubly linked list of machine words,
// with a current position and its own recycling of cells and headers:
// deleting and re-adding elements costs no allocator call, and releasing a
// whole list costs a constant number of pointer moves whatever its length.
// Cells go back to the allocator only at ktDlistPurge. A list never owns
// what its elements point to. ktListSins and ktListSsort serve plain
// records whose first member is a ktList link.
#pragma once
#include <cstdint>

struct ktDlistCell {
    void* data;
    ktDlistCell* next;  // toward the tail
    ktDlistCell* prev;  // toward the head
};

// After the current cell is deleted, current moves to the previous cell;
// set at creation (clear, it would move to the next).
constexpr uint8_t KT_DLIST_BACKWARD = 0x80;

// A list holds at most this many elements; one more is refused.
constexpr int KT_DLIST_MAX = 32767;

struct ktDlist {
    ktDlistCell head;      // data and prev 0; next is the first cell
    ktDlistCell tail;      // data and next 0; prev is the last cell
    ktDlistCell* current;  // null, a sentinel, or a cell
    int16_t count;
    uint8_t flags;
};

ktDlist* ktDlistCreate();
// Appends and makes the new cell current. Throws tag 2 when the list
// already holds KT_DLIST_MAX elements.
void ktDlistAddTail(ktDlist* list, void* element);
// 0 when the list is empty; an element of 0 can't be told from that.
void* ktDlistRemHead(ktDlist* list);
// Makes the last cell current and returns its element, or 0 when empty.
void* ktDlistTail(ktDlist* list);
int ktDlistEmpty(const ktDlist* list);
// Walks from the head; at the first cell for which fn(key, element) is
// non-zero, makes it current and returns 1. Otherwise 0.
int ktDlistSearchForKey(ktDlist* list, void* key, int (*fn)(void* key, void* element));
// Removes the first cell holding exactly `element`; 1 if there was one.
int ktDlistDelElement(ktDlist* list, void* element);
// The current element, or 0 when current is null or a sentinel.
void* ktDlistCurElement(const ktDlist* list);
// Removes the current cell; nothing happens unless current is on an element.
void ktDlistDelCurrent(ktDlist* list);
// Walk from head to tail with the current position as the cursor, so fn
// may delete the current element and the walk goes on with its successor.
// Returns 0 as soon as fn returns 0, else 1.
int ktDlistLoop(ktDlist* list, int (*fn)(void* element, void* data), void* data);
int ktDlistLoop3(ktDlist* list, int (*fn)(void* element, void* a, void* b, void* c), void* a,
                 void* b, void* c);
// Releases the list; its elements are left alone.
void ktDlistFreeList(ktDlist* list);
// Calls fn for each element (fn may free it; its result is ignored), then
// releases the list.
void ktDlistDestroyList(ktDlist* list, int (*fn)(void* element, void* data), void* data);
// Gives every recycled cell and header back to the allocator. Lists in use
// are not touched.
void ktDlistPurge();

// The link of a plain singly linked record: its first member.
struct ktList {
    ktList* next;
};

// With a link address, puts `record` behind it and returns `head`
// unchanged; with a null address, `record` becomes the head and is
// returned.
ktList* ktListSins(ktList* record, ktList** link, ktList* head);
// Merge sort on the link. Of two records where compare(a, b) >= 0, with a
// from the first half and b from the second, b goes first: equal records
// of the second half come before those of the first, so the sort is not
// stable. Returns the new head.
ktList* ktListSsort(ktList* head, int (*compare)(ktList* a, ktList* b));
