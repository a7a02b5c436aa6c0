#include <kes/media/colour_format.hpp>

#include <ostream>
#include <type_traits>

namespace kes::media {

std::ostream& operator<<(std::ostream& out, ColourFormat format) {
    switch (format) {
        case ColourFormat::Grey: return out << "\"grey\"";
        case ColourFormat::Rgb: return out << "\"rgb\"";
        case ColourFormat::Bgr: return out << "\"bgr\"";
        case ColourFormat::Yuv: return out << "\"yuv\"";
        case ColourFormat::Nv12: return out << "\"nv12\"";
    }
    return out << static_cast<std::underlying_type_t<ColourFormat>>(format);
}

}  // namespace kes::media
