// What the assignment solver has to know of its costs before it starts.
#pragma once

#include <cstddef>

namespace kes::algorithm::tracking_base::hungarian {

struct Survey {
    bool isValid;     // neither NaN nor negative infinity among them
    bool isNegative;  // at least one
    bool hasZero;     // at least one
    float largest;    // magnitude of those that forbid nothing, or 0
};

Survey SurveyCosts(float const* costs, std::size_t count);

// Whether nearly all of the first rows hold their least cost several times.
bool HaveTies(float const* costs, std::size_t rows, std::size_t columns);

}  // namespace kes::algorithm::tracking_base::hungarian
