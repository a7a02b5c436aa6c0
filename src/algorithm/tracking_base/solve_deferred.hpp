// The assignment solver that leaves the matrix as it was given and works a cell out when a step
// depends on it. For large matrices without negative costs.
//
// HOW IT WORKS
//
// A move adds its minimum m to covered rows and subtracts it from uncovered columns, and each cell
// rounds each time. The steps ask only where the first uncovered zero is and what the least
// uncovered value is, and almost every cell is far from being either. Two things can be had of a
// cell:
//
// - Its bound, which is cheap and never above the value:
//
//       bound = (cost + rise of its row) * shrink - fall of its column
//
//   The rise is the sum of all moves when the row was covered, the fall that of all moves when the
//   column was uncovered (MoveSums). In exact numbers cost + rise - fall is the value. In single
//   precision each addition of m errs by at most 2^-24 of a result that is at most cost + rise,
//   with all earlier errors; each subtraction by at most 2^-24 of what it leaves, which is less.
//   (That values stay between 0 and cost + rise is where costs must not be negative.) After T moves
//   a value is off by at most 2T * 2^-24 * (cost + rise), times 1 + 2^-6 for errors of errors with
//   T
//   <= 2^16. The sums rise and fall err by at most 2T and T such parts themselves, the three
//   operations by three. shrink = 1 - (5.5 T + 16) * 2^-24 is below all of these together. Numbers
//   below 2^-125 do not round in sums, so nothing changes for them.
//
// - Its value, exactly, by replaying the moves on this one cell (CellValues).
//
// Subtracting m keeps the order of values also when it rounds: a <= b stays a <= b. So a bound
// stays a bound when it is treated like an uncovered cell's value. Each row keeps the least of its
// cells' bounds with its column, and a second bound for all its other cells (RowBounds); each move
// is one subtraction for both.
//
// A row is settled when its least is the exact value of its cell and less than the second, or when
// the whole row has been looked at: cells whose bounds do not reach the least exact value are out,
// the others are replayed. Steps 3 and 5 then read off the rows:
//
// - the first zero is in the first row whose least is at most 0 and, when settled, still 0;
// - the minimum is the least of all rows once the row that holds it is settled, as no other row can
//   be below its own bound.
//
// When a column is uncovered, its bounds are merged into the rows'. Every search starts from each
// row's least costs among the free columns, those without a star (FreeCosts), which all have the
// same fall. When a row's best free column is taken, its stored second-best cost is the row's
// bound. Only rows that are asked look for their least again, and only if that bound is still the
// least is a value replayed.
//
// Where all costs are whole multiples of one unit and no sum reaches 2^24 units, nothing ever
// rounds: shrink is 1 and a bound is the value.
//
// When replaying has cost more than bringing the whole matrix up to date would, that is done and
// the history starts again (Replay). When all replaying so far has cost more than keeping every
// cell up to date would have, the dense solver goes on from there.
#pragma once

#include <cstddef>
#include <cstdint>

#include "algorithm/tracking_base/solve_survey.hpp"

namespace kes::algorithm::tracking_base::hungarian {

// costs: rows * columns of them, column after column, neither number 0; valid and not negative, as
// surveyed.
// marks: as many, all 0; receives 1 for a pair and 2 for a prime that is left.
// Returns false, with the marks untouched, where sums could come near the largest float.
bool SolveDeferred(float const* costs, Survey const& survey, std::size_t rows, std::size_t columns,
                   std::uint8_t* marks);

}  // namespace kes::algorithm::tracking_base::hungarian
