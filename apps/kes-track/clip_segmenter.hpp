// ClipSegmenter: the segmenter over one clip, with masks from images, and what it has found.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include <kes/algorithm/bit_mask.hpp>
#include <kes/tracker/real_time_segmenter.hpp>

#include "video/reader.hpp"

namespace kes::track {

struct SegmenterOptions {
    std::chrono::nanoseconds stationaryTime = std::chrono::seconds(5);
    std::chrono::nanoseconds holdOnTime = std::chrono::seconds(60);
    float threshold = 4.0F;  // 0 to 255
    float thresholdFactor = 1.0F;
    // Images of the frames' size; none where not wanted.
    std::optional<std::string> excludeImage{};
    std::optional<std::string> freezeImage{};
    std::optional<std::string> resetImage{};
};

// Throws Failure (BadUsage) for times that are too long for the segmenter to count.
void CheckTimes(SegmenterOptions const& options, double frameRate);

class ClipSegmenter {
public:
    // frameRate: the frames given to Process, a second. Throws Failure: BadSideInput for a mask
    // image that cannot be used, and as CheckTimes does.
    ClipSegmenter(SegmenterOptions const& options, video::Size frameSize, double frameRate);

    // Takes one frame of the size given; the results below are about it.
    void Process(video::Frame const& frame);

    algorithm::BitMask const& Young() const noexcept { return young; }
    algorithm::BitMask const& Stationary() const noexcept { return stationary; }
    std::uint64_t YoungCells() const noexcept;
    std::uint64_t StationaryCells() const noexcept;
    std::uint64_t Cells() const noexcept;  // all there are

    // How long the segmenter took for the last frame.
    std::chrono::nanoseconds Took() const noexcept { return took; }

private:
    tracker::RealTimeSegmenter segmenter;
    algorithm::BitMask freeze, reset, exclude;
    algorithm::BitMask young, stationary;
    std::chrono::nanoseconds took{};
};

}  // namespace kes::track
