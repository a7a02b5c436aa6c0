// What the segmenter remembers of a cell, and what one frame fixes for all of them. Data only.
//
// Features, means and deviations are unsigned 16-bit fixed point with 8 fractional bits: one
// luminance step is 256.
#pragma once

#include <array>
#include <cstdint>

namespace kes::algorithm::tracking_base {

constexpr int FeatureCount = 3;  // gradientX, gradientY, intensity, in this order everywhere
constexpr int SlotCount = 3;
constexpr int NewModeSlot = SlotCount - 1;  // where an appearance never seen before enters

struct FeatureModel {
    std::uint16_t mean;
    std::uint16_t stdDev;  // 0: never matches
};

struct Mode {
    std::uint16_t count;  // age in frames; 0: an empty slot
    std::array<FeatureModel, FeatureCount> features;
};

// Slot 0 is the background. The record has no padding and no default values: a model is millions of
// them, zeroed in one pass.
struct CellModel {
    std::array<Mode, SlotCount> slots;
};
static_assert(sizeof(CellModel) == 42);

// A cell's 4 x 4 pixels are weighted with these by column for gradientX and by row for gradientY.
constexpr std::array<std::int16_t, 4> GradientCoeffs{3, 1, -1, -3};
constexpr int PatchSize = 4;  // pixels a side

constexpr int GradientOffset =
    4096;                           // above the largest weighted sum, 4080: gradients are positive
constexpr int GradientScale = 8;    // 256 / 32, where 32 = sum of |weight| over 4 x 4 pixels
constexpr int IntensityScale = 64;  // 256 / 4 pixels

constexpr std::uint16_t NewModeStdDev = 1144;  // 4.47 luminance steps

// Squared deviations are kept within these before they are averaged, so that deviations stay within
// 404 and 11585 (1.6 and 45 luminance steps).
constexpr std::uint32_t MinSquaredDeviation = 163840;     // 5 * 2^15
constexpr std::uint32_t MaxSquaredDeviation = 134217728;  // 2^27

// Computed once a frame from the parameters and the frame count.
struct FrameValues {
    std::uint32_t matchScale;        // 256 * the threshold in standard deviations, as raw bits
    std::uint16_t stationaryFrames;  // the age from which foreground is stationary
    std::uint16_t maxCount;          // ages stop growing here
    std::int32_t learningRate;       // weight of the new observation, out of 256
};

}  // namespace kes::algorithm::tracking_base
