#include "foreground.hpp"

#include <bit>
#include <cmath>
#include <numeric>

#include "base/failure.hpp"
#include "base/format.hpp"
#include "video/mask_image.hpp"

namespace kes::track {
namespace {

constexpr double SegmenterRate = 15.0;   // frames to a second, in the segmenter's count
constexpr double MostFrames = 65'534.0;  // with one more a background's age would wrap to 0

double FramesIn(std::chrono::nanoseconds time, double frameRate) {
    return std::round(std::chrono::duration<double>(time).count() * frameRate);
}

algorithm::BitMask MaskFrom(std::optional<std::string> const& image, video::Size frameSize) {
    return image ? video::ReadMask(*image, frameSize) : video::EmptyMask(frameSize);
}

// No mask has a bit set in its padding.
std::uint64_t CellsSet(algorithm::BitMask const& mask) {
    return std::accumulate(mask.words.begin(), mask.words.end(), std::uint64_t{0},
                           [](std::uint64_t sum, std::uint32_t word) {
                               return sum + static_cast<std::uint64_t>(std::popcount(word));
                           });
}

}  // namespace

std::chrono::milliseconds SegmenterTime(std::chrono::nanoseconds time, double frameRate) {
    // The segmenter truncates milliseconds to frames, so they are rounded up here. Two such times
    // together are still less than one frame too long.
    double const milliseconds = std::ceil(FramesIn(time, frameRate) * 1000.0 / SegmenterRate);
    return std::chrono::milliseconds(static_cast<std::int64_t>(milliseconds));
}

void CheckTimes(ForegroundOptions const& options, double frameRate) {
    if (FramesIn(options.stationaryTime, frameRate) + FramesIn(options.holdOnTime, frameRate) >
        MostFrames) {
        throw Failure(ExitCode::BadUsage,
                      "--stationary and --hold-on are too long together: at " +
                          FormatNumber(frameRate, 3) + " frames a second at most " +
                          FormatNumber(std::floor(MostFrames / frameRate), 0) + " s");
    }
}

Foreground::Foreground(ForegroundOptions const& options, video::Size frameSize, double frameRate)
    : freeze(MaskFrom(options.freezeImage, frameSize)),
      reset(MaskFrom(options.resetImage, frameSize)),
      exclude(MaskFrom(options.excludeImage, frameSize)),
      young(video::EmptyMask(frameSize)),
      stationary(video::EmptyMask(frameSize)) {
    CheckTimes(options, frameRate);
    segmenter.SetStationaryTime(SegmenterTime(options.stationaryTime, frameRate));
    segmenter.SetHoldOnTime(SegmenterTime(options.holdOnTime, frameRate));
    segmenter.SetStdDevThreshold(options.threshold);
    segmenter.SetThresholdFactor(options.thresholdFactor);
    segmenter.EnableAbandonedObject(options.isAbandonedObjectEnabled);
}

void Foreground::Process(video::Frame const& frame) {
    auto const start = std::chrono::steady_clock::now();
    segmenter.Process(frame, freeze.words.data(), reset.words.data(), exclude.words.data(),
                      young.words.data(), stationary.words.data());
    took = std::chrono::steady_clock::now() - start;
}

std::uint64_t Foreground::YoungCells() const noexcept { return CellsSet(young); }
std::uint64_t Foreground::StationaryCells() const noexcept { return CellsSet(stationary); }
std::uint64_t Foreground::Cells() const noexcept {
    return std::uint64_t{young.width} * young.height;
}

}  // namespace kes::track
