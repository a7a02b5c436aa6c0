#include "algorithm/tracking_base/solve_deferred.hpp"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "algorithm/tracking_base/solve_history.hpp"
#include "algorithm/tracking_base/solve_marking.hpp"
#include "algorithm/tracking_base/solve_workspace.hpp"

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
//   value is off by at most 2T * 2^-24 * (cost + rise), times 1 + 2^-6 for errors of errors with T
//   <= 2^16. The sums rise and fall err by at most 2T and T such parts themselves, the three
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
// No value is replayed before a bound has shown that it may matter: a row whose column has been
// taken gets a new bound first, and is settled only if that is still the least.
//
// When a column is uncovered, its bounds are merged into the rows'. Free columns (without a star)
// are never covered, so all of them have the same fall and within a row their values are always
// ordered like their costs: each row remembers the least of these costs, its first column, and what
// all others cost at least, and every phase starts from these. When that column is taken, what the
// others cost at least is the row's bound. In a crowd, whose boxes are mostly far apart, the first
// free column often costs just that: then the row goes on with it, and nothing can come before it.
// Other rows look for their least again, but only those that are asked.
//
// Where all costs are whole multiples of one unit and no sum reaches 2^24 units, nothing ever
// rounds: shrink is 1 and a bound is the value.
//
// When replaying has cost more than bringing the whole matrix up to date would, that is done, and
// the history starts again. When all replaying so far has cost more than keeping every cell up to
// date would have, the dense solver is left to do that, unless the matrix is large.

HWY_BEFORE_NAMESPACE();
namespace kes::algorithm::tracking_base::hungarian::HWY_NAMESPACE {
namespace {

constexpr float Infinity = std::numeric_limits<float>::infinity();
constexpr float Forbidden = std::numeric_limits<float>::max();

std::size_t Padded(std::size_t count) {
    return (count + LaneMultiple - 1) / LaneMultiple * LaneMultiple;
}

class Deferred {
public:
    Deferred(float const* costs, float largest, std::size_t rows, std::size_t columns)
        : rows(rows),
          columns(columns),
          paddedRows(Padded(rows)),
          paddedColumns(Padded(columns)),
          largest(largest),
          history(rows, columns),
          marking(rows, columns) {
        Workspace measure;
        TakeArrays(measure);
        workspace = Workspace(measure.Used());
        TakeArrays(workspace);
        std::fill(takenMask + columns, takenMask + paddedColumns, Infinity);
        std::fill(fall + columns, fall + paddedColumns, -Infinity);
        std::fill(free.least + rows, free.least + paddedRows, Infinity);
        std::fill(free.second + rows, free.second + paddedRows, Infinity);
        std::fill(free.column + rows, free.column + paddedRows, -1);
        std::fill(freeOthers + rows, freeOthers + paddedRows, Infinity);
        Load(costs);
        FindUnit();
        SetShrink();
    }

    // False where sums could come near the largest float, or where keeping all cells up to date
    // would be cheaper.
    bool Run() {
        std::size_t stars = StarZeros();
        for (std::size_t row = 0; row < rows; ++row) LookForFreeLeast(row);
        for (; stars < rows; ++stars) {
            if (rows * columns <= MostCellsForDense && earlierReplayed + replayed > CostOfDense()) {
                return false;
            }
            // A move uncovers a zero and so primes a row; all but the last prime's have stars.
            if (replayed > CostOfRebasing() || history.Room() < stars + 2) Rebase();
            switch (Augment()) {
                case Outcome::Paired: break;
                case Outcome::Exhausted: return true;
                case Outcome::TooLarge: return false;
            }
        }
        return true;
    }

    void WriteMarks(std::uint8_t* marks) const { marking.WriteTo(marks); }

private:
    static constexpr std::size_t KnownPerRow = 8;
    static constexpr std::size_t MostCellsForDense = 512 * 512;
    static constexpr std::int32_t ExactFlag = std::int32_t{1} << 30;
    static constexpr std::int32_t Stale = -1;  // in place of a column: the bound is some column's

    enum class Outcome { Paired, Exhausted, TooLarge };

    // A cell's value as of the first `moves` moves. All zero is nothing known.
    struct Known {
        std::uint32_t columnAfter;  // the column + 1
        std::uint32_t moves;
        float cost;  // before all moves
        float value;
    };

