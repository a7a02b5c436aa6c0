/// \file
/// Yuv: one colour as luma and two chroma differences.
#pragma once

#include <cstdint>

namespace kes::media::colour {

/// An aggregate: Yuv{y, u, v}, zero by default.
struct Yuv {
    std::uint8_t y = 0;  ///< luma, 0 to 255
    std::uint8_t u = 0;  ///< blue less luma, 128 for none
    std::uint8_t v = 0;  ///< red less luma, 128 for none

    /// @{
    /// Equal when all three are.
    friend constexpr bool operator==(Yuv const& a, Yuv const& b) {
        return a.y == b.y && a.u == b.u && a.v == b.v;
    }
    friend constexpr bool operator!=(Yuv const& a, Yuv const& b) { return !(a == b); }
    /// @}
};

}  // namespace kes::media::colour
