/// \file
/// Dimension: an extent along each of N axes, width first. Use it for the size of a frame, of a
/// mask or of an object; use Point for a place.
#pragma once

#include <cstddef>

namespace kes::geometry {

/// An aggregate of N extents, zero by default. The unit is the caller's (pixels or cells).
template <typename T, std::size_t N>
struct Dimension {
    T extents[N]{};  ///< one for each axis

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

/// A width and a height, zero by default. An aggregate: Dimension<unsigned, 2>{width, height};
/// `auto [width, height] = frame.GetSize();` takes one apart.
template <typename T>
struct Dimension<T, 2> {
    T width{};   ///< axis 0
    T height{};  ///< axis 1

    /// @{
    /// The extent along an axis: width, then height. Requires: axis < 2.
    constexpr T& operator[](std::size_t axis) { return axis == 0 ? width : height; }
    constexpr T const& operator[](std::size_t axis) const { return axis == 0 ? width : height; }
    /// @}

    /// @{
    /// Equal when width and height are.
    friend constexpr bool operator==(Dimension const& a, Dimension const& b) {
        return a.width == b.width && a.height == b.height;
    }
    friend constexpr bool operator!=(Dimension const& a, Dimension const& b) { return !(a == b); }
    /// @}
};

}  // namespace kes::geometry
