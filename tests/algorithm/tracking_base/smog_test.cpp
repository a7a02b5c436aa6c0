#include <kes/algorithm/tracking_base/smog.hpp>

#include <climits>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/colour_picture.hpp"
#include "support/mask.hpp"
#include "support/plain_smog.hpp"
#include "support/smog_cases.hpp"

namespace kes::algorithm::tracking_base::appearance {
namespace {

using geometry::Rectangle;
using media::ColourFormat;
using test::ColourPicture;
using test::Mask;

std::string TextOf(Smog const& smog) {
    std::ostringstream out;
    out << smog;
    return out.str();
}

void ExpectDefault(Smog const& smog, std::size_t k) {
    SCOPED_TRACE(k);
    Smog::Gaussian const& gaussian = smog.gaussians[k];
    EXPECT_EQ(gaussian.means, (std::array<int, 4>{128, 128, 128, 16 + 32 * static_cast<int>(k)}));
    EXPECT_EQ(gaussian.variances, (std::array<unsigned, 4>{16384, 16384, 16384, 1024}));
}

// One colour all over: r = 100, g = 78, i = 85.
ColourPicture Reddish(unsigned int width, unsigned int height) {
    ColourPicture picture(ColourFormat::Rgb, width, height);
    for (unsigned int y = 0; y < height; ++y) {
        for (unsigned int x = 0; x < width; ++x) picture.SetPacked(x, y, 100, 78, 78);
    }
    return picture;
}

Mask MaskOfRows(unsigned int width, unsigned int height, std::vector<unsigned int> const& rows) {
    Mask mask(width, height);
    for (unsigned int const row : rows) mask.Set(0, row);
    return mask;
}

TEST(Smog, StartsWithEightBandsThatAcceptHalfOfEveryColour) {
    Smog const smog;
    for (std::size_t k = 0; k < 8; ++k) ExpectDefault(smog, k);
    EXPECT_EQ(sizeof(Smog), 260U);
}

TEST(Smog, TakesTheFirstStatisticsAsTheyAreAndBlendsLaterOnes) {
    // 25 rows: heights 0, 10, 20, ..., 225, 235, 245.
    ColourPicture const picture = Reddish(2, 50);
    Rectangle<int> const blob{0, 0, 1, 25};
    Smog smog;
    smog.Update(blob, MaskOfRows(1, 25, {1, 2}), picture.View());
    EXPECT_EQ(smog.gaussians[0].means, (std::array<int, 4>{100, 78, 85, 15}));
    EXPECT_EQ(smog.gaussians[0].variances, (std::array<unsigned, 4>{1, 1, 1, 56}));
    for (std::size_t k = 1; k < 8; ++k) ExpectDefault(smog, k);

    smog.Update(blob, MaskOfRows(1, 25, {22, 23}), picture.View());
    EXPECT_EQ(smog.gaussians[0].means, (std::array<int, 4>{100, 78, 85, 15}));
    for (std::size_t k = 1; k < 7; ++k) ExpectDefault(smog, k);
    EXPECT_EQ(smog.gaussians[7].means, (std::array<int, 4>{125, 123, 123, 239}));
    EXPECT_EQ(smog.gaussians[7].variances, (std::array<unsigned, 4>{14784, 14784, 14784, 929}));
}

TEST(Smog, GivesASampleBetweenTwoComponentsToTheLower) {
    // 8 rows: heights 0, 32, 64, ..., of which 64 lies midway between components 1 and 2.
    Smog smog;
    smog.Update({0, 0, 1, 8}, MaskOfRows(1, 8, {2}), Reddish(2, 16).View());
    EXPECT_EQ(smog.gaussians[1].means[3], 64);
    ExpectDefault(smog, 2);
}

// Red everywhere, then green: no component is nearer than the largest distances there are.
TEST(Smog, AssignsByHeightWhatIsFarFromEveryComponent) {
    BitMask const mask = Mask(20, 40, ~0U);
    ColourPicture picture(ColourFormat::Rgb, 40, 80);
    Smog smog;
    test::PlainSmog plain;
    for (bool const isRed : {true, false}) {
        for (std::size_t i = 0; i < picture.plane0.size(); ++i) {
            picture.plane0[i] = isRed ? (i % 3 == 0 ? 255 : 0) : (i % 3 == 1 ? 1 : 0);
        }
        smog.Update({0, 0, 20, 40}, mask, picture.View());
        plain.Update({0, 0, 20, 40}, mask, picture.View());
        EXPECT_EQ(TextOf(smog), plain.Text());
    }
}

TEST(Smog, LearnsNothingFromABlobWithoutASample) {
    ColourPicture const picture = Reddish(40, 40);
    BitMask const mask = Mask(20, 20, ~0U);
    std::vector<Rectangle<int>> const blobs{{5, 5, 5, 10},
                                            {30, 0, 40, 20},
                                            {10, 10, 5, 5},
                                            {5, 20, 10, 5},
                                            {-10, 0, 0, 20},
                                            {0, 20, 20, 30},
                                            {INT_MAX, INT_MAX, INT_MIN, INT_MIN},
                                            {INT_MIN, INT_MIN, INT_MIN + 5, INT_MIN + 5},
                                            {INT_MAX - 5, INT_MAX - 5, INT_MAX, INT_MAX},
                                            {0, INT_MAX, 20, INT_MIN}};
    Smog smog;
    for (Rectangle<int> const& blob : blobs) {
        smog.Update(blob, mask, picture.View());
        EXPECT_EQ(smog.ScoreBlob(blob, mask, picture.View()), 0.0F);
    }
    smog.Update({0, 0, 20, 20}, Mask(20, 20), picture.View());
    EXPECT_EQ(TextOf(smog), TextOf(Smog()));
    // Still untrained: the first samples replace.
    smog.Update({0, 0, 20, 20}, mask, picture.View());
    EXPECT_EQ(smog.gaussians[3].means[0], 100);

    std::string const trained = TextOf(smog);
    for (Rectangle<int> const& blob : blobs) smog.Update(blob, mask, picture.View());
    EXPECT_EQ(TextOf(smog), trained);
    // A mask without words has all that they need.
    for (Rectangle<int> const& blob : blobs) {
        EXPECT_EQ(smog.ScoreBlob(blob, {20, 20}, picture.View()), 0.0F);
    }
}

// Of 3 rows of 2 words, the grid's last cell lies in word 4 or 5, or, of 61 rows, above the last.
TEST(Smog, NeedsNoWordsButThoseOfItsSamples) {
    struct Case {
        Rectangle<int> blob;
        unsigned int height;
        std::size_t words;
    };
    for (Case const& c : std::vector<Case>{{{0, 0, 9, 3}, 3, 5},
                                           {{0, 0, 40, 3}, 3, 6},
                                           {{-5, -5, 9, 2}, 3, 3},
                                           {{0, 0, 1, 61}, 61, 119}}) {
        ColourPicture const picture = Reddish(80, 2 * c.height);
        BitMask const mask{40, c.height, std::vector<std::uint32_t>(c.words, ~0U)};
        EXPECT_EQ(Smog().ScoreBlob(c.blob, mask, picture.View()), 1.0F) << c.words;
        BitMask const lacking{40, c.height, std::vector<std::uint32_t>(c.words - 1, ~0U)};
        Smog smog;
        EXPECT_THROW(smog.ScoreBlob(c.blob, lacking, picture.View()), std::invalid_argument);
        EXPECT_THROW(smog.Update(c.blob, lacking, picture.View()), std::invalid_argument);
        EXPECT_TRUE(smog.untrained);
    }
}

// Blobs of which no int says how wide or high they are, and states that no Update leaves.
TEST(Smog, LearnsAndScoresByTheLetterFarFromWhatIsUsual) {
    test::SmogCases cases(2);
    ColourPicture picture(ColourFormat::Bgr, 70, 90);
    cases.Paint(picture);
    BitMask const mask = cases.AnyMask(35, 45);
    std::vector<Rectangle<int>> const blobs{{0, 0, 35, 45},
                                            {INT_MIN, INT_MIN, INT_MAX, INT_MAX},
                                            {-9, INT_MIN + 40, 20, 41},
                                            {INT_MIN, 3, INT_MAX, INT_MAX}};
    std::vector<Smog::Gaussian> const states{
        {{100, 100, 100, 100}, {0, 0, 0, 0}},
        {{-300, 600, 22000, -22000}, {~0U, 1U << 31, 484000000, 490000000}},
        {{INT_MAX, INT_MIN, 65536, 1 << 30}, {~0U, ~0U, 40000, ~0U}},
        {{-40000, 40000, 46341, 70000}, {~0U, 1600000000, 3, 5}}};
    for (Rectangle<int> const& blob : blobs) {
        for (Smog::Gaussian const& state : states) {
            Smog smog;
            test::PlainSmog plain;
            for (std::size_t k = 0; k < 8; k += 3) {
                smog.gaussians[k] = state;
                plain.means[k] = state.means;
                plain.variances[k] = state.variances;
            }
            for (bool const untrained : {false, true, false}) {
                smog.untrained = plain.untrained = untrained;
                EXPECT_EQ(smog.ScoreBlob(blob, mask, picture.View()),
                          plain.ScoreBlob(blob, mask, picture.View()));
                EXPECT_EQ(smog.ComputeGaussianSectionRectangles({7, 3000000}),
                          plain.Sections(7, 3000000));
                EXPECT_LE(smog.PartitionAndScoreBlob({0, 0, 35, 45}, 0, mask, picture.View(),
                                                     {17, 22}, {20, 30})
                              .score,
                          1.0F);
                smog.Update(blob, mask, picture.View());
                plain.Update(blob, mask, picture.View());
                ASSERT_EQ(TextOf(smog), plain.Text());
            }
        }
    }
}

}  // namespace
}  // namespace kes::algorithm::tracking_base::appearance
