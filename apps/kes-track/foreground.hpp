// Foreground: the library's segmenter with everything that it needs beside the frames: masks,
// outputs, and times in real seconds.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include <kes/algorithm/bit_mask.hpp>
#include <kes/algorithm/tracking_base/emog_segmenter.hpp>

#include "video/reader.hpp"

namespace kes::track {

struct ForegroundOptions {
    std::chrono::nanoseconds stationaryTime = std::chrono::seconds(5);
    std::chrono::nanoseconds holdOnTime = std::chrono::seconds(60);
    float threshold = 4.0F;  // 0 to 255
    float thresholdFactor = 1.0F;
    bool isAbandonedObjectEnabled = false;
    // Images of the frames' size; none where not wanted.
    std::optional<std::string> excludeImage{};
    std::optional<std::string> freezeImage{};
    std::optional<std::string> resetImage{};
};

// The segmenter counts time in frames, 15 to a second. This is what it must be told so that `time`
// passes in real seconds when it is given `frameRate` frames a second: exactly time x frameRate
// frames, rounded to the nearest.
std::chrono::milliseconds SegmenterTime(std::chrono::nanoseconds time, double frameRate);

// Throws Failure (BadUsage) for times that are too long for the segmenter to count.
void CheckTimes(ForegroundOptions const& options, double frameRate);

class Foreground {
public:
    // frameRate: the frames given to Process, a second. Throws Failure: BadSideInput for a mask
    // image that cannot be used, and as CheckTimes does.
    Foreground(ForegroundOptions const& options, video::Size frameSize, double frameRate);

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
    algorithm::tracking_base::EmogSegmenter segmenter;
    algorithm::BitMask freeze, reset, exclude;
    algorithm::BitMask young, stationary;
    std::chrono::nanoseconds took{};
};

}  // namespace kes::track
