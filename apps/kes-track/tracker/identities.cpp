#include "tracker/identities.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include <kes/algorithm/tracking_base/solve.hpp>

namespace kes::tracker {
namespace {

namespace hungarian = algorithm::tracking_base::hungarian;
using Costs = Eigen::Array<float, Eigen::Dynamic, Eigen::Dynamic>;

constexpr float Forbidden = std::numeric_limits<float>::max();
constexpr float UnknownLikeness = 0.5F;
constexpr int KnownFrom = 3;  // updates of the appearance that make it known

geometry::Rectangle<int> CellsOf(Pose const& pose, cv::Size size) {
    Box const box = BoxOf(pose);
    auto const round = [](float value) { return static_cast<int>(std::lround(value)); };
    return {std::clamp(round(box.left), 0, size.width), std::clamp(round(box.top), 0, size.height),
            std::clamp(round(box.right), 0, size.width),
            std::clamp(round(box.bottom), 0, size.height)};
}

}  // namespace

float Likeness(Track const& track, Pose const& place, Foreground const& foreground,
               Frame const& frame) {
    if (track.appearanceUpdates < KnownFrom) return UnknownLikeness;
    return track.appearance.ScoreBlob(CellsOf(place, foreground.Cells().size()), foreground.Mask(),
                                      frame);
}

void Teach(Track& track, Foreground const& foreground, Frame const& frame) {
    track.appearance.Update(CellsOf(track.pose, foreground.Cells().size()), foreground.Mask(),
                            frame);
    ++track.appearanceUpdates;
}

std::vector<std::optional<std::size_t>> PairReturning(std::vector<Track*> const& absent,
                                                      std::vector<Pose> const& newcomers,
                                                      Foreground const& foreground,
                                                      Frame const& frame, Options const& options) {
    constexpr float NearbyReach = 0.4F;  // of a height, however short the absence
    std::vector<std::optional<std::size_t>> pairs(newcomers.size());
    Costs costs(newcomers.size(), absent.size());
    for (std::size_t n = 0; n < newcomers.size(); ++n) {
        for (std::size_t a = 0; a < absent.size(); ++a) {
            Track const& track = *absent[a];
            Pose const& place = newcomers[n];
            auto const seconds = static_cast<float>(track.framesOut / options.framesPerSecond);
            float const reach = track.pose.height * (NearbyReach + options.reach * seconds);
            // Seen from above, a step away from the camera looks half as long.
            float const distance =
                std::hypot(track.pose.x - place.x, 2 * (track.pose.foot - place.foot)) / reach;
            float& cost = costs(static_cast<Eigen::Index>(n), static_cast<Eigen::Index>(a));
            cost = Forbidden;
            if (distance < 1) cost = distance + 1 - Likeness(track, place, foreground, frame);
        }
    }
    auto const marks = hungarian::Solve(costs);
    for (std::size_t n = 0; n < newcomers.size(); ++n) {
        for (std::size_t a = 0; a < absent.size(); ++a) {
            if (marks(static_cast<Eigen::Index>(n), static_cast<Eigen::Index>(a)) == 1) {
                pairs[n] = a;
            }
        }
    }
    return pairs;
}

void Untangle(std::vector<Track>&, Foreground const&, Frame const&, Options const&) {}

}  // namespace kes::tracker
