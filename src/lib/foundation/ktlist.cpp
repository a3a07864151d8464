// Lists. Two process-wide lists do the recycling: the free cells, whose
// cells are available, and the free headers, whose elements are released
// list headers. The first list ever released simply becomes the free-cells
// list and the second the free-headers list; a purge gives everything back
// and starts over.
#include "ktlist.h"

#include "kterr.h"
#include "ktex.h"
#include "ktmem.h"

namespace {
ktDlist* freeCells = nullptr;
ktDlist* freeHeaders = nullptr;
bool purgeAdded = false;

void addPurgeOnce() {
    if (purgeAdded) return;
    purgeAdded = true;
    ktAddPurgeRoutine(ktDlistPurge);
}

bool hasCells(const ktDlist* l) {
    return l->head.next != &l->tail;
}

bool isCell(const ktDlist* l, const ktDlistCell* c) {
    return c && c != &l->head && c != &l->tail;
}

void setEmpty(ktDlist* l) {
    l->head = ktDlistCell{nullptr, &l->tail, nullptr};
    l->tail = ktDlistCell{nullptr, nullptr, &l->head};
    l->current = nullptr;
    l->count = 0;
}

// The recycling lists count only for show: emptiness is read from the
// links, so a count held at the 16-bit limit does no harm.
int16_t clampedCount(int n) {
    return static_cast<int16_t>(n > KT_DLIST_MAX ? KT_DLIST_MAX : n);
}

void unlink(ktDlistCell* c) {
    c->prev->next = c->next;
    c->next->prev = c->prev;
}

void linkAfter(ktDlistCell* where, ktDlistCell* c) {
    c->prev = where;
    c->next = where->next;
    where->next->prev = c;
    where->next = c;
}

ktDlistCell* newCell() {
    if (freeCells && hasCells(freeCells)) {
        ktDlistCell* c = freeCells->head.next;
        unlink(c);
        if (freeCells->count > 0) --freeCells->count;
        return c;
    }
    return static_cast<ktDlistCell*>(ktMemFlAlloc(sizeof(ktDlistCell), "ktDlistCell"));
}

void makeFreeCells() {
    addPurgeOnce();
    if (freeHeaders && hasCells(freeHeaders)) {
        // The header becomes the free-cells list, and the cell that held it
        // in the free headers is its first free cell.
        ktDlistCell* c = freeHeaders->head.next;
        unlink(c);
        --freeHeaders->count;
        freeCells = static_cast<ktDlist*>(c->data);
        setEmpty(freeCells);
        c->data = nullptr;
        linkAfter(&freeCells->head, c);
        freeCells->count = 1;
        return;
    }
    freeCells = static_cast<ktDlist*>(ktMemFlAlloc(sizeof(ktDlist), "ktDlistList"));
    setEmpty(freeCells);
    freeCells->flags = KT_DLIST_BACKWARD;
}

void removeCell(ktDlist* l, ktDlistCell* c) {
    if (l->current == c) l->current = (l->flags & KT_DLIST_BACKWARD) ? c->prev : c->next;
    unlink(c);
    if (!freeCells) makeFreeCells();
    linkAfter(&freeCells->head, c);
    freeCells->count = clampedCount(freeCells->count + 1);
    c->data = nullptr;
    if (l->count > 0) --l->count;
}

void append(ktDlist* l, void* element) {
    ktDlistCell* c = newCell();
    c->data = element;
    linkAfter(l->tail.prev, c);
    l->count = clampedCount(l->count + 1);
    l->current = c;
}

template <typename Call>
int walk(ktDlist* l, Call call) {
    for (l->current = l->head.next; isCell(l, l->current); l->current = l->current->next)
        if (call(l->current->data) == 0) return 0;
    return 1;
}

void freeChain(ktDlist* l) {
    for (ktDlistCell* c = l->head.next; c != &l->tail;) {
        ktDlistCell* next = c->next;
        ktMemFlFree(c, sizeof(ktDlistCell));
        c = next;
    }
}

ktList* merge(ktList* a, ktList* b, int (*compare)(ktList*, ktList*)) {
    ktList head{nullptr};
    ktList* tail = &head;
    while (a && b) {
        if (compare(a, b) >= 0) {
            tail->next = b;
            b = b->next;
        } else {
            tail->next = a;
            a = a->next;
        }
        tail = tail->next;
    }
    tail->next = a ? a : b;
    return head.next;
}
}  // namespace

