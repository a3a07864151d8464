#include "iwmem.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "iwfixture.h"
#include "ktmem.h"

namespace {

bool aligned(const void* p) {
    return reinterpret_cast<uintptr_t>(p) % 8 == 0;
}

TEST(Pools, PiecesOfEightAndADedicatedBlockForALargeRequest) {
    int pool = iwbinit(8192);
    auto* a = static_cast<char*>(iwballoc(pool, 1));
    auto* b = static_cast<char*>(iwballoc(pool, 13));
    EXPECT_TRUE(aligned(a) && aligned(b));
    std::memset(b, 'b', 13);
    // Larger than the block size: a block of its own, whole and writable.
    auto* big = static_cast<char*>(iwballoc(pool, 40244));
    std::memset(big, 'x', 40248);
    auto* c = static_cast<char*>(iwballoc(pool, 8));
    std::memset(c, 'c', 8);
    EXPECT_EQ(big[40247], 'x');
    EXPECT_EQ(b[12], 'b');
    // Many blocks' worth, all distinct.
    for (int i = 0; i < 3000; ++i) std::memset(iwballoc(pool, 24), i & 0xff, 24);
    iwbfree(pool);
    iwbfree(pool);  // unknown now: nothing happens
    EXPECT_GT(iwbinit(64), pool);
}

// The heap refuses blocks above a size while a guard lives.
struct ScarceHeap {
    static inline size_t limit = 0;
    ktMemHeapTB saved = ktMem_HeapV;
    explicit ScarceHeap(size_t n) {
        limit = n;
        ktMem_HeapV.malloc = [](size_t size) { return size > limit ? nullptr : ::malloc(size); };
    }
    ~ScarceHeap() { ktMem_HeapV = saved; }
};

TEST(Pools, ABlockThatCantBeHadIsTriedAtHalfItsSize) {
    int pool = iwbinit(8192);
    {
        ScarceHeap heap(3000);
        char* p = static_cast<char*>(iwballoc(pool, 1000));
        std::memset(p, 1, 1000);
        p = static_cast<char*>(iwballoc(pool, 1500));
        std::memset(p, 2, 1500);
    }
    iwbfree(pool);
    EXPECT_EXIT(
        {
            ScarceHeap heap(100);
            iwballoc(iwbinit(8192), 200);
        },
        ::testing::ExitedWithCode(3), "\\*\\*\\* Out of Memory \\*\\*\\*");
}

using Scratch = DatabaseTest;

TEST_F(Scratch, BuffersStartAndEndWithANullAndAreGivenBackOnce) {
    open();
    for (int round = 0; round < 2; ++round) {  // the second may be the first one again
        auto* a = static_cast<char*>(iwqkalloc(16384));
        EXPECT_EQ(a[0], 0);
        EXPECT_EQ(a[16383], 0);
        std::memset(a, 'a', 16384);
        iwqkfree(a);
    }
    EXPECT_EQ(messages(), "");
    auto* again = static_cast<char*>(iwqkalloc(256));
    iwqkfree(again);
    iwqkfree(again);
    char foreign[8];
    iwqkfree(foreign);
    EXPECT_EQ(messages(),
              "larkmoor: Warning 217:  A scratch buffer was given back twice.\n"
              "larkmoor: Error 251:  A pointer given back as a scratch buffer is none of the "
              "scratch buffers.\n");
    EXPECT_EQ(iwmsgcount(2), 1);
    EXPECT_EQ(iwmsgcount(4), 1);
    iwqkpurge();
}

TEST_F(Scratch, AnUnknownPoolEndsTheRunWithMessage400) {
    open();
    int unknown = Idatamem + 100;
    EXPECT_EXIT(
        {
            iwmsgsetup(7, stderr, "%s");
            iwballoc(unknown, 8);
        },
        ::testing::ExitedWithCode(3),
        "larkmoor: Error 400:  Memory pool " + std::to_string(unknown) + " does not exist");
}

}  // namespace
