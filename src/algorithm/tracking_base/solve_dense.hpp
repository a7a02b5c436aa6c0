// The assignment solver that keeps the whole matrix up to date: the five steps, with their scans
// replaced by bits. The faster one for small matrices, and the only one for negative costs.
#pragma once

#include <cstddef>
#include <cstdint>

#include "algorithm/tracking_base/solve_survey.hpp"

namespace kes::algorithm::tracking_base::hungarian {

// costs: rows * columns of them, column after column, neither number 0; valid, as surveyed.
// marks: as many, all 0; receives 1 for a pair and 2 for a prime that is left.
void SolveDense(float const* costs, Survey const& survey, std::size_t rows, std::size_t columns,
                std::uint8_t* marks);

}  // namespace kes::algorithm::tracking_base::hungarian
