/// \file
/// FrameBase: one decoded picture on its way through the library. Wrap a decoder's memory in a
/// `FrameBase<void const>` to hand it to an algorithm; call Allocate for a picture with memory of
/// its own.
#pragma once

#include <array>
#include <chrono>
#include <functional>
#include <iosfwd>

#include <kes/export.hpp>
#include <kes/geometry/dimension.hpp>
#include <kes/media/colour_format.hpp>
#include <kes/media/video/frame/plane.hpp>
#include <kes/media/video/frame/rotation.hpp>

namespace kes::media::video {

/// One picture: up to four planes of pixel memory with colour format, size, timestamp and rotation.
/// A frame never copies pixels. It is one of two kinds:
/// - a view frame looks at memory that the caller keeps alive;
/// - a counted frame holds two functions: `ref` is called once for each frame that begins to share
///   the memory (construction, copy), `unref` once for each that stops (destruction). Moves and
///   swaps call neither. What the functions do is wholly theirs.
///
/// T is void where the pixels may be written, void const where they are only read; nothing else
/// differs. A frame has no lock: distinct frames may be used on distinct threads, and copies of one
/// counted frame too where its functions allow it (those of Allocate do).
template <typename T>
class KES_EXPORT FrameBase {
public:
    /// When the picture was taken. No algorithm looks at it.
    using TimePoint = std::chrono::time_point<std::chrono::system_clock, std::chrono::nanoseconds>;

    static constexpr unsigned long MaxPlanes = 4;  ///< how many planes a frame has room for
    using Planes = std::array<frame::PlaneBase<T>, MaxPlanes>;  ///< unused ones are empty

    /// A view frame of four empty planes; every other field is zero.
    FrameBase();

    /// @{
    /// A frame over the caller's planes, in the order that the colour format gives them, the unused
    /// ones empty. Size in pixels, width first. Nothing is validated but the two functions: both
    /// (a counted frame; `ref` is called once) or neither (a view frame).
    ///
    /// Throws `std::invalid_argument` "Must provide both a reference and unreference function, or
    /// neither", with neither called. What `ref` throws leaves the constructor, and `unref` is then
    /// not called.
    FrameBase(Planes const& planes, ColourFormat colourFormat,
              geometry::Dimension<unsigned int, 2> size, TimePoint timestamp,
              frame::Rotation rotation, std::function<void()> ref = {},
              std::function<void()> unref = {});
    FrameBase(Planes const& planes, ColourFormat colourFormat, unsigned int width,
              unsigned int height, TimePoint timestamp, frame::Rotation rotation,
              std::function<void()> ref = {}, std::function<void()> unref = {});
    /// @}

    /// @{
    /// The frame that `Allocate<T>` returns for these arguments.
    FrameBase(ColourFormat colourFormat, unsigned int width, unsigned int height,
              TimePoint timestamp, frame::Rotation rotation);
    FrameBase(ColourFormat colourFormat, geometry::Dimension<unsigned int, 2> size,
              TimePoint timestamp, frame::Rotation rotation);
    /// @}

    /// Shares the memory: calls `ref` once when there is one.
    FrameBase(FrameBase const& other);

    /// Takes the functions over; `other` becomes a view of the same memory.
    FrameBase(FrameBase&& other) noexcept;

    /// Calls `unref` once when there is one. What it throws ends the program (`std::terminate`).
    ~FrameBase();

    /// The new content is taken in before the old one is released.
    FrameBase& operator=(FrameBase other) noexcept;

    /// True when some plane is valid and neither width nor height is 0. Format and strides are not
    /// examined.
    operator bool() const noexcept;

    /// @{
    /// Equal: the same memory with the same geometry and metadata, whoever manages that memory.
    bool operator==(FrameBase const& other) const noexcept;
    bool operator!=(FrameBase const& other) const noexcept;
    /// @}

    /// All four planes.
    Planes const& GetPlanes() const noexcept;

    /// One plane. Requires: index < MaxPlanes (asserted in debug builds).
    frame::PlaneBase<T> const& GetPlane(unsigned long index) const noexcept;

    /// @{
    /// What the frame was made with; both functions are empty in a view frame.
    ColourFormat const& GetColourFormat() const noexcept;
    geometry::Dimension<unsigned int, 2> GetSize() const noexcept;
    unsigned int GetWidth() const noexcept;
    unsigned int GetHeight() const noexcept;
    TimePoint GetTimestamp() const noexcept;
    frame::Rotation GetRotation() const noexcept;
    std::function<void()> const& GetRef() const noexcept;
    std::function<void()> const& GetUnref() const noexcept;
    /// @}

    /// The number of rows.
    unsigned int GetIteratorLength() const noexcept;

private:
    template <typename U>
    friend void swap(FrameBase<U>& a, FrameBase<U>& b) noexcept;

    Planes planes;
    ColourFormat colourFormat;
    geometry::Dimension<unsigned int, 2> size;
    TimePoint timestamp;
    frame::Rotation rotation;
    std::function<void()> ref;
    std::function<void()> unref;
};

/// @{
/// Deleted: frames of different pixel access, or a frame and a plane, are not compared; without
/// these, both sides would turn into bool.
template <typename T, typename U>
bool operator==(FrameBase<T> const&, FrameBase<U> const&) = delete;
template <typename T, typename U>
bool operator!=(FrameBase<T> const&, FrameBase<U> const&) = delete;
template <typename T, typename U>
bool operator==(FrameBase<T> const&, frame::PlaneBase<U> const&) = delete;
template <typename T, typename U>
bool operator!=(FrameBase<T> const&, frame::PlaneBase<U> const&) = delete;
template <typename T, typename U>
bool operator==(frame::PlaneBase<T> const&, FrameBase<U> const&) = delete;
template <typename T, typename U>
bool operator!=(frame::PlaneBase<T> const&, FrameBase<U> const&) = delete;
/// @}

/// Exchanges everything, the two functions included, and calls neither.
template <typename T>
KES_EXPORT void swap(FrameBase<T>& a, FrameBase<T>& b) noexcept;

/// Makes a counted frame that owns one fresh block of memory for the format and size in pixels; the
/// block is freed with the last frame that shares it. Strides are the row's bytes rounded up to a
/// multiple of 4, plane 0 is 16-byte aligned, an Nv12 frame's plane 1 follows plane 0 without a
/// gap, and the pixels are not initialised. A width or height of 0 gives a frame that is not valid.
/// Copies may be made and destroyed on several threads at once.
///
/// Throws `std::invalid_argument` "Unsupported colour format" before any memory is taken, and
/// `std::bad_alloc` when the block cannot be had or its length does not fit 64 bits.
template <typename T>
KES_EXPORT FrameBase<T> Allocate(ColourFormat colourFormat,
                                 geometry::Dimension<unsigned int, 2> size,
                                 typename FrameBase<T>::TimePoint timestamp,
                                 frame::Rotation rotation);

/// Writes the frame's geometry and metadata, never its pixels, as one line of JSON with the
/// stream's own number formatting:
///
///     {"planes":[P,P,P,P],"colour_format":F,"width":W,"height":H,"timestamp":T,"rotation":"R"}
///
/// Throws `std::out_of_range` "map::at" for a rotation without a name, after everything before that
/// name has been written.
template <typename T>
KES_EXPORT std::ostream& operator<<(std::ostream& out, FrameBase<T> const& frame);

extern template class FrameBase<void>;
extern template class FrameBase<void const>;

}  // namespace kes::media::video
