#include "tracker/tracker.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

#include "tracker/coverage.hpp"
#include "tracker/foreground.hpp"
#include "tracker/identities.hpp"
#include "tracker/measure.hpp"
#include "tracker/newcomers.hpp"
#include "tracker/placement.hpp"
#include "tracker/scene_scale.hpp"
#include "tracker/silhouette.hpp"
#include "tracker/veil.hpp"

namespace kes::tracker {
namespace {

// All in heights of the object.
constexpr float SpeedChange = 0.5F;  // deviation of the change of speed over a second, a second
constexpr float FootSpeedChange = 0.25F;  // the same up and down the picture
constexpr float StartDeviation = 0.1F;
constexpr float StartSpeed = 0.8F;  // deviation, a second
constexpr float FootStartSpeed = 0.4F;
constexpr float MeasuredDeviation = 0.03F;
constexpr float MeasuredFootDeviation = 0.04F;

constexpr float SlowingOut = 0.5F;      // of the speed, a second, of what is out of sight
constexpr double LostAfter = 0.3;       // seconds out of sight
constexpr float HiddenPresence = 0.5F;  // so much foreground where the object should be
constexpr float SameObject = 0.6F;      // overlap of two that are one

}  // namespace

class Tracker::Impl {
public:
    explicit Impl(Options const& settings) : options(settings), foreground(settings) {}

    Result Process(Frame const& frame);
    void ForgetObjects();

private:
    void Predict();
    void Follow(Frame const& frame);
    void NoteSeen(Track& track);
    void NoteOut(Track& track);
    void NoteWhoIsAlone();
    void Learn(Frame const& frame);
    void Welcome(Frame const& frame);
    void Begin(Pose const& pose);
    void Return(Track& track, Pose const& pose);
    void Dismiss();
    void Resize(Track& track) const;
    Box PixelBox(Track const& track) const;
    Result Report();

    double FramesIn(double seconds) const { return seconds * options.framesPerSecond; }
    bool IsInFrame(Box const& box, float margin) const;

