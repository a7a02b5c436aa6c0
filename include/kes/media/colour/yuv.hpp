// Yuv: one colour as luma and two chroma differences.
#pragma once

#include <cstdint>

namespace kes::media::colour {

// An aggregate: Yuv{y, u, v}; u and v are 128 where there is no colour.
struct Yuv {
    std::uint8_t y;
    std::uint8_t u;
    std::uint8_t v;
};

}  // namespace kes::media::colour
