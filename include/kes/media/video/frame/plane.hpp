/// \file
/// PlaneBase: where one plane of a picture lies in memory. Use PlaneBase<void> where the pixels may
/// be written and PlaneBase<void const> where they are only read.
#pragma once

#include <iosfwd>

#include <kes/export.hpp>

namespace kes::media::video::frame {

template <typename T>
class PlaneBase;

/// Exchanges size, buffer and stride.
template <typename T>
constexpr void swap(PlaneBase<T>& a, PlaneBase<T>& b) noexcept {
    a.Swap(b);
}

/// A plain value that owns nothing: copies alias the same memory. Row y begins at
/// buffer + y * stride bytes; bytes between the end of a row's pixels and the next row are padding.
/// T is void or void const.
template <typename T>
class PlaneBase {
public:
    /// An empty plane: size 0, null buffer, stride 0.
    constexpr PlaneBase() noexcept = default;

    /// `bytes`: size of the whole plane. `firstRow`: its first byte. `rowStride`: bytes from the
    /// start of one row to the start of the next; may be negative. Nothing is checked.
    constexpr PlaneBase(unsigned long bytes, T* firstRow, long rowStride) noexcept
        : size(bytes), buffer(firstRow), stride(rowStride) {}

    /// @{
    /// Copies the three values, never the memory.
    constexpr PlaneBase(PlaneBase const&) noexcept = default;

    constexpr PlaneBase& operator=(PlaneBase other) noexcept {
        Swap(other);
        return *this;
    }
    /// @}

    /// True when size is not 0 and buffer is not null; the stride is not examined.
    constexpr operator bool() const noexcept { return size != 0 && buffer != nullptr; }

    /// @{
    /// Equal when size, buffer and stride are.
    constexpr bool operator==(PlaneBase const& other) const noexcept {
        return size == other.size && buffer == other.buffer && stride == other.stride;
    }
    constexpr bool operator!=(PlaneBase const& other) const noexcept { return !(*this == other); }
    /// @}

    constexpr unsigned long GetSize() const noexcept { return size; }  ///< bytes
    constexpr T* GetBuffer() const noexcept { return buffer; }         ///< row 0
    constexpr long GetStride() const noexcept { return stride; }       ///< bytes

private:
    friend constexpr void swap<T>(PlaneBase<T>& a, PlaneBase<T>& b) noexcept;

    constexpr void Swap(PlaneBase& other) noexcept {
        PlaneBase const old(*this);
        size = other.size;
        buffer = other.buffer;
        stride = other.stride;
        other.size = old.size;
        other.buffer = old.buffer;
        other.stride = old.stride;
    }

    unsigned long size = 0;
    T* buffer = nullptr;
    long stride = 0;
};

/// @{
/// Deleted: planes of different pixel access are not compared; without these, both sides would turn
/// into bool.
template <typename T, typename U>
bool operator==(PlaneBase<T> const&, PlaneBase<U> const&) = delete;
template <typename T, typename U>
bool operator!=(PlaneBase<T> const&, PlaneBase<U> const&) = delete;
/// @}

/// Writes `{"size":S,"buffer":"ADDRESS","stride":T}` on one line, with the stream's own number
/// formatting.
template <typename T>
KES_EXPORT std::ostream& operator<<(std::ostream& out, PlaneBase<T> const& plane);

/// @cond
extern template KES_EXPORT std::ostream& operator<<(std::ostream&, PlaneBase<void> const&);
extern template KES_EXPORT std::ostream& operator<<(std::ostream&, PlaneBase<void const> const&);
/// @endcond

}  // namespace kes::media::video::frame
