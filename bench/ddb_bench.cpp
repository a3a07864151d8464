// The symbol reader and the bus iterator. A read is timed from the open
// file to the ordered pins, for a symbol of 1,000 and of 10,000 pins: the
// cost per pin should stay flat. Under -s a bus pin of up to 32,767 members
// becomes that many pins. The bare iterator is timed over the same widths,
// and counts what it takes from the heap for a whole expansion, which is
// one node whatever the width.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "iwobj.h"
#include "iwrdsym.h"
#include "iwsession.h"
#include "kspath.h"
#include "kssrch.h"
#include "ktbus.h"
#include "ktmem.h"

namespace {

namespace fs = std::filesystem;

// Texts joined piece by piece (the optimiser warns falsely on "a" + b).
template <typename... Pieces>
std::string join(const Pieces&... pieces) {
    std::string out;
    (out.append(pieces), ...);
    return out;
}

// A library "lib" in a directory of its own, made once for all benchmarks.
const std::string& library() {
    static std::string root = [] {
        std::string tmpl = (fs::temp_directory_path() / "entgen-bench-XXXXXX").string();
        if (!mkdtemp(tmpl.data())) std::abort();
        fs::create_directories(join(tmpl, "/lib/sym"));
        std::ofstream(join(tmpl, "/scrivet.ini")) << "DIR [p] ./lib (lib)\n";
        fs::current_path(tmpl);
        setenv("KDIR", ENTGEN_SHARE_DIR, 1);
        ksGetdefReset();
        ksKdirReset();
        std::atexit([] { fs::remove_all(root); });
        return tmpl;
    }();
    return root;
}

// Writes lib/sym/<name>.1 with `pins` pins named `prefix` + number, each
// with two attributes, unless `bus` names one bus pin instead.
std::string writeSymbol(const std::string& name, int pins, const std::string& bus = "") {
    std::ofstream f(join(library(), "/lib/sym/", name, ".1"));
    f << "V 5\nY 1\nU 0 0 8 0 1 0 VHDL_COM_1=Benchmark symbol\n";
    auto pin = [&](const std::string& label) {
        f << "P 1 0 0 0 0 1\nL 1 0 0 8 0 1 0 0 " << label
          << "\nA 1 0 8 0 1 0 PINTYPE=IN\nA 1 0 8 0 1 0 VHDL_TYPE=std_logic\n";
    };
    if (!bus.empty()) pin(bus);
    for (int i = 0; bus.empty() && i < pins; ++i) pin(join("P", std::to_string(i)));
    f << "E\n";
    return join("lib:", name, ".1");
}

void read(benchmark::State& state, const std::string& symbol, bool expand) {
    int pins = 0;
    for (auto _ : state) {
        state.PauseTiming();
        iwinit();
        if (expand) iwexpbus();
        std::string name = symbol;
        state.ResumeTiming();
        iwsym* s = iwrdsym(name.data());
        benchmark::DoNotOptimize(s);
        state.PauseTiming();
        pins = s ? s->pincount : -1;
        iwfinish();
        state.ResumeTiming();
    }
    state.counters["pins"] = pins;
    state.SetItemsProcessed(state.iterations() * pins);
}

void ReadSymbol(benchmark::State& state) {
    int pins = static_cast<int>(state.range(0));
    read(state, writeSymbol(join("pins", std::to_string(pins)), pins), false);
}

void ExpandBusPinUnderS(benchmark::State& state) {
    int width = static_cast<int>(state.range(0));
    std::string bus = join("D[", std::to_string(width - 1), ":0]");
    read(state, writeSymbol(join("bus", std::to_string(width)), 0, bus), true);
}

// Counts what the heap is asked for while a guard lives.
struct HeapCounter {
    static inline long blocks = 0;
    ktMemHeapTB saved = ktMem_HeapV;
    HeapCounter() {
        blocks = 0;
        ktMem_HeapV.malloc = [](size_t n) { return ++blocks, std::malloc(n); };
        ktMem_HeapV.calloc = [](size_t c, size_t n) { return ++blocks, std::calloc(c, n); };
    }
    ~HeapCounter() { ktMem_HeapV = saved; }
};

void BusIterator(benchmark::State& state) {
    int width = static_cast<int>(state.range(0));
    std::string text = join("D[", std::to_string(width - 1), ":0]");
    char out[256];
    long members = 0, blocks = 0;
    for (auto _ : state) {
        HeapCounter heap;
        members = 0;
        for (vecrec* it = ktBusExpand(nullptr, text.c_str(), out, sizeof out); it;
             it = ktBusExpand(it, text.c_str(), out, sizeof out))
            ++members;
        benchmark::DoNotOptimize(out);
        blocks = HeapCounter::blocks;
    }
    state.counters["members"] = static_cast<double>(members);
    state.counters["heap_blocks"] = static_cast<double>(blocks);
    state.counters["node_bytes"] = sizeof(vecrec);
    state.SetItemsProcessed(state.iterations() * members);
}

}  // namespace

BENCHMARK(ReadSymbol)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);
BENCHMARK(ExpandBusPinUnderS)->Arg(1024)->Arg(32767)->Unit(benchmark::kMillisecond);
BENCHMARK(BusIterator)->Arg(1024)->Arg(32767)->Unit(benchmark::kMicrosecond);

BENCHMARK_MAIN();
