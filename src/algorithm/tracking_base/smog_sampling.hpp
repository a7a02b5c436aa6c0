// How the appearance model reads a frame: the colour of a cell, the walk over a blob's cells and
// the counts of an area's cells. A block reader, chosen once a call, is all that knows a format.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <vector>

#include <kes/algorithm/bit_mask.hpp>
#include <kes/algorithm/tracking_base/smog.hpp>
#include <kes/geometry/dimension.hpp>
#include <kes/geometry/rectangle.hpp>
#include <kes/media/colour/yuv.hpp>
#include <kes/media/colour_format.hpp>
#include <kes/media/video/frame.hpp>

#include "algorithm/tracking_base/smog_model.hpp"

namespace kes::algorithm::tracking_base::appearance {

using Frame = media::video::FrameBase<void const>;
// The colour of a cell: red and green share of its light, 0 to 256, and intensity, 0 to 254.
struct Rgi {
    std::uint32_t r;
    std::uint32_t g;
    std::uint32_t i;

    friend constexpr bool operator==(Rgi const&, Rgi const&) = default;
};

constexpr std::size_t MaxLight = 3 * 255;  // red + green + blue

// 2^26 / divisor, rounded up. The product with a dividend below 2^16 then exceeds the quotient's
// 2^26-fold by less than dividend * divisor < 2^26: shifted down, it is the truncated quotient.
constexpr std::array<std::uint32_t, MaxLight + 1> Reciprocals = [] {
    std::array<std::uint32_t, MaxLight + 1> reciprocals{};
    for (std::uint32_t divisor = 1; divisor <= MaxLight; ++divisor) {
        reciprocals[divisor] = ((1U << 26) + divisor - 1) / divisor;
    }
    return reciprocals;
}();

// The truncated share of a channel in all light, 256 for the whole; 0 of no light.
inline std::uint32_t ShareOf(std::uint32_t channel, std::uint32_t light) {
    return static_cast<std::uint32_t>((std::uint64_t{channel << 8} * Reciprocals[light]) >> 26);
}

inline Rgi ComputeRgi(std::uint32_t red, std::uint32_t green, std::uint32_t blue) {
    std::uint32_t const light = red + green + blue;
    constexpr std::uint32_t ThirdBy22Bits = 1398101;  // a little less than 2^22 / 3
    return {ShareOf(red, light), ShareOf(green, light), (light * ThirdBy22Bits) >> 22};
}

// 0 to 255 without a branch, which noise would have mispredicted at every other cell.
inline std::uint32_t ClampToByte(std::int32_t value) {
    std::int32_t const positive = value & ~(value >> 31);              // 0 where it was negative
    std::int32_t const saturated = positive | (255 - positive) >> 31;  // all ones above 255
    return static_cast<std::uint32_t>(saturated & 255);
}

// BT.709 Y'UV to RGB in fixed point with 21 fractional bits; luma is neither offset nor scaled.
inline Rgi ComputeRgi(media::colour::Yuv const& yuv) {
    constexpr int FractionBits = 21;
    std::int32_t const y = yuv.y << FractionBits;
    std::int32_t const u = yuv.u - 128;
    std::int32_t const v = yuv.v - 128;
    return ComputeRgi(
        ClampToByte((y + 2685046 * v) >> FractionBits),              // 1.28033
        ClampToByte((y - 450510 * u - 798155 * v) >> FractionBits),  // -0.21482, -0.38059
        ClampToByte((y + 4462697 * u) >> FractionBits));             // 2.12798
}

// The colour of the 2 x 2 pixels whose first byte is at `block`: three bytes a pixel, rows `stride`
// bytes apart.
template <media::ColourFormat Format>
Rgi SampleRgi(unsigned char const* block, std::ptrdiff_t stride) {
    auto const mean = [block, stride](int byte) {
        unsigned char const* const above = block + byte;
        unsigned char const* const below = above + stride;
        return static_cast<std::uint32_t>((above[0] + above[3] + below[0] + below[3]) >> 2);
    };
    static_assert(Format == media::ColourFormat::Rgb || Format == media::ColourFormat::Bgr ||
                  Format == media::ColourFormat::Yuv);
    if constexpr (Format == media::ColourFormat::Rgb) return ComputeRgi(mean(0), mean(1), mean(2));
    if constexpr (Format == media::ColourFormat::Bgr) return ComputeRgi(mean(2), mean(1), mean(0));
    if constexpr (Format == media::ColourFormat::Yuv) {
        return ComputeRgi(media::colour::Yuv{static_cast<std::uint8_t>(mean(0)),
                                             static_cast<std::uint8_t>(mean(1)),
                                             static_cast<std::uint8_t>(mean(2))});
    }
}

// Reads the cells of one frame. The cell lies inside the half-size grid of the frame.
template <media::ColourFormat Format>
class BlockReader {
public:
    explicit BlockReader(Frame const& frame)
        : pixels(static_cast<unsigned char const*>(frame.GetPlane(0).GetBuffer())),
          stride(frame.GetPlane(0).GetStride()) {}

