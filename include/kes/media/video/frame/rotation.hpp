// Rotation: how far a picture must be turned to stand upright.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include <kes/export.hpp>
#include <kes/type/strings.hpp>

namespace kes::media::video::frame {

enum class KES_EXPORT Rotation : std::uint32_t {
    None = 0,
    Clockwise90 = 1,
    Clockwise180 = 2,
    Clockwise270 = 3,
};

}  // namespace kes::media::video::frame

namespace kes::type {

// "none", "90", "180" and "270": degrees clockwise.
template <>
KES_EXPORT std::map<unsigned long, std::string> const&
Strings<media::video::frame::Rotation>::GetMap();

}  // namespace kes::type
