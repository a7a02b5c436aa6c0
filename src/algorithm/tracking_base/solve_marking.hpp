// Which zeros of an assignment are starred and which are primed.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "algorithm/tracking_base/solve_workspace.hpp"

namespace kes::algorithm::tracking_base::hungarian {

// A row and a column hold at most one star, a row at most one prime.
class Marking {
public:
    static constexpr std::uint32_t None = std::numeric_limits<std::uint32_t>::max();

    Marking(std::size_t rows, std::size_t columns) : rows(rows), columns(columns) {}

    // Before anything else, and twice as Workspace has it.
    void TakeArrays(Workspace& workspace) {
        starOfRow = TakeEmpty(workspace, rows);
        starOfColumn = TakeEmpty(workspace, columns);
        primeOfRow = TakeEmpty(workspace, rows);
    }

    // The star's column, or None.
    std::uint32_t StarOfRow(std::size_t row) const { return starOfRow[row]; }
    bool HasStar(std::size_t column) const { return starOfColumn[column] != None; }

    void Star(std::size_t row, std::size_t column) {
        starOfRow[row] = static_cast<std::uint32_t>(column);
        starOfColumn[column] = static_cast<std::uint32_t>(row);
    }
    void Prime(std::size_t row, std::size_t column) {
        primeOfRow[row] = static_cast<std::uint32_t>(column);
    }
    void EndPrime(std::size_t row) { primeOfRow[row] = None; }

    // From the prime of a row without a star: a star in the prime's column gives way to the prime
    // of its own row, and so on. Returns the column at the end, which had none.
    std::size_t FlipPath(std::size_t row) {
        for (;;) {
            std::uint32_t const column = primeOfRow[row];
            std::uint32_t const next = starOfColumn[column];
            Star(row, column);
            EndPrime(row);
            if (next == None) return column;
            row = next;
        }
    }

    // Of zeroed marks, column after column.
    void WriteTo(std::uint8_t* marks) const {
        for (std::size_t row = 0; row < rows; ++row) {
            if (starOfRow[row] != None) marks[starOfRow[row] * rows + row] = 1;
            if (primeOfRow[row] != None) marks[primeOfRow[row] * rows + row] = 2;
        }
    }

private:
    static std::uint32_t* TakeEmpty(Workspace& workspace, std::size_t count) {
        auto* const lines = workspace.Take<std::uint32_t>(count);
        if (lines != nullptr) std::fill_n(lines, count, None);
        return lines;
    }

    std::size_t rows;
    std::size_t columns;
    std::uint32_t* starOfRow;     // its column
    std::uint32_t* starOfColumn;  // its row
    std::uint32_t* primeOfRow;    // its column
};

}  // namespace kes::algorithm::tracking_base::hungarian
