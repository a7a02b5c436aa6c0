#include "algorithm/tracking_base/solve_dense.hpp"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>

#include "algorithm/tracking_base/solve_workspace.hpp"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "algorithm/tracking_base/solve_dense.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "algorithm/tracking_base/solve_lanes-inl.hpp"

HWY_BEFORE_NAMESPACE();
namespace kes::algorithm::tracking_base::hungarian::HWY_NAMESPACE {
namespace {

constexpr float Infinity = std::numeric_limits<float>::infinity();
constexpr float Forbidden = std::numeric_limits<float>::max();
constexpr std::uint32_t None = std::numeric_limits<std::uint32_t>::max();
constexpr std::size_t WordBits = 64;

using Vector = hn::Vec<Floats>;

std::size_t WordsFor(std::size_t bits) { return (bits + WordBits - 1) / WordBits; }

void SetBit(std::uint64_t* words, std::size_t bit) {
    words[bit / WordBits] |= std::uint64_t{1} << bit % WordBits;
}

void ClearBit(std::uint64_t* words, std::size_t bit) {
    words[bit / WordBits] &= ~(std::uint64_t{1} << bit % WordBits);
}

void ToggleBit(std::uint64_t* words, std::size_t bit) {
    words[bit / WordBits] ^= std::uint64_t{1} << bit % WordBits;
}

std::size_t FirstBit(std::uint64_t word) {
    return static_cast<std::size_t>(std::countr_zero(word));
}

// A forbidden value that arithmetic arrives at is as untouchable as one from the start. Inside it
// is infinity, which no move changes.
HWY_INLINE Vector ForbidLargest(Vector value) {
    Floats const d;
    return hn::IfThenElse(hn::Eq(value, hn::Set(d, Forbidden)), hn::Set(d, Infinity), value);
}

// Takes up to 64 cells of a column through a move: two roundings for a cell in a covered row and an
// uncovered column. Returns a bit for each zero.
template <bool CanOverflow>
HWY_INLINE std::uint64_t MoveCells(float* cells, float const* coveredMask, std::size_t count,
                                   Vector added, Vector subtracted) {
    Floats const d;
    std::uint64_t zeros = 0;
    for (std::size_t i = 0; i < count; i += hn::Lanes(d)) {
        auto value = hn::Add(hn::Load(d, cells + i), hn::And(hn::Load(d, coveredMask + i), added));
        if constexpr (CanOverflow) value = ForbidLargest(value);
        value = hn::Sub(value, subtracted);
        if constexpr (CanOverflow) value = ForbidLargest(value);
        hn::Store(value, d, cells + i);
        zeros |= BitsOf(hn::Eq(value, hn::Zero(d))) << i;
    }
    return zeros;
}

// The lesser, lane by lane, of `least` and a column's cells in rows that are not covered.
HWY_INLINE Vector LeastUncovered(Vector least, float const* cells, float const* coveredMask,
                                 std::size_t count) {
    Floats const d;
    auto const infinity = hn::Set(d, Infinity);
    for (std::size_t i = 0; i < count; i += hn::Lanes(d)) {
        auto const isCovered = hn::MaskFromVec(hn::Load(d, coveredMask + i));
        least = hn::Min(least, hn::IfThenElse(isCovered, infinity, hn::Load(d, cells + i)));
    }
    return least;
}

// FixedRows: a padded number of rows up to 64 that the compiler can unroll for, or 0 for any.
template <std::size_t FixedRows>
class Dense {
public:
    Dense(float const* costs, float largest, std::size_t rows, std::size_t columns)
        : rows(rows), columns(columns), columnWords(WordsFor(columns)), reach(largest) {
        Workspace measure;
        TakeArrays(measure);
        workspace = Workspace(measure.Used());
        TakeArrays(workspace);
        std::fill(starOfRow, starOfRow + rows, None);
        std::fill(starOfColumn, starOfColumn + columns, None);
        std::fill(primeOfRow, primeOfRow + rows, None);
        for (std::size_t row = 0; row < rows; ++row) SetBit(uncoveredRows, row);
        for (std::size_t column = 0; column < columns; ++column) SetBit(allColumns, column);
        std::copy(allColumns, allColumns + columnWords, freeColumns);
        Load(costs);
    }

    void Run() {
        std::size_t stars = StarZeros();
        while (stars < rows && Augment()) ++stars;
    }

    void WriteMarks(std::uint8_t* marks) const {
        for (std::size_t row = 0; row < rows; ++row) {
            if (starOfRow[row] != None) marks[starOfRow[row] * rows + row] = 1;
            if (primeOfRow[row] != None) marks[primeOfRow[row] * rows + row] = 2;
        }
    }

private:
    std::size_t PaddedRows() const {
        return FixedRows != 0 ? FixedRows : (rows + LaneMultiple - 1) / LaneMultiple * LaneMultiple;
    }
    std::size_t RowWords() const { return FixedRows != 0 ? 1 : WordsFor(rows); }

