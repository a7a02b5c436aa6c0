// The values of all cells, where they are 0, and each row's least one.
// Included once for each instruction set by foreach_target.h.

#if defined(KES_SOLVE_DENSE_CELLS_INL) == defined(HWY_TARGET_TOGGLE)
#ifdef KES_SOLVE_DENSE_CELLS_INL
#undef KES_SOLVE_DENSE_CELLS_INL
#else
#define KES_SOLVE_DENSE_CELLS_INL
#endif

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include <hwy/highway.h>

#include "algorithm/tracking_base/solve_bits.hpp"
#include "algorithm/tracking_base/solve_dense-inl.hpp"
#include "algorithm/tracking_base/solve_dense.hpp"
#include "algorithm/tracking_base/solve_workspace.hpp"

HWY_BEFORE_NAMESPACE();
namespace kes::algorithm::tracking_base::hungarian::HWY_NAMESPACE {

// For each bit that is set.
template <class Visit>
HWY_INLINE void VisitBits(std::uint64_t bits, std::size_t start, Visit visit) {
    for (std::uint64_t left = bits; left != 0; left &= left - 1) visit(start + FirstBit(left));
}

// What is covered, as bits of rows and of columns.
struct Covers {
    std::uint64_t* uncoveredColumns;
    std::uint64_t* uncoveredRows;
    std::uint64_t* rowsWithZero;  // in an uncovered column, and not covered
    std::size_t coveredRowCount = 0;
};

// Goes through the rows in groups of GroupRows, for which the compiler unrolls its loops. A group
// has 64 rows unless there is only one; IsSmall: there is only one, and no more than 64 columns.
template <std::size_t GroupRows, bool IsSmall>
class DenseCells {
public:
    // A bit for each row of a group.
    using RowBits =
        std::conditional_t<GroupRows <= 16, std::uint16_t,
                           std::conditional_t<GroupRows == 32, std::uint32_t, std::uint64_t>>;

    DenseCells(DenseSource const& source, std::size_t rows, std::size_t columns)
        : rows(rows),
          columns(columns),
          isNegative(source.isNegative),
          reach(static_cast<double>(source.largest)) {}

    std::size_t Groups() const { return IsSmall ? 1 : (rows + GroupRows - 1) / GroupRows; }
    std::size_t ColumnWords() const { return IsSmall ? 1 : (columns + WordBits - 1) / WordBits; }
    // Whole vectors, but no power of two, of which a cache holds few lines.
    std::size_t ZeroStride() const {
        constexpr std::size_t Line = 64 / sizeof(RowBits);
        return IsSmall ? WordBits : (columns + Line - 1) / Line * Line + Line;
    }
    std::size_t PaddedRows() const { return Groups() * GroupRows; }

    RowBits* ZerosOf(std::size_t group, std::size_t column) const {
        return zeros + group * ZeroStride() + column;
    }

    void TakeArrays(Workspace& from) {
        cells = from.Take<float>(columns * PaddedRows());
        coveredMask = from.TakeZeroed<float>(PaddedRows());
        leastOfRow = from.Take<float>(PaddedRows());
        zeros = from.TakeZeroed<RowBits>(Groups() * ZeroStride());
        allColumns = from.TakeZeroed<std::uint64_t>(ColumnWords());
        mergedColumns = from.Take<std::uint64_t>(ColumnWords());
    }

    // Returns the rows' zeros in all columns.
    void Load(DenseSource const& source, std::uint64_t* rowsWithZero) {
        for (std::size_t column = 0; column < columns; ++column) SetBit(allColumns, column);
        auto const nothing = hn::Zero(D());
        Vector raises[VectorsOfGroup];
        std::fill(raises, raises + VectorsOfGroup, nothing);
        for (std::size_t group = 0; group < Groups(); ++group) {
            std::size_t const start = group * GroupRows;
            std::size_t const count = std::min(GroupRows, rows - start);
            std::uint64_t found = 0;
            for (std::size_t column = 0; column < columns; ++column) {
                float* const cell = CellsOf(group, column);
                for (std::size_t i = 0; i < count; ++i) {
                    float const cost = source.costs[column * source.stride + start + i];
                    cell[i] = cost == Forbidden ? Infinity : cost;
                }
                std::fill(cell + count, cell + GroupRows, Infinity);
                found |= *ZerosOf(group, column) =
                    static_cast<RowBits>(MoveCells<GroupRows, false>(D(), cell, raises, nothing));
            }
            rowsWithZero[group] = found;
        }
    }

    // Returns the rows' zeros in these columns, of the first group where IsSmall.
    std::uint64_t StartSearch(std::uint64_t const* freeColumns) {
        hasLeasts = IsSmall;
        std::fill_n(mergedColumns, ColumnWords(), 0);
        if constexpr (!IsSmall) return 0;
        // Nearly every search of a small matrix makes a move, and one pass is less than two.
        D const d;
        Vector least[VectorsOfGroup];
        std::fill(least, least + VectorsOfGroup, hn::Set(d, Infinity));
        std::uint64_t found = 0;
        VisitBits(freeColumns[0], 0, [&](std::size_t column) {
            found |= *ZerosOf(0, column);
            Merge(CellsOf(0, column), least);
        });
        for (std::size_t i = 0; i < VectorsOfGroup; ++i) {
            hn::Store(least[i], d, leastOfRow + i * hn::Lanes(d));
        }
        mergedColumns[0] = freeColumns[0];
        return found;
    }

    void CoverRow(std::size_t row) { coveredMask[row] = std::bit_cast<float>(~std::uint32_t{0}); }
    void UncoverRow(std::size_t row) { coveredMask[row] = 0; }

