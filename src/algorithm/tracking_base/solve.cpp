#include <kes/algorithm/tracking_base/solve.hpp>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <stdexcept>
#include <utility>

#include "algorithm/tracking_base/solve_deferred.hpp"
#include "algorithm/tracking_base/solve_dense.hpp"
#include "algorithm/tracking_base/solve_survey.hpp"

namespace kes::algorithm::tracking_base::hungarian {
namespace {

// Whether all costs are among 128 evenly spaced values, so that many tie.
bool IsCoarse(float const* costs, std::size_t count, float largest) {
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
bool IsForDense(float const* costs, std::size_t count, Survey const& survey) {
    constexpr std::size_t FewCells = 64 * 64;
    constexpr std::size_t FewCellsWithTies = 200 * 200;
    return survey.isNegative || count <= FewCells ||
           (count <= FewCellsWithTies && IsCoarse(costs, count, survey.largest));
}

}  // namespace

void MarkPairs(float const* costs, std::int64_t rows, std::int64_t columns, std::uint8_t* marks) {
    auto const rowCount = static_cast<std::size_t>(rows);
    auto const columnCount = static_cast<std::size_t>(columns);
    std::size_t const cells = rowCount * columnCount;
    Survey const survey = SurveyCosts(costs, cells);
    if (!survey.isValid) {
        throw std::invalid_argument("Cost matrix must not hold NaN or negative infinity");
    }
    std::fill_n(marks, cells, std::uint8_t{0});
    if (cells == 0) return;
    if (IsForDense(costs, cells, survey) ||
        !SolveDeferred(costs, survey, rowCount, columnCount, marks)) {
        SolveDense(costs, survey, rowCount, columnCount, marks);
    }
}

// The exported symbol. Its caller shares this library's Eigen allocation or must not call it.
KES_EXPORT Marks Solve(Costs costs) { return caller_side::Solve(std::move(costs)); }

}  // namespace kes::algorithm::tracking_base::hungarian
