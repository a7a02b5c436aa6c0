// What the bound functions take: NumPy arrays, checked and looked at where they lie. Every refusal
// names the argument and says what to do.
#pragma once

#include <cstdint>
#include <limits>
#include <span>
#include <string>
#include <vector>

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <kes/algorithm/bit_mask.hpp>
#include <kes/media/video/frame.hpp>

namespace kes::python {

namespace py = pybind11;

using Frame = media::video::FrameBase<void const>;
using Size = geometry::Dimension<unsigned int, 2>;

// "(576, 768)".
std::string ShapeText(std::span<py::ssize_t const> shape);
std::string ShapeText(py::array const& array);

// Throws TypeError for what is no array.
py::array ArrayOf(py::handle object, char const* name);

struct PixelShape {
    int dimensions;
    int channels;  // of the last dimension, where there are more than one
    char const* text;
};
constexpr PixelShape GreyPixels{2, 1,
                                "one plane (height, width): of a BGR frame "
                                "cv2.cvtColor(frame, cv2.COLOR_BGR2GRAY)"};

// An array of pixels: uint8, columns contiguous, rows and frames anywhere.
py::array PixelsOf(py::handle object, char const* name, PixelShape const& expected);

// Throws ValueError for a side that no frame can have.
unsigned int SideOf(py::ssize_t side);

// A view of one 8-bit plane as a Grey frame.
Frame GreyFrame(unsigned char const* pixels, Size size, py::ssize_t rowStride);

// A view of a frame of any colour format: (h, w) "grey", (h, w, 3) "bgr", "rgb" or "yuv",
// "nv12" (3 h / 2, w) or a tuple (luma, chroma). None stands for "grey" or "bgr", by the number of
// dimensions.
Frame FrameOf(py::handle object, py::handle format);

// Every cell of a frame of this size, none set.
algorithm::BitMask EmptyMask(Size frameSize);

// A mask argument for frames of this size: words packed as BitMask has them (uint32), cells or
// pixels (uint8 or bool, set where not 0; a cell is set when any of its four pixels is). None sets
// no cell. `mask` has the size of EmptyMask(frameSize); only the rows of cells from `firstRow` to
// before `lastRow`, as far as there are such, are written.
void ReadMask(py::handle object, char const* name, Size frameSize, algorithm::BitMask& mask,
              std::int64_t firstRow = 0,
              std::int64_t lastRow = std::numeric_limits<std::int64_t>::max());

}  // namespace kes::python
