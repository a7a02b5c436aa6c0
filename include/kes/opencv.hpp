/// \file
/// Frames and masks as OpenCV's matrices, and back. Include it in a program that links both; the
/// library itself does not need OpenCV.
#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>

#include <kes/algorithm/bit_mask.hpp>
#include <kes/media/colour_format.hpp>
#include <kes/media/video/frame.hpp>
#include <opencv2/core.hpp>

/// Bridges to OpenCV.
namespace kes::opencv {

/// A frame over a picture's own pixels, of 8 bits a channel: one channel is Grey, three are Bgr, as
/// OpenCV decodes them, or Rgb or Yuv where `threeChannels` says so. No pixel is copied. The frame
/// and its copies share the matrix's memory as copies of a `cv::Mat` do; memory that the matrix
/// does not own must outlive them. An empty matrix gives a frame that is not valid.
///
/// Throws `std::invalid_argument` "A frame needs a matrix of type CV_8UC1 or CV_8UC3" and "Three
/// channels are Bgr, Rgb or Yuv".
inline media::video::FrameBase<void const> FrameOf(
    cv::Mat const& picture, media::ColourFormat threeChannels = media::ColourFormat::Bgr,
    media::video::FrameBase<void const>::TimePoint timestamp = {}) {
    using media::ColourFormat;
    if (picture.empty()) return {};
    if (picture.dims != 2 || (picture.type() != CV_8UC1 && picture.type() != CV_8UC3)) {
        throw std::invalid_argument("A frame needs a matrix of type CV_8UC1 or CV_8UC3");
    }
    if (threeChannels != ColourFormat::Bgr && threeChannels != ColourFormat::Rgb &&
        threeChannels != ColourFormat::Yuv) {
        throw std::invalid_argument("Three channels are Bgr, Rgb or Yuv");
    }
    // The last row of a part of a larger matrix ends with its pixels.
    std::size_t const bytes = static_cast<std::size_t>(picture.rows - 1) * picture.step[0] +
                              static_cast<std::size_t>(picture.cols) * picture.elemSize();
    auto const keep = [picture] {};  // every copy of the frame holds the matrix
    return media::video::FrameBase<void const>(
        {media::video::frame::PlaneBase<void const>(bytes, picture.data,
                                                    static_cast<long>(picture.step[0]))},
        picture.channels() == 1 ? ColourFormat::Grey : threeChannels,
        {static_cast<unsigned int>(picture.cols), static_cast<unsigned int>(picture.rows)},
        timestamp, media::video::frame::Rotation::None, keep, keep);
}

/// A mask as a matrix of type CV_8UC1, one element a cell: 255 where it is set, 0 elsewhere.
/// Requires: the mask has its words. Throws `cv::Exception` where memory is short.
inline cv::Mat MatOf(algorithm::BitMask const& mask) {
    cv::Mat cells(static_cast<int>(mask.height), static_cast<int>(mask.width), CV_8UC1);
    std::size_t const wordsPerRow = algorithm::WordsPerRow(mask.width);
    for (int y = 0; y < cells.rows; ++y) {
        std::uint32_t const* const row =
            mask.words.data() + static_cast<std::size_t>(y) * wordsPerRow;
        auto* const out = cells.ptr<std::uint8_t>(y);
        for (std::size_t x = 0; x < mask.width; ++x) {
            out[x] = algorithm::IsCellSet(row, x) ? 255 : 0;
        }
    }
    return cells;
}

/// The mask of a matrix of type CV_8UC1, one element a cell: set where it is not 0.
///
/// Throws `std::invalid_argument` "A mask needs a matrix of type CV_8UC1" for another that is not
/// empty, and `std::bad_alloc`.
inline algorithm::BitMask MaskOf(cv::Mat const& cells) {
    if (cells.empty()) return {};
    if (cells.dims != 2 || cells.type() != CV_8UC1) {
        throw std::invalid_argument("A mask needs a matrix of type CV_8UC1");
    }
    algorithm::BitMask mask = algorithm::MakeEmptyMask(static_cast<std::uint32_t>(cells.cols),
                                                       static_cast<std::uint32_t>(cells.rows));
    for (int y = 0; y < cells.rows; ++y) {
        auto const* const row = cells.ptr<std::uint8_t>(y);
        for (int x = 0; x < cells.cols; ++x) {
            if (row[x] != 0) {
                algorithm::SetCell(mask, static_cast<std::size_t>(x), static_cast<std::size_t>(y));
            }
        }
    }
    return mask;
}

}  // namespace kes::opencv
