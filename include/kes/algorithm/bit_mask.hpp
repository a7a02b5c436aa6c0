/// \file
/// BitMask: a binary mask of cells, one bit a cell.
#pragma once

#include <cstdint>
#include <vector>

namespace kes::algorithm {

/// An aggregate: BitMask{width, height, words}, sizes in cells. Each row is (width + 31) >> 5
/// words; cell x of a row is bit 31 - (x mod 32) of its word x >> 5, so a word's most significant
/// bit is its leftmost cell. Bits beyond the width at the end of a row are padding and may hold
/// anything. A set bit is foreground. EmogSegmenter's mask arguments have the layout of `words`.
/// Zero and empty by default.
struct BitMask {
    std::uint32_t width = 0;             ///< in cells
    std::uint32_t height = 0;            ///< in cells
    std::vector<std::uint32_t> words{};  ///< row after row

    /// @{
    /// Equal when width, height and every word are, padding included.
    friend bool operator==(BitMask const& a, BitMask const& b) {
        return a.width == b.width && a.height == b.height && a.words == b.words;
    }
    friend bool operator!=(BitMask const& a, BitMask const& b) { return !(a == b); }
    /// @}
};

}  // namespace kes::algorithm
