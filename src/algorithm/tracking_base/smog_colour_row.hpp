// The colours of cells that lie side by side.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include <kes/media/colour_format.hpp>

#include "algorithm/tracking_base/smog_colour.hpp"

namespace kes::algorithm::tracking_base::appearance {

// By channel, so that lanes can be cells.
struct Colours {
    static constexpr std::size_t MaxCount = 256;

    std::array<std::uint16_t, MaxCount> r;
    std::array<std::uint16_t, MaxCount> g;
    std::array<std::uint16_t, MaxCount> i;

    Rgi At(std::size_t cell) const { return {r[cell], g[cell], i[cell]}; }
};

// ReadCell for the first `count` cells of a row, at most Colours::MaxCount, in the best way that
// the processor has. The format is one that ReadCell knows.
void ReadColours(media::ColourFormat format, CellRow const& row, std::size_t count,
                 Colours& colours);

}  // namespace kes::algorithm::tracking_base::appearance
