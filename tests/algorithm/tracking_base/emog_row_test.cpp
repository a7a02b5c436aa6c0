// UpdateRow in every instruction set against the plain row.
#include "algorithm/tracking_base/emog_row.hpp"

#include <bit>
#include <cstring>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "algorithm/tracking_base/emog_cell.hpp"
#include "support/instruction_sets.hpp"
#include "support/picture.hpp"

namespace kes::algorithm::tracking_base {
namespace {

using test::Picture;
using Record = std::array<std::uint16_t, 21>;

class EmogRow : public test::EachInstructionSet {
protected:
    unsigned Below(unsigned end) { return static_cast<unsigned>(random() % end); }

    template <std::size_t Count>
    std::uint32_t OneOf(std::uint32_t const (&values)[Count]) {
        return values[Below(Count)];
    }

    // Rows of noise, or of large flat areas.
    Picture AnyPixels(std::size_t cellCount) {
        Picture picture(static_cast<unsigned>(2 * cellCount + 2), 4, Below(7));
        bool const isNoise = Below(2) == 0;
        unsigned char level = 0;
        for (unsigned char& pixel : picture.bytes) {
            if (isNoise || Below(20) == 0) level = static_cast<unsigned char>(random());
            pixel = level;
        }
        return picture;
    }

    // A mode near the observation, at the edge of its tolerance, or anywhere.
    Mode AnyMode(cell::Features const& seen, FrameValues const& values) {
        constexpr std::uint32_t Ages[] = {0, 0, 1, 1, 2, 73, 74, 75, 900, 975, 976, 65534, 65535};
        constexpr std::uint32_t Deviations[] = {0, 404, 404, 405, 1144, 4095, 4096, 11584, 11585};
        Mode mode{};
        mode.count = static_cast<std::uint16_t>(OneOf(Ages));
        unsigned const kind = Below(4);
        for (std::size_t i = 0; i < FeatureCount; ++i) {
            std::uint32_t const stdDev = kind == 0 ? OneOf(Deviations) : 404 + Below(11182);
            unsigned const tolerance = stdDev * values.matchScale >> 8;
            unsigned const apart = kind == 3   ? Below(65536)
                                   : kind == 2 ? tolerance - 1 + Below(2)
                                               : Below(400);
            unsigned const mean = Below(2) == 0 ? seen[i] + apart : seen[i] - apart;
            mode.features[i] = {static_cast<std::uint16_t>(mean),
                                static_cast<std::uint16_t>(stdDev)};
        }
        return mode;
    }

    std::vector<CellModel> AnyCells(std::size_t cellCount, Picture const& picture,
                                    FrameValues const& values) {
        std::vector<CellModel> cells(cellCount + 2, std::bit_cast<CellModel>(Record{1, 2, 3}));
        bool isQuiet = false;
        for (std::size_t x = 0; x < cellCount; ++x) {
            cell::Features const seen =
                cell::Observe(&picture.bytes[2 * x], static_cast<std::ptrdiff_t>(picture.stride));
            if (x % 16 == 0) isQuiet = Below(3) == 0;
            for (Mode& mode : cells[x].slots) mode = AnyMode(seen, values);
            if (isQuiet) {
                CellModel& cell = cells[x];
                cell.slots[1].count = 0;
                for (std::size_t i = 0; i < FeatureCount; ++i) {
                    // The last two make a deviation of which only the exact root is right: they are
                    // the reason why the short cut for quiet strips ends at 4095.
                    constexpr unsigned Edges[][2] = {
                        {4095, 4095}, {4096, 4096}, {4070, 4200}, {10904, 4008}};
                    bool const isEdge = Below(100) == 0;
                    auto const& edge = Edges[Below(4)];
                    unsigned const apart = isEdge ? edge[0] : Below(400);
                    unsigned const stdDev = isEdge ? edge[1] : 1100 + Below(2900);
                    unsigned const mean = Below(2) == 0 ? seen[i] + apart : seen[i] - apart;
                    cell.slots[0].features[i] = {static_cast<std::uint16_t>(mean),
                                                 static_cast<std::uint16_t>(stdDev)};
                }
            }
        }
        return cells;
    }

