#include "algorithm/tracking_base/solve_deferred.hpp"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <new>
#include <vector>

#include "algorithm/tracking_base/solve_history.hpp"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "algorithm/tracking_base/solve_deferred.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "algorithm/tracking_base/solve_lanes-inl.hpp"

// HOW IT WORKS
//
// The steps move a minimum m through the whole matrix: covered rows gain it, uncovered columns lose
// it, and each cell rounds on its way. All that the steps ever ask of the matrix is where the first
// uncovered zero is and what the least uncovered value is. Almost every cell is far from being
// either. So the matrix stays as it was given, and of each cell two things can be had:
//
// - Its bound, at the price of an addition and two more operations:
//
//       bound = (cost + rise of its row) * shrink - fall of its column     never above the value
//
//   The rise is the sum of all moves when the row was covered, the fall that of all moves when the
//   column was uncovered. In exact numbers cost + rise - fall is the value. In single precision
//   each addition of m errs by at most 2^-24 of a result that is at most cost + rise, with all
//   earlier errors; each subtraction by at most 2^-24 of what it leaves, which is less. (That
//   values stay between 0 and cost + rise is where costs must not be negative.) After T moves a
//   value is off by at most 2T * 2^-24 * (cost + rise), times 1 + 2^-9 for errors of errors with T
//   <= 2^14. The sums rise and fall err by at most 2T and T such parts themselves, the three
//   operations by three. shrink = 1 - (5.5 T + 16) * 2^-24 is below all of these together. Numbers
//   below 2^-125 know no rounding in sums, so nothing changes for them.
//
// - Its value, exactly, by replaying the moves on this one cell (MoveHistory).
//
// Subtracting m is monotone also when it rounds: a <= b stays a <= b. So a bound that has been
// computed stays a bound when it is treated like an uncovered cell's value, and so does the order
// of an uncovered row's cells. Each row keeps the least of its cells' bounds with its column and a
// second, a bound for all other cells, and follows each move by one subtraction for both.
//
// A row is settled when the least is the exact value of its cell and less than the second, or else
// when the whole row has been looked at: cells whose bounds do not reach the least exact value are
// out, the others are replayed. Steps 3 and 5 then read off the rows:
//
// - the first zero is in the first row whose least is at most 0 and, when settled, still 0;
// - the minimum is the least of all rows once the row that holds it is settled, as no other row can
//   be below its own bound.
//
// When a column is uncovered, its bounds are merged into the rows'. Free columns (without a star)
// are never covered, so all of them have the same fall and within a row their values are always
// ordered like their costs: each row remembers the least of these costs, its first column, and the
// next greater one, and every phase starts from these.
//
// Where all costs are whole multiples of one unit and no sum reaches 2^24 units, nothing ever
// rounds: shrink is 1 and a bound is the value.
//
// When replaying has cost more than bringing the whole matrix up to date would, that is done, and
// the history starts again. So no matrix costs much more than one whose cells are all kept up to
// date.

HWY_BEFORE_NAMESPACE();
namespace kes::algorithm::tracking_base::hungarian::HWY_NAMESPACE {
namespace {

constexpr float Infinity = std::numeric_limits<float>::infinity();
constexpr float Forbidden = std::numeric_limits<float>::max();

std::size_t Padded(std::size_t count) {
    return (count + LaneMultiple - 1) / LaneMultiple * LaneMultiple;
}

// A vector's worth of alignment, and padded.
template <class T>
class Lane {
public:
    Lane(std::size_t count, T fill)
        : data(static_cast<T*>(::operator new(Padded(count) * sizeof(T), Alignment))) {
        std::fill(data, data + Padded(count), fill);
    }
    ~Lane() { ::operator delete(data, Alignment); }
    Lane(Lane const&) = delete;
    Lane& operator=(Lane const&) = delete;

