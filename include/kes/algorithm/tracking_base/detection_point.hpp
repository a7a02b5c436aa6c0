/// \file
/// DetectionPoint: which point of a detection stands for its position.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include <kes/export.hpp>
#include <kes/type/strings.hpp>

namespace kes::algorithm::tracking_base {

/// Their names are in `type::Strings<DetectionPoint>`.
enum class KES_EXPORT DetectionPoint : std::uint32_t {
    Default = 0,    ///< whichever the caller has settled on
    Centroid = 1,   ///< the middle of the box
    MidBottom = 2,  ///< the middle of the bottom edge: where an upright object meets the ground
};

}  // namespace kes::algorithm::tracking_base

namespace kes::type {

/// The names of DetectionPoint: "default", "centroid" and "mid-bottom".
template <>
KES_EXPORT std::map<unsigned long, std::string> const&
Strings<algorithm::tracking_base::DetectionPoint>::GetMap();

}  // namespace kes::type
