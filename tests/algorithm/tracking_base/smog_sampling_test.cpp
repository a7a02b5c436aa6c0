#include "algorithm/tracking_base/smog_sampling.hpp"

#include <climits>
#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/colour_picture.hpp"
#include "support/mask.hpp"
#include "support/plain_smog.hpp"
#include "support/smog_cases.hpp"

namespace kes::algorithm::tracking_base::appearance {

static void PrintTo(Rgi const& colour, std::ostream* out) {
    *out << '{' << colour.r << ", " << colour.g << ", " << colour.i << '}';
}

namespace {

using geometry::Rectangle;
using media::ColourFormat;
using test::ColourPicture;
using test::Mask;
using test::SmogCases;

using Sample = std::array<int, 4>;  // r, g, i, vp

ColourPicture OneBlock(ColourFormat format, std::array<unsigned char, 12> const& bytes) {
    ColourPicture picture(format, 2, 2);
    picture.plane0.assign(bytes.begin(), bytes.end());
    return picture;
}

Rgi ReadCell(ColourPicture const& picture, int cellX = 0, int cellY = 0) {
    return VisitColourFormat(picture.format, [&]<ColourFormat Format>() {
        return CellReader<Format>(picture.View()).At(cellX, cellY);
    });
}

TEST(SmogSampling, ReadsTheColourOfABlock) {
    struct Case {
        char const* what;
        ColourFormat format;
        std::array<unsigned char, 3> pixel;
        Rgi expected;
    };
    for (Case const& c : std::initializer_list<Case>{
             {"white", ColourFormat::Rgb, {255, 255, 255}, {85, 85, 254}},
             {"red", ColourFormat::Rgb, {255, 0, 0}, {256, 0, 84}},
             {"red, blue first", ColourFormat::Bgr, {0, 0, 255}, {256, 0, 84}},
             {"black", ColourFormat::Rgb, {0, 0, 0}, {0, 0, 0}},
             {"the faintest green", ColourFormat::Rgb, {0, 1, 0}, {0, 256, 0}},
             {"a sum of three has no intensity yet", ColourFormat::Rgb, {1, 1, 1}, {85, 85, 0}},
             {"half grey", ColourFormat::Rgb, {128, 128, 128}, {85, 85, 127}},
             {"half grey from luma", ColourFormat::Yuv, {128, 128, 128}, {85, 85, 127}},
             {"full luma", ColourFormat::Yuv, {255, 128, 128}, {85, 85, 254}},
             {"no luma", ColourFormat::Yuv, {0, 128, 128}, {0, 0, 0}},
             {"luma is not offset", ColourFormat::Yuv, {16, 128, 128}, {85, 85, 15}},
             {"red from luma and chroma", ColourFormat::Yuv, {76, 84, 255}, {221, 34, 91}},
         }) {
        SCOPED_TRACE(c.what);
        auto const [a, b, d] = c.pixel;
        EXPECT_EQ(ReadCell(OneBlock(c.format, {a, b, d, a, b, d, a, b, d, a, b, d})), c.expected);
    }
}

TEST(SmogSampling, TruncatesTheMeanOfABlock) {
    // Means 1 (of 1, 1, 1, 2), 3 and 0 (of 0, 0, 3, 0).
    ColourPicture const picture = OneBlock(ColourFormat::Rgb, {1, 3, 0, 1, 3, 0, 1, 3, 3, 2, 3, 0});
    EXPECT_EQ(ReadCell(picture), (Rgi{64, 192, 1}));
}

TEST(SmogSampling, DividesEveryLightExactly) {
    for (std::uint32_t light = 1; light <= 765; ++light) {
        for (std::uint32_t channel = 0; channel <= std::min(light, 255U); ++channel) {
            ASSERT_EQ(ShareOf(channel, light), channel * 256 / light) << channel << " / " << light;
        }
        std::uint32_t const red = std::min(light, 255U);
        std::uint32_t const green = std::min(light - red, 255U);
        ASSERT_EQ(ComputeRgi(red, green, light - red - green).i, (light - 1) / 3) << light;
    }
}

TEST(SmogSampling, ReadsEveryCellOfEveryFormatAsPlainCodeDoes) {
    SmogCases cases(1);
    for (int round = 0; round < 40; ++round) {
        for (ColourFormat const format : test::ColourFormats) {
            ColourPicture picture(format, 31, 23, static_cast<std::size_t>(round % 7));
            cases.Paint(picture);
            for (int y = 0; y < 11; ++y) {
                for (int x = 0; x < 15; ++x) {
                    auto const [r, g, i] = test::PlainColour(picture.View(), x, y);
                    Rgi const expected{static_cast<std::uint32_t>(r), static_cast<std::uint32_t>(g),
                                       static_cast<std::uint32_t>(i)};
                    ASSERT_EQ(ReadCell(picture, x, y), expected)
                        << "format " << static_cast<int>(format) << ", cell " << x << ", " << y;
                }
            }
        }
    }
}

struct Walk {
    int count;
    std::vector<Sample> samples;
};

Walk WalkBlob(Rectangle<int> const& blob, BitMask const& mask, ColourPicture const& picture) {
    Walk walk{};
    walk.count = VisitColourFormat(picture.format, [&]<ColourFormat Format>() {
        return detail::SampleSmog<Format>(blob, mask, picture.View(), [&](int vp) {
            return [&walk, vp](Rgi const& colour) {
                walk.samples.push_back({static_cast<int>(colour.r), static_cast<int>(colour.g),
                                        static_cast<int>(colour.i), vp});
            };
        });
    });
    return walk;
}

TEST(SmogSampling, LaysAtMost60RowsBy20Columns) {
    BitMask const mask = Mask(200, 200, ~0U);
    struct Case {
        Rectangle<int> blob;
        int rows;
        int columns;
    };
    for (Case const& c : std::initializer_list<Case>{{{10, 10, 15, 110}, 60, 5},
                                                     {{10, 10, 50, 40}, 30, 20},
                                                     {{-50, -50, 300, 300}, 60, 20},
                                                     {{199, 199, 300, 300}, 1, 1}}) {
        SampleGrid const grid = LayGrid(c.blob, mask);
        EXPECT_EQ(grid.rowCount, c.rows);
        EXPECT_EQ(grid.columnCount, c.columns);
    }
}

TEST(SmogSampling, MeasuresTheHeightFromTheBlobsOwnTop) {
    BitMask const mask = Mask(20, 40, ~0U);
    ColourPicture const picture(ColourFormat::Rgb, 40, 80);
    Walk const above = WalkBlob({0, -10, 1, 30}, mask, picture);
    ASSERT_EQ(above.count, 30);
    EXPECT_EQ(above.samples.front()[Height], 64);
    Walk const inside = WalkBlob({0, 4, 1, 36}, mask, picture);
    for (std::size_t row = 0; row < 32; ++row) {
        EXPECT_EQ(inside.samples[row][Height], static_cast<int>(row) * 256 / 32) << "row " << row;
    }
}

TEST(SmogSampling, TakesNoSampleWhereTheBlobDoesNotMeetTheMask) {
    BitMask const mask = Mask(20, 40, ~0U);
    ColourPicture const picture(ColourFormat::Rgb, 40, 80);
    for (Rectangle<int> const& blob :
         std::initializer_list<Rectangle<int>>{{5, 5, 5, 20},
                                               {5, 5, 10, 5},
                                               {10, 5, 5, 20},
                                               {5, 20, 10, 5},
                                               {-10, 0, 0, 40},
                                               {20, 0, 30, 40},
                                               {0, -10, 20, 0},
                                               {0, 40, 20, 50},
                                               {INT_MAX, INT_MAX, INT_MIN, INT_MIN},
                                               {INT_MIN, INT_MIN, INT_MIN + 5, INT_MIN + 5},
                                               {INT_MAX - 5, INT_MAX - 5, INT_MAX, INT_MAX},
                                               {INT_MIN, INT_MIN, INT_MAX, INT_MAX},
                                               {0, INT_MAX, 20, INT_MIN}}) {
        EXPECT_EQ(WalkBlob(blob, mask, picture).count, 0)
            << blob.left << ", " << blob.top << ", " << blob.right << ", " << blob.bottom;
    }
    EXPECT_EQ(WalkBlob({0, 0, 20, 40}, Mask(20, 40), picture).count, 0);
    // As wide as an int can say, but not too tall.
    EXPECT_EQ(WalkBlob({INT_MIN, 0, INT_MAX, INT_MAX}, mask, picture).count, 20 * 40);
}

TEST(SmogSampling, AVarianceOfOneAcceptsTheMeanAloneAndNoneNothing) {
    Gaussians gaussians{};
    gaussians[2] = {{256, 0, 100, 50}, {1, 1, 1, 1}};
    gaussians[5] = {{256, 0, 100, 50}, {0, 1, 1, 0}};
    gaussians[7] = {{250, 3, 90, 57}, {50, 10, 101, 50}};
    FitTable const fits(gaussians);
    struct Case {
        Rgi colour;
        ComponentSet expected;
    };
    for (auto const& [colour, expected] : std::initializer_list<Case>{{{256, 0, 100}, 0x84},
                                                                      {{255, 0, 100}, 0x80},
                                                                      {{256, 1, 100}, 0x80},
                                                                      {{256, 0, 99}, 0x80},
                                                                      {{256, 0, 101}, 0},
                                                                      {{243, 0, 100}, 0x80},
                                                                      {{242, 0, 100}, 0}}) {
        EXPECT_EQ(fits.AtColour(colour), expected) << testing::PrintToString(colour);
    }
    EXPECT_EQ(fits.AtHeight(49), 0);
    EXPECT_EQ(fits.AtHeight(50), 0x84);
    EXPECT_EQ(fits.AtHeight(64), 0x80);
    EXPECT_EQ(fits.AtHeight(65), 0);
}

TEST(SmogSampling, CountsEveryComponentAsPlainCodeDoes) {
    SmogCases cases(3);
    for (int round = 0; round < 400; ++round) {
        ColourFormat const format = test::ColourFormats[static_cast<std::size_t>(round % 4)];
        int const widest = round % 20 == 0 ? 1200 : 100;
        ColourPicture picture(format, static_cast<unsigned>(cases.Uniform(2, widest)),
                              static_cast<unsigned>(cases.Uniform(2, 60)), 2);
        cases.Paint(picture);
        BitMask const mask = cases.AnyMask(picture.width / 2, picture.height / 2);
        Rectangle<int> const area = cases.BlobInside(mask);
        // Any model at all, from one that accepts nothing to one that accepts everything.
        test::PlainSmog plain;
        Gaussians gaussians{};
        for (std::size_t k = 0; k < 8; ++k) {
            for (std::size_t c = 0; c < 4; ++c) {
                int const halfWidth = cases.Uniform(0, 1 << cases.Uniform(0, 8));
                plain.means[k][c] = gaussians[k].means[c] = cases.Uniform(0, 256);
                plain.variances[k][c] = gaussians[k].variances[c] =
                    static_cast<unsigned>(halfWidth * halfWidth);
            }
        }
        auto const images = VisitColourFormat(format, [&]<ColourFormat Format>() {
            return detail::ComputeIntegralImages<Format>(gaussians, area, mask, picture.View());
        });
        auto const expected = plain.Integrate(area, mask, picture.View());
        ASSERT_EQ(images.maskCounts, expected.mask) << "round " << round;
        for (std::size_t i = 0; i < expected.mask.size(); ++i) {
            for (std::size_t k = 0; k < 8; ++k) {
                ASSERT_EQ(images.fitCounts[i].lanes[k], expected.fits[k][i])
                    << "round " << round << ", corner " << i << ", component " << k;
            }
        }
    }
}

TEST(SmogSampling, CountsAnNv12AreaModulo65536) {
    ColourPicture const picture(ColourFormat::Nv12, 600, 600);
    IntegralImages const images = detail::ComputeIntegralImages<ColourFormat::Nv12>(
        {}, {0, 0, 300, 300}, Mask(300, 300, ~0U), picture.View());
    EXPECT_EQ(images.maskCounts.back(), 90000 - 65536);
}

}  // namespace
}  // namespace kes::algorithm::tracking_base::appearance