    operator T*() { return data; }
    operator T const*() const { return data; }

private:
    static constexpr std::align_val_t Alignment{LaneMultiple * sizeof(float)};
    T* data;
};

class Deferred {
public:
    Deferred(float const* costs, float largest, std::size_t rows, std::size_t columns)
        : rows(rows),
          columns(columns),
          paddedRows(Padded(rows)),
          paddedColumns(Padded(columns)),
          largest(largest),
          history(rows, columns),
          byRow(rows * paddedColumns, Infinity),
          byColumn(columns * paddedRows, Infinity),
          rise(rows, Infinity),
          fall(columns, -Infinity),
          takenMask(columns, Infinity),
          freeLeast(rows, Infinity),
          freeNext(rows, Infinity),
          freeColumn(rows, -1),
          least(rows, Infinity),
          second(rows, Infinity),
          leastColumn(rows, -1),
          scratch(columns, Infinity),
          savedRise(rows),
          savedFall(columns),
          starOfRow(rows, None),
          starOfColumn(columns, None),
          primeOfRow(rows, None),
          known(rows * KnownPerRow) {
        for (std::size_t column = 0; column < columns; ++column) {
            for (std::size_t row = 0; row < rows; ++row) {
                float const cost = costs[column * rows + row];
                float const inner = cost == Forbidden ? Infinity : cost;
                byColumn[column * paddedRows + row] = inner;
                byRow[row * paddedColumns + column] = inner;
            }
        }
        std::fill(rise + 0, rise + rows, 0.0F);
        std::fill(fall + 0, fall + columns, 0.0F);
        std::fill(takenMask + 0, takenMask + columns, 0.0F);
        FindUnit();
    }

    // False where sums could come near the largest float.
    bool Run() {
        std::size_t stars = StarZeros();
        for (std::size_t row = 0; row < rows; ++row) LookForFreeLeast(row);
        for (; stars < rows; ++stars) {
            // A move uncovers a zero and so primes a row; all but the last prime's have stars.
            if (history.Room() < stars + 2 || replayed > CostOfRebasing()) Rebase();
            switch (Augment()) {
                case Outcome::Paired: break;
                case Outcome::Exhausted: return true;
                case Outcome::TooLarge: return false;
            }
        }
        return true;
    }

    void WriteMarks(std::uint8_t* marks) const {
        for (std::size_t row = 0; row < rows; ++row) {
            if (starOfRow[row] != None) marks[starOfRow[row] * rows + row] = 1;
            if (primeOfRow[row] != None) marks[primeOfRow[row] * rows + row] = 2;
        }
    }

private:
    static constexpr std::size_t None = static_cast<std::size_t>(-1);
    static constexpr std::size_t KnownPerRow = 4;
    static constexpr std::int32_t ExactFlag = std::int32_t{1} << 30;

    enum class Outcome { Paired, Exhausted, TooLarge };

    // A cell's value as of the first `moves` moves.
    struct Known {
        std::size_t column = None;
        std::size_t moves = 0;
        float value = 0;
    };

    void FindUnit() {
        // 21 bits for the costs leave 3 for sums.
        if (largest == 0) return;
        int const exponent = std::max(std::ilogb(largest) - 20, -149);
        if (exponent > 100) return;
        unit = std::ldexp(1.0F, exponent);
        float const magic = unit * 0x1p23F;
        isExact = true;
        for (std::size_t i = 0; i < columns * paddedRows; ++i) {
            float const cost = byColumn[i];
            if (cost != Infinity && (cost + magic) - magic != cost) isExact = false;
        }
    }

    std::size_t StarZeros() {
        std::size_t stars = 0;
        for (std::size_t row = 0; row < rows; ++row) {
            float const* const costs = byRow + row * paddedColumns;
            for (std::size_t column = 0;; ++column) {
                column = FirstAtMost(costs, column, paddedColumns, 0);
                if (column == NotFound) break;
                if (starOfColumn[column] != None) continue;
                starOfRow[row] = column;
                starOfColumn[column] = row;
                Take(column);
                ++stars;
                break;
            }
        }
        return stars;
    }

    // The column is free no longer. Between phases.
    void Take(std::size_t column) {
        savedFall[column] = fall[column];
        fall[column] = -Infinity;
        takenMask[column] = Infinity;
        history.EndFreedom(column);
    }

    Outcome Augment() {
        BeginPhase();
        std::size_t row = FirstAtMost(least, 0, paddedRows, 0);
        for (;;) {
            while (row != NotFound && !HoldsZero(row)) {
                row = FirstAtMost(least, row + 1, paddedRows, 0);
            }
            if (row == NotFound) {
                float const minimum = LeastOfAll();
                if (minimum == Infinity) return Outcome::Exhausted;
                if (!Append(minimum)) return Outcome::TooLarge;
                row = SubtractMove(minimum, paddedRows, {least, second, leastColumn});
                continue;
            }
            primeOfRow[row] = LeastColumn(row);
            std::size_t const star = starOfRow[row];
            if (star == None) {
                std::size_t const taken = FlipPath(row);
                EndPhase(taken);
                return Outcome::Paired;
            }
            Cover(row);
            row = Uncover(star);
        }
    }

