// The matrix that keeps every cell up to date, and its zeros as bits.
// Included once for each instruction set by foreach_target.h.

#if defined(KES_SOLVE_DENSE_MATRIX_INL) == defined(HWY_TARGET_TOGGLE)
#ifdef KES_SOLVE_DENSE_MATRIX_INL
#undef KES_SOLVE_DENSE_MATRIX_INL
#else
#define KES_SOLVE_DENSE_MATRIX_INL
#endif

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include <hwy/highway.h>

#include "algorithm/tracking_base/solve_bits.hpp"
#include "algorithm/tracking_base/solve_dense-inl.hpp"
#include "algorithm/tracking_base/solve_dense.hpp"
#include "algorithm/tracking_base/solve_dense_cells-inl.hpp"
#include "algorithm/tracking_base/solve_workspace.hpp"

HWY_BEFORE_NAMESPACE();
namespace kes::algorithm::tracking_base::hungarian::HWY_NAMESPACE {

// The parameters are those of DenseCells.
template <std::size_t GroupRows, bool IsSmall>
class DenseMatrix {
public:
    DenseMatrix(DenseSource const& source, std::size_t rows, std::size_t columns)
        : marking(rows, columns), rows(rows), columns(columns), cells(source, rows, columns) {
        Workspace measure;
        TakeArrays(measure);
        workspace = Workspace(measure.Used());
        TakeArrays(workspace);
        for (std::size_t row = 0; row < rows; ++row) SetBit(uncoveredRows, row);
        for (std::size_t column = 0; column < columns; ++column) SetBit(freeColumns, column);
        cells.Load(source, rowsWithZero);
    }

    // Returns how many.
    std::size_t TakeStars(Marking const& stars) {
        std::size_t count = 0;
        for (std::size_t row = 0; row < rows; ++row) {
            std::uint32_t const column = stars.StarOfRow(row);
            if (column == Marking::None) continue;
            marking.Star(row, column);
            Take(column);
            ++count;
        }
        return count;
    }

    std::size_t FirstFreeZero(std::size_t row) const {
        return HasBit(rowsWithZero, row) ? FirstZero(row, freeColumns) : NotFound;
    }

    void Take(std::size_t column) { ClearBit(freeColumns, column); }

    bool StartSearch(std::size_t) {
        std::copy(freeColumns, freeColumns + cells.ColumnWords(), uncoveredColumns);
        std::uint64_t const zerosOfSmall = cells.StartSearch(freeColumns);
        if constexpr (IsSmall) {
            rowsWithZero[0] = zerosOfSmall;
            return true;
        }
        for (std::size_t group = 0; group < cells.Groups(); ++group) {
            std::uint64_t found = 0;
            for (std::size_t word = 0; word < cells.ColumnWords(); ++word) {
                VisitBits(freeColumns[word], word * WordBits,
                          [&](std::size_t column) { found |= *cells.ZerosOf(group, column); });
            }
            rowsWithZero[group] = found;
        }
        return true;
    }

    std::size_t FirstRowWithZero() const {
        for (std::size_t group = 0; group < cells.Groups(); ++group) {
            if (rowsWithZero[group] != 0) {
                return group * WordBits + FirstBit(rowsWithZero[group]);
            }
        }
        return NotFound;
    }

    // Most primes are never asked for. They are found when they are, among the columns that were
    // uncovered when the row was primed, or else before a move makes other zeros.
    std::size_t PrimeOf(std::size_t row) {
        while (!HasBit(uncoveredRows, row) && coveredCount > knownPrimes) UndoCover();
        return HasBit(uncoveredRows, row) ? FirstZero(row, uncoveredColumns) : primeOfRow[row];
    }

    void Cover(std::size_t row, std::size_t column) {
        if constexpr (IsSmall) {
            // Cheap here, and nothing waits for it.
            primeOfRow[row] = static_cast<std::uint32_t>(FirstZero(row, uncoveredColumns));
            ++knownPrimes;
        }
        covered[coveredCount++] = {static_cast<std::uint32_t>(row),
                                   static_cast<std::uint32_t>(column)};
        ClearBit(uncoveredRows, row);
        ClearBit(rowsWithZero, row);
        cells.CoverRow(row);
        SetBit(uncoveredColumns, column);
        for (std::size_t group = 0; group < cells.Groups(); ++group) {
            rowsWithZero[group] |= *cells.ZerosOf(group, column) & uncoveredRows[group];
        }
    }

