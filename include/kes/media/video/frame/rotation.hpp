/// \file
/// Rotation: how far a picture must be turned to stand upright.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include <kes/export.hpp>
#include <kes/type/strings.hpp>

namespace kes::media::video::frame {

/// Frames carry it; no algorithm looks at it. Its names are in `type::Strings<Rotation>`.
enum class KES_EXPORT Rotation : std::uint32_t {
    None = 0,          ///< already upright
    Clockwise90 = 1,   ///< a quarter turn
    Clockwise180 = 2,  ///< upside down
    Clockwise270 = 3,  ///< a quarter turn the other way
};

}  // namespace kes::media::video::frame

namespace kes::type {

/// The names of Rotation: "none", "90", "180" and "270", degrees clockwise.
template <>
KES_EXPORT std::map<unsigned long, std::string> const&
Strings<media::video::frame::Rotation>::GetMap();

}  // namespace kes::type
