// Cost matrices for the assignment solver, of every kind that has a way of its own through it.
#pragma once

#include <functional>
#include <ostream>
#include <random>
#include <vector>

#include <kes/algorithm/tracking_base/solve.hpp>

namespace kes::test {

struct CostKind {
    using Costs = algorithm::tracking_base::hungarian::Costs;

    char const* name;
    std::function<Costs(Eigen::Index rows, Eigen::Index columns, std::mt19937& random)> make;
    // Whether the result is an optimum: not where costs are negative or rounding can decide.
    bool isOptimal;

    friend std::ostream& operator<<(std::ostream& stream, CostKind const& kind) {
        return stream << kind.name;
    }
};

std::vector<CostKind> const& CostKinds();

// The kind of that name, which must exist.
CostKind const& CostKindNamed(char const* name);

}  // namespace kes::test
