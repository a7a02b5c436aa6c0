#include <kes/algorithm/tracking_base/solve.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <limits>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/best_assignment.hpp"
#include "support/cost_matrices.hpp"
#include "support/instruction_sets.hpp"
#include "support/plain_assignment.hpp"
#include "support/solve_ways.hpp"

namespace {

using Eigen::Index;
using kes::algorithm::tracking_base::hungarian::Costs;
using kes::algorithm::tracking_base::hungarian::Marks;
using kes::algorithm::tracking_base::hungarian::Solve;
using kes::test::CostKind;
using kes::test::CostKinds;
using kes::test::PlainSolve;

constexpr float F = std::numeric_limits<float>::max();
constexpr float Infinity = std::numeric_limits<float>::infinity();
constexpr float NaN = std::numeric_limits<float>::quiet_NaN();

template <class Array>
Array FromRows(std::vector<std::vector<float>> const& rows) {
    Array array(static_cast<Index>(rows.size()),
                static_cast<Index>(rows.empty() ? 0 : rows.front().size()));
    for (Index row = 0; row < array.rows(); ++row) {
        for (Index column = 0; column < array.cols(); ++column) {
            array(row, column) = static_cast<typename Array::Scalar>(
                rows[static_cast<std::size_t>(row)][static_cast<std::size_t>(column)]);
        }
    }
    return array;
}

testing::AssertionResult SameMarks(Marks const& expected, Marks const& actual) {
    if (expected.rows() != actual.rows() || expected.cols() != actual.cols()) {
        return testing::AssertionFailure() << "the shapes differ";
    }
    if ((expected == actual).all()) return testing::AssertionSuccess();
    testing::AssertionResult failure = testing::AssertionFailure();
    if (expected.size() <= 400) {
        failure << "expected\n" << expected.cast<int>() << "\nbut got\n" << actual.cast<int>();
    } else {
        failure << (expected != actual).count() << " marks of " << expected.size() << " differ";
    }
    return failure;
}

// On every instruction set.
testing::AssertionResult AllWaysMarkWhatThePlainStepsMark(Costs const& costs) {
    Marks const expected = PlainSolve(costs);
    testing::AssertionResult result = testing::AssertionSuccess();
    for (std::int64_t const set : kes::test::InstructionSets()) {
        hwy::SetSupportedTargetsForTest(set);
        for (auto const& [name, marks] : kes::test::SolveInEachWay(costs)) {
            result = SameMarks(expected, marks);
            if (result) continue;
            result << "\nby " << name << ", " << hwy::TargetName(set);
            if (costs.size() <= 400) result << "\nfor\n" << costs.format(Eigen::IOFormat(9));
            hwy::SetSupportedTargetsForTest(0);
            return result;
        }
    }
    hwy::SetSupportedTargetsForTest(0);
    return result;
}

TEST(Solve, MarksTheWorkedExamples) {
    struct Case {
        char const* what;
        std::vector<std::vector<float>> costs;
        std::vector<std::vector<float>> marks;
    };
    std::vector<Case> const cases{
        {"zeros are paired along the diagonal",
         {{0, 0, 0}, {0, 0, 0}, {0, 0, 0}},
         {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}},
        {"equal costs of two", {{7, 7}, {7, 7}}, {{0, 1}, {1, 0}}},
        {"equal costs of three",
         {{7, 7, 7}, {7, 7, 7}, {7, 7, 7}},
         {{0, 0, 1}, {0, 1, 0}, {1, 0, 0}}},
        {"a zero from the start",
         {{4, 1, 3}, {2, 0, 5}, {3, 2, 2}},
         {{0, 1, 0}, {1, 0, 0}, {0, 0, 1}}},
        {"a table of products",
         {{1, 2, 3}, {2, 4, 6}, {3, 6, 9}},
         {{0, 0, 1}, {0, 1, 0}, {1, 0, 0}}},
        {"more rows than columns", {{1, 2}, {3, 4}, {5, 6}}, {{0, 1}, {1, 0}, {0, 0}}},
        {"one row", {{3, 1, 2, 4}}, {{0, 1, 0, 0}}},
        {"one column", {{3}, {1}, {2}}, {{0}, {1}, {0}}},
        {"a forbidden column", {{0, F}, {0, F}}, {{1, 0}, {0, 0}}},
        {"a forbidden row leaves a prime", {{0, 0}, {F, F}}, {{1, 2}, {0, 0}}},
        {"all forbidden", {{F, F}, {F, F}}, {{0, 0}, {0, 0}}},
        {"infinity forbids too", {{Infinity, 1}, {1, Infinity}}, {{0, 1}, {1, 0}}},
        {"minus zero is zero", {{-0.0F, 1}, {1, -0.0F}}, {{1, 0}, {0, 1}}},
        {"zeros go before negative costs", {{0, -5}, {-5, 0}}, {{1, 0}, {0, 1}}},
        {"a cost that is lost in a sum becomes the first zero",
         {{1e-9F, 0, 0, 0, 0}, {1e6F, 1e6F, 1000, 1e6F, 1e6F}, {1e6F, 100, 1e6F, 1e6F, 1e6F}},
         {{1, 0, 0, 0, 0}, {0, 0, 1, 0, 0}, {0, 1, 0, 0, 0}}},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.what);
        auto const costs = FromRows<Costs>(c.costs);
        EXPECT_TRUE(SameMarks(FromRows<Marks>(c.marks), Solve(costs)));
        EXPECT_TRUE(AllWaysMarkWhatThePlainStepsMark(costs));
    }
}

