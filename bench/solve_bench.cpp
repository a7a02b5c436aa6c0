#include <string>

#include <benchmark/benchmark.h>

#include <kes/algorithm/tracking_base/solve.hpp>

#include "support/cost_matrices.hpp"
#include "support/plain_assignment.hpp"

namespace kes::bench {
namespace {

// The plain steps take seconds beyond this.
constexpr int LargestVerified = 100;

void Pair(benchmark::State& state, test::CostKind const& kind, int size) {
    std::mt19937 random(1);
    auto const costs = kind.make(size, size, random);
    algorithm::tracking_base::hungarian::Marks marks;
    for (auto _ : state) marks = algorithm::tracking_base::hungarian::Solve(costs);
    if (size <= LargestVerified && (marks != test::PlainSolve(costs)).any()) {
        state.SkipWithError("differs from the plain steps");
    }
    state.SetItemsProcessed(state.iterations());
}

[[maybe_unused]] bool const isRegistered = [] {
    for (char const* kind : {"uniform", "digits", "gated", "crowd"}) {
        for (int size : {10, 30, 54, 100, 300, 1000}) {
            std::string const name =
                "Solve/" + std::to_string(size) + "x" + std::to_string(size) + "/" + kind;
            benchmark::RegisterBenchmark(name.c_str(), Pair, test::CostKindNamed(kind), size)
                ->Unit(benchmark::kMicrosecond);
        }
    }
    return true;
}();

}  // namespace
}  // namespace kes::bench
