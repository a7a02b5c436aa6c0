// The least costs of each row among the free columns, which have no star. Free columns are never
// covered, so within a row their values are always ordered like their costs.
// Included once for each instruction set by foreach_target.h.

#if defined(KES_SOLVE_FREE_COSTS_INL) == defined(HWY_TARGET_TOGGLE)
#ifdef KES_SOLVE_FREE_COSTS_INL
#undef KES_SOLVE_FREE_COSTS_INL
#else
#define KES_SOLVE_FREE_COSTS_INL
#endif

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include <hwy/highway.h>

#include "algorithm/tracking_base/solve_bounds-inl.hpp"
#include "algorithm/tracking_base/solve_lanes-inl.hpp"
#include "algorithm/tracking_base/solve_workspace.hpp"

HWY_BEFORE_NAMESPACE();
namespace kes::algorithm::tracking_base::hungarian::HWY_NAMESPACE {

class FreeCosts {
public:
    void TakeArrays(Workspace& from, std::size_t paddedRows, std::size_t paddedColumns) {
        takenMask = from.TakeZeroed<float>(paddedColumns);
        others = from.Take<float>(paddedRows);
        leasts.TakeArrays(from, paddedRows);
        rowCount = paddedRows;
        columnCount = paddedColumns;
    }

    void Start(std::size_t rows, std::size_t columns) {
        lastColumn = columns - 1;
        std::fill(takenMask + columns, takenMask + columnCount, Infinity);
        std::fill(leasts.least + rows, leasts.least + rowCount, Infinity);
        std::fill(leasts.second + rows, leasts.second + rowCount, Infinity);
        std::fill(leasts.column + rows, leasts.column + rowCount, -1);
        std::fill(others + rows, others + rowCount, Infinity);
    }

    bool IsFree(std::size_t column) const { return takenMask[column] == 0; }

    void Take(std::size_t column) {
        takenMask[column] = Infinity;
        while (firstFree < lastColumn && takenMask[firstFree] != 0) ++firstFree;
    }

    // Finds the least costs of a row anew.
    void Look(std::size_t row, float const* costs) {
        LeastTwo const found = FindLeastTwo(columnCount, [&](std::size_t i) HWY_ATTR {
            Floats const d;
            return hn::Max(hn::Load(d, costs + i), hn::Load(d, takenMask + i));
        });
        leasts.least[row] = found.least;
        leasts.column[row] = found.index;
        others[row] = leasts.second[row] = found.others;
        if (static_cast<std::size_t>(found.index) == firstFree) {
            leasts.second[row] = Infinity;  // even if rounding makes others equal, it is the first
        } else if (found.least == found.others) {
            // Equal costs stay equal, and this one is the first of them.
            leasts.second[row] = LeastAbove(costs, takenMask, columnCount, found.least);
        }
    }

    // Rows whose least cost was in this column, which is free no longer, go on to what the others
    // cost at least, and to the first free column where that is its cost.
    void PassOn(std::size_t taken, float const* byColumn) {
        Floats const d;
        Integers const di;
        auto const firstColumn = hn::Set(di, static_cast<std::int32_t>(firstFree));
        auto const maskOfFirst = hn::Set(d, takenMask[firstFree]);
        auto const column = hn::Set(di, static_cast<std::int32_t>(taken));
        for (std::size_t i = 0; i < rowCount; i += hn::Lanes(d)) {
            auto const least = hn::Load(d, leasts.least + i);
            auto const second = hn::Load(d, leasts.second + i);
            auto const oldColumn = hn::Load(di, leasts.column + i);
            auto const next = hn::Load(d, others + i);
            auto const cost =
                hn::Max(hn::Load(d, byColumn + firstFree * rowCount + i), maskOfFirst);
            auto const newColumn =
                Select(di, hn::RebindMask(di, hn::Eq(cost, next)), firstColumn, hn::Set(di, Stale));
            auto const isHere = hn::Eq(oldColumn, column);
            auto const isHereFloat = hn::RebindMask(d, isHere);
            hn::Store(Select(d, isHereFloat, next, least), d, leasts.least + i);
            hn::Store(Select(d, isHereFloat, hn::Set(d, Infinity), second), d, leasts.second + i);
            hn::Store(Select(di, isHere, newColumn, oldColumn), di, leasts.column + i);
        }
    }

    // The least cost of each row, its first column, and the least of those costs that can come
    // before it: equal ones follow it and stay equal.
    RowBounds leasts;
    float* takenMask;  // 0 for a free column, infinity for another

private:
    float* others;  // what all others cost at least; several may cost the least
    std::size_t rowCount;
    std::size_t columnCount;
    std::size_t lastColumn;
    std::size_t firstFree = 0;
};

}  // namespace kes::algorithm::tracking_base::hungarian::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