    void BeginPhase() {
        BoundColumn(freeLeast, rise, Shrink(), freeFall, paddedRows, least);
        BoundColumn(freeNext, rise, Shrink(), freeFall, paddedRows, second);
        std::copy(freeColumn + 0, freeColumn + paddedRows, leastColumn + 0);
    }

    bool Append(float move) {
        total += move;
        if (static_cast<double>(largest) + total > Forbidden / 4) return false;
        if (static_cast<double>(largest) + total >= 0x1p24 * unit) isExact = false;
        history.Append(move);
        AddToAll(move, paddedColumns, fall);
        freeFall += move;
        return true;
    }

    void Cover(std::size_t row) {
        history.CoverRow(row);
        coveredRows.push_back({row, history.Size()});
        savedRise[row] = rise[row];
        rise[row] = least[row] = second[row] = Infinity;
    }

    std::size_t Uncover(std::size_t column) {
        history.UncoverColumn(column);
        uncoveredColumns.push_back(column);
        fall[column] = savedFall[column];
        return MergeColumn(static_cast<std::int32_t>(column), byColumn + column * paddedRows, rise,
                           Shrink(), fall[column], paddedRows, {least, second, leastColumn});
    }

    // From the primed zero of a row without a star: a star in the prime's column gives way to the
    // prime of its own row, and so on. Returns the column without a star at the end.
    std::size_t FlipPath(std::size_t row) {
        for (;;) {
            std::size_t const column = primeOfRow[row];
            std::size_t const next = starOfColumn[column];
            starOfRow[row] = column;
            starOfColumn[column] = row;
            if (next == None) return column;
            row = next;
        }
    }

    void EndPhase(std::size_t taken) {
        float rose = 0;
        std::size_t move = history.Size();
        for (auto row = coveredRows.rbegin(); row != coveredRows.rend(); ++row) {
            while (move > row->move) rose += history[--move];
            rise[row->row] = savedRise[row->row] + rose;
        }
        for (std::size_t const column : uncoveredColumns) {
            savedFall[column] = fall[column];
            fall[column] = -Infinity;
        }
        coveredRows.clear();
        uncoveredColumns.clear();
        std::fill(primeOfRow.begin(), primeOfRow.end(), None);
        history.EndPhase();
        Take(taken);
        auto const column = static_cast<std::int32_t>(taken);
        for (std::size_t row = 0;; ++row) {
            row = FirstEqual(freeColumn, row, paddedRows, column);
            if (row == NotFound) break;
            LookForFreeLeast(row);
        }
    }

    void LookForFreeLeast(std::size_t row) {
        Greater(byRow + row * paddedColumns, takenMask, paddedColumns, scratch);
        freeLeast[row] = Least(scratch, paddedColumns);
        freeNext[row] = LeastAbove(scratch, paddedColumns, freeLeast[row]);
        freeColumn[row] =
            static_cast<std::int32_t>(FirstAtMost(scratch, 0, paddedColumns, freeLeast[row]));
    }

    float Shrink() const {
        return isExact ? 1 : 1 - (5.5F * static_cast<float>(history.Size()) + 16) * 0x1p-24F;
    }

    std::size_t LeastColumn(std::size_t row) const {
        return static_cast<std::size_t>(leastColumn[row] & ~ExactFlag);
    }

    bool HoldsZero(std::size_t row) {
        Settle(row);
        return least[row] == 0;
    }

    float LeastOfAll() {
        for (;;) {
            float const bound = Least(least, paddedRows);
            if (bound == Infinity) return bound;
            std::size_t const row = FirstAtMost(least, 0, paddedRows, bound);
            if (Settle(row)) return bound;
        }
    }

    // Whether the row was settled.
    bool Settle(std::size_t row) {
        bool const wasExact = (leastColumn[row] & ExactFlag) != 0;
        if (wasExact && least[row] < second[row]) return true;
        std::size_t const column = LeastColumn(row);
        float const bound = least[row];
        float const value = wasExact ? bound : Value(row, column);
        least[row] = value;
        leastColumn[row] = static_cast<std::int32_t>(column) | ExactFlag;
        if (!(value < second[row])) LookAt(row);
        return least[row] == bound;
    }

    void LookAt(std::size_t row) {
        BoundRow(byRow + row * paddedColumns, rise[row], Shrink(), fall, paddedColumns, scratch);
        float value = least[row];
        std::size_t column = LeastColumn(row);
        scratch[column] = value;
        for (std::size_t other = 0;; ++other) {
            other = FirstAtMost(scratch, other, paddedColumns, value);
            if (other == NotFound) break;
            float const candidate = scratch[other] = Value(row, other);
            if (candidate < value || (candidate == value && other < column)) {
                value = candidate;
                column = other;
            }
            if (candidate == 0) break;
        }
        least[row] = value;
        leastColumn[row] = static_cast<std::int32_t>(column) | ExactFlag;
        second[row] = LeastAbove(scratch, paddedColumns, value);
        replayed += paddedColumns / 8;
    }

