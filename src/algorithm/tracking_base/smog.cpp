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

// r, g, i and vp.
using Sample = std::array<std::uint32_t, Smog::ChannelCount>;

// What the samples of one component add up to. 1200 samples of at most 256 stay far below 2^32.
struct Sums {
    std::uint32_t count;
    Sample values;
    Sample squares;

    void Add(Sample const& sample) {
        ++count;
        for (std::size_t c = 0; c < sample.size(); ++c) {
            values[c] += sample[c];
            squares[c] += sample[c] * sample[c];
        }
    }
};

// Finds the component with the nearest means, the first of several.
class Nearest {
public:
    explicit Nearest(Gaussians const& gaussians) {
        for (std::size_t k = 0; k < gaussians.size(); ++k) {
            for (std::size_t c = 0; c < Smog::ChannelCount; ++c) {
                means[c][k] = static_cast<std::int16_t>(gaussians[k].means[c]);
            }
        }
    }

    std::size_t To(Sample const& sample) const {
        std::array<std::int32_t, Smog::ComponentCount> distances{};
        for (std::size_t c = 0; c < sample.size(); ++c) {
            for (std::size_t k = 0; k < distances.size(); ++k) {
                auto const difference =
                    static_cast<std::int16_t>(static_cast<std::int16_t>(sample[c]) - means[c][k]);
                distances[k] += difference * difference;
            }
        }
        // Distances are below 2^20; with the index in their low bits, the least one names it.
        std::int32_t least = distances[0] << 3;
        for (std::size_t k = 1; k < distances.size(); ++k) {
            least = std::min(least, distances[k] << 3 | static_cast<std::int32_t>(k));
        }
        return static_cast<std::size_t>(least & 7);
    }

private:
    // By channel and component.
    std::array<std::array<std::int16_t, Smog::ComponentCount>, Smog::ChannelCount> means;
};

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
            Nearest const nearest(gaussians);
            return detail::SampleSmog<Format>(blob, mask, frame, [&](int vp) {
                return [&, vp = static_cast<std::uint32_t>(vp)](Rgi const& colour) {
                    Sample const sample{colour.r, colour.g, colour.i, vp};
                    sums[nearest.To(sample)].Add(sample);
                };
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