TEST(Solve, KeepsTheShapeOfAnEmptyMatrix) {
    for (auto const& [rows, columns] : {std::array<Index, 2>{0, 0}, {0, 3}, {3, 0}}) {
        Marks const marks = Solve(Costs(rows, columns));
        EXPECT_EQ(marks.rows(), rows);
        EXPECT_EQ(marks.cols(), columns);
    }
}

TEST(Solve, LeavesTheCallersMatrixAsItWas) {
    Costs const original = FromRows<Costs>({{4, F, 3}, {2, 1, 5}, {3, 2, Infinity}});
    Costs const costs = original;
    Solve(costs);
    EXPECT_TRUE((costs == original).all());
}

TEST(Solve, RefusesNaNAndNegativeInfinity) {
    for (float bad : {NaN, -NaN, -Infinity}) {
        for (Index place : {0, 7, 33 * 35 - 1}) {
            Costs costs = Costs::Ones(33, 35);
            costs.reshaped()(place) = bad;
            try {
                Solve(costs);
                FAIL() << "accepted " << bad << " at " << place;
            } catch (std::invalid_argument const& error) {
                EXPECT_STREQ(error.what(), "Cost matrix must not hold NaN or negative infinity");
            }
        }
    }
}

TEST(Solve, StopsWhereSumsOverflow) {
    Costs const costs = FromRows<Costs>({{-3e38F, -3e38F, -2e38F, -1e38F},
                                         {-1e38F, -1e38F, 2, 1},
                                         {-2e38F, 1, -2e38F, 2},
                                         {-1e38F, 0, 0, -3e38F}});
    EXPECT_TRUE(AllWaysMarkWhatThePlainStepsMark(costs));
}

// An uncovered cell must not come to the value that forbids a pair, or to infinity.
TEST(Solve, IsNotDeferredWhereSumsComeNearTheLargestFloat) {
    namespace hungarian = kes::algorithm::tracking_base::hungarian;
    for (float const share : {0.01F, 0.2F}) {
        Costs const costs = Costs::Constant(3, 3, share * F);
        Marks marks = Marks::Zero(3, 3);
        auto const survey = hungarian::SurveyCosts(costs.data(), 9);
        EXPECT_EQ(hungarian::SolveDeferred(costs.data(), survey, 3, 3, marks.data()), share < 0.1F);
    }
}

// Where products make many moves, the deferred solver takes all cells through them and goes on;
// where many costs tie or nearly do, it gives up in the middle. In one chained matrix of some ten
// thousand a row's least bound hides a lower value in a free column.
TEST(Solve, MarksLargeMatricesLikeThePlainSteps) {
    struct Case {
        char const* kind;
        Index rows, columns;
        unsigned int seed = 3;
    };
    for (Case const& c :
         {Case{"uniform", 200, 190}, Case{"tenths", 200, 190}, Case{"crowd", 200, 190},
          Case{"gated", 200, 190}, Case{"twenty orders of magnitude", 200, 190},
          Case{"row times column", 400, 60}, Case{"nearly equal", 30, 800},
          Case{"row times column", 150, 200}, Case{"sum of row and column, shaken", 152, 150},
          Case{"around zero", 90, 80}, Case{"chained", 77, 66, 20320}}) {
        std::mt19937 random(c.seed);
        SCOPED_TRACE(testing::Message() << c.kind << ", " << c.rows << " x " << c.columns);
        Costs const costs = kes::test::CostKindNamed(c.kind).make(c.rows, c.columns, random);
        EXPECT_TRUE(AllWaysMarkWhatThePlainStepsMark(costs));
    }
}

