// The segmenter's inner loop: one row of cells.
#pragma once

#include <cstddef>
#include <cstdint>

#include "algorithm/tracking_base/emog_model.hpp"
#include "algorithm/tracking_base/emog_state.hpp"

namespace kes::algorithm::tracking_base {

// The mask words of one row. An input may be the same array as an output, and the outputs may be
// one array, which then holds what either would.
struct RowMasks {
    std::uint32_t const* freeze;
    std::uint32_t const* reset;
    std::uint32_t const* exclude;
    std::uint32_t* foreground;
    std::uint32_t* stationary;

    void Write(std::size_t word, std::uint32_t young, std::uint32_t old) const {
        stationary[word] = 0;
        foreground[word] = young;
        stationary[word] |= old;
    }
};

// Takes cells 0 to cellCount - 1 of a row through the model and writes the WordsPerRow(cellCount)
// mask words that hold them, bits beyond the last cell as 0.
// luminance: the pixel at column 0 of frame row 2y; 4 rows of 2 * cellCount + 2 pixels are read.
// Runs in the widest lanes that the processor has; the bits are the same in all of them.
void UpdateRow(RowTiles const& tiles, std::size_t cellCount, unsigned char const* luminance,
               std::ptrdiff_t stride, RowMasks const& masks, FrameValues const& values);

// The same, one cell after the other: for rows and processors that lanes do not suit, and the judge
// of those that they do.
void UpdateRowPlain(RowTiles const& tiles, std::size_t cellCount, unsigned char const* luminance,
                    std::ptrdiff_t stride, RowMasks const& masks, FrameValues const& values);

// The instruction set that UpdateRow uses here, in Highway's spelling; "plain" where it uses no
// lanes.
char const* RowInstructionSet();

}  // namespace kes::algorithm::tracking_base
