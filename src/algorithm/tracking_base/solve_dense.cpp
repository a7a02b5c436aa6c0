#include "algorithm/tracking_base/solve_dense.hpp"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <type_traits>

#include "algorithm/tracking_base/solve_marking.hpp"
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
constexpr std::size_t WordBits = 64;

using Vector = hn::Vec<Floats>;

std::size_t WordsFor(std::size_t bits) { return (bits + WordBits - 1) / WordBits; }

void SetBit(std::uint64_t* words, std::size_t bit) {
    words[bit / WordBits] |= std::uint64_t{1} << bit % WordBits;
}

void ClearBit(std::uint64_t* words, std::size_t bit) {
    words[bit / WordBits] &= ~(std::uint64_t{1} << bit % WordBits);
}

std::size_t FirstBit(std::uint64_t word) {
    return static_cast<std::size_t>(std::countr_zero(word));
}

// For each bit that is set.
template <class Visit>
HWY_INLINE void VisitBits(std::uint64_t bits, std::size_t start, Visit visit) {
    for (std::uint64_t left = bits; left != 0; left &= left - 1) visit(start + FirstBit(left));
}

// Which of the first up to 64 words have this bit, as bits. What follows them may be read.
template <class Word>
HWY_INLINE std::uint64_t WhereBitIsSet(Word const* words, std::size_t bit, std::size_t count) {
    hn::CappedTag<Word, KES_HAS_LANES ? 32 : 1> const d;
    auto const wanted = hn::Set(d, static_cast<Word>(Word{1} << bit));
    std::uint64_t found = 0;
    for (std::size_t i = 0; i < count; i += hn::Lanes(d)) {
        auto const isSet = hn::TestBit(hn::Load(d, words + i), wanted);
        found |= std::uint64_t{BitsOf(d, isSet)} << i;
    }
    return found;
}

// A forbidden value that arithmetic arrives at is as untouchable as one from the start. Inside it
// is infinity, which no move changes.
HWY_INLINE Vector ForbidLargest(Vector value) {
    Floats const d;
    return hn::IfThenElse(hn::Eq(value, hn::Set(d, Forbidden)), hn::Set(d, Infinity), value);
}

// Takes cells of a column through a move: two roundings for a cell in a covered row and an
// uncovered column. raises: what each vector of rows gains. Returns a bit for each zero.
template <std::size_t Count, bool CanOverflow>
HWY_INLINE std::uint64_t MoveCells(float* cells, Vector const* raises, Vector subtracted) {
    Floats const d;
    return BitsOfSteps<Count>([&](std::size_t i) HWY_ATTR {
        auto value = hn::Add(hn::Load(d, cells + i), raises[i / hn::Lanes(d)]);
        if constexpr (CanOverflow) value = ForbidLargest(value);
        value = hn::Sub(value, subtracted);
        if constexpr (CanOverflow) value = ForbidLargest(value);
        hn::Store(value, d, cells + i);
        return hn::Eq(value, hn::Zero(d));
    });
}

// The same for a covered column.
template <std::size_t Count>
HWY_INLINE void RaiseCells(float* cells, Vector const* raises) {
    Floats const d;
    for (std::size_t i = 0; i < Count; i += hn::Lanes(d)) {
        hn::Store(hn::Add(hn::Load(d, cells + i), raises[i / hn::Lanes(d)]), d, cells + i);
    }
}

// Goes through the rows in groups of GroupRows, for which the compiler unrolls its loops. A group
// has 64 rows unless there is only one; IsSmall: there is only one, and no more than 64 columns.
template <std::size_t GroupRows, bool IsSmall>
class Dense {
public:
    Dense(float const* costs, Survey const& survey, std::size_t rows, std::size_t columns)
        : rows(rows),
          columns(columns),
          isNegative(survey.isNegative),
          reach(survey.largest),
          marking(rows, columns) {
        Workspace measure;
        TakeArrays(measure);
        workspace = Workspace(measure.Used());
        TakeArrays(workspace);
        for (std::size_t row = 0; row < rows; ++row) SetBit(uncoveredRows, row);
        for (std::size_t column = 0; column < columns; ++column) SetBit(allColumns, column);
        std::copy(allColumns, allColumns + ColumnWords(), freeColumns);
        Load(costs);
    }

