#include "algorithm/tracking_base/emog_cell.hpp"

#include <algorithm>
#include <cmath>

namespace kes::algorithm::tracking_base::cell {
namespace {

std::uint32_t AbsoluteDifference(std::uint16_t a, std::uint16_t b) {
    return a > b ? std::uint32_t{a} - b : std::uint32_t{b} - a;
}

bool Fits(FeatureModel const& model, std::uint16_t feature, std::uint32_t matchScale) {
    // 32-bit product that may wrap, of which bits 8 to 23 count: every threshold is defined.
    auto const tolerance = static_cast<std::uint16_t>((model.stdDev * matchScale) >> 8);
    return AbsoluteDifference(feature, model.mean) < tolerance;
}

// old + (target - old) * rate / 256, the step rounded toward minus infinity.
std::int64_t MoveToward(std::int64_t old, std::int64_t target, std::int32_t rate) {
    return old + (((target - old) * rate) >> 8);
}

std::uint16_t LearnMean(FeatureModel const& old, std::uint16_t feature, bool relearn,
                        std::int32_t rate) {
    return relearn ? feature : static_cast<std::uint16_t>(MoveToward(old.mean, feature, rate));
}

std::uint16_t LearnStdDev(FeatureModel const& old, std::uint16_t feature, bool reset,
                          std::int32_t rate) {
    std::uint32_t const deviation = AbsoluteDifference(feature, old.mean);
    std::int64_t const squared =
        std::clamp(deviation * deviation, MinSquaredDeviation, MaxSquaredDeviation);
    std::int64_t const oldSquared = std::int64_t{old.stdDev} * old.stdDev;
    std::int64_t const variance = reset ? squared : MoveToward(oldSquared, squared, rate);
    return static_cast<std::uint16_t>(std::sqrt(static_cast<double>(variance)));
}

}  // namespace

Features Observe(unsigned char const* patch, std::ptrdiff_t stride) {
    int gradientX = GradientOffset;
    int gradientY = GradientOffset;
    int central = 0;
    for (int row = 0; row < PatchSize; ++row) {
        for (int column = 0; column < PatchSize; ++column) {
            int const pixel = patch[row * stride + column];
            gradientX += GradientCoeffs[static_cast<std::size_t>(column)] * pixel;
            gradientY += GradientCoeffs[static_cast<std::size_t>(row)] * pixel;
            bool const isCentral = (row == 1 || row == 2) && (column == 1 || column == 2);
            if (isCentral) central += pixel;
        }
    }
    return {static_cast<std::uint16_t>(GradientScale * gradientX),
            static_cast<std::uint16_t>(GradientScale * gradientY),
            static_cast<std::uint16_t>(IntensityScale * central)};
}

Match FindMatch(CellModel const& cell, Features const& features, FrameValues const& values) {
    for (std::size_t slot = 0; slot < SlotCount; ++slot) {
        Mode const& mode = cell.slots[slot];
        if (Fits(mode.features[0], features[0], values.matchScale) &&
            Fits(mode.features[1], features[1], values.matchScale) &&
            Fits(mode.features[2], features[2], values.matchScale)) {
            return {static_cast<int>(slot), mode};
        }
    }
    return {Match::None, {}};
}

Placement Place(CellModel const& cell, Match const& match, Commands commands,
                FrameValues const& values) {
    bool const isNew = match.slot == Match::None;
    bool const relearn = commands.reset || isNew;
    // 16-bit addition: an age of 65535 wraps.
    auto const grown = static_cast<std::uint16_t>(match.mode.count + (commands.freeze ? 0 : 1));
    std::uint16_t const count = std::min(relearn ? std::uint16_t{1} : grown, values.maxCount);

    int slot = commands.reset ? 0 : isNew ? NewModeSlot : match.slot;
    // A mode as old as the one before it moves up; from slot 2 it may pass slot 1 into slot 0.
    std::uint16_t const backgroundAge = cell.slots[0].count;
    if (slot == 2 && count >= cell.slots[1].count) {
        slot = count >= backgroundAge ? 0 : 1;
    } else if (slot == 1 && count >= backgroundAge) {
        slot = 0;
    }
    return {slot, count, relearn};
}

void ClearYounger(CellModel& cell, Placement const& placement) {
    for (auto slot = static_cast<std::size_t>(placement.slot) + 1; slot < SlotCount; ++slot) {
        Mode& mode = cell.slots[slot];
        if (mode.count == 0) break;
        mode.count = 0;
        for (FeatureModel& feature : mode.features) feature.stdDev = 0;
    }
}

void Learn(CellModel& cell, Placement const& placement, Match const& match,
           Features const& features, Commands commands, FrameValues const& values) {
    Mode& mode = cell.slots[static_cast<std::size_t>(placement.slot)];
    mode.count = placement.count;
    for (std::size_t i = 0; i < FeatureCount; ++i) {
        FeatureModel const& old = match.mode.features[i];
        mode.features[i].mean = LearnMean(old, features[i], placement.relearn, values.learningRate);
        mode.features[i].stdDev =
            match.slot == Match::None
                ? NewModeStdDev
                : LearnStdDev(old, features[i], commands.reset, values.learningRate);
    }
}

Output Report(Placement const& placement, FrameValues const& values) {
    if (placement.slot == 0) return Output::Background;
    return placement.count < values.stationaryFrames ? Output::YoungForeground
                                                     : Output::StationaryForeground;
}

Output Update(CellModel& cell, unsigned char const* patch, std::ptrdiff_t stride, Commands commands,
              FrameValues const& values) {
    Features const features = Observe(patch, stride);
    Match const match = FindMatch(cell, features, values);
    Placement const placement = Place(cell, match, commands, values);
    ClearYounger(cell, placement);
    Learn(cell, placement, match, features, commands, values);
    return Report(placement, values);
}

}  // namespace kes::algorithm::tracking_base::cell
