// One cell of the segmenter, in plain integers: the model as one would explain it. emog_row works
// on many cells at once and must give the same bits.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "algorithm/tracking_base/emog_model.hpp"

namespace kes::algorithm::tracking_base::cell {

using Features = std::array<std::uint16_t, FeatureCount>;

// The slot whose mode explains the observation, and that mode as it was before the frame.
struct Match {
    static constexpr int None = -1;
    int slot;
    Mode mode;  // all zero for None
};

// Where the observation goes and how old it is there.
struct Placement {
    int slot;
    std::uint16_t count;
    bool relearn;  // the mode starts afresh from this observation
};

enum class Output { Background, YoungForeground, StationaryForeground };

// What one frame tells a cell: its masks' bits.
struct Commands {
    bool reset;
    bool freeze;
};

// The features of the 4 x 4 pixels whose top-left one is at `patch`; rows are `stride` bytes apart.
Features Observe(unsigned char const* patch, std::ptrdiff_t stride);

// The first slot of which every feature lies within its tolerance; ages play no part.
Match FindMatch(CellModel const& cell, Features const& features, FrameValues const& values);

Placement Place(CellModel const& cell, Match const& match, Commands commands,
                FrameValues const& values);

// Clears the slots behind the placed one, up to the first empty slot.
void ClearYounger(CellModel& cell, Placement const& placement);

void Learn(CellModel& cell, Placement const& placement, Match const& match,
           Features const& features, Commands commands, FrameValues const& values);

Output Report(Placement const& placement, FrameValues const& values);

// One cell, one frame: the six steps above in their order.
Output Update(CellModel& cell, unsigned char const* patch, std::ptrdiff_t stride, Commands commands,
              FrameValues const& values);

}  // namespace kes::algorithm::tracking_base::cell
