#include "tracker/identities.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

#include <kes/algorithm/tracking_base/solve.hpp>

#include "tracker/assignment.hpp"

namespace kes::tracker {
namespace {

// Objects touch when this share of the smaller one's box is common to both.
constexpr float TouchingShare = 0.15F;
constexpr double DecisionTime = 0.5;  // seconds of comparison
constexpr float LeastVisible = 0.4F;  // of a silhouette, to compare its looks
// By so much must the mean likeness of each object gain that changes its place.
constexpr float LeastGain = 0.14F;
constexpr float LeastGainInBoxes = 0.2F;  // which look alike for their common background

using Group = std::vector<Track*>;

Contact* FindContact(Track& track, int id) {
    auto const found = std::find_if(track.contacts.begin(), track.contacts.end(),
                                    [id](Contact const& contact) { return contact.id == id; });
    return found == track.contacts.end() ? nullptr : &*found;
}

bool AreTouching(Track const& a, Track const& b) {
    if (a.state.visibility == Visibility::Lost || b.state.visibility == Visibility::Lost)
        return false;
    Box const boxA = BoxOf(a.state.pose);
    Box const boxB = BoxOf(b.state.pose);
    return Intersection(boxA, boxB) > TouchingShare * std::min(Area(boxA), Area(boxB));
}

void NoteContacts(std::vector<Track>& tracks) {
    for (Track& track : tracks) {
        std::erase_if(track.contacts, [&](Contact const& contact) {
            return std::none_of(tracks.begin(), tracks.end(),
                                [&](Track const& other) { return other.id == contact.id; });
        });
        for (Contact& contact : track.contacts) contact.isTouching = false;
        for (Track const& other : tracks) {
            if (other.id == track.id || !AreTouching(track, other)) continue;
            Contact* const known = FindContact(track, other.id);
            if (known != nullptr) {
                known->isTouching = true;
            } else {
                track.contacts.push_back({other.id});
            }
        }
    }
}

// Of each two that have touched, both well enough in visibility: how much they look like
// themselves, and how much like each other.
void Compare(std::vector<Track>& tracks, MaskedFrame const& image) {
    std::vector<std::optional<View>> views;
    for (Track const& track : tracks) {
        auto& view = views.emplace_back();
        if (track.contacts.empty() || track.state.framesUnseen > 0) continue;
        view.emplace(track, tracks, image);
        if (view->Share() < LeastVisible) view.reset();
    }
    for (std::size_t i = 0; i < tracks.size(); ++i) {
        if (!views[i]) continue;
        float const here = views[i]->Likeness(tracks[i], image.frame);
        for (std::size_t j = 0; j < tracks.size(); ++j) {
            Contact* const contact = FindContact(tracks[i], tracks[j].id);
            if (contact == nullptr || !views[j]) continue;
            ++contact->framesCompared;
            contact->likenessHere += here;
            contact->likenessThere += views[j]->Likeness(tracks[i], image.frame);
        }
    }
}

// Objects that have been compared for long enough, with all that are linked to them by contacts.
std::vector<Group> GroupsToDecide(std::vector<Track>& tracks, int decided) {
    std::vector<Group> groups;
    std::vector<bool> taken(tracks.size());
    for (std::size_t first = 0; first < tracks.size(); ++first) {
        if (taken[first]) continue;
        Group group{&tracks[first]};
        taken[first] = true;
        for (std::size_t member = 0; member < group.size(); ++member) {
            for (std::size_t i = 0; i < tracks.size(); ++i) {
                Contact const* const contact = FindContact(*group[member], tracks[i].id);
                if (taken[i] || contact == nullptr || contact->framesCompared < decided) continue;
                taken[i] = true;
                group.push_back(&tracks[i]);
            }
        }
        if (group.size() > 1) groups.push_back(std::move(group));
    }
    return groups;
}

// How unlike each object (row) is to each place (column); contacts alone can have been exchanged.
Costs UnlikenessOf(Group const& group) {
    auto const size = static_cast<Eigen::Index>(group.size());
    Costs costs = Costs::Constant(size, size, Forbidden);
    for (Eigen::Index i = 0; i < size; ++i) {
        Track& track = *group[static_cast<std::size_t>(i)];
        float here = 0;
        int frames = 0;
        for (Eigen::Index j = 0; j < size; ++j) {
            int const other = group[static_cast<std::size_t>(j)]->id;
            Contact const* const contact = FindContact(track, other);
            if (contact == nullptr || contact->framesCompared == 0) continue;
            auto const apart = static_cast<float>(contact->framesCompared);
            costs(i, j) = 1 - contact->likenessThere / apart;
            here += contact->likenessHere;
            frames += contact->framesCompared;
        }
        costs(i, i) = frames > 0 ? 1 - here / static_cast<float>(frames) : 0;
    }
    return costs;
}

void Exchange(Group const& group, MaskedFrame const& image) {
    Costs const costs = UnlikenessOf(group);
    auto const marks = hungarian::Solve(costs);
    float gain = 0;
    int moves = 0;
    std::vector<TrackState> before;
    for (Track const* track : group) before.push_back(track->state);
    for (Eigen::Index i = 0; i < costs.rows(); ++i) {
        for (Eigen::Index j = 0; j < costs.cols(); ++j) {
            if (marks(i, j) != 1 || i == j) continue;
            gain += costs(i, i) - costs(i, j);
            ++moves;
        }
    }
    float const leastGain = image.isForeground ? LeastGain : LeastGainInBoxes;
    if (moves == 0 || gain < leastGain * static_cast<float>(moves)) return;
    for (Eigen::Index i = 0; i < costs.rows(); ++i) {
        for (Eigen::Index j = 0; j < costs.cols(); ++j) {
            if (marks(i, j) == 1 && i != j) {
                group[static_cast<std::size_t>(i)]->state = before[static_cast<std::size_t>(j)];
            }
        }
    }
}

// How far a place is from where the track should be, of how far that may be.
float GateShare(Track const& track, Pose const& place, Options const& options) {
    constexpr float Nearby = 0.4F;  // of a height, however short the absence
    auto const seconds = static_cast<float>(track.state.framesUnseen / options.framesPerSecond);
    float const reach = track.state.pose.height * (Nearby + options.gate * seconds);
    // Seen from above, a step away from the camera looks half as long.
    return std::hypot(track.state.pose.x - place.x, 2 * (track.state.pose.foot - place.foot)) /
           reach;
}

}  // namespace

std::vector<std::optional<std::size_t>> PairReturning(std::vector<Track*> const& absent,
                                                      std::vector<Pose> const& found,
                                                      MaskedFrame const& image,
                                                      Options const& options) {
    return Pair(found.size(), absent.size(), [&](std::size_t n, std::size_t a) {
        float const distance = GateShare(*absent[a], found[n], options);
        if (distance >= 1) return Forbidden;
        return distance + 1 - Likeness(*absent[a], found[n], image);
    });
}

std::vector<std::optional<std::size_t>> PairDetected(std::vector<Track> const& tracks,
                                                     std::vector<Pose> const& places,
                                                     std::vector<unsigned int> const& labels,
                                                     MaskedFrame const& image,
                                                     Options const& options) {
    constexpr float LeastOverlap = 0.15F;
    constexpr float LikenessWeight = 0.5F;
    return Pair(places.size(), tracks.size(), [&](std::size_t p, std::size_t t) {
        Track const& track = tracks[t];
        if (track.label != labels[p]) return Forbidden;
        float const overlap = Overlap(BoxOf(track.state.pose), BoxOf(places[p]));
        bool const isNear = overlap >= LeastOverlap || (track.state.framesUnseen > 0 &&
                                                        GateShare(track, places[p], options) < 1);
        if (!isNear) return Forbidden;
        return 1 - overlap + LikenessWeight * (1 - Likeness(track, places[p], image));
    });
}

void ExchangeIdentities(std::vector<Track>& tracks, MaskedFrame const& image,
                        Options const& options) {
    NoteContacts(tracks);
    Compare(tracks, image);
    auto const decided = static_cast<int>(std::ceil(DecisionTime * options.framesPerSecond));
    for (Group const& group : GroupsToDecide(tracks, decided)) Exchange(group, image);
    for (Track& track : tracks) {
        std::erase_if(track.contacts, [&](Contact& contact) {
            if (contact.framesCompared < decided) return false;
            bool const isApart = !contact.isTouching;
            contact = {contact.id};
            return isApart;
        });
    }
}

}  // namespace kes::tracker