    void TakeArrays(Workspace& from) {
        history.TakeArrays(from);
        byRow = from.Take<float>(rows * paddedColumns);
        byColumn = from.Take<float>(columns * paddedRows);
        rise = from.TakeZeroed<float>(paddedRows);
        savedRise = from.Take<float>(paddedRows);
        fall = from.TakeZeroed<float>(paddedColumns);
        savedFall = from.TakeZeroed<float>(paddedColumns);
        takenMask = from.TakeZeroed<float>(paddedColumns);
        scratch = from.Take<float>(paddedColumns);
        for (RowBounds* bounds : {&free, &now}) {
            bounds->least = from.Take<float>(paddedRows);
            bounds->second = from.Take<float>(paddedRows);
            bounds->column = from.Take<std::int32_t>(paddedRows);
        }
        freeOthers = from.Take<float>(paddedRows);
        marking.TakeArrays(from);
        knownCells = from.TakeZeroed<Known>(rows * KnownPerRow);
        knownFree = from.TakeZeroed<Known>(rows);
    }

    void Load(float const* costs) {
        for (std::size_t column = 0; column < columns; ++column) {
            float* const cells = byColumn + column * paddedRows;
            for (std::size_t row = 0; row < rows; ++row) {
                float const cost = costs[column * rows + row];
                cells[row] = cost == Forbidden ? Infinity : cost;
            }
            std::fill(cells + rows, cells + paddedRows, Infinity);
        }
        Transpose(byColumn, columns, rows, paddedRows, paddedColumns, byRow);
    }

    void FindUnit() {
        // 21 bits for the costs leave 3 for sums.
        if (largest == 0) return;
        int const exponent = std::max(std::ilogb(largest) - 20, -149);
        if (exponent > 100) return;
        unit = std::ldexp(1.0F, exponent);
        float const magic = unit * 0x1p23F;
        isExact = std::all_of(byColumn, byColumn + columns * paddedRows,
                              [&](float cost) { return (cost + magic) - magic == cost; });
    }

