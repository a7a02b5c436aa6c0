#include <cstddef>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include <kes/algorithm/tracking_base/solve.hpp>

#include "bench/solve_matrices.hpp"
#include "support/plain_assignment.hpp"

namespace kes::bench {
namespace {

using algorithm::tracking_base::hungarian::Costs;
using algorithm::tracking_base::hungarian::Solve;

// The plain steps take seconds beyond this.
constexpr int LargestVerified = 100;

void Pair(benchmark::State& state, test::CostKind const& kind, int size) {
    std::vector<Costs> const matrices = SolveMatrices(kind, size);
    if (size <= LargestVerified &&
        (Solve(matrices.back()) != test::PlainSolve(matrices.back())).any()) {
        state.SkipWithError("differs from the plain steps");
    }
    std::size_t next = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(Solve(matrices[next]));
        next = next + 1 == matrices.size() ? 0 : next + 1;
    }
    state.SetItemsProcessed(state.iterations());
}

// All kinds up to 100, to show which one is dearest; a few beyond.
[[maybe_unused]] bool const isRegistered = [] {
    for (test::CostKind const& kind : test::CostKinds()) {
        std::string const name = kind.name;
        bool const isUsual =
            name == "uniform" || name == "digits" || name == "gated" || name == "crowd";
        for (int size : {10, 30, 54, 100, 300, 1000}) {
            if (size > LargestVerified && !isUsual) continue;
            benchmark::RegisterBenchmark(
                ("Solve/" + std::to_string(size) + "x" + std::to_string(size) + "/" + name).c_str(),
                Pair, kind, size)
                ->Unit(benchmark::kMicrosecond);
        }
    }
    return true;
}();

}  // namespace
}  // namespace kes::bench
