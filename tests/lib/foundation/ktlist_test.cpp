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

TEST_F(Dlist, EndsHoldAt32767ElementsAndAnEmptyListHasNone) {
    ktDlist* l = listOf({1});
    EXPECT_EQ(num(ktDlistRemHead(l)), 1u);
    EXPECT_EQ(ktDlistRemHead(l), nullptr);
    EXPECT_EQ(ktDlistTail(l), nullptr);
    for (int i = 1; i <= KT_DLIST_MAX; ++i) ktDlistAddTail(l, word(i));
    EXPECT_EQ(thrown([&] { ktDlistAddTail(l, word(0)); }).tag, KT_EX_FAIL);
    EXPECT_EQ(l->count, 32767);
    EXPECT_EQ(num(ktDlistTail(l)), 32767u);
    ktDlistFreeList(l);
}

TEST_F(Dlist, TheCursorFollowsAdditionsSearchesAndDeletions) {
    ktDlist* l = listOf({5, 12, 7, 14});
    EXPECT_EQ(num(ktDlistCurElement(l)), 14u);
    auto above = [](void* limit, void* e) { return int(num(e) > num(limit)); };
    EXPECT_TRUE(ktDlistSearchForKey(l, word(10), above));
    EXPECT_FALSE(ktDlistSearchForKey(l, word(20), above));
    EXPECT_EQ(num(ktDlistCurElement(l)), 12u);
    ktDlistDelCurrent(l);
    EXPECT_EQ(num(ktDlistCurElement(l)), 5u);
    ktDlistDelCurrent(l);  // now on the head sentinel: no element
    EXPECT_EQ(ktDlistCurElement(l), nullptr);
    ktDlistDelCurrent(l);  // does nothing
    EXPECT_EQ(elements(l), (Words{7, 14}));
    // A walk goes on past an element it deletes, and stops at the first zero.
    for (uintptr_t e : {14, 8, 9}) ktDlistAddTail(l, word(e));
    auto dropEven = [](void* e, void* l) {
        if (num(e) % 2 == 0) ktDlistDelCurrent(static_cast<ktDlist*>(l));
        return 1;
    };
    EXPECT_EQ(ktDlistLoop(l, dropEven, l), 1);
    EXPECT_EQ(elements(l), (Words{7, 9}));
    EXPECT_EQ(l->count, 2);
    auto stopAt7 = [](void* e, void* a, void*, void*) { return int(num(e) != 7 || !a); };
    EXPECT_EQ(ktDlistLoop3(l, stopAt7, l, nullptr, nullptr), 0);
    EXPECT_EQ(num(ktDlistCurElement(l)), 7u);
    ktDlistFreeList(l);
}

TEST_F(Dlist, ReleasedListsAreReusedSoundAndAPurgeSparesListsInUse) {
    ktDlist* a = listOf({1, 2});
    ktDlistFreeList(a);
    ktDlist* b = listOf({3, 4});
    for (int i = 0; i < 998; ++i) ktDlistAddTail(b, word(5));
    ktDlistFreeList(b);
    ktDlist* c = listOf({4, 5});
    ktDlist* fresh = ktDlistCreate();
    EXPECT_EQ(ktDlistCurElement(fresh), nullptr);
    EXPECT_EQ(fresh->count, 0);
    ktDlistFreeList(fresh);
    ktDlistRemHead(c);
    ktDlistPurge();
    ktDlistAddTail(c, word(6));
    EXPECT_EQ(elements(c), (Words{5, 6}));
    uintptr_t sum = 0;
    auto add = [](void* e, void* s) { return int(*static_cast<uintptr_t*>(s) += num(e)); };
    ktDlistDestroyList(c, add, &sum);
    EXPECT_EQ(sum, 11u);
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

TEST(PlainList, InsertsAtTheHeadOrBehindALinkAndSortsAscending) {
    std::vector<Rec> r = {{{}, 0, 1}, {{}, 0, 2}, {{}, 0, 3}};
    ktList* head = ktListSins(&r[0].link, nullptr, nullptr);
    EXPECT_EQ(ktListSins(&r[2].link, &head->next, head), &r[0].link);
    ktListSins(&r[1].link, &head->next, head);
    EXPECT_EQ(ids(head), (std::vector<int>{1, 2, 3}));
    EXPECT_EQ(sorted({{{}, 5, 5}, {{}, 3, 3}, {{}, 9, 9}, {{}, 1, 1}, {{}, 7, 7}, {{}, 2, 2}}),
              (std::vector<int>{1, 2, 3, 5, 7, 9}));
}

}  // namespace
