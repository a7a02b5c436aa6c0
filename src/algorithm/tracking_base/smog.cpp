#include <kes/algorithm/tracking_base/smog.hpp>

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "algorithm/tracking_base/smog_sampling.hpp"

namespace kes::algorithm::tracking_base::appearance {
namespace {

// Blending weights, out of 256.
constexpr std::uint32_t WholeWeight = 256;
constexpr std::uint32_t LearningWeight = 25;

// What the samples of one component add up to. 1200 samples of at most 256 stay far below 2^32.
struct Sums {
    std::uint32_t count;
    std::array<std::uint32_t, Smog::ChannelCount> values;
    std::array<std::uint32_t, Smog::ChannelCount> squares;

    void Add(Sample const& sample) {
        ++count;
        for (std::size_t c = 0; c < sample.size(); ++c) {
            auto const value = static_cast<std::uint32_t>(sample[c]);
            values[c] += value;
            squares[c] += value * value;
        }
    }
};

// The component with the nearest means, the first of several.
std::size_t Nearest(Gaussians const& gaussians, Sample const& sample) {
    auto const squaredDistance = [&sample](Smog::Gaussian const& gaussian) {
        int sum = 0;
        for (std::size_t c = 0; c < sample.size(); ++c) {
            int const difference = sample[c] - gaussian.means[c];
            sum += difference * difference;
        }
        return sum;
    };
    std::size_t nearest = 0;
    int smallest = squaredDistance(gaussians[0]);
    for (std::size_t k = 1; k < gaussians.size(); ++k) {
        int const distance = squaredDistance(gaussians[k]);
        if (distance < smallest) {
            smallest = distance;
            nearest = k;
        }
    }
    return nearest;
}

std::uint32_t Blend(std::uint32_t old, std::uint32_t measured, std::uint32_t weight) {
    return ((WholeWeight - weight) * old + weight * measured) >> 8;
}

void Learn(Smog::Gaussian& gaussian, Sums const& sums, std::uint32_t weight) {
    for (std::size_t c = 0; c < gaussian.means.size(); ++c) {
        std::uint32_t const mean = sums.values[c] / sums.count;
        std::uint32_t const variance = sums.squares[c] / sums.count - mean * mean;
        std::uint32_t const accepted = (variance * 576) >> 8;  // 1.5 standard deviations, squared
        gaussian.means[c] =
            static_cast<int>(Blend(static_cast<std::uint32_t>(gaussian.means[c]), mean, weight));
        gaussian.variances[c] = std::max(Blend(gaussian.variances[c], accepted, weight), 1U);
    }
}

}  // namespace

Smog::Smog() : gaussians{}, untrained(true) {
    int bandCentre = 16;
    for (Gaussian& gaussian : gaussians) {
        gaussian = {{128, 128, 128, bandCentre}, {16384, 16384, 16384, 1024}};
        bandCentre += 32;
    }
}

void Smog::Update(geometry::Rectangle<int> const& blob, BitMask const& mask, Frame const& frame) {
    RequireHalfSize(mask, frame);
    std::array<Sums, ComponentCount> sums{};
    int const sampleCount =
        VisitColourFormat(frame.GetColourFormat(), [&]<media::ColourFormat Format>() {
            RequireWords(mask);
            return detail::SampleSmog<Format>(blob, mask, frame, [&](Sample const& sample) {
                sums[Nearest(gaussians, sample)].Add(sample);
            });
        });
    if (sampleCount == 0) return;

    std::uint32_t const weight = untrained ? WholeWeight : LearningWeight;
    for (std::size_t k = 0; k < gaussians.size(); ++k) {
        if (sums[k].count != 0) Learn(gaussians[k], sums[k], weight);
    }
    untrained = false;
}

}  // namespace kes::algorithm::tracking_base::appearance
