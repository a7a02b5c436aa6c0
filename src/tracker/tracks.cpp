#include "tracker/tracks.hpp"

#include <algorithm>
#include <cmath>
#include <optional>
#include <utility>

#include "tracker/motion.hpp"
#include "tracker/scene_scale.hpp"
#include "tracker/silhouette.hpp"

namespace kes::tracker {
namespace {

// All in heights of the object.
constexpr float SpeedChange = 0.5F;  // deviation of the change of speed over a second, a second
constexpr float FootSpeedChange = 0.25F;  // the same up and down the picture
constexpr float StartDeviation = 0.1F;
constexpr float StartSpeed = 0.8F;  // deviation, a second
constexpr float FootStartSpeed = 0.4F;
constexpr float PlacedDeviation = 0.03F;   // of a placement on foreground
constexpr float DetectedDeviation = 0.1F;  // of a detector's box
constexpr float FootDeviation = 1.33F;     // of the foot, in deviations of the middle
constexpr float RestRadius = 0.3F;         // swaying and fidgeting stay within it

constexpr float SizeRate = 0.1F;        // of a detector's box, in an object's own size
constexpr float SlowingUnseen = 0.5F;   // of the speed, a second, of what is not seen
constexpr double LostAfter = 0.3;       // seconds unseen
constexpr float HiddenPresence = 0.5F;  // so much foreground where the object should be
constexpr float SameObject = 0.6F;      // overlap of two tracks that are one

}  // namespace

void Tracks::Begin(Grid const& frames) {
    grid = frames;
    tracks.clear();
    events.clear();
    nextId = 1;
}

void Tracks::Tell(EventType type, Track const& track) {
    events.push_back({type, track.id, track.state.pose});
}

std::vector<TrackEvent> Tracks::TakeEvents() { return std::exchange(events, {}); }

void Tracks::Resize(Track& track) const {
    Pose& pose = track.state.pose;
    if (auto const usual = scene.scale.SizeAt(pose.foot)) {
        pose.width = usual->width * track.sizeFactor * track.widthFactor;
        pose.height = usual->height * track.sizeFactor;
    } else {
        pose.width = track.ownWidth;
        pose.height = track.ownHeight;
    }
    track.state.stencil = track.silhouette.Draw(pose.width, pose.height);
}

void Tracks::Predict() {
    auto const fps = static_cast<float>(options.framesPerSecond);
    for (Track& track : tracks) {
        TrackState& state = track.state;
        float const unit = state.pose.height / (fps * std::sqrt(fps));
        if (state.framesUnseen > 0) {
            state.x.Damp(std::max(0.0F, 1 - SlowingUnseen / fps));
            state.foot.Damp(std::max(0.0F, 1 - SlowingUnseen / fps));
        }
        state.x.Predict(SpeedChange * unit);
        state.foot.Predict(FootSpeedChange * unit);
        state.pose.x = state.x.Position();
        state.pose.foot = state.foot.Position();
        Resize(track);
        state.cellX = static_cast<int>(std::lround(state.pose.x));
        state.cellFoot = static_cast<int>(std::lround(state.pose.foot));
    }
}

void Tracks::NoteSeen(Track& track) { Correct(track, PlacedDeviation); }

void Tracks::Correct(Track& track, float deviation) {
    TrackState& state = track.state;
    float const doubt = state.pose.height / std::clamp(state.evidence, 0.2F, 1.0F);
    state.x.Correct(static_cast<float>(state.cellX), deviation * doubt);
    state.foot.Correct(static_cast<float>(state.cellFoot), FootDeviation * deviation * doubt);
    state.pose.x = state.x.Position();
    state.pose.foot = state.foot.Position();
    state.visibility = Visibility::Visible;
    state.framesUnseen = 0;
    ++track.framesSeen;
    if (!track.confirmed && track.framesSeen >= FramesIn(options.confirmationTime)) {
        track.confirmed = true;
        Tell(EventType::Arrived, track);
    }
}

void Tracks::NoteUnseen(Track& track) {
    TrackState& state = track.state;
    ++state.framesUnseen;
    if (state.visibility == Visibility::Lost) return;
    bool const isOccluded = track.confirmed && state.presence >= HiddenPresence &&
                            state.framesUnseen < FramesIn(options.maximumOcclusion);
    if (isOccluded) {
        state.visibility = Visibility::Occluded;
    } else if (state.framesUnseen >= FramesIn(LostAfter)) {
        state.visibility = Visibility::Lost;
    }
}

// Detectors cut off heads and feet; the size that the object has shown so far is worth more than
// one box, and the box's middle more than its foot.
void Tracks::NoteDetected(Track& track, Pose const& seen, float confidence) {
    track.ownWidth += SizeRate * (seen.width - track.ownWidth);
    track.ownHeight += SizeRate * (seen.height - track.ownHeight);
    if (auto const usual = scene.scale.SizeAt(seen.foot)) {
        float const factor = std::clamp(seen.height / usual->height, SmallestFactor, LargestFactor);
        track.sizeFactor += SizeRate * (factor - track.sizeFactor);
    }
    TrackState& state = track.state;
    state.cellX = static_cast<int>(std::lround(seen.x));
    float const foot = seen.foot - seen.height / 2 + state.pose.height / 2;
    state.cellFoot = static_cast<int>(std::lround(foot));
    state.evidence = confidence;
    Correct(track, DetectedDeviation);
    Resize(track);
}

void Tracks::NoteUndetected(Track& track) {
    TrackState& state = track.state;
    ++state.framesUnseen;
    Box const box = BoxOf(state.pose);
    bool const isBehind = std::any_of(tracks.begin(), tracks.end(), [&](Track const& other) {
        return other.state.framesUnseen == 0 && other.state.pose.foot > state.pose.foot &&
               Intersection(box, BoxOf(other.state.pose)) > HiddenPresence * Area(box);
    });
    bool const isOccluded =
        track.confirmed && isBehind && state.framesUnseen < FramesIn(options.maximumOcclusion);
    state.visibility = isOccluded ? Visibility::Occluded : Visibility::Lost;
}

void Tracks::Remove(int id) {
    auto const found = std::find_if(tracks.begin(), tracks.end(),
                                    [id](Track const& track) { return track.id == id; });
    if (found->confirmed) Tell(EventType::Left, *found);
    tracks.erase(found);
}

bool Tracks::IsInFrame(Box const& box, float margin) const {
    return box.left >= margin && box.top >= margin &&
           box.right <= static_cast<float>(grid.size.width) - margin &&
           box.bottom <= static_cast<float>(grid.size.height) - margin;
}

void Tracks::NoteAlone() {
    constexpr float Clearance = 4;  // cells above and below; half a width to the sides
    for (Track& track : tracks) {
        TrackState const& state = track.state;
        Box const box = BoxOf(state.pose);
        float const beside = state.pose.width / 2;
        Box const wide{box.left - beside, box.top - Clearance, box.right + beside,
                       box.bottom + Clearance};
        track.isAlone =
            state.visibility == Visibility::Visible && state.framesUnseen == 0 && IsInFrame(box, 2);
        for (Track const& other : tracks) {
            if (other.state.visibility == Visibility::Lost || other.id == track.id) continue;
            if (Intersection(wide, BoxOf(other.state.pose)) > 0) track.isAlone = false;
        }
        if (track.isAlone) ++track.framesAlone;
    }
}

void Tracks::NoteRest() {
    for (Track& track : tracks) {
        TrackState& state = track.state;
        Pose const& pose = state.pose;
        if (state.framesUnseen == 0 &&
            std::hypot(pose.x - track.start.x, pose.foot - track.start.foot) > pose.width) {
            track.hasMoved = true;
        }
        float const strayed = std::hypot(pose.x - state.rest.x, pose.foot - state.rest.foot);
        if (strayed <= RestRadius * pose.height) {
            ++state.framesAtRest;
            bool const isLongEnough = state.framesAtRest >= FramesIn(options.stationaryTime);
            if (track.confirmed && !state.isStanding && isLongEnough && state.framesUnseen == 0) {
                state.isStanding = true;
                Tell(EventType::Stopped, track);
            }
            continue;
        }
        if (state.isStanding) Tell(EventType::MovedOn, track);
        state.rest = pose;
        state.framesAtRest = 0;
        state.isStanding = false;
    }
}

Track& Tracks::Start(Pose const& pose) {
    Track track;
    track.id = NewId();
    track.state.pose = track.state.rest = track.start = pose;
    track.ownWidth = pose.width;
    track.ownHeight = pose.height;
    track.silhouette = scene.silhouette;
    track.framesSeen = 1;
    Resume(track, pose);
    tracks.push_back(std::move(track));
    return tracks.back();
}

void Tracks::Resume(Track& track, Pose const& pose) {
    auto const fps = static_cast<float>(options.framesPerSecond);
    TrackState& state = track.state;
    float const deviation = StartDeviation * pose.height;
    state.x = AxisFilter(pose.x, deviation, StartSpeed * pose.height / fps);
    state.foot = AxisFilter(pose.foot, deviation, FootStartSpeed * pose.height / fps);
    state.pose.x = pose.x;
    state.pose.foot = pose.foot;
    state.visibility = Visibility::Visible;
    state.framesUnseen = 0;
    Resize(track);
}

bool Tracks::IsOver(Track const& track) const {
    TrackState const& state = track.state;
    if (!track.confirmed) return state.framesUnseen > 1;
    auto const width = static_cast<float>(grid.size.width);
    auto const height = static_cast<float>(grid.size.height);
    bool const hasLeft = state.pose.x < 0 || state.pose.x > width || state.pose.foot < 0 ||
                         BoxOf(state.pose).top > height;
    return hasLeft || state.framesUnseen > FramesIn(options.maximumAge);
}

// It turns out to be part of an object that is followed already.
bool Tracks::IsDouble(Track const& track) const {
    if (track.confirmed) return false;
    return std::any_of(tracks.begin(), tracks.end(), [&](Track const& other) {
        return other.id < track.id && other.label == track.label &&
               other.state.visibility == Visibility::Visible &&
               Overlap(BoxOf(other.state.pose), BoxOf(track.state.pose)) > SameObject;
    });
}

void Tracks::End() {
    for (Track const& track : tracks) {
        if (!track.confirmed || !IsOver(track)) continue;
        if (track.state.isStanding) Tell(EventType::MovedOn, track);
        Tell(EventType::Left, track);
    }
    std::erase_if(tracks, [this](Track const& track) { return IsOver(track); });
    std::vector<int> doubles;
    for (Track const& track : tracks) {
        if (IsDouble(track)) doubles.push_back(track.id);
    }
    std::erase_if(tracks, [&](Track const& track) {
        return std::find(doubles.begin(), doubles.end(), track.id) != doubles.end();
    });
}

}  // namespace kes::tracker
