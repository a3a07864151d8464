// The cost of the expression evaluator on the texts that cost it most: the
// longest texts it evaluates (a chain of operators, brackets nested as deep
// as they go) and texts far beyond its limit, which must cost no more than
// one pass over them.
#include <benchmark/benchmark.h>

#include <string>

#include "ixeval.h"

namespace {

void Evaluate(benchmark::State& state, const std::string& text) {
    char out[600];
    for (auto _ : state) {
        benchmark::DoNotOptimize(ixevaluate(out, text.c_str(), sizeof out));
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(text.size()));
}

std::string chain() {
    std::string t = "1";
    while (t.size() < 511) t += "+1";
    return t;
}

std::string nested(size_t depth) {
    return std::string(depth, '(') + "1" + std::string(depth, ')');
}

std::string negations() {
    std::string t;
    for (int i = 0; i < 170; ++i) t += "-(";
    return t + "1" + std::string(170, ')');
}

BENCHMARK_CAPTURE(Evaluate, Chain511, chain());
BENCHMARK_CAPTURE(Evaluate, Nested255, nested(255));
BENCHMARK_CAPTURE(Evaluate, Negations170, negations());
BENCHMARK_CAPTURE(Evaluate, Nested50000, nested(50000));
BENCHMARK_CAPTURE(Evaluate, Unbalanced100k, std::string(100000, '('));

}  // namespace

BENCHMARK_MAIN();