    void TakeArrays(Workspace& from) {
        cells = from.Take<float>(columns * PaddedRows());
        coveredMask = from.TakeZeroed<float>(PaddedRows());
        zerosOfRow = from.TakeZeroed<std::uint64_t>(rows * columnWords);
        zerosOfColumn = from.TakeZeroed<std::uint64_t>(columns * RowWords());
        freeColumns = from.TakeZeroed<std::uint64_t>(columnWords);
        allColumns = from.TakeZeroed<std::uint64_t>(columnWords);
        uncoveredColumns = from.Take<std::uint64_t>(columnWords);
        uncoveredRows = from.TakeZeroed<std::uint64_t>(RowWords());
        rowsWithZero = from.Take<std::uint64_t>(RowWords());
        starOfRow = from.Take<std::uint32_t>(rows);
        starOfColumn = from.Take<std::uint32_t>(columns);
        primeOfRow = from.Take<std::uint32_t>(rows);
        coveredRows = from.Take<std::uint32_t>(rows);
    }

    void Load(float const* costs) {
        for (std::size_t column = 0; column < columns; ++column) {
            float* const cell = cells + column * PaddedRows();
            for (std::size_t row = 0; row < rows; ++row) {
                float const cost = costs[column * rows + row];
                cell[row] = cost == Forbidden ? Infinity : cost;
            }
            std::fill(cell + rows, cell + PaddedRows(), Infinity);
            MoveColumn<false>(column, hn::Zero(Floats()), hn::Zero(Floats()));
        }
    }

    std::size_t StarZeros() {
        std::size_t stars = 0;
        for (std::size_t row = 0; row < rows; ++row) {
            std::size_t const column = FirstZero(row, freeColumns);
            if (column == columns) continue;
            starOfRow[row] = static_cast<std::uint32_t>(column);
            starOfColumn[column] = static_cast<std::uint32_t>(row);
            ClearBit(freeColumns, column);
            ++stars;
        }
        return stars;
    }

    // The first column of the row's zeros that is among these, or `columns`.
    std::size_t FirstZero(std::size_t row, std::uint64_t const* among) const {
        std::uint64_t const* const zeros = zerosOfRow + row * columnWords;
        for (std::size_t word = 0; word < columnWords; ++word) {
            std::uint64_t const found = zeros[word] & among[word];
            if (found != 0) {
                return word * WordBits + FirstBit(found);
            }
        }
        return columns;
    }

    // Makes one more pair and returns true, or leaves the primes and returns false.
    bool Augment() {
        std::copy(freeColumns, freeColumns + columnWords, uncoveredColumns);
        FindRowsWithZero();
        for (;;) {
            std::size_t const row = FirstRowWithZero();
            if (row == rows) {
                float const minimum = Minimum();
                // Negative infinity is the trace of an overflow: moving it would only make NaN.
                if (std::isinf(minimum)) return false;
                Move(minimum);
                continue;
            }
            primeOfRow[row] = static_cast<std::uint32_t>(FirstZero(row, uncoveredColumns));
            std::uint32_t const star = starOfRow[row];
            if (star == None) {
                FlipPath(row);
                EndPhase();
                return true;
            }
            CoverRow(row);
            UncoverColumn(star);
        }
    }

    void FindRowsWithZero() {
        std::fill(rowsWithZero, rowsWithZero + RowWords(), 0);
        for (std::size_t word = 0; word < columnWords; ++word) {
            for (std::uint64_t left = uncoveredColumns[word]; left != 0; left &= left - 1) {
                AddRowsWithZero(word * WordBits + FirstBit(left));
            }
        }
    }

    void AddRowsWithZero(std::size_t column) {
        for (std::size_t word = 0; word < RowWords(); ++word) {
            rowsWithZero[word] |= zerosOfColumn[column * RowWords() + word] & uncoveredRows[word];
        }
    }

    std::size_t FirstRowWithZero() const {
        for (std::size_t word = 0; word < RowWords(); ++word) {
            if (rowsWithZero[word] != 0) {
                return word * WordBits + FirstBit(rowsWithZero[word]);
            }
        }
        return rows;
    }

    void CoverRow(std::size_t row) {
        ClearBit(uncoveredRows, row);
        ClearBit(rowsWithZero, row);
        coveredMask[row] = std::bit_cast<float>(~std::uint32_t{0});
        coveredRows[coveredCount++] = static_cast<std::uint32_t>(row);
    }

    void UncoverColumn(std::size_t column) {
        SetBit(uncoveredColumns, column);
        AddRowsWithZero(column);
    }

    // From the primed zero of a row without a star: a star in the prime's column gives way to the
    // prime of its own row, and so on to a column without a star.
    void FlipPath(std::size_t row) {
        for (;;) {
            std::uint32_t const column = primeOfRow[row];
            std::uint32_t const next = starOfColumn[column];
            starOfRow[row] = column;
            starOfColumn[column] = static_cast<std::uint32_t>(row);
            primeOfRow[row] = None;
            if (next == None) {
                ClearBit(freeColumns, column);
                return;
            }
            row = next;
        }
    }

