// AssignSamples in every instruction set against NearestTo.
#include "algorithm/tracking_base/smog_nearest.hpp"

#include <algorithm>

#include <gtest/gtest.h>

#include "support/generated.hpp"
#include "support/instruction_sets.hpp"

namespace kes::algorithm::tracking_base::appearance {
namespace {

class SmogNearest : public test::EachInstructionSet {};

TEST_P(SmogNearest, AssignsEverySampleAsPlainCodeDoes) {
    test::Generator random(1);
    // Few distinct values make ties; the largest make the largest distances.
    constexpr std::uint32_t Ranges[] = {2, 4, 30, 257, 512};
    int ties = 0;
    for (int round = 0; round < 400; ++round) {
        std::uint32_t const range = Ranges[round % 5];
        Gaussians gaussians{};
        for (Smog::Gaussian& gaussian : gaussians) {
            for (int& mean : gaussian.means) {
                mean = static_cast<int>(random.Below(std::min(range, 257U)));
            }
        }
        Samples samples;
        samples.count = round == 0 ? Samples::MaxCount : random.Below(100);
        for (auto& channel : samples.channels) {
            channel.fill(77);
            for (std::size_t i = 0; i < samples.count; ++i) {
                channel[i] = static_cast<std::int16_t>(random.Below(range));
            }
        }
        Assignment assignment;
        assignment.fill(-1);
        AssignSamples(gaussians, samples, assignment);
        for (std::size_t i = 0; i < assignment.size(); ++i) {
            std::int32_t const expected = i < samples.count ? NearestTo(gaussians, samples, i) : -1;
            ASSERT_EQ(assignment[i], expected) << "round " << round << ", sample " << i;
        }
        // The last of several nearest, by the model upside down.
        Gaussians const reversed{gaussians[7], gaussians[6], gaussians[5], gaussians[4],
                                 gaussians[3], gaussians[2], gaussians[1], gaussians[0]};
        for (std::size_t i = 0; i < samples.count; ++i) {
            ties += 7 - NearestTo(reversed, samples, i) != assignment[i];
        }
    }
    EXPECT_GT(ties, 1000);
}

INSTANTIATE_TEST_SUITE_P(Each, SmogNearest, testing::ValuesIn(test::InstructionSets()),
                         test::NameOf);

}  // namespace
}  // namespace kes::algorithm::tracking_base::appearance
