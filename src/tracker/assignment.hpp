// Pairs: an assignment by least cost, as the tracker's questions are put to the solver.
#pragma once

#include <cstddef>
#include <limits>
#include <optional>
#include <vector>

#include <kes/algorithm/tracking_base/solve.hpp>

namespace kes::tracker {

namespace hungarian = algorithm::tracking_base::hungarian;
using Costs = Eigen::Array<float, Eigen::Dynamic, Eigen::Dynamic>;

constexpr float Forbidden = std::numeric_limits<float>::max();

// The column of least cost in all for each row; none where everything left is forbidden. costAt
// gives the cost of a row and a column, or Forbidden for what cannot be.
template <typename CostAt>
std::vector<std::optional<std::size_t>> Pair(std::size_t rows, std::size_t columns,
                                             CostAt const& costAt) {
    Costs costs(static_cast<Eigen::Index>(rows), static_cast<Eigen::Index>(columns));
    for (std::size_t r = 0; r < rows; ++r) {
        for (std::size_t c = 0; c < columns; ++c) {
            costs(static_cast<Eigen::Index>(r), static_cast<Eigen::Index>(c)) = costAt(r, c);
        }
    }
    auto const marks = hungarian::Solve(costs);
    std::vector<std::optional<std::size_t>> pairs(rows);
    for (std::size_t r = 0; r < rows; ++r) {
        for (std::size_t c = 0; c < columns; ++c) {
            if (marks(static_cast<Eigen::Index>(r), static_cast<Eigen::Index>(c)) == 1) {
                pairs[r] = c;
            }
        }
    }
    return pairs;
}

}  // namespace kes::tracker