    std::size_t StarZeros() {
        std::size_t stars = 0;
        for (std::size_t row = 0; row < rows; ++row) {
            float const* const costs = byRow + row * paddedColumns;
            for (std::size_t column = 0;; ++column) {
                column = FirstAtMost(costs, column, paddedColumns, 0);
                if (column == NotFound) break;
                if (marking.HasStar(column)) continue;
                marking.Star(row, column);
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
        while (firstFree < columns && takenMask[firstFree] != 0) ++firstFree;
        history.EndFreedom(column);
    }

    Outcome Augment() {
        StartRows(free, rise, shrink, freeFall, paddedRows, now);
        std::size_t row = FirstAtMost(now.least, 0, paddedRows, 0);
        for (;;) {
            std::size_t column = NotFound;
            while (row != NotFound && (column = FirstZero(row)) == NotFound) {
                row = FirstAtMost(now.least, row + 1, paddedRows, 0);
            }
            if (row == NotFound) {
                float const minimum = LeastOfAll();
                if (minimum == Infinity) return Outcome::Exhausted;
                if (!Append(minimum)) return Outcome::TooLarge;
                row = SubtractMove(minimum, paddedRows, now);
                continue;
            }
            marking.Prime(row, column);
            std::uint32_t const star = marking.StarOfRow(row);
            if (star == Marking::None) {
                EndPhase(marking.FlipPath(row));
                return Outcome::Paired;
            }
            Cover(row);
            row = Uncover(star);
        }
    }

    bool Append(float move) {
        total += move;
        if (static_cast<double>(largest) + total > Forbidden / 4) return false;
        if (static_cast<double>(largest) + total >= 0x1p24 * unit) isExact = false;
        history.Append(move);
        SetShrink();
        AddToAll(move, paddedColumns, fall);
        freeFall += move;
        return true;
    }

    void Cover(std::size_t row) {
        history.CoverRow(row);
        savedRise[row] = rise[row];
        for (float* values : {rise, now.least, now.second}) SetElement(Infinity, row, values);
    }

    std::size_t Uncover(std::size_t column) {
        history.UncoverColumn(column);
        fall[column] = savedFall[column];
        return MergeColumn(static_cast<std::int32_t>(column), byColumn + column * paddedRows, rise,
                           shrink, fall[column], paddedRows, now);
    }

    void EndPhase(std::size_t taken) {
        float rose = 0;
        std::size_t move = history.Size();
        auto const coveredRows = history.CoveredRows();
        for (auto row = coveredRows.rbegin(); row != coveredRows.rend(); ++row) {
            while (move > row->move) rose += history[--move];
            rise[row->line] = savedRise[row->line] + rose;
            marking.EndPrime(row->line);
        }
        for (auto const& [column, since] : history.UncoveredColumns()) {
            savedFall[column] = fall[column];
            fall[column] = -Infinity;
        }
        history.EndPhase();
        Take(taken);
        PassOn(taken);
    }

    // Rows whose least free cost was in this column, which is free no longer, go on to what the
    // others cost at least, and to the first free column where that is its cost.
    void PassOn(std::size_t taken) {
        Floats const d;
        Integers const di;
        std::size_t const first = std::min(firstFree, columns - 1);
        auto const firstColumn = hn::Set(di, static_cast<std::int32_t>(first));
        auto const maskOfFirst = hn::Set(d, takenMask[first]);
        auto const column = hn::Set(di, static_cast<std::int32_t>(taken));
        for (std::size_t i = 0; i < paddedRows; i += hn::Lanes(d)) {
            auto const least = hn::Load(d, free.least + i);
            auto const second = hn::Load(d, free.second + i);
            auto const oldColumn = hn::Load(di, free.column + i);
            auto const next = hn::Load(d, freeOthers + i);
            auto const cost = hn::Max(hn::Load(d, byColumn + first * paddedRows + i), maskOfFirst);
            auto const newColumn = Select(di, hn::RebindMask(di, hn::Eq(cost, next)), firstColumn,
                                          hn::Set(di, std::int32_t{Stale}));
            auto const isHere = hn::Eq(oldColumn, column);
            auto const isHereFloat = hn::RebindMask(d, isHere);
            hn::Store(Select(d, isHereFloat, next, least), d, free.least + i);
            hn::Store(Select(d, isHereFloat, hn::Set(d, Infinity), second), d, free.second + i);
            hn::Store(Select(di, isHere, newColumn, oldColumn), di, free.column + i);
        }
    }

    void LookForFreeLeast(std::size_t row) {
        float const* const costs = byRow + row * paddedColumns;
        LeastTwo const found = FindLeastTwo(paddedColumns, [&](std::size_t i) HWY_ATTR {
            Floats const d;
            return hn::Max(hn::Load(d, costs + i), hn::Load(d, takenMask + i));
        });
        free.least[row] = found.least;
        free.column[row] = found.index;
        freeOthers[row] = free.second[row] = found.others;
        if (static_cast<std::size_t>(found.index) == firstFree) {
            free.second[row] = Infinity;  // even if rounding makes others equal this one is first
        } else if (found.least == found.others) {
            // Equal costs stay equal, and this one is the first of them.
            free.second[row] = LeastAbove(costs, takenMask, paddedColumns, found.least);
        }
    }

    // To be set whenever the history's size changes or the arithmetic ceases to be exact.
    void SetShrink() {
        shrink = isExact ? 1 : 1 - (5.5F * static_cast<float>(history.Size()) + 16) * 0x1p-24F;
    }

    std::uint32_t LeastColumn(std::size_t row) const {
        return static_cast<std::uint32_t>(now.column[row] & ~ExactFlag);
    }

    // What the cell of the row's least holds.
    float LeastValue(std::size_t row) {
        bool const isKnown = (now.column[row] & ExactFlag) != 0;
        return isKnown ? now.least[row] : Value(row, LeastColumn(row));
    }

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

    float LeastOfAll() {
        for (;;) {
            auto const [bound, row] = FindLeast(now.least, paddedRows);
            if (bound == Infinity) return bound;
            if (Settle(row) && now.least[row] == bound) return bound;
        }
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
        LookForFreeLeast(row);
        auto const bound = [&](float cost) { return (cost + rise[row]) * shrink - freeFall; };
        float least = bound(free.least[row]);
        float second = bound(free.second[row]);
        std::int32_t column = free.column[row];
        if (!history.UncoveredColumns().empty()) {
            LeastTwo const taken = FindLeastTakenBounds(byRow + row * paddedColumns, takenMask,
                                                        rise[row], shrink, fall, paddedColumns);
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
            other = FirstBoundAtMostZero(byRow + row * paddedColumns, rise[row], shrink, fall,
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
            BoundRow(byRow + row * paddedColumns, rise[row], shrink, fall, paddedColumns, scratch);
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
            float const candidate = scratch[other] = Value(row, other);
            if (candidate < value || (candidate == value && other < column)) {
                value = candidate;
                column = other;
            }
        }
        // A row that holds 0 is primed and asked no more.
        SetBounds(row, value, value == 0 ? 0 : LeastAbove(scratch, scratch, paddedColumns, value),
                  static_cast<std::int32_t>(column) | ExactFlag);
        replayed += paddedColumns / 8;
    }

    // Of a cell that is not covered.
    float Value(std::size_t row, std::size_t column) {
        float const cost = byRow[row * paddedColumns + column];
        if (isExact) return cost + rise[row] - fall[column];
        if (cost == Infinity) return cost;

        // Equal costs of a row have equal values as long as their columns are free.
        Known& ofFree = knownFree[row];
        if (takenMask[column] == 0) {
            if (ofFree.cost != cost || ofFree.columnAfter == 0) {
                if (cost == largest) return ValueOfLargest(row, column);
                ofFree = {1, 0, cost, cost};
            }
            return BringUpToDate(ofFree, row, column);
        }
        Known& cell = knownCells[row * KnownPerRow + column % KnownPerRow];
        auto const name = static_cast<std::uint32_t>(column + 1);
        if (cell.columnAfter != name) {
            cell = {name, 0, cost, cost};
            if (ofFree.cost == cost && ofFree.moves <= history.FreedomEnd(column)) {
                cell.moves = ofFree.moves;
                cell.value = ofFree.value;
            }
        }
        return BringUpToDate(cell, row, column);
    }

    // Of a free cell. Boxes far apart all cost the largest, and many rows are left with nothing
    // else: as long as they have not been covered they all hold the same there.
    float ValueOfLargest(std::size_t row, std::size_t column) {
        Known const start{1, 0, largest, largest};
        if (history.WasCovered(row)) {
            knownFree[row] = start;
            return BringUpToDate(knownFree[row], row, column);
        }
        if (knownLargest.columnAfter == 0) knownLargest = start;
        float const value = BringUpToDate(knownLargest, row, column);
        assert(value == history.Replay(largest, 0, row, column));
        knownFree[row] = knownLargest;
        return value;
    }

    float BringUpToDate(Known& known, std::size_t row, std::size_t column) {
        replayed += 8 + history.Size() - known.moves;
        known.value = history.Replay(known.value, known.moves, row, column);
        known.moves = static_cast<std::uint32_t>(history.Size());
        return known.value;
    }

    // Counted in moves of one cell, as `replayed` is; the divisors are from measurements.
    std::size_t CostOfRebasing() const {
        // Many moves ask for ever other cells, whose replay starts from the last rebasing.
        bool const areMany = earlierMoves + history.Size() >= 8 * rows;
        return rows * paddedColumns * (history.Size() + 32) / (areMany ? 256 : 32);
    }
    std::size_t CostOfDense() const {
        return rows * paddedColumns * (earlierMoves + history.Size() + 32) / 24;
    }

    // Brings every cell up to date and forgets how.
    void Rebase() {
        for (std::size_t column = 0; column < columns; ++column) {
            if (takenMask[column] == 0) savedFall[column] = freeFall;
        }
        if (isExact) {
            for (std::size_t row = 0; row < rows; ++row) {
                float* const cells = byRow + row * paddedColumns;
                BoundRow(cells, rise[row], 1, savedFall, paddedColumns, cells);
            }
        } else {
            ReplayAll();
        }
        Transpose(byRow, rows, columns, paddedColumns, paddedRows, byColumn);
        earlierMoves += history.Size();
        earlierReplayed += replayed;
        history.Clear();
        SetShrink();
        std::fill(rise, rise + rows, 0.0F);
        std::fill(savedFall, savedFall + columns, 0.0F);
        freeFall = 0;
        for (std::size_t column = 0; column < columns; ++column) {
            if (takenMask[column] == 0) fall[column] = 0;
        }
        std::fill(knownCells, knownCells + rows * KnownPerRow, Known{});
        std::fill(knownFree, knownFree + rows, Known{});
        knownLargest = {};
        replayed = 0;
        for (std::size_t row = 0; row < rows; ++row) LookForFreeLeast(row);
    }

    // Some columns at a time, so that what their moves subtract stays in the nearest cache.
    void ReplayAll() {
        std::vector<float> subtracted(MoveHistory::MovesPerWord * ColumnsAtOnce);
        std::size_t const words =
            (history.Size() + MoveHistory::MovesPerWord - 1) / MoveHistory::MovesPerWord;
        for (std::size_t first = 0; first < columns; first += ColumnsAtOnce) {
            for (std::size_t word = 0; word < words; ++word) {
                ReplayWord(word, first, subtracted.data());
            }
        }
    }

    // Takes columns from the first on, up to ColumnsAtOnce, through the moves of a word.
    void ReplayWord(std::size_t word, std::size_t first, float* subtracted) {
        std::size_t const end = std::min(columns, first + ColumnsAtOnce);
        for (std::size_t column = first; column < end; ++column) {
            SpreadMoves(word, history.UncoveredBits(column, word), ColumnsAtOnce,
                        subtracted + (column - first));
        }
        std::size_t row = 0;
        for (; row + RowsAtOnce <= rows; row += RowsAtOnce) {
            ReplayRows<RowsAtOnce>(word, row, first, end, subtracted);
        }
        for (; row < rows; ++row) ReplayRows<1>(word, row, first, end, subtracted);
    }

    template <std::size_t Count>
    void ReplayRows(std::size_t word, std::size_t row, std::size_t first, std::size_t end,
                    float const* subtracted) {
        float added[MoveHistory::MovesPerWord * Count];
        std::uint64_t rising = 0;
        for (std::size_t i = 0; i < Count; ++i) {
            std::uint64_t const rises = history.CoveredBits(row + i, word);
            SpreadMoves(word, rises, Count, added + i);
            rising |= rises;
        }
        for (std::size_t column = first; column < end; column += LaneMultiple) {
            ReplayMoves<Count>(added, rising, subtracted + (column - first), ColumnsAtOnce,
                               MovesOf(word), byRow + row * paddedColumns + column, paddedColumns);
        }
    }

    std::size_t MovesOf(std::size_t word) const {
        return std::min(MoveHistory::MovesPerWord,
                        history.Size() - word * MoveHistory::MovesPerWord);
    }

    // The amounts of a word's moves, a stride apart, or 0 where a move's bit is not set.
    void SpreadMoves(std::size_t word, std::uint64_t bits, std::size_t stride,
                     float* amounts) const {
        for (std::size_t i = 0; i < MovesOf(word); ++i) {
            amounts[i * stride] =
                (bits >> i & 1) != 0 ? history[word * MoveHistory::MovesPerWord + i] : 0;
        }
    }

    static constexpr std::size_t ColumnsAtOnce = 128;
    static constexpr std::size_t RowsAtOnce = 4;

    std::size_t rows;
    std::size_t columns;
    std::size_t paddedRows;
    std::size_t paddedColumns;
    float largest;
    float unit = 0;        // all costs are multiples of it
    bool isExact = false;  // and no sum needs rounding
    double total = 0;      // of all moves
    float shrink = 1;
    float freeFall = 0;        // the fall of every free column
    std::size_t replayed = 0;  // since the last rebasing
    std::size_t earlierReplayed = 0;
    std::size_t earlierMoves = 0;
    MoveHistory history;
    Marking marking;
    Workspace workspace;
    float* byRow;     // the costs, row after row
    float* byColumn;  // and column after column
    float* rise;      // of a covered row infinity, as it must not take part
    float* savedRise;
    float* fall;  // of a covered column -infinity
    float* savedFall;
    float* takenMask;  // 0 for a free column, infinity for another
    std::size_t firstFree = 0;
    float* scratch;
    RowBounds free;     // among the free columns; second: of those that might come before the least
    float* freeOthers;  // what all others cost at least; several may cost the least
    RowBounds now;      // the bounds of this phase
    Known* knownCells;
    Known* knownFree;
    Known knownLargest{};  // in a free column and a row that has never been covered
};

bool SolveDeferredLanes(float const* costs, Survey const& survey, std::size_t rows,
                        std::size_t columns, std::uint8_t* marks) {
    Deferred solver(costs, survey.largest, rows, columns);
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

bool SolveDeferred(float const* costs, Survey const& survey, std::size_t rows, std::size_t columns,
                   std::uint8_t* marks) {
    // Row and column numbers share 31 bits with a flag, and a phase must fit into the history.
    constexpr std::size_t MostLines = std::size_t{1} << 30;
    if (std::max(rows, columns) > MostLines) return false;
    if (std::min(rows, columns) + 2 > MoveHistory::MostMoves) return false;
    return HWY_DYNAMIC_DISPATCH(SolveDeferredLanes)(costs, survey, rows, columns, marks);
}

}  // namespace kes::algorithm::tracking_base::hungarian
#endif
