#include "ktlist.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "thrown.h"

namespace {

using Words = std::vector<uintptr_t>;

void* word(uintptr_t n) {
    return reinterpret_cast<void*>(n);
}
uintptr_t num(const void* p) {
    return reinterpret_cast<uintptr_t>(p);
}

Words elements(ktDlist* l) {
    Words v;
    ktDlistLoop(
        l, [](void* e, void* out) { return static_cast<Words*>(out)->push_back(num(e)), 1; }, &v);
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

using ListEnds = Dlist;
using ListCursor = Dlist;
using ListRecycling = Dlist;

TEST_F(ListEnds, TailInHeadOutAndAnEmptyListLinkedBack) {
    ktDlist* l = listOf({1, 2});
    EXPECT_EQ(num(ktDlistRemHead(l)), 1u);
    EXPECT_EQ(num(ktDlistRemHead(l)), 2u);
    EXPECT_TRUE(ktDlistEmpty(l));
    EXPECT_EQ(l->tail.prev, &l->head);  // both sentinels linked back
    EXPECT_EQ(ktDlistRemHead(l), nullptr);
    EXPECT_EQ(ktDlistTail(l), nullptr);
    ktDlistAddTail(l, word(3));
    EXPECT_EQ(elements(l), Words{3});
    ktDlistFreeList(l);
}

TEST_F(ListEnds, AListHoldsAt32767ElementsAndRefusesMore) {
    ktDlist* l = ktDlistCreate();
    for (int i = 1; i <= KT_DLIST_MAX; ++i) ktDlistAddTail(l, word(i));
    EXPECT_EQ(l->count, 32767);
    EXPECT_EQ(thrown([&] { ktDlistAddTail(l, word(0)); }).tag, KT_EX_FAIL);
    EXPECT_EQ(l->count, 32767);
    EXPECT_EQ(num(ktDlistTail(l)), 32767u);
    ktDlistFreeList(l);
}

TEST_F(ListCursor, SearchAndTailMoveItAndDeletingMovesItBack) {
    ktDlist* l = listOf({5, 12, 7, 14});
    EXPECT_EQ(num(ktDlistCurElement(l)), 14u);
    auto above = [](void* limit, void* e) { return int(num(e) > num(limit)); };
    EXPECT_TRUE(ktDlistSearchForKey(l, word(10), above));
    EXPECT_EQ(num(ktDlistCurElement(l)), 12u);
    EXPECT_FALSE(ktDlistSearchForKey(l, word(20), above));
    EXPECT_EQ(num(ktDlistCurElement(l)), 12u);
    ktDlistDelCurrent(l);
    EXPECT_EQ(num(ktDlistCurElement(l)), 5u);
    ktDlistDelCurrent(l);  // now on the head sentinel: no element
    EXPECT_EQ(ktDlistCurElement(l), nullptr);
    ktDlistDelCurrent(l);  // does nothing
    EXPECT_EQ(elements(l), (Words{7, 14}));
    EXPECT_EQ(num(ktDlistTail(l)), 14u);
    EXPECT_EQ(num(ktDlistCurElement(l)), 14u);
    ktDlistFreeList(l);
}

TEST_F(ListCursor, AWalkGoesOnPastADeletedElementAndStopsAtTheFirstZero) {
    ktDlist* l = listOf({1, 2, 2, 3, 4, 4});
    struct Walk {
        ktDlist* l;
        Words seen;
    } w{l, {}};
    auto dropEven = [](void* e, void* data) {
        auto* w = static_cast<Walk*>(data);
        w->seen.push_back(num(e));
        if (num(e) % 2 == 0) ktDlistDelCurrent(w->l);
        return 1;
    };
    EXPECT_EQ(ktDlistLoop(l, dropEven, &w), 1);
    EXPECT_EQ(w.seen, (Words{1, 2, 2, 3, 4, 4}));
    EXPECT_EQ(elements(l), (Words{1, 3}));
    EXPECT_EQ(l->count, 2);
    int x;
    auto stopAt3 = [](void* e, void* a, void* b, void* c) {
        return int(num(e) != 3 || !a || !b || !c);
    };
    EXPECT_EQ(ktDlistLoop3(l, stopAt3, &x, &x, &x), 0);
    EXPECT_EQ(num(ktDlistCurElement(l)), 3u);
    ktDlistFreeList(l);
}

TEST_F(ListRecycling, TheFirstReleasedListHoldsTheCellsForTheNextAdditions) {
    ktDlist* a = listOf({1, 2, 3});
    std::vector<ktDlistCell*> cells = {a->head.next, a->head.next->next, a->tail.prev};
    ktDlistFreeList(a);
    ktDlist* b = listOf({4, 5, 6});
    EXPECT_EQ(cells, (std::vector<ktDlistCell*>{b->head.next, b->head.next->next, b->tail.prev}));
    ktDlistCell* first = b->head.next;
    ktDlistRemHead(b);
    ktDlistAddTail(b, word(7));
    EXPECT_EQ(b->tail.prev, first);
    // A long list goes to the free cells whole, its cells counted.
    ktDlist* big = ktDlistCreate();
    for (int i = 0; i < 1000; ++i) ktDlistAddTail(big, word(i));
    ktDlistFreeList(big);
    EXPECT_EQ(a->count, 1000);
    EXPECT_EQ(a->head.next->prev, &a->head);
    ktDlistFreeList(b);
}

TEST_F(ListRecycling, HeadersAfterTheFirstTwoAreHandedOutAgain) {
    ktDlist* first = listOf({1});
    ktDlist* second = listOf({2});
    ktDlistFreeList(first);   // the free cells
    ktDlistFreeList(second);  // the free headers
    ktDlist* third = ktDlistCreate();
    EXPECT_TRUE(third != first && third != second);
    ktDlist* fourth = listOf({4, 5});
    ktDlistFreeList(third);
    ktDlist* again = ktDlistCreate();
    EXPECT_EQ(again, third);
    EXPECT_EQ(ktDlistCurElement(again), nullptr);
    ktDlistAddTail(again, word(8));
    EXPECT_EQ(elements(again), Words{8});
    ktDlistFreeList(again);
    // A purge leaves lists in use intact.
    ktDlistRemHead(fourth);
    ktDlistPurge();
    ktDlistAddTail(fourth, word(6));
    EXPECT_EQ(elements(fourth), (Words{5, 6}));
    ktDlistFreeList(fourth);
}

TEST_F(ListRecycling, DestroyHandsOnEveryElement) {
    uintptr_t sum = 0;
    auto add = [](void* e, void* s) { return int(*static_cast<uintptr_t*>(s) += num(e)); };
    ktDlistDestroyList(listOf({1, 2, 3}), add, &sum);
    EXPECT_EQ(sum, 6u);
}

// Records of the plain list: the link first.
struct Rec {
    ktList link;
    int key;
    int id;
};

std::vector<int> ids(ktList* head) {
    std::vector<int> v;
    for (; head; head = head->next) v.push_back(reinterpret_cast<Rec*>(head)->id);
    return v;
}

std::vector<int> sorted(std::vector<Rec> recs) {
    ktList* head = nullptr;
    for (size_t i = recs.size(); i-- > 0;) head = ktListSins(&recs[i].link, nullptr, head);
    auto byKey = [](ktList* a, ktList* b) {
        return reinterpret_cast<Rec*>(a)->key - reinterpret_cast<Rec*>(b)->key;
    };
    return ids(ktListSsort(head, byKey));
}

TEST(PlainList, InsertAtTheHeadOrBehindALink) {
    std::vector<Rec> r = {{{}, 0, 1}, {{}, 0, 2}, {{}, 0, 3}};
    ktList* head = ktListSins(&r[0].link, nullptr, nullptr);
    EXPECT_EQ(ktListSins(&r[2].link, &head->next, head), &r[0].link);
    ktListSins(&r[1].link, &head->next, head);
    EXPECT_EQ(ids(head), (std::vector<int>{1, 2, 3}));
    Rec front{{}, 0, 0};
    EXPECT_EQ(ids(ktListSins(&front.link, nullptr, head)), (std::vector<int>{0, 1, 2, 3}));
}

TEST(PlainList, SortsAscendingAndOfEqualRecordsTheSecondHalfComesFirst) {
    std::vector<Rec> r;
    for (int k : {5, 3, 9, 1, 7, 2, 8, 6, 4}) r.push_back({{}, k, k});
    EXPECT_EQ(sorted(r), (std::vector<int>{1, 2, 3, 4, 5, 6, 7, 8, 9}));
    EXPECT_EQ(sorted({{{}, 0, 1}, {{}, 0, 2}, {{}, 0, 3}, {{}, 0, 4}}),
              (std::vector<int>{4, 3, 2, 1}));
    // Cut as [1 2 3] [4 5]; [1 2 3] as [1 2] [3], giving 2 3 1; [4 5]
    // stays; the last merge puts 4 before 2 and 5 before 3 and 1.
    EXPECT_EQ(sorted({{{}, 2, 1}, {{}, 1, 2}, {{}, 2, 3}, {{}, 1, 4}, {{}, 2, 5}}),
              (std::vector<int>{4, 2, 5, 3, 1}));
    EXPECT_EQ(sorted({}), std::vector<int>{});
}

}  // namespace
