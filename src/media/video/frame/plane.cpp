#include <kes/media/video/frame/plane.hpp>

#include <ostream>

namespace kes::media::video::frame {

template <typename T>
std::ostream& operator<<(std::ostream& out, PlaneBase<T> const& plane) {
    return out << R"({"size":)" << plane.GetSize() << R"(,"buffer":")"
               << static_cast<void const*>(plane.GetBuffer()) << R"(","stride":)"
               << plane.GetStride() << "}";
}

template std::ostream& operator<<(std::ostream&, PlaneBase<void> const&);
template std::ostream& operator<<(std::ostream&, PlaneBase<void const> const&);

}  // namespace kes::media::video::frame
