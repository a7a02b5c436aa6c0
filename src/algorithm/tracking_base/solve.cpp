#include <kes/algorithm/tracking_base/solve.hpp>

#include <algorithm>
#include <cstddef>
#include <limits>
#include <stdexcept>
#include <utility>

#include "algorithm/tracking_base/solve_stepwise.hpp"

namespace kes::algorithm::tracking_base::hungarian {
namespace detail {

void MarkPairs(float* costs, std::int64_t rows, std::int64_t columns, std::uint8_t* marks) {
    std::int64_t const cells = rows * columns;
    // False for NaN as well.
    auto const isValid = [](float cost) { return cost > -std::numeric_limits<float>::infinity(); };
    if (!std::all_of(costs, costs + cells, isValid)) {
        throw std::invalid_argument("Cost matrix must not hold NaN or negative infinity");
    }
    std::fill(marks, marks + cells, std::uint8_t{0});
    if (cells == 0) return;
    SolveStepwise(costs, static_cast<std::size_t>(rows), static_cast<std::size_t>(columns), marks);
}

}  // namespace detail

// The exported symbol. Its caller shares this library's Eigen allocation or must not call it.
KES_EXPORT Marks Solve(Costs costs) { return caller_side::Solve(std::move(costs)); }

}  // namespace kes::algorithm::tracking_base::hungarian
