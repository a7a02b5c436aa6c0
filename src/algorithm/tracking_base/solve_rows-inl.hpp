// What the deferred matrix knows of its rows: bounds of their least values, and the values
// themselves where a step depends on them. Included once for each instruction set by
// foreach_target.h.

#if defined(KES_SOLVE_ROWS_INL) == defined(HWY_TARGET_TOGGLE)
#ifdef KES_SOLVE_ROWS_INL
#undef KES_SOLVE_ROWS_INL
#else
#define KES_SOLVE_ROWS_INL
#endif

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include <hwy/highway.h>

#include "algorithm/tracking_base/solve_bounds-inl.hpp"
#include "algorithm/tracking_base/solve_free_costs-inl.hpp"
#include "algorithm/tracking_base/solve_lanes-inl.hpp"
#include "algorithm/tracking_base/solve_sums-inl.hpp"
#include "algorithm/tracking_base/solve_values.hpp"
#include "algorithm/tracking_base/solve_workspace.hpp"

HWY_BEFORE_NAMESPACE();
namespace kes::algorithm::tracking_base::hungarian::HWY_NAMESPACE {

inline std::size_t Padded(std::size_t count) {
    return (count + LaneMultiple - 1) / LaneMultiple * LaneMultiple;
}

class KnownRows {
public:
    KnownRows(std::size_t rows, std::size_t columns, float largest)
        : values(rows, columns),
          paddedRows(Padded(rows)),
          paddedColumns(Padded(columns)),
          rows(rows),
          largest(largest) {}

    void TakeArrays(Workspace& from) {
        values.TakeArrays(from);
        sums.TakeArrays(from, paddedRows, paddedColumns);
        free.TakeArrays(from, paddedRows, paddedColumns);
        now.TakeArrays(from, paddedRows);
        byRow = from.Take<float>(rows * paddedColumns);
        scratch = from.Take<float>(paddedColumns);
    }

    float const* CostsOf(std::size_t row) const { return byRow + row * paddedColumns; }

    // The first column in which the row holds 0, or NotFound.
    std::size_t FirstZero(std::size_t row) {
        while (now.least[row] <= 0) {
            // Most rows end here and are covered next: nothing is written that would be read soon.
            bool const isAlone = now.column[row] != Stale && now.second[row] > 0;
            if (isAlone && LeastValue(row) == 0) return LeastColumn(row);
            if (Settle(row)) return now.least[row] == 0 ? LeastColumn(row) : NotFound;
        }
        return NotFound;
    }

    float LeastUncovered() {
        for (;;) {
            auto const [bound, row] = FindLeast(now.least, paddedRows);
            if (bound == Infinity) return bound;
            if (Settle(row) && now.least[row] == bound) return bound;
        }
    }

    CellValues values;
    MoveSums sums;
    FreeCosts free;
    RowBounds now;  // of what is uncovered
    std::size_t const paddedRows;
    std::size_t const paddedColumns;
    float* byRow;  // the costs, row after row

private:
    static constexpr std::int32_t ExactFlag = std::int32_t{1} << 30;  // the least is its value

    std::uint32_t LeastColumn(std::size_t row) const {
        return static_cast<std::uint32_t>(now.column[row] & ~ExactFlag);
    }

    // What the cell of the row's least holds.
    float LeastValue(std::size_t row) {
        bool const isKnown = (now.column[row] & ExactFlag) != 0;
        return isKnown ? now.least[row] : Value(row, LeastColumn(row));
    }

    // Settles a row and returns true, or only finds a greater bound for it and returns false. The
    // row is to be asked again if it still matters: often another's bound is less then, and no
    // value of this one is needed.
    bool Settle(std::size_t row) {
        if (now.column[row] == Stale) {
            float const bound = now.least[row];
            Refresh(row);
            if (now.least[row] > bound) return false;
        }
        if ((now.column[row] & ExactFlag) == 0) {
            SetElement(LeastValue(row), row, now.least);
            now.column[row] |= ExactFlag;
        }
        if (!(now.least[row] < now.second[row])) {
            if (now.least[row] == 0) {
                LookForEarlierZero(row);
            } else {
                LookAt(row);
            }
        }
        return true;
    }

    // Bounds for a row whose least was that of a column that has been taken since.
    void Refresh(std::size_t row) {
        free.Look(row, CostsOf(row));
        auto const bound = [&](float cost) {
            return (cost + sums.rise[row]) * sums.shrink - sums.freeFall;
        };
        float least = bound(free.leasts.least[row]);
        float second = bound(free.leasts.second[row]);
        std::int32_t column = free.leasts.column[row];
        if (!values.history.UncoveredColumns().empty()) {
            LeastTwo const taken =
                FindLeastTakenBounds(CostsOf(row), free.takenMask, sums.rise[row], sums.shrink,
                                     sums.fall, paddedColumns);
            if (taken.least < least) {
                second = std::min(least, taken.others);
                least = taken.least;
                column = taken.index;
            } else {
                second = std::min(second, taken.least);
            }
        }
        SetBounds(row, least, second, column);
    }

    void SetBounds(std::size_t row, float least, float second, std::int32_t column) {
        SetElement(least, row, now.least);
        SetElement(second, row, now.second);
        now.column[row] = column;
    }

    // Of a row whose least is 0: the first such column counts, and nothing else is asked of it.
    void LookForEarlierZero(std::size_t row) {
        std::uint32_t const column = LeastColumn(row);
        for (std::size_t other = 0;; ++other) {
            other = FirstBoundAtMostZero(CostsOf(row), sums.rise[row], sums.shrink, sums.fall,
                                         other, paddedColumns);
            if (other >= column) return;
            if (Value(row, other) == 0) {
                now.column[row] = static_cast<std::int32_t>(other) | ExactFlag;
                return;
            }
        }
    }

    // Settles a row by the bounds of all its cells.
    void LookAt(std::size_t row) {
        float const bound =
            BoundRow(CostsOf(row), sums.rise[row], sums.shrink, sums.fall, paddedColumns, scratch);
        if (bound == Infinity) {
            SetBounds(row, Infinity, Infinity, now.column[row]);
            return;
        }
        std::size_t column = FirstAtMost(scratch, 0, paddedColumns, bound);
        float value = scratch[column] = Value(row, column);
        for (std::size_t other = 0; value != 0 || other < column; ++other) {
            other = FirstAtMost(scratch, other, paddedColumns, value);
            if (other == NotFound) break;
            if (other == column) continue;
            float const candidateValue = scratch[other] = Value(row, other);
            if (candidateValue < value || (candidateValue == value && other < column)) {
                value = candidateValue;
                column = other;
            }
        }
        // A row that holds 0 is primed and asked no more.
        SetBounds(row, value, value == 0 ? 0 : LeastAbove(scratch, scratch, paddedColumns, value),
                  static_cast<std::int32_t>(column) | ExactFlag);
        values.CountReplayed(paddedColumns / 8);
    }

    // Of a cell that is not covered.
    float Value(std::size_t row, std::size_t column) {
        float const cost = CostsOf(row)[column];
        if (sums.isExact) return cost + sums.rise[row] - sums.fall[column];
        if (cost == Infinity) return cost;
        return values.Value(row, column, cost, free.IsFree(column), largest);
    }

    std::size_t rows;
    float largest;  // of the costs as they were given
    float* scratch;
};

}  // namespace kes::algorithm::tracking_base::hungarian::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
