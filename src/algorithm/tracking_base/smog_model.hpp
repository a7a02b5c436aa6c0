// What the parts of the appearance model share. Data only.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include <kes/algorithm/tracking_base/smog.hpp>

namespace kes::algorithm::tracking_base::appearance {

using Gaussians = std::array<Smog::Gaussian, Smog::ComponentCount>;

enum Channel : std::size_t { Red, Green, Intensity, Height };

// A blob is looked at on a grid of cells of this size, or all of them where it has fewer.
constexpr std::size_t MaxSampleRows = 60;
constexpr std::size_t MaxSampleColumns = 20;

// The samples of one blob, channel by channel, so that lanes can be samples. Only the first `count`
// are there. Colours are at most 256 and heights below 512.
struct Samples {
    static constexpr std::size_t MaxCount = MaxSampleRows * MaxSampleColumns;

    std::size_t count = 0;
    std::array<std::array<std::int16_t, MaxCount>, Smog::ChannelCount> channels;
};

}  // namespace kes::algorithm::tracking_base::appearance
