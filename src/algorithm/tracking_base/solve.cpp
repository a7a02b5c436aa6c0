#include <kes/algorithm/tracking_base/solve.hpp>

#include <algorithm>
#include <cstddef>
#include <limits>
#include <stdexcept>
#include <utility>

#include "algorithm/tracking_base/solve_deferred.hpp"
#include "algorithm/tracking_base/solve_dense.hpp"
#include "algorithm/tracking_base/solve_survey.hpp"

namespace kes::algorithm::tracking_base::hungarian {
namespace {

// Bringing every cell up to date costs less than asking which ones matter where there are few
// cells; where there are few moves, which is so in thin matrices; and where many cells of a row tie
// for the least, so that a move makes many zeros.
bool IsForDense(float const* costs, std::size_t rows, std::size_t columns, Survey const& survey) {
    constexpr std::size_t FewCells = 64 * 64;
    constexpr std::size_t FewLines = 16;
    return survey.isNegative || rows * columns <= FewCells || std::min(rows, columns) <= FewLines ||
           HaveTies(costs, rows, columns);
}

// As in a picture where no track overlaps any detection. All cells are 0 after one move at most. If
// zeros were there from the start, each row has taken the next column; if not, each search has
// primed every row before the next, and so shifted their pairs by one column.
void MarkEqualCosts(float cost, std::size_t rows, std::size_t columns, std::uint8_t* marks) {
    if (cost >= std::numeric_limits<float>::max()) return;
    std::size_t const pairs = std::min(rows, columns);
    for (std::size_t row = 0; row < pairs; ++row) {
        marks[(cost == 0 ? row : pairs - 1 - row) * rows + row] = 1;
    }
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
    if (std::all_of(costs, costs + cells, [&](float cost) { return cost == *costs; })) {
        return MarkEqualCosts(*costs, rowCount, columnCount, marks);
    }
    if (IsForDense(costs, rowCount, columnCount, survey) ||
        !SolveDeferred(costs, survey, rowCount, columnCount, marks)) {
        SolveDense({costs, rowCount, survey.largest, survey.isNegative, nullptr}, rowCount,
                   columnCount, marks);
    }
}

// The exported symbol. Its caller shares this library's Eigen allocation or must not call it.
KES_EXPORT Marks Solve(Costs costs) { return caller_side::Solve(std::move(costs)); }

}  // namespace kes::algorithm::tracking_base::hungarian
