// Highway compiles this file once for every instruction set, by including it again and again; what
// stands under HWY_ONCE is compiled once.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "algorithm/tracking_base/smog_nearest.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include <kes/algorithm/tracking_base/smog.hpp>

#include "algorithm/tracking_base/smog_nearest.hpp"

#include "algorithm/tracking_base/has_lanes-inl.hpp"

#if KES_HAS_LANES
#include "algorithm/tracking_base/smog_nearest-inl.hpp"
#endif

HWY_BEFORE_NAMESPACE();
namespace kes::algorithm::tracking_base::appearance::HWY_NAMESPACE {

void AssignSamples(Gaussians const& gaussians, Samples const& samples, Assignment& assignment) {
    std::size_t i = 0;
#if KES_HAS_LANES
    i = AssignInLanes(gaussians, samples, assignment);
#endif
    for (; i < samples.count; ++i) assignment[i] = NearestTo(gaussians, samples, i);
}

}  // namespace kes::algorithm::tracking_base::appearance::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kes::algorithm::tracking_base::appearance {

HWY_EXPORT(AssignSamples);

namespace {

// As Update leaves them; a state made by hand may hold anything.
bool MeansSuitLanes(Gaussians const& gaussians) {
    for (Smog::Gaussian const& gaussian : gaussians) {
        for (int const mean : gaussian.means) {
            if (mean < 0 || mean > 511) return false;
        }
    }
    return true;
}

}  // namespace

std::int32_t NearestTo(Gaussians const& gaussians, Samples const& samples, std::size_t index) {
    std::int32_t nearest = 0;
    std::int32_t least = 0;
    for (std::size_t k = 0; k < Smog::ComponentCount; ++k) {
        std::uint32_t distance = 0;  // wraps for means that no Update leaves
        for (std::size_t c = 0; c < Smog::ChannelCount; ++c) {
            std::uint32_t const difference =
                static_cast<std::uint32_t>(samples.channels[c][index]) -
                static_cast<std::uint32_t>(gaussians[k].means[c]);
            distance += difference * difference;
        }
        if (k == 0 || static_cast<std::int32_t>(distance) < least) {
            least = static_cast<std::int32_t>(distance);
            nearest = static_cast<std::int32_t>(k);
        }
    }
    return nearest;
}

void AssignSamples(Gaussians const& gaussians, Samples const& samples, Assignment& assignment) {
    if (MeansSuitLanes(gaussians)) {
        HWY_DYNAMIC_DISPATCH(AssignSamples)(gaussians, samples, assignment);
        return;
    }
    for (std::size_t i = 0; i < samples.count; ++i)
        assignment[i] = NearestTo(gaussians, samples, i);
}

}  // namespace kes::algorithm::tracking_base::appearance
#endif  // HWY_ONCE
