// The assignment solver that keeps every cell up to date, in lanes, and its zeros as bits. For
// small matrices, for costs that tie, and for negative ones.
#pragma once

#include <cstddef>
#include <cstdint>

#include "algorithm/tracking_base/solve_marking.hpp"

namespace kes::algorithm::tracking_base::hungarian {

// What to start from. Costs are valid; infinity forbids a pair as the largest float does.
struct DenseSource {
    float const* costs;    // column after column
    std::size_t stride;    // from one column to the next
    float largest;         // magnitude of those that forbid nothing
    bool isNegative;       // some cost is
    Marking const* stars;  // nullptr where the zeros are yet to be starred
};

// Neither number is 0. marks: column after column, all 0; receives 1 for a pair and 2 for a prime
// that is left.
void SolveDense(DenseSource const& source, std::size_t rows, std::size_t columns,
                std::uint8_t* marks);

}  // namespace kes::algorithm::tracking_base::hungarian
