// What the assignment solver has moved so far, and which rows and columns took part: enough to
// bring any one cell up to date without touching the others.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

namespace kes::algorithm::tracking_base::hungarian {

// A move adds its amount to the covered rows and then subtracts it from the uncovered columns. The
// moves between two augmentations are a phase; within it rows only become covered and columns only
// become uncovered. A column without a star is free: it is never covered.
class MoveHistory {
public:
    MoveHistory(std::size_t rows, std::size_t columns);

    std::size_t Size() const { return size; }
    std::size_t Room() const { return moves.size() - size; }
    float operator[](std::size_t move) const { return moves[move]; }

    // Requires that there is room.
    void Append(float move) { moves[size++] = move; }

    // From the next move on, until the end of the phase.
    void CoverRow(std::size_t row);
    void UncoverColumn(std::size_t column);

    // A column has its first star. Between phases.
    void EndFreedom(std::size_t column);

    void EndPhase();

    // Forgets the moves, but not which columns are free. Between phases.
    void Clear();

    // The value, after all moves, of a cell that held `value` after the first `from` of them. Each
    // move rounds as it did, or would have done, in the matrix. Requires that in this phase the row
    // has not been covered and that the column is uncovered.
    float Replay(float value, std::size_t from, std::size_t row, std::size_t column) const;

    // Whether the row was covered, the column uncovered, at moves 64 * word and after, as bits from
    // the least significant on. Between phases.
    std::uint64_t CoveredBits(std::size_t row, std::size_t word) const;
    std::uint64_t UncoveredBits(std::size_t column, std::size_t word) const;

private:
    using Words = std::vector<std::uint64_t>;
    struct Change {
        std::size_t line;  // row or column
        std::size_t move;  // the first that it took part in
    };

    void SetToEnd(std::uint64_t* words, std::size_t from) const;

    static constexpr std::size_t Never = std::numeric_limits<std::size_t>::max();

    std::size_t wordsPerLine;
    std::vector<float> moves;
    std::size_t size = 0;
    std::size_t phaseStart = 0;
    Words covered;                            // of each row
    Words uncovered;                          // of each column, without the time when it was free
    std::vector<std::size_t> freedomEnd;      // of each column
    std::vector<std::size_t> uncoveredSince;  // of each column that is uncovered in this phase
    std::vector<Change> coveredRows;          // in this phase
    std::vector<Change> uncoveredColumns;
};

}  // namespace kes::algorithm::tracking_base::hungarian