    // Takes columns uncovered since the last time into the rows' least values first. Many searches
    // end before a least value is asked for.
    float LeastUncovered(std::uint64_t const* uncoveredColumns) {
        D const d;
        auto const infinity = hn::Set(d, Infinity);
        auto leastOfAll = infinity;
        for (std::size_t group = 0; group < Groups(); ++group) {
            std::size_t const start = group * GroupRows;
            Vector least[VectorsOfGroup];
            for (std::size_t i = 0; i < VectorsOfGroup; ++i) {
                least[i] =
                    hasLeasts ? hn::Load(d, leastOfRow + start + i * hn::Lanes(d)) : infinity;
            }
            for (std::size_t word = 0; word < ColumnWords(); ++word) {
                std::uint64_t const added = uncoveredColumns[word] & ~mergedColumns[word];
                VisitBits(added, word * WordBits,
                          [&](std::size_t column) { Merge(CellsOf(group, column), least); });
            }
            for (std::size_t i = 0; i < VectorsOfGroup; ++i) {
                std::size_t const row = start + i * hn::Lanes(d);
                hn::Store(least[i], d, leastOfRow + row);
                auto const isCovered = hn::MaskFromVec(hn::Load(d, coveredMask + row));
                leastOfAll = hn::Min(leastOfAll, hn::IfThenElse(isCovered, infinity, least[i]));
            }
        }
        std::copy(uncoveredColumns, uncoveredColumns + ColumnWords(), mergedColumns);
        hasLeasts = true;
        return LeastLane(d, leastOfAll);
    }

    void Move(float minimum, Covers const& covers) {
        reach += std::abs(static_cast<double>(minimum));
        if (reach >= static_cast<double>(Forbidden) / 4) {
            MoveInColumns<true>(minimum, covers);
        } else {
            MoveInColumns<false>(minimum, covers);
        }
    }

private:
    using D = hn::CappedTag<float, KES_HAS_LANES ? std::min(GroupRows, LaneMultiple) : 1>;
    using Vector = hn::Vec<D>;
    static_assert(GroupRows <= WordBits, "rows 64 and after have the next word, of the next group");
    static constexpr std::size_t VectorsOfGroup = GroupRows / hn::MaxLanes(D());

    float* CellsOf(std::size_t group, std::size_t column) const {
        return cells + (group * columns + column) * GroupRows;
    }

    // Each vector has its own least values, as each step waits for the one before.
    static HWY_INLINE void Merge(float const* cell, Vector* least) {
        D const d;
        for (std::size_t i = 0; i < VectorsOfGroup; ++i) {
            least[i] = hn::Min(least[i], hn::Load(d, cell + i * hn::Lanes(d)));
        }
    }

    // A function of its own, or else g++ keeps half of its loops' variables in memory.
    template <bool CanOverflow>
    HWY_NOINLINE void MoveInColumns(float minimum, Covers const& covers) {
        D const d;
        auto const added = hn::Set(d, minimum);
        for (std::size_t group = 0; group < Groups(); ++group) {
            Vector raises[VectorsOfGroup];
            for (std::size_t i = 0; i < VectorsOfGroup; ++i) {
                std::size_t const row = group * GroupRows + i * hn::Lanes(d);
                raises[i] = hn::And(hn::Load(d, coveredMask + row), added);
                // Rounding keeps the order of a row's values, so the least remains the least.
                auto least = hn::Sub(hn::Load(d, leastOfRow + row), added);
                if constexpr (CanOverflow) least = ForbidLargest(d, least);
                hn::Store(least, d, leastOfRow + row);
            }
            auto const move = [&](std::size_t column, Vector subtracted) {
                return *ZerosOf(group, column) =
                           static_cast<RowBits>(MoveCells<GroupRows, CanOverflow>(
                               d, CellsOf(group, column), raises, subtracted));
            };
            std::uint64_t found = 0;
            for (std::size_t word = 0; word < ColumnWords(); ++word) {
                std::uint64_t const uncovered = covers.uncoveredColumns[word];
                VisitBits(uncovered, word * WordBits,
                          [&](std::size_t column) { found |= move(column, added); });
                if (covers.coveredRowCount == 0) continue;
                std::uint64_t const covered = allColumns[word] & ~uncovered;
                if (CanOverflow || isNegative) {
                    VisitBits(covered, word * WordBits,
                              [&](std::size_t column) { move(column, hn::Zero(d)); });
                } else {
                    // Where nothing is negative all that rises is no zero then.
                    auto const unraised = static_cast<RowBits>(covers.uncoveredRows[group]);
                    VisitBits(covered, word * WordBits, [&](std::size_t column) {
                        RaiseCells<GroupRows>(d, CellsOf(group, column), raises);
                        *ZerosOf(group, column) &= unraised;
                    });
                }
            }
            covers.rowsWithZero[group] = found & covers.uncoveredRows[group];
        }
    }

    std::size_t rows;
    std::size_t columns;
    bool isNegative;         // some cost is
    double reach;            // no finite cell is further from 0
    float* cells;            // column after column of a group, group after group
    float* coveredMask;      // all bits of a covered row's element
    float* leastOfRow;       // of its values in merged columns, while it is not covered
    RowBits* zeros;          // column after column of a group: where it holds 0
    bool hasLeasts = false;  // of this search
    std::uint64_t* allColumns;
    std::uint64_t* mergedColumns;  // in leastOfRow
};

}  // namespace kes::algorithm::tracking_base::hungarian::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
