// The exact values of single cells, worked out when asked for by replaying the moves on them.
#pragma once

#include <cstddef>
#include <cstdint>

#include "algorithm/tracking_base/solve_history.hpp"
#include "algorithm/tracking_base/solve_workspace.hpp"

namespace kes::algorithm::tracking_base::hungarian {

// Remembers values that it has worked out and the moves up to which they hold, so that a later
// replay starts from there.
class CellValues {
public:
    CellValues(std::size_t rows, std::size_t columns) : history(rows, columns), rows(rows) {}

    // Before anything else, and twice as Workspace has it.
    void TakeArrays(Workspace& workspace);

    // Of a cell of finite cost that is not covered; `isFree`: its column has no star. `largest`:
    // the largest cost.
    float Value(std::size_t row, std::size_t column, float cost, bool isFree, float largest);

    // Counted in moves of one cell, since the start or the last Restart.
    std::size_t Replayed() const { return replayed; }
    void CountReplayed(std::size_t moves) { replayed += moves; }

    // Costs are as all moves have left them: forgets the moves. Between searches.
    void Restart();

    MoveHistory history;

private:
    // A cell's value as of the first `moves` moves. All zero is nothing known.
    struct Known {
        std::uint32_t columnAfter;  // the column + 1
        std::uint32_t moves;
        float cost;  // before all moves
        float value;
    };
    static constexpr std::size_t KnownPerRow = 8;

    float ValueOfLargest(std::size_t row, std::size_t column, float largest);
    float BringUpToDate(Known& known, std::size_t row, std::size_t column);

    std::size_t rows;
    std::size_t replayed = 0;
    Known* knownCells;     // KnownPerRow of each row
    Known* knownFree;      // one of each row, in any free column of that cost
    Known knownLargest{};  // in a free column and a row that has never been covered
};

inline float CellValues::Value(std::size_t row, std::size_t column, float cost, bool isFree,
                               float largest) {
    // Equal costs of a row have equal values as long as their columns are free.
    Known& ofFree = knownFree[row];
    if (isFree) {
        if (ofFree.cost != cost || ofFree.columnAfter == 0) {
            if (cost == largest) return ValueOfLargest(row, column, largest);
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

inline float CellValues::BringUpToDate(Known& known, std::size_t row, std::size_t column) {
    replayed += 8 + history.Size() - known.moves;
    known.value = history.Replay(known.value, known.moves, row, column);
    known.moves = static_cast<std::uint32_t>(history.Size());
    return known.value;
}

}  // namespace kes::algorithm::tracking_base::hungarian
