// The segmenter's inner loop: one row of cells.
#pragma once

#include <cstddef>
#include <cstdint>

#include "algorithm/tracking_base/emog_model.hpp"

namespace kes::algorithm::tracking_base {

// The mask words of one row. An input may be the same array as an output.
struct RowMasks {
    std::uint32_t const* freeze;
    std::uint32_t const* reset;
    std::uint32_t const* exclude;
    std::uint32_t* foreground;
    std::uint32_t* stationary;
};

// Takes cells 0 to cellCount - 1 of a row through the model and writes the (cellCount + 31) / 32
// mask words that hold them, bits beyond the last cell as 0.
// luminance: the pixel at column 0 of frame row 2y; 4 rows of 2 * cellCount + 2 pixels are read.
void UpdateRow(CellModel* cells, std::size_t cellCount, unsigned char const* luminance,
               std::ptrdiff_t stride, RowMasks const& masks, FrameValues const& values);

}  // namespace kes::algorithm::tracking_base
