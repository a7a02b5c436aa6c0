#include <kes/algorithm/tracking_base/detection_point.hpp>

namespace kes::type {

using algorithm::tracking_base::DetectionPoint;

template <>
std::map<unsigned long, std::string> const& Strings<DetectionPoint>::GetMap() {
    static std::map<unsigned long, std::string> const s_enum_map{
        {static_cast<unsigned long>(DetectionPoint::Default), "default"},
        {static_cast<unsigned long>(DetectionPoint::Centroid), "centroid"},
        {static_cast<unsigned long>(DetectionPoint::MidBottom), "mid-bottom"},
    };
    return s_enum_map;
}

}  // namespace kes::type
