// Measure: the size that an object shows when nothing disturbs it.
#pragma once

#include <optional>

#include <opencv2/core.hpp>

#include "tracker/geometry.hpp"

namespace kes::tracker {

// The extent of the foreground about a pose, without the thin ends that shadows and stray cells
// make; none where there is next to nothing.
std::optional<Pose> Measure(Pose const& pose, cv::Mat1b const& foreground);

// The same of all foreground in an area that lies on the mask.
std::optional<Pose> MeasureIn(cv::Rect const& area, cv::Mat1b const& foreground);

}  // namespace kes::tracker
