#include <kes/media/video/frame.hpp>

#include <cassert>
#include <ostream>
#include <stdexcept>
#include <string>
#include <utility>

#include <kes/media/time_point.hpp>
#include <kes/type/strings.hpp>

namespace kes::media::video {

template <typename T>
FrameBase<T>::FrameBase()
    : planes{}, colourFormat{}, size{0, 0}, timestamp{}, rotation{}, ref{}, unref{} {}

template <typename T>
FrameBase<T>::FrameBase(Planes const& planes, ColourFormat colourFormat,
                        geometry::Dimension<unsigned int, 2> size, TimePoint timestamp,
                        frame::Rotation rotation, std::function<void()> ref,
                        std::function<void()> unref)
    : planes(planes),
      colourFormat(colourFormat),
      size(size),
      timestamp(timestamp),
      rotation(rotation),
      ref(std::move(ref)),
      unref(std::move(unref)) {
    if (static_cast<bool>(this->ref) != static_cast<bool>(this->unref)) {
        throw std::invalid_argument(
            "Must provide both a reference and unreference function, or neither");
    }
    if (this->ref) this->ref();
}

template <typename T>
FrameBase<T>::FrameBase(Planes const& planes, ColourFormat colourFormat, unsigned int width,
                        unsigned int height, TimePoint timestamp, frame::Rotation rotation,
                        std::function<void()> ref, std::function<void()> unref)
    : FrameBase(planes, colourFormat, geometry::Dimension<unsigned int, 2>{width, height},
                timestamp, rotation, std::move(ref), std::move(unref)) {}

template <typename T>
FrameBase<T>::FrameBase(ColourFormat colourFormat, unsigned int width, unsigned int height,
                        TimePoint timestamp, frame::Rotation rotation)
    : FrameBase(Allocate<T>(colourFormat, {width, height}, timestamp, rotation)) {}

template <typename T>
FrameBase<T>::FrameBase(ColourFormat colourFormat, geometry::Dimension<unsigned int, 2> size,
                        TimePoint timestamp, frame::Rotation rotation)
    : FrameBase(Allocate<T>(colourFormat, size, timestamp, rotation)) {}

template <typename T>
FrameBase<T>::FrameBase(FrameBase const& other)
    : planes(other.planes),
      colourFormat(other.colourFormat),
      size(other.size),
      timestamp(other.timestamp),
      rotation(other.rotation),
      ref(other.ref),
      unref(other.unref) {
    if (ref) ref();
}

template <typename T>
FrameBase<T>::FrameBase(FrameBase&& other) noexcept
    : planes(other.planes),
      colourFormat(other.colourFormat),
      size(other.size),
      timestamp(other.timestamp),
      rotation(other.rotation),
      ref(std::exchange(other.ref, nullptr)),
      unref(std::exchange(other.unref, nullptr)) {}

template <typename T>
FrameBase<T>::~FrameBase() {
    if (unref) unref();
}

template <typename T>
FrameBase<T>& FrameBase<T>::operator=(FrameBase other) noexcept {
    swap(*this, other);
    return *this;
}

template <typename T>
FrameBase<T>::operator bool() const noexcept {
    for (frame::PlaneBase<T> const& plane : planes) {
        if (plane) return size.width != 0 && size.height != 0;
    }
    return false;
}

template <typename T>
bool FrameBase<T>::operator==(FrameBase const& other) const noexcept {
    return planes == other.planes && colourFormat == other.colourFormat && size == other.size &&
           timestamp == other.timestamp && rotation == other.rotation;
}

template <typename T>
bool FrameBase<T>::operator!=(FrameBase const& other) const noexcept {
    return !(*this == other);
}

template <typename T>
typename FrameBase<T>::Planes const& FrameBase<T>::GetPlanes() const noexcept {
    return planes;
}

template <typename T>
frame::PlaneBase<T> const& FrameBase<T>::GetPlane(unsigned long index) const noexcept {
    assert(index < MaxPlanes);
    return planes[index];
}

template <typename T>
ColourFormat const& FrameBase<T>::GetColourFormat() const noexcept {
    return colourFormat;
}

template <typename T>
geometry::Dimension<unsigned int, 2> FrameBase<T>::GetSize() const noexcept {
    return size;
}

template <typename T>
unsigned int FrameBase<T>::GetWidth() const noexcept {
    return size.width;
}

template <typename T>
unsigned int FrameBase<T>::GetHeight() const noexcept {
    return size.height;
}

template <typename T>
typename FrameBase<T>::TimePoint FrameBase<T>::GetTimestamp() const noexcept {
    return timestamp;
}

template <typename T>
frame::Rotation FrameBase<T>::GetRotation() const noexcept {
    return rotation;
}

template <typename T>
std::function<void()> const& FrameBase<T>::GetRef() const noexcept {
    return ref;
}

template <typename T>
std::function<void()> const& FrameBase<T>::GetUnref() const noexcept {
    return unref;
}

template <typename T>
unsigned int FrameBase<T>::GetIteratorLength() const noexcept {
    return size.height;
}

template <typename T>
void swap(FrameBase<T>& a, FrameBase<T>& b) noexcept {
    using std::swap;
    swap(a.planes, b.planes);
    swap(a.colourFormat, b.colourFormat);
    swap(a.size, b.size);
    swap(a.timestamp, b.timestamp);
    swap(a.rotation, b.rotation);
    swap(a.ref, b.ref);
    swap(a.unref, b.unref);
}

template <typename T>
std::ostream& operator<<(std::ostream& out, FrameBase<T> const& frame) {
    out << R"({"planes":[)";
    char const* separator = "";
    for (frame::PlaneBase<T> const& plane : frame.GetPlanes()) {
        out << separator << plane;
        separator = ",";
    }
    out << R"(],"colour_format":)" << frame.GetColourFormat();
    out << R"(,"width":)" << frame.GetWidth() << R"(,"height":)" << frame.GetHeight();
    out << R"(,"timestamp":)";
    // Named in full: a plain << could also mean the standard library's own, which differs.
    kes::media::operator<<(out, frame.GetTimestamp());
    out << R"(,"rotation":")";
    auto const rotation = static_cast<unsigned long>(frame.GetRotation());
    return out << kes::type::Strings<frame::Rotation>::GetMap().at(rotation) << "\"}";
}

template class FrameBase<void>;
template class FrameBase<void const>;
template KES_EXPORT void swap(FrameBase<void>&, FrameBase<void>&) noexcept;
template KES_EXPORT void swap(FrameBase<void const>&, FrameBase<void const>&) noexcept;
template KES_EXPORT std::ostream& operator<<(std::ostream&, FrameBase<void> const&);
template KES_EXPORT std::ostream& operator<<(std::ostream&, FrameBase<void const> const&);

}  // namespace kes::media::video
