#include "algorithm/tracking_base/solve_history.hpp"

#include <algorithm>
#include <bit>

namespace kes::algorithm::tracking_base::hungarian {
namespace {

constexpr std::size_t MovesPerWord = 64;

// The lowest `count` bits, or all.
std::uint64_t FirstBits(std::size_t count) {
    return count >= MovesPerWord ? ~std::uint64_t{0} : (std::uint64_t{1} << count) - 1;
}

// The bits of a word that starts at move `start` and stand for moves before `end`.
std::uint64_t BitsBefore(std::size_t start, std::size_t end) {
    return end <= start ? 0 : FirstBits(end - start);
}

}  // namespace

MoveHistory::MoveHistory(std::size_t rows, std::size_t columns)
    // About three moves a pair are usual; a full history is merely started again.
    : wordsPerLine(2 + std::min(rows, columns) / 10),
      moves(wordsPerLine * MovesPerWord),
      covered(rows * wordsPerLine),
      uncovered(columns * wordsPerLine),
      freedomEnd(columns, Never),
      uncoveredSince(columns) {
    coveredRows.reserve(std::min(rows, columns));
    uncoveredColumns.reserve(std::min(rows, columns));
}

void MoveHistory::CoverRow(std::size_t row) { coveredRows.push_back({row, size}); }

void MoveHistory::UncoverColumn(std::size_t column) {
    uncoveredColumns.push_back({column, size});
    uncoveredSince[column] = size;
}

void MoveHistory::EndFreedom(std::size_t column) { freedomEnd[column] = size; }

void MoveHistory::EndPhase() {
    for (Change const& row : coveredRows) SetToEnd(&covered[row.line * wordsPerLine], row.move);
    for (Change const& column : uncoveredColumns) {
        SetToEnd(&uncovered[column.line * wordsPerLine], column.move);
    }
    coveredRows.clear();
    uncoveredColumns.clear();
    phaseStart = size;
}

void MoveHistory::Clear() {
    std::fill(covered.begin(), covered.end(), 0);
    std::fill(uncovered.begin(), uncovered.end(), 0);
    for (std::size_t& end : freedomEnd) end = end == Never ? Never : 0;
    size = phaseStart = 0;
}

float MoveHistory::Replay(float value, std::size_t from, std::size_t row,
                          std::size_t column) const {
    for (std::size_t word = from / MovesPerWord; word * MovesPerWord < phaseStart; ++word) {
        std::size_t const start = word * MovesPerWord;
        float const* const amounts = &moves[start];
        std::uint64_t const these = BitsBefore(start, phaseStart) & ~BitsBefore(start, from);
        std::uint64_t const adds = CoveredBits(row, word) & these;
        std::uint64_t const subtracts = UncoveredBits(column, word) & these;
        if (adds == 0) {
            for (std::uint64_t left = subtracts; left != 0; left &= left - 1) {
                value -= amounts[std::countr_zero(left)];
            }
            continue;
        }
        for (std::uint64_t left = adds | subtracts; left != 0; left &= left - 1) {
            auto const move = std::countr_zero(left);
            value += (adds >> move & 1) != 0 ? amounts[move] : 0;
            value -= (subtracts >> move & 1) != 0 ? amounts[move] : 0;
        }
    }
    std::size_t const since = freedomEnd[column] == Never ? phaseStart : uncoveredSince[column];
    for (std::size_t move = std::max(from, since); move < size; ++move) value -= moves[move];
    return value;
}

std::uint64_t MoveHistory::CoveredBits(std::size_t row, std::size_t word) const {
    return covered[row * wordsPerLine + word];
}

std::uint64_t MoveHistory::UncoveredBits(std::size_t column, std::size_t word) const {
    return uncovered[column * wordsPerLine + word] |
           BitsBefore(word * MovesPerWord, freedomEnd[column]);
}

void MoveHistory::SetToEnd(std::uint64_t* words, std::size_t from) const {
    for (std::size_t word = from / MovesPerWord; word * MovesPerWord < size; ++word) {
        std::size_t const start = word * MovesPerWord;
        words[word] |= BitsBefore(start, size) & ~BitsBefore(start, from);
    }
}

}  // namespace kes::algorithm::tracking_base::hungarian
