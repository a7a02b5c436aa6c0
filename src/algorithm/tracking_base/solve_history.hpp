// What the assignment solver has moved so far, and which rows and columns took part: enough to
// bring any one cell up to date without touching the others.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>

#include "algorithm/tracking_base/solve_workspace.hpp"

namespace kes::algorithm::tracking_base::hungarian {

// A move adds its amount to the covered rows and then subtracts it from the uncovered columns. The
// moves between two augmentations are a phase; within it rows only become covered and columns only
// become uncovered. A column without a star is free: it is never covered.
class MoveHistory {
public:
    MoveHistory(std::size_t rows, std::size_t columns);

    // Before anything else, and twice as Workspace has it.
    void TakeArrays(Workspace& workspace);

    std::size_t Size() const { return size; }
    std::size_t Room() const { return wordsPerLine * MovesPerWord - size; }
    float operator[](std::size_t move) const { return moves[move]; }

    // Requires that there is room.
    void Append(float move) { moves[size++] = move; }

    // From the next move on, until the end of the phase.
    void CoverRow(std::size_t row) { coveredRows[coveredCount++] = {row, size}; }
    void UncoverColumn(std::size_t column) {
        uncoveredColumns[uncoveredCount++] = {column, size};
        uncoveredSince[column] = size;
    }

    // A column has its first star. Between phases.
    void EndFreedom(std::size_t column) { freedomEnd[column] = size; }
    std::size_t FreedomEnd(std::size_t column) const { return freedomEnd[column]; }

    // The lines covered or uncovered in this phase, in order, and the first moves that they saw so.
    struct Change {
        std::size_t line;  // row or column
        std::size_t move;
    };
    std::span<Change const> CoveredRows() const { return {coveredRows, coveredCount}; }
    std::span<Change const> UncoveredColumns() const { return {uncoveredColumns, uncoveredCount}; }

    void EndPhase();

    // Forgets the moves, but not which columns are free. Between phases.
    void Clear();

    // The value, after all moves, of a cell that held `value` after the first `from` of them. Each
    // move rounds as it did, or would have done, in the matrix. Requires that in this phase the row
    // has not been covered and that the column is uncovered.
    float Replay(float value, std::size_t from, std::size_t row, std::size_t column) const;

    // Whether a move found the row covered. Without this phase.
    bool WasCovered(std::size_t row) const;

    // Whether the row was covered, the column uncovered, at moves 64 * word and after, as bits from
    // the least significant on. Without this phase.
    std::uint64_t CoveredBits(std::size_t row, std::size_t word) const;
    std::uint64_t UncoveredBits(std::size_t column, std::size_t word) const;

    static constexpr std::size_t MovesPerWord = 64;
    static constexpr std::size_t MostMoves = std::size_t{1} << 16;

private:
    std::size_t FirstRise(std::size_t from, std::size_t row, std::size_t column) const;
    void SetToEnd(std::uint64_t* words, std::size_t from) const;

    static constexpr std::size_t Never = std::numeric_limits<std::size_t>::max();

    std::size_t rows;
    std::size_t columns;
    std::size_t wordsPerLine;
    std::size_t size = 0;
    std::size_t phaseStart = 0;
    std::size_t coveredCount = 0;
    std::size_t uncoveredCount = 0;
    float* moves;
    std::uint64_t* covered;       // of each row
    std::uint64_t* uncovered;     // of each column, without the time when it was free
    std::size_t* freedomEnd;      // of each column
    std::size_t* uncoveredSince;  // of each column that is uncovered in this phase
    Change* coveredRows;
    Change* uncoveredColumns;
};

}  // namespace kes::algorithm::tracking_base::hungarian
