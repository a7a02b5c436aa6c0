// The ways that the library can take to solve an assignment, whichever of them it would choose.
#pragma once

#include <cstddef>
#include <vector>

#include <kes/algorithm/tracking_base/solve.hpp>

#include "algorithm/tracking_base/solve_deferred.hpp"
#include "algorithm/tracking_base/solve_dense.hpp"
#include "algorithm/tracking_base/solve_survey.hpp"

namespace kes::test {

struct WayOfSolving {
    char const* name;
    algorithm::tracking_base::hungarian::Marks marks;
};

// The marks of every way that takes these costs. One that turns them down must not mark anything;
// if it does, it counts as having taken them.
inline std::vector<WayOfSolving> SolveInEachWay(
    algorithm::tracking_base::hungarian::Costs const& costs) {
    namespace hungarian = algorithm::tracking_base::hungarian;
    std::vector<WayOfSolving> ways{{"Solve", hungarian::Solve(costs)}};
    if (costs.size() == 0) return ways;

    auto const rows = static_cast<std::size_t>(costs.rows());
    auto const columns = static_cast<std::size_t>(costs.cols());
    hungarian::Survey const survey = hungarian::SurveyCosts(costs.data(), rows * columns);
    hungarian::Marks marks = hungarian::Marks::Zero(costs.rows(), costs.cols());
    hungarian::SolveDense({costs.data(), rows, survey.largest, survey.isNegative, nullptr}, rows,
                          columns, marks.data());
    ways.push_back({"SolveDense", marks});
    marks.setZero();
    if (!survey.isNegative &&
        (hungarian::SolveDeferred(costs.data(), survey, rows, columns, marks.data()) ||
         (marks != 0).any())) {
        ways.push_back({"SolveDeferred", marks});
    }
    return ways;
}

}  // namespace kes::test
