/// \file
/// Optional checks of what is handed to EmogSegmenter and Smog, which take a frame's sizes, strides
/// and format at the caller's word. Call them while debugging, or for frames from code that you do
/// not trust. They look at descriptions only, never at a pixel, and are compiled into the caller.
#pragma once

#include <stdexcept>
#include <string>

#include <kes/algorithm/bit_mask.hpp>
#include <kes/media/colour_format.hpp>
#include <kes/media/video/frame.hpp>

namespace kes::algorithm::tracking_base {

/// @cond
namespace detail {

// That a plane has `rows` rows of `rowBytes` bytes each, the stride not less than a row.
inline void CheckPlane(media::video::FrameBase<void const> const& frame, unsigned long index,
                       unsigned long rowBytes, unsigned long rows) {
    auto const& plane = frame.GetPlane(index);
    auto const refuse = [&](std::string const& reason) {
        throw std::invalid_argument("Plane " + std::to_string(index) + " of a frame of " +
                                    std::to_string(frame.GetWidth()) + " x " +
                                    std::to_string(frame.GetHeight()) + " pixels: " + reason);
    };
    if (rows == 0) return;
    if (plane.GetBuffer() == nullptr) refuse("it has no buffer");
    long const stride = plane.GetStride();
    if (stride < static_cast<long>(rowBytes)) {
        refuse("the stride of " + std::to_string(stride) + " bytes is less than the " +
               std::to_string(rowBytes) + " bytes of a row");
    }
    unsigned long const needed = (rows - 1) * static_cast<unsigned long>(stride) + rowBytes;
    if (plane.GetSize() < needed) {
        refuse("the size of " + std::to_string(plane.GetSize()) + " bytes is less than the " +
               std::to_string(needed) + " bytes of its rows");
    }
}

}  // namespace detail
/// @endcond

/// That EmogSegmenter reads this frame as it was meant: Grey or Nv12, a buffer, a stride of at
/// least the width, a plane that holds every row.
///
/// Throws `std::invalid_argument` with a text that says what is wrong, sizes included.
inline void CheckSegmenterFrame(media::video::FrameBase<void const> const& frame) {
    using media::ColourFormat;
    ColourFormat const format = frame.GetColourFormat();
    if (format != ColourFormat::Grey && format != ColourFormat::Nv12) {
        throw std::invalid_argument(
            "The segmenter reads plane 0 as luminance, one byte a pixel: give it Grey or Nv12, not "
            "colour format " +
            std::to_string(static_cast<int>(format)));
    }
    detail::CheckPlane(frame, 0, frame.GetWidth(), frame.GetHeight());
}

/// That Smog reads this frame as it was meant: Rgb, Bgr, Yuv or Nv12, buffers, strides of at least
/// a row, planes that hold every row, and for Nv12 one stride in both planes. A picture that is
/// stored from the bottom up, with a negative stride, is refused: its first byte is not known.
///
/// Throws `std::invalid_argument` with a text that says what is wrong, sizes included.
inline void CheckSmogFrame(media::video::FrameBase<void const> const& frame) {
    using media::ColourFormat;
    unsigned long const width = frame.GetWidth();
    unsigned long const height = frame.GetHeight();
    switch (frame.GetColourFormat()) {
        case ColourFormat::Rgb:
        case ColourFormat::Bgr:
        case ColourFormat::Yuv: detail::CheckPlane(frame, 0, 3 * width, height); return;
        case ColourFormat::Nv12:
            detail::CheckPlane(frame, 0, width, height);
            detail::CheckPlane(frame, 1, width / 2 * 2, height / 2);
            if (frame.GetPlane(0).GetStride() != frame.GetPlane(1).GetStride()) {
                throw std::invalid_argument(
                    "Smog reads both planes of an Nv12 frame with one stride: the strides are " +
                    std::to_string(frame.GetPlane(0).GetStride()) + " and " +
                    std::to_string(frame.GetPlane(1).GetStride()) + " bytes");
            }
            return;
        default:
            throw std::invalid_argument(
                "Smog needs colours: give it Rgb, Bgr, Yuv or Nv12, not colour format " +
                std::to_string(static_cast<int>(frame.GetColourFormat())));
    }
}

/// That a mask has half the frame's width and height, rounded down, and all of its words.
///
/// Throws `std::invalid_argument` with a text that says what is wrong, sizes included.
inline void CheckMask(BitMask const& mask, media::video::FrameBase<void const> const& frame) {
    if (mask.width != frame.GetWidth() / 2 || mask.height != frame.GetHeight() / 2) {
        throw std::invalid_argument(
            "A mask of " + std::to_string(mask.width) + " x " + std::to_string(mask.height) +
            " cells is not half of a frame of " + std::to_string(frame.GetWidth()) + " x " +
            std::to_string(frame.GetHeight()) + " pixels");
    }
    unsigned long const needed = WordsPerRow(mask.width) * mask.height;
    if (mask.words.size() < needed) {
        throw std::invalid_argument("A mask of " + std::to_string(mask.width) + " x " +
                                    std::to_string(mask.height) + " cells has " +
                                    std::to_string(needed) + " words, this one " +
                                    std::to_string(mask.words.size()));
    }
}

}  // namespace kes::algorithm::tracking_base
