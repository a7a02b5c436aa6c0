#include "support/cost_matrices.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <string_view>

namespace kes::test {
namespace {

using Costs = CostKind::Costs;
using Eigen::Index;

constexpr float Forbidden = std::numeric_limits<float>::max();
constexpr float Infinity = std::numeric_limits<float>::infinity();
constexpr float Denormal = std::numeric_limits<float>::denorm_min();

float Unit(std::mt19937& random) { return std::uniform_real_distribution<float>(0, 1)(random); }

int Whole(std::mt19937& random, int first, int last) {
    return std::uniform_int_distribution<int>(first, last)(random);
}

bool Chance(std::mt19937& random, float probability) { return Unit(random) < probability; }

// One cell at a time.
template <class MakeCell>
Costs Filled(Index rows, Index columns, MakeCell const& cell) {
    Costs costs(rows, columns);
    for (Index row = 0; row < rows; ++row) {
        for (Index column = 0; column < columns; ++column) costs(row, column) = cell();
    }
    return costs;
}

Costs Uniform(Index rows, Index columns, std::mt19937& random) {
    return Filled(rows, columns, [&] { return Unit(random); });
}

Costs Forbid(Costs costs, float share, float value, std::mt19937& random) {
    return costs.unaryExpr([&](float cost) { return Chance(random, share) ? value : cost; }).eval();
}

// 1 - intersection over union of boxes that stand close together and their places a moment later;
// some of them leave and others come.
Costs Crowd(Index rows, Index columns, std::mt19937& random) {
    struct Box {
        float left, top, width, height;
    };
    auto const anywhere = [&] {
        return Box{Unit(random) * 700, Unit(random) * 450, 15 + Unit(random) * 30,
                   40 + Unit(random) * 60};
    };
    std::vector<Box> before(static_cast<std::size_t>(rows));
    std::generate(before.begin(), before.end(), anywhere);
    std::vector<Box> after;
    for (Box const& box : before) {
        if (Chance(random, 0.1F)) continue;
        auto const shake = [&](float size) { return (Unit(random) - 0.5F) * size; };
        after.push_back({box.left + shake(12), box.top + shake(12), box.width + shake(6),
                         box.height + shake(6)});
    }
    std::shuffle(after.begin(), after.end(), random);
    while (after.size() < static_cast<std::size_t>(columns)) after.push_back(anywhere());

    auto const overlap = [](float a, float aSize, float b, float bSize) {
        return std::max(std::min(a + aSize, b + bSize) - std::max(a, b), 0.0F);
    };
    Costs costs(rows, columns);
    for (Index row = 0; row < rows; ++row) {
        for (Index column = 0; column < columns; ++column) {
            Box const& a = before[static_cast<std::size_t>(row)];
            Box const& b = after[static_cast<std::size_t>(column)];
            float const both = overlap(a.left, a.width, b.left, b.width) *
                               overlap(a.top, a.height, b.top, b.height);
            costs(row, column) = 1 - both / (a.width * a.height + b.width * b.height - both);
        }
    }
    return costs;
}

// Costs of position: the distance between points, the far ones forbidden.
Costs Gated(Index rows, Index columns, std::mt19937& random, float gate) {
    using Point = std::array<float, 2>;
    auto const anywhere = [&] { return Point{Unit(random) * 100, Unit(random) * 100}; };
    std::vector<Point> from(static_cast<std::size_t>(rows));
    std::vector<Point> to(static_cast<std::size_t>(columns));
    std::generate(from.begin(), from.end(), anywhere);
    std::generate(to.begin(), to.end(), anywhere);
    Costs costs(rows, columns);
    for (Index row = 0; row < rows; ++row) {
        for (Index column = 0; column < columns; ++column) {
            Point const& a = from[static_cast<std::size_t>(row)];
            Point const& b = to[static_cast<std::size_t>(column)];
            float const distance = std::hypot(a[0] - b[0], a[1] - b[1]);
            costs(row, column) = distance > gate ? Forbidden : distance;
        }
    }
    return costs;
}

Costs WithLinesForbidden(Costs costs, std::mt19937& random) {
    // Eigen 3.4 makes a row of an empty matrix by adding to a null pointer.
    if (costs.size() == 0) return costs;
    for (Index row = 0; row < costs.rows(); ++row) {
        if (Chance(random, 0.2F)) costs.row(row).setConstant(Forbidden);
    }
    for (Index column = 0; column < costs.cols(); ++column) {
        if (Chance(random, 0.2F)) costs.col(column).setConstant(Forbidden);
    }
    return costs;
}

std::vector<CostKind> MakeKinds() {
    return {
        {"uniform", Uniform, true},
        {"digits",
         [](Index rows, Index columns, std::mt19937& random) {
             return Filled(rows, columns, [&] { return static_cast<float>(Whole(random, 0, 9)); });
         },
         true},
        {"zero or one",
         [](Index rows, Index columns, std::mt19937& random) {
             return Filled(rows, columns, [&] { return static_cast<float>(Whole(random, 0, 1)); });
         },
         true},
        {"whole numbers up to a million",
         [](Index rows, Index columns, std::mt19937& random) {
             return Filled(rows, columns,
                           [&] { return static_cast<float>(Whole(random, 0, 1'000'000)); });
         },
         true},
        {"all equal",
         [](Index rows, Index columns, std::mt19937& random) {
             return Costs(Costs::Constant(rows, columns, Unit(random)));
         },
         true},
        {"tenths",  // sums of tenths meet again, or miss each other by a rounding
         [](Index rows, Index columns, std::mt19937& random) {
             return Filled(rows, columns,
                           [&] { return static_cast<float>(Whole(random, 1, 10)) / 10; });
         },
         true},
        {"nearly equal",
         [](Index rows, Index columns, std::mt19937& random) {
             return Filled(rows, columns,
                           [&] { return 1 + 1.2e-7F * static_cast<float>(Whole(random, 0, 5)); });
         },
         true},
        {"row times column",  // many moves, long paths
         [](Index rows, Index columns, std::mt19937& random) {
             float const unit = Chance(random, 0.5F) ? 1 : Unit(random);
             Costs costs(rows, columns);
             for (Index row = 0; row < rows; ++row) {
                 for (Index column = 0; column < columns; ++column) {
                     costs(row, column) = unit * static_cast<float>((row + 1) * (column + 1));
                 }
             }
             return costs;
         },
         true},
        {"sum of row and column, shaken",
         [](Index rows, Index columns, std::mt19937& random) {
             Costs const ofRow = Uniform(rows, 1, random);
             Costs const ofColumn = Uniform(1, columns, random);
             return Costs(ofRow.replicate(1, columns) + ofColumn.replicate(rows, 1) +
                          1e-6F * Uniform(rows, columns, random));
         },
         true},
        {"crowd", Crowd, true},
        {"gated",
         [](Index rows, Index columns, std::mt19937& random) {
             return Gated(rows, columns, random, 25);
         },
         true},
        {"tightly gated",
         [](Index rows, Index columns, std::mt19937& random) {
             return Gated(rows, columns, random, 8);
         },
         true},
        {"digits, some forbidden",
         [](Index rows, Index columns, std::mt19937& random) {
             Costs const costs =
                 Filled(rows, columns, [&] { return static_cast<float>(Whole(random, 0, 9)); });
             return Forbid(costs, Unit(random), Forbidden, random);
         },
         true},
        {"lines forbidden",
         [](Index rows, Index columns, std::mt19937& random) {
             return WithLinesForbidden(Uniform(rows, columns, random), random);
         },
         true},
        {"some infinite",
         [](Index rows, Index columns, std::mt19937& random) {
             return Forbid(Uniform(rows, columns, random), Unit(random), Infinity, random);
         },
         true},
        {"signed zeros",
         [](Index rows, Index columns, std::mt19937& random) {
             return Filled(rows, columns, [&] {
                 return std::array<float, 3>{0.0F, -0.0F, 1.5F}[random() % 3];
             });
         },
         true},
        {"denormal",
         [](Index rows, Index columns, std::mt19937& random) {
             return Filled(rows, columns,
                           [&] { return Denormal * static_cast<float>(Whole(random, 0, 1000)); });
         },
         true},
        {"around the smallest normal",
         [](Index rows, Index columns, std::mt19937& random) {
             return Filled(rows, columns, [&] {
                 return std::numeric_limits<float>::min() * (4 * Unit(random) * Unit(random));
             });
         },
         true},
        {"twenty orders of magnitude",
         [](Index rows, Index columns, std::mt19937& random) {
             return Filled(rows, columns, [&] { return std::pow(10.0F, 20 * Unit(random) - 10); });
         },
         false},
        {"seven orders of magnitude, some zero",
         [](Index rows, Index columns, std::mt19937& random) {
             return Filled(rows, columns, [&] {
                 return Chance(random, 0.1F) ? 0 : std::pow(10.0F, 7 * Unit(random));
             });
         },
         false},
        {"huge",  // sums overflow, or come to the forbidden value itself
         [](Index rows, Index columns, std::mt19937& random) {
             return Filled(rows, columns,
                           [&] { return Forbidden / 8 * static_cast<float>(Whole(random, 0, 8)); });
         },
         false},
        {"nearly forbidden",
         [](Index rows, Index columns, std::mt19937& random) {
             return Filled(rows, columns, [&] { return Forbidden * Unit(random); });
         },
         false},
        {"small integers around zero",
         [](Index rows, Index columns, std::mt19937& random) {
             return Filled(rows, columns, [&] { return static_cast<float>(Whole(random, -4, 9)); });
         },
         false},
        {"around zero",
         [](Index rows, Index columns, std::mt19937& random) {
             return Filled(rows, columns, [&] { return Unit(random) - 0.5F; });
         },
         false},
        {"all negative, some forbidden",
         [](Index rows, Index columns, std::mt19937& random) {
             return Forbid(-Uniform(rows, columns, random), 0.2F, Forbidden, random);
         },
         false},
        {"hugely negative",
         [](Index rows, Index columns, std::mt19937& random) {
             return Filled(rows, columns, [&] {
                 return Chance(random, 0.3F) ? static_cast<float>(Whole(random, 0, 2))
                                             : Forbidden * (Unit(random) - 0.9F);
             });
         },
         false},
    };
}

}  // namespace

std::vector<CostKind> const& CostKinds() {
    static std::vector<CostKind> const kinds = MakeKinds();
    return kinds;
}

CostKind const& CostKindNamed(char const* name) {
    auto const& kinds = CostKinds();
    auto const kind = std::find_if(kinds.begin(), kinds.end(), [&](CostKind const& candidate) {
        return std::string_view(candidate.name) == name;
    });
    if (kind == kinds.end()) throw std::out_of_range(name);
    return *kind;
}

}  // namespace kes::test