    void Run() {
        std::size_t stars = StarZeros();
        while (stars < rows && Augment()) ++stars;
    }

    void WriteMarks(std::uint8_t* marks) const { marking.WriteTo(marks); }

private:
    // A bit for each row of a group.
    using RowBits =
        std::conditional_t<GroupRows == 16, std::uint16_t,
                           std::conditional_t<GroupRows == 32, std::uint32_t, std::uint64_t>>;
    static_assert(GroupRows <= WordBits, "rows 64 and after have the next word, of the next group");
    static constexpr std::size_t VectorsOfGroup = GroupRows / hn::MaxLanes(Floats());

    std::size_t Groups() const { return IsSmall ? 1 : (rows + GroupRows - 1) / GroupRows; }
    std::size_t ColumnWords() const { return IsSmall ? 1 : WordsFor(columns); }
    std::size_t PaddedRows() const { return Groups() * GroupRows; }
    std::size_t PaddedColumns() const { return ColumnWords() * WordBits; }

    float* CellsOf(std::size_t group, std::size_t column) const {
        return cells + (group * columns + column) * GroupRows;
    }
    RowBits* ZerosOf(std::size_t group, std::size_t column) const {
        return zeros + group * PaddedColumns() + column;
    }

    void TakeArrays(Workspace& from) {
        cells = from.Take<float>(columns * PaddedRows());
        coveredMask = from.TakeZeroed<float>(PaddedRows());
        leastOfRow = from.Take<float>(PaddedRows());
        zeros = from.TakeZeroed<RowBits>(Groups() * PaddedColumns());
        freeColumns = from.TakeZeroed<std::uint64_t>(ColumnWords());
        allColumns = from.TakeZeroed<std::uint64_t>(ColumnWords());
        uncoveredColumns = from.Take<std::uint64_t>(ColumnWords());
        uncoveredRows = from.TakeZeroed<std::uint64_t>(Groups());
        rowsWithZero = from.Take<std::uint64_t>(Groups());
        marking.TakeArrays(from);
        coveredRows = from.Take<std::uint32_t>(rows);
    }

    void Load(float const* costs) {
        auto const nothing = hn::Zero(Floats());
        Vector raises[VectorsOfGroup];
        std::fill(raises, raises + VectorsOfGroup, nothing);
        for (std::size_t group = 0; group < Groups(); ++group) {
            std::size_t const start = group * GroupRows;
            std::size_t const count = std::min(GroupRows, rows - start);
            for (std::size_t column = 0; column < columns; ++column) {
                float* const cell = CellsOf(group, column);
                for (std::size_t i = 0; i < count; ++i) {
                    float const cost = costs[column * rows + start + i];
                    cell[i] = cost == Forbidden ? Infinity : cost;
                }
                std::fill(cell + count, cell + GroupRows, Infinity);
                *ZerosOf(group, column) =
                    static_cast<RowBits>(MoveCells<GroupRows, false>(cell, raises, nothing));
            }
        }
    }

    std::size_t StarZeros() {
        std::size_t stars = 0;
        for (std::size_t row = 0; row < rows; ++row) {
            std::size_t const column = FirstZero(row, freeColumns);
            if (column == columns) continue;
            marking.Star(row, column);
            ClearBit(freeColumns, column);
            ++stars;
        }
        return stars;
    }

    // The first column of the row's zeros that is among these, or `columns`.
    std::size_t FirstZero(std::size_t row, std::uint64_t const* among) const {
        RowBits const* const zerosOfRows = ZerosOf(row / WordBits, 0);
        for (std::size_t word = 0; word < ColumnWords(); ++word) {
            std::size_t const start = word * WordBits;
            std::uint64_t const found =
                among[word] & WhereBitIsSet(zerosOfRows + start, row % WordBits,
                                            std::min(WordBits, columns - start));
            if (found != 0) return start + FirstBit(found);
        }
        return columns;
    }

