#include "video/mask_image.hpp"

#include <cstddef>
#include <cstdint>

#include "base/failure.hpp"

namespace kes::track::video {
namespace {

constexpr unsigned int MiddleGrey = 127;

std::string Text(Size size) {
    return std::to_string(size.width) + " x " + std::to_string(size.height);
}

Frame ReadImage(std::string const& path) {
    try {
        Reader reader(path, {});
        std::optional<Picture> picture = reader.Next();
        if (picture) return picture->frame;
    } catch (Failure const& failure) {
        throw Failure(ExitCode::BadSideInput, failure.what());
    }
    throw Failure(ExitCode::BadSideInput, path + ": no image can be read");
}

}  // namespace

algorithm::BitMask EmptyMask(Size frameSize) {
    return algorithm::MakeEmptyMask(frameSize.width / 2, frameSize.height / 2);
}

algorithm::BitMask ReadMask(std::string const& path, Size frameSize) {
    Frame const image = ReadImage(path);
    if (image.GetSize() != frameSize) {
        throw Failure(ExitCode::BadSideInput, path + ": is " + Text(image.GetSize()) +
                                                  "; the frames are " + Text(frameSize));
    }
    algorithm::BitMask mask = EmptyMask(frameSize);
    auto const* const luminance = static_cast<std::uint8_t const*>(image.GetPlane(0).GetBuffer());
    std::ptrdiff_t const stride = image.GetPlane(0).GetStride();
    for (std::uint32_t cellY = 0; cellY < mask.height; ++cellY) {
        std::uint8_t const* const upper = luminance + std::ptrdiff_t{2} * cellY * stride;
        std::uint8_t const* const lower = upper + stride;
        for (std::uint32_t cellX = 0; cellX < mask.width; ++cellX) {
            std::size_t const pixelX = std::size_t{2} * cellX;
            bool const isBright = upper[pixelX] > MiddleGrey || upper[pixelX + 1] > MiddleGrey ||
                                  lower[pixelX] > MiddleGrey || lower[pixelX + 1] > MiddleGrey;
            if (isBright) algorithm::SetCell(mask, cellX, cellY);
        }
    }
    return mask;
}

}  // namespace kes::track::video
