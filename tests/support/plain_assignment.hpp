// The assignment steps as one would write them down: every search starts at the first row, every
// step visits the whole matrix. Slow, and the judge of the solver.
#pragma once

#include <kes/algorithm/tracking_base/solve.hpp>

namespace kes::test {

// Takes what hungarian::Solve takes, but neither NaN nor -infinity, and returns what it returns.
algorithm::tracking_base::hungarian::Marks PlainSolve(
    algorithm::tracking_base::hungarian::Costs costs);

}  // namespace kes::test
