#include "ktsym.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "ktstr.h"

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
    void store(std::initializer_list<uintptr_t> keys) {
        for (uintptr_t k : keys) ktSymStore(t, word(k), word(k));
    }
    std::vector<uintptr_t> order() {
        std::vector<uintptr_t> keys;
        auto collect = [](void*, void* key, void* out, void*) {
            static_cast<std::vector<uintptr_t>*>(out)->push_back(num(key));
            return 1;
        };
        EXPECT_EQ(ktSymLoop(t, collect, &keys, nullptr), 1);
        return keys;
    }
};

TEST(TableGrowth, NewSizeIsOddAndHasNoDivisorUpTo31) {
    struct Case {
        uint32_t buckets;
        double maxLoad, growFactor;
        uintptr_t grow;  // the entry that makes the table grow
        uint32_t after;
    };
    const Case cases[] = {
        {5, 2.0, 2.0, 11, 23},
        {23, 2.0, 2.0, 47, 97},        // 2 x 47 = 94, made odd 95, divisible by 5: 97
        {1, 1368.0, 1.0, 1369, 1369},  // 37 squared: only divisors 31 down to 2 are tried
    };
    for (const Case& c : cases) {
        IntTable tab(c.buckets);
        ktSymDynamic(tab.t, c.maxLoad, c.growFactor);
        for (uintptr_t k = 1; k < c.grow; ++k) tab.store({k});
        EXPECT_EQ(tab.t->buckets, c.buckets);
        tab.store({c.grow});
        EXPECT_EQ(tab.t->buckets, c.after) << c.grow;
        for (uintptr_t k = 1; k <= c.grow; ++k) ASSERT_EQ(num(ktSymFetch(tab.t, word(k))), k);
    }
}

TEST(TableOrder, BucketsAscendingNewestFirstWithinABucketAndGrowthReversesAChain) {
    IntTable tab(7);
    tab.store({3, 1, 8, 2, 15});
    ktSymStore(tab.t, word(1), word(100));  // a new value keeps the entry's place
    EXPECT_EQ(tab.order(), (std::vector<uintptr_t>{15, 8, 1, 2, 3}));
    EXPECT_EQ(num(ktSymFetch(tab.t, word(1))), 100u);
    IntTable one(1);
    // Keys 0, 7 and 14 share one chain before and after the growth to 7.
    one.store({0, 7, 14});
    EXPECT_EQ(one.order(), (std::vector<uintptr_t>{14, 7, 0}));
    ktSymDynamic(one.t, 2.0, 2.0);  // 3 > 2 x 1: 2 x 3 = 6, odd 7; at once
    EXPECT_EQ(one.t->buckets, 7u);
    EXPECT_EQ(one.order(), (std::vector<uintptr_t>{0, 7, 14}));
    one.store({21});
    EXPECT_EQ(one.order(), (std::vector<uintptr_t>{21, 0, 7, 14}));
}

// Key routines that count their calls and keep what they saw.
using Keys = std::vector<std::string>;
struct Calls {
    int hash = 0;
    Keys copied, freed;
} calls;

uint32_t countingHash(const void* key) {
    ++calls.hash;
    return ktSymStHash(key);
}
void* countingCopy(const void* key) {
    calls.copied.emplace_back(static_cast<const char*>(key));
    return ktSymStCpy(key);
}
void* countingFree(void* key) {
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
    void* storedKey(const char* key) { return t->slots[ktSymStHash(key) % 5]->key; }
    ktSym* t = nullptr;
};

TEST_F(KeyRoutines, CopyOnEveryStoreReleaseOnReplaceAndRemoveHashOncePerEntry) {
    ktSymDynamic(t, 2.0, 2.0);
    char name[] = "AND2";
    EXPECT_EQ(ktSymStore(t, name, word(1)), nullptr);
    name[0] = 'X';  // the table keeps its own copy
    void* first = storedKey("AND2");
    EXPECT_EQ(num(ktSymStore(t, "AND2", word(2))), 1u);
    EXPECT_NE(storedKey("AND2"), first);
    // The stored key itself may be passed: the old key must outlive its copy.
    ktSymStore(t, storedKey("AND2"), word(3));
    EXPECT_EQ(calls.copied, (Keys{"AND2", "AND2", "AND2"}));
    EXPECT_EQ(calls.freed, (Keys{"AND2", "AND2"}));
    EXPECT_EQ(ktSymFetch(t, "and2"), nullptr);
    EXPECT_EQ(num(ktSymRemove(t, "AND2")), 3u);
    EXPECT_EQ(calls.freed.size(), 3u);
    EXPECT_EQ(t->count, 0u);
    calls.hash = 0;
    for (int i = 0; i < 10; ++i) ktSymStore(t, ("K" + std::to_string(i)).c_str(), word(i));
    EXPECT_EQ(calls.hash, 10);
    ktSymStore(t, "K10", word(10));  // grows: one for the store, eleven to move
    EXPECT_EQ(t->buckets, 23u);
    EXPECT_EQ(calls.hash, 10 + 1 + 11);
}

