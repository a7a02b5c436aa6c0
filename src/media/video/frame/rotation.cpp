#include <kes/media/video/frame/rotation.hpp>

namespace kes::type {

using media::video::frame::Rotation;

template <>
std::map<unsigned long, std::string> const& Strings<Rotation>::GetMap() {
    static std::map<unsigned long, std::string> const names{
        {static_cast<unsigned long>(Rotation::None), "none"},
        {static_cast<unsigned long>(Rotation::Clockwise90), "90"},
        {static_cast<unsigned long>(Rotation::Clockwise180), "180"},
        {static_cast<unsigned long>(Rotation::Clockwise270), "270"},
    };
    return names;
}

}  // namespace kes::type
