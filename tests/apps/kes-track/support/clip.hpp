// Clips whose every pixel is known, of any codec, pixel format and size.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "video/av.hpp"

namespace kes::track::test {

struct ClipKind {
    char const* codec = "ffv1";       // lossless, and takes nearly every pixel format
    char const* container = nullptr;  // null: by the file's name
    AVPixelFormat format = AV_PIX_FMT_YUV420P;
    int width = 64;
    int height = 48;
    int frames = 20;
    int rate = 10;                                                              // a second
    std::function<std::int64_t(int)> tickOf = [](int frame) { return frame; };  // rate to a second
    // a, b, c, d of the container's display matrix: a pixel at x, y is shown at ax + cy, bx + dy.
    std::optional<std::array<int, 4>> shownBy = std::nullopt;
};

// What the first plane holds at a pixel, and what planes 1 and 2 hold everywhere.
constexpr std::uint8_t Luminance(int x, int y, int frame) {
    return static_cast<std::uint8_t>(3 * x + 5 * y + 7 * frame);
}
constexpr std::uint8_t ChromaOf(int plane, int frame) {
    return static_cast<std::uint8_t>(60 * plane + frame);
}

// A picture painted so, for formats whose planes hold bytes; for others the bytes fall as they may.
video::av::Frame MakePicture(AVPixelFormat format, int width, int height, int frame);

// Writes the clip. Throws std::runtime_error.
void MakeClip(std::string const& path, ClipKind const& kind);

}  // namespace kes::track::test
