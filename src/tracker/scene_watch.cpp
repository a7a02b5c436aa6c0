#include "tracker/scene_watch.hpp"

#include <algorithm>
#include <cmath>

namespace kes::tracker {
namespace {

constexpr double GivenUpAfter = 1;  // seconds without the background
constexpr double RestsAfter = 1;    // seconds in one place
constexpr float SamePlace = 0.75F;  // pixels
constexpr float Elsewhere = 2;      // pixels
constexpr double Usual = 2;         // seconds over which the light is averaged
constexpr float Jump = 8;           // grey levels

float Distance(cv::Point2f a, cv::Point2f b) { return std::hypot(a.x - b.x, a.y - b.y); }

}  // namespace

std::optional<EventType> SceneWatch::Note(cv::Point2f offset, float light, bool isFollowed) {
    framesUnfollowed = isFollowed ? 0 : framesUnfollowed + 1;
    if (framesUnfollowed >= GivenUpAfter * framesPerSecond) {
        *this = SceneWatch(framesPerSecond);
        return EventType::SceneChanged;
    }
    if (!isFollowed) return std::nullopt;

    bool const rests = Distance(offset, restingPlace) < SamePlace;
    framesResting = rests ? framesResting + 1 : 0;
    if (!rests) restingPlace = offset;
    if (framesResting >= RestsAfter * framesPerSecond &&
        Distance(restingPlace, toldPlace) >= Elsewhere) {
        toldPlace = restingPlace;
        return EventType::CameraMoved;
    }

    bool const jumps = std::abs(light - usualLight) > Jump;
    auto const weight = static_cast<float>(std::min(1.0, 1 / (Usual * framesPerSecond)));
    usualLight = jumps ? light : usualLight + weight * (light - usualLight);
    if (jumps) return EventType::LightChanged;
    return std::nullopt;
}

}  // namespace kes::tracker
