#include "algorithm/tracking_base/emog_segmenter_impl.hpp"

#include <algorithm>
#include <bit>
#include <chrono>
#include <cstdint>
#include <iterator>
#include <limits>
#include <new>
#include <string>

#include <gtest/gtest.h>

#include "algorithm/tracking_base/emog_cell.hpp"
#include "algorithm/tracking_base/emog_row.hpp"
#include "support/instruction_sets.hpp"
#include "support/scene.hpp"
#include "support/segmenter_matchers.hpp"

namespace kes::algorithm::tracking_base {
namespace {

using namespace std::chrono_literals;
using test::Mask;
using test::Picture;
using test::Scene;
using test::SecondSegmenter;

// The library's segmenter and the second model, driven by the same calls.
class Pair {
public:
    EmogSegmenter::Impl ours;
    SecondSegmenter theirs;

    void Set(SecondSegmenter::Parameters const& parameters) {
        theirs.parameters = parameters;
        ours.SetHoldOnTime(std::chrono::milliseconds(parameters.holdOnMs));
        ours.SetStationaryTime(std::chrono::milliseconds(parameters.stationaryMs));
        ours.stdDevThreshold = parameters.threshold;
        ours.thresholdFactor = parameters.factor;
    }

    // True when both outputs and every record of the model agree.
    testing::AssertionResult AgreeOn(Picture const& picture,
                                     SecondSegmenter::Inputs const& inputs) {
        SecondSegmenter::Outputs const expected = theirs.Process(picture, inputs);
        Mask foreground(picture.width / 2, picture.height / 2, 0x5A5A5A5A);
        Mask stationary(foreground);
        ours.Process(picture.View(), inputs.freeze.words.data(), inputs.reset.words.data(),
                     inputs.exclude.words.data(), foreground.words.data(), stationary.words.data());
        if (!(foreground == expected.foreground)) {
            return testing::AssertionFailure()
                   << "foreground" << foreground << "\nnot" << expected.foreground;
        }
        if (!(stationary == expected.stationary)) {
            return testing::AssertionFailure()
                   << "stationary" << stationary << "\nnot" << expected.stationary;
        }
        return test::SameModel(theirs, ours);
    }