class SolveOfKind : public testing::TestWithParam<CostKind> {};

TEST_P(SolveOfKind, MarksWhatThePlainStepsMark) {
    std::mt19937 random(1);
    auto const check = [&](Index rows, Index columns) {
        SCOPED_TRACE(testing::Message() << rows << " x " << columns);
        EXPECT_TRUE(AllWaysMarkWhatThePlainStepsMark(GetParam().make(rows, columns, random)));
        return !HasFailure();
    };
    // Every small shape many times, then larger ones of either proportion.
    for (int round = 0; round < 6; ++round) {
        for (Index rows = 0; rows <= 9; ++rows) {
            for (Index columns = 0; columns <= 9; ++columns) {
                if (!check(rows, columns)) return;
            }
        }
    }
    for (int round = 0; round < 120; ++round) {
        Index const rows = std::uniform_int_distribution<Index>(1, 40)(random);
        Index const columns = std::uniform_int_distribution<Index>(1, 40)(random);
        if (!check(rows, round % 2 ? columns : rows)) return;
    }
    for (auto const& [rows, columns] :
         {std::array<Index, 2>{64, 64}, {63, 65}, {30, 97}, {97, 30}}) {
        if (!check(rows, columns)) return;
    }
}

class SolveOfOrdinaryKind : public SolveOfKind {};

TEST_P(SolveOfOrdinaryKind, PairsAtLeastTotalCost) {
    std::mt19937 random(2);
    for (int round = 0; round < 120; ++round) {
        Index const rows = std::uniform_int_distribution<Index>(0, 6)(random);
        Index const columns = std::uniform_int_distribution<Index>(0, 6)(random);
        Costs const costs = GetParam().make(rows, columns, random);
        Marks const marks = Solve(costs);

        auto const isPair = marks == 1;
        ASSERT_LE((isPair.rowwise().count() > 1).count(), 0);
        ASSERT_LE((isPair.colwise().count() > 1).count(), 0);
        long double cost = 0, dearest = 0;
        for (Index cell = 0; cell < costs.size(); ++cell) {
            long double const value = static_cast<long double>(costs.reshaped()(cell));
            if (value >= static_cast<long double>(F)) {
                ASSERT_NE(marks.reshaped()(cell), 1) << "a forbidden pair";
            } else {
                dearest = std::max(dearest, value);
                if (marks.reshaped()(cell) == 1) cost += value;
            }
        }

        kes::test::AssignmentTotal const best = kes::test::BestAssignment(costs);
        EXPECT_EQ(isPair.count(), best.pairs);
        // Each pair's cost is known to single precision after a few roundings for each row.
        long double const tolerance = dearest * static_cast<long double>(rows * rows) * 0x1p-22L;
        EXPECT_NEAR(static_cast<double>(cost), static_cast<double>(best.cost),
                    static_cast<double>(tolerance));
        if (HasFailure()) return;
    }
}

std::string NameOf(testing::TestParamInfo<CostKind> const& kind) {
    std::string name = kind.param.name;
    std::erase(name, ',');
    std::replace(name.begin(), name.end(), ' ', '_');
    return name;
}

std::vector<CostKind> OrdinaryKinds() {
    std::vector<CostKind> kinds = CostKinds();
    std::erase_if(kinds, [](CostKind const& kind) { return !kind.isOptimal; });
    return kinds;
}

INSTANTIATE_TEST_SUITE_P(Kinds, SolveOfKind, testing::ValuesIn(CostKinds()), NameOf);
INSTANTIATE_TEST_SUITE_P(Kinds, SolveOfOrdinaryKind, testing::ValuesIn(OrdinaryKinds()), NameOf);

}  // namespace
