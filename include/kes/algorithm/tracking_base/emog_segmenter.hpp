/// \file
/// EmogSegmenter: what in a video is foreground, and what of it has stood still. Make one for each
/// stream and hand it every frame in order; it returns two bit masks at half the frame's
/// resolution.
#pragma once

#include <chrono>
#include <memory>

#include <kes/export.hpp>
#include <kes/media/video/frame.hpp>

namespace kes::algorithm::tracking_base {

/// Tells what moves and what has lately come to stand from the background of one stream.
///
/// Every cell stands for 2 x 2 pixels and keeps up to three modes: running mean and deviation of
/// two gradients and an intensity, and an age in frames. A frame's observation is matched against
/// them; the oldest mode is the background, and a younger one grows into it when it lasts. The
/// method is of the family of adaptive background mixture models (Stauffer and Grimson, 1999), with
/// gradients beside intensity so that slow changes of light do not read as movement.
///
/// Times become frames at a fixed 15 frames a second; the frames' own timestamps are not used. Feed
/// a stream of another rate with times scaled by rate / 15.
///
/// One thread at a time uses a segmenter; distinct segmenters are independent. The result depends
/// on nothing but the calls made: the same bits on every processor.
class KES_EXPORT EmogSegmenter {
public:
    class Impl;  // the library's own

    /// An empty model with the defaults below. Throws `std::bad_alloc`.
    EmogSegmenter();
    ~EmogSegmenter();

    EmogSegmenter(EmogSegmenter const&) = delete;
    EmogSegmenter& operator=(EmogSegmenter const&) = delete;

    /// Forgets the learnt model and keeps every parameter. The next frame starts afresh.
    void Reset();

    /// @{
    /// How long foreground that has become stationary is kept apart from the background before it
    /// is absorbed. Default 60 s. Any value is accepted; frames are counted modulo 65536, so that
    /// hold-on and stationary time together mean what they say from 0 to 4,368,999 ms, and -1 s
    /// counts as 65521 frames. A sum from 0 to 66 ms reports no foreground at all.
    std::chrono::milliseconds GetHoldOnTime() const;
    void SetHoldOnTime(std::chrono::milliseconds time);
    /// @}

    /// @{
    /// The age from which foreground counts as stationary. Default 5 s. Any value is accepted, and
    /// counted in frames as above; from 0 to 66 ms all foreground is stationary at once.
    std::chrono::milliseconds GetStationaryTime() const;
    void SetStationaryTime(std::chrono::milliseconds time);
    /// @}

    /// @{
    /// A switch kept for the caller; it changes no output. Default off.
    void EnableAbandonedObject(bool enable);
    bool IsAbandonedObjectEnabled() const;
    /// @}

    /// @{
    /// How many standard deviations an observation may lie from a mode and still match it: 0 to
    /// 255, by default 4. Throws `std::invalid_argument` "SetStdDevThreshold out of range" and
    /// keeps the old value; a NaN is neither below 0 nor above 255 and is stored: nothing matches
    /// then.
    float GetStdDevThreshold() const;
    void SetStdDevThreshold(float threshold);
    /// @}

    /// A factor on that threshold, for example to be less sensitive for a while. Default 1; any
    /// value is accepted.
    void SetThresholdFactor(float factor);

    /// Takes one frame through the model and overwrites both outputs.
    ///
    /// `frame`: width and height at least 2 (a smaller frame has no cell: nothing is read or
    /// written); plane 0 is read as 8-bit luminance whatever the colour format, so use Grey or
    /// Nv12. It holds height rows of stride bytes with stride >= width. A frame whose half size
    /// differs from the one before starts an empty model.
    ///
    /// Masks: each points to `halfHeight` rows of `WordsPerRow(halfWidth)` words in BitMask's
    /// layout, where `halfWidth = width >> 1` and `halfHeight = height >> 1`; none is null. Inputs
    /// are all zero where not wanted; what their padding holds does not matter to the cells.
    /// - `freezeMask`, in: the matched mode of a set cell does not age in this frame
    /// - `resetMask`, in: a set cell learns this frame as its background
    /// - `excludeMask`, in: a set cell is left out of both outputs; its model learns on
    /// - `foregroundMask`, out: foreground younger than the stationary time
    /// - `stationaryMask`, out: foreground that has lasted the stationary time
    ///
    /// Every output word is written, padding as 0. An input may be the same array as an output, and
    /// both outputs one array, which then holds young and stationary foreground together. Arrays do
    /// not overlap in part. The last column and the last
    /// row of cells are never classified: their bits are 0.
    ///
    /// Throws `std::bad_alloc` when the model cannot be allocated, with the outputs untouched and
    /// the segmenter as after Reset. Allocates only when the number of cells changes.
    void Process(media::video::FrameBase<void const> const& frame, unsigned int const* freezeMask,
                 unsigned int const* resetMask, unsigned int const* excludeMask,
                 unsigned int* foregroundMask, unsigned int* stationaryMask);

private:
    std::unique_ptr<Impl> impl;
};

}  // namespace kes::algorithm::tracking_base