    // Of a cell that is not covered.
    float Value(std::size_t row, std::size_t column) {
        float const cost = byRow[row * paddedColumns + column];
        if (isExact) return cost + rise[row] - fall[column];
        Known& cell = known[row * KnownPerRow + column % KnownPerRow];
        if (cell.column != column) cell = {column, 0, cost};
        if (cell.value != Infinity) {
            cell.value = history.Replay(cell.value, cell.moves, row, column);
            replayed += 8 + history.Size() - cell.moves;
        }
        cell.moves = history.Size();
        return cell.value;
    }

    std::size_t CostOfRebasing() const { return rows * paddedColumns * (history.Size() + 32) / 8; }

    void Rebase() {
        std::size_t const moves = history.Size();
        std::vector<float> amounts(64 * paddedColumns);
        for (std::size_t word = 0; word * 64 < moves; ++word) {
            std::size_t const count = std::min<std::size_t>(64, moves - word * 64);
            for (std::size_t column = 0; column < columns; ++column) {
                std::uint64_t const bits = history.UncoveredBits(column, word);
                for (std::size_t i = 0; i < count; ++i) {
                    amounts[i * paddedColumns + column] =
                        (bits >> i & 1) != 0 ? history[word * 64 + i] : 0;
                }
            }
            for (std::size_t row = 0; row < rows; ++row) {
                std::uint64_t const bits = history.CoveredBits(row, word);
                float* const cells = byRow + row * paddedColumns;
                for (std::size_t i = 0; i < count; ++i) {
                    float const added = (bits >> i & 1) != 0 ? history[word * 64 + i] : 0;
                    float const* const subtracted = &amounts[i * paddedColumns];
                    for (std::size_t column = 0; column < columns; ++column) {
                        cells[column] = (cells[column] + added) - subtracted[column];
                    }
                }
            }
        }
        for (std::size_t row = 0; row < rows; ++row) {
            for (std::size_t column = 0; column < columns; ++column) {
                byColumn[column * paddedRows + row] = byRow[row * paddedColumns + column];
            }
        }
        history.Clear();
        std::fill(rise + 0, rise + rows, 0.0F);
        std::fill(savedFall.begin(), savedFall.end(), 0.0F);
        freeFall = 0;
        for (std::size_t column = 0; column < columns; ++column) {
            if (takenMask[column] == 0) fall[column] = 0;
        }
        std::fill(known.begin(), known.end(), Known{});
        replayed = 0;
        for (std::size_t row = 0; row < rows; ++row) LookForFreeLeast(row);
    }

    struct CoveredRow {
        std::size_t row;
        std::size_t move;
    };

    std::size_t rows, columns, paddedRows, paddedColumns;
    float largest;
    float unit = 0;
    bool isExact = false;
    double total = 0;
    std::size_t replayed = 0;
    MoveHistory history;
    Lane<float> byRow, byColumn;
    Lane<float> rise, fall;
    Lane<float> takenMask;
    float freeFall = 0;
    Lane<float> freeLeast, freeNext;
    Lane<std::int32_t> freeColumn;
    Lane<float> least, second;
    Lane<std::int32_t> leastColumn;
    Lane<float> scratch;
    std::vector<float> savedRise, savedFall;
    std::vector<std::size_t> starOfRow, starOfColumn, primeOfRow;
    std::vector<Known> known;
    std::vector<CoveredRow> coveredRows;
    std::vector<std::size_t> uncoveredColumns;
};

bool SolveDeferredLanes(float const* costs, float largest, std::size_t rows, std::size_t columns,
                        std::uint8_t* marks) {
    Deferred solver(costs, largest, rows, columns);
    if (!solver.Run()) return false;
    solver.WriteMarks(marks);
    return true;
}

}  // namespace
}  // namespace kes::algorithm::tracking_base::hungarian::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kes::algorithm::tracking_base::hungarian {

HWY_EXPORT(SolveDeferredLanes);

bool SolveDeferred(float const* costs, float largest, std::size_t rows, std::size_t columns,
                   std::uint8_t* marks) {
    return HWY_DYNAMIC_DISPATCH(SolveDeferredLanes)(costs, largest, rows, columns, marks);
}

}  // namespace kes::algorithm::tracking_base::hungarian
#endif
