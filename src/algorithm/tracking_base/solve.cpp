#include <kes/algorithm/tracking_base/solve.hpp>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <stdexcept>
#include <utility>

#include "algorithm/tracking_base/solve_deferred.hpp"
#include "algorithm/tracking_base/solve_dense.hpp"

namespace kes::algorithm::tracking_base::hungarian {
namespace {

// Up to about this size, bringing every cell up to date costs less than asking which ones matter.
constexpr std::int64_t DenseCells = 2500;

struct Contents {
    bool isValid = true;
    bool isNegative = false;
    float largest = 0;  // the largest magnitude of the costs that forbid nothing
};

Contents Survey(float const* costs, std::int64_t count) {
    Contents contents;
    for (std::int64_t i = 0; i < count; ++i) {
        float const cost = costs[i];
        // False for NaN as well.
        contents.isValid &= cost > -std::numeric_limits<float>::infinity();
        contents.isNegative |= cost < 0;
        bool const isForbidden = cost >= std::numeric_limits<float>::max();
        contents.largest = std::max(contents.largest, isForbidden ? 0 : std::abs(cost));
    }
    return contents;
}

}  // namespace

namespace detail {

void MarkPairs(float const* costs, std::int64_t rows, std::int64_t columns, std::uint8_t* marks) {
    std::int64_t const cells = rows * columns;
    Contents const contents = Survey(costs, cells);
    if (!contents.isValid) {
        throw std::invalid_argument("Cost matrix must not hold NaN or negative infinity");
    }
    std::fill(marks, marks + cells, std::uint8_t{0});
    if (cells == 0) return;
    auto const rowCount = static_cast<std::size_t>(rows);
    auto const columnCount = static_cast<std::size_t>(columns);
    if (contents.isNegative || cells <= DenseCells ||
        !SolveDeferred(costs, contents.largest, rowCount, columnCount, marks)) {
        SolveDense(costs, contents.largest, rowCount, columnCount, marks);
    }
}

}  // namespace detail

// The exported symbol. Its caller shares this library's Eigen allocation or must not call it.
KES_EXPORT Marks Solve(Costs costs) { return caller_side::Solve(std::move(costs)); }

}  // namespace kes::algorithm::tracking_base::hungarian
