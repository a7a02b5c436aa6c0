#include "tracker/learning.hpp"

#include <optional>

#include "tracker/measure.hpp"
#include "tracker/occlusion_map.hpp"
#include "tracker/scene_scale.hpp"
#include "tracker/silhouette.hpp"

namespace kes::tracker {
namespace {

constexpr float LeastEvidence = 0.5F;
constexpr float LeastEvidenceOfPassage = 0.4F;
constexpr float SizeRate = 0.1F;  // in an object's own size
constexpr float FactorRate = 0.05F;
constexpr float ShapeRate = 0.05F;
constexpr float UsualShapeRate = 0.01F;

void LearnSize(Track& track, Pose const& measured, SceneScale const& scale) {
    track.ownWidth += SizeRate * (measured.width - track.ownWidth);
    track.ownHeight += SizeRate * (measured.height - track.ownHeight);
    auto const usual = scale.SizeAt(measured.foot);
    if (!usual || track.isLarge) return;
    float const factor = measured.height / usual->height;
    if (factor > SmallestFactor && factor < LargestFactor) {
        track.sizeFactor += FactorRate * (factor - track.sizeFactor);
    }
}

}  // namespace

void Learn(std::vector<Track>& tracks, SceneModel& scene, cv::Mat1b const& cells,
           MaskedFrame const& image, float minimumHeight) {
    for (Track& track : tracks) {
        TrackState const& state = track.state;
        if (track.confirmed && state.framesUnseen == 0 &&
            state.evidence >= LeastEvidenceOfPassage) {
            scene.occlusion.Learn(track, cells);
        }
        if (!track.isAlone || state.evidence < LeastEvidence) continue;
        auto const measured = Measure(state.pose, cells);
        if (!measured || measured->height < minimumHeight) continue;
        LearnSize(track, *measured, scene.scale);
        track.silhouette.Learn(*measured, cells, ShapeRate);
        if (track.contacts.empty()) Teach(track, image);
        // What flickers in place says nothing about the scene.
        if (!track.confirmed || !track.hasMoved) continue;
        scene.scale.Learn(*measured);
        scene.silhouette.Learn(*measured, cells, UsualShapeRate);
    }
}

void LearnDetected(Track& track, Pose const& seen, SceneModel& scene, MaskedFrame const& image) {
    if (!track.isAlone) return;
    if (track.contacts.empty()) Teach(track, image);
    if (track.confirmed) scene.scale.Learn(seen);
}

}  // namespace kes::tracker