    Options const options;
    Foreground foreground;
    SceneScale scale;
    Silhouette usualSilhouette;
    Veil veil;
    Coverage coverage;
    std::vector<Track> tracks;
    std::vector<Event> events;  // of this frame
    geometry::Dimension<unsigned int, 2> frameSize{};
    int nextId = 1;
};

Result Tracker::Impl::Process(Frame const& frame) {
    if (!foreground.Process(frame)) {
        tracks.clear();
        scale = {};
        usualSilhouette = {};
        veil.Begin(foreground.Cells().size());
    }
    if (foreground.Cells().empty()) return {};
    frameSize = frame.GetSize();
    Predict();
    Follow(frame);
    Untangle(tracks, foreground, frame, options);
    Learn(frame);
    Welcome(frame);
    Dismiss();
    return Report();
}

void Tracker::Impl::ForgetObjects() {
    tracks.clear();
    nextId = 1;
}

void Tracker::Impl::Resize(Track& track) const {
    if (auto const usual = scale.SizeAt(track.pose.foot)) {
        track.pose.width = usual->width * track.sizeFactor;
        track.pose.height = usual->height * track.sizeFactor;
    } else {
        track.pose.width = track.ownWidth;
        track.pose.height = track.ownHeight;
    }
    track.stencil = track.silhouette.Draw(track.pose.width, track.pose.height);
}

void Tracker::Impl::Predict() {
    auto const fps = static_cast<float>(options.framesPerSecond);
    for (Track& track : tracks) {
        float const unit = track.pose.height / (fps * std::sqrt(fps));
        if (track.framesOut > 0) {
            track.x.Damp(std::max(0.0F, 1 - SlowingOut / fps));
            track.foot.Damp(std::max(0.0F, 1 - SlowingOut / fps));
        }
        track.x.Predict(SpeedChange * unit);
        track.foot.Predict(FootSpeedChange * unit);
        track.pose.x = track.x.Position();
        track.pose.foot = track.foot.Position();
        Resize(track);
        track.cellX = static_cast<int>(std::lround(track.pose.x));
        track.cellFoot = static_cast<int>(std::lround(track.pose.foot));
    }
}

// Where each object is now, and which of them are in sight.
void Tracker::Impl::Follow(Frame const& frame) {
    coverage.Begin(foreground.Cells(), veil.Cells());
    std::vector<Track*> followed;
    for (Track& track : tracks) {
        if (track.sight != Sight::Lost) followed.push_back(&track);
    }
    Place(followed, foreground, frame, coverage);
    auto const inSight = Judge(followed, coverage);
    for (Track& track : tracks) {
        bool const isSeen = std::find(inSight.begin(), inSight.end(), &track) != inSight.end();
        isSeen ? NoteSeen(track) : NoteOut(track);
    }
    NoteWhoIsAlone();
}

void Tracker::Impl::NoteSeen(Track& track) {
    float const doubt = track.pose.height / std::clamp(track.evidence, 0.2F, 1.0F);
    track.x.Correct(static_cast<float>(track.cellX), MeasuredDeviation * doubt);
    track.foot.Correct(static_cast<float>(track.cellFoot), MeasuredFootDeviation * doubt);
    track.pose.x = track.x.Position();
    track.pose.foot = track.foot.Position();
    track.sight = Sight::Seen;
    track.framesOut = 0;
    ++track.framesSeen;
    if (track.framesSeen >= FramesIn(options.persistence)) track.confirmed = true;
}

void Tracker::Impl::NoteOut(Track& track) {
    ++track.framesOut;
    if (track.sight == Sight::Lost) return;
    if (track.confirmed && track.presence >= HiddenPresence) {
        track.sight = Sight::Hidden;
    } else if (track.framesOut >= FramesIn(LostAfter)) {
        track.sight = Sight::Lost;
    }
}

bool Tracker::Impl::IsInFrame(Box const& box, float margin) const {
    auto const size = foreground.Cells().size();
    return box.left >= margin && box.top >= margin &&
           box.right <= static_cast<float>(size.width) - margin &&
           box.bottom <= static_cast<float>(size.height) - margin;
}

void Tracker::Impl::NoteWhoIsAlone() {
    constexpr float Clearance = 4;  // cells above and below; half a width to the sides
    for (Track& track : tracks) {
        Box const box = BoxOf(track.pose);
        float const beside = track.pose.width / 2;
        Box const wide{box.left - beside, box.top - Clearance, box.right + beside,
                       box.bottom + Clearance};
        track.isAlone = track.sight == Sight::Seen && track.framesOut == 0 && IsInFrame(box, 2);
        for (Track const& other : tracks) {
            if (other.sight == Sight::Lost || other.id == track.id) continue;
            if (Intersection(wide, BoxOf(other.pose)) > 0) track.isAlone = false;
        }
    }
}

// What objects look like is learnt only from those that nothing disturbs.
void Tracker::Impl::Learn(Frame const& frame) {
    constexpr float LeastEvidence = 0.5F;
    constexpr float VeilEvidence = 0.4F;
    constexpr float SizeRate = 0.1F;
    constexpr float FactorRate = 0.05F;
    constexpr float SmallestFactor = 0.7F;
    constexpr float LargestFactor = 1.4F;
    constexpr float ShapeRate = 0.05F;
    constexpr float UsualShapeRate = 0.01F;
    float const minimumHeight = options.minimumHeight * static_cast<float>(foreground.Cells().rows);
    for (Track& track : tracks) {
        if (track.confirmed && track.framesOut == 0 && track.evidence >= VeilEvidence) {
            veil.Learn(track, foreground.Cells());
        }
        if (!track.isAlone || track.evidence < LeastEvidence) continue;
        auto const measured = Measure(track.pose, foreground.Cells());
        if (!measured || measured->height < minimumHeight) continue;
        track.ownWidth += SizeRate * (measured->width - track.ownWidth);
        track.ownHeight += SizeRate * (measured->height - track.ownHeight);
        if (auto const usual = scale.SizeAt(measured->foot)) {
            float const factor = measured->height / usual->height;
            if (factor > SmallestFactor && factor < LargestFactor) {
                track.sizeFactor += FactorRate * (factor - track.sizeFactor);
            }
        }
        track.silhouette.Learn(*measured, foreground.Cells(), ShapeRate);
        if (track.contacts.empty()) Teach(track, foreground, frame);
        // What flickers in place says nothing about the scene.
        bool const hasMoved = std::hypot(track.pose.x - track.start.x,
                                         track.pose.foot - track.start.foot) > track.pose.width;
        if (track.confirmed && hasMoved) {
            scale.Learn(*measured);
            usualSilhouette.Learn(*measured, foreground.Cells(), UsualShapeRate);
        }
    }
}

void Tracker::Impl::Welcome(Frame const& frame) {
    float const minimumHeight = options.minimumHeight * static_cast<float>(foreground.Cells().rows);
    auto const newcomers =
        FindNewcomers(foreground.Cells(), coverage, {scale, usualSilhouette}, minimumHeight);
    std::vector<Track*> absent;
    for (Track& track : tracks) {
        if (track.framesOut > 0) absent.push_back(&track);
    }
    auto const pairs = PairReturning(absent, newcomers, foreground, frame, options);
    for (std::size_t i = 0; i < newcomers.size(); ++i) {
        if (pairs[i]) Return(*absent[*pairs[i]], newcomers[i]);
    }
    for (std::size_t i = 0; i < newcomers.size(); ++i) {
        if (!pairs[i]) Begin(newcomers[i]);
    }
}

void Tracker::Impl::Return(Track& track, Pose const& pose) {
    auto const fps = static_cast<float>(options.framesPerSecond);
    track.x = AxisFilter(pose.x, StartDeviation * pose.height, StartSpeed * pose.height / fps);
    track.foot =
        AxisFilter(pose.foot, StartDeviation * pose.height, FootStartSpeed * pose.height / fps);
    track.pose.x = pose.x;
    track.pose.foot = pose.foot;
    track.sight = Sight::Seen;
    track.framesOut = 0;
    Resize(track);
}

void Tracker::Impl::Begin(Pose const& pose) {
    Track track;
    track.id = nextId++;
    track.pose = track.start = pose;
    track.ownWidth = pose.width;
    track.ownHeight = pose.height;
    track.silhouette = usualSilhouette;
    track.framesSeen = 1;
    Return(track, pose);
    tracks.push_back(std::move(track));
}

void Tracker::Impl::Dismiss() {
    auto const width = static_cast<float>(foreground.Cells().cols);
    auto const height = static_cast<float>(foreground.Cells().rows);
    std::erase_if(tracks, [&](Track const& track) {
        if (!track.confirmed) return track.framesOut > 1;
        bool const hasLeft = track.pose.x < 0 || track.pose.x > width || track.pose.foot < 0 ||
                             BoxOf(track.pose).top > height;
        return hasLeft || track.framesOut > FramesIn(options.memory);
    });
    // A newcomer that turns out to be part of an object that is followed already.
    auto const isDouble = [&](Track const& track) {
        return !track.confirmed &&
               std::any_of(tracks.begin(), tracks.end(), [&](Track const& other) {
                   return other.id < track.id && other.sight == Sight::Seen &&
                          Overlap(BoxOf(other.pose), BoxOf(track.pose)) > SameObject;
               });
    };
    std::vector<int> doubles;
    for (Track const& track : tracks) {
        if (isDouble(track)) doubles.push_back(track.id);
    }
    std::erase_if(tracks, [&](Track const& track) {
        return std::find(doubles.begin(), doubles.end(), track.id) != doubles.end();
    });
}

Box Tracker::Impl::PixelBox(Track const& track) const {
    auto const width = static_cast<float>(frameSize[0]);
    auto const height = static_cast<float>(frameSize[1]);
    // A cell looks at 4 x 4 pixels, two beyond its own to the right and below: it sees an object
    // one cell before the object begins.
    Box const cells = BoxOf(track.pose);
    Box const box = Scaled({cells.left + 1.0F, cells.top + 1.0F, cells.right, cells.bottom}, 2);
    return {std::clamp(box.left, 0.0F, width), std::clamp(box.top, 0.0F, height),
            std::clamp(box.right, 0.0F, width), std::clamp(box.bottom, 0.0F, height)};
}

Result Tracker::Impl::Report() {
    Result result;
    for (Track const& track : tracks) {
        Box const box = PixelBox(track);
        if (Area(box) <= 0) continue;
        float const confidence =
            track.framesOut == 0 ? std::clamp(track.evidence, 0.01F, 1.0F) : 0.01F;
        result.objects.push_back({track.id, box, Kind::Mover, track.sight, track.confirmed,
                                  track.isStanding, confidence});
    }
    result.events = std::exchange(events, {});
    return result;
}

Tracker::Tracker(Options const& options) : impl(std::make_unique<Impl>(options)) {}
Tracker::~Tracker() = default;
Result Tracker::Process(Frame const& frame) { return impl->Process(frame); }
void Tracker::ForgetObjects() { impl->ForgetObjects(); }

}  // namespace kes::tracker
