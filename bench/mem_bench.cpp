// What the string pool and the free lists save over the platform's heap:
// each round takes a batch of blocks of one size and gives them all back,
// as a reader of names or a builder of records does.
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "ktmem.h"
#include "ktstr.h"

namespace {

constexpr int kBatch = 1000;

void PooledStrings(benchmark::State& state) {
    std::string text(static_cast<size_t>(state.range(0)), 'n');
    char* held[kBatch];
    for (auto _ : state) {
        for (char*& s : held) s = ktStrCpy(text.c_str());
        benchmark::DoNotOptimize(held);
        for (char* s : held) ktStrFree(s);
    }
    state.SetItemsProcessed(state.iterations() * kBatch);
}

void HeapStrings(benchmark::State& state) {
    std::string text(static_cast<size_t>(state.range(0)), 'n');
    char* held[kBatch];
    for (auto _ : state) {
        for (char*& s : held) s = strdup(text.c_str());
        benchmark::DoNotOptimize(held);
        for (char* s : held) std::free(s);
    }
    state.SetItemsProcessed(state.iterations() * kBatch);
}

void FreeListRecords(benchmark::State& state) {
    auto size = static_cast<size_t>(state.range(0));
    void* held[kBatch];
    for (auto _ : state) {
        for (void*& p : held) p = ktMemFlAlloc(size, "bench");
        benchmark::DoNotOptimize(held);
        for (void* p : held) ktMemFlFree(p, size);
    }
    state.SetItemsProcessed(state.iterations() * kBatch);
}

void HeapRecords(benchmark::State& state) {
    auto size = static_cast<size_t>(state.range(0));
    void* held[kBatch];
    for (auto _ : state) {
        for (void*& p : held) p = std::malloc(size);
        benchmark::DoNotOptimize(held);
        for (void* p : held) std::free(p);
    }
    state.SetItemsProcessed(state.iterations() * kBatch);
}

}  // namespace

// Text lengths: a pin name, a path component, the longest pooled slot, a
// large string with a block of its own.
BENCHMARK(PooledStrings)->Arg(6)->Arg(24)->Arg(61)->Arg(200);
BENCHMARK(HeapStrings)->Arg(6)->Arg(24)->Arg(61)->Arg(200);
// Record sizes: a list cell, a symbol-table entry, the largest listed size.
BENCHMARK(FreeListRecords)->Arg(16)->Arg(48)->Arg(160);
BENCHMARK(HeapRecords)->Arg(16)->Arg(48)->Arg(160);

int main(int argc, char** argv) {
    // A batch given back at the top of the heap would otherwise go back to
    // the system and fault in again on the next round, and the figures
    // would time the kernel and the order of the runs, not the allocators.
    mallopt(M_TRIM_THRESHOLD, 256 * 1024 * 1024);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
