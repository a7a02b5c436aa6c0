#include <kes/algorithm/tracking_base/emog_segmenter.hpp>

#include <chrono>
#include <cmath>
#include <limits>
#include <stdexcept>

#include <gtest/gtest.h>

#include "support/mask.hpp"
#include "support/picture.hpp"
#include "support/scene.hpp"

namespace kes::algorithm::tracking_base {
namespace {

using namespace std::chrono_literals;
using test::Mask;
using test::Picture;

struct Outputs {
    Mask foreground;
    Mask stationary;
    bool operator==(Outputs const&) const = default;
};

struct Inputs {
    Mask freeze;
    Mask reset;
    Mask exclude;
    Inputs(Picture const& picture)
        : freeze(picture.width / 2, picture.height / 2), reset(freeze), exclude(freeze) {}
};

// One frame; the outputs start full, so that a word that is not written shows.
Outputs Process(EmogSegmenter& segmenter, Picture const& picture, Inputs const& inputs) {
    Mask const full(picture.width / 2, picture.height / 2, ~0U);
    Outputs outputs{full, full};
    segmenter.Process(picture.View(), inputs.freeze.words.data(), inputs.reset.words.data(),
                      inputs.exclude.words.data(), outputs.foreground.words.data(),
                      outputs.stationary.words.data());
    return outputs;
}

Outputs Process(EmogSegmenter& segmenter, Picture const& picture) {
    return Process(segmenter, picture, Inputs(picture));
}

char const* const Nothing = "... ... ...";
char const* const Everything = "##. ##. ...";  // every cell that is ever classified

class EmogSegmenterTest : public testing::Test {
protected:
    // 3 x 3 cells, of which 2 x 2 are classified.
    Picture const yard{6, 6, 0, 100};
    Picture const visitor{6, 6, 0, 200};
    EmogSegmenter segmenter;

