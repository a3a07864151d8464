#include "ktsym.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
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

TEST(TableGrowth, EveryEntryStaysFoundAcrossGrowth) {
    for (uint32_t buckets : {1u, 5u, 23u}) {
        IntTable tab(buckets);
        ktSymDynamic(tab.t, 2.0, 2.0);
        for (uintptr_t k = 1; k <= 200; ++k) tab.store({k});
        ktSymStore(tab.t, word(1), word(100));  // a new value for a key that is there
        EXPECT_EQ(tab.order().size(), 200u);
        EXPECT_EQ(num(ktSymFetch(tab.t, word(1))), 100u);
        for (uintptr_t k = 2; k <= 200; ++k) ASSERT_EQ(num(ktSymFetch(tab.t, word(k))), k);
    }
}

// A table of string keys, which it copies and releases itself.
class KeyRoutines : public ::testing::Test {
protected:
    void SetUp() override { t = ktSymCreate(5, ktSymStHash, ktStrEqu, ktSymStCpy, ktSymStFree); }
    void TearDown() override {
        if (t) ktSymDestroy(t, ktSymDummy);
    }
    // The key as the table holds it.
    void* storedKey(const char* key) {
        void* found = nullptr;
        auto same = [](void*, void* k, void* want, void* out) {
            if (ktStrEqu(static_cast<char*>(k), static_cast<char*>(want)))
                *static_cast<void**>(out) = k;
            return 1;
        };
        ktSymLoop(t, same, const_cast<char*>(key), &found);
        return found;
    }
    ktSym* t = nullptr;
};

TEST_F(KeyRoutines, TheTableKeepsItsOwnCopyOfEachKey) {
    char name[] = "AND2";
    EXPECT_EQ(ktSymStore(t, name, word(1)), nullptr);
    name[0] = 'X';
    EXPECT_EQ(num(ktSymStore(t, "AND2", word(2))), 1u);
    // The stored key itself may be passed: the old key must outlive its copy.
    ktSymStore(t, storedKey("AND2"), word(3));
    EXPECT_EQ(ktSymFetch(t, "and2"), nullptr);
    EXPECT_EQ(num(ktSymRemove(t, "AND2")), 3u);
    EXPECT_EQ(ktSymFetch(t, "AND2"), nullptr);
}

TEST_F(KeyRoutines, MissingKeysGiveTheNotFoundValueAndDestroyReleasesAll) {
    int sentinel;
    ktSymNotFoundValue(t, &sentinel);
    EXPECT_EQ(ktSymFetch(t, "A"), &sentinel);
    EXPECT_EQ(ktSymRemove(t, "A"), &sentinel);
    EXPECT_EQ(ktSymFetchAddr(t, "A"), nullptr);
    EXPECT_EQ(ktSymStore(t, "A", ktStrCpy("value a")), &sentinel);
    // Under the sanitizers a key or value left behind is a leak.
    ktSymDestroy(t, [](void* v) { ktStrFree(static_cast<char*>(v)); });
    t = nullptr;
}

// Each token of a whole stream as "code:text".
std::vector<std::string> lexAll(std::string_view text, int size, const char* delims,
                                const char* skips, const ktTklexKeyword* keys = nullptr) {
    std::unique_ptr<FILE, int (*)(FILE*)> in{std::tmpfile(), std::fclose};
    std::fwrite(text.data(), 1, text.size(), in.get());
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
    // Zero bytes are no characters: not ahead of a token, not inside one.
    EXPECT_EQ(lexAll(std::string_view("\0 \0a\0b\0 \0", 9), 16, " ", " "), V{"0:ab"});
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
