#include "tracker/luma.hpp"

#include <array>
#include <cstddef>
#include <stdexcept>

#include <kes/media/video/frame.hpp>
#include <kes/media/video/frame/plane.hpp>

namespace kes::tracker {
namespace {

using media::ColourFormat;

// Of the three bytes of a pixel, in 256ths.
using Weights = std::array<unsigned int, 3>;

Weights WeightsOf(ColourFormat format) {
    if (format == ColourFormat::Rgb) return {54, 183, 19};
    if (format == ColourFormat::Bgr) return {19, 183, 54};
    return {256, 0, 0};  // Yuv
}

}  // namespace

void CheckFrame(Frame const& frame) {
    switch (frame.GetColourFormat()) {
        case ColourFormat::Grey:
        case ColourFormat::Rgb:
        case ColourFormat::Bgr:
        case ColourFormat::Yuv:
        case ColourFormat::Nv12: break;
        default: throw std::invalid_argument("The tracker does not take this colour format");
    }
    bool const isEmpty = frame.GetWidth() == 0 || frame.GetHeight() == 0;
    bool const hasPixels =
        frame.GetPlane(0) && (frame.GetColourFormat() != ColourFormat::Nv12 || frame.GetPlane(1));
    if (!isEmpty && !hasPixels) throw std::invalid_argument("The frame has no pixels");
}

Frame Luma::Of(Frame const& frame) {
    auto const view = [&](unsigned long bytes, void const* first, long stride) {
        Frame::Planes planes{};
        planes[0] = {bytes, first, stride};
        return Frame(planes, ColourFormat::Grey, frame.GetSize(), frame.GetTimestamp(),
                     frame.GetRotation());
    };
    auto const& plane = frame.GetPlane(0);
    auto const format = frame.GetColourFormat();
    if (format == ColourFormat::Grey || format == ColourFormat::Nv12) {
        return view(plane.GetSize(), plane.GetBuffer(), plane.GetStride());
    }
    auto const [r, g, b] = WeightsOf(format);
    std::size_t const width = frame.GetWidth();
    std::size_t const height = frame.GetHeight();
    pixels.resize(width * height);
    for (std::size_t y = 0; y < height; ++y) {
        auto const* in = static_cast<std::uint8_t const*>(plane.GetBuffer()) +
                         static_cast<std::ptrdiff_t>(y) * plane.GetStride();
        std::uint8_t* const out = pixels.data() + y * width;
        for (std::size_t x = 0; x < width; ++x, in += 3) {
            out[x] = static_cast<std::uint8_t>((r * in[0] + g * in[1] + b * in[2] + 128) / 256);
        }
    }
    return view(pixels.size(), pixels.data(), static_cast<long>(width));
}

cv::Mat1b MatrixOf(Frame const& frame) {
    auto const& plane = frame.GetPlane(0);
    // OpenCV has no view of constant memory; this one is only read.
    auto* const pixels =
        const_cast<unsigned char*>(static_cast<unsigned char const*>(plane.GetBuffer()));
    return {static_cast<int>(frame.GetHeight()), static_cast<int>(frame.GetWidth()), pixels,
            static_cast<std::size_t>(plane.GetStride())};
}

}  // namespace kes::tracker
