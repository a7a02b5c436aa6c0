#include <kes/algorithm/tracking_base/solve.hpp>

#include <algorithm>
#include <bit>
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
    bool isValid;
    bool isNegative;
    float largest;  // the largest magnitude of the costs that forbid nothing
};

// On the costs' bits, whose order as signed numbers is that of the costs from 0 on, because a
// compiler makes vectors of these loops over integers, and none over floats.
Contents Survey(float const* costs, std::size_t count) {
    constexpr auto Magnitude = std::numeric_limits<std::int32_t>::max();
    constexpr auto Forbidden = std::bit_cast<std::int32_t>(std::numeric_limits<float>::max());
    constexpr auto Infinity = std::bit_cast<std::int32_t>(std::numeric_limits<float>::infinity());
    std::int32_t isInvalid = 0, isNegative = 0, largest = 0;
    for (std::size_t i = 0; i < count; ++i) {
        auto const bits = std::bit_cast<std::int32_t>(costs[i]);
        std::int32_t const magnitude = bits & Magnitude;
        // NaN lies beyond infinity.
        isInvalid |= (magnitude > Infinity) | ((bits < 0) & (magnitude == Infinity));
        isNegative |= (bits < 0) & (magnitude != 0);
        largest = std::max(largest, bits >= Forbidden ? 0 : magnitude);
    }
    return {isInvalid == 0, isNegative != 0, std::bit_cast<float>(largest)};
}

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
bool IsForDense(float const* costs, std::size_t count, Contents const& contents) {
    constexpr std::size_t FewCells = 64 * 64;
    constexpr std::size_t FewCellsWithTies = 200 * 200;
    return contents.isNegative || count <= FewCells ||
           (count <= FewCellsWithTies && IsCoarse(costs, count, contents.largest));
}

}  // namespace

namespace detail {

void MarkPairs(float const* costs, std::int64_t rows, std::int64_t columns, std::uint8_t* marks) {
    auto const rowCount = static_cast<std::size_t>(rows);
    auto const columnCount = static_cast<std::size_t>(columns);
    std::size_t const cells = rowCount * columnCount;
    Contents const contents = Survey(costs, cells);
    if (!contents.isValid) {
        throw std::invalid_argument("Cost matrix must not hold NaN or negative infinity");
    }
    std::fill_n(marks, cells, std::uint8_t{0});
    if (cells == 0) return;
    if (IsForDense(costs, cells, contents) ||
        !SolveDeferred(costs, contents.largest, rowCount, columnCount, marks)) {
        SolveDense(costs, contents.largest, rowCount, columnCount, marks);
    }
}

}  // namespace detail

// The exported symbol. Its caller shares this library's Eigen allocation or must not call it.
KES_EXPORT Marks Solve(Costs costs) { return caller_side::Solve(std::move(costs)); }

}  // namespace kes::algorithm::tracking_base::hungarian
