#include "algorithm/tracking_base/solve_values.hpp"

#include <algorithm>
#include <cassert>

namespace kes::algorithm::tracking_base::hungarian {

void CellValues::TakeArrays(Workspace& workspace) {
    history.TakeArrays(workspace);
    knownCells = workspace.TakeZeroed<Known>(rows * KnownPerRow);
    knownFree = workspace.TakeZeroed<Known>(rows);
}

void CellValues::Restart() {
    history.Clear();
    std::fill(knownCells, knownCells + rows * KnownPerRow, Known{});
    std::fill(knownFree, knownFree + rows, Known{});
    knownLargest = {};
    replayed = 0;
}

// Of a free cell. Boxes far apart all cost the largest, and many rows are left with nothing else:
// as long as they have not been covered they all hold the same there.
float CellValues::ValueOfLargest(std::size_t row, std::size_t column, float largest) {
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

}  // namespace kes::algorithm::tracking_base::hungarian
