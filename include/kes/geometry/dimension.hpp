/// \file
/// Dimension: an extent along each of N axes, width first. Use it for the size of a frame, of a
/// mask or of an object; use Point for a place.
#pragma once

#include <cstddef>

namespace kes::geometry {

/// An aggregate: Dimension<unsigned, 2>{width, height}. The unit is the caller's (pixels or cells).
template <typename T, std::size_t N>
struct Dimension {
    T extents[N];  ///< one for each axis

    /// @{
    /// The extent along an axis. Requires: axis < N.
    constexpr T& operator[](std::size_t axis) { return extents[axis]; }
    constexpr T const& operator[](std::size_t axis) const { return extents[axis]; }
    /// @}

    /// @{
    /// Equal when every extent is.
    friend constexpr bool operator==(Dimension const& a, Dimension const& b) {
        for (std::size_t axis = 0; axis < N; ++axis) {
            if (!(a.extents[axis] == b.extents[axis])) return false;
        }
        return true;
    }
    friend constexpr bool operator!=(Dimension const& a, Dimension const& b) { return !(a == b); }
    /// @}
};

}  // namespace kes::geometry
