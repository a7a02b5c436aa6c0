// The assignment solver one step at a time, for every accepted matrix.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kes::algorithm::tracking_base::hungarian {

// costs: rows * columns of them, column after column, neither number 0, no NaN or -infinity.
// marks: as many, all 0; receives 1 for a pair and 2 for a prime that is left.
void SolveStepwise(float const* costs, std::size_t rows, std::size_t columns, std::uint8_t* marks);

}  // namespace kes::algorithm::tracking_base::hungarian
