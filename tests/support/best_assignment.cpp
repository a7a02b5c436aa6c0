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

AssignmentTotal BestByTrying(Costs const& costs) {
    std::vector<bool> taken(static_cast<std::size_t>(costs.cols()));
    return BestFrom(costs, 0, taken);
}

AssignmentTotal BestByShortestPaths(Costs const& costs) {
    if (costs.rows() > costs.cols()) return BestByShortestPaths(costs.transpose());
    auto const rows = static_cast<std::size_t>(costs.rows());
    auto const columns = static_cast<std::size_t>(costs.cols());
    if (rows == 0) return {0, 0};

    // A forbidden pair costs more than all others together, so that as few as possible are made.
    long double dearest = 0;
    for (float cost : costs.reshaped()) {
        if (!IsForbidden(cost)) dearest = std::max(dearest, static_cast<long double>(cost));
    }
    long double const penalty = (dearest + 1) * static_cast<long double>(2 * rows);
    auto const cost = [&](std::size_t row, std::size_t column) {
        float const value = costs(static_cast<Index>(row), static_cast<Index>(column));
        return IsForbidden(value) ? penalty : static_cast<long double>(value);
    };

    // Column `columns` is where each search starts; `rows` stands for no row.
    std::vector<long double> rowPrice(rows + 1), columnPrice(columns + 1);
    std::vector<std::size_t> rowOf(columns + 1, rows);
    for (std::size_t start = 0; start < rows; ++start) {
        std::vector<long double> distance(columns, std::numeric_limits<long double>::infinity());
        std::vector<std::size_t> from(columns, columns);
        std::vector<bool> done(columns + 1);
        std::size_t column = columns;
        rowOf[column] = start;
        while (rowOf[column] != rows) {
            done[column] = true;
            std::size_t const row = rowOf[column];
            std::size_t next = columns;
            for (std::size_t c = 0; c < columns; ++c) {
                if (done[c]) continue;
                long double const way = cost(row, c) - rowPrice[row] - columnPrice[c];
                if (way < distance[c]) {
                    distance[c] = way;
                    from[c] = column;
                }
                if (next == columns || distance[c] < distance[next]) next = c;
            }
            long double const step = distance[next];
            for (std::size_t c = 0; c <= columns; ++c) {
                if (done[c]) {
                    rowPrice[rowOf[c]] += step;
                    columnPrice[c] -= step;
                } else {
                    distance[c] -= step;
                }
            }
            column = next;
        }
        for (; column != columns; column = from[column]) rowOf[column] = rowOf[from[column]];
    }

    AssignmentTotal total{0, 0};
    for (std::size_t column = 0; column < columns; ++column) {
        if (rowOf[column] == rows) continue;
        float const value = costs(static_cast<Index>(rowOf[column]), static_cast<Index>(column));
        if (IsForbidden(value)) continue;
        ++total.pairs;
        total.cost += static_cast<long double>(value);
    }
    return total;
}

}  // namespace kes::test
