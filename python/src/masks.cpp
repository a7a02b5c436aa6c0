#include "masks.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <string>

namespace kes::python {
namespace {

// The bytes of eight cells, leftmost cell in the most significant bit.
constexpr auto EightCells = [] {
    std::array<std::array<std::uint8_t, 8>, 256> table{};
    for (std::size_t bits = 0; bits < table.size(); ++bits) {
        for (std::size_t x = 0; x < 8; ++x) table[bits][x] = (bits >> (7 - x) & 1) != 0 ? 255 : 0;
    }
    return table;
}();

// The bytes of two pixels for each of four cells.
constexpr auto FourPairs = [] {
    std::array<std::array<std::uint8_t, 8>, 16> table{};
    for (std::size_t bits = 0; bits < table.size(); ++bits) {
        for (std::size_t x = 0; x < 8; ++x) {
            table[bits][x] = (bits >> (3 - x / 2) & 1) != 0 ? 255 : 0;
        }
    }
    return table;
}();

void WriteCells(std::uint32_t word, std::uint8_t* bytes) {
    if (word == 0) {
        std::memset(bytes, 0, 32);
        return;
    }
    for (std::size_t i = 0; i < 4; ++i) {
        std::memcpy(bytes + 8 * i, EightCells[word >> (24 - 8 * i) & 0xff].data(), 8);
    }
}

void WritePairs(std::uint32_t word, std::uint8_t* bytes) {
    if (word == 0) {
        std::memset(bytes, 0, 64);
        return;
    }
    for (std::size_t i = 0; i < 8; ++i) {
        std::memcpy(bytes + 8 * i, FourPairs[word >> (28 - 4 * i) & 0xf].data(), 8);
    }
}

// A row of words as bytes, `bytesPerWord` to a word, of which there are `count`.
template <std::size_t BytesPerWord>
void WriteRow(std::uint32_t const* words, std::uint8_t* row, std::size_t count,
              void (*write)(std::uint32_t, std::uint8_t*)) {
    std::size_t const whole = count / BytesPerWord;
    for (std::size_t i = 0; i < whole; ++i) write(words[i], row + BytesPerWord * i);
    if (count % BytesPerWord == 0) return;
    std::array<std::uint8_t, BytesPerWord> last;
    write(words[whole], last.data());
    std::memcpy(row + BytesPerWord * whole, last.data(), count % BytesPerWord);
}

}  // namespace

MaskForm MaskFormOf(py::handle name) {
    auto const text = name.cast<std::string>();
    if (text == "half") return MaskForm::Half;
    if (text == "full") return MaskForm::Full;
    if (text == "packed") return MaskForm::Packed;
    throw py::value_error("form is '" + text + "'; it must be 'half', 'full' or 'packed'");
}

MaskArray::MaskArray(MaskForm form, Size frameSize, py::ssize_t const* frameCount, py::handle out,
                     char const* name)
    : form(form), frameSize(frameSize) {
    bool const isFull = form == MaskForm::Full;
    py::ssize_t const height = isFull ? frameSize.height : frameSize.height / 2;
    auto const wordsPerRow = algorithm::WordsPerRow(frameSize.width / 2);
    py::ssize_t const width = isFull                     ? frameSize.width
                              : form == MaskForm::Packed ? static_cast<py::ssize_t>(wordsPerRow)
                                                         : frameSize.width / 2;
    std::vector<py::ssize_t> shape{height, width};
    if (frameCount != nullptr) shape.insert(shape.begin(), *frameCount);
    bool const isWords = form == MaskForm::Packed;
    if (out.is_none()) {
        if (isWords) {
            array = py::array_t<std::uint32_t>(shape);
        } else {
            array = py::array_t<std::uint8_t>(shape);
        }
    } else {
        array = ArrayOf(out, name);
        bool const hasType = isWords ? py::isinstance<py::array_t<std::uint32_t>>(array)
                                     : py::isinstance<py::array_t<std::uint8_t>>(array);
        bool const hasShape = static_cast<std::size_t>(array.ndim()) == shape.size() &&
                              std::equal(shape.begin(), shape.end(), array.shape());
        auto const last = array.ndim() - 1;
        if (!hasType || !hasShape || !array.writeable() ||
            (array.shape(last) > 1 && array.strides(last) != array.itemsize())) {
            throw py::value_error(std::string(name) + " has dtype " +
                                  py::str(array.dtype()).cast<std::string>() + " and shape " +
                                  ShapeText(array) + "; it must be a writable " +
                                  (isWords ? "uint32" : "uint8") + " array of shape " +
                                  ShapeText(shape) + " with contiguous columns");
        }
    }
    first = static_cast<std::uint8_t*>(array.mutable_data());
    auto const rows = array.ndim() - 2;
    rowStride = array.strides(rows);
    if (frameCount != nullptr) frameStride = array.strides(0);
}

void MaskArray::RequireApart(MaskArray const& other) const {
    auto const span = [](py::array const& bytes) {
        auto low = reinterpret_cast<std::uintptr_t>(bytes.data());
        auto high = low + static_cast<std::uintptr_t>(bytes.itemsize());
        for (py::ssize_t axis = 0; axis < bytes.ndim(); ++axis) {
            if (bytes.shape(axis) == 0) return std::pair{low, low};
            auto const reach =
                static_cast<std::uintptr_t>((bytes.shape(axis) - 1) * bytes.strides(axis));
            (bytes.strides(axis) < 0 ? low : high) += reach;
        }
        return std::pair{low, high};
    };
    auto const [low, high] = span(array);
    auto const [otherLow, otherHigh] = span(other.array);
    if (low < otherHigh && otherLow < high) {
        throw py::value_error("out's two arrays share memory; give each mask its own");
    }
}

void MaskArray::Write(std::uint32_t const* words, std::size_t frameIndex) const {
    std::size_t const cellsPerRow = frameSize.width / 2;
    std::size_t const wordsPerRow = algorithm::WordsPerRow(cellsPerRow);
    std::size_t const cellRows = frameSize.height / 2;
    std::uint8_t* const frame = first + static_cast<py::ssize_t>(frameIndex) * frameStride;
    auto const bytesPerRow = wordsPerRow * sizeof *words;
    // Of no word there may be no memory either.
    if (form == MaskForm::Packed && wordsPerRow * cellRows == 0) return;
    if (form == MaskForm::Packed && rowStride == static_cast<py::ssize_t>(bytesPerRow)) {
        std::memcpy(frame, words, bytesPerRow * cellRows);
        return;
    }
    auto const row = [&](std::size_t y) { return frame + static_cast<py::ssize_t>(y) * rowStride; };
    for (std::size_t cellY = 0; cellY < cellRows; ++cellY, words += wordsPerRow) {
        switch (form) {
            case MaskForm::Half: WriteRow<32>(words, row(cellY), cellsPerRow, WriteCells); break;
            case MaskForm::Packed: std::memcpy(row(cellY), words, bytesPerRow); break;
            case MaskForm::Full:
                WriteRow<64>(words, row(2 * cellY), 2 * cellsPerRow, WritePairs);
                // The last column of an odd width belongs to no cell.
                if (frameSize.width % 2 != 0) row(2 * cellY)[frameSize.width - 1] = 0;
                std::memcpy(row(2 * cellY + 1), row(2 * cellY), frameSize.width);
                break;
        }
    }
    if (form == MaskForm::Full && frameSize.height % 2 != 0) {
        std::memset(row(frameSize.height - 1), 0, frameSize.width);
    }
}

}  // namespace kes::python
