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

// Whether all costs are among 128 evenly spaced values, so that many tie.
bool IsCoarse(float const* costs, std::int64_t count, float largest) {
    int const exponent = largest == 0 ? 0 : std::ilogb(largest) - 6;
    if (exponent < -149 || exponent > 100) return false;
    // Adding 2^23 units rounds to whole units.
    float const magic = std::ldexp(1.0F, exponent + 23);
    return std::all_of(costs, costs + count, [&](float cost) {
        return (cost + magic) - magic == cost || cost >= std::numeric_limits<float>::max();
    });
}

// Bringing every cell up to date costs less than asking which ones matter where there are few
// cells, and where ties make many zeros at once, so that there are few moves.
bool IsForDense(float const* costs, std::int64_t count, Contents const& contents) {
    constexpr std::int64_t FewCells = 64 * 64;
    constexpr std::int64_t FewCellsWithTies = 200 * 200;
    return contents.isNegative || count <= FewCells ||
           (count <= FewCellsWithTies && IsCoarse(costs, count, contents.largest));
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
    if (IsForDense(costs, cells, contents) ||
        !SolveDeferred(costs, contents.largest, rowCount, columnCount, marks)) {
        SolveDense(costs, contents.largest, rowCount, columnCount, marks);
    }
}

}  // namespace detail

// The exported symbol. Its caller shares this library's Eigen allocation or must not call it.
KES_EXPORT Marks Solve(Costs costs) { return caller_side::Solve(std::move(costs)); }

}  // namespace kes::algorithm::tracking_base::hungarian
