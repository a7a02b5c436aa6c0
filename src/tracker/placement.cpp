#include "tracker/placement.hpp"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <tuple>

#include <kes/tracker/tracker.hpp>

#include "tracker/geometry.hpp"
#include "tracker/motion.hpp"

namespace kes::tracker {
namespace {

constexpr int Sweeps = 3;
constexpr int CoarseStep = 2;
// The cells of a mask are far from independent: their joint log-likelihood counts this much
// against the prediction's.
constexpr float MaskTrust = 0.05F;
constexpr float PlacementDeviation = 0.05F;  // of a placement, in the object's heights
constexpr float LargestSearch = 0.4F;        // in the object's heights
constexpr float LeastEvidence = 0.2F;

// A clue draws from near by and is lost on what stands far from it, so that a wrong one does
// little.
constexpr float ClueTrust = 1;             // of a sure one, in nats
constexpr float ClueDeviation = 0.1F;      // in the object's heights
constexpr float LeastClueLikeness = 0.5F;  // worth nothing yet

float ClueWorth(Track const& track, int x, int foot) {
    if (!track.clue) return 0;
    float const sureness =
        std::max(0.0F, (track.clue->likeness - LeastClueLikeness) / (1 - LeastClueLikeness));
    float const deviation = ClueDeviation * track.state.pose.height;
    float const fromX = (static_cast<float>(x) - track.clue->x) / deviation;
    float const fromFoot = (static_cast<float>(foot) - track.clue->foot) / deviation;
    return ClueTrust * sureness * std::exp(-0.5F * (fromX * fromX + fromFoot * fromFoot));
}

struct Search {
    float varianceX;
    float varianceFoot;
    int reachX;
    int reachFoot;
};

Search SearchOf(Track const& track) {
    float const placement = PlacementDeviation * track.state.pose.height;
    float const x = track.state.x.PositionVariance() + placement * placement;
    float const foot = track.state.foot.PositionVariance() + placement * placement;
    int const most = 2 + static_cast<int>(LargestSearch * track.state.pose.height);
    return {x, foot, std::clamp(static_cast<int>(3 * std::sqrt(x)), 2, most),
            std::clamp(static_cast<int>(3 * std::sqrt(foot)), 2, most)};
}

// Keeps the best of the places tried for one track.
class Trial {
public:
    Trial(Track& track, Coverage const& coverage)
        : track(track),
          coverage(coverage),
          search(SearchOf(track)),
          predictedX(static_cast<int>(std::lround(track.state.pose.x))),
          predictedFoot(static_cast<int>(std::lround(track.state.pose.foot))) {}

    void TryWidely() {
        for (int y = -search.reachFoot; y <= search.reachFoot; y += CoarseStep) {
            for (int x = -search.reachX; x <= search.reachX; x += CoarseStep) {
                Try(predictedX + x, predictedFoot + y);
            }
        }
        TryAround(bestX, bestFoot, CoarseStep - 1);
    }

    void TryAround(int middleX, int middleFoot, int reach) {
        for (int y = middleFoot - reach; y <= middleFoot + reach; ++y) {
            for (int x = middleX - reach; x <= middleX + reach; ++x) {
                bool const isWithin = std::abs(x - predictedX) <= search.reachX &&
                                      std::abs(y - predictedFoot) <= search.reachFoot;
                if (isWithin) Try(x, y);
            }
        }
    }

    void Settle() {
        track.state.cellX = bestX;
        track.state.cellFoot = bestFoot;
    }

private:
    void Try(int x, int foot) {
        float const fromX = static_cast<float>(x) - track.state.pose.x;
        float const fromFoot = static_cast<float>(foot) - track.state.pose.foot;
        float const value =
            MaskTrust * coverage.Gain(track.state.stencil, x, foot) -
            0.5F * (fromX * fromX / search.varianceX + fromFoot * fromFoot / search.varianceFoot) +
            ClueWorth(track, x, foot);
        if (value > best) {
            best = value;
            bestX = x;
            bestFoot = foot;
        }
    }

    Track& track;
    Coverage const& coverage;
    Search const search;
    int const predictedX;
    int const predictedFoot;
    float best = -std::numeric_limits<float>::infinity();
    int bestX = 0;
    int bestFoot = 0;
};

// Nearest to the camera first.
std::vector<Track*> FrontToBack(std::vector<Track*> tracks) {
    std::stable_sort(tracks.begin(), tracks.end(), [](Track const* a, Track const* b) {
        return a->state.cellFoot > b->state.cellFoot;
    });
    return tracks;
}

}  // namespace

void Place(std::vector<Track*> const& tracks, Coverage& coverage) {
    auto const order = FrontToBack(tracks);
    for (Track const* track : order) {
        coverage.Add(track->state.stencil, track->state.cellX, track->state.cellFoot);
    }
    for (int sweep = 0; sweep < Sweeps; ++sweep) {
        for (Track* track : order) {
            coverage.Remove(track->state.stencil, track->state.cellX, track->state.cellFoot);
            Trial trial(*track, coverage);
            if (sweep == 0) {
                trial.TryWidely();
            } else {
                trial.TryAround(track->state.cellX, track->state.cellFoot, 2);
            }
            trial.Settle();
            coverage.Add(track->state.stencil, track->state.cellX, track->state.cellFoot);
        }
    }
}

std::vector<Track*> Judge(std::vector<Track*> const& tracks, Coverage& coverage) {
    for (Track* track : tracks) {
        track->state.presence =
            coverage.Presence(track->state.stencil, track->state.cellX, track->state.cellFoot);
    }
    auto const isLessProven = [](Track const* a, Track const* b) {
        auto const proof = [](Track const* track) {
            return std::tuple(track->confirmed, track->state.visibility == Visibility::Visible,
                              std::min(track->framesSeen, 100), track->state.evidence);
        };
        return proof(a) < proof(b);
    };
    std::vector<Track*> standing = tracks;
    for (;;) {
        std::vector<Track*> unproven;
        for (Track* track : standing) {
            coverage.Remove(track->state.stencil, track->state.cellX, track->state.cellFoot);
            track->state.evidence =
                coverage.Evidence(track->state.stencil, track->state.cellX, track->state.cellFoot);
            coverage.Add(track->state.stencil, track->state.cellX, track->state.cellFoot);
            if (track->state.evidence < LeastEvidence) unproven.push_back(track);
        }
        if (unproven.empty()) return standing;
        Track* const least = *std::min_element(unproven.begin(), unproven.end(), isLessProven);
        coverage.Remove(least->state.stencil, least->state.cellX, least->state.cellFoot);
        std::erase(standing, least);
    }
}

}  // namespace kes::tracker
