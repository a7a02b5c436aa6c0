// The matrix that works a cell out when a step depends on it; solve_deferred.hpp explains it.
// Included once for each instruction set by foreach_target.h.

#if defined(KES_SOLVE_DEFERRED_MATRIX_INL) == defined(HWY_TARGET_TOGGLE)
#ifdef KES_SOLVE_DEFERRED_MATRIX_INL
#undef KES_SOLVE_DEFERRED_MATRIX_INL
#else
#define KES_SOLVE_DEFERRED_MATRIX_INL
#endif

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include <hwy/highway.h>

#include "algorithm/tracking_base/solve_bounds-inl.hpp"
#include "algorithm/tracking_base/solve_lanes-inl.hpp"
#include "algorithm/tracking_base/solve_rebase-inl.hpp"
#include "algorithm/tracking_base/solve_rows-inl.hpp"
#include "algorithm/tracking_base/solve_survey.hpp"
#include "algorithm/tracking_base/solve_workspace.hpp"

HWY_BEFORE_NAMESPACE();
namespace kes::algorithm::tracking_base::hungarian::HWY_NAMESPACE {

class DeferredMatrix {
public:
    DeferredMatrix(float const* costs, Survey const& survey, std::size_t rows, std::size_t columns)
        : marking(rows, columns),
          rows(rows),
          columns(columns),
          hasZero(survey.hasZero),
          known(rows, columns, survey.largest) {
        Workspace measure;
        TakeArrays(measure);
        workspace = Workspace(measure.Used());
        TakeArrays(workspace);
        Load(costs);
        known.sums.Start(byColumn, columns * known.paddedRows, columns, survey.largest);
        known.free.Start(rows, columns);
    }

    std::size_t FirstFreeZero(std::size_t row) const {
        if (!hasZero) return NotFound;
        for (std::size_t column = 0;; ++column) {
            column = FirstAtMost(known.CostsOf(row), column, known.paddedColumns, 0);
            if (column == NotFound || known.free.IsFree(column)) return column;
        }
    }

    void Take(std::size_t column) {
        known.sums.CoverColumn(column);
        known.free.Take(column);
        known.values.history.EndFreedom(column);
    }

    // False where keeping all cells up to date would have been cheaper so far. All cells are then.
    bool StartSearch(std::size_t stars) {
        MoveHistory const& history = known.values.history;
        bool const isTooDear = rows * columns <= MostCellsForDense &&
                               earlierReplayed + known.values.Replayed() > CostOfDense();
        // A move uncovers a zero and so primes a row; all but the last prime's have stars.
        if (isTooDear || known.values.Replayed() > CostOfRebasing() || history.Room() < stars + 2) {
            Rebase();
        }
        if (isTooDear) return false;
        if (isFirstSearch) LookForFreeLeasts();
        isFirstSearch = false;
        StartRows(known.free.leasts, known.sums.rise, known.sums.shrink, known.sums.freeFall,
                  known.paddedRows, known.now);
        candidate = FirstAtMost(known.now.least, 0, known.paddedRows, 0);
        return true;
    }

    std::size_t FirstRowWithZero() {
        while (candidate != NotFound) {
            std::size_t const column = known.FirstZero(candidate);
            if (column != NotFound) {
                primeOfRow[candidate] = static_cast<std::uint32_t>(column);
                break;
            }
            candidate = FirstAtMost(known.now.least, candidate + 1, known.paddedRows, 0);
        }
        return candidate;
    }

    std::size_t PrimeOf(std::size_t row) const { return primeOfRow[row]; }

    // Inlined into the steps: a call takes 1 to 3 % of the time.
    HWY_INLINE void Cover(std::size_t row, std::size_t column) {
        known.values.history.CoverRow(row);
        known.sums.CoverRow(row);
        SetElement(Infinity, row, known.now.least);
        SetElement(Infinity, row, known.now.second);
        known.values.history.UncoverColumn(column);
        known.sums.UncoverColumn(column);
        candidate =
            MergeColumn(static_cast<std::int32_t>(column), byColumn + column * known.paddedRows,
                        known.sums.rise, known.sums.shrink, known.sums.fall[column],
                        known.paddedRows, known.now);
    }

