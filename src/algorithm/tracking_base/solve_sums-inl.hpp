// What the moves so far add to each row and subtract from each column, and what a bound has to
// allow for their rounding. Included once for each instruction set by foreach_target.h.

#if defined(KES_SOLVE_SUMS_INL) == defined(HWY_TARGET_TOGGLE)
#ifdef KES_SOLVE_SUMS_INL
#undef KES_SOLVE_SUMS_INL
#else
#define KES_SOLVE_SUMS_INL
#endif

#include <algorithm>
#include <cmath>
#include <cstddef>

#include <hwy/highway.h>

#include "algorithm/tracking_base/solve_history.hpp"
#include "algorithm/tracking_base/solve_lanes-inl.hpp"
#include "algorithm/tracking_base/solve_workspace.hpp"

HWY_BEFORE_NAMESPACE();
namespace kes::algorithm::tracking_base::hungarian::HWY_NAMESPACE {

class MoveSums {
public:
    void TakeArrays(Workspace& from, std::size_t paddedRows, std::size_t paddedColumns) {
        rise = from.TakeZeroed<float>(paddedRows);
        savedRise = from.Take<float>(paddedRows);
        fall = from.TakeZeroed<float>(paddedColumns);
        savedFall = from.TakeZeroed<float>(paddedColumns);
        rowCount = paddedRows;
        columnCount = paddedColumns;
    }

    // Of all costs, `largest` among them.
    void Start(float const* costs, std::size_t count, std::size_t columns, float largestCost) {
        largest = largestCost;
        std::fill(fall + columns, fall + columnCount, -Infinity);
        FindUnit(costs, count);
        SetShrink(0);
    }

    // The move comes after `before` others. False where sums could come near the largest float.
    bool Append(float move, std::size_t before) {
        total += move;
        if (Reach() > static_cast<double>(Forbidden) / 4) return false;
        if (Reach() >= 0x1p24 * static_cast<double>(unit)) isExact = false;
        SetShrink(before + 1);
        AddToAll(move, columnCount, fall);
        freeFall += move;
        return true;
    }

    void CoverRow(std::size_t row) {
        savedRise[row] = rise[row];
        SetElement(Infinity, row, rise);
    }
    void UncoverColumn(std::size_t column) { fall[column] = savedFall[column]; }
    void CoverColumn(std::size_t column) {
        savedFall[column] = fall[column];
        fall[column] = -Infinity;
    }

    // Before the history's own end of a search.
    void EndSearch(MoveHistory const& history) {
        float rose = 0;
        std::size_t move = history.Size();
        auto const coveredRows = history.CoveredRows();
        for (auto row = coveredRows.rbegin(); row != coveredRows.rend(); ++row) {
            while (move > row->move) rose += history[--move];
            rise[row->line] = savedRise[row->line] + rose;
        }
        for (auto const& [column, since] : history.UncoveredColumns()) CoverColumn(column);
    }

    // What has been subtracted from each column, covered or not. Between searches.
    float const* Falls() {
        for (std::size_t column = 0; column < columnCount; ++column) {
            if (fall[column] != -Infinity) savedFall[column] = fall[column];
        }
        return savedFall;
    }

    // The costs are as all moves have left them.
    void Restart() {
        SetShrink(0);
        std::fill_n(rise, rowCount, 0.0F);
        std::fill_n(savedFall, columnCount, 0.0F);
        freeFall = 0;
        for (std::size_t column = 0; column < columnCount; ++column) {
            if (fall[column] != -Infinity) fall[column] = 0;
        }
    }

    // No value has ever been further from 0.
    double Reach() const { return static_cast<double>(largest) + total; }

    float* rise;         // of a covered row infinity, as it must not take part
    float* fall;         // of a covered column -infinity
    float freeFall = 0;  // the fall of every column without a star
    float shrink = 1;
    bool isExact = false;  // costs are multiples of a unit and no sum needs rounding

private:
    void FindUnit(float const* costs, std::size_t count) {
        // 21 bits for the costs leave 3 for sums.
        if (largest == 0) return;
        int const exponent = std::max(std::ilogb(largest) - 20, -149);
        if (exponent > 100) return;
        unit = std::ldexp(1.0F, exponent);
        float const magic = unit * 0x1p23F;
        isExact = std::all_of(costs, costs + count,
                              [&](float cost) { return (cost + magic) - magic == cost; });
    }

    void SetShrink(std::size_t moves) {
        shrink = isExact ? 1 : 1 - (5.5F * static_cast<float>(moves) + 16) * 0x1p-24F;
    }

    float* savedRise;
    float* savedFall;
    std::size_t rowCount;
    std::size_t columnCount;
    float largest;
    float unit = 0;
    double total = 0;  // of all moves, those before a restart included
};

}  // namespace kes::algorithm::tracking_base::hungarian::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
