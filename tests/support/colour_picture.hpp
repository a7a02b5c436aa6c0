// A picture in any colour format, and the frame that looks at it.
#pragma once

#include <cstddef>
#include <vector>

#include <kes/media/colour_format.hpp>
#include <kes/media/video/frame.hpp>

namespace kes::test {

// Its planes end with their last pixel: a read beyond them is a sanitizer's find.
class ColourPicture {
public:
    using Frame = media::video::FrameBase<void const>;

    // All zero. `padding`: bytes between the rows.
    ColourPicture(media::ColourFormat format, unsigned int width, unsigned int height,
                  std::size_t padding = 0)
        : format(format), width(width), height(height) {
        bool const isPacked =
            format != media::ColourFormat::Grey && format != media::ColourFormat::Nv12;
        std::size_t const rowBytes = std::size_t{width} * (isPacked ? 3 : 1);
        std::size_t const chromaBytes = (std::size_t{width} + 1) / 2 * 2;
        stride = (format == media::ColourFormat::Nv12 ? chromaBytes : rowBytes) + padding;
        plane0.resize(PlaneBytes(rowBytes, height));
        if (format == media::ColourFormat::Nv12) {
            plane1.resize(PlaneBytes(chromaBytes, (std::size_t{height} + 1) / 2));
        }
    }

    // Views the memory of this picture, which must outlive it.
    Frame View() const {
        auto const plane = [this](std::vector<unsigned char> const& bytes) {
            return media::video::frame::PlaneBase<void const>(bytes.size(), bytes.data(),
                                                              static_cast<long>(stride));
        };
        return Frame({plane(plane0), plane(plane1), {}, {}}, format, width, height, {}, {});
    }

    // The pixel at (x, y) of a packed format: three bytes in the order of the format.
    void SetPacked(std::size_t x, std::size_t y, unsigned char a, unsigned char b,
                   unsigned char c) {
        unsigned char* const pixel = &plane0[y * stride + 3 * x];
        pixel[0] = a;
        pixel[1] = b;
        pixel[2] = c;
    }

    media::ColourFormat format;
    unsigned int width;
    unsigned int height;
    std::size_t stride;
    std::vector<unsigned char> plane0;
    std::vector<unsigned char> plane1;

private:
    std::size_t PlaneBytes(std::size_t rowBytes, std::size_t rows) const {
        return rows == 0 ? 0 : (rows - 1) * stride + rowBytes;
    }
};

}  // namespace kes::test
