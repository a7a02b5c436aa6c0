#include "arguments.hpp"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstring>
#include <limits>

namespace kes::python {
namespace {

using media::ColourFormat;

constexpr PixelShape PackedPixels{3, 3, "(height, width, 3)"};
constexpr PixelShape Nv12Pixels{2, 1, "(3 * height / 2, width)"};

[[noreturn]] void Refuse(std::string const& reason) { throw py::value_error(reason); }

ColourFormat FormatOf(py::handle format, py::ssize_t dimensions) {
    if (format.is_none()) return dimensions == 2 ? ColourFormat::Grey : ColourFormat::Bgr;
    auto const name = format.cast<std::string>();
    if (name == "bgr") return ColourFormat::Bgr;
    if (name == "rgb") return ColourFormat::Rgb;
    if (name == "yuv") return ColourFormat::Yuv;
    if (name == "nv12") return ColourFormat::Nv12;
    if (name == "grey") return ColourFormat::Grey;
    Refuse("format is '" + name + "'; it must be 'bgr', 'rgb', 'yuv', 'nv12' or 'grey'");
}

// One bit for each of eight bytes that is not 0, the first byte's on the left.
std::uint32_t NonZeroBytes(std::uint8_t const* bytes) {
    std::uint64_t eight = 0;
    std::memcpy(&eight, bytes, sizeof eight);
    if constexpr (std::endian::native == std::endian::big) eight = __builtin_bswap64(eight);
    constexpr std::uint64_t Low7 = 0x7f7f7f7f7f7f7f7f;
    std::uint64_t const isSet = (((eight & Low7) + Low7) | eight) >> 7 & 0x0101010101010101;
    // Bit 8 k goes to bit 63 - k; no other product reaches the upper eight bits.
    return static_cast<std::uint32_t>(isSet * 0x8040201008040201 >> 56);
}

void PackRow(std::span<std::uint8_t const> cells, std::uint32_t* words) {
    std::size_t const whole = cells.size() / 8 * 8;
    for (std::size_t x = 0; x < cells.size(); x += 8) {
        std::uint32_t bits = 0;
        if (x < whole) {
            bits = NonZeroBytes(&cells[x]);
        } else {
            for (std::size_t i = x; i < cells.size(); ++i) {
                if (cells[i] != 0) bits |= 0x80U >> (i - x);
            }
        }
        std::uint32_t& word = words[x / 32];
        word = (x % 32 == 0 ? 0 : word) | bits << (24 - x % 32);
    }
}

bool IsBytes(py::array const& array) {
    return py::isinstance<py::array_t<std::uint8_t>>(array) ||
           py::isinstance<py::array_t<bool>>(array);
}

// Luma and chroma: a tuple of two arrays, or one array that holds both.
Frame Nv12Frame(py::handle object) {
    py::array luma;
    py::array chroma;
    if (py::isinstance<py::tuple>(object)) {
        auto const planes = py::reinterpret_borrow<py::tuple>(object);
        if (planes.size() != 2) Refuse("frame is a tuple; it must be of two: (luma, chroma)");
        luma = PixelsOf(planes[0], "frame[0]", GreyPixels);
        chroma = PixelsOf(planes[1], "frame[1]", GreyPixels);
    } else {
        py::array const both = PixelsOf(object, "frame", Nv12Pixels);
        if (both.shape(0) % 3 != 0 || both.shape(1) % 2 != 0) {
            Refuse("frame has shape " + ShapeText(both) +
                   "; an nv12 frame is (3 * height / 2, width), with both sides even, or a tuple "
                   "(luma, chroma)");
        }
        py::ssize_t const height = both.shape(0) / 3 * 2;
        luma = both[py::slice(0, height, 1)];
        chroma = both[py::slice(height, both.shape(0), 1)];
    }
    Size const size{SideOf(luma.shape(1)), SideOf(luma.shape(0))};
    if (chroma.shape(0) != (luma.shape(0) + 1) / 2 ||
        chroma.shape(1) != (luma.shape(1) + 1) / 2 * 2) {
        Refuse("chroma has shape " + ShapeText(chroma) + " for luma of " + ShapeText(luma) +
               "; it must be half as high, with a U, V pair for two columns of luma");
    }
    if (chroma.strides(0) != luma.strides(0) && chroma.shape(0) > 1) {
        Refuse(
            "luma and chroma must have rows the same number of bytes apart: put them into one "
            "array with numpy.vstack");
    }
    Frame::Planes planes{};
    planes[0] = {static_cast<unsigned long>(luma.nbytes()), luma.data(), luma.strides(0)};
    planes[1] = {static_cast<unsigned long>(chroma.nbytes()), chroma.data(), luma.strides(0)};
    return Frame(planes, ColourFormat::Nv12, size, {}, {});
}

}  // namespace

std::string ShapeText(std::span<py::ssize_t const> shape) {
    std::string text;
    for (py::ssize_t const side : shape) text += (text.empty() ? "" : ", ") + std::to_string(side);
    return "(" + text + (shape.size() == 1 ? ",)" : ")");
}

std::string ShapeText(py::array const& array) {
    return ShapeText({array.shape(), static_cast<std::size_t>(array.ndim())});
}

py::array ArrayOf(py::handle object, char const* name) {
    if (!py::isinstance<py::array>(object)) {
        throw py::type_error(std::string(name) + " is a " + Py_TYPE(object.ptr())->tp_name +
                             "; it must be a numpy.ndarray: numpy.asarray makes one");
    }
    return py::reinterpret_borrow<py::array>(object);
}

py::array PixelsOf(py::handle object, char const* name, PixelShape const& expected) {
    py::array array = ArrayOf(object, name);
    if (!py::isinstance<py::array_t<std::uint8_t>>(array)) {
        Refuse(std::string(name) + " has dtype " + py::str(array.dtype()).cast<std::string>() +
               "; it must be uint8: scale it to 0 to 255 and convert it with "
               ".astype(numpy.uint8)");
    }
    bool const isPacked = expected.channels > 1;
    if (array.ndim() != expected.dimensions ||
        (isPacked && array.shape(array.ndim() - 1) != expected.channels)) {
        Refuse(std::string(name) + " has shape " + ShapeText(array) + "; it must be " +
               expected.text);
    }
    // Rows, and frames, may lie anywhere.
    auto const rows = array.ndim() - (isPacked ? 3 : 2);
    py::ssize_t step = 1;
    for (auto axis = array.ndim() - 1; axis > rows; --axis) {
        if (array.shape(axis) > 1 && array.strides(axis) != step) {
            Refuse(std::string(name) + " has strides " +
                   ShapeText({array.strides(), static_cast<std::size_t>(array.ndim())}) +
                   "; its columns must be contiguous: copy it with "
                   "numpy.ascontiguousarray");
        }
        step *= array.shape(axis);
    }
    return array;
}

unsigned int SideOf(py::ssize_t side) {
    if (side > std::numeric_limits<int>::max()) {
        Refuse("frame has a side of " + std::to_string(side) + "; that is too large");
    }
    return static_cast<unsigned int>(side);
}

Frame GreyFrame(unsigned char const* pixels, Size size, py::ssize_t rowStride) {
    Frame::Planes planes{};
    planes[0] = {static_cast<unsigned long>(size.width) * size.height, pixels, rowStride};
    return Frame(planes, ColourFormat::Grey, size, {}, {});
}

Frame FrameOf(py::handle object, py::handle formatName) {
    if (py::isinstance<py::tuple>(object)) return Nv12Frame(object);
    ColourFormat const format = FormatOf(formatName, ArrayOf(object, "frame").ndim());
    bool const isGrey = format == ColourFormat::Grey;
    if (format == ColourFormat::Nv12) return Nv12Frame(object);
    py::array const pixels = PixelsOf(object, "frame", isGrey ? GreyPixels : PackedPixels);
    Size const size{SideOf(pixels.shape(1)), SideOf(pixels.shape(0))};
    auto const* const first = static_cast<unsigned char const*>(pixels.data());
    if (isGrey) return GreyFrame(first, size, pixels.strides(0));
    Frame::Planes planes{};
    planes[0] = {3UL * size.width * size.height, first, pixels.strides(0)};
    return Frame(planes, format, size, {}, {});
}

algorithm::BitMask EmptyMask(Size frameSize) {
    return algorithm::MakeEmptyMask(frameSize.width / 2, frameSize.height / 2);
}

void ReadMask(py::handle object, char const* name, Size frameSize, algorithm::BitMask& mask,
              std::int64_t firstRow, std::int64_t lastRow) {
    if (object.is_none()) {
        std::fill(mask.words.begin(), mask.words.end(), 0U);
        return;
    }
    py::array const array = ArrayOf(object, name);
    std::size_t const wordsPerRow = algorithm::WordsPerRow(mask.width);
    bool const isWords = py::isinstance<py::array_t<std::uint32_t>>(array);
    bool const isPlane = array.ndim() == 2;
    auto const hasShape = [&](std::size_t rows, std::size_t columns) {
        return isPlane && static_cast<std::size_t>(array.shape(0)) == rows &&
               static_cast<std::size_t>(array.shape(1)) == columns;
    };
    bool const isPixels = !isWords && hasShape(frameSize.height, frameSize.width);
    if ((!isWords && !IsBytes(array)) ||
        !(isPixels || hasShape(mask.height, isWords ? wordsPerRow : mask.width))) {
        auto const shape = [](std::size_t rows, std::size_t columns) {
            return ShapeText(
                std::array{static_cast<py::ssize_t>(rows), static_cast<py::ssize_t>(columns)});
        };
        Refuse(std::string(name) + " has dtype " + py::str(array.dtype()).cast<std::string>() +
               " and shape " + ShapeText(array) + "; it must be uint8 or bool " +
               shape(mask.height, mask.width) + " or " + shape(frameSize.height, frameSize.width) +
               ", or packed, uint32 " + shape(mask.height, wordsPerRow));
    }
    if (array.shape(1) > 1 && array.strides(1) != array.itemsize()) {
        Refuse(std::string(name) +
               " has columns that are not contiguous: copy it with numpy.ascontiguousarray");
    }

    if (mask.words.empty()) return;
    auto const* const bytes = static_cast<std::uint8_t const*>(array.data());
    auto const row = [&](std::size_t y) {
        return bytes + static_cast<py::ssize_t>(y) * array.strides(0);
    };
    std::vector<std::uint8_t> cells(isPixels ? mask.width : 0);
    auto const first = static_cast<std::size_t>(std::max<std::int64_t>(firstRow, 0));
    auto const last = static_cast<std::size_t>(std::clamp<std::int64_t>(lastRow, 0, mask.height));
    for (std::size_t cellY = first; cellY < last; ++cellY) {
        std::uint32_t* const words = &mask.words[cellY * wordsPerRow];
        if (isWords) {
            std::memcpy(words, row(cellY), wordsPerRow * sizeof *words);
        } else if (isPixels) {
            std::uint8_t const* const upper = row(2 * cellY);
            std::uint8_t const* const lower = row(2 * cellY + 1);
            for (std::size_t x = 0; x < cells.size(); ++x) {
                cells[x] = upper[2 * x] | upper[2 * x + 1] | lower[2 * x] | lower[2 * x + 1];
            }
            PackRow(cells, words);
        } else {
            PackRow({row(cellY), mask.width}, words);
        }
    }
}

}  // namespace kes::python
