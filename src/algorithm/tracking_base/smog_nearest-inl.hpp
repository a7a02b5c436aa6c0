// NearestTo in lanes, one sample a lane. Compiled once for every instruction set; include it as
// smog_nearest.cpp does.
#if defined(KES_SMOG_NEAREST_INL_HPP) == defined(HWY_TARGET_TOGGLE)
#ifdef KES_SMOG_NEAREST_INL_HPP
#undef KES_SMOG_NEAREST_INL_HPP
#else
#define KES_SMOG_NEAREST_INL_HPP
#endif

#include <cstddef>
#include <cstdint>

#include <kes/algorithm/tracking_base/smog.hpp>

#include <hwy/highway.h>

#include "algorithm/tracking_base/smog_nearest.hpp"

HWY_BEFORE_NAMESPACE();
namespace kes::algorithm::tracking_base::appearance::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

// Values and means are below 2^9, so a squared distance is an integer below 2^20 and eight times it
// below 2^23: floats hold every step exactly, whether a multiply and an add round once or twice.
using DF = hn::ScalableTag<float>;
using VF = hn::Vec<DF>;
using D32 = hn::RebindToSigned<DF>;
using D16 = hn::Rebind<std::int16_t, DF>;

inline VF LoadValues(std::int16_t const* values) {
    return hn::ConvertTo(DF(), hn::PromoteTo(D32(), hn::LoadU(D16(), values)));
}

inline VF SquaredDifference(VF values, int mean) {
    VF const difference = hn::Sub(values, hn::Set(DF(), static_cast<float>(mean)));
    return hn::Mul(difference, difference);
}

// Assigns whole vectors of samples and returns how many samples they hold.
inline std::size_t AssignInLanes(Gaussians const& gaussians, Samples const& samples,
                                 Assignment& assignment) {
    std::size_t const lanes = hn::Lanes(DF());
    std::size_t i = 0;
    for (; i + lanes <= samples.count; i += lanes) {  // loads and stores end by samples.count
        VF const r = LoadValues(&samples.channels[Red][i]);
        VF const g = LoadValues(&samples.channels[Green][i]);
        VF const intensity = LoadValues(&samples.channels[Intensity][i]);
        VF const vp = LoadValues(&samples.channels[Height][i]);
        // 8 x distance + k: the least of them names the nearest component, the first of several.
        VF least = hn::Set(DF(), 1 << 24);
        for (std::size_t k = 0; k < Smog::ComponentCount; ++k) {
            auto const& means = gaussians[k].means;
            VF const distance = hn::Add(
                hn::Add(SquaredDifference(r, means[Red]), SquaredDifference(g, means[Green])),
                hn::Add(SquaredDifference(intensity, means[Intensity]),
                        SquaredDifference(vp, means[Height])));
            VF const index = hn::Set(DF(), static_cast<float>(k));
            least = hn::Min(least, hn::MulAdd(distance, hn::Set(DF(), 8), index));
        }
        auto const nearest = hn::And(hn::ConvertTo(D32(), least), hn::Set(D32(), 7));
        hn::StoreU(nearest, D32(), &assignment[i]);
    }
    return i;
}

}  // namespace kes::algorithm::tracking_base::appearance::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif  // KES_SMOG_NEAREST_INL_HPP
