// The cost matrices that solvers are timed on: many of a kind, one after the other. Solved over and
// over, a single matrix shows a modern processor the same branches until it foresees them all,
// which makes a small one up to four times faster than it ever is to a tracker, whose matrices are
// all different.
#pragma once

#include <algorithm>
#include <cstddef>
#include <random>
#include <vector>

#include "support/cost_matrices.hpp"

namespace kes::bench {

// Some hundred where they are small, a few where one alone has more branches than can be
// remembered. In all not more than the second-level cache holds, as far as four of them allow.
inline std::vector<test::CostKind::Costs> SolveMatrices(test::CostKind const& kind, int size) {
    constexpr std::size_t Cells = std::size_t{1} << 17;  // 512 KiB
    auto const cells = static_cast<std::size_t>(size) * static_cast<std::size_t>(size);
    std::mt19937 random(1);
    std::vector<test::CostKind::Costs> matrices;
    for (std::size_t left = std::clamp<std::size_t>(Cells / cells, 4, 400); left > 0; --left) {
        matrices.push_back(kind.make(size, size, random));
    }
    return matrices;
}

}  // namespace kes::bench
