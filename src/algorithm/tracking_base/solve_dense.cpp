#include "algorithm/tracking_base/solve_dense.hpp"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <type_traits>

#include "algorithm/tracking_base/solve_workspace.hpp"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "algorithm/tracking_base/solve_dense.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace kes::algorithm::tracking_base::hungarian::HWY_NAMESPACE {
namespace {
namespace hn = hwy::HWY_NAMESPACE;

constexpr float Infinity = std::numeric_limits<float>::infinity();
constexpr float Forbidden = std::numeric_limits<float>::max();
constexpr std::uint32_t None = std::numeric_limits<std::uint32_t>::max();
constexpr std::size_t LaneMultiple = 16;
constexpr std::size_t WordBits = 64;

using Floats = hn::CappedTag<float, LaneMultiple>;
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

bool TestBit(std::uint64_t const* words, std::size_t bit) {
    return (words[bit / WordBits] >> bit % WordBits & 1) != 0;
}

// A bit for each lane, the first in the least significant.
HWY_INLINE std::uint64_t BitsOf(hn::Mask<Floats> mask) {
    // As wide as what is stored: a wider load would wait for the store to reach memory.
    std::conditional_t<(hn::MaxLanes(Floats()) > 8), std::uint16_t, std::uint8_t> bits = 0;
    hn::StoreMaskBits(Floats(), mask, reinterpret_cast<std::uint8_t*>(&bits));
    return bits;
}

// A forbidden value that arithmetic arrives at is as untouchable as one from the start. Inside it
// is infinity, which no move changes.
HWY_INLINE Vector ForbidLargest(Vector value) {
    Floats const d;
    return hn::IfThenElse(hn::Eq(value, hn::Set(d, Forbidden)), hn::Set(d, Infinity), value);
}

class Dense {
public:
    Dense(float const* costs, float largest, std::size_t rows, std::size_t columns)
        : rows(rows),
          columns(columns),
          paddedRows((rows + LaneMultiple - 1) / LaneMultiple * LaneMultiple),
          rowWords(WordsFor(rows)),
          columnWords(WordsFor(columns)),
          reach(largest) {
        Workspace measure;
        TakeArrays(measure);
        workspace = Workspace(measure.Used());
        TakeArrays(workspace);
        std::fill(starOfRow, starOfRow + rows, None);
        std::fill(starOfColumn, starOfColumn + columns, None);
        std::fill(primeOfRow, primeOfRow + rows, None);
        for (std::size_t row = 0; row < rows; ++row) SetBit(uncoveredRows, row);
        for (std::size_t column = 0; column < columns; ++column) SetBit(freeColumns, column);
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
    void TakeArrays(Workspace& from) {
        cells = from.Take<float>(columns * paddedRows);
        coveredMask = from.Take<float>(paddedRows);
        zerosOfRow = from.Take<std::uint64_t>(rows * columnWords);
        zerosOfColumn = from.Take<std::uint64_t>(columns * rowWords);
        freeColumns = from.Take<std::uint64_t>(columnWords);
        uncoveredColumns = from.Take<std::uint64_t>(columnWords);
        uncoveredRows = from.Take<std::uint64_t>(rowWords);
        rowsWithZero = from.Take<std::uint64_t>(rowWords);
        starOfRow = from.Take<std::uint32_t>(rows);
        starOfColumn = from.Take<std::uint32_t>(columns);
        primeOfRow = from.Take<std::uint32_t>(rows);
        coveredRows = from.Take<std::uint32_t>(rows);
    }

    void Load(float const* costs) {
        for (std::size_t column = 0; column < columns; ++column) {
            float* const cell = cells + column * paddedRows;
            for (std::size_t row = 0; row < rows; ++row) {
                float const cost = costs[column * rows + row];
                cell[row] = cost == Forbidden ? Infinity : cost;
            }
            std::fill(cell + rows, cell + paddedRows, Infinity);
            UpdateColumn<false>(column, 0, 0);
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
                return word * WordBits + static_cast<std::size_t>(std::countr_zero(found));
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
        std::fill(rowsWithZero, rowsWithZero + rowWords, 0);
        for (std::size_t column = 0; column < columns; ++column) {
            if (TestBit(uncoveredColumns, column)) AddRowsWithZero(column);
        }
    }

    void AddRowsWithZero(std::size_t column) {
        for (std::size_t word = 0; word < rowWords; ++word) {
            rowsWithZero[word] |= zerosOfColumn[column * rowWords + word] & uncoveredRows[word];
        }
    }

    std::size_t FirstRowWithZero() const {
        for (std::size_t word = 0; word < rowWords; ++word) {
            if (rowsWithZero[word] != 0) {
                return word * WordBits +
                       static_cast<std::size_t>(std::countr_zero(rowsWithZero[word]));
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
        auto const infinity = hn::Set(d, Infinity);
        auto minimum = infinity;
        for (std::size_t column = 0; column < columns; ++column) {
            if (!TestBit(uncoveredColumns, column)) continue;
            float const* const cell = cells + column * paddedRows;
            for (std::size_t i = 0; i < paddedRows; i += hn::Lanes(d)) {
                auto const isCovered = hn::MaskFromVec(hn::Load(d, coveredMask + i));
                minimum =
                    hn::Min(minimum, hn::IfThenElse(isCovered, infinity, hn::Load(d, cell + i)));
            }
        }
        return hn::GetLane(hn::MinOfLanes(d, minimum));
    }

    void Move(float minimum) {
        reach += std::abs(static_cast<double>(minimum));
        bool const canOverflow = reach >= static_cast<double>(Forbidden) / 4;
        std::fill(rowsWithZero, rowsWithZero + rowWords, 0);
        for (std::size_t column = 0; column < columns; ++column) {
            bool const isUncovered = TestBit(uncoveredColumns, column);
            if (isUncovered || coveredCount != 0) {
                float const subtracted = isUncovered ? minimum : 0;
                if (canOverflow) {
                    UpdateColumn<true>(column, minimum, subtracted);
                } else {
                    UpdateColumn<false>(column, minimum, subtracted);
                }
            }
            if (isUncovered) AddRowsWithZero(column);
        }
    }

    // Two roundings for a cell in a covered row and an uncovered column.
    template <bool CanOverflow>
    void UpdateColumn(std::size_t column, float added, float subtracted) {
        Floats const d;
        auto const addend = hn::Set(d, added);
        auto const subtrahend = hn::Set(d, subtracted);
        auto const zero = hn::Zero(d);
        float* const cell = cells + column * paddedRows;
        std::uint64_t* const zeros = zerosOfColumn + column * rowWords;
        for (std::size_t word = 0; word < rowWords; ++word) {
            std::size_t const start = word * WordBits;
            std::size_t const end = std::min(start + WordBits, paddedRows);
            std::uint64_t isZero = 0;
            for (std::size_t i = start; i < end; i += hn::Lanes(d)) {
                auto value = hn::Load(d, cell + i);
                value = hn::Add(value, hn::And(hn::Load(d, coveredMask + i), addend));
                if constexpr (CanOverflow) value = ForbidLargest(value);
                value = hn::Sub(value, subtrahend);
                if constexpr (CanOverflow) value = ForbidLargest(value);
                hn::Store(value, d, cell + i);
                isZero |= BitsOf(hn::Eq(value, zero)) << (i - start);
            }
            for (std::uint64_t changed = isZero ^ zeros[word]; changed != 0;
                 changed &= changed - 1) {
                std::size_t const row = start + static_cast<std::size_t>(std::countr_zero(changed));
                ToggleBit(zerosOfRow + row * columnWords, column);
            }
            zeros[word] = isZero;
        }
    }

    std::size_t rows;
    std::size_t columns;
    std::size_t paddedRows;
    std::size_t rowWords;
    std::size_t columnWords;
    double reach;  // no finite cell is further from 0
    Workspace workspace;
    float* cells;        // column after column
    float* coveredMask;  // all bits of a covered row's element
    std::uint64_t* zerosOfRow;
    std::uint64_t* zerosOfColumn;
    std::uint64_t* freeColumns;  // those without a star
    std::uint64_t* uncoveredColumns;
    std::uint64_t* uncoveredRows;
    std::uint64_t* rowsWithZero;  // neither the row nor the zero's column is covered
    std::uint32_t* starOfRow;     // its column
    std::uint32_t* starOfColumn;  // its row
    std::uint32_t* primeOfRow;    // its column
    std::uint32_t* coveredRows;   // in this phase, in order
    std::size_t coveredCount = 0;
};

void SolveDenseInLanes(float const* costs, float largest, std::size_t rows, std::size_t columns,
                       std::uint8_t* marks) {
    Dense solver(costs, largest, rows, columns);
    solver.Run();
    solver.WriteMarks(marks);
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
