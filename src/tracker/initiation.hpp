// Track initiation: objects on the foreground that no followed object explains.
#pragma once

#include <vector>

#include "tracker/coverage.hpp"
#include "tracker/geometry.hpp"
#include "tracker/scene_model.hpp"

namespace kes::tracker {

// Where they stand. In a scene of known scale each blob that is left over is read as one usual
// object, as several that together explain it, or as one large object; otherwise as one object of
// the blob's size. The places found are added to the coverage. claimed: where nothing new is looked
// for. minimumHeight in cells.
std::vector<Pose> FindNewObjects(cv::Mat1b const& foreground, Coverage& coverage,
                                 SceneModel const& scene, std::vector<cv::Rect> const& claimed,
                                 float minimumHeight);

}  // namespace kes::tracker
