/// \file
/// RealTimeSegmenter: an EmogSegmenter whose times are real seconds, whatever the stream's rate and
/// however uneven its pace.
#pragma once

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <optional>
#include <vector>

#include <kes/algorithm/bit_mask.hpp>
#include <kes/algorithm/tracking_base/emog_segmenter.hpp>
#include <kes/media/video/frame.hpp>

namespace kes::tracker {

/// Foreground of one stream. The segmenter counts frames; this counts time, told by the frames'
/// timestamps: a frame that comes late is given to the segmenter as often as there should have been
/// frames, and in one that comes early nothing grows older. A stream of even pace, and one without
/// timestamps (they do not rise), is one frame for one, whatever the jitter below a frame's time.
///
/// One thread at a time uses it; distinct ones are independent.
class RealTimeSegmenter {
public:
    /// What a segmenter is made with.
    struct Parameters {
        double framesPerSecond = 15;  ///< of the stream on average, above 0
        double stationaryTime = 5;    ///< seconds until foreground counts as stationary
        double holdOnTime = 60;       ///< seconds that it is kept apart from the background then
        float threshold = 4;          ///< in standard deviations, 0 to 255
        float thresholdFactor = 1;    ///< on it
    };

    /// The frames in a time, rounded to the nearest. What stationary and hold-on time come to
    /// together must be at most MostFrames.
    static double FramesIn(double seconds, double framesPerSecond) {
        return std::round(seconds * framesPerSecond);
    }
    static constexpr double MostFrames = 65'534;  ///< with one more a background's age would wrap

    /// Throws `std::invalid_argument` for a threshold out of range, and `std::bad_alloc`.
    explicit RealTimeSegmenter(Parameters const& parameters)
        : framesPerSecond(parameters.framesPerSecond) {
        segmenter.SetStationaryTime(InSegmenter(parameters.stationaryTime));
        segmenter.SetHoldOnTime(InSegmenter(parameters.holdOnTime));
        segmenter.SetStdDevThreshold(parameters.threshold);
        segmenter.SetThresholdFactor(parameters.thresholdFactor);
    }

    /// @{
    /// As EmogSegmenter::SetThresholdFactor and EmogSegmenter::Reset.
    void SetThresholdFactor(float factor) { segmenter.SetThresholdFactor(factor); }
    void Reset() { segmenter.Reset(); }
    /// @}

    /// As EmogSegmenter::Process. Every mask has half of the frame's width and height.
    void Process(media::video::FrameBase<void const> const& frame, algorithm::BitMask const& freeze,
                 algorithm::BitMask const& reset, algorithm::BitMask const& exclude,
                 algorithm::BitMask& young, algorithm::BitMask& stationary) {
        unsigned int const count = CountFor(frame.GetTimestamp().time_since_epoch());
        if (count == 0) everywhere.assign(freeze.words.size(), ~std::uint32_t{0});
        std::uint32_t const* const frozen = count == 0 ? everywhere.data() : freeze.words.data();
        for (unsigned int i = 0; i < std::max(1U, count); ++i) {
            segmenter.Process(frame, frozen, reset.words.data(), exclude.words.data(),
                              young.words.data(), stationary.words.data());
        }
    }

private:
    // A longer pause is a break, of which nobody knows what happened in it: it counts as a frame.
    static constexpr std::chrono::seconds LongestPause{10};

    // What the segmenter must be told, which counts 15 frames to a second and leaves out what is
    // less than a frame.
    std::chrono::milliseconds InSegmenter(double seconds) const {
        double const milliseconds = std::ceil(FramesIn(seconds, framesPerSecond) * 1000 / 15);
        return std::chrono::milliseconds(static_cast<std::int64_t>(milliseconds));
    }

    // The frames that a picture stands for.
    unsigned int CountFor(std::chrono::nanoseconds time) {
        double step = 1;
        if (previous && time > *previous && time - *previous <= LongestPause) {
            step = std::chrono::duration<double>(time - *previous).count() * framesPerSecond;
        }
        previous = time;
        due += step;
        // Within a frame of its time a picture stands for one.
        double const count = due <= -0.001 ? 0 : due >= 2.001 ? std::floor(due) : 1;
        due -= count;
        return static_cast<unsigned int>(count);
    }

    algorithm::tracking_base::EmogSegmenter segmenter;
    double framesPerSecond;
    std::optional<std::chrono::nanoseconds> previous{};
    double due = 0;  // frames that should have been counted and have not
    std::vector<std::uint32_t> everywhere{};
};

}  // namespace kes::tracker
