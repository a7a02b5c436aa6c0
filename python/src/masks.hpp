// The segmenter's masks as NumPy arrays, in the form that is asked for.
#pragma once

#include <cstdint>
#include <vector>

#include "arguments.hpp"

namespace kes::python {

enum class MaskForm {
    Half,    // uint8 (height / 2, width / 2), 0 or 255
    Full,    // uint8 (height, width), 0 or 255
    Packed,  // uint32 (height / 2, (width / 2 + 31) / 32), as BitMask has them
};

// "half", "full" or "packed"; throws ValueError.
MaskForm MaskFormOf(py::handle name);

// An array that takes the masks of `frameCount` frames, or of one where that is None: `out` where
// it is given, checked, or else a new one.
class MaskArray {
public:
    MaskArray(MaskForm form, Size frameSize, py::ssize_t const* frameCount, py::handle out,
              char const* name);

    // Throws ValueError when the two share memory.
    void RequireApart(MaskArray const& other) const;

    // Writes a mask's words to the place of a frame. Needs no interpreter lock.
    void Write(std::uint32_t const* words, std::size_t frameIndex) const;

    py::array array;

private:
    MaskForm form;
    Size frameSize;
    std::uint8_t* first;
    py::ssize_t frameStride = 0;
    py::ssize_t rowStride = 0;
};

}  // namespace kes::python
