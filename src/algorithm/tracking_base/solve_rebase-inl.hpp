// Brings every cell of a matrix up to date: takes it through the moves of a history.
// Included once for each instruction set by foreach_target.h.

#if defined(KES_SOLVE_REBASE_INL) == defined(HWY_TARGET_TOGGLE)
#ifdef KES_SOLVE_REBASE_INL
#undef KES_SOLVE_REBASE_INL
#else
#define KES_SOLVE_REBASE_INL
#endif

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include <hwy/highway.h>

#include "algorithm/tracking_base/solve_history.hpp"
#include "algorithm/tracking_base/solve_lanes-inl.hpp"

HWY_BEFORE_NAMESPACE();
namespace kes::algorithm::tracking_base::hungarian::HWY_NAMESPACE {

// Takes LaneMultiple cells of each of a few rows through at most 64 moves: each adds its own to all
// of a row, then subtracts from each column its own. `added` has the rows of a move side by side,
// and `rising` a bit for each move that adds anything; other numbers are strides. Rows are taken
// together because each step of one waits for the step before.
template <std::size_t Rows>
HWY_INLINE void ReplayMoves(float const* added, std::uint64_t rising, float const* subtracted,
                            std::size_t subtractedStride, std::size_t moves, float* cells,
                            std::size_t rowStride) {
    Floats const d;
    for (std::size_t i = 0; i < LaneMultiple; i += hn::Lanes(d)) {
        hn::Vec<Floats> values[Rows];
        for (std::size_t row = 0; row < Rows; ++row) {
            values[row] = hn::Load(d, cells + row * rowStride + i);
        }
        for (std::size_t move = 0; move < moves; ++move) {
            if ((rising >> move & 1) != 0) {
                for (std::size_t row = 0; row < Rows; ++row) {
                    values[row] = hn::Add(values[row], hn::Set(d, added[move * Rows + row]));
                }
            }
            auto const fall = hn::LoadU(d, subtracted + move * subtractedStride + i);
            for (auto& value : values) value = hn::Sub(value, fall);
        }
        for (std::size_t row = 0; row < Rows; ++row) {
            hn::Store(values[row], d, cells + row * rowStride + i);
        }
    }
}

// Between searches. Some columns at a time, so that what their moves subtract stays in the nearest
// cache.
class Replay {
public:
    // cells: row after row, `stride` apart.
    Replay(MoveHistory const& history, std::size_t rows, std::size_t columns, float* cells,
           std::size_t stride)
        : history(history), rows(rows), columns(columns), cells(cells), stride(stride) {}

    void Run() {
        for (std::size_t first = 0; first < columns; first += ColumnsAtOnce) {
            for (std::size_t start = 0; start < history.Size(); start += Word) {
                TakeColumnsThroughWord(start, first);
            }
        }
    }

private:
    static constexpr std::size_t ColumnsAtOnce = 128;
    static constexpr std::size_t RowsAtOnce = 4;
    static constexpr std::size_t Word = MoveHistory::MovesPerWord;

    // Up to ColumnsAtOnce columns from the first on, through up to a word's moves from `start` on.
    void TakeColumnsThroughWord(std::size_t start, std::size_t first) {
        std::size_t const end = std::min(columns, first + ColumnsAtOnce);
        for (std::size_t column = first; column < end; ++column) {
            SpreadMoves(start, history.UncoveredBits(column, start / Word), ColumnsAtOnce,
                        &subtracted[column - first]);
        }
        std::size_t row = 0;
        for (; row + RowsAtOnce <= rows; row += RowsAtOnce) {
            TakeRows<RowsAtOnce>(start, row, first, end);
        }
        for (; row < rows; ++row) TakeRows<1>(start, row, first, end);
    }

    template <std::size_t Count>
    void TakeRows(std::size_t start, std::size_t row, std::size_t first, std::size_t end) {
        float added[Word * Count];
        std::uint64_t rising = 0;
        for (std::size_t i = 0; i < Count; ++i) {
            std::uint64_t const rises = history.CoveredBits(row + i, start / Word);
            SpreadMoves(start, rises, Count, added + i);
            rising |= rises;
        }
        for (std::size_t column = first; column < end; column += LaneMultiple) {
            ReplayMoves<Count>(added, rising, &subtracted[column - first], ColumnsAtOnce,
                               MovesFrom(start), cells + row * stride + column, stride);
        }
    }

    std::size_t MovesFrom(std::size_t start) const {
        return std::min(Word, history.Size() - start);
    }

    // The amounts of a word's moves, `apart` elements from one to the next, or 0 where a move's bit
    // is not set.
    void SpreadMoves(std::size_t start, std::uint64_t bits, std::size_t apart,
                     float* amounts) const {
        for (std::size_t i = 0; i < MovesFrom(start); ++i) {
            amounts[i * apart] = (bits >> i & 1) != 0 ? history[start + i] : 0;
        }
    }

    MoveHistory const& history;
    std::size_t rows;
    std::size_t columns;
    float* cells;
    std::size_t stride;
    std::vector<float> subtracted = std::vector<float>(Word * ColumnsAtOnce);
};

}  // namespace kes::algorithm::tracking_base::hungarian::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