TEST_F(KeyRoutines, MissingKeysGiveTheNotFoundValueAndDestroyReleasesAll) {
    int sentinel;
    ktSymNotFoundValue(t, &sentinel);
    EXPECT_EQ(ktSymFetch(t, "A"), &sentinel);
    EXPECT_EQ(ktSymRemove(t, "A"), &sentinel);
    EXPECT_EQ(ktSymFetchAddr(t, "A"), nullptr);
    EXPECT_EQ(ktSymStore(t, "A", ktStrCpy("value a")), &sentinel);
    ktSymDestroy(t, [](void* v) { ktStrFree(static_cast<char*>(v)); });
    t = nullptr;
    EXPECT_EQ(calls.freed, Keys{"A"});
}

TEST(StringHash, EachBytesShiftFollowsItsPosition) {
    EXPECT_EQ(ktSymStHash(nullptr), 0u);
    EXPECT_EQ(ktSymStHash(""), 0u);
    EXPECT_EQ(ktSymStHash("abcd"), 97u + (98u << 7) + (99u << 14) + (100u << 5));
    EXPECT_EQ(ktSymStHash("\xff"), 255u);  // bytes above 127 count as unsigned
}

// Each token of a whole stream as "code:text".
std::vector<std::string> lexAll(const char* text, int size, const char* delims, const char* skips,
                                const ktTklexKeyword* keys = nullptr) {
    std::unique_ptr<FILE, int (*)(FILE*)> in{std::tmpfile(), std::fclose};
    std::fputs(text, in.get());
    std::rewind(in.get());
    std::vector<std::string> out;
    std::vector<char> buf(size);
    for (int code; (code = ktTklex(in.get(), buf.data(), size, delims, skips, keys)) != -1;)
        out.push_back(std::to_string(code) + ":" + buf.data());
    return out;
}

TEST(Lexer, DelimitersSkipsAndCuts) {
    using V = std::vector<std::string>;
    EXPECT_EQ(lexAll("entity  and2|\n", 256, " |\n", " "),
              (V{"0:entity", "0:and2", "0:|", "0:\n"}));
    EXPECT_EQ(lexAll("a||b", 256, "|", ""), (V{"0:a", "0:|", "0:|", "0:b"}));
    // A skip character is skipped ahead of a token but doesn't end one.
    EXPECT_EQ(lexAll("  two words;", 256, ";", " "), (V{"0:two words", "0:;"}));
    // A long word is cut to the buffer and its rest dropped.
    EXPECT_EQ(lexAll("abcdefgh,abcd,abcde", 5, ",", ""),
              (V{"0:abcd", "0:,", "0:abcd", "0:,", "0:abcd"}));
    EXPECT_EQ(lexAll("last", 16, " ", " "), V{"0:last"});
    EXPECT_EQ(lexAll("   \t ", 16, "\n", " \t"), V{});
}

TEST(Lexer, KeywordsMatchByPrefixDownToTheirMinimumLength) {
    ktTklexKeyword generic{nullptr, "GENERIC", 3, 2};
    ktTklexKeyword gen{&generic, "GENERATE", 4, 0};  // code 0 never matches
    ktTklexKeyword header{&gen, "HEADER", 1, 1};
    EXPECT_EQ(lexAll("H HEAD HEADERS GE GEN GENERIC GENE generic", 256, " ", " ", &header),
              (std::vector<std::string>{"1:H", "1:HEAD", "0:HEADERS", "0:GE", "2:GEN", "2:GENERIC",
                                        "2:GENE", "0:generic"}));
}

}  // namespace
