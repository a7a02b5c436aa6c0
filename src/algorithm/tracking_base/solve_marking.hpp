// Which zeros of an assignment are starred.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "algorithm/tracking_base/solve_workspace.hpp"

namespace kes::algorithm::tracking_base::hungarian {

constexpr std::size_t NotFound = std::numeric_limits<std::size_t>::max();

// A row and a column hold at most one star.
class Marking {
public:
    static constexpr std::uint32_t None = std::numeric_limits<std::uint32_t>::max();

    Marking(std::size_t rows, std::size_t columns) : rows(rows), columns(columns) {}

    // Before anything else, and twice as Workspace has it.
    void TakeArrays(Workspace& workspace) {
        starOfRow = TakeEmpty(workspace, rows);
        starOfColumn = TakeEmpty(workspace, columns);
    }

    std::size_t Rows() const { return rows; }
    std::size_t Columns() const { return columns; }

    // The star's column or row, or None.
    std::uint32_t StarOfRow(std::size_t row) const { return starOfRow[row]; }
    std::uint32_t StarOfColumn(std::size_t column) const { return starOfColumn[column]; }

    // The caller sees to it that no other star is left in the row or the column.
    void Star(std::size_t row, std::size_t column) {
        starOfRow[row] = static_cast<std::uint32_t>(column);
        starOfColumn[column] = static_cast<std::uint32_t>(row);
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
};

}  // namespace kes::algorithm::tracking_base::hungarian
