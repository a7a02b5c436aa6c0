// The assignment solver for costs that are not negative. It gives the marks of the five steps and
// does next to none of their work on the matrix.
#pragma once

#include <cstddef>
#include <cstdint>

#include "algorithm/tracking_base/solve_survey.hpp"

namespace kes::algorithm::tracking_base::hungarian {

// costs: rows * columns of them, column after column, neither number 0; valid and not negative, as
// surveyed.
// marks: as many, all 0; receives 1 for a pair and 2 for a prime that is left.
// Returns false, with the marks untouched, where sums could come near the largest float, and where
// a matrix of moderate size would cost less when all its cells are kept up to date.
bool SolveDeferred(float const* costs, Survey const& survey, std::size_t rows, std::size_t columns,
                   std::uint8_t* marks);

}  // namespace kes::algorithm::tracking_base::hungarian
