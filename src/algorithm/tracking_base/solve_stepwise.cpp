#include "algorithm/tracking_base/solve_stepwise.hpp"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <vector>

namespace kes::algorithm::tracking_base::hungarian {
namespace {

constexpr float Forbidden = std::numeric_limits<float>::max();
constexpr float Infinity = std::numeric_limits<float>::infinity();
constexpr std::size_t None = static_cast<std::size_t>(-1);

class Stepwise {
public:
    Stepwise(float const* costs, std::size_t rows, std::size_t columns)
        : rows(rows),
          columns(columns),
          cells(rows * columns),
          rowCovered(rows),
          columnCovered(columns),
          starOfRow(rows, None),
          starOfColumn(columns, None),
          primeOfRow(rows, None) {
        for (std::size_t column = 0; column < columns; ++column) {
            for (std::size_t row = 0; row < rows; ++row) {
                Cell(row, column) = costs[column * rows + row];
            }
        }
    }

    void Run() {
        StarZeros();
        std::size_t stars =
            rows - static_cast<std::size_t>(std::count(starOfRow.begin(), starOfRow.end(), None));
        while (stars < rows && Augment()) ++stars;
    }

    void WriteMarks(std::uint8_t* marks) const {
        for (std::size_t row = 0; row < rows; ++row) {
            if (starOfRow[row] != None) marks[starOfRow[row] * rows + row] = 1;
            if (primeOfRow[row] != None) marks[primeOfRow[row] * rows + row] = 2;
        }
    }

private:
    float& Cell(std::size_t row, std::size_t column) { return cells[row * columns + column]; }

    void StarZeros() {
        for (std::size_t row = 0; row < rows; ++row) {
            for (std::size_t column = 0; column < columns; ++column) {
                if (Cell(row, column) == 0 && starOfColumn[column] == None) {
                    starOfRow[row] = column;
                    starOfColumn[column] = row;
                    break;
                }
            }
        }
    }

    // Makes one more pair and returns true, or leaves the primes and returns false.
    bool Augment() {
        std::fill(rowCovered.begin(), rowCovered.end(), 0);
        for (std::size_t column = 0; column < columns; ++column) {
            columnCovered[column] = starOfColumn[column] != None;
        }
        std::fill(primeOfRow.begin(), primeOfRow.end(), None);
        for (;;) {
            std::size_t const row = PrimeFirstZero();
            if (row == None) {
                if (!MoveMinimum()) return false;
                continue;
            }
            std::size_t const star = starOfRow[row];
            if (star == None) {
                FlipPath(row);
                std::fill(primeOfRow.begin(), primeOfRow.end(), None);
                return true;
            }
            rowCovered[row] = 1;
            columnCovered[star] = 0;
        }
    }

    std::size_t PrimeFirstZero() {
        for (std::size_t row = 0; row < rows; ++row) {
            if (rowCovered[row]) continue;
            for (std::size_t column = 0; column < columns; ++column) {
                if (Cell(row, column) == 0 && !columnCovered[column]) {
                    primeOfRow[row] = column;
                    return row;
                }
            }
        }
        return None;
    }

    // From the primed zero of a row without a star: a star in the prime's column gives way to the
    // prime of its own row, and so on to a column without a star.
    void FlipPath(std::size_t row) {
        while (row != None) {
            std::size_t const column = primeOfRow[row];
            std::size_t const next = starOfColumn[column];
            starOfRow[row] = column;
            starOfColumn[column] = row;
            row = next;
        }
    }

    // False where there is no minimum to move.
    bool MoveMinimum() {
        float minimum = Forbidden;
        for (std::size_t row = 0; row < rows; ++row) {
            if (rowCovered[row]) continue;
            for (std::size_t column = 0; column < columns; ++column) {
                if (!columnCovered[column]) minimum = std::min(minimum, Cell(row, column));
            }
        }
        // Negative infinity is the trace of an overflow: moving it would only make NaN.
        if (minimum == Forbidden || minimum == -Infinity) return false;
        for (std::size_t row = 0; row < rows; ++row) {
            for (std::size_t column = 0; column < columns; ++column) {
                // Two roundings, and a forbidden value in between stays as it is.
                float& cell = Cell(row, column);
                if (rowCovered[row] && cell != Forbidden) cell += minimum;
                if (!columnCovered[column] && cell != Forbidden) cell -= minimum;
            }
        }
        return true;
    }

    std::size_t rows;
    std::size_t columns;
    std::vector<float> cells;  // row after row
    std::vector<unsigned char> rowCovered;
    std::vector<unsigned char> columnCovered;
    std::vector<std::size_t> starOfRow;     // its column
    std::vector<std::size_t> starOfColumn;  // its row
    std::vector<std::size_t> primeOfRow;    // its column
};

}  // namespace

void SolveStepwise(float const* costs, std::size_t rows, std::size_t columns, std::uint8_t* marks) {
    Stepwise solver(costs, rows, columns);
    solver.Run();
    solver.WriteMarks(marks);
}

}  // namespace kes::algorithm::tracking_base::hungarian
