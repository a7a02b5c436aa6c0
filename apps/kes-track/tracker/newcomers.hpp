// Newcomers: objects on the foreground that no followed object explains.
#pragma once

#include <vector>

#include "tracker/coverage.hpp"
#include "tracker/geometry.hpp"
#include "tracker/scene_scale.hpp"
#include "tracker/silhouette.hpp"

namespace kes::tracker {

struct Usual {
    SceneScale const& scale;
    Silhouette const& silhouette;
};

// Where newcomers stand. In a scene of known scale each blob that is left over is read as one usual
// object, or as several that together explain it; otherwise as one object of the blob's size. The
// places found are added to the coverage. minimumHeight in cells.
std::vector<Pose> FindNewcomers(cv::Mat1b const& foreground, Coverage& coverage, Usual const& usual,
                                float minimumHeight);

}  // namespace kes::tracker
