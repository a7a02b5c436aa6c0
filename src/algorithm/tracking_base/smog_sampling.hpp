// What the appearance model does with the cells of a frame: the walk over a blob's, the sets of
// components that they fit, and the counts of an area's.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <vector>

#include <kes/algorithm/bit_mask.hpp>
#include <kes/algorithm/tracking_base/smog.hpp>
#include <kes/geometry/rectangle.hpp>
#include <kes/media/colour_format.hpp>

#include "algorithm/tracking_base/smog_colour.hpp"
#include "algorithm/tracking_base/smog_colour_row.hpp"
#include "algorithm/tracking_base/smog_model.hpp"

namespace kes::algorithm::tracking_base::appearance {

// Throws std::invalid_argument "Blob mask dimensions must be half the frame size".
void RequireHalfSize(BitMask const& mask, Frame const& frame);

// That the mask has the words of a cell and of all cells above it and to its left. Throws
// std::invalid_argument "Blob mask has too few words".
void RequireWordsUpTo(BitMask const& mask, std::int64_t cellX, std::int64_t cellY);

// The cells of a blob that are looked at: rowCount x columnCount of them from (left, top), steps
// and heights with 16 fractional bits.
struct SampleGrid {
    std::int64_t left = 0;
    std::int64_t top = 0;
    std::int64_t width = 0;  // cells that it spans
    std::int64_t rowCount = 0;
    std::int64_t columnCount = 0;
    std::int64_t rowStep = 0;
    std::int64_t columnStep = 0;
    std::uint32_t firstHeight = 0;  // of the first row in the blob, 2^16 for the whole blob
    std::uint32_t heightStep = 0;

    std::int64_t CellX(std::int64_t column) const { return left + (column * columnStep >> 16); }
    std::int64_t CellY(std::int64_t row) const { return top + (row * rowStep >> 16); }
    // 0 at the blob's top edge, 256 at its bottom edge.
    int Vp(std::int64_t row) const {
        return static_cast<int>((firstHeight + static_cast<std::uint32_t>(row) * heightStep) >> 8);
    }
};

// At most MaxSampleRows x MaxSampleColumns cells; none where the blob does not meet the mask.
SampleGrid LayGrid(geometry::Rectangle<int> const& blob, BitMask const& mask);

// Bit k stands for component k.
using ComponentSet = std::uint8_t;
static_assert(Smog::ComponentCount == 8);

// Which components accept a value: asked for each sample, so looked up where that pays.
class FitTable {
public:
    explicit FitTable(Gaussians const& gaussians);

    ComponentSet AtColour(Rgi const& colour) const {
        return sets[Red][colour.r] & sets[Green][colour.g] & sets[Intensity][colour.i];
    }

    ComponentSet AtHeight(int vp) const;

private:
    static constexpr int MaxColourValue = 256;
    using Sets = std::array<ComponentSet, MaxColourValue + 1>;

    Gaussians const& gaussians;
    std::array<Sets, 3> sets;  // by channel and value
};

// A count for each component, modulo 2^16. A vector by itself, because compilers made none of an
// array; a struct around it, because a vector's type is no template argument.
struct ComponentCounts {
    using Lanes [[gnu::vector_size(2 * Smog::ComponentCount)]] = std::uint16_t;

    Lanes lanes;
};

// Counts over an area of width x height cells: (width + 1) x (height + 1) of each kind, row after
// row. The count in column c of row j is over the area's first c columns and j rows, modulo 2^16;
// the first row and column are 0.
struct IntegralImages {
    std::vector<ComponentCounts> fitCounts;  // set cells whose colour fits the component
    std::vector<std::uint16_t> maskCounts;   // set cells
};

namespace detail {

// Walks the set cells of the grid, row by row from the top left: startRow(vp) is called for each
// row and returns what is called with the colour of each of its set cells. Returns how many there
// were. Throws std::invalid_argument "Blob mask has too few words", before any call, where a cell
// of the grid is missing.
template <media::ColourFormat Format, typename StartRow>
int SampleSmog(geometry::Rectangle<int> const& blob, BitMask const& mask, Frame const& frame,
               StartRow const& startRow) {
    CellReader<Format> const read(frame);
    SampleGrid const grid = LayGrid(blob, mask);
    if (grid.rowCount == 0) return 0;
    RequireWordsUpTo(mask, grid.CellX(grid.columnCount - 1), grid.CellY(grid.rowCount - 1));
    // Nv12's bytes lie as lanes want them: reading all cells from the first to the last column is
    // faster than reading the wanted ones alone, unless these lie far apart.
    constexpr std::int64_t CellsReadForOne = 4;
    bool const readsRows = Format == media::ColourFormat::Nv12 &&
                           grid.width <= CellsReadForOne * grid.columnCount &&
                           grid.width <= std::int64_t{Colours::MaxCount};
    Colours colours;
    int sampleCount = 0;
    for (std::int64_t row = 0; row < grid.rowCount; ++row) {
        std::int64_t const cellY = grid.CellY(row);
        std::uint32_t const* const maskRow =
            mask.words.data() + static_cast<std::size_t>(cellY) * WordsPerRow(mask.width);
        auto const act = startRow(grid.Vp(row));
        if (readsRows) {
            ReadColours(Format, read.RowAt(grid.left, cellY), static_cast<std::size_t>(grid.width),
                        colours);
        }
        for (std::int64_t column = 0; column < grid.columnCount; ++column) {
            std::int64_t const cellX = grid.CellX(column);
            if (!IsCellSet(maskRow, static_cast<std::size_t>(cellX))) continue;
            ++sampleCount;
            act(readsRows ? colours.At(static_cast<std::size_t>(cellX - grid.left))
                          : read.At(cellX, cellY));
        }
    }
    return sampleCount;
}

// Throws std::invalid_argument "Search rectangle is too large" for a format other than Nv12 and
// more than 65535 counts an image.
template <media::ColourFormat Format>
void RequireCountable(geometry::Rectangle<int> const& area) {
    std::int64_t const counts = (std::int64_t{area.GetWidth()} + 1) * (area.GetHeight() + 1);
    if (Format != media::ColourFormat::Nv12 && counts > 65535) {
        throw std::invalid_argument("Search rectangle is too large");
    }
}

// The counts over an area that is countable and lies inside the mask, corners in order.
template <media::ColourFormat Format>
IntegralImages ComputeIntegralImages(Gaussians const& gaussians,
                                     geometry::Rectangle<int> const& area, BitMask const& mask,
                                     Frame const& frame);

}  // namespace detail
}  // namespace kes::algorithm::tracking_base::appearance
