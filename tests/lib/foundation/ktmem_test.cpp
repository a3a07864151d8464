#include "ktmem.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "freshprocess.h"
#include "ktstr.h"

namespace {

using ::testing::ExitedWithCode;
using ::testing::KilledBySignal;

// A platform heap that counts and refuses on demand.
int refusals = 0;  // mallocs still to refuse; -1 for all
std::vector<size_t> sizesTaken;

void* testMalloc(size_t n) {
    if (refusals != 0) {
        if (refusals > 0) --refusals;
        return nullptr;
    }
    sizesTaken.push_back(n);
    return std::malloc(n);
}

struct TestHeap {
    ktMemHeapTB saved = ktMem_HeapV;
    TestHeap() { ktMem_HeapV.malloc = testMalloc; }
    ~TestHeap() { ktMem_HeapV = saved; }
};

void sayPurge() {
    std::fputs("purge\n", stderr);
}
void greedyPurge() {
    std::fputs("purge\n", stderr);
    ktMemMalloc(1, "greedy");
}

TEST(FreeListReuse, LastFreedComesBackFirstWithinItsSizeClass) {
    void* a = ktMemFlAlloc(24, "rec");
    void* b = ktMemFlAlloc(24, "rec");
    ktMemFlFree(a, 24);
    ktMemFlFree(b, 24);
    void* other = ktMemFlAlloc(32, "rec");
    EXPECT_NE(other, b);
    ktMemFlFree(other, 32);
    EXPECT_EQ(ktMemFlAlloc(24, "rec"), b);
    EXPECT_EQ(ktMemFlAlloc(17, "rec"), a);  // rounds to 24 as well
    void* r0 = ktMemFlAlloc(0, "rec");
    ktMemFlFree(r0, 0);
    EXPECT_EQ(ktMemFlAlloc(1, "rec"), r0);  // 0 bytes is an 8-byte record
    ktMemFlFree(r0, 8);
    ktMemFlFree(a, 24);
    ktMemFlFree(b, 24);

    // Records up to 160 bytes come from the lists, larger ones from the heap.
    void* top = ktMemFlAlloc(160, "rec");
    ktMemFlFree(top, 160);
    TestHeap heap;
    sizesTaken.clear();
    EXPECT_EQ(ktMemFlAlloc(160, "rec"), top);
    void* big = ktMemFlAlloc(161, "rec");
    EXPECT_EQ(sizesTaken, std::vector<size_t>{168});
    ktMemFlFree(big, 161);
    ktMemFlFree(top, 160);
}

TEST_F(FreshProcess, ChunkRemainderServesRecordsOfItsOwnSize) {
    EXPECT_EXIT(
        {
            setEnv({"KT_BLOCKSIZE=200"});
            auto* first = static_cast<char*>(ktMemFlAlloc(160, "rec"));
            auto* next = static_cast<char*>(ktMemFlAlloc(48, "rec"));  // 40 left: new chunk
            CHILD_CHECK(next != first + 160);
            CHILD_CHECK(ktMemFlAlloc(40, "rec") == first + 160);
            CHILD_CHECK(ktMemFlAlloc(152, "rec") == next + 48);
            std::exit(0);
        },
        ExitedWithCode(0), "");
}

TEST_F(FreshProcess, ChunkSizeComesFromTheEnvironmentWithinItsLimits) {
    struct Case {
        const char* env;
        size_t chunk;
        const char* warning;
    };
    const Case cases[] = {{"KT_BLOCKSIZE=4096", 4096, "^$"},
                          {"KT_BLOCKSIZE=lots", 32000, "^$"},
                          {"KT_BLOCKSIZE=100", 160, "KT_BLOCKSIZE=100 is not"},
                          {"KT_BLOCKSIZE=1001", 1008, "KT_BLOCKSIZE=1001 is not"}};
    for (const Case& c : cases)
        EXPECT_EXIT(
            {
                setEnv({c.env, "KDIR=" ENTGEN_SHARE_DIR});
                TestHeap heap;
                ktMemFlAlloc(8, "rec");
                // Chunks have the size in force, from the first on: the
                // warning's own records must not come from a default chunk.
                auto taken = [](size_t n) { return std::ranges::count(sizesTaken, n) > 0; };
                CHILD_CHECK(taken(c.chunk));
                CHILD_CHECK(c.chunk == 32000 || !taken(32000));
                std::exit(0);
            },
            ExitedWithCode(0), c.warning)
            << c.env;
}

// A heap that refuses `refused` times (-1: always) behind `purge`.
void allocateAgainst(int refused, void (*purge)()) {
    TestHeap heap;
    ktAddPurgeRoutine(purge);
    refusals = refused;
    void* p = ktMemMalloc(10, "x");
    CHILD_CHECK(p != nullptr);
    ktMemFree(p);
    std::exit(0);
}

TEST_F(FreshProcess, FailedAllocationIsRetriedAfterTwoPurgesThenEndsTheProgram) {
    EXPECT_EXIT(allocateAgainst(2, sayPurge), ExitedWithCode(0), "^purge\npurge\n$");
    EXPECT_EXIT(allocateAgainst(-1, sayPurge), ExitedWithCode(3),
                "^purge\npurge\nOut of memory\\.\n$");
    // A purge routine that runs out itself ends the program at once.
    EXPECT_EXIT(allocateAgainst(-1, greedyPurge), ExitedWithCode(3), "^purge\nOut of memory\\.\n$");
}

TEST_F(FreshProcess, GuardsCatchWritesJustOutsideTheRequest) {
    auto withDebug = [] {
        setEnv({"KT_MEMDBG=1"});
        noCoreFile();
    };
    const std::string guard = "f0a55a0f 83523b6c";
    EXPECT_EXIT(
        {
            withDebug();
            auto* p = static_cast<char*>(ktMemMalloc(13, "overrun"));
            std::memcpy(p, "ABCDEFGHIJKL\001x", 14);  // one byte past an odd size
            ktMemFree(p);
        },
        KilledBySignal(SIGABRT),
        "\nError:  memory violation for type overrun, size=13:\n    First 2 longs: " + guard +
            " should be " + guard + "\n     Last 2 longs: 78a55a0f 83523b6c should be " + guard +
            "\n    Ascii dump of first 75 bytes:\n    ABCDEFGHIJKL\\.\n");
    EXPECT_EXIT(
        {
            withDebug();
            auto* p = static_cast<char*>(ktMemMalloc(8, "underrun"));
            p[-1] = 0;
            ktMemFree(p);
        },
        KilledBySignal(SIGABRT), "First 2 longs: f0a55a0f 83523b00 should be");
    EXPECT_EXIT(
        {
            withDebug();
            int local = 0;
            ktMemFree(&local);
        },
        KilledBySignal(SIGABRT), "Attempt to free unallocated space - [0-9A-F]+");
}

TEST_F(FreshProcess, ReallocKeepsContentsAndMovesTheAccountAndTheGuard) {
    EXPECT_EXIT(
        {
            setEnv({"KT_MEMDBG=1"});
            noCoreFile();
            auto* p = static_cast<char*>(ktMemMalloc(10, "before"));
            std::memcpy(p, "0123456789", 10);
            auto* q = static_cast<char*>(ktMemRealloc(p, 100, "after"));
            CHILD_CHECK(std::memcmp(q, "0123456789", 10) == 0);
            ktMemPrintUsage(gatherLine);
            CHILD_CHECK(hasLine("Maximum memory usage=100, current memory usage=100"));
            CHILD_CHECK(hasLine("               after:    100 (100%) " + std::string(100, '*')));
            CHILD_CHECK(usageLines().size() == 2);
            std::memset(q + 10, 'a', 90);  // where the old rear guard stood
            ktMem_DbgTestMemory();
            std::fputs("inside is fine\n", stderr);
            q[100] = 'a';
            // The test of all live blocks finds it without a release.
            ktMem_DbgTestMemory();
        },
        KilledBySignal(SIGABRT),
        "inside is fine\n.*violation for type after, size=100:\n.*first 75 bytes:\n    "
        "0123456789a{65}\n$");
}

TEST_F(FreshProcess, UsageReportCountsLiveBytesPerTag) {
    EXPECT_EXIT(
        {
            setEnv({"KT_MEMDBG=1"});
            void* a = ktMemMalloc(100, "alpha");
            void* b = ktMemCalloc(3, 100, "beta");
            ktMemFree(ktMemMalloc(500, "alpha"));
            void* c = ktMemFlAlloc(161, nullptr);  // no free lists here: 168 bytes
            ktMemPrintUsage(gatherLine);
            CHILD_CHECK(hasLine("Maximum memory usage=900, current memory usage=568"));
            CHILD_CHECK(hasLine("               alpha:    100 (17%) " + std::string(17, '*')));
            CHILD_CHECK(hasLine("                beta:    300 (52%) " + std::string(52, '*')));
            CHILD_CHECK(hasLine("           (unknown):    168 (29%) " + std::string(29, '*')));
            ktMemFree(a);
            ktMemFree(b);
            ktMemFlFree(c, 161);
            void* tiny = ktMemMalloc(3, "tiny");  // up to 100 bytes: a star per byte
            usageLines().clear();
            ktMemPrintUsage(gatherLine);
            CHILD_CHECK(hasLine("                tiny:      3 (100%) ***"));
            ktMemFree(tiny);
            std::exit(0);
        },
        ExitedWithCode(0), "");
}

}  // namespace
