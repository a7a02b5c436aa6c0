/// \file
/// Point: a place with one coordinate along each of N axes, x first. Use it for a position in a
/// frame or a mask; use Dimension for an extent.
#pragma once

#include <cstddef>

namespace kes::geometry {

/// An aggregate of N coordinates, zero by default. The unit is the caller's (pixels or cells).
template <typename T, std::size_t N>
struct Point {
    T coordinates[N]{};  ///< one for each axis

    /// @{
    /// The coordinate along an axis. Requires: axis < N.
    constexpr T& operator[](std::size_t axis) { return coordinates[axis]; }
    constexpr T const& operator[](std::size_t axis) const { return coordinates[axis]; }
    /// @}

    /// @{
    /// Equal when every coordinate is.
    friend constexpr bool operator==(Point const& a, Point const& b) {
        for (std::size_t axis = 0; axis < N; ++axis) {
            if (!(a.coordinates[axis] == b.coordinates[axis])) return false;
        }
        return true;
    }
    friend constexpr bool operator!=(Point const& a, Point const& b) { return !(a == b); }
    /// @}
};

/// An x and a y, zero by default. An aggregate: Point<float, 2>{x, y}; `auto [x, y] = point;` takes
/// one apart.
template <typename T>
struct Point<T, 2> {
    T x{};  ///< axis 0
    T y{};  ///< axis 1

    /// @{
    /// The coordinate along an axis: x, then y. Requires: axis < 2.
    constexpr T& operator[](std::size_t axis) { return axis == 0 ? x : y; }
    constexpr T const& operator[](std::size_t axis) const { return axis == 0 ? x : y; }
    /// @}

    /// @{
    /// Equal when x and y are.
    friend constexpr bool operator==(Point const& a, Point const& b) {
        return a.x == b.x && a.y == b.y;
    }
    friend constexpr bool operator!=(Point const& a, Point const& b) { return !(a == b); }
    /// @}
};

}  // namespace kes::geometry
