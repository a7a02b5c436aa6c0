#include <kes/algorithm/tracking_base/emog_segmenter.hpp>

#include "algorithm/tracking_base/emog_segmenter_impl.hpp"

namespace kes::algorithm::tracking_base {

EmogSegmenter::EmogSegmenter() : impl(std::make_unique<Impl>()) {}

EmogSegmenter::~EmogSegmenter() = default;

void EmogSegmenter::Reset() { impl->Reset(); }

std::chrono::milliseconds EmogSegmenter::GetHoldOnTime() const { return impl->GetHoldOnTime(); }

void EmogSegmenter::SetHoldOnTime(std::chrono::milliseconds time) { impl->SetHoldOnTime(time); }

std::chrono::milliseconds EmogSegmenter::GetStationaryTime() const {
    return impl->GetStationaryTime();
}

void EmogSegmenter::SetStationaryTime(std::chrono::milliseconds time) {
    impl->SetStationaryTime(time);
}

void EmogSegmenter::EnableAbandonedObject(bool enable) { impl->EnableAbandonedObject(enable); }

bool EmogSegmenter::IsAbandonedObjectEnabled() const { return impl->IsAbandonedObjectEnabled(); }

float EmogSegmenter::GetStdDevThreshold() const { return impl->GetStdDevThreshold(); }

void EmogSegmenter::SetStdDevThreshold(float threshold) { impl->SetStdDevThreshold(threshold); }

void EmogSegmenter::SetThresholdFactor(float factor) { impl->thresholdFactor = factor; }

void EmogSegmenter::Process(media::video::FrameBase<void const> const& frame,
                            unsigned int const* freezeMask, unsigned int const* resetMask,
                            unsigned int const* excludeMask, unsigned int* foregroundMask,
                            unsigned int* stationaryMask) {
    impl->Process(frame, freezeMask, resetMask, excludeMask, foregroundMask, stationaryMask);
}

}  // namespace kes::algorithm::tracking_base
