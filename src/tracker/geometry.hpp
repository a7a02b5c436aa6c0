// Pose: where an upright object stands and how large it is. Every coordinate in the tracker is in
// the cells of its grid, unless its name says bits (of the masks) or pixels.
#pragma once

#include <algorithm>

#include <kes/tracker/tracker.hpp>

namespace kes::tracker {

struct Pose {
    float x;     // the middle, left to right
    float foot;  // the lower edge: where the object meets the ground
    float width;
    float height;
};

inline Box BoxOf(Pose const& pose) {
    return {pose.x - pose.width / 2, pose.foot - pose.height, pose.x + pose.width / 2, pose.foot};
}

inline Pose PoseOf(Box const& box) {
    return {(box.left + box.right) / 2, box.bottom, box.GetWidth(), box.GetHeight()};
}

inline Box Scaled(Box const& box, float factor) {
    return {box.left * factor, box.top * factor, box.right * factor, box.bottom * factor};
}

inline float Area(Box const& box) {
    return std::max(0.0F, box.GetWidth()) * std::max(0.0F, box.GetHeight());
}

inline Box Common(Box const& a, Box const& b) {
    return {std::max(a.left, b.left), std::max(a.top, b.top), std::min(a.right, b.right),
            std::min(a.bottom, b.bottom)};
}

inline float Intersection(Box const& a, Box const& b) { return Area(Common(a, b)); }

}  // namespace kes::tracker