ktDlist* ktDlistCreate() {
    if (freeHeaders && hasCells(freeHeaders)) {
        ktDlistCell* c = freeHeaders->head.next;
        auto* l = static_cast<ktDlist*>(c->data);
        removeCell(freeHeaders, c);
        setEmpty(l);
        l->flags = KT_DLIST_BACKWARD;
        return l;
    }
    auto* l = static_cast<ktDlist*>(ktMemFlAlloc(sizeof(ktDlist), "ktDlistList"));
    setEmpty(l);
    l->flags = KT_DLIST_BACKWARD;
    return l;
}

void ktDlistAddTail(ktDlist* list, void* element) {
    if (list->count >= KT_DLIST_MAX)
        ktExThrow2(KT_EX_FAIL, "ktDlistAddTail", KT_ERR_ERROR,
                   "A list holds at most 32767 elements.");
    append(list, element);
}

void* ktDlistRemHead(ktDlist* list) {
    if (!hasCells(list)) return nullptr;
    ktDlistCell* c = list->head.next;
    void* data = c->data;
    removeCell(list, c);
    return data;
}

void* ktDlistTail(ktDlist* list) {
    if (!hasCells(list)) return nullptr;
    list->current = list->tail.prev;
    return list->current->data;
}

int ktDlistEmpty(const ktDlist* list) {
    return !hasCells(list);
}

int ktDlistSearchForKey(ktDlist* list, void* key, int (*fn)(void* key, void* element)) {
    for (ktDlistCell* c = list->head.next; c != &list->tail; c = c->next)
        if (fn(key, c->data)) {
            list->current = c;
            return 1;
        }
    return 0;
}

int ktDlistDelElement(ktDlist* list, void* element) {
    for (ktDlistCell* c = list->head.next; c != &list->tail; c = c->next)
        if (c->data == element) {
            removeCell(list, c);
            return 1;
        }
    return 0;
}

void* ktDlistCurElement(const ktDlist* list) {
    return isCell(list, list->current) ? list->current->data : nullptr;
}

void ktDlistDelCurrent(ktDlist* list) {
    if (isCell(list, list->current)) removeCell(list, list->current);
}

int ktDlistLoop(ktDlist* list, int (*fn)(void* element, void* data), void* data) {
    return walk(list, [&](void* e) { return fn(e, data); });
}

int ktDlistLoop3(ktDlist* list, int (*fn)(void* element, void* a, void* b, void* c), void* a,
                 void* b, void* c) {
    return walk(list, [&](void* e) { return fn(e, a, b, c); });
}

void ktDlistFreeList(ktDlist* list) {
    if (!list) return;
    list->current = nullptr;
    if (!freeCells) {
        addPurgeOnce();
        freeCells = list;
        return;
    }
    if (hasCells(list)) {
        // Splice the whole chain in behind the free cells' head sentinel.
        ktDlistCell* first = list->head.next;
        ktDlistCell* last = list->tail.prev;
        last->next = freeCells->head.next;
        freeCells->head.next->prev = last;
        freeCells->head.next = first;
        first->prev = &freeCells->head;
        freeCells->count = clampedCount(freeCells->count + list->count);
    }
    setEmpty(list);
    if (!freeHeaders) {
        freeHeaders = list;
        return;
    }
    append(freeHeaders, list);
}

void ktDlistDestroyList(ktDlist* list, int (*fn)(void* element, void* data), void* data) {
    if (!list) return;
    for (ktDlistCell* c = list->head.next; c != &list->tail;) {
        ktDlistCell* next = c->next;
        fn(c->data, data);
        c = next;
    }
    ktDlistFreeList(list);
}

void ktDlistPurge() {
    if (freeCells) {
        freeChain(freeCells);
        ktMemFlFree(freeCells, sizeof(ktDlist));
        freeCells = nullptr;
    }
    if (freeHeaders) {
        for (ktDlistCell* c = freeHeaders->head.next; c != &freeHeaders->tail;) {
            ktDlistCell* next = c->next;
            ktMemFlFree(c->data, sizeof(ktDlist));
            ktMemFlFree(c, sizeof(ktDlistCell));
            c = next;
        }
        ktMemFlFree(freeHeaders, sizeof(ktDlist));
        freeHeaders = nullptr;
    }
}

ktList* ktListSins(ktList* record, ktList** link, ktList* head) {
    if (link) {
        record->next = *link;
        *link = record;
        return head;
    }
    record->next = head;
    return record;
}

ktList* ktListSsort(ktList* head, int (*compare)(ktList* a, ktList* b)) {
    if (!head || !head->next) return head;
    ktList* slow = head;
    for (ktList* fast = head->next; fast && fast->next; fast = fast->next->next) slow = slow->next;
    ktList* second = slow->next;
    slow->next = nullptr;
    return merge(ktListSsort(head, compare), ktListSsort(second, compare), compare);
}
