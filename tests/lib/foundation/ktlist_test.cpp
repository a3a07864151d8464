#include "ktlist.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "kterr.h"
#include "ktex.h"

namespace {

void* word(uintptr_t n) {
    return reinterpret_cast<void*>(n);
}
uintptr_t num(const void* p) {
    return reinterpret_cast<uintptr_t>(p);
}

int collect(void* e, void* out) {
    static_cast<std::vector<uintptr_t>*>(out)->push_back(num(e));
    return 1;
}

std::vector<uintptr_t> elements(ktDlist* l) {
    std::vector<uintptr_t> v;
    ktDlistLoop(l, collect, &v);
    return v;
}

ktDlist* listOf(std::initializer_list<uintptr_t> items) {
    ktDlist* l = ktDlistCreate();
    for (uintptr_t i : items) ktDlistAddTail(l, word(i));
    return l;
}

// Every test starts and ends with no recycled cells or headers, so the
// reuse it sees is its own.
class Dlist : public ::testing::Test {
protected:
    void SetUp() override { ktDlistPurge(); }
    void TearDown() override { ktDlistPurge(); }
};

using ListCursor = Dlist;
using ListEnds = Dlist;
using ListRecycling = Dlist;

TEST_F(ListEnds, AddTailAppendsAndRemHeadTakesFromTheFront) {
    ktDlist* l = listOf({1, 2, 3});
    EXPECT_EQ(l->count, 3);
    EXPECT_EQ(num(ktDlistRemHead(l)), 1u);
    EXPECT_EQ(elements(l), (std::vector<uintptr_t>{2, 3}));
    EXPECT_EQ(l->count, 2);
    ktDlistFreeList(l);
}

TEST_F(ListEnds, AnEmptyListReadsAsZeroAndIsLeftAlone) {
    ktDlist* l = ktDlistCreate();
    EXPECT_TRUE(ktDlistEmpty(l));
    EXPECT_EQ(ktDlistRemHead(l), nullptr);
    EXPECT_EQ(ktDlistTail(l), nullptr);
    EXPECT_EQ(ktDlistCurElement(l), nullptr);
    EXPECT_EQ(l->count, 0);
    EXPECT_EQ(l->head.next, &l->tail);
    EXPECT_EQ(l->tail.prev, &l->head);
    ktDlistAddTail(l, word(9));
    ktDlistRemHead(l);  // emptied again: both sentinels linked back
    EXPECT_TRUE(ktDlistEmpty(l));
    EXPECT_EQ(l->tail.prev, &l->head);
    ktDlistAddTail(l, word(3));
    EXPECT_EQ(elements(l), (std::vector<uintptr_t>{3}));
    ktDlistFreeList(l);
}

TEST_F(ListEnds, AListHoldsAt32767ElementsAndRefusesMore) {
    ktDlist* l = ktDlistCreate();
    for (int i = 1; i <= KT_DLIST_MAX; ++i) ktDlistAddTail(l, word(i));
    EXPECT_EQ(l->count, 32767);
    uint32_t tag = ktExCatch(
        KT_EX_FAIL,
        [&] {
            ktDlistAddTail(l, word(0));
            return 0u;
        },
        [](uint32_t t, ktErrObject*) {
            ktExSwallow();
            return t;
        });
    EXPECT_EQ(tag, KT_EX_FAIL);
    EXPECT_EQ(l->count, 32767);
    EXPECT_EQ(num(ktDlistTail(l)), 32767u);
    ktDlistFreeList(l);
}

TEST_F(ListCursor, AddingSearchingAndTailMoveTheCursor) {
    ktDlist* l = listOf({5, 12, 7, 14});
    EXPECT_EQ(num(ktDlistCurElement(l)), 14u);
    auto above = [](void* limit, void* e) { return int(num(e) > num(limit)); };
    EXPECT_TRUE(ktDlistSearchForKey(l, word(10), above));
    EXPECT_EQ(num(ktDlistCurElement(l)), 12u);
    EXPECT_FALSE(ktDlistSearchForKey(l, word(20), above));
    EXPECT_EQ(num(ktDlistCurElement(l)), 12u);
    EXPECT_EQ(num(ktDlistTail(l)), 14u);
    EXPECT_EQ(num(ktDlistCurElement(l)), 14u);
    ktDlistFreeList(l);
}

TEST_F(ListCursor, DeletingTheCurrentCellMovesTheCursorBack) {
    ktDlist* l = listOf({1, 2, 3});
    ktDlistSearchForKey(l, word(2), [](void* k, void* e) { return int(k == e); });
    ktDlistDelCurrent(l);
    EXPECT_EQ(num(ktDlistCurElement(l)), 1u);
    ktDlistDelCurrent(l);  // now on the head sentinel: no element
    EXPECT_EQ(ktDlistCurElement(l), nullptr);
    ktDlistDelCurrent(l);  // does nothing
    EXPECT_EQ(elements(l), (std::vector<uintptr_t>{3}));
    ktDlistFreeList(l);
}

TEST_F(ListCursor, AWalkThatDeletesTheCurrentElementGoesOnWithItsSuccessor) {
    ktDlist* l = listOf({1, 2, 2, 3, 4, 4});
    struct Walk {
        ktDlist* l;
        std::vector<uintptr_t> seen;
    } w{l, {}};
    auto dropEven = [](void* e, void* data) {
        auto* w = static_cast<Walk*>(data);
        w->seen.push_back(num(e));
        if (num(e) % 2 == 0) ktDlistDelCurrent(w->l);
        return 1;
    };
    EXPECT_EQ(ktDlistLoop(l, dropEven, &w), 1);
    EXPECT_EQ(w.seen, (std::vector<uintptr_t>{1, 2, 2, 3, 4, 4}));
    EXPECT_EQ(elements(l), (std::vector<uintptr_t>{1, 3}));
    EXPECT_EQ(l->count, 2);
    ktDlistFreeList(l);
}

TEST_F(ListCursor, AWalkStopsAtTheFirstZeroWithThatCellCurrent) {
    ktDlist* l = listOf({1, 2, 3});
    auto stopAt2 = [](void* e, void* a, void* b, void* c) {
        return int(num(e) != 2 || !a || !b || !c);
    };
    int x;
    EXPECT_EQ(ktDlistLoop3(l, stopAt2, &x, &x, &x), 0);
    EXPECT_EQ(num(ktDlistCurElement(l)), 2u);
    ktDlistFreeList(l);
}

TEST_F(ListCursor, DelElementRemovesOnlyTheFirstOfTwoEqualWords) {
    ktDlist* l = listOf({1, 7, 2, 7});
    EXPECT_TRUE(ktDlistDelElement(l, word(7)));
    EXPECT_EQ(elements(l), (std::vector<uintptr_t>{1, 2, 7}));
    EXPECT_FALSE(ktDlistDelElement(l, word(9)));
    EXPECT_EQ(l->count, 3);
    ktDlistFreeList(l);
}

TEST_F(ListRecycling, AReleasedListsCellsServeTheNextAdditions) {
    ktDlist* a = listOf({1, 2, 3});
    ktDlistCell* cells[] = {a->head.next, a->head.next->next, a->tail.prev};
    ktDlistFreeList(a);  // the first release: a becomes the free cells
    ktDlist* b = listOf({4, 5, 6});
    std::vector<ktDlistCell*> used = {b->head.next, b->head.next->next, b->tail.prev};
    for (ktDlistCell* c : cells) EXPECT_NE(std::find(used.begin(), used.end(), c), used.end());
    ktDlistFreeList(b);
}

TEST_F(ListRecycling, RemovedCellsAreReusedBeforeTheAllocator) {
    ktDlist* l = listOf({1});
    ktDlistCell* cell = l->head.next;
    EXPECT_EQ(num(ktDlistRemHead(l)), 1u);
    ktDlistAddTail(l, word(2));
    EXPECT_EQ(l->head.next, cell);
    ktDlistFreeList(l);
}

TEST_F(ListRecycling, TheFirstReleasedHeaderIsNotHandedOutAgainTheSecondIs) {
    ktDlist* first = listOf({1});
    ktDlist* second = listOf({2});
    ktDlistFreeList(first);   // becomes the free-cells list
    ktDlistFreeList(second);  // becomes the free-headers list
    ktDlist* third = ktDlistCreate();
    EXPECT_NE(third, first);
    EXPECT_NE(third, second);
    ktDlist* fourth = ktDlistCreate();
    ktDlistFreeList(third);  // an element of the free headers
    ktDlist* again = ktDlistCreate();
    EXPECT_EQ(again, third);
    EXPECT_TRUE(ktDlistEmpty(again));
    EXPECT_EQ(ktDlistCurElement(again), nullptr);
    ktDlistAddTail(again, word(8));
    EXPECT_EQ(elements(again), (std::vector<uintptr_t>{8}));
    ktDlistFreeList(again);
    ktDlistFreeList(fourth);
}

TEST_F(ListRecycling, ALongListIsReleasedWholeAndItsCellsCounted) {
    ktDlist* spare = ktDlistCreate();
    ktDlistFreeList(spare);  // the free-cells list, empty
    ktDlist* l = ktDlistCreate();
    for (int i = 0; i < 1000; ++i) ktDlistAddTail(l, word(i));
    ktDlistFreeList(l);
    EXPECT_EQ(spare->count, 1000);
    EXPECT_EQ(spare->head.next->prev, &spare->head);
}

TEST_F(ListRecycling, PurgeLeavesListsInUseIntact) {
    ktDlist* kept = listOf({1, 2});
    ktDlist* gone = listOf({3, 4});
    ktDlistFreeList(gone);
    ktDlistRemHead(kept);
    ktDlistPurge();
    EXPECT_EQ(elements(kept), (std::vector<uintptr_t>{2}));
    ktDlistAddTail(kept, word(5));  // a cell from the allocator again
    EXPECT_EQ(elements(kept), (std::vector<uintptr_t>{2, 5}));
    ktDlistFreeList(kept);
}

TEST_F(ListRecycling, DestroyCallsForEachElementEvenIfItFreesIt) {
    ktDlist* l = ktDlistCreate();
    for (int i = 0; i < 3; ++i) ktDlistAddTail(l, new int(i));
    int sum = 0;
    ktDlistDestroyList(
        l,
        [](void* e, void* s) {
            *static_cast<int*>(s) += *static_cast<int*>(e);
            delete static_cast<int*>(e);
            return 0;  // ignored
        },
        &sum);
    EXPECT_EQ(sum, 0 + 1 + 2);
}

// Records of the plain list: the link first.
struct Rec {
    ktList link;
    int key;
    int id;
};

int byKey(ktList* a, ktList* b) {
    return reinterpret_cast<Rec*>(a)->key - reinterpret_cast<Rec*>(b)->key;
}

std::vector<int> ids(ktList* head) {
    std::vector<int> v;
    for (; head; head = head->next) v.push_back(reinterpret_cast<Rec*>(head)->id);
    return v;
}

ktList* chain(std::vector<Rec>& recs) {
    ktList* head = nullptr;
    for (size_t i = recs.size(); i-- > 0;) head = ktListSins(&recs[i].link, nullptr, head);
    return head;
}

TEST(PlainList, InsertAtTheHeadOrBehindALink) {
    std::vector<Rec> r = {{{}, 0, 1}, {{}, 0, 2}, {{}, 0, 3}};
    ktList* head = ktListSins(&r[0].link, nullptr, nullptr);
    head = ktListSins(&r[2].link, &head->next, head);
    EXPECT_EQ(head, &r[0].link);
    head = ktListSins(&r[1].link, &head->next, head);
    EXPECT_EQ(ids(head), (std::vector<int>{1, 2, 3}));
    Rec front{{}, 0, 0};
    EXPECT_EQ(ktListSins(&front.link, nullptr, head), &front.link);
    EXPECT_EQ(ids(&front.link), (std::vector<int>{0, 1, 2, 3}));
}

TEST(PlainListSort, SortsAscendingByTheComparison) {
    EXPECT_EQ(ktListSsort(nullptr, byKey), nullptr);
    Rec one{{}, 5, 1};
    EXPECT_EQ(ktListSsort(&one.link, byKey), &one.link);
    std::vector<Rec> r;
    int keys[] = {5, 3, 9, 1, 7, 2, 8, 6, 4};
    for (int i = 0; i < 9; ++i) r.push_back({{}, keys[i], keys[i]});
    EXPECT_EQ(ids(ktListSsort(chain(r), byKey)), (std::vector<int>{1, 2, 3, 4, 5, 6, 7, 8, 9}));
}

TEST(PlainListSort, OfEqualRecordsThoseOfTheSecondHalfComeFirst) {
    std::vector<Rec> same = {{{}, 0, 1}, {{}, 0, 2}, {{}, 0, 3}, {{}, 0, 4}};
    EXPECT_EQ(ids(ktListSsort(chain(same), byKey)), (std::vector<int>{4, 3, 2, 1}));
    // Cut as [1 2 3] [4 5]; [1 2 3] as [1 2] [3], giving 2 3 1; [4 5]
    // stays; the last merge puts 4 before 2 and 5 before 3 and 1.
    std::vector<Rec> r = {{{}, 2, 1}, {{}, 1, 2}, {{}, 2, 3}, {{}, 1, 4}, {{}, 2, 5}};
    EXPECT_EQ(ids(ktListSsort(chain(r), byKey)), (std::vector<int>{4, 2, 5, 3, 1}));
}

}  // namespace
