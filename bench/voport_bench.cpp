// The ports of one wide symbol: every pin's port record, the vector that
// gathers single pins, and the port clause. Half the pins share one base
// name (D[0], D[1], ...), so each of them needs the other pins of its base
// and the names given so far; the other half (Q0, Q1, ...) is gathered by
// one VHDL_VECTOR. The time should grow with the pins, not faster.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <string>

#include "iwmem.h"
#include "iwname.h"
#include "iwobj.h"
#include "kterr.h"
#include "ktmsg.h"
#include "vgstruct.h"
#include "vomain.h"
#include "voportcl.h"
#include "voportinfo.h"
#include "votok.h"
#include "votr.h"
#include "vovector.h"

namespace {

iwsym* wideSymbol(int pins) {
    iwgroup* g = iwmkgroup("LIB:WIDE");
    iwsym* s = g->symbols;
    const int half = pins / 2;
    const std::string vector = "Q[" + std::to_string(half - 1) + ":0]:BIT_VECTOR";
    s->attributes = iwaddatt(nullptr, iwmkatt("VHDL_VECTOR", vector.c_str()));
    iwspin** tail = &s->pins;
    for (int i = 0; i < pins; ++i) {
        const std::string name =
            i < half ? "D[" + std::to_string(i) + "]" : "Q" + std::to_string(i - half);
        *tail = iwmkspin(name.c_str());
        (*tail)->attributes = iwaddatt(nullptr, iwmkatt("PINTYPE", i < half ? "IN" : "OUT"));
        tail = &(*tail)->next;
        ++s->pincount;
    }
    return s;
}

void WideSymbol(benchmark::State& state) {
    setenv("KDIR", ENTGEN_SHARE_DIR, 1);
    msgFp = ktMsgFileOpen("entgen", nullptr, nullptr, nullptr, nullptr);
    // Reports of the run go nowhere: no stream, no log file.
    ktErrFileV = std::fopen("/dev/null", "w");
    ktErrLogEnable(0);
    const int pins = static_cast<int>(state.range(0));
    for (auto _ : state) {
        state.PauseTiming();
        vo = vodatabloc();
        vo->cmdl = vocmdlbloc();
        vo->ini = voinibloc();
        voaddpintype("IN", VOPORT_IN, &vo->ini->autopins);
        voaddpintype("OUT", VOPORT_OUT, &vo->ini->autopins);
        votrsetup();
        Idatamem = iwbinit(65536);
        iwsym* s = wideSymbol(pins);
        vogroup* g = vogroupbloc();
        g->grp = s->group;
        vo->prims = g;
        vo->file->fp = std::fopen("/dev/null", "w");
        state.ResumeTiming();

        for (iwspin* p = s->pins; p; p = p->next) voGetPortInfo(s, p, nullptr);
        voSetPinVector(g);
        voport_clause(g, 0);

        state.PauseTiming();
        vodatafree(vo);
        iwbfree(Idatamem);
        iwdelnames();
        state.ResumeTiming();
    }
    state.SetComplexityN(pins);
}

}  // namespace

BENCHMARK(WideSymbol)
    ->RangeMultiplier(4)
    ->Range(256, 16384)
    ->Complexity()
    ->Unit(benchmark::kMillisecond);
BENCHMARK_MAIN();
