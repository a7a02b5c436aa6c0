// Every colour of a cell, alone and in rows of every instruction set, against the plain model.
#include <algorithm>
#include <array>

#include <gtest/gtest.h>

#include "algorithm/tracking_base/smog_colour_row.hpp"
#include "support/colour_picture.hpp"
#include "support/instruction_sets.hpp"
#include "support/plain_smog.hpp"
#include "support/smog_cases.hpp"

namespace kes::algorithm::tracking_base::appearance {
namespace {

using media::ColourFormat;
using test::ColourPicture;

using Triple = std::array<int, 3>;

Triple TripleOf(Rgi const& colour) {
    return {static_cast<int>(colour.r), static_cast<int>(colour.g), static_cast<int>(colour.i)};
}

class SmogColour : public test::EachInstructionSet {
protected:
    // Reads the cells of a row from cellX on.
    static void ExpectPlain(ColourPicture const& picture, std::size_t cellX = 0, int cellY = 0) {
        std::size_t const count = picture.width / 2 - cellX;
        VisitColourFormat(picture.format, [&]<ColourFormat Format>() {
            CellReader<Format> const reader(picture.View());
            Colours colours;
            ReadColours(Format, reader.RowAt(static_cast<std::ptrdiff_t>(cellX), cellY), count,
                        colours);
            for (std::size_t i = 0; i < count; ++i) {
                int const x = static_cast<int>(cellX + i);
                Triple const expected = test::PlainColour(picture.View(), x, cellY);
                ASSERT_EQ(TripleOf(colours.At(i)), expected)
                    << "format " << int(Format) << ", " << i;
                ASSERT_EQ(TripleOf(reader.At(x, cellY)), expected) << "alone, " << i;
            }
        });
    }
};

INSTANTIATE_TEST_SUITE_P(Each, SmogColour, testing::ValuesIn(test::InstructionSets()),
                         test::NameOf);

TEST_P(SmogColour, IsThePlainOneInRowsOfEveryLength) {
    test::SmogCases cases(7);
    for (std::size_t width = 2; width <= 150; ++width) {
        for (ColourFormat const format : test::ColourFormats) {
            ColourPicture picture(format, static_cast<unsigned>(width), 4, width % 5);
            cases.Paint(picture);
            ExpectPlain(picture, width % 7 / 4, 1);
            ASSERT_FALSE(HasFailure()) << "width " << width;
        }
    }
}

// Every red there is at every light there is, green taking what it can of the rest.
TEST_P(SmogColour, DividesEveryLightExactly) {
    ColourPicture picture(ColourFormat::Rgb, 512, 2);
    for (unsigned light = 0; light <= 765; ++light) {
        for (unsigned red = 0; red <= 255; ++red) {
            unsigned const rest = light - std::min(light, red);
            unsigned const green = std::min(rest, 255U);
            unsigned const blue = std::min(rest - green, 255U);
            for (unsigned pixel = 0; pixel < 4; ++pixel) {
                picture.SetPacked(2 * red + pixel % 2, pixel / 2, static_cast<unsigned char>(red),
                                  static_cast<unsigned char>(green),
                                  static_cast<unsigned char>(blue));
            }
        }
        ExpectPlain(picture);
        ASSERT_FALSE(HasFailure()) << "light " << light;
    }
}

// Every chroma pair, at lumas that clamp below, above and nowhere.
TEST_P(SmogColour, ConvertsEveryChromaExactly) {
    ColourPicture picture(ColourFormat::Nv12, 512, 2);
    for (int const luma : {0, 1, 90, 254, 255}) {
        auto const byte = static_cast<unsigned char>(luma);
        std::fill(picture.plane0.begin(), picture.plane0.end(), byte);
        for (unsigned u = 0; u < 256; ++u) {
            for (unsigned v = 0; v < 256; ++v) {
                picture.plane1[2 * v] = static_cast<unsigned char>(u);
                picture.plane1[2 * v + 1] = static_cast<unsigned char>(v);
            }
            ExpectPlain(picture);
            ASSERT_FALSE(HasFailure()) << "luma " << luma << ", u " << u;
        }
    }
}

TEST(SmogColourOfABlock, IsAShareOfItsLight) {
    struct Case {
        char const* what;
        ColourFormat format;
        std::array<unsigned char, 3> pixel;
        Triple expected;
    };
    for (Case const& c : std::initializer_list<Case>{
             {"white", ColourFormat::Rgb, {255, 255, 255}, {85, 85, 254}},
             {"red", ColourFormat::Rgb, {255, 0, 0}, {256, 0, 84}},
             {"red, blue first", ColourFormat::Bgr, {0, 0, 255}, {256, 0, 84}},
             {"black", ColourFormat::Rgb, {0, 0, 0}, {0, 0, 0}},
             {"a sum of three has no intensity yet", ColourFormat::Rgb, {1, 1, 1}, {85, 85, 0}},
             {"luma is not offset", ColourFormat::Yuv, {16, 128, 128}, {85, 85, 15}},
             {"red from luma and chroma", ColourFormat::Yuv, {76, 84, 255}, {221, 34, 91}},
         }) {
        ColourPicture picture(c.format, 2, 2);
        for (std::size_t i = 0; i < 12; ++i) picture.plane0[i] = c.pixel[i % 3];
        EXPECT_EQ(test::PlainColour(picture.View(), 0, 0), c.expected) << c.what;
    }
}

}  // namespace
}  // namespace kes::algorithm::tracking_base::appearance
