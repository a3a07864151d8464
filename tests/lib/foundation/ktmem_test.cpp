#include "ktmem.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "freshprocess.h"
#include "kterr.h"
#include "ktlib_msg.h"
#include "ktmsg.h"
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

TEST_F(FreshProcess, ChunkSizeComesFromTheEnvironmentWithinItsLimits) {
    struct Case {
        const char* env;
        size_t chunk;
        const char* warning;
    };
    const Case cases[] = {
        {"KT_BLOCKSIZE=4096", 4096, ""},
        {"KT_BLOCKSIZE=lots", 32000, ""},
        {"KT_BLOCKSIZE=100", 160, "KT_BLOCKSIZE=100 is .* chunks of 160 bytes"},
        {"KT_BLOCKSIZE=1001", 1008, "KT_BLOCKSIZE=1001 is .* chunks of 1008 bytes"},
        {"KT_BLOCKSIZE=-8", 160, "KT_BLOCKSIZE=-8 is .* chunks of 160 bytes"},
        {"KT_BLOCKSIZE=99999999999999999999", 1048576,
         "KT_BLOCKSIZE=9+ is .* chunks of 1048576 bytes"},
    };
    for (const Case& c : cases)
        EXPECT_EXIT(
            {
                setEnv({c.env, "KDIR=" ENTGEN_SHARE_DIR});
                TestHeap heap;
                // The first records are taken for a report, which the
                // warning goes ahead of and leaves as it was.
                ktErrReportBuild(nullptr, nullptr, ktMsgFile(), KTM_MSG_BADHANDLE);
                // Chunks have the size in force, from the first on: the
                // warning's own records must not come from a default chunk.
                auto taken = [](size_t n) { return std::ranges::count(sizesTaken, n) > 0; };
                CHILD_CHECK(taken(c.chunk));
                CHILD_CHECK(c.chunk == 32000 || !taken(32000));
                std::exit(0);
            },
            ExitedWithCode(0),
            std::string("^") +
                (*c.warning ? std::string("ktlib: Warning 1201:  ") + c.warning + "\n" : "") +
                "ktlib: Error 1020:  The message file handle is not that of an open message "
                "file.\n$")
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