    void EndPhase() {
        for (std::size_t i = 0; i < coveredCount; ++i) {
            std::uint32_t const row = coveredRows[i];
            SetBit(uncoveredRows, row);
            coveredMask[row] = 0;
            primeOfRow[row] = None;
        }
        coveredCount = 0;
    }

    // The least value that is not covered, or infinity.
    float Minimum() const {
        Floats const d;
        auto least = hn::Set(d, Infinity);
        for (std::size_t word = 0; word < columnWords; ++word) {
            for (std::uint64_t left = uncoveredColumns[word]; left != 0; left &= left - 1) {
                std::size_t const column = word * WordBits + FirstBit(left);
                least =
                    LeastUncovered(least, cells + column * PaddedRows(), coveredMask, PaddedRows());
            }
        }
        return LeastLane(least);
    }

    void Move(float minimum) {
        reach += std::abs(static_cast<double>(minimum));
        if (reach >= static_cast<double>(Forbidden) / 4) {
            MoveInColumns<true>(minimum);
        } else {
            MoveInColumns<false>(minimum);
        }
    }

    // A function of its own, or else g++ keeps half of its loops' variables in memory.
    template <bool CanOverflow>
    HWY_NOINLINE void MoveInColumns(float minimum) {
        Floats const d;
        auto const added = hn::Set(d, minimum);
        std::fill(rowsWithZero, rowsWithZero + RowWords(), 0);
        for (std::size_t word = 0; word < columnWords; ++word) {
            std::uint64_t const uncovered = uncoveredColumns[word];
            for (std::uint64_t left = uncovered; left != 0; left &= left - 1) {
                std::size_t const column = word * WordBits + FirstBit(left);
                MoveColumn<CanOverflow>(column, added, added);
                AddRowsWithZero(column);
            }
            if (coveredCount == 0) continue;
            for (std::uint64_t left = allColumns[word] & ~uncovered; left != 0; left &= left - 1) {
                std::size_t const column = word * WordBits + FirstBit(left);
                MoveColumn<CanOverflow>(column, added, hn::Zero(d));
            }
        }
    }

    template <bool CanOverflow>
    HWY_INLINE void MoveColumn(std::size_t column, Vector added, Vector subtracted) {
        for (std::size_t word = 0; word < RowWords(); ++word) {
            std::size_t const start = word * WordBits;
            std::uint64_t const isZero =
                MoveCells<CanOverflow>(cells + column * PaddedRows() + start, coveredMask + start,
                                       std::min(WordBits, PaddedRows() - start), added, subtracted);
            std::uint64_t& zeros = zerosOfColumn[column * RowWords() + word];
            for (std::uint64_t left = isZero ^ zeros; left != 0; left &= left - 1) {
                ToggleBit(zerosOfRow + (start + FirstBit(left)) * columnWords, column);
            }
            zeros = isZero;
        }
    }

    std::size_t rows;
    std::size_t columns;
    std::size_t columnWords;
    double reach;  // no finite cell is further from 0
    Workspace workspace;
    float* cells;        // column after column
    float* coveredMask;  // all bits of a covered row's element
    std::uint64_t* zerosOfRow;
    std::uint64_t* zerosOfColumn;
    std::uint64_t* freeColumns;  // those without a star
    std::uint64_t* allColumns;
    std::uint64_t* uncoveredColumns;
    std::uint64_t* uncoveredRows;
    std::uint64_t* rowsWithZero;  // neither the row nor the zero's column is covered
    std::uint32_t* starOfRow;     // its column
    std::uint32_t* starOfColumn;  // its row
    std::uint32_t* primeOfRow;    // its column
    std::uint32_t* coveredRows;   // in this phase, in order
    std::size_t coveredCount = 0;
};

template <std::size_t FixedRows>
void Run(float const* costs, float largest, std::size_t rows, std::size_t columns,
         std::uint8_t* marks) {
    Dense<FixedRows> solver(costs, largest, rows, columns);
    solver.Run();
    solver.WriteMarks(marks);
}

void SolveDenseInLanes(float const* costs, float largest, std::size_t rows, std::size_t columns,
                       std::uint8_t* marks) {
    auto const run = rows <= 16 ? Run<16> : rows <= 32 ? Run<32> : rows <= 64 ? Run<64> : Run<0>;
    run(costs, largest, rows, columns, marks);
}

}  // namespace
}  // namespace kes::algorithm::tracking_base::hungarian::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kes::algorithm::tracking_base::hungarian {

HWY_EXPORT(SolveDenseInLanes);

void SolveDense(float const* costs, float largest, std::size_t rows, std::size_t columns,
                std::uint8_t* marks) {
    HWY_DYNAMIC_DISPATCH(SolveDenseInLanes)(costs, largest, rows, columns, marks);
}

}  // namespace kes::algorithm::tracking_base::hungarian
#endif
