#include "ktsym.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "ktex.h"
#include "ktstr.h"
#include "tempdir.h"

namespace {

void* word(uintptr_t n) {
    return reinterpret_cast<void*>(n);
}
uintptr_t num(const void* p) {
    return reinterpret_cast<uintptr_t>(p);
}

// A table of integer keys that is destroyed with the test.
struct IntTable {
    ktSym* t;
    explicit IntTable(uint32_t buckets)
        : t(ktSymCreate(buckets, ktSymPtrHash, ktSymPtrCmp, ktSymReturn, ktSymDummy)) {}
    ~IntTable() { ktSymDestroy(t, ktSymDummy); }
};

int collectKey(void*, void* key, void* out, void*) {
    static_cast<std::vector<uintptr_t>*>(out)->push_back(num(key));
    return 1;
}

std::vector<uintptr_t> loopOrder(ktSym* t) {
    std::vector<uintptr_t> keys;
    EXPECT_EQ(ktSymLoop(t, collectKey, &keys, nullptr), 1);
    return keys;
}

void storeKeys(ktSym* t, uintptr_t from, uintptr_t to) {
    for (uintptr_t k = from; k <= to; ++k) ktSymStore(t, word(k), word(k));
}

TEST(TableGrowth, FiveBucketsGrowAtTheEleventhEntryTo23) {
    IntTable tab(5);
    ktSymDynamic(tab.t, 2.0, 2.0);
    storeKeys(tab.t, 1, 10);
    EXPECT_EQ(tab.t->buckets, 5u);
    ktSymStore(tab.t, word(11), word(11));
    EXPECT_EQ(tab.t->buckets, 23u);
    EXPECT_EQ(tab.t->count, 11u);
}

TEST(TableGrowth, From23BucketsThe47thEntrySkipsADivisibleCountTo97) {
    IntTable tab(23);
    ktSymDynamic(tab.t, 2.0, 2.0);
    storeKeys(tab.t, 1, 46);
    EXPECT_EQ(tab.t->buckets, 23u);
    ktSymStore(tab.t, word(47), word(47));
    // 2 x 47 = 94, made odd 95, divisible by 5: 97.
    EXPECT_EQ(tab.t->buckets, 97u);
    for (uintptr_t k = 1; k <= 47; ++k) EXPECT_EQ(num(ktSymFetch(tab.t, word(k))), k);
}

TEST(TableGrowth, RootOfLargeCountsStopsAt31So1369IsAccepted) {
    // 1369 is 37 squared; only the divisors 31 down to 2 are tried.
    IntTable tab(1);
    ktSymDynamic(tab.t, 1368.0, 1.0);
    storeKeys(tab.t, 1, 1368);
    EXPECT_EQ(tab.t->buckets, 1u);
    ktSymStore(tab.t, word(1369), word(1369));
    EXPECT_EQ(tab.t->buckets, 1369u);
}

TEST(TableGrowth, DynamicAppliesAtOnceAndGrowthReversesAChain) {
    IntTable tab(1);
    // Keys 0, 7 and 14 share one chain before and after the growth to 7.
    storeKeys(tab.t, 0, 0);
    ktSymStore(tab.t, word(7), word(7));
    ktSymStore(tab.t, word(14), word(14));
    EXPECT_EQ(loopOrder(tab.t), (std::vector<uintptr_t>{14, 7, 0}));
    ktSymDynamic(tab.t, 2.0, 2.0);  // 3 > 2 x 1: 2 x 3 = 6, odd 7
    EXPECT_EQ(tab.t->buckets, 7u);
    EXPECT_EQ(loopOrder(tab.t), (std::vector<uintptr_t>{0, 7, 14}));
    ktSymStore(tab.t, word(21), word(21));
    EXPECT_EQ(loopOrder(tab.t), (std::vector<uintptr_t>{21, 0, 7, 14}));
}

TEST(TableGrowth, ZeroBucketsIsRefused) {
    uint32_t tag = ktExCatch(
        KT_EX_ALL,
        [] {
            ktSymCreate(0, ktSymPtrHash, ktSymPtrCmp, ktSymReturn, ktSymDummy);
            return 0u;
        },
        [](uint32_t t, ktErrObject*) {
            ktExSwallow();
            return t;
        });
    EXPECT_EQ(tag, KT_EX_PRECOND);
}

TEST(TableOrder, BucketsAscendingNewestFirstWithinABucket) {
    IntTable tab(7);
    for (uintptr_t k : {3, 1, 8, 2, 15}) ktSymStore(tab.t, word(k), word(k));
    // Bucket 1 holds 1, 8, 15, newest first.
    EXPECT_EQ(loopOrder(tab.t), (std::vector<uintptr_t>{15, 8, 1, 2, 3}));
}

TEST(TableOrder, ReplacingAValueKeepsTheEntrysPlace) {
    IntTable tab(1);
    storeKeys(tab.t, 1, 3);
    ktSymStore(tab.t, word(1), word(100));
    EXPECT_EQ(loopOrder(tab.t), (std::vector<uintptr_t>{3, 2, 1}));
    EXPECT_EQ(num(ktSymFetch(tab.t, word(1))), 100u);
}

TEST(TableOrder, LoopStopsAtTheFirstZero) {
    IntTable tab(1);
    storeKeys(tab.t, 1, 5);
    int calls = 0;
    auto stopAtThree = [](void* value, void*, void* n, void*) {
        ++*static_cast<int*>(n);
        return num(value) == 3 ? 0 : 1;
    };
    EXPECT_EQ(ktSymLoop(tab.t, stopAtThree, &calls, nullptr), 0);
    EXPECT_EQ(calls, 3);  // 5, 4, 3
}

// Key routines that count their calls and keep what they saw.
struct Calls {
    int hash = 0, copy = 0, free = 0;
    std::vector<std::string> copied, freed;
};
Calls calls;

uint32_t countingHash(const void* key) {
    ++calls.hash;
    return ktSymStHash(key);
}
void* countingCopy(const void* key) {
    ++calls.copy;
    calls.copied.emplace_back(static_cast<const char*>(key));
    return ktSymStCpy(key);
}
void* countingFree(void* key) {
    ++calls.free;
    calls.freed.emplace_back(static_cast<const char*>(key));
    return ktSymStFree(key);
}

class KeyRoutines : public ::testing::Test {
protected:
    void SetUp() override {
        calls = Calls{};
        t = ktSymCreate(5, countingHash, ktStrEqu, countingCopy, countingFree);
    }
    void TearDown() override {
        if (t) ktSymDestroy(t, ktSymDummy);
    }
    ktSym* t = nullptr;
};

TEST_F(KeyRoutines, StoringAKeyTwiceKeepsOneEntryAndReturnsTheFirstValue) {
    EXPECT_EQ(ktSymStore(t, "AND2", word(1)), nullptr);
    char again[] = "AND2";  // equal text, another address
    EXPECT_EQ(num(ktSymStore(t, again, word(2))), 1u);
    EXPECT_EQ(t->count, 1u);
    EXPECT_EQ(num(ktSymFetch(t, "AND2")), 2u);
}

TEST_F(KeyRoutines, AStoreOfAPresentKeyReleasesTheOldKeyAndCopiesTheNew) {
    ktSymStore(t, "A", word(1));
    void* firstStored = t->slots[ktSymStHash("A") % 5]->key;
    ktSymStore(t, "A", word(2));
    EXPECT_EQ(calls.copy, 2);
    EXPECT_EQ(calls.free, 1);
    EXPECT_NE(t->slots[ktSymStHash("A") % 5]->key, firstStored);
}

TEST_F(KeyRoutines, AStoreMayPassTheStoredKeyItself) {
    ktSymStore(t, "A", word(1));
    void* stored = t->slots[ktSymStHash("A") % 5]->key;
    ktSymStore(t, stored, word(2));  // the old key must outlive its copy
    EXPECT_EQ(calls.copied, (std::vector<std::string>{"A", "A"}));
    EXPECT_EQ(num(ktSymFetch(t, "A")), 2u);
}

TEST_F(KeyRoutines, HashIsCalledOncePerStoreAndOncePerEntryOnGrowth) {
    ktSymDynamic(t, 2.0, 2.0);
    char key[8];
    for (int i = 0; i < 10; ++i) {
        std::snprintf(key, sizeof key, "K%d", i);
        ktSymStore(t, key, word(i));
    }
    EXPECT_EQ(calls.hash, 10);
    ktSymStore(t, "K10", word(10));  // grows: one for the store, eleven to move
    EXPECT_EQ(t->buckets, 23u);
    EXPECT_EQ(calls.hash, 10 + 1 + 11);
}

TEST_F(KeyRoutines, RemoveReleasesTheKeyAndReturnsTheValue) {
    ktSymStore(t, "A", word(7));
    ktSymStore(t, "B", word(8));
    EXPECT_EQ(num(ktSymRemove(t, "A")), 7u);
    EXPECT_EQ(calls.freed, (std::vector<std::string>{"A"}));
    EXPECT_EQ(t->count, 1u);
    EXPECT_EQ(ktSymFetch(t, "A"), nullptr);
    EXPECT_EQ(num(ktSymFetch(t, "B")), 8u);
}

TEST_F(KeyRoutines, MissingKeysGiveTheNotFoundValueAndNoSlot) {
    int sentinel;
    ktSymNotFoundValue(t, &sentinel);
    EXPECT_EQ(ktSymFetch(t, "X"), &sentinel);
    EXPECT_EQ(ktSymRemove(t, "X"), &sentinel);
    EXPECT_EQ(ktSymFetchAddr(t, "X"), nullptr);
    EXPECT_EQ(ktSymStore(t, "X", word(1)), &sentinel);
    EXPECT_EQ(calls.free, 0);
    void** slot = ktSymFetchAddr(t, "X");
    ASSERT_NE(slot, nullptr);
    *slot = word(5);
    EXPECT_EQ(num(ktSymFetch(t, "X")), 5u);
}

TEST_F(KeyRoutines, DestroyReleasesEveryKeyAndHandsOnEveryValue) {
    ktSymStore(t, "A", ktStrCpy("value a"));
    ktSymStore(t, "B", ktStrCpy("value b"));
    ktSymDestroy(t, [](void* v) { ktStrFree(static_cast<char*>(v)); });
    t = nullptr;
    EXPECT_EQ(calls.free, 2);
}

TEST(StringHash, EachBytesShiftFollowsItsPosition) {
    EXPECT_EQ(ktSymStHash(nullptr), 0u);
    EXPECT_EQ(ktSymStHash(""), 0u);
    EXPECT_EQ(ktSymStHash("a"), 97u);
    EXPECT_EQ(ktSymStHash("ab"), 97u + (98u << 7));
    EXPECT_EQ(ktSymStHash("abc"), 97u + (98u << 7) + (99u << 14));
    EXPECT_EQ(ktSymStHash("abcd"), 97u + (98u << 7) + (99u << 14) + (100u << 5));
    // Bytes above 127 count as unsigned.
    EXPECT_EQ(ktSymStHash("\xff"), 255u);
}

TEST(StringKeys, StandardRoutinesCopyAndCompareText) {
    ktSym* t = ktSymCreate(3, ktSymStHash, ktStrEqu, ktSymStCpy, ktSymStFree);
    char name[] = "MYLIB";
    ktSymStore(t, name, word(1));
    name[0] = 'X';  // the table keeps its own copy
    EXPECT_EQ(num(ktSymFetch(t, "MYLIB")), 1u);
    EXPECT_EQ(ktSymFetch(t, "mylib"), nullptr);
    EXPECT_EQ(ktSymFetch(t, "XYLIB"), nullptr);
    ktSymDestroy(t, ktSymDummy);
}

// The keyword lexer reads from a file of the test's own.
class Lexer : public ::testing::Test {
protected:
    FILE* open(const std::string& text) {
        dir.write("in.txt", text);
        f.reset(std::fopen(dir.path("in.txt").c_str(), "r"));
        return f.get();
    }
    TempDir dir;
    std::unique_ptr<FILE, int (*)(FILE*)> f{nullptr, std::fclose};
};

// Lexes the whole stream; each token as "code:text".
std::vector<std::string> lexAll(FILE* in, int size, const char* delims, const char* skips,
                                const ktTklexKeyword* keys) {
    std::vector<std::string> out;
    std::vector<char> buf(size > 0 ? size : 1);
    for (int code; (code = ktTklex(in, buf.data(), size, delims, skips, keys)) != -1;)
        out.push_back(std::to_string(code) + ":" + buf.data());
    return out;
}

TEST_F(Lexer, WithoutKeywordsEveryTokenIsZeroAndTheEndIsMinusOne) {
    FILE* in = open("entity  and2|\n");
    EXPECT_EQ(lexAll(in, 256, " |\n", " ", nullptr),
              (std::vector<std::string>{"0:entity", "0:and2", "0:|", "0:\n"}));
}

TEST_F(Lexer, DelimitersNotSkippedComeBackOneByOne) {
    FILE* in = open("a||b");
    EXPECT_EQ(lexAll(in, 256, "|", "", nullptr),
              (std::vector<std::string>{"0:a", "0:|", "0:|", "0:b"}));
}

TEST_F(Lexer, SkipCharactersCountOnlyAheadOfAToken) {
    // The blank is skipped before a token but does not end one.
    FILE* in = open("  two words;");
    EXPECT_EQ(lexAll(in, 256, ";", " ", nullptr), (std::vector<std::string>{"0:two words", "0:;"}));
}

TEST_F(Lexer, ALongWordIsCutToTheBufferAndItsRestDropped) {
    FILE* in = open("abcdefgh,abcd,abcde");
    EXPECT_EQ(lexAll(in, 5, ",", "", nullptr),
              (std::vector<std::string>{"0:abcd", "0:,", "0:abcd", "0:,", "0:abcd"}));
}

TEST_F(Lexer, KeywordsMatchByPrefixDownToTheirMinimumLength) {
    ktTklexKeyword generic{nullptr, "GENERIC", 3, 2};
    ktTklexKeyword gen{&generic, "GENERATE", 4, 0};  // code 0 never matches
    ktTklexKeyword header{&gen, "HEADER", 1, 1};
    FILE* in = open("H HEAD HEADERS GE GEN GENERIC GENE generic");
    EXPECT_EQ(lexAll(in, 256, " ", " ", &header),
              (std::vector<std::string>{"1:H", "1:HEAD", "0:HEADERS", "0:GE", "2:GEN", "2:GENERIC",
                                        "2:GENE", "0:generic"}));
}

TEST_F(Lexer, TheEndOfTheStreamEndsAWordAndThenGivesMinusOne) {
    FILE* in = open("last");
    char buf[16];
    EXPECT_EQ(ktTklex(in, buf, sizeof buf, " ", " ", nullptr), 0);
    EXPECT_STREQ(buf, "last");
    EXPECT_EQ(ktTklex(in, buf, sizeof buf, " ", " ", nullptr), -1);
    FILE* blank = open("   \t ");  // only skip characters left: the end
    EXPECT_EQ(ktTklex(blank, buf, sizeof buf, "\n", " \t", nullptr), -1);
}

}  // namespace
