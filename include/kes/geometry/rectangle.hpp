/// \file
/// Rectangle: an axis-parallel box, corner to corner.
#pragma once

namespace kes::geometry {

/// An aggregate: Rectangle<int>{left, top, right, bottom}, zero by default. Right and bottom are
/// exclusive, so {10, 20, 21, 31} is 11 x 11; y grows downward. Nothing keeps the corners in order:
/// each operation that takes a rectangle says what it makes of reversed ones.
template <typename T>
struct Rectangle {
    T left{};    ///< first column
    T top{};     ///< first row
    T right{};   ///< one past the last column
    T bottom{};  ///< one past the last row

    /// @{
    /// right - left and bottom - top: negative where the corners are reversed. Requires: T holds
    /// the difference.
    constexpr T GetWidth() const { return static_cast<T>(right - left); }
    constexpr T GetHeight() const { return static_cast<T>(bottom - top); }
    /// @}

    /// @{
    /// Equal when all four corners are.
    friend constexpr bool operator==(Rectangle const& a, Rectangle const& b) {
        return a.left == b.left && a.top == b.top && a.right == b.right && a.bottom == b.bottom;
    }
    friend constexpr bool operator!=(Rectangle const& a, Rectangle const& b) { return !(a == b); }
    /// @}
};

}  // namespace kes::geometry
