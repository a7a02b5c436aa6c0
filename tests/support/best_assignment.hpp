// The least total cost of an assignment, found without the solver's method.
#pragma once

#include <kes/algorithm/tracking_base/solve.hpp>

namespace kes::test {

struct AssignmentTotal {
    int pairs;         // as many as can be
    long double cost;  // the least for so many
};

// Tries every assignment; meant for at most 7 rows and columns.
AssignmentTotal BestAssignment(algorithm::tracking_base::hungarian::Costs const& costs);

}  // namespace kes::test