    Rgi operator()(std::ptrdiff_t cellX, std::ptrdiff_t cellY) const {
        return SampleRgi<Format>(pixels + 2 * cellY * stride + 6 * cellX, stride);
    }

private:
    unsigned char const* pixels;
    std::ptrdiff_t stride;
};

template <>
class BlockReader<media::ColourFormat::Nv12> {
public:
    explicit BlockReader(Frame const& frame)
        : luma(static_cast<unsigned char const*>(frame.GetPlane(0).GetBuffer())),
          chroma(static_cast<unsigned char const*>(frame.GetPlane(1).GetBuffer())),
          stride(frame.GetPlane(0).GetStride()) {}

    Rgi operator()(std::ptrdiff_t cellX, std::ptrdiff_t cellY) const {
        unsigned char const* const above = luma + 2 * cellY * stride + 2 * cellX;
        unsigned char const* const below = above + stride;
        unsigned char const* const pair = chroma + cellY * stride + 2 * cellX;
        return ComputeRgi(media::colour::Yuv{
            static_cast<std::uint8_t>((above[0] + above[1] + below[0] + below[1]) >> 2), pair[0],
            pair[1]});
    }

private:
    unsigned char const* luma;
    unsigned char const* chroma;
    std::ptrdiff_t stride;
};

// Calls visit.operator()<Format>() for the format of a frame, and returns what it returns. Throws
// std::invalid_argument "Unspported colour format" for one without colours.
template <typename Visitor>
auto VisitColourFormat(media::ColourFormat format, Visitor const& visit) {
    using media::ColourFormat;
    switch (format) {
        case ColourFormat::Rgb: return visit.template operator()<ColourFormat::Rgb>();
        case ColourFormat::Bgr: return visit.template operator()<ColourFormat::Bgr>();
        case ColourFormat::Yuv: return visit.template operator()<ColourFormat::Yuv>();
        case ColourFormat::Nv12: return visit.template operator()<ColourFormat::Nv12>();
        case ColourFormat::Grey: break;
    }
    throw std::invalid_argument("Unspported colour format");
}

// Throws std::invalid_argument "Blob mask dimensions must be half the frame size".
void RequireHalfSize(BitMask const& mask, Frame const& frame);

// Throws std::invalid_argument "Blob mask has too few words".
void RequireWords(BitMask const& mask);

inline std::size_t WordsPerRow(BitMask const& mask) { return (std::size_t{mask.width} + 31) >> 5; }

inline bool IsSet(std::uint32_t const* maskRow, std::size_t cellX) {
    return ((maskRow[cellX >> 5] << (cellX & 31)) >> 31) != 0;
}

// The cells of a blob that are looked at: rowCount x columnCount of them from (left, top), steps
// and heights with 16 fractional bits.
struct SampleGrid {
    std::int64_t left = 0;
    std::int64_t top = 0;
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

// At most MaxSampleRows x MaxSampleColumns cells; none where the blob does not meet the mask or
// where its height is beyond an int.
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

// Counts over an area of width x height cells: (width + 1) x (height + 1) of each kind, row after
// row. The count in column c of row j is over the area's first c columns and j rows, modulo 2^16;
// the first row and column are 0.
struct IntegralImages {
    using ComponentCounts = std::array<std::uint16_t, Smog::ComponentCount>;

    std::vector<ComponentCounts> fitCounts;  // set cells whose colour fits the component
    std::vector<std::uint16_t> maskCounts;   // set cells
};

namespace detail {

// Walks the set cells of the grid, row by row from the top left: startRow(vp) is called for each
// row and returns what is called with the colour of each of its set cells. Returns how many there
// were.
template <media::ColourFormat Format, typename StartRow>
int SampleSmog(geometry::Rectangle<int> const& blob, BitMask const& mask, Frame const& frame,
               StartRow const& startRow) {
    BlockReader<Format> const read(frame);
    SampleGrid const grid = LayGrid(blob, mask);
    int sampleCount = 0;
    for (std::int64_t row = 0; row < grid.rowCount; ++row) {
        std::int64_t const cellY = grid.CellY(row);
        std::uint32_t const* const maskRow =
            mask.words.data() + static_cast<std::size_t>(cellY) * WordsPerRow(mask);
        auto const act = startRow(grid.Vp(row));
        for (std::int64_t column = 0; column < grid.columnCount; ++column) {
            std::int64_t const cellX = grid.CellX(column);
            if (!IsSet(maskRow, static_cast<std::size_t>(cellX))) continue;
            ++sampleCount;
            act(read(cellX, cellY));
        }
    }
    return sampleCount;
}

// The counts over an area that lies inside the mask, corners in order.
// Throws std::invalid_argument "Search rectangle is too large" for a format other than Nv12 and
// more than 65535 counts an image.
template <media::ColourFormat Format>
IntegralImages ComputeIntegralImages(Gaussians const& gaussians,
                                     geometry::Rectangle<int> const& area, BitMask const& mask,
                                     Frame const& frame);

}  // namespace detail
}  // namespace kes::algorithm::tracking_base::appearance