    // Makes one more pair and returns true, or leaves the primes and returns false.
    bool Augment() {
        StartPhase();
        for (;;) {
            std::size_t const row = FirstRowWithZero();
            if (row == rows) {
                float const minimum = Minimum();
                // Negative infinity is the trace of an overflow: moving it would only make NaN.
                if (std::isinf(minimum)) return false;
                Move(minimum);
                continue;
            }
            marking.Prime(row, FirstZero(row, uncoveredColumns));
            std::uint32_t const star = marking.StarOfRow(row);
            if (star == Marking::None) {
                ClearBit(freeColumns, marking.FlipPath(row));
                EndPhase();
                return true;
            }
            CoverRow(row);
            UncoverColumn(star);
        }
    }

    // Uncovers the free columns.
    void StartPhase() {
        Floats const d;
        std::copy(freeColumns, freeColumns + ColumnWords(), uncoveredColumns);
        for (std::size_t group = 0; group < Groups(); ++group) {
            // Each vector has its own, as each waits for the one before.
            Vector least[VectorsOfGroup];
            std::fill(least, least + VectorsOfGroup, hn::Set(d, Infinity));
            std::uint64_t found = 0;
            for (std::size_t word = 0; word < ColumnWords(); ++word) {
                VisitBits(freeColumns[word], word * WordBits, [&](std::size_t column) {
                    found |= *ZerosOf(group, column);
                    float const* const cell = CellsOf(group, column);
                    for (std::size_t i = 0; i < VectorsOfGroup; ++i) {
                        least[i] = hn::Min(least[i], hn::Load(d, cell + i * hn::Lanes(d)));
                    }
                });
            }
            rowsWithZero[group] = found & uncoveredRows[group];
            for (std::size_t i = 0; i < VectorsOfGroup; ++i) {
                hn::Store(least[i], d, leastOfRow + group * GroupRows + i * hn::Lanes(d));
            }
        }
    }

