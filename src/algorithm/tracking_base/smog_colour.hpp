// How the appearance model sees a cell: the colour of its 2 x 2 pixels. What stands here is all
// that knows a colour format; smog_colour_row does many cells at once.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <stdexcept>

#include <kes/media/colour/yuv.hpp>
#include <kes/media/colour_format.hpp>
#include <kes/media/video/frame.hpp>

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

// 2^26 / divisor, rounded up by less than 1. Its product with a dividend exceeds the exact one by
// less than the dividend; the next whole quotient is at least 2^26 / divisor away, which is more,
// as dividend * divisor <= 65280 * 765 < 2^26. Shifted down, the product is the truncated quotient.
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

// BT.709 Y'UV to RGB in fixed point; luma is neither offset nor scaled.
struct YuvToRgb {
    static constexpr int FractionBits = 21;
    static constexpr std::int32_t RedOfV = 2685046;    // 1.28033
    static constexpr std::int32_t GreenOfU = -450510;  // -0.21482
    static constexpr std::int32_t GreenOfV = -798155;  // -0.38059
    static constexpr std::int32_t BlueOfU = 4462697;   // 2.12798
};

inline Rgi ComputeRgi(media::colour::Yuv const& yuv) {
    using F = YuvToRgb;
    std::int32_t const y = yuv.y << F::FractionBits;
    std::int32_t const u = yuv.u - 128;
    std::int32_t const v = yuv.v - 128;
    return ComputeRgi(ClampToByte((y + F::RedOfV * v) >> F::FractionBits),
                      ClampToByte((y + F::GreenOfU * u + F::GreenOfV * v) >> F::FractionBits),
                      ClampToByte((y + F::BlueOfU * u) >> F::FractionBits));
}

// Where the cells of a row begin: the first byte of their upper and of their lower pixels, and for
// Nv12 of their chroma pairs.
struct CellRow {
    unsigned char const* above;
    unsigned char const* below;
    unsigned char const* chroma;
};

template <media::ColourFormat Format>
Rgi ReadCell(CellRow const& row, std::size_t cell) {
    using media::ColourFormat;
    constexpr std::size_t PixelBytes = Format == ColourFormat::Nv12 ? 1 : 3;
    auto const mean = [&row, first = 2 * PixelBytes * cell](std::size_t byte) {
        std::size_t const left = first + byte;
        std::size_t const right = left + PixelBytes;
        return static_cast<std::uint8_t>(
            (row.above[left] + row.above[right] + row.below[left] + row.below[right]) >> 2);
    };
    if constexpr (Format == ColourFormat::Rgb) {
        return ComputeRgi(mean(0), mean(1), mean(2));
    } else if constexpr (Format == ColourFormat::Bgr) {
        return ComputeRgi(mean(2), mean(1), mean(0));
    } else if constexpr (Format == ColourFormat::Yuv) {
        return ComputeRgi(media::colour::Yuv{mean(0), mean(1), mean(2)});
    } else {
        static_assert(Format == ColourFormat::Nv12);
        std::uint8_t const u = row.chroma[2 * cell];
        std::uint8_t const v = row.chroma[2 * cell + 1];
        return ComputeRgi(media::colour::Yuv{mean(0), u, v});
    }
}

// Finds the cells of one frame. A cell that is asked for lies inside the frame's half-size grid.
template <media::ColourFormat Format>
class CellReader {
public:
    explicit CellReader(Frame const& frame)
        : pixels(static_cast<unsigned char const*>(frame.GetPlane(0).GetBuffer())),
          chroma(static_cast<unsigned char const*>(frame.GetPlane(1).GetBuffer())),
          stride(frame.GetPlane(0).GetStride()) {}

    // The row from cellX on.
    CellRow RowAt(std::ptrdiff_t cellX, std::ptrdiff_t cellY) const {
        constexpr bool IsNv12 = Format == media::ColourFormat::Nv12;
        unsigned char const* const above = pixels + 2 * cellY * stride + (IsNv12 ? 2 : 6) * cellX;
        return {above, above + stride, IsNv12 ? chroma + cellY * stride + 2 * cellX : nullptr};
    }

    Rgi At(std::ptrdiff_t cellX, std::ptrdiff_t cellY) const {
        return ReadCell<Format>(RowAt(cellX, cellY), 0);
    }

private:
    unsigned char const* pixels;
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

}  // namespace kes::algorithm::tracking_base::appearance
