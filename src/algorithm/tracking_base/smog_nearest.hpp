// Which component of an appearance model a sample is nearest to.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "algorithm/tracking_base/smog_model.hpp"

namespace kes::algorithm::tracking_base::appearance {

// The component of each sample.
using Assignment = std::array<std::int32_t, Samples::MaxCount>;

// The component whose means have the least squared distance from the sample over all four channels,
// the first of several.
std::int32_t NearestTo(Gaussians const& gaussians, Samples const& samples, std::size_t index);

// NearestTo for every sample, in the best way that the processor has.
void AssignSamples(Gaussians const& gaussians, Samples const& samples, Assignment& assignment);

}  // namespace kes::algorithm::tracking_base::appearance
