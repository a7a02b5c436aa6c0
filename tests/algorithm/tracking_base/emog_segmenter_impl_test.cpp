#include "algorithm/tracking_base/emog_segmenter_impl.hpp"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <limits>
#include <new>

#include <gtest/gtest.h>

#include "algorithm/tracking_base/emog_cell.hpp"
#include "algorithm/tracking_base/emog_row.hpp"
#include "support/generated.hpp"
#include "support/instruction_sets.hpp"
#include "support/segmenter_pair.hpp"

namespace kes::algorithm::tracking_base {
namespace {

using test::GeneratedVideo;
using test::Mask;
using test::Picture;
using test::SecondSegmenter;
using test::SegmenterPair;

std::string Differ(SegmenterPair& pair, GeneratedVideo const& video,
                   test::Arrays arrays = test::Arrays::Apart) {
    return pair.Differ(video.picture, {video.freeze, video.reset, video.exclude}, arrays);
}

class EmogSegmenterInEachInstructionSet : public test::EachInstructionSet {};

INSTANTIATE_TEST_SUITE_P(In, EmogSegmenterInEachInstructionSet,
                         testing::ValuesIn(test::InstructionSets()), test::NameOf);

// Otherwise the comparisons below would be of one and the same code.
TEST_P(EmogSegmenterInEachInstructionSet, RunsInIt) {
    bool const isPlain = GetParam() == HWY_SCALAR || GetParam() == HWY_EMU128;
    EXPECT_STREQ(RowInstructionSet(), isPlain ? "plain" : hwy::TargetName(GetParam()));
}

// Records that a model can hold, near what it is about to see, at the edge of their tolerance or
// anywhere, also where no sequence of frames would lead to such ages: each cell goes its own way
// through the model. A quiet one sees its background and has nothing younger.
SecondSegmenter::Record AnyRecord(test::Generator& random, cell::Features const& seen,
                                  bool isQuiet) {
    constexpr unsigned Ages[] = {0, 0, 1, 2, 3, 73, 74, 75, 200, 974, 975, 976, 65534, 65535};
    constexpr unsigned Deviations[] = {0, 404, 404, 405, 1144, 4095, 4096, 11584, 11585};
    // Distance and deviation where the short cut for quiet strips ends. Of the last two only the
    // exact root is right.
    constexpr unsigned Edges[][2] = {{4095, 4095}, {4096, 4096}, {4070, 4200}, {10904, 4008}};
    SecondSegmenter::Record record{};
    for (std::size_t slot = 0; slot < 3; ++slot) {
        std::size_t const at = 7 * slot;
        unsigned const age = Ages[random.Below(std::size(Ages))];
        record[at] = static_cast<std::uint16_t>(isQuiet && slot == 1 ? 0 : age);
        unsigned const kind = random.Below(4);
        for (std::size_t i = 0; i < 3; ++i) {
            unsigned deviation = kind == 0 ? Deviations[random.Below(std::size(Deviations))]
                                           : 404 + random.Below(11182);
            unsigned apart = kind == 3   ? random.Below(65536)
                             : kind == 2 ? 4 * deviation - 1 + random.Below(2)
                                         : random.Below(400);
            if (isQuiet && slot == 0) {
                auto const& edge = Edges[random.Below(std::size(Edges))];
                bool const isAtEdge = random.OneIn(100);
                deviation = isAtEdge ? edge[1] : 1100 + random.Below(2900);
                apart = isAtEdge ? edge[0] : random.Below(400);
            }
            unsigned const mean = random.OneIn(2) ? seen[i] + apart : seen[i] - apart;
            record[at + 1 + 2 * i] = static_cast<std::uint16_t>(mean);
            record[at + 2 + 2 * i] = static_cast<std::uint16_t>(deviation);
        }
    }
    return record;
}

TEST_P(EmogSegmenterInEachInstructionSet, EqualsASecondModelOnEveryWayThroughIt) {
    SegmenterPair pair;
    test::Generator random(1);
    GeneratedVideo video(1, 2 * 75, 2 * 21, 3);
    ASSERT_EQ(pair.Differ(video.picture), "");
    for (int i = 0; i < 160; ++i, video.Advance()) {
        Picture const& picture = video.picture;
        pair.SetFrameCount(i % 2 == 0 ? random.Below(100) + 1 : 200);
        bool isQuiet = false;
        for (unsigned y = 0; y + 1 < picture.height / 2; ++y) {
            for (unsigned x = 0; x + 1 < picture.width / 2; ++x) {
                if (x % 16 == 0) isQuiet = random.OneIn(3);
                auto const seen = cell::Observe(&picture.bytes[2 * y * picture.stride + 2 * x],
                                                static_cast<std::ptrdiff_t>(picture.stride));
                pair.SetRecord(x, y, AnyRecord(random, seen, isQuiet));
            }
        }
        // Every other time no strip is told to reset or to freeze, as quiet ones must not be.
        Mask const none(video.freeze.width, video.freeze.height);
        bool const isTold = i % 4 < 2;
        ASSERT_EQ(pair.Differ(picture, {isTold ? video.freeze : none, isTold ? video.reset : none,
                                        video.exclude}),
                  "")
            << "frame " << i;
    }
    // Slot 0 to 2 or none matched, final slot 0 to 2, none or some of the younger ones cleared.
    constexpr std::size_t Ways[][3] = {{0, 0, 0}, {0, 0, 1}, {0, 0, 2}, {1, 1, 0}, {1, 1, 2},
                                       {1, 0, 0}, {1, 0, 1}, {1, 0, 2}, {2, 2, 0}, {2, 1, 2},
                                       {2, 0, 0}, {2, 0, 1}, {2, 0, 2}, {2, 1, 0}, {3, 2, 0},
                                       {3, 1, 0}, {3, 1, 2}, {3, 0, 0}, {3, 0, 1}, {3, 0, 2}};
    for (auto const& [matched, slot, cleared] : Ways) {
        EXPECT_GT(pair.theirs.visits[0][matched][slot][cleared], 0)
            << "never: matched " << matched << ", final " << slot << ", cleared " << cleared;
    }
}

TEST_P(EmogSegmenterInEachInstructionSet, EqualsASecondModelForEveryParameter) {
    constexpr std::int64_t LongTime = std::numeric_limits<std::int64_t>::max();
    constexpr float Infinity = std::numeric_limits<float>::infinity();
    constexpr float NaN = std::numeric_limits<float>::quiet_NaN();
    SegmenterPair lasting;  // learns through all of them
    GeneratedVideo video(7, 90, 24, 5);
    int frame = 0;
    auto const check = [&](SecondSegmenter::Parameters const& parameters) {
        SCOPED_TRACE(testing::Message()
                     << "holdOn " << parameters.holdOnMs << " ms, stationary "
                     << parameters.stationaryMs << " ms, threshold " << parameters.threshold
                     << ", factor " << parameters.factor);
        SegmenterPair fresh;
        fresh.Set(parameters);
        lasting.Set(parameters);
        for (int i = 0; i < 40; ++i, ++frame, video.Advance()) {
            ASSERT_EQ(Differ(fresh, video, static_cast<test::Arrays>(frame % 3)), "")
                << "frame " << i;
            ASSERT_EQ(Differ(lasting, video), "") << "frame " << i;
        }
    };
    // Of the times, 4369000 ms are ages up to 65535, which wrap.
    constexpr std::int64_t Times[][2] = {{60000, 5000},
                                         {0, 0},
                                         {0, 66},
                                         {-1, 0},
                                         {60000, -1000},
                                         {-60000, 1000},
                                         {LongTime, LongTime},
                                         {-LongTime - 1, -1},
                                         {1, LongTime / 15 + 1},
                                         {4369000 - 500, 500}};
    for (auto const& [holdOn, stationary] : Times) check({holdOn, stationary, 4, 1});
    // Scales around the ends of 32 bits, and those that are no numbers.
    constexpr float Factors[] = {0,      -1,       -0.001F,    1e-30F,  0.3333F,  20,
                                 64.5F,  4096.7F,  2097151.8F, 2097152, -2097152, 1e30F,
                                 -3e38F, Infinity, -Infinity,  NaN};
    for (float const factor : Factors) check({1500, 500, 4, factor});
    for (float const threshold : {0.0F, 255.0F, NaN}) check({1500, 500, threshold, 1});
    check({1500, 500, 0, Infinity});
}

TEST(EmogSegmenterImpl, LearnsAConstantSceneAsTheModelSays) {
    SegmenterPair pair;
    Picture const picture(8, 8, 0, 77);
    std::uint16_t const deviations[] = {1144, 858, 739, 671, 627, 596,
                                        572,  553, 538, 526, 516, 507};
    std::uint16_t const means[] = {32768, 32768, 77 * 256};
    for (unsigned frame = 1; frame <= 1000; ++frame) {
        ASSERT_EQ(pair.Differ(picture), "");
        Mode const background = pair.ours.blobState.Cell(2, 2).slots[0];
        ASSERT_EQ(background.count, std::min(frame, 975U));
        for (std::size_t i = 0; i < FeatureCount; ++i) {
            ASSERT_EQ(background.features[i].mean, means[i]);
            if (frame <= 12 || frame == 1000) {
                ASSERT_EQ(background.features[i].stdDev,
                          frame == 1000 ? 404 : deviations[frame - 1]);
            }
        }
    }
}

// A camera turned by a quarter brings as many cells in another shape.
TEST(EmogSegmenterImpl, KeepsItsMemoryAndNoCellWhenWidthAndHeightAreExchanged) {
    EmogSegmenter::Impl impl;
    impl.ResizeBlobState({320, 240});
    CellModel seen{};
    seen.slots[1].count = 9;
    impl.blobState.SetCell(3, 7, seen);
    FieldLine const* const first = impl.blobState.Row(0).backgrounds;
    impl.ResizeBlobState({240, 320});
    EXPECT_EQ(impl.blobState.Row(0).backgrounds, first);
    ASSERT_EQ(impl.blobState.Height(), 320U);
    for (std::size_t y = 0; y < 320; ++y) {
        for (std::size_t x = 0; x < 240; ++x) {
            ASSERT_EQ(impl.blobState.Cell(x, y).slots[1].count, 0);
        }
    }
}

TEST(EmogSegmenterImpl, IsAsAfterResetWhenTheModelCannotBeAllocated) {
    Picture const picture(64, 48, 0, 10);
    SegmenterPair pair;
    unsigned foreground = 1, stationary = 2;  // too small to be written
    for (auto [width, height] : {std::pair{~0U, ~0U}, {1U << 31, ~0U}, {~0U, 1U << 22}}) {
        SCOPED_TRACE(testing::Message() << width << " x " << height);
        for (int i = 0; i < 5; ++i) ASSERT_EQ(pair.Differ(picture), "");
        media::video::FrameBase<void const> const huge({}, media::ColourFormat::Grey, width, height,
                                                       {}, media::video::frame::Rotation{});
        EXPECT_THROW(pair.ours.Process(huge, nullptr, nullptr, nullptr, &foreground, &stationary),
                     std::bad_alloc);
        EXPECT_EQ(foreground, 1U);
        EXPECT_EQ(stationary, 2U);
        EXPECT_EQ(pair.ours.blobState.Height(), 0U);
        pair.theirs.Reset();
    }
    ASSERT_EQ(pair.Differ(picture), "");
}

}  // namespace
}  // namespace kes::algorithm::tracking_base
