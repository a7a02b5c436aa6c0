#include "support/best_assignment.hpp"

#include <cstddef>
#include <limits>
#include <vector>

namespace kes::test {
namespace {

using algorithm::tracking_base::hungarian::Costs;
using Eigen::Index;

bool IsForbidden(float cost) { return cost >= std::numeric_limits<float>::max(); }

bool IsBetter(AssignmentTotal const& a, AssignmentTotal const& b) {
    return a.pairs > b.pairs || (a.pairs == b.pairs && a.cost < b.cost);
}

AssignmentTotal BestFrom(Costs const& costs, Index row, std::vector<bool>& taken) {
    if (row == costs.rows()) return {0, 0};
    AssignmentTotal best = BestFrom(costs, row + 1, taken);  // this row without a pair
    for (Index column = 0; column < costs.cols(); ++column) {
        auto const slot = static_cast<std::size_t>(column);
        if (taken[slot] || IsForbidden(costs(row, column))) continue;
        taken[slot] = true;
        AssignmentTotal candidate = BestFrom(costs, row + 1, taken);
        taken[slot] = false;
        ++candidate.pairs;
        candidate.cost += static_cast<long double>(costs(row, column));
        if (IsBetter(candidate, best)) best = candidate;
    }
    return best;
}

}  // namespace

AssignmentTotal BestAssignment(Costs const& costs) {
    std::vector<bool> taken(static_cast<std::size_t>(costs.cols()));
    return BestFrom(costs, 0, taken);
}

}  // namespace kes::test
