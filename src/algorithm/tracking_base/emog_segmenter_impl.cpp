#include "algorithm/tracking_base/emog_segmenter_impl.hpp"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <stdexcept>

#include <kes/algorithm/bit_mask.hpp>
#include <kes/algorithm/tracking_base/emog_segmenter.hpp>
#include <kes/geometry/dimension.hpp>
#include <kes/media/video/frame/plane.hpp>

#include "algorithm/tracking_base/emog_model.hpp"
#include "algorithm/tracking_base/emog_row.hpp"

namespace kes::algorithm::tracking_base {
namespace {

constexpr std::uint64_t FramesPerSecond = 15;

// Milliseconds to frames, kept to 16 bits. The product may wrap (through unsigned, so that it is
// defined); the quotient of the wrapped value is truncated toward zero.
std::uint16_t FramesOf(std::uint64_t milliseconds) {
    auto const product = static_cast<std::int64_t>(milliseconds * FramesPerSecond);
    return static_cast<std::uint16_t>(product / 1000);
}

std::uint64_t CountOf(std::chrono::milliseconds time) {
    return static_cast<std::uint64_t>(time.count());
}

// Truncated toward zero; NaN is 0, and what does not fit saturates.
std::int32_t ToInt32(float value) {
    constexpr float Limit = 2147483648.0F;  // 2^31
    if (!(value == value)) return 0;
    if (value >= Limit) return std::numeric_limits<std::int32_t>::max();
    if (value < -Limit) return std::numeric_limits<std::int32_t>::min();
    return static_cast<std::int32_t>(value);
}

std::int32_t LearningRateAt(std::uint32_t frameCount) {
    constexpr std::uint32_t LastAveragedFrame = 99;
    constexpr std::int32_t SteadyRate = 2;
    return frameCount <= LastAveragedFrame ? static_cast<std::int32_t>(256 / (frameCount + 1))
                                           : SteadyRate;
}

FrameValues ValuesOf(EmogSegmenter::Impl const& state) {
    float const scale = state.stdDevThreshold * state.thresholdFactor * 256.0F;
    return {static_cast<std::uint32_t>(ToInt32(scale)), FramesOf(CountOf(state.stationaryTime)),
            FramesOf(CountOf(state.holdOnTime) + CountOf(state.stationaryTime)),
            LearningRateAt(state.frameCount)};
}

}  // namespace

void EmogSegmenter::Impl::Reset() {
    blobState.Clear();
    blobStateSize = {0, 0};
    frameCount = 0;
}

void EmogSegmenter::Impl::SetStdDevThreshold(float threshold) {
    if (threshold < 0.0F || threshold > 255.0F) {
        throw std::invalid_argument("SetStdDevThreshold out of range");
    }
    stdDevThreshold = threshold;
}

void EmogSegmenter::Impl::ResizeBlobState(geometry::Dimension<unsigned int, 2> const& size) {
    // What holds where the next line throws.
    blobStateSize = {0, 0};
    frameCount = 0;
    blobState.Resize(size.width, size.height);
    blobStateSize = size;
}

void EmogSegmenter::Impl::Process(media::video::FrameBase<void const> const& frame,
                                  unsigned int const* freezeMask, unsigned int const* resetMask,
                                  unsigned int const* excludeMask, unsigned int* foregroundMask,
                                  unsigned int* stationaryMask) {
    geometry::Dimension<unsigned int, 2> const halfSize{frame.GetWidth() >> 1,
                                                        frame.GetHeight() >> 1};
    std::size_t const halfWidth = halfSize.width;
    std::size_t const halfHeight = halfSize.height;
    std::size_t const wordsPerRow = WordsPerRow(halfWidth);

    FrameValues const values = ValuesOf(*this);
    if (blobStateSize != halfSize) ResizeBlobState(halfSize);

    // The last column and row have no cells to update: their pixels would lie outside the frame.
    bool const hasCells = halfWidth > 1 && halfHeight > 1;
    std::size_t const updatedRows = hasCells ? halfHeight - 1 : 0;
    std::size_t const updatedWords = WordsPerRow(halfWidth - 1);

    auto const* const luminance = static_cast<unsigned char const*>(frame.GetPlane(0).GetBuffer());
    std::ptrdiff_t const stride = frame.GetPlane(0).GetStride();
    for (std::size_t cellY = 0; cellY < updatedRows; ++cellY) {
        std::size_t const firstWord = cellY * wordsPerRow;
        RowMasks const masks{freezeMask + firstWord, resetMask + firstWord, excludeMask + firstWord,
                             foregroundMask + firstWord, stationaryMask + firstWord};
        UpdateRow(blobState.Row(cellY), halfWidth - 1,
                  luminance + 2 * static_cast<std::ptrdiff_t>(cellY) * stride, stride, masks,
                  values);
        // A last word that holds the last column alone.
        std::fill(masks.foreground + updatedWords, masks.foreground + wordsPerRow, 0U);
        std::fill(masks.stationary + updatedWords, masks.stationary + wordsPerRow, 0U);
    }
    std::size_t const firstClearedWord = updatedRows * wordsPerRow;
    std::size_t const words = halfHeight * wordsPerRow;
    std::fill(foregroundMask + firstClearedWord, foregroundMask + words, 0U);
    std::fill(stationaryMask + firstClearedWord, stationaryMask + words, 0U);

    if (frameCount != std::numeric_limits<std::uint32_t>::max()) ++frameCount;
}

}  // namespace kes::algorithm::tracking_base
