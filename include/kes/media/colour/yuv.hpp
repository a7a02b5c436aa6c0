/// \file
/// Yuv: one colour as luma and two chroma differences.
#pragma once

#include <cstdint>

namespace kes::media::colour {

/// An aggregate: Yuv{y, u, v}.
struct Yuv {
    std::uint8_t y;  ///< luma, 0 to 255
    std::uint8_t u;  ///< blue less luma, 128 for none
    std::uint8_t v;  ///< red less luma, 128 for none
};

}  // namespace kes::media::colour
