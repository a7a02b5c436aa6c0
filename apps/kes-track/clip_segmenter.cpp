#include "clip_segmenter.hpp"

#include <bit>
#include <cmath>
#include <numeric>

#include "base/failure.hpp"
#include "base/format.hpp"
#include "video/mask_image.hpp"

namespace kes::track {
namespace {

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

void CheckTimes(SegmenterOptions const& options, double frameRate) {
    using tracker::RealTimeSegmenter;
    auto const frames = [&](std::chrono::nanoseconds time) {
        return RealTimeSegmenter::FramesIn(Seconds(time), frameRate);
    };
    constexpr double Most = RealTimeSegmenter::MostFrames;
    if (frames(options.stationaryTime) + frames(options.holdOnTime) <= Most) return;
    throw Failure(ExitCode::BadUsage, "--stationary and --hold-on are too long together: at " +
                                          FormatNumber(frameRate, 3) + " frames a second at most " +
                                          FormatNumber(std::floor(Most / frameRate), 0) + " s");
}

ClipSegmenter::ClipSegmenter(SegmenterOptions const& options, video::Size frameSize,
                             double frameRate)
    : segmenter({frameRate, Seconds(options.stationaryTime), Seconds(options.holdOnTime),
                 options.threshold, options.thresholdFactor}),
      freeze(MaskFrom(options.freezeImage, frameSize)),
      reset(MaskFrom(options.resetImage, frameSize)),
      exclude(MaskFrom(options.excludeImage, frameSize)),
      young(video::EmptyMask(frameSize)),
      stationary(video::EmptyMask(frameSize)) {
    CheckTimes(options, frameRate);
}

void ClipSegmenter::Process(video::Frame const& frame) {
    auto const start = std::chrono::steady_clock::now();
    segmenter.Process(frame, freeze, reset, exclude, young, stationary);
    took = std::chrono::steady_clock::now() - start;
}

std::uint64_t ClipSegmenter::YoungCells() const noexcept { return CellsSet(young); }
std::uint64_t ClipSegmenter::StationaryCells() const noexcept { return CellsSet(stationary); }
std::uint64_t ClipSegmenter::Cells() const noexcept {
    return std::uint64_t{young.width} * young.height;
}

}  // namespace kes::track