    std::size_t FirstRowWithZero() const {
        for (std::size_t group = 0; group < Groups(); ++group) {
            if (rowsWithZero[group] != 0) {
                return group * WordBits + FirstBit(rowsWithZero[group]);
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
        Floats const d;
        SetBit(uncoveredColumns, column);
        for (std::size_t group = 0; group < Groups(); ++group) {
            rowsWithZero[group] |= *ZerosOf(group, column) & uncoveredRows[group];
            float const* const cell = CellsOf(group, column);
            float* const least = leastOfRow + group * GroupRows;
            for (std::size_t i = 0; i < GroupRows; i += hn::Lanes(d)) {
                hn::Store(hn::Min(hn::Load(d, least + i), hn::Load(d, cell + i)), d, least + i);
            }
        }
    }

    void EndPhase() {
        for (std::size_t i = 0; i < coveredCount; ++i) {
            std::uint32_t const row = coveredRows[i];
            SetBit(uncoveredRows, row);
            coveredMask[row] = 0;
            marking.EndPrime(row);
        }
        coveredCount = 0;
    }

    // The least value that is not covered, or infinity.
    float Minimum() const {
        Floats const d;
        auto const infinity = hn::Set(d, Infinity);
        auto least = infinity;
        for (std::size_t i = 0; i < PaddedRows(); i += hn::Lanes(d)) {
            auto const isCovered = hn::MaskFromVec(hn::Load(d, coveredMask + i));
            auto const ofRows = hn::Load(d, leastOfRow + i);
            least = hn::Min(least, hn::IfThenElse(isCovered, infinity, ofRows));
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
        for (std::size_t group = 0; group < Groups(); ++group) {
            Vector raises[VectorsOfGroup];
            for (std::size_t i = 0; i < VectorsOfGroup; ++i) {
                std::size_t const row = group * GroupRows + i * hn::Lanes(d);
                raises[i] = hn::And(hn::Load(d, coveredMask + row), added);
                // Rounding keeps the order of a row's values, so the least remains the least.
                auto least = hn::Sub(hn::Load(d, leastOfRow + row), added);
                if constexpr (CanOverflow) least = ForbidLargest(least);
                hn::Store(least, d, leastOfRow + row);
            }
            auto const move = [&](std::size_t column, Vector subtracted) {
                return *ZerosOf(group, column) =
                           static_cast<RowBits>(MoveCells<GroupRows, CanOverflow>(
                               CellsOf(group, column), raises, subtracted));
            };
            std::uint64_t found = 0;
            for (std::size_t word = 0; word < ColumnWords(); ++word) {
                std::uint64_t const uncovered = uncoveredColumns[word];
                VisitBits(uncovered, word * WordBits,
                          [&](std::size_t column) { found |= move(column, added); });
                if (coveredCount == 0) continue;
                std::uint64_t const covered = allColumns[word] & ~uncovered;
                if (CanOverflow || isNegative) {
                    VisitBits(covered, word * WordBits,
                              [&](std::size_t column) { move(column, hn::Zero(d)); });
                } else {
                    // Where nothing is negative all that rises is no zero then.
                    auto const unraised = static_cast<RowBits>(uncoveredRows[group]);
                    VisitBits(covered, word * WordBits, [&](std::size_t column) {
                        RaiseCells<GroupRows>(CellsOf(group, column), raises);
                        *ZerosOf(group, column) &= unraised;
                    });
                }
            }
            rowsWithZero[group] = found & uncoveredRows[group];
        }
    }

    std::size_t rows;
    std::size_t columns;
    bool isNegative;  // some cost is
    double reach;     // no finite cell is further from 0
    Marking marking;
    Workspace workspace;
    float* cells;                // column after column of a group, group after group
    float* coveredMask;          // all bits of a covered row's element
    float* leastOfRow;           // of its values in uncovered columns, while it is not covered
    RowBits* zeros;              // in the same order as cells: where a column of a group holds 0
    std::uint64_t* freeColumns;  // those without a star
    std::uint64_t* allColumns;
    std::uint64_t* uncoveredColumns;
    std::uint64_t* uncoveredRows;
    std::uint64_t* rowsWithZero;  // neither the row nor the zero's column is covered
    std::uint32_t* coveredRows;   // in this phase, in order
    std::size_t coveredCount = 0;
};

template <std::size_t GroupRows, bool IsSmall>
void Run(float const* costs, Survey const& survey, std::size_t rows, std::size_t columns,
         std::uint8_t* marks) {
    Dense<GroupRows, IsSmall> solver(costs, survey, rows, columns);
    solver.Run();
    solver.WriteMarks(marks);
}

void SolveDenseInLanes(float const* costs, Survey const& survey, std::size_t rows,
                       std::size_t columns, std::uint8_t* marks) {
    bool const isSmall = rows <= 64 && columns <= 64;
    auto const run = !isSmall     ? (rows <= 16 ? Run<16, false> : Run<64, false>)
                     : rows <= 16 ? Run<16, true>
                     : rows <= 32 ? Run<32, true>
                     : rows <= 48 ? Run<48, true>
                                  : Run<64, true>;
    run(costs, survey, rows, columns, marks);
}

}  // namespace
}  // namespace kes::algorithm::tracking_base::hungarian::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kes::algorithm::tracking_base::hungarian {

HWY_EXPORT(SolveDenseInLanes);

void SolveDense(float const* costs, Survey const& survey, std::size_t rows, std::size_t columns,
                std::uint8_t* marks) {
    HWY_DYNAMIC_DISPATCH(SolveDenseInLanes)(costs, survey, rows, columns, marks);
}

}  // namespace kes::algorithm::tracking_base::hungarian
#endif
