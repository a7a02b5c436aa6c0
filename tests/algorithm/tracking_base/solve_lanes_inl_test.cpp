// What matrices seldom show of the solver's passes, in every instruction set.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "algorithm/tracking_base/solve_lanes_inl_test.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "support/instruction_sets.hpp"

#include "algorithm/tracking_base/solve_bounds-inl.hpp"
#include "algorithm/tracking_base/solve_rebase-inl.hpp"
#include "algorithm/tracking_base/solve_sums-inl.hpp"

HWY_BEFORE_NAMESPACE();
namespace kes::algorithm::tracking_base::hungarian::HWY_NAMESPACE {

template <std::size_t Rows>
void CheckReplayMovesOf() {
    constexpr std::size_t Moves = 37;
    constexpr std::uint64_t Rising = 0x0F'3355'A5C3;
    constexpr std::size_t Stride = 2 * LaneMultiple;
    std::mt19937 random(Rows);
    auto const fill = [&random](float* values, std::size_t count) {
        std::uniform_real_distribution<float> unit(0, 1);
        std::generate_n(values, count, [&] { return unit(random); });
    };
    std::vector<float> added(Moves * Rows);
    std::vector<float> subtracted(Moves * Stride);
    HWY_ALIGN float cells[Rows * Stride];
    fill(added.data(), added.size());
    fill(subtracted.data(), subtracted.size());
    fill(cells, Rows * Stride);

    std::vector<float> expected(cells, cells + Rows * Stride);
    for (std::size_t row = 0; row < Rows; ++row) {
        for (std::size_t i = 0; i < LaneMultiple; ++i) {
            float& cell = expected[row * Stride + i];
            for (std::size_t move = 0; move < Moves; ++move) {
                if ((Rising >> move & 1) != 0) cell += added[move * Rows + row];
                cell -= subtracted[move * Stride + i];
            }
        }
    }
    ReplayMoves<Rows>(added.data(), Rising, subtracted.data(), Stride, Moves, cells, Stride);
    EXPECT_EQ(std::vector<float>(cells, cells + Rows * Stride), expected) << Rows << " rows";
}

void CheckReplayMoves() {
    CheckReplayMovesOf<1>();
    CheckReplayMovesOf<4>();
}

// Searches of a few moves each, which cover another row and uncover another column after each move.
void CheckBounds() {
    constexpr std::size_t Lines = LaneMultiple;
    MoveHistory history(Lines, Lines);
    MoveSums sums;
    auto const take = [&](Workspace& from) {
        history.TakeArrays(from);
        sums.TakeArrays(from, Lines, Lines);
    };
    Workspace measure;
    take(measure);
    Workspace memory(measure.Used());
    take(memory);
    std::mt19937 random(1);
    std::uniform_real_distribution<float> unit(0, 1);
    float costs[Lines];
    std::generate_n(costs, Lines, [&] { return 1 + unit(random); });
    sums.Start(costs, Lines, Lines, 2);
    for (std::size_t column = 0; column < Lines / 2; ++column) {
        sums.CoverColumn(column);
        history.EndFreedom(column);
    }
    for (std::size_t search = 0; search < 25; ++search) {
        for (std::size_t line = 0; line < Lines / 2; ++line) {
            float const move = 1e-3F * unit(random);
            ASSERT_TRUE(sums.Append(move, history.Size()));
            history.Append(move);
            for (std::size_t i = 0; i < Lines * Lines; ++i) {
                std::size_t const row = i / Lines;
                std::size_t const column = i % Lines;
                if (sums.rise[row] == Infinity || sums.fall[column] == -Infinity) continue;
                float const bound =
                    (costs[column] + sums.rise[row]) * sums.shrink - sums.fall[column];
                float const value = history.Replay(costs[column], 0, row, column);
                ASSERT_LE(bound, value) << "after " << history.Size() << " moves";
                ASSERT_GE(bound, value - 0.01F) << "after " << history.Size() << " moves";
            }
            std::size_t const row = (line * 3 + search) % Lines;
            history.CoverRow(row);
            sums.CoverRow(row);
            history.UncoverColumn(line);
            sums.UncoverColumn(line);
        }
        sums.EndSearch(history);
        history.EndPhase();
    }
}

}  // namespace kes::algorithm::tracking_base::hungarian::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kes::algorithm::tracking_base::hungarian {

HWY_EXPORT(CheckReplayMoves);
HWY_EXPORT(CheckBounds);

namespace {

class SolveLanes : public test::EachInstructionSet {};

TEST_P(SolveLanes, AddThenSubtractEachMoveInItsTurn) { HWY_DYNAMIC_DISPATCH(CheckReplayMoves)(); }
TEST_P(SolveLanes, KeepBoundsBelowTheValuesThatRoundingLeaves) {
    HWY_DYNAMIC_DISPATCH(CheckBounds)();
}

INSTANTIATE_TEST_SUITE_P(In, SolveLanes, testing::ValuesIn(test::InstructionSets()), test::NameOf);

}  // namespace
}  // namespace kes::algorithm::tracking_base::hungarian
#endif