    float LeastUncovered() { return cells.LeastUncovered(uncoveredColumns); }

    bool Move(float minimum) {
        FindPrimes();
        cells.Move(minimum, {uncoveredColumns, uncoveredRows, rowsWithZero, coveredCount});
        return true;
    }

    void EndSearch(std::size_t column) {
        ClearBit(freeColumns, column);
        for (; coveredCount > 0; --coveredCount) {
            SetBit(uncoveredRows, covered[coveredCount - 1].row);
            cells.UncoverRow(covered[coveredCount - 1].row);
        }
        knownPrimes = 0;
    }

    template <class Visit>
    void VisitCovered(Visit visit) {
        for (std::size_t i = coveredCount; i-- > 0;) visit(covered[i].row);
    }

    Marking marking;

private:
    struct Covered {
        std::uint32_t row;
        std::uint32_t column;
    };

    void TakeArrays(Workspace& from) {
        cells.TakeArrays(from);
        freeColumns = from.TakeZeroed<std::uint64_t>(cells.ColumnWords());
        uncoveredColumns = from.Take<std::uint64_t>(cells.ColumnWords());
        someColumns = from.Take<std::uint64_t>(cells.ColumnWords());
        primeOfRow = from.Take<std::uint32_t>(rows);
        uncoveredRows = from.TakeZeroed<std::uint64_t>(cells.Groups());
        rowsWithZero = from.TakeZeroed<std::uint64_t>(cells.Groups());
        marking.TakeArrays(from);
        covered = from.Take<Covered>(std::min(rows, columns));
    }

    // The first column of the row's zeros that is among these.
    std::size_t FirstZero(std::size_t row, std::uint64_t const* among) const {
        if constexpr (IsSmall) {
            std::uint64_t const found = among[0] & WhereBitIsSet(cells.ZerosOf(0, 0), row, columns);
            return found == 0 ? NotFound : FirstBit(found);
        }
        auto const* const zeros = cells.ZerosOf(row / WordBits, 0);
        for (std::size_t word = 0; word < cells.ColumnWords(); ++word) {
            std::size_t const start = word * WordBits;
            if (among[word] == 0) continue;
            std::uint64_t const found =
                among[word] &
                WhereBitIsSet(zeros + start, row % WordBits, std::min(WordBits, columns - start));
            if (found != 0) return start + FirstBit(found);
        }
        return NotFound;
    }

    void UndoCover() {
        auto const [row, column] = covered[--coveredCount];
        SetBit(uncoveredRows, row);
        cells.UncoverRow(row);
        ClearBit(uncoveredColumns, column);
    }

    void FindPrimes() {
        if (knownPrimes == coveredCount) return;
        std::copy(uncoveredColumns, uncoveredColumns + cells.ColumnWords(), someColumns);
        for (std::size_t i = coveredCount; i-- > knownPrimes;) {
            ClearBit(someColumns, covered[i].column);
            primeOfRow[covered[i].row] =
                static_cast<std::uint32_t>(FirstZero(covered[i].row, someColumns));
        }
        knownPrimes = coveredCount;
    }

    std::size_t rows;
    std::size_t columns;
    DenseCells<GroupRows, IsSmall> cells;
    Workspace workspace;
    std::uint64_t* freeColumns;  // those without a star
    std::uint64_t* uncoveredColumns;
    std::uint64_t* someColumns;  // scratch
    std::uint64_t* uncoveredRows;
    std::uint64_t* rowsWithZero;  // neither the row nor the zero's column is covered
    Covered* covered;  // rows covered in this search, and the columns uncovered with them
    std::size_t coveredCount = 0;
    std::uint32_t* primeOfRow;  // of the first of these
    std::size_t knownPrimes = 0;
};

}  // namespace kes::algorithm::tracking_base::hungarian::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
