// SceneModel: what is learnt of the objects of a scene, wherever they are.
#pragma once

#include "tracker/occlusion_map.hpp"
#include "tracker/scene_scale.hpp"
#include "tracker/silhouette.hpp"

namespace kes::tracker {

struct SceneModel {
    SceneScale scale;        // the usual size, by row
    Silhouette silhouette;   // the usual shape
    OcclusionMap occlusion;  // where objects pass unseen
};

}  // namespace kes::tracker
