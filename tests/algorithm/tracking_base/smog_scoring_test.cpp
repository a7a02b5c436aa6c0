#include <climits>
#include <cmath>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>
#include <kes/algorithm/tracking_base/smog.hpp>

#include "support/colour_picture.hpp"
#include "support/mask.hpp"
#include "support/plain_smog.hpp"
#include "support/smog_cases.hpp"

namespace kes::algorithm::tracking_base::appearance {
namespace {

using geometry::Dimension;
using geometry::Point;
using geometry::Rectangle;
using media::ColourFormat;
using test::ColourPicture;
using test::Mask;

void ExpectSame(BlobScore const& a, BlobScore const& b) {
    EXPECT_EQ(a.score, b.score);
    EXPECT_EQ(a.centre.x, b.centre.x);
    EXPECT_EQ(a.centre.y, b.centre.y);
    EXPECT_EQ(a.size.width, b.size.width);
    EXPECT_EQ(a.size.height, b.size.height);
    EXPECT_EQ(a.tag, b.tag);
}

TEST(SmogScoring, BandsFollowTheComponentsHeights) {
    constexpr unsigned Cell = 65536;
    auto const sections =
        Smog().ComputeGaussianSectionRectangles({40 * static_cast<int>(Cell), 100 * Cell});
    for (unsigned k = 0; k < 8; ++k) {
        unsigned const centre = (16 + 32 * k) * 100 * Cell / 256;
        unsigned const half = 25 * Cell / 2;
        Rectangle<unsigned> const expected{0, centre < half ? 0 : centre - half, 40 * Cell,
                                           std::min(centre + half, 100 * Cell)};
        EXPECT_EQ(sections[k], expected) << "component " << k;
    }
    // 240 x 200 x 65536 needs more than 32 bits.
    auto const tall = Smog().ComputeGaussianSectionRectangles({1, 200 * Cell});
    EXPECT_EQ(tall[7].top, 187 * Cell + Cell / 2 - 25 * Cell);
    EXPECT_EQ(tall[7].bottom, 200 * Cell);
    // The tallest and the smallest that can be asked for.
    EXPECT_EQ(Smog().ComputeGaussianSectionRectangles({INT_MAX, INT_MAX})[7].bottom, INT_MAX);
    EXPECT_EQ(Smog().ComputeGaussianSectionRectangles({0, 0})[3],
              (Rectangle<unsigned>{0, 0, 0, 0}));
}

TEST(SmogScoring, ABlobNotLargerThanExpectedIsScoredWhole) {
    ColourPicture const picture(ColourFormat::Rgb, 320, 480);
    BitMask const mask = Mask(160, 240, ~0U);
    struct Case {
        char const* what;
        Rectangle<int> blob;
        Dimension<float, 2> expected;
        bool isWhole;
    };
    float const nan = std::numeric_limits<float>::quiet_NaN();
    for (Case const& c :
         std::vector<Case>{{"wider", {0, 0, 60, 80}, {40, 100}, false},
                           {"as wide and taller", {0, 0, 40, 120}, {40, 100}, false},
                           {"as wide and as tall", {0, 0, 40, 100}, {40, 100}, true},
                           {"taller but narrower", {0, 0, 30, 200}, {40, 100}, true},
                           {"narrower by less than a cell", {0, 0, 40, 120}, {40.5F, 100}, true},
                           {"nobody knows what is expected", {0, 0, 40, 120}, {nan, nan}, true},
                           {"reversed, so narrower", {40, 0, 0, 120}, {0, 0}, true}}) {
        SCOPED_TRACE(c.what);
        BlobScore const score =
            Smog().PartitionAndScoreBlob(c.blob, 7, mask, picture.View(), {20, 50}, c.expected);
        EXPECT_EQ(score.tag, c.isWhole ? 7.0F : 0.0F);
    }
    ExpectSame(
        Smog().PartitionAndScoreBlob({10, 20, 21, 31}, 7, mask, picture.View(), {15, 15}, {20, 20}),
        {Smog().ScoreBlob({10, 20, 21, 31}, mask, picture.View()), {15, 25}, {11, 11}, 7});
    ExpectSame(Smog().PartitionAndScoreBlob({21, 31, 10, 20}, ~0U, mask, picture.View(), {15, 15},
                                            {20, 20}),
               {0, {26, 36}, {-11, -11}, 4294967296.0F});
}

TEST(SmogScoring, AnEmptyBlobIsAllZerosWhateverElseIsWrong) {
    ColourPicture const nothing(ColourFormat::Grey, 2, 2);
    for (Rectangle<int> const& blob :
         {Rectangle<int>{5, 5, 5, 9}, Rectangle<int>{5, 5, 9, 5}, Rectangle<int>{0, 0, 0, 0}}) {
        ExpectSame(Smog().PartitionAndScoreBlob(blob, 7, {}, nothing.View(), {1, 1}, {1, 1}),
                   BlobScore{});
    }
}

// Colours play no part where no cell is set: the placement nearest to the prediction wins.
TEST(SmogScoring, WithoutColourTheNearestPlacementWins) {
    ColourPicture const picture(ColourFormat::Rgb, 640, 480);
    BitMask const mask = Mask(320, 240);
    struct Case {
        char const* what;
        Rectangle<int> blob;
        Point<float, 2> predicted;
        Dimension<float, 2> expected;
        Point<float, 2> centre;
    };
    for (Case const& c :
         std::vector<Case>{{"no room", {50, 50, 70, 90}, {60, 70}, {20, 30}, {60, 65}},
                           {"four, one cell apart: not the fifth",
                            {50, 50, 74, 88},
                            {64, 70},
                            {19.5F, 30},
                            {62.75F, 70}},
                           {"ten, two cells apart: the first of two as near",
                            {50, 50, 88, 88},
                            {69, 70},
                            {20, 30},
                            {68, 70}},
                           {"beside the blob", {50, 50, 88, 90}, {300, 70}, {20, 30}, {290, 65}}}) {
        SCOPED_TRACE(c.what);
        ExpectSame(
            Smog().PartitionAndScoreBlob(c.blob, 7, mask, picture.View(), c.predicted, c.expected),
            {0, c.centre, c.expected, 0});
    }
}

// More cells than a count of 16 bits holds, and rows of more cells than are read at a time.
TEST(SmogScoring, SearchesALargeAreaAsThePlainModelDoes) {
    test::SmogCases cases(1);
    for (auto const& [format, width, height] :
         {std::tuple{ColourFormat::Nv12, 600, 600}, {ColourFormat::Rgb, 1200, 80}}) {
        for (int round = 0; round < 8; ++round) {
            ColourPicture picture(format, unsigned(width), unsigned(height));
            cases.Paint(picture);
            Mask const mask(picture.width / 2, picture.height / 2, ~0U);
            Rectangle<int> const all{0, 0, width / 2, height / 2};
            Smog smog;
            test::PlainSmog plain;
            smog.Update(all, mask, picture.View());
            plain.Update(all, mask, picture.View());
            auto const w = static_cast<float>(width), h = static_cast<float>(height);
            auto const search = [&](auto const& model) {
                return model.PartitionAndScoreBlob(all, 7, mask, picture.View(), {w / 4 + 9, h / 4},
                                                   {w / 2 - 20.5F, h / 2 - 9});
            };
            ExpectSame(search(smog), search(plain));
        }
    }
}

TEST(SmogScoring, RefusesASearchThatItCannotMake) {
    struct Case {
        char const* what;
        ColourFormat format;
        BitMask mask;
        Rectangle<int> blob;
        Point<float, 2> predicted;
        Dimension<float, 2> expected;
        std::string error;
    };
    std::string const colour = "Unspported colour format";
    std::string const size = "Blob mask dimensions must be half the frame size";
    std::string const words = "Blob mask has too few words";
    std::string const outside = "Blob must lie inside the mask";
    std::string const infinite =
        "Predicted centre and expected size must be finite and below 32768";
    std::string const negative = "Expected size must not be negative";
    std::string const tooLarge = "Search rectangle is too large";
    float const nan = std::numeric_limits<float>::quiet_NaN();
    BitMask const none;
    BitMask const full = Mask(300, 300, ~0U);
    BitMask const large = Mask(301, 300, ~0U);
    BitMask const shortLarge{301, 300, std::vector<std::uint32_t>(2900)};
    BitMask const small = Mask(299, 299, ~0U);
    BitMask const tooShort{300, 300, std::vector<std::uint32_t>(2999)};
    Rectangle<int> const all{0, 0, 300, 300};
    Rectangle<int> const over{200, 0, 301, 300};
    Point<float, 2> const p{270, 270};
    Dimension<float, 2> const d{31, 31};
    for (Case const& c : std::vector<Case>{
             {"format first", ColourFormat::Grey, none, all, {nan, 0}, {-1, 1}, colour},
             {"then floats", ColourFormat::Bgr, none, all, {nan, 0}, {-1, 1}, infinite},
             {"then sign", ColourFormat::Bgr, none, all, {0, 0}, {-1, 1}, negative},
             {"then area", ColourFormat::Bgr, none, all, {150, 150}, {150, 150}, tooLarge},
             {"then size", ColourFormat::Bgr, shortLarge, over, p, d, size},
             {"then words", ColourFormat::Bgr, tooShort, over, p, d, words},
             {"then mask", ColourFormat::Nv12, full, over, p, d, outside},
             {"below a smaller mask", ColourFormat::Rgb, small, {0, 0, 299, 300}, p, d, outside},
             {"left", ColourFormat::Rgb, full, {-1, 0, 40, 40}, {15, 15}, {20, 20}, outside},
             {"above", ColourFormat::Rgb, full, {0, -1, 40, 40}, {15, 15}, {20, 20}, outside},
             {"an area inside", ColourFormat::Rgb, full, {-99, -1, 301, 400}, {99, 99}, d, ""},
             {"of a smaller mask", ColourFormat::Rgb, small, {-99, -1, 301, 400}, {99, 99}, d, ""},
             {"of a larger mask", ColourFormat::Rgb, large, {-99, -1, 301, 400}, {99, 99}, d, ""},
             {"the words it needs", ColourFormat::Rgb, shortLarge, all, {99, 99}, d, ""},
             {"no room to read", ColourFormat::Rgb, none, {-9, -9, 30, 30}, {0, 0}, {9, 39}, ""},
             {"as wide and far off",
              ColourFormat::Nv12,
              none,
              {0, INT_MIN, 9, INT_MAX},
              p,
              {9, 9},
              ""},
             {"a centre too far", ColourFormat::Rgb, full, all, {-32768, 5}, {5, 5}, infinite},
             {"a centre just near enough",
              ColourFormat::Rgb,
              full,
              all,
              {-32767.99F, 32767.99F},
              {5, 5},
              ""},
             {"a size too large", ColourFormat::Rgb, full, all, {5, 5}, {5, 32768}, infinite},
             {"a negative height", ColourFormat::Rgb, full, all, {5, 5}, {5, -0.5F}, negative},
             {"65535 counts", ColourFormat::Yuv, full, {0, 0, 254, 256}, {9, 9}, {253, 255}, ""},
             {"one row more",
              ColourFormat::Bgr,
              full,
              {0, 0, 255, 255},
              {9, 9},
              {254, 254},
              tooLarge},
             {"a large area", ColourFormat::Rgb, full, all, {150, 150}, {150, 150}, tooLarge},
             {"a large area of Nv12", ColourFormat::Nv12, full, all, {150, 150}, {150, 150}, ""}}) {
        SCOPED_TRACE(c.what);
        ColourPicture const picture(c.format, 600, 600);
        std::string message;
        try {
            Smog().PartitionAndScoreBlob(c.blob, 7, c.mask, picture.View(), c.predicted,
                                         c.expected);
        } catch (std::invalid_argument const& error) {
            message = error.what();
        }
        EXPECT_EQ(message, c.error);
    }
}

}  // namespace
}  // namespace kes::algorithm::tracking_base::appearance
