// A grey picture of the test's own, and the frame that looks at it.
#pragma once

#include <cstddef>
#include <vector>

#include <kes/media/video/frame.hpp>

namespace kes::test {

// Holds exactly the bytes that a plane of this size and stride must have, and not the padding after
// the last row: a read beyond them is a sanitizer's find.
struct Picture {
    Picture(unsigned width, unsigned height, std::size_t padding = 0, unsigned char fill = 0)
        : width(width), height(height), stride(width + padding) {
        if (height > 0) bytes.assign((height - 1) * stride + width, fill);
    }

    unsigned char& At(std::size_t x, std::size_t y) { return bytes[y * stride + x]; }
    unsigned char At(std::size_t x, std::size_t y) const { return bytes[y * stride + x]; }

    media::video::FrameBase<void const> View() const {
        media::video::frame::PlaneBase<void const> const plane(bytes.size(), bytes.data(),
                                                               static_cast<long>(stride));
        return {{plane}, media::ColourFormat::Grey,      width, height,
                {},      media::video::frame::Rotation{}};
    }

    unsigned width;
    unsigned height;
    std::size_t stride;
    std::vector<unsigned char> bytes;
};

}  // namespace kes::test
