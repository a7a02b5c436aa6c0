#include "algorithm/tracking_base/emog_cell.hpp"

#include <array>
#include <cstdint>
#include <vector>

#include <gtest/gtest.h>

namespace kes::algorithm::tracking_base::cell {
namespace {

constexpr FrameValues Defaults{1024, 75, 975, 2};

using Patch = std::array<unsigned char, 16>;

Patch PatchOf(int (*pixel)(int row, int column)) {
    Patch patch{};
    for (int i = 0; i < 16; ++i) {
        patch[static_cast<std::size_t>(i)] = static_cast<unsigned char>(pixel(i / 4, i % 4));
    }
    return patch;
}

// A mode whose three features all have this mean and deviation.
Mode ModeOf(std::uint16_t count, std::uint16_t mean = 0, std::uint16_t stdDev = 0) {
    return {count, {{{mean, stdDev}, {mean, stdDev}, {mean, stdDev}}}};
}

Match MatchOf(CellModel const& cell, int slot) {
    if (slot == Match::None) return {Match::None, {}};
    return {slot, cell.slots[static_cast<std::size_t>(slot)]};
}

TEST(EmogCell, ObservesTwoGradientsAndAnIntensity) {
    struct Case {
        char const* what;
        Patch patch;
        Features expected;
    };
    Case const cases[] = {
        {"black", PatchOf([](int, int) { return 0; }), {32768, 32768, 0}},
        {"white", PatchOf([](int, int) { return 255; }), {32768, 32768, 65280}},
        {"left half brighter",
         PatchOf([](int, int c) { return c < 2 ? 200 : 50; }),
         {51968, 32768, 32000}},
        {"upper half brighter",
         PatchOf([](int r, int) { return r < 2 ? 200 : 50; }),
         {32768, 51968, 32000}},
        {"steepest to the right",
         PatchOf([](int, int c) { return c < 2 ? 0 : 255; }),
         {128, 32768, 32640}},
        {"steepest to the left",
         PatchOf([](int, int c) { return c < 2 ? 255 : 0; }),
         {65408, 32768, 32640}},
        {"one pixel, top left",
         PatchOf([](int r, int c) { return r == 0 && c == 0 ? 255 : 0; }),
         {32768 + 8 * 765, 32768 + 8 * 765, 0}},
        {"one pixel, row 2 of column 1",
         PatchOf([](int r, int c) { return r == 2 && c == 1 ? 100 : 0; }),
         {32768 + 800, 32768 - 800, 6400}},
    };
    for (Case const& c : cases) EXPECT_EQ(Observe(c.patch.data(), 4), c.expected) << c.what;

    std::vector<unsigned char> wide(3 * 9 + 4, 0);
    wide[2 * 9 + 1] = 100;  // row 2 of column 1 again, rows 9 bytes apart
    EXPECT_EQ(Observe(wide.data(), 9), (Features{33568, 31968, 6400}));
}

TEST(EmogCell, MatchesStrictlyWithinTheTolerance) {
    struct Case {
        char const* what;
        std::uint16_t stdDev;
        std::uint32_t matchScale;
        std::uint16_t reach;  // the largest difference that fits, 0 where not even equality does
        bool fitsEqual;
    };
    Case const cases[] = {
        {"four deviations", 1144, 1024, 4575, true},
        {"a fraction is cut off", 3, 128, 0, true},  // tolerance 1
        {"a tolerance of 0", 1, 128, 0, false},
        {"an empty slot", 0, 0xFFFFFFFF, 0, false},
        {"a threshold of 0", 11585, 0, 0, false},
        {"the largest threshold", 404, 65280, 37483, true},  // 103020 wraps to 37484
        {"a negative scale", 1000, 0U - 1024, 61535, true},  // wraps to 65536 - 4000
        {"the product wraps at 32 bits", 65535, 0x7FFFFFFF, 65279, true},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.what);
        std::uint16_t const mean = 0;
        CellModel const cell{{ModeOf(0, mean, c.stdDev), ModeOf(0), ModeOf(0)}};
        FrameValues values = Defaults;
        values.matchScale = c.matchScale;
        auto const matched = [&](std::uint16_t feature) {
            return FindMatch(cell, {feature, mean, mean}, values).slot == 0;
        };
        EXPECT_EQ(matched(mean), c.fitsEqual);
        if (c.fitsEqual) {
            EXPECT_TRUE(matched(c.reach));
            EXPECT_FALSE(matched(static_cast<std::uint16_t>(c.reach + 1)));
        }
    }
}

TEST(EmogCell, LearnsMeanAndDeviation) {
    constexpr Placement Afresh{0, 1, true};
    constexpr auto None = Match::None;
    struct Case {
        char const* what;
        std::uint16_t mean, stdDev, seen;
        std::int32_t rate;
        std::uint16_t meanAfter, stdDevAfter;
        Placement placement = {0, 501, false};
        int matched = 0;
    };
    Case const cases[] = {
        {"the second frame, 17 steps brighter", 25600, 1144, 29952, 128, 27776, 3181},
        {"the second frame, unchanged", 32768, 1144, 32768, 128, 32768, 858},
        {"settled", 32768, 404, 32768, 2, 32768, 404},
        {"127 above: the mean stays", 1000, 404, 1127, 2, 1000, 404},
        {"128 above: it rises", 1000, 404, 1128, 2, 1001, 404},
        {"1 below: it falls", 1000, 404, 999, 2, 999, 404},
        {"128 below", 1000, 404, 872, 2, 999, 404},
        {"129 below", 1000, 404, 871, 2, 998, 404},
        {"the widest step up", 0, 11585, 65535, 255, 65279, 11585},
        {"the widest step down", 65535, 11585, 0, 255, 255, 11585},
        {"a deviation falls by the floor of its step", 1000, 405, 1000, 2, 1000, 404},
        {"a rate of one", 1000, 1144, 5000, 256, 5000, 4000},
        {"a new mode", 1000, 404, 60000, 2, 60000, 1144, Afresh, None},
        {"a reset one deviates as this frame does", 10000, 1144, 11000, 2, 11000, 1000, Afresh},
        {"at least by the smallest deviation", 10000, 1144, 10000, 2, 10000, 404, Afresh},
        {"at most by the largest", 10000, 1144, 60000, 2, 60000, 11585, Afresh},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.what);
        CellModel cell{{ModeOf(500, c.mean, c.stdDev), {}, {}}};
        FrameValues values = Defaults;
        values.learningRate = c.rate;
        Commands const commands{c.placement.relearn && c.matched != None, false};
        Learn(cell, c.placement, MatchOf(cell, c.matched), {c.seen, c.seen, c.seen}, commands,
              values);
        EXPECT_EQ(cell.slots[0].count, c.placement.count);
        for (FeatureModel const& feature : cell.slots[0].features) {
            EXPECT_EQ(feature.mean, c.meanAfter);
            EXPECT_EQ(feature.stdDev, c.stdDevAfter);
        }
    }
}

}  // namespace
}  // namespace kes::algorithm::tracking_base::cell