    testing::AssertionResult AgreeOn(Picture const& picture) {
        Mask const none(picture.width / 2, picture.height / 2);
        return AgreeOn(picture, {none, none, none});
    }
};

constexpr std::int64_t LongTime = std::numeric_limits<std::int64_t>::max();
constexpr float Infinity = std::numeric_limits<float>::infinity();
constexpr float NaN = std::numeric_limits<float>::quiet_NaN();

// Times of a few frames, so that a few hundred frames see many lives.
constexpr SecondSegmenter::Parameters Quick{1500, 500, 4.0F, 1.0F};

class EmogSegmenterInEachInstructionSet : public test::EachInstructionSet {};

INSTANTIATE_TEST_SUITE_P(In, EmogSegmenterInEachInstructionSet,
                         testing::ValuesIn(test::InstructionSets()), test::NameOf);

TEST_P(EmogSegmenterInEachInstructionSet, EqualsASecondModelOverLongSequences) {
    for (unsigned seed = 1; seed <= 6; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Pair pair;
        Scene scene(2 * (30 + 9 * seed), 30, seed, seed);
        for (int i = 0; i < 300; ++i) {
            // Background ages run away from everything else once in a while.
            SecondSegmenter::Parameters parameters = Quick;
            if (i / 50 % 2 == 1) parameters.holdOnMs = 9000;
            if (i % 70 == 69) parameters.factor = 0.25F;
            pair.Set(parameters);
            Picture const& picture = scene.Next();
            Mask const freeze = scene.NextMask(), reset = scene.NextMask(),
                       exclude = scene.NextMask();
            ASSERT_TRUE(pair.AgreeOn(picture, {freeze, reset, exclude})) << "frame " << i;
        }
    }
}

// Records that a model can hold, near what it is about to see, at the edge of their tolerance or
// anywhere, also where no sequence of frames would lead to such ages: each cell goes its own way
// through the model. A quiet one sees its background and has nothing younger.
SecondSegmenter::Record AnyRecord(Scene& scene, cell::Features const& seen, bool isQuiet) {
    constexpr unsigned Ages[] = {0, 0, 1, 2, 3, 73, 74, 75, 200, 974, 975, 976, 65534, 65535};
    constexpr unsigned Deviations[] = {0, 404, 404, 405, 1144, 4095, 4096, 11584, 11585};
    // Distance and deviation where the short cut for quiet strips ends. Of the last two only the
    // exact root is right.
    constexpr unsigned Edges[][2] = {{4095, 4095}, {4096, 4096}, {4070, 4200}, {10904, 4008}};
    SecondSegmenter::Record record{};
    for (std::size_t slot = 0; slot < 3; ++slot) {
        std::size_t const at = 7 * slot;
        bool const isBackground = isQuiet && slot == 0;
        unsigned const age = Ages[scene.Below(std::size(Ages))];
        record[at] = static_cast<std::uint16_t>(isQuiet && slot == 1 ? 0 : age);
        unsigned const kind = scene.Below(4);
        for (std::size_t i = 0; i < 3; ++i) {
            unsigned deviation = kind == 0 ? Deviations[scene.Below(std::size(Deviations))]
                                           : 404 + scene.Below(11182);
            unsigned apart = kind == 3   ? scene.Below(65536)
                             : kind == 2 ? 4 * deviation - 1 + scene.Below(2)
                                         : scene.Below(400);
            if (isBackground) {
                deviation = 1100 + scene.Below(2900);
                apart = scene.Below(400);
                if (scene.Below(100) == 0) {
                    auto const& edge = Edges[scene.Below(std::size(Edges))];
                    apart = edge[0];
                    deviation = edge[1];
                }
            }
            unsigned const mean = scene.Below(2) == 0 ? seen[i] + apart : seen[i] - apart;
            record[at + 1 + 2 * i] = static_cast<std::uint16_t>(mean);
            record[at + 2 + 2 * i] = static_cast<std::uint16_t>(deviation);
        }
    }
    return record;
}

// Otherwise the comparisons below would be of one and the same code.
TEST_P(EmogSegmenterInEachInstructionSet, RunsInIt) {
    bool const isPlain = GetParam() == HWY_SCALAR || GetParam() == HWY_EMU128;
    EXPECT_STREQ(RowInstructionSet(), isPlain ? "plain" : hwy::TargetName(GetParam()));
}

TEST_P(EmogSegmenterInEachInstructionSet, EqualsASecondModelOnEveryWayThroughIt) {
    Pair pair;
    Scene scene(2 * 75, 2 * 21, 3, 1);
    ASSERT_TRUE(pair.AgreeOn(scene.Next()));
    for (int i = 0; i < 160; ++i) {
        Picture const picture = scene.Next();
        std::uint32_t const frameCount = i % 2 == 0 ? scene.Below(100) + 1 : 200;
        pair.ours.frameCount = frameCount;
        pair.theirs.framesSeen = frameCount;
        bool isQuiet = false;
        for (unsigned y = 0; y + 1 < picture.height / 2; ++y) {
            for (unsigned x = 0; x + 1 < picture.width / 2; ++x) {
                if (x % 16 == 0) isQuiet = scene.Below(3) == 0;
                cell::Features const seen =
                    cell::Observe(&picture.bytes[2 * y * picture.stride + 2 * x],
                                  static_cast<std::ptrdiff_t>(picture.stride));
                SecondSegmenter::Record const record = AnyRecord(scene, seen, isQuiet);
                pair.theirs.SetRecord(x, y, record);
                pair.ours.blobState(y, x) = std::bit_cast<CellModel>(record);
            }
        }
        Mask const freeze = scene.NextMask(), reset = scene.NextMask(), exclude = scene.NextMask();
        ASSERT_TRUE(pair.AgreeOn(picture, {freeze, reset, exclude})) << "frame " << i;
    }
    // Matched slot (3: none), final slot, youngest slot cleared (0: none).
    constexpr std::size_t Ways[][3] = {{0, 0, 0}, {0, 0, 1}, {0, 0, 2}, {1, 1, 0}, {1, 1, 2},
                                       {1, 0, 0}, {1, 0, 1}, {1, 0, 2}, {2, 2, 0}, {2, 1, 2},
                                       {2, 0, 0}, {2, 0, 1}, {2, 0, 2}, {2, 1, 0}, {3, 2, 0},
                                       {3, 1, 0}, {3, 1, 2}, {3, 0, 0}, {3, 0, 1}, {3, 0, 2}};
    for (auto const& [matched, slot, cleared] : Ways) {
        EXPECT_GT(pair.theirs.visits[0][matched][slot][cleared], 0)
            << "never: matched " << matched << ", final " << slot << ", cleared " << cleared;
    }
    for (std::size_t matched = 0; matched < 4; ++matched) {
        for (std::size_t cleared = 0; cleared < 3; ++cleared) {
            EXPECT_GT(pair.theirs.visits[1][matched][0][cleared], 0)
                << "never: reset over " << matched << ", cleared " << cleared;
        }
    }
}

TEST_P(EmogSegmenterInEachInstructionSet, EqualsASecondModelForEveryParameter) {
    SecondSegmenter::Parameters const all[] = {
        {},
        {0, 0, 4.0F, 1.0F},
        {0, 66, 4.0F, 1.0F},
        {-1, 0, 4.0F, 1.0F},
        {60000, -1000, 4.0F, 1.0F},
        {-60000, 1000, 4.0F, 1.0F},
        {LongTime, LongTime, 4.0F, 1.0F},
        {-LongTime - 1, -1, 4.0F, 1.0F},
        {1, LongTime / 15 + 1, 4.0F, 1.0F},
        {4369000 - 500, 500, 4.0F, 1.0F},  // ages up to 65535, which wrap
        {1500, 500, 0.0F, 1.0F},
        {1500, 500, 255.0F, 1.0F},
        {1500, 500, 4.0F, 0.0F},
        {1500, 500, 4.0F, -1.0F},
        {1500, 500, 4.0F, -0.001F},
        {1500, 500, 4.0F, 1.0e-30F},
        {1500, 500, 4.0F, 0.3333F},
        {1500, 500, 4.0F, 20.0F},
        {1500, 500, 4.0F, 64.5F},
        {1500, 500, 4.0F, 4096.7F},
        {1500, 500, 4.0F, 2097151.8F},  // just below 2^31
        {1500, 500, 4.0F, 2097152.0F},  // 2^31
        {1500, 500, 4.0F, -2097152.0F},
        {1500, 500, 4.0F, 1.0e30F},
        {1500, 500, 255.0F, -3.0e38F},
        {1500, 500, 4.0F, Infinity},
        {1500, 500, 4.0F, -Infinity},
        {1500, 500, 4.0F, NaN},
        {1500, 500, NaN, 1.0F},
        {1500, 500, 0.0F, Infinity},  // not a number
    };
    Pair lasting;  // learns through all of them
    Scene scene(90, 24, 5, 7);
    for (SecondSegmenter::Parameters const& parameters : all) {
        SCOPED_TRACE(testing::Message()
                     << "holdOn " << parameters.holdOnMs << " ms, stationary "
                     << parameters.stationaryMs << " ms, threshold " << parameters.threshold
                     << ", factor " << parameters.factor);
        Pair fresh;
        fresh.Set(parameters);
        lasting.Set(parameters);
        for (int i = 0; i < 40; ++i) {
            Picture const& picture = scene.Next();
            Mask const freeze = scene.NextMask(), reset = scene.NextMask(),
                       exclude = scene.NextMask();
            ASSERT_TRUE(fresh.AgreeOn(picture, {freeze, reset, exclude})) << "frame " << i;
            ASSERT_TRUE(lasting.AgreeOn(picture, {freeze, reset, exclude})) << "frame " << i;
        }
        lasting.Set(Quick);
        for (int i = 0; i < 10; ++i) ASSERT_TRUE(lasting.AgreeOn(scene.Next())) << "frame " << i;
    }
}

TEST_P(EmogSegmenterInEachInstructionSet, EqualsASecondModelAtEverySize) {
    Pair pair;
    pair.Set(Quick);
    for (unsigned width = 0; width <= 140; ++width) {
        for (unsigned height : {width % 12, 7U}) {
            SCOPED_TRACE(testing::Message() << width << " x " << height);
            Scene scene(width, height, width % 5, width);
            for (int i = 0; i < 14; ++i) {
                Picture const& picture = scene.Next();
                Mask const freeze = scene.NextMask(), reset = scene.NextMask(),
                           exclude = scene.NextMask();
                ASSERT_TRUE(pair.AgreeOn(picture, {freeze, reset, exclude})) << "frame " << i;
            }
            if (width % 3 == 0) {
                pair.ours.Reset();
                pair.theirs.Reset();
            }
        }
    }
}

TEST(EmogSegmenterImpl, LearnsAConstantSceneAsTheModelSays) {
    EmogSegmenter::Impl impl;
    Picture const picture(8, 8, 0, 77);
    Mask none(4, 4), foreground(4, 4), stationary(4, 4);
    std::uint16_t const deviations[] = {1144, 858, 739, 671, 627, 596,
                                        572,  553, 538, 526, 516, 507};
    for (unsigned frame = 1; frame <= 1000; ++frame) {
        impl.Process(picture.View(), none.words.data(), none.words.data(), none.words.data(),
                     foreground.words.data(), stationary.words.data());
        ASSERT_EQ(foreground.CountSet() + stationary.CountSet(), 0U);
        Mode const& background = impl.blobState(2, 2).slots[0];
        ASSERT_EQ(background.count, std::min(frame, 975U));
        std::uint16_t const means[] = {32768, 32768, 77 * 256};
        for (std::size_t i = 0; i < FeatureCount; ++i) {
            ASSERT_EQ(background.features[i].mean, means[i]);
            if (frame <= 12) {
                ASSERT_EQ(background.features[i].stdDev, deviations[frame - 1]) << frame;
            } else if (frame == 1000) {
                ASSERT_EQ(background.features[i].stdDev, 404);
            }
        }
    }
}

TEST(EmogSegmenterImpl, KeepsTheBlockWhenOnlyTheShapeChanges) {
    EmogSegmenter::Impl impl;
    impl.ResizeBlobState({320, 240});
    impl.blobState(7, 3).slots[1].count = 9;
    impl.frameCount = 5;
    CellModel const* const block = impl.blobState.data();
    impl.ResizeBlobState({240, 320});
    EXPECT_EQ(impl.blobState.data(), block);
    EXPECT_EQ(impl.blobState.rows(), 320);
    EXPECT_EQ(impl.blobStateSize, (geometry::Dimension<unsigned int, 2>{240, 320}));
    EXPECT_EQ(impl.frameCount, 0U);
    for (Eigen::Index i = 0; i < impl.blobState.size(); ++i) {
        ASSERT_EQ(impl.blobState.data()[i].slots[1].count, 0);
    }
    impl.ResizeBlobState({0, 50});
    EXPECT_EQ(impl.blobState.data(), nullptr);
}

TEST(EmogSegmenterImpl, IsAsAfterResetWhenTheModelCannotBeAllocated) {
    Picture const picture(64, 48, 0, 10);
    Pair pair;
    unsigned foreground = 1, stationary = 2;  // too small to be written
    for (auto [width, height] : {std::pair{~0U, ~0U}, {1U << 31, ~0U}, {~0U, 1U << 22}}) {
        SCOPED_TRACE(testing::Message() << width << " x " << height);
        for (int i = 0; i < 5; ++i) ASSERT_TRUE(pair.AgreeOn(picture));
        media::video::FrameBase<void const> const huge({}, media::ColourFormat::Grey, width, height,
                                                       {}, media::video::frame::Rotation{});
        EXPECT_THROW(pair.ours.Process(huge, nullptr, nullptr, nullptr, &foreground, &stationary),
                     std::bad_alloc);
        EXPECT_EQ(foreground, 1U);
        EXPECT_EQ(stationary, 2U);
        EXPECT_EQ(pair.ours.blobState.data(), nullptr);
        EXPECT_EQ(pair.ours.blobStateSize, (geometry::Dimension<unsigned int, 2>{0, 0}));
        EXPECT_EQ(pair.ours.frameCount, 0U);
        pair.theirs.Reset();
    }
    ASSERT_TRUE(pair.AgreeOn(picture));
}

TEST(EmogSegmenterImpl, CountsFramesUpToTheLastNumber) {
    Pair pair;
    Scene scene(40, 12, 0, 5);
    ASSERT_TRUE(pair.AgreeOn(scene.Next()));
    for (std::uint32_t frames : {84U, 99U, 100U, 4294967294U}) {
        pair.ours.frameCount = frames;
        pair.theirs.framesSeen = frames;
        for (int i = 0; i < 3; ++i) ASSERT_TRUE(pair.AgreeOn(scene.Next())) << frames;
    }
    EXPECT_EQ(pair.ours.frameCount, 4294967295U);
}

}  // namespace
}  // namespace kes::algorithm::tracking_base
