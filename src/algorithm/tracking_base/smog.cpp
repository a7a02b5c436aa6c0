#include <kes/algorithm/tracking_base/smog.hpp>

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include <kes/media/colour_format.hpp>

#include "algorithm/tracking_base/smog_colour.hpp"
#include "algorithm/tracking_base/smog_model.hpp"
#include "algorithm/tracking_base/smog_nearest.hpp"
#include "algorithm/tracking_base/smog_sampling.hpp"

namespace kes::algorithm::tracking_base::appearance {
namespace {

// Blending weights, out of 256.
constexpr std::uint32_t WholeWeight = 256;
constexpr std::uint32_t LearningWeight = 25;

// 1.5 squared, out of 256: what lies within 1.5 standard deviations is accepted.
constexpr std::uint32_t AcceptanceFactor = 576;

// What the samples of one component add up to. 1200 samples of at most 511 stay below 2^32.
struct Sums {
    std::uint32_t count;
    std::array<std::uint32_t, Smog::ChannelCount> values;
    std::array<std::uint32_t, Smog::ChannelCount> squares;
};

std::array<Sums, Smog::ComponentCount> SumUp(Samples const& samples, Assignment const& assignment) {
    std::array<Sums, Smog::ComponentCount> sums{};
    for (std::size_t i = 0; i < samples.count; ++i) {
        Sums& sum = sums[static_cast<std::size_t>(assignment[i])];
        ++sum.count;
        for (std::size_t c = 0; c < Smog::ChannelCount; ++c) {
            auto const value = static_cast<std::uint32_t>(samples.channels[c][i]);
            sum.values[c] += value;
            sum.squares[c] += value * value;
        }
    }
    return sums;
}

std::uint32_t Blend(std::uint32_t old, std::uint32_t measured, std::uint32_t weight) {
    return ((WholeWeight - weight) * old + weight * measured) >> 8;
}

// A component always accepts its own means.
constexpr std::uint32_t LeastVariance = 1;

void Learn(Smog::Gaussian& gaussian, Sums const& sums, std::uint32_t weight) {
    for (std::size_t c = 0; c < gaussian.means.size(); ++c) {
        std::uint32_t const mean = sums.values[c] / sums.count;
        std::uint32_t const variance = sums.squares[c] / sums.count - mean * mean;
        std::uint32_t const accepted = (variance * AcceptanceFactor) >> 8;
        gaussian.means[c] =
            static_cast<int>(Blend(static_cast<std::uint32_t>(gaussian.means[c]), mean, weight));
        gaussian.variances[c] =
            std::max(Blend(gaussian.variances[c], accepted, weight), LeastVariance);
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
    Samples samples;
    VisitColourFormat(frame.GetColourFormat(), [&]<media::ColourFormat Format>() {
        detail::SampleSmog<Format>(blob, mask, frame, [&samples](int vp) {
            return [&samples, vp](Rgi const& colour) {
                std::size_t const i = samples.count++;
                samples.channels[Red][i] = static_cast<std::int16_t>(colour.r);
                samples.channels[Green][i] = static_cast<std::int16_t>(colour.g);
                samples.channels[Intensity][i] = static_cast<std::int16_t>(colour.i);
                samples.channels[Height][i] = static_cast<std::int16_t>(vp);
            };
        });
    });
    if (samples.count == 0) return;

    Assignment assignment;
    AssignSamples(gaussians, samples, assignment);
    auto const sums = SumUp(samples, assignment);

    std::uint32_t const weight = untrained ? WholeWeight : LearningWeight;
    for (std::size_t k = 0; k < gaussians.size(); ++k) {
        if (sums[k].count != 0) {
            Learn(gaussians[k], sums[k], weight);
        } else {
            for (auto& variance : gaussians[k].variances) {
                variance = std::max(variance, LeastVariance);
            }
        }
    }
    untrained = false;
}

}  // namespace kes::algorithm::tracking_base::appearance
