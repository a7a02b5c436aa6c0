/// \file
/// BitMask: a binary mask of cells, one bit a cell; and its layout: words to a row, an empty mask,
/// one cell read or written.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace kes::algorithm {

/// An aggregate: BitMask{width, height, words}, sizes in cells. Each row is WordsPerRow(width)
/// words; cell x of a row is bit 31 - (x mod 32) of its word x / 32, so a word's most significant
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

/// How many words hold a row of `width` cells.
constexpr std::size_t WordsPerRow(std::size_t width) { return (width + 31) / 32; }

/// A mask of which no cell is set, padding included. Throws `std::bad_alloc`.
inline BitMask MakeEmptyMask(std::uint32_t width, std::uint32_t height) {
    return {width, height, std::vector<std::uint32_t>(WordsPerRow(width) * height)};
}

/// The bit that a cell has in its word.
constexpr std::uint32_t BitOfCell(std::size_t cellX) { return 0x80000000U >> (cellX % 32); }

/// Whether a cell of a row is set, given the row's first word. Requires: the row has the cell.
constexpr bool IsCellSet(std::uint32_t const* row, std::size_t cellX) {
    return (row[cellX / 32] & BitOfCell(cellX)) != 0;
}

/// @{
/// Reads or writes one cell. Requires: cellX < mask.width, cellY < mask.height, and a mask that has
/// its words.
inline bool GetCell(BitMask const& mask, std::size_t cellX, std::size_t cellY) {
    return IsCellSet(&mask.words[cellY * WordsPerRow(mask.width)], cellX);
}
inline void SetCell(BitMask& mask, std::size_t cellX, std::size_t cellY, bool isSet = true) {
    std::uint32_t& word = mask.words[cellY * WordsPerRow(mask.width) + cellX / 32];
    word = isSet ? word | BitOfCell(cellX) : word & ~BitOfCell(cellX);
}
/// @}

}  // namespace kes::algorithm