    float LeastUncovered() { return known.LeastUncovered(); }

    bool Move(float minimum) {
        if (!known.sums.Append(minimum, known.values.history.Size())) return false;
        known.values.history.Append(minimum);
        candidate = SubtractMove(minimum, known.paddedRows, known.now);
        return true;
    }

    void EndSearch(std::size_t column) {
        known.sums.EndSearch(known.values.history);
        known.values.history.EndPhase();
        Take(column);
        known.free.PassOn(column, byColumn);
    }

    template <class Visit>
    void VisitCovered(Visit visit) const {
        for (auto const& [row, move] : known.values.history.CoveredRows()) visit(row);
    }

    // Column after column, this far apart. As they are after a search that was not started.
    float const* Cells() const { return byColumn; }
    std::size_t Stride() const { return known.paddedRows; }
    float Largest() const { return static_cast<float>(known.sums.Reach()); }

    Marking marking;

private:
    static constexpr std::size_t MostCellsForDense = 512 * 512;

    void TakeArrays(Workspace& from) {
        known.TakeArrays(from);
        marking.TakeArrays(from);
        byColumn = from.Take<float>(columns * known.paddedRows);
        primeOfRow = from.Take<std::uint32_t>(rows);
    }

    void Load(float const* costs) {
        for (std::size_t column = 0; column < columns; ++column) {
            float* const cells = byColumn + column * known.paddedRows;
            for (std::size_t row = 0; row < rows; ++row) {
                float const cost = costs[column * rows + row];
                cells[row] = cost == Forbidden ? Infinity : cost;
            }
            std::fill(cells + rows, cells + known.paddedRows, Infinity);
        }
        Transpose(byColumn, columns, rows, known.paddedRows, known.paddedColumns, known.byRow);
    }

    void LookForFreeLeasts() {
        for (std::size_t row = 0; row < rows; ++row) known.free.Look(row, known.CostsOf(row));
    }

    // Counted in moves of one cell, as Replayed is; the divisors are from measurements.
    std::size_t CostOfRebasing() const {
        std::size_t const moves = known.values.history.Size();
        // Many moves ask for ever other cells, whose replay starts from the last rebasing.
        bool const areMany = earlierMoves + moves >= 8 * rows;
        return rows * known.paddedColumns * (moves + 32) / (areMany ? 256 : 32);
    }
    std::size_t CostOfDense() const {
        return rows * known.paddedColumns * (earlierMoves + known.values.history.Size() + 32) / 24;
    }

    // Brings every cell up to date and forgets how.
    void Rebase() {
        if (known.sums.isExact) {
            float const* const falls = known.sums.Falls();
            for (std::size_t row = 0; row < rows; ++row) {
                float* const cells = known.byRow + row * known.paddedColumns;
                BoundRow(cells, known.sums.rise[row], 1, falls, known.paddedColumns, cells);
            }
        } else {
            Replay(known.values.history, rows, columns, known.byRow, known.paddedColumns).Run();
        }
        Transpose(known.byRow, rows, columns, known.paddedColumns, known.paddedRows, byColumn);
        earlierMoves += known.values.history.Size();
        earlierReplayed += known.values.Replayed();
        known.values.Restart();
        known.sums.Restart();
        LookForFreeLeasts();
    }

    std::size_t rows;
    std::size_t columns;
    bool hasZero;  // of the costs, at least one
    bool isFirstSearch = true;
    std::size_t candidate = NotFound;  // the first uncovered row whose bound is at most 0
    std::size_t earlierReplayed = 0;   // before the last rebasing
    std::size_t earlierMoves = 0;
    KnownRows known;
    Workspace workspace;
    float* byColumn;  // the costs, column after column
    std::uint32_t* primeOfRow;
};

}  // namespace kes::algorithm::tracking_base::hungarian::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
