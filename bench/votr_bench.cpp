// The collision test of a library run: after each symbol its names join
// the run's table and the whole table is tested again. The time is that of
// the tests alone, summed over the run, so a cost that grows with the table
// shows as a total that grows faster than the number of symbols. Each
// symbol brings eleven new names, bus subscripts among them; the first
// brings a reserved word and two spellings of one name, whose reports every
// later test repeats.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "entgen_msg.h"
#include "iwobj.h"
#include "kterr.h"
#include "ktmsg.h"
#include "ktstr.h"
#include "vgstruct.h"
#include "vomain.h"
#include "votr.h"

namespace {

constexpr int kPinsPerSymbol = 10;

void addSymbol(int s) {
    char name[64];
    std::snprintf(name, sizeof name, "CELL%d", s);
    votr(name);
    for (int p = 0; p < kPinsPerSymbol; ++p) {
        std::snprintf(name, sizeof name, "S%d_D%d[%d:0]", s, p, p + 1);
        votr(name);
    }
    if (s == 0)
        for (const char* twin : {"OR", "clk", "CLK"}) votr(twin);
}

// The collision test as the plain loops read: every entry against every
// later one, after every symbol.
void testByTheLoops() {
    for (int b = 0; b < VOTR_BUCKETS; ++b) {
        for (votrname* e = trtable[b]; e; e = e->next) {
            if (insetmem(5, e->vhdlname)) voreport(2, VOM_RESERVED, e->vhdlname, e->name);
            int fb = b;
            for (votrname* f = e->next;; f = f->next) {
                while (!f && ++fb < VOTR_BUCKETS) f = trtable[fb];
                if (!f) break;
                if (ktStrIcmp(f->vhdlname, e->vhdlname) == 0 &&
                    ktStrIcmp(f->vhdlname, e->name) == 0 && ktStrIcmp(f->vhdlname, f->name) == 0)
                    voreport(2, VOM_CASECLASH, e->name, f->name, f->vhdlname);
            }
        }
    }
}

template <void (*test)()>
void LibraryRun(benchmark::State& state) {
    const int symbols = static_cast<int>(state.range(0));
    for (auto _ : state) {
        votrsetup();
        std::chrono::duration<double> spent{};
        for (int s = 0; s < symbols; ++s) {
            addSymbol(s);
            auto start = std::chrono::steady_clock::now();
            test();
            spent += std::chrono::steady_clock::now() - start;
        }
        state.SetIterationTime(spent.count());
    }
    votrfree();
    state.SetComplexityN(symbols);
    state.counters["names"] = static_cast<double>(symbols * (kPinsPerSymbol + 1) + 3);
}

void Indexed(benchmark::State& state) {
    LibraryRun<votest_translations>(state);
}
void PlainLoops(benchmark::State& state) {
    LibraryRun<testByTheLoops>(state);
}

}  // namespace

// Symbols in the library. The plain loops compare every pair after every
// symbol: a tenth of the smallest library already takes seconds.
BENCHMARK(Indexed)
    ->Arg(500)
    ->Arg(1000)
    ->Arg(2000)
    ->Arg(4000)
    ->Arg(8000)
    ->UseManualTime()
    ->Complexity(benchmark::oN);
BENCHMARK(PlainLoops)->Arg(25)->Arg(50)->Arg(100)->Arg(200)->UseManualTime()->Complexity();

int main(int argc, char** argv) {
    // The translator as a library run has it: a configuration with the
    // prefix N, so that OR turns into the reserved word NOR, and the message
    // file; the repeated reports go nowhere.
    setenv("KDIR", ENTGEN_SHARE_DIR, 0);
    vo = vodatabloc();
    vo->cmdl = vocmdlbloc();
    vo->ini = voinibloc();
    vo->ini->prefix = vostcpy("N");
    msgFp = ktMsgFileOpen("entgen", nullptr, nullptr, nullptr, nullptr);
    if (!msgFp) {
        std::fputs("entgen.kmb not found: build the data first or set KDIR\n", stderr);
        return 1;
    }
    ktErrLogEnable(0);
    ktErrFileV = std::fopen("/dev/null", "w");

    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
