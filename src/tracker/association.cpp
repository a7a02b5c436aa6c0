#include "tracker/association.hpp"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <optional>

#include <kes/tracker/tracker.hpp>

#include "tracker/assignment.hpp"
#include "tracker/geometry.hpp"
#include "tracker/luma.hpp"

namespace kes::tracker {
namespace {

constexpr float Reach = 0.5F;  // from the prediction, in the object's heights
constexpr float Fill = 0.4F;   // of its box: as little as that an object can show

bool IsNear(Track const& track, Blob const& blob) {
    Box const box = BoxOf(track.state.pose);
    float const reach = Reach * track.state.pose.height;
    Box const around{box.left - reach, box.top - reach, box.right + reach, box.bottom + reach};
    cv::Rect2f const other = blob.box;
    return Intersection(around, {other.x, other.y, other.x + other.width, other.y + other.height}) >
           0;
}

// What can be: by track, then by blob.
using Clues = std::vector<std::vector<std::optional<Clue>>>;

Clues CluesOf(std::vector<Track*> const& tracks, std::vector<Blob> const& blobs,
              MaskedFrame const& image) {
    Clues clues;
    for (Track const* track : tracks) {
        auto& own = clues.emplace_back(blobs.size());
        for (std::size_t b = 0; b < blobs.size(); ++b) {
            if (IsNear(*track, blobs[b])) own[b] = FindIn(blobs[b], *track, image);
        }
    }
    return clues;
}

// The index of a blob for each object that has room in it.
std::vector<std::size_t> PlacesIn(std::vector<Blob> const& blobs, std::vector<Track*> const& tracks,
                                  Clues const& clues) {
    std::vector<std::size_t> places;
    for (std::size_t b = 0; b < blobs.size(); ++b) {
        std::size_t most = 0;
        float needed = 0;
        for (std::size_t t = 0; t < tracks.size(); ++t) {
            if (!clues[t][b]) continue;
            ++most;
            needed += Fill * Area(BoxOf(tracks[t]->state.pose));
        }
        if (most == 0) continue;
        float const each = std::max(1.0F, needed / static_cast<float>(most));
        auto const room = static_cast<std::size_t>(static_cast<float>(blobs[b].area) / each);
        places.insert(places.end(), std::clamp<std::size_t>(room, 1, most), b);
    }
    return places;
}

}  // namespace

void PairWithBlobs(std::vector<Track*> const& tracks, std::vector<Blob> const& blobs,
                   MaskedFrame const& image) {
    if (!HasColour(image.frame)) {
        for (Track* track : tracks) track->clue.reset();
        return;
    }
    Clues const clues = CluesOf(tracks, blobs, image);
    auto const places = PlacesIn(blobs, tracks, clues);
    auto const pairs = Pair(tracks.size(), places.size(), [&](std::size_t t, std::size_t place) {
        auto const& clue = clues[t][places[place]];
        if (!clue) return Forbidden;
        Pose const& pose = tracks[t]->state.pose;
        float const distance =
            std::hypot(clue->x - pose.x, clue->foot - pose.foot) / (Reach * pose.height);
        return distance < 1 ? distance + 1 - clue->likeness : Forbidden;
    });
    for (std::size_t t = 0; t < tracks.size(); ++t) {
        tracks[t]->clue = pairs[t] ? clues[t][places[*pairs[t]]] : std::nullopt;
    }
}

}  // namespace kes::tracker
