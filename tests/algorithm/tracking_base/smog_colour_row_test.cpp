// ReadColours in every instruction set against ReadCell.
#include "algorithm/tracking_base/smog_colour_row.hpp"

#include <algorithm>
#include <cstdint>
#include <ostream>

#include <gtest/gtest.h>

#include "support/colour_picture.hpp"
#include "support/instruction_sets.hpp"
#include "support/smog_cases.hpp"

namespace kes::algorithm::tracking_base::appearance {

static void PrintTo(Rgi const& colour, std::ostream* out) {
    *out << '{' << colour.r << ", " << colour.g << ", " << colour.i << '}';
}

namespace {

using media::ColourFormat;
using test::ColourPicture;

class SmogColourRow : public test::EachInstructionSet {
protected:
    // Reads the cells from (cellX, cellY) on, and compares them one by one.
    static void ExpectSame(ColourPicture const& picture, std::size_t cellX, std::size_t cellY,
                           std::size_t count) {
        VisitColourFormat(picture.format, [&]<ColourFormat Format>() {
            CellReader<Format> const reader(picture.View());
            auto const x = static_cast<std::ptrdiff_t>(cellX);
            auto const y = static_cast<std::ptrdiff_t>(cellY);
            Colours colours;
            ReadColours(Format, reader.RowAt(x, y), count, colours);
            for (std::size_t i = 0; i < count; ++i) {
                ASSERT_EQ(colours.At(i), reader.At(x + static_cast<std::ptrdiff_t>(i), y))
                    << "format " << static_cast<int>(Format) << ", cell " << i << " of " << count;
            }
        });
    }
};

TEST_P(SmogColourRow, ReadsRowsOfEveryLengthAsPlainCodeDoes) {
    test::SmogCases cases(7);
    for (int round = 0; round < 60; ++round) {
        for (ColourFormat const format : test::ColourFormats) {
            // The picture ends with the last cell, sometimes with half a cell more.
            std::size_t const left = static_cast<std::size_t>(cases.Uniform(0, 5));
            std::size_t const count =
                static_cast<std::size_t>(cases.Uniform(0, round == 0 ? 256 : 80));
            std::size_t const width = 2 * (left + count) + static_cast<std::size_t>(round % 2);
            ColourPicture picture(format, static_cast<unsigned>(width), 4,
                                  static_cast<std::size_t>(round % 5));
            cases.Paint(picture);
            ExpectSame(picture, left, 1, count);
        }
    }
}

// Every red there is at every light there is, green taking what it can of the rest.
TEST_P(SmogColourRow, DividesEveryLightExactly) {
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
        ExpectSame(picture, 0, 0, 256);
        ASSERT_FALSE(HasFailure()) << "light " << light;
    }
}

// Every chroma pair, at lumas that clamp below, above and nowhere.
TEST_P(SmogColourRow, ConvertsEveryChromaExactly) {
    ColourPicture picture(ColourFormat::Nv12, 512, 2);
    for (unsigned const luma : {0U, 1U, 90U, 128U, 254U, 255U}) {
        for (unsigned char& byte : picture.plane0) byte = static_cast<unsigned char>(luma);
        for (unsigned u = 0; u < 256; ++u) {
            for (unsigned v = 0; v < 256; ++v) {
                picture.plane1[2 * v] = static_cast<unsigned char>(u);
                picture.plane1[2 * v + 1] = static_cast<unsigned char>(v);
            }
            ExpectSame(picture, 0, 0, 256);
            ASSERT_FALSE(HasFailure()) << "luma " << luma << ", u " << u;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Each, SmogColourRow, testing::ValuesIn(test::InstructionSets()),
                         test::NameOf);

}  // namespace
}  // namespace kes::algorithm::tracking_base::appearance
