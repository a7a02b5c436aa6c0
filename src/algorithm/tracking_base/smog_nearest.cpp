// Highway compiles this file once for every instruction set, by including it again and again; what
// stands under HWY_ONCE is compiled once.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "algorithm/tracking_base/smog_nearest.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

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

std::int32_t NearestTo(Gaussians const& gaussians, Samples const& samples, std::size_t index) {
    std::int32_t nearest = 0;
    int least = 0;
    for (std::size_t k = 0; k < Smog::ComponentCount; ++k) {
        int distance = 0;
        for (std::size_t c = 0; c < Smog::ChannelCount; ++c) {
            int const difference = samples.channels[c][index] - gaussians[k].means[c];
            distance += difference * difference;
        }
        if (k == 0 || distance < least) {
            least = distance;
            nearest = static_cast<std::int32_t>(k);
        }
    }
    return nearest;
}

void AssignSamples(Gaussians const& gaussians, Samples const& samples, Assignment& assignment) {
    HWY_DYNAMIC_DISPATCH(AssignSamples)(gaussians, samples, assignment);
}

}  // namespace kes::algorithm::tracking_base::appearance
#endif  // HWY_ONCE
