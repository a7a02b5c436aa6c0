// The five steps of the method, for both kinds of matrix: star the zeros (1), cover the starred
// columns (2), prime an uncovered zero (3), augment (4), move the minimum (5).
// Included once for each instruction set by foreach_target.h.
//
// A matrix has a Marking `marking` and answers, for what is uncovered:
//   FirstFreeZero(row)  the first column without a star in which the row holds 0, or NotFound
//   Take(column)        the column gets its first star, before the first search
//   StartSearch(stars)  covers the columns with a star; false: another kind is to go on
//   FirstRowWithZero()  the first row that holds 0, or NotFound
//   PrimeOf(row)        the column of that 0. Asked of that row, then of covered ones, latest first
//   Cover(row, column)  covers the row and uncovers the column of its star
//   LeastUncovered()    the least value, infinity if there is none
//   Move(minimum)       adds it to covered rows, subtracts it from uncovered columns; false: this
//                       kind cannot
//   EndSearch(column)   uncovers everything; the column has got its first star
//   VisitCovered(visit) calls visit(row) for each covered row, latest first

#if defined(KES_SOLVE_STEPS_INL) == defined(HWY_TARGET_TOGGLE)
#ifdef KES_SOLVE_STEPS_INL
#undef KES_SOLVE_STEPS_INL
#else
#define KES_SOLVE_STEPS_INL
#endif

#include <cmath>
#include <cstddef>
#include <cstdint>

#include <hwy/highway.h>

#include "algorithm/tracking_base/solve_marking.hpp"

HWY_BEFORE_NAMESPACE();
namespace kes::algorithm::tracking_base::hungarian::HWY_NAMESPACE {

// Returns how many stars there are.
template <class Matrix>
std::size_t StarZeros(Matrix& matrix) {
    std::size_t stars = 0;
    for (std::size_t row = 0; row < matrix.marking.Rows(); ++row) {
        std::size_t const column = matrix.FirstFreeZero(row);
        if (column == NotFound) continue;
        matrix.marking.Star(row, column);
        matrix.Take(column);
        ++stars;
    }
    return stars;
}

// From a row without a star: a star in the prime's column gives way to the prime of its own row,
// and so on. Returns the column at the end, which had none.
template <class Matrix>
std::size_t FlipPath(Matrix& matrix, std::size_t row) {
    for (;;) {
        std::size_t const column = matrix.PrimeOf(row);
        std::uint32_t const next = matrix.marking.StarOfColumn(column);
        matrix.marking.Star(row, column);
        if (next == Marking::None) return column;
        row = next;
    }
}

enum class Ending { Found, NoneLeft, NotStarted, NotMoved };

template <class Matrix>
Ending FindPair(Matrix& matrix) {
    for (;;) {
        std::size_t const row = matrix.FirstRowWithZero();
        if (row == NotFound) {
            float const minimum = matrix.LeastUncovered();
            // Negative infinity is the trace of an overflow: moving it would only make NaN.
            if (std::isinf(minimum)) return Ending::NoneLeft;
            if (!matrix.Move(minimum)) return Ending::NotMoved;
            continue;
        }
        std::uint32_t const star = matrix.marking.StarOfRow(row);
        if (star == Marking::None) {
            matrix.EndSearch(FlipPath(matrix, row));
            return Ending::Found;
        }
        matrix.Cover(row, star);
    }
}

// All pairs, from a matrix that has so many stars.
template <class Matrix>
Ending FindPairs(Matrix& matrix, std::size_t stars) {
    for (; stars < matrix.marking.Rows(); ++stars) {
        if (!matrix.StartSearch(stars)) return Ending::NotStarted;
        Ending const ending = FindPair(matrix);
        if (ending != Ending::Found) return ending;
    }
    return Ending::Found;
}

// Of zeroed marks, column after column: 1 for a star, 2 for a prime of a search without end.
template <class Matrix>
void WriteMarks(Matrix& matrix, std::uint8_t* marks) {
    std::size_t const rows = matrix.marking.Rows();
    for (std::size_t row = 0; row < rows; ++row) {
        std::uint32_t const star = matrix.marking.StarOfRow(row);
        if (star != Marking::None) marks[star * rows + row] = 1;
    }
    matrix.VisitCovered([&](std::size_t row) { marks[matrix.PrimeOf(row) * rows + row] = 2; });
}

}  // namespace kes::algorithm::tracking_base::hungarian::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
