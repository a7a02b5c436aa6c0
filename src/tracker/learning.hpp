// Learning: what tracks and scene learn from objects that nothing disturbs.
#pragma once

#include <vector>

#include <opencv2/core.hpp>

#include "tracker/appearance.hpp"
#include "tracker/geometry.hpp"
#include "tracker/scene_model.hpp"
#include "tracker/track.hpp"

namespace kes::tracker {

// From foreground. cells: 255 where there is some; minimumHeight in cells.
void Learn(std::vector<Track>& tracks, SceneModel& scene, cv::Mat1b const& cells,
           MaskedFrame const& image, float minimumHeight);

// From a detector's box that was found to be this track.
void LearnDetected(Track& track, Pose const& seen, SceneModel& scene, MaskedFrame const& image);

}  // namespace kes::tracker