    std::vector<std::uint32_t> AnyWords(std::size_t count) {
        std::vector<std::uint32_t> words(count);
        bool const isEmpty = Below(2) == 0;
        for (std::uint32_t& word : words) {
            if (!isEmpty && Below(2) == 0) word = static_cast<std::uint32_t>(random() & random());
        }
        return words;
    }

    FrameValues AnyValues() {
        constexpr std::uint32_t Scales[] = {1024,  1024, 1024,       0,          128,       65280,
                                            65535, 257,  0x7FFFFFFF, 0x80000000, 0U - 1024, ~0U};
        constexpr std::uint32_t Frames[] = {75, 75, 0, 1, 2, 65535, 65521};
        constexpr std::uint32_t Limits[] = {975, 975, 975, 0, 1, 65535, 74};
        constexpr std::uint32_t Rates[] = {2, 2, 2, 3, 25, 85, 128, 255, 256, 1};
        return {OneOf(Scales), static_cast<std::uint16_t>(OneOf(Frames)),
                static_cast<std::uint16_t>(OneOf(Limits)), static_cast<std::int32_t>(OneOf(Rates))};
    }

    void CompareOnAnyRow(std::size_t cellCount) {
        FrameValues const values = AnyValues();
        Picture const picture = AnyPixels(cellCount);
        auto const stride = static_cast<std::ptrdiff_t>(picture.stride);
        std::size_t const words = (cellCount + 31) / 32;
        std::vector<std::uint32_t> const freeze = AnyWords(words), reset = AnyWords(words),
                                         exclude = AnyWords(words);

        std::vector<CellModel> expected = AnyCells(cellCount, picture, values), found = expected;
        std::vector<std::uint32_t> expectedForeground(words + 1, 0xABCD),
            expectedStationary(words + 1, 0xABCD), foreground(words + 1, 0xABCD),
            stationary(words + 1, 0xABCD);
        UpdateRowPlain(expected.data(), cellCount, picture.bytes.data(), stride,
                       {freeze.data(), reset.data(), exclude.data(), expectedForeground.data(),
                        expectedStationary.data()},
                       values);
        UpdateRow(
            found.data(), cellCount, picture.bytes.data(), stride,
            {freeze.data(), reset.data(), exclude.data(), foreground.data(), stationary.data()},
            values);

        ASSERT_EQ(foreground, expectedForeground);
        ASSERT_EQ(stationary, expectedStationary);
        for (std::size_t x = 0; x < found.size(); ++x) {
            ASSERT_EQ(std::bit_cast<Record>(found[x]), std::bit_cast<Record>(expected[x]))
                << "cell " << x << ", reset " << (x < cellCount && (reset[x / 32] << x % 32 >> 31));
        }
    }

    std::mt19937 random{1};
};

TEST_P(EmogRow, RunsInThisInstructionSet) {
    bool const isPlain = GetParam() == HWY_SCALAR || GetParam() == HWY_EMU128;
    EXPECT_STREQ(RowInstructionSet(), isPlain ? "plain" : hwy::TargetName(GetParam()));
}

TEST_P(EmogRow, EqualsThePlainRowAtEveryWidth) {
    for (std::size_t cellCount = 1; cellCount <= 140; ++cellCount) {
        for (int i = 0; i < 30; ++i) {
            SCOPED_TRACE(testing::Message() << cellCount << " cells, row " << i);
            CompareOnAnyRow(cellCount);
            if (HasFatalFailure()) return;
        }
    }
}

TEST_P(EmogRow, EqualsThePlainRowOnLongRows) {
    for (int i = 0; i < 60; ++i) {
        SCOPED_TRACE(testing::Message() << "row " << i);
        CompareOnAnyRow(3840 / 2 - 1 - Below(40));
        if (HasFatalFailure()) return;
    }
}

INSTANTIATE_TEST_SUITE_P(In, EmogRow, testing::ValuesIn(test::InstructionSets()), test::NameOf);

}  // namespace
}  // namespace kes::algorithm::tracking_base
