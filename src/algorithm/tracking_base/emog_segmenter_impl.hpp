// The segmenter's parameters and learnt model.
#pragma once

#include <chrono>
#include <cstdint>

#include <kes/algorithm/tracking_base/emog_segmenter.hpp>
#include <kes/geometry/dimension.hpp>

#include "algorithm/tracking_base/emog_state.hpp"

namespace kes::algorithm::tracking_base {

// Hidden by name: a class nested in an exported one would be exported with it.
class __attribute__((visibility("hidden"))) EmogSegmenter::Impl {
public:
    void Reset();

    std::chrono::milliseconds GetHoldOnTime() const { return holdOnTime; }
    void SetHoldOnTime(std::chrono::milliseconds time) { holdOnTime = time; }
    std::chrono::milliseconds GetStationaryTime() const { return stationaryTime; }
    void SetStationaryTime(std::chrono::milliseconds time) { stationaryTime = time; }
    void EnableAbandonedObject(bool enable) { abandonedObjectEnabled = enable; }
    bool IsAbandonedObjectEnabled() const { return abandonedObjectEnabled; }
    float GetStdDevThreshold() const { return stdDevThreshold; }
    void SetStdDevThreshold(float threshold);

    void Process(media::video::FrameBase<void const> const& frame, unsigned int const* freezeMask,
                 unsigned int const* resetMask, unsigned int const* excludeMask,
                 unsigned int* foregroundMask, unsigned int* stationaryMask);

    // Builds the blob state, every cell empty, for size = {halfWidth, halfHeight}. Throws
    // std::bad_alloc, and is then as after Reset.
    void ResizeBlobState(geometry::Dimension<unsigned int, 2> const& size);

    std::chrono::milliseconds holdOnTime{60000};
    bool abandonedObjectEnabled = false;
    std::chrono::milliseconds stationaryTime{5000};
    float stdDevThreshold = 4.0F;
    BlobState blobState;
    geometry::Dimension<unsigned int, 2> blobStateSize{0, 0};  // the half size it was built for
    std::uint32_t frameCount = 0;                              // since it was built; saturates
    float thresholdFactor = 1.0F;
};

}  // namespace kes::algorithm::tracking_base
