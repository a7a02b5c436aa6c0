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
using Random = std::mt19937;

constexpr float Forbidden = std::numeric_limits<float>::max();
constexpr float Infinity = std::numeric_limits<float>::infinity();
constexpr float SmallestNormal = std::numeric_limits<float>::min();
constexpr float Denormal = std::numeric_limits<float>::denorm_min();

float Unit(Random& random) { return std::uniform_real_distribution<float>(0, 1)(random); }

float Whole(Random& random, int first, int last) {
    return static_cast<float>(std::uniform_int_distribution<int>(first, last)(random));
}

bool Chance(Random& random, float probability) { return Unit(random) < probability; }

// A matrix of cells that know nothing of each other.
template <class MakeCell>
auto Cells(MakeCell cell) {
    return [cell](Index rows, Index columns, Random& random) {
        Costs costs(rows, columns);
        for (Index row = 0; row < rows; ++row) {
            for (Index column = 0; column < columns; ++column) costs(row, column) = cell(random);
        }
        return costs;
    };
}

Costs Uniform(Index rows, Index columns, Random& random) {
    return Cells(Unit)(rows, columns, random);
}

// Some of the cells of another kind, few or nearly all, are forbidden by that value.
template <class Make>
auto WithSomeForbidden(Make make, float value) {
    return [make, value](Index rows, Index columns, Random& random) {
        Costs const costs = make(rows, columns, random);
        float const share = Unit(random);
        return Costs(costs.unaryExpr([&](float c) { return Chance(random, share) ? value : c; }));
    };
}

Costs AllEqual(Index rows, Index columns, Random& random) {
    return Costs::Constant(rows, columns, Unit(random));
}

Costs RowTimesColumn(Index rows, Index columns, Random& random) {
    float const unit = Chance(random, 0.5F) ? 1 : Unit(random);
    auto const count = [](Index size) {
        return Eigen::ArrayXf::LinSpaced(size, 1, static_cast<float>(size));
    };
    return unit * (count(rows).matrix() * count(columns).matrix().transpose()).array();
}

Costs RowPlusColumnShaken(Index rows, Index columns, Random& random) {
    Costs const ofRow = Uniform(rows, 1, random);
    Costs const ofColumn = Uniform(1, columns, random);
    return ofRow.replicate(1, columns) + ofColumn.replicate(rows, 1) +
           1e-6F * Uniform(rows, columns, random);
}

// 1 - intersection over union of boxes that stand close together and their places a moment later;
// some of them leave and others come.
Costs Crowd(Index rows, Index columns, Random& random) {
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
auto Gated(float gate) {
    return [gate](Index rows, Index columns, Random& random) {
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
    };
}

Costs LinesForbidden(Index rows, Index columns, Random& random) {
    Costs costs = Uniform(rows, columns, random);
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

// Most rows can only give way to one another; the last few of them alone reach the other columns.
// Each step of such a path adds a cost to the moves, whose sum comes to 2^24 in the middle of a
// search, beyond which whole numbers round.
Costs Chained(Index rows, Index columns, Random& random) {
    auto const cost = [&] { return Whole(random, (1 << 21) - 10, (1 << 21) - 1); };
    Costs costs = Costs::Constant(rows, columns, Forbidden);
    Index const links = std::min(rows, columns) * 7 / 8;
    for (Index row = 0; row < links; ++row) {
        Index const end = std::min(row + 2 + static_cast<Index>(random() % 3), links);
        for (Index column = 0; column < end; ++column) {
            if (column > row || Chance(random, 0.3F)) costs(row, column) = cost();
        }
        costs(row, row) = Chance(random, 0.7F) ? 0 : cost();
        for (Index column = links; column < columns && row + 4 >= links; ++column) {
            costs(row, column) = cost();
        }
    }
    for (Index row = links; row < rows; ++row) {
        for (Index column = 0; column < std::min<Index>(3, links); ++column) {
            costs(row, column) = cost();
        }
    }
    return costs;
}

constexpr bool IsOptimal = true;

std::vector<CostKind> MakeKinds() {
    auto const digits = Cells([](Random& random) { return Whole(random, 0, 9); });
    auto const zeroOrOne = Cells([](Random& random) { return Whole(random, 0, 1); });
    auto const wholes = Cells([](Random& random) { return Whole(random, 0, 1'000'000); });
    auto const tenths = Cells([](Random& random) { return Whole(random, 1, 10) / 10; });
    auto const nearOne = Cells([](Random& random) { return 1 + 1.2e-7F * Whole(random, 0, 5); });
    auto const signedZeros = Cells([](Random& random) {
        return std::array{0.0F, -0.0F, 1.5F}[random() % 3];
    });
    auto const denormal = Cells([](Random& random) { return Denormal * Whole(random, 0, 1000); });
    auto const aroundNormal =
        Cells([](Random& random) { return SmallestNormal * 4 * Unit(random) * Unit(random); });
    auto const orders20 =
        Cells([](Random& random) { return std::pow(10.0F, 20 * Unit(random) - 10); });
    auto const orders7 = Cells([](Random& random) {
        return Chance(random, 0.1F) ? 0 : std::pow(10.0F, 7 * Unit(random));
    });
    auto const eighths = Cells([](Random& random) { return Forbidden / 8 * Whole(random, -7, 8); });
    auto const nearlyForbidden = Cells([](Random& random) { return Forbidden * Unit(random); });
    auto const smallIntegers = Cells([](Random& random) { return Whole(random, -4, 9); });
    auto const aroundZero = Cells([](Random& random) { return Unit(random) - 0.5F; });
    auto const negative = Cells([](Random& random) { return -Unit(random); });
    auto const hugelyNegative = Cells([](Random& random) {
        return Chance(random, 0.3F) ? Whole(random, 0, 2) : Forbidden * (Unit(random) - 0.9F);
    });
    return {
        {"uniform", Uniform, IsOptimal},
        {"digits", digits, IsOptimal},
        {"zero or one", zeroOrOne, IsOptimal},
        {"whole numbers up to a million", wholes, IsOptimal},
        {"all equal", AllEqual, IsOptimal},
        {"tenths", tenths, IsOptimal},  // sums meet again, or miss each other by a rounding
        {"nearly equal", nearOne, IsOptimal},
        {"row times column", RowTimesColumn, IsOptimal},  // many moves, long paths
        {"sum of row and column, shaken", RowPlusColumnShaken, IsOptimal},
        {"crowd", Crowd, IsOptimal},
        {"gated", Gated(25), IsOptimal},
        {"tightly gated", Gated(8), IsOptimal},
        {"digits, some forbidden", WithSomeForbidden(digits, Forbidden), IsOptimal},
        {"lines forbidden", LinesForbidden, IsOptimal},
        {"chained", Chained, !IsOptimal},
        {"some infinite", WithSomeForbidden(Uniform, Infinity), IsOptimal},
        {"signed zeros", signedZeros, IsOptimal},
        {"denormal", denormal, IsOptimal},
        {"around the smallest normal", aroundNormal, IsOptimal},
        {"twenty orders of magnitude", orders20, !IsOptimal},
        {"seven orders of magnitude, some zero", orders7, !IsOptimal},
        {"huge", eighths, !IsOptimal},  // sums overflow, or come to the forbidden value itself
        {"nearly forbidden", nearlyForbidden, !IsOptimal},
        {"small integers around zero", smallIntegers, !IsOptimal},
        {"around zero", aroundZero, !IsOptimal},
        {"all negative, some forbidden", WithSomeForbidden(negative, Forbidden), !IsOptimal},
        {"hugely negative", hugelyNegative, !IsOptimal},
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