    void Establish(int frames = 975) {
        for (int i = 0; i < frames; ++i) Process(segmenter, yard);
    }
    void ExpectForeground(Picture const& picture, Inputs const& inputs, char const* foreground,
                          char const* stationary) {
        Outputs const expected{Mask::Drawn(foreground), Mask::Drawn(stationary)};
        Outputs const found = Process(segmenter, picture, inputs);
        EXPECT_EQ(found.foreground, expected.foreground);
        EXPECT_EQ(found.stationary, expected.stationary);
    }
    void ExpectForeground(Picture const& picture, char const* foreground, char const* stationary) {
        ExpectForeground(picture, Inputs(picture), foreground, stationary);
    }
};

TEST_F(EmogSegmenterTest, StartsWithItsDefaults) {
    EXPECT_EQ(segmenter.GetHoldOnTime(), 60000ms);
    EXPECT_EQ(segmenter.GetStationaryTime(), 5000ms);
    EXPECT_EQ(segmenter.GetStdDevThreshold(), 4.0F);
    EXPECT_FALSE(segmenter.IsAbandonedObjectEnabled());
}

TEST_F(EmogSegmenterTest, AcceptsThresholdsFrom0To255) {
    float const nan = std::numeric_limits<float>::quiet_NaN();
    float const infinity = std::numeric_limits<float>::infinity();
    for (float accepted : {0.0F, 255.0F, 0.5F, nan, 7.0F}) {
        segmenter.SetStdDevThreshold(accepted);
        float const stored = segmenter.GetStdDevThreshold();
        EXPECT_TRUE(stored == accepted || (std::isnan(stored) && std::isnan(accepted)));
    }
    for (float refused : {-0.001F, 255.001F, -infinity, infinity}) {
        try {
            segmenter.SetStdDevThreshold(refused);
            FAIL() << "accepted " << refused;
        } catch (std::invalid_argument const& error) {
            EXPECT_STREQ(error.what(), "SetStdDevThreshold out of range");
        }
        EXPECT_EQ(segmenter.GetStdDevThreshold(), 7.0F);
    }
}

TEST_F(EmogSegmenterTest, KeepsParametersAcrossReset) {
    segmenter.SetHoldOnTime(-1ms);
    segmenter.SetStationaryTime(std::chrono::milliseconds::max());
    segmenter.SetStdDevThreshold(3.5F);
    segmenter.EnableAbandonedObject(true);
    segmenter.Reset();
    EXPECT_EQ(segmenter.GetHoldOnTime(), -1ms);
    EXPECT_EQ(segmenter.GetStationaryTime(), std::chrono::milliseconds::max());
    EXPECT_EQ(segmenter.GetStdDevThreshold(), 3.5F);
    EXPECT_TRUE(segmenter.IsAbandonedObjectEnabled());
}

TEST_F(EmogSegmenterTest, KeepsTheThresholdFactorAcrossReset) {
    segmenter.SetThresholdFactor(0.0F);
    segmenter.Reset();
    Establish(10);
    // With no tolerance nothing matches: every frame replaces a background of age 1, unreported.
    ExpectForeground(visitor, Nothing, Nothing);
    segmenter.SetThresholdFactor(1.0F);
    Establish(10);
    ExpectForeground(visitor, Everything, Nothing);
}

TEST_F(EmogSegmenterTest, HoldsAVisitorApartUntilItIsAbsorbed) {
    Establish();
    for (int presence = 1; presence <= 980; ++presence) {
        SCOPED_TRACE(presence);
        ExpectForeground(visitor, presence <= 74 ? Everything : Nothing,
                         presence >= 75 && presence <= 974 ? Everything : Nothing);
    }
    ExpectForeground(yard, Everything, Nothing);  // now the old background is the stranger
}

TEST_F(EmogSegmenterTest, ForgetsAVisitorWhenTheBackgroundReturns) {
    Establish();
    for (int i = 0; i < 100; ++i) Process(segmenter, visitor);
    ExpectForeground(yard, Nothing, Nothing);
    ExpectForeground(visitor, Everything, Nothing);  // young again
}

TEST_F(EmogSegmenterTest, AbsorbsForegroundAsSoonAsAYoungBackgroundIsOvertaken) {
    Establish(10);
    for (int presence = 1; presence <= 9; ++presence)
        ExpectForeground(visitor, Everything, Nothing);
    ExpectForeground(visitor, Nothing, Nothing);
}

TEST_F(EmogSegmenterTest, FrozenCellsDoNotAge) {
    Establish();
    Inputs inputs(visitor);
    inputs.freeze = Mask::Drawn("#.. ... ...");
    for (int presence = 1; presence <= 1100; ++presence) Process(segmenter, visitor, inputs);
    ExpectForeground(visitor, inputs, "#.. ... ...", Nothing);
}

TEST_F(EmogSegmenterTest, ResetCellsTakeTheFrameAsTheirBackground) {
    Establish();
    Process(segmenter, visitor);
    Inputs inputs(visitor);
    inputs.reset = Mask::Drawn("#.. ... ...");
    ExpectForeground(visitor, inputs, ".#. ##. ...", Nothing);
    // The old background replaces one of age 1 unseen.
    ExpectForeground(yard, Nothing, Nothing);
    ExpectForeground(yard, Nothing, Nothing);
    // By now it has been matched once more: the visitor is foreground again, for one frame.
    ExpectForeground(visitor, Everything, Nothing);
}

TEST_F(EmogSegmenterTest, ExcludedCellsLearnButAreNotReported) {
    Establish();
    Inputs inputs(visitor);
    inputs.exclude = Mask::Drawn(".#. ... ...");
    for (int presence = 1; presence <= 74; ++presence) {
        ExpectForeground(visitor, inputs, "#.. ##. ...", Nothing);
    }
    ExpectForeground(visitor, Nothing, Everything);
    ExpectForeground(visitor, inputs, Nothing, "#.. ##. ...");
}

TEST_F(EmogSegmenterTest, TurnsTimesIntoFramesAt15ASecond) {
    struct Case {
        char const* what;
        std::chrono::milliseconds stationary, holdOn;
        int lastYoung, lastStationary;  // presences
    };
    Case const cases[] = {
        {"no stationary time: stationary at once", 0ms, 1000ms, 0, 14},
        {"66 ms are no frame", 66ms, 934ms, 0, 14},
        {"67 ms are one", 67ms, 933ms, 0, 14},
        {"134 ms are two", 134ms, 866ms, 1, 14},
        {"no time at all: nothing is reported", 33ms, 33ms, 0, 0},
        {"a negative stationary time is a long one", -1000ms, 2000ms, 14, 14},
        {"2^16 frames are none", 4369067ms, 1000ms, 0, 14},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.what);
        segmenter.Reset();
        segmenter.SetStationaryTime(c.stationary);
        segmenter.SetHoldOnTime(c.holdOn);
        Establish(40);
        for (int presence = 1; presence <= 20; ++presence) {
            SCOPED_TRACE(presence);
            bool const isYoung = presence <= c.lastYoung;
            bool const isStationary = !isYoung && presence <= c.lastStationary;
            ExpectForeground(visitor, isYoung ? Everything : Nothing,
                             isStationary ? Everything : Nothing);
        }
    }
}

TEST_F(EmogSegmenterTest, StartsAfreshAfterResetAndWhenTheSizeChanges) {
    Establish(50);
    segmenter.Reset();
    ExpectForeground(visitor, Nothing, Nothing);

    Picture const wider(8, 6, 0, 200);
    for (int i = 0; i < 10; ++i) {
        Picture const& picture = i % 2 == 0 ? wider : yard;
        EXPECT_EQ(Process(segmenter, picture).foreground.CountSet(), 0U);
    }
    // An odd column more is the same half size.
    Establish(10);
    Picture const odd(7, 7, 0, 200);
    ExpectForeground(odd, Everything, Nothing);
}

TEST_F(EmogSegmenterTest, NeverReportsTheLastColumnAndRow) {
    for (auto [width, height] : {std::pair{100U, 61U}, {3U, 3U}, {2U, 50U}, {64U, 2U}, {66U, 9U}}) {
        Picture const before(width, height, 3, 50);
        Picture const after(width, height, 3, 150);
        for (int i = 0; i < 10; ++i) Process(segmenter, before);
        Mask expected(width / 2, height / 2);
        for (unsigned y = 0; y + 1 < expected.height; ++y) {
            for (unsigned x = 0; x + 1 < expected.width; ++x) expected.Set(x, y);
        }
        EXPECT_EQ(Process(segmenter, after).foreground, expected) << width << " x " << height;
    }
}

TEST_F(EmogSegmenterTest, TouchesNothingOfFramesWithoutCells) {
    Establish(10);
    for (auto [width, height] : {std::pair{0U, 0U}, {1U, 1U}, {1U, 9U}, {0U, 9U}, {9U, 1U}}) {
        Picture const picture(width, height);
        unsigned word = 0xABCD;
        segmenter.Process(picture.View(), nullptr, nullptr, nullptr, &word, &word + 1);
        EXPECT_EQ(word, 0xABCDU);
    }
    segmenter.Process({}, nullptr, nullptr, nullptr, nullptr, nullptr);
    ExpectForeground(visitor, Nothing, Nothing);
}

TEST_F(EmogSegmenterTest, TakesAnInputThatIsTheSameArrayAsAnOutput) {
    test::Scene scene(150, 20, 0, 3);
    EmogSegmenter same;
    for (EmogSegmenter* each : {&segmenter, &same}) {
        each->SetStationaryTime(300ms);
        each->SetHoldOnTime(700ms);
    }
    for (int i = 0; i < 100; ++i) {
        Picture const& picture = scene.Next();
        Inputs inputs(picture);
        inputs.freeze = scene.NextMask();
        inputs.reset = scene.NextMask();
        inputs.exclude = scene.NextMask();
        Outputs const expected = Process(segmenter, picture, inputs);

        Mask* const arrays[] = {&inputs.freeze, &inputs.reset, &inputs.exclude};
        Mask& foreground = *arrays[i % 3];
        Mask& stationary = *arrays[(i + 1 + i / 3 % 2) % 3];
        same.Process(picture.View(), inputs.freeze.words.data(), inputs.reset.words.data(),
                     inputs.exclude.words.data(), foreground.words.data(), stationary.words.data());
        ASSERT_EQ(foreground, expected.foreground) << "frame " << i;
        ASSERT_EQ(stationary, expected.stationary) << "frame " << i;
    }
}

}  // namespace
}  // namespace kes::algorithm::tracking_base
