#include <kes/algorithm/tracking_base/emog_segmenter.hpp>

#include <chrono>
#include <cmath>
#include <limits>
#include <stdexcept>

#include <gtest/gtest.h>

#include "support/mask.hpp"
#include "support/picture.hpp"

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
    EXPECT_EQ(segmenter.GetHoldOnTime(), 60000ms);
    EXPECT_EQ(segmenter.GetStationaryTime(), 5000ms);
    EXPECT_EQ(segmenter.GetStdDevThreshold(), 4.0F);
    EXPECT_FALSE(segmenter.IsAbandonedObjectEnabled());
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

}  // namespace
}  // namespace kes::algorithm::tracking_base
