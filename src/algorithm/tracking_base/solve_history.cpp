#include "algorithm/tracking_base/solve_history.hpp"

#include <algorithm>
#include <bit>

namespace kes::algorithm::tracking_base::hungarian {
namespace {

constexpr std::size_t MovesPerWord = MoveHistory::MovesPerWord;

// The lowest `count` bits, or all.
std::uint64_t FirstBits(std::size_t count) {
    return count >= MovesPerWord ? ~std::uint64_t{0} : (std::uint64_t{1} << count) - 1;
}

// The bits for move `move` and after in the word that holds it.
std::uint64_t BitsFrom(std::size_t move) { return ~std::uint64_t{0} << move % MovesPerWord; }

// The bits of a word that starts at move `start` and stand for moves before `end`.
std::uint64_t BitsBefore(std::size_t start, std::size_t end) {
    return end <= start ? 0 : FirstBits(end - start);
}

}  // namespace

MoveHistory::MoveHistory(std::size_t rows, std::size_t columns)
    // Three to six moves a pair are usual; a full history is merely started again.
    : rows(rows),
      columns(columns),
      wordsPerLine(std::min(2 + std::min(rows, columns) / 5, MostMoves / MovesPerWord)) {}

void MoveHistory::TakeArrays(Workspace& workspace) {
    moves = workspace.Take<float>(wordsPerLine * MovesPerWord);
    covered = workspace.TakeZeroed<std::uint64_t>(rows * wordsPerLine);
    uncovered = workspace.TakeZeroed<std::uint64_t>(columns * wordsPerLine);
    freedomEnd = workspace.Take<std::size_t>(columns);
    uncoveredSince = workspace.Take<std::size_t>(columns);
    coveredRows = workspace.Take<Change>(std::min(rows, columns));
    uncoveredColumns = workspace.Take<Change>(std::min(rows, columns));
    if (freedomEnd != nullptr) std::fill(freedomEnd, freedomEnd + columns, Never);
}

void MoveHistory::EndPhase() {
    for (Change const& row : CoveredRows()) SetToEnd(covered + row.line * wordsPerLine, row.move);
    for (Change const& column : UncoveredColumns()) {
        SetToEnd(uncovered + column.line * wordsPerLine, column.move);
    }
    coveredCount = uncoveredCount = 0;
    phaseStart = size;
}

void MoveHistory::Clear() {
    std::fill(covered, covered + rows * wordsPerLine, 0);
    std::fill(uncovered, uncovered + columns * wordsPerLine, 0);
    for (std::size_t column = 0; column < columns; ++column) {
        if (freedomEnd[column] != Never) freedomEnd[column] = 0;
    }
    size = phaseStart = 0;
}

float MoveHistory::Replay(float value, std::size_t from, std::size_t row,
                          std::size_t column) const {
    // A zero stays zero until its row and its column are both covered.
    if (value == 0) from = FirstRise(from, row, column);
    std::size_t const freeUntil = freedomEnd[column];
    if (from < phaseStart) {
        std::uint64_t const* const rises = covered + row * wordsPerLine;
        std::uint64_t const* const falls = uncovered + column * wordsPerLine;
        std::uint64_t these = BitsFrom(from);
        bool isLast = false;
        for (std::size_t word = from / MovesPerWord; !isLast; ++word) {
            std::size_t const start = word * MovesPerWord;
            isLast = phaseStart <= start + MovesPerWord;
            if (isLast) these &= BitsBefore(start, phaseStart);
            float const* const amounts = moves + start;
            std::uint64_t const adds = rises[word] & these;
            std::uint64_t const subtracts = (falls[word] | BitsBefore(start, freeUntil)) & these;
            these = BitsFrom(0);
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
    }
    std::size_t const since = freeUntil == Never ? phaseStart : uncoveredSince[column];
    for (std::size_t move = std::max(from, since); move < size; ++move) value -= moves[move];
    return value;
}

bool MoveHistory::WasCovered(std::size_t row) const {
    std::uint64_t const* const rises = covered + row * wordsPerLine;
    return std::any_of(rises, rises + wordsPerLine, [](std::uint64_t bits) { return bits != 0; });
}

std::uint64_t MoveHistory::CoveredBits(std::size_t row, std::size_t word) const {
    return covered[row * wordsPerLine + word];
}

std::uint64_t MoveHistory::UncoveredBits(std::size_t column, std::size_t word) const {
    return uncovered[column * wordsPerLine + word] |
           BitsBefore(word * MovesPerWord, freedomEnd[column]);
}

// The first move from `from` on, but not of this phase, that found both lines covered.
std::size_t MoveHistory::FirstRise(std::size_t from, std::size_t row, std::size_t column) const {
    if (from >= phaseStart) return from;
    std::uint64_t const* const rises = covered + row * wordsPerLine;
    std::uint64_t these = BitsFrom(from);
    for (std::size_t word = from / MovesPerWord; word * MovesPerWord < phaseStart; ++word) {
        std::uint64_t const found = rises[word] & ~UncoveredBits(column, word) & these;
        if (found != 0) {
            return word * MovesPerWord + static_cast<std::size_t>(std::countr_zero(found));
        }
        these = BitsFrom(0);
    }
    return phaseStart;
}

void MoveHistory::SetToEnd(std::uint64_t* words, std::size_t from) const {
    std::uint64_t these = BitsFrom(from);
    for (std::size_t word = from / MovesPerWord; word * MovesPerWord < size; ++word) {
        words[word] |= these & BitsBefore(word * MovesPerWord, size);
        these = BitsFrom(0);
    }
}

}  // namespace kes::algorithm::tracking_base::hungarian
