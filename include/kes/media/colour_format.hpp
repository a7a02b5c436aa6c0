/// \file
/// ColourFormat: how the planes of a frame are laid out.
#pragma once

#include <cstdint>
#include <iosfwd>

#include <kes/export.hpp>

namespace kes::media {

/// Rows may be padded; the planes' strides say how far apart they are.
enum class KES_EXPORT ColourFormat : std::int32_t {
    Grey = 0,  ///< one plane, one byte a pixel
    Rgb = 1,   ///< one plane, three bytes a pixel: R, G, B
    Bgr = 2,   ///< one plane, three bytes a pixel: B, G, R
    Yuv = 3,   ///< one plane, three bytes a pixel: Y, U, V, full resolution
    Nv12 = 4,  ///< plane 0: Y, a byte a pixel; plane 1: a U, V pair for each 2 x 2 pixels
};

/// Writes a JSON value: the quoted lower-case name ("grey", "rgb", "bgr", "yuv", "nv12"), or the
/// number of a value that has no name.
KES_EXPORT std::ostream& operator<<(std::ostream& out, ColourFormat format);

}  // namespace kes::media
