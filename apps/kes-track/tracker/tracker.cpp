#include "tracker/tracker.hpp"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <stdexcept>
#include <utility>

#include "tracker/blobs.hpp"
#include "tracker/confidences.hpp"
#include "tracker/coverage.hpp"
#include "tracker/foreground.hpp"
#include "tracker/grid.hpp"
#include "tracker/identities.hpp"
#include "tracker/measure.hpp"
#include "tracker/newcomers.hpp"
#include "tracker/pairing.hpp"
#include "tracker/placement.hpp"
#include "tracker/scene_scale.hpp"
#include "tracker/silhouette.hpp"
#include "tracker/things.hpp"
#include "tracker/veil.hpp"

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

constexpr float SizeRate = 0.1F;        // of what is seen, in an object's own size
constexpr float SmallestFactor = 0.7F;  // of an object's height to the usual one at its place
constexpr float LargestFactor = 1.4F;

constexpr float SlowingOut = 0.5F;       // of the speed, a second, of what is out of sight
constexpr double LostAfter = 0.3;        // seconds out of sight
constexpr float HiddenPresence = 0.5F;   // so much foreground where the object should be
constexpr float DoubleDetection = 0.5F;  // overlap of a detection with one followed already
constexpr float SameObject = 0.6F;       // overlap of two that are one

}  // namespace

class Tracker::Impl {
public:
    explicit Impl(Options const& settings)
        : options(settings), foreground(settings), things(settings) {}

    Result Process(Frame const& frame);
    Result Process(Frame const& frame, std::vector<Detection> const& detections);
    void ForgetObjects();

private:
    void Predict();
    void Fit(Frame const& frame);
    void Follow(Picture const& picture);
    void Follow(std::vector<Detection> const& detections, Picture const& picture);
    void NoteDetected(Track& track, Detection const& detection);
    void NoteUndetected(Track& track);
    void NoteSeen(Track& track, float deviation);
    void NoteOut(Track& track);
    void NoteWhoIsAlone();
    void NoteRest();
    void NoteThings();
    void Tell(EventType type, Track const& track);
    void Learn(Picture const& picture);
    void Welcome(Picture const& picture);
    Track& Begin(Pose const& pose);
    void Return(Track& track, Pose const& pose);
    void Dismiss();
    void Resize(Track& track) const;
    Box PixelBox(Pose const& pose) const;
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
    Things things;
    Confidences confidences;
    std::vector<Event> events;  // of this frame
    geometry::Dimension<unsigned int, 2> frameSize{};
    Grid grid;
    bool isDetecting = false;           // boxes come from outside
    algorithm::BitMask wholePicture{};  // every bit set
    float minimumHeight = 0;            // in cells
    int nextId = 1;
};

Result Tracker::Impl::Process(Frame const& frame) {
    Fit(frame);
    foreground.Process(frame, grid);
    if (grid.size.empty()) return {};
    Picture const picture{foreground.Mask(), frame, grid.bitsPerCell, true};
    Predict();
    Follow(picture);
    Untangle(tracks, picture, options);
    NoteRest();
    Learn(picture);
    Welcome(picture);
    Dismiss();
    NoteThings();
    return Report();
}

Result Tracker::Impl::Process(Frame const& frame, std::vector<Detection> const& detections) {
    Fit(frame);
    if (grid.size.empty()) return {};
    isDetecting = true;
    Picture const picture{wholePicture, frame, grid.bitsPerCell, false};
    Predict();
    Follow(detections, picture);
    Untangle(tracks, picture, options);
    NoteRest();
    Dismiss();
    return Report();
}

// Begins afresh when the frames' size is not that of those before.
void Tracker::Impl::Fit(Frame const& frame) {
    if (frame.GetColourFormat() != media::ColourFormat::Nv12) {
        throw std::invalid_argument("The tracker takes Nv12 frames only");
    }
    auto const size = frame.GetSize();
    if (size == frameSize) return;
    frameSize = size;
    auto const width = size.width / 2;
    auto const height = size.height / 2;
    grid = Grid(size);
    std::size_t const words = static_cast<std::size_t>((width + 31) / 32) * height;
    wholePicture = {width, height, std::vector<std::uint32_t>(words, ~std::uint32_t{0})};
    minimumHeight = options.minimumHeight * static_cast<float>(grid.size.height);
    ForgetObjects();
    scale = {};
    usualSilhouette = {};
    veil.Begin(grid.size);
}

void Tracker::Impl::ForgetObjects() {
    tracks.clear();
    things.Forget();
    events.clear();
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
void Tracker::Impl::Follow(Picture const& picture) {
    coverage.Begin(foreground.Cells(), veil.Cells());
    std::vector<Track*> followed;
    for (Track& track : tracks) {
        if (track.sight != Sight::Lost) followed.push_back(&track);
    }
    PairWithBlobs(followed, BlobsOf(foreground.Cells(), PersonGap), picture);
    Place(followed, coverage);
    auto const inSight = Judge(followed, coverage);
    for (Track& track : tracks) {
        bool const isSeen = std::find(inSight.begin(), inSight.end(), &track) != inSight.end();
        isSeen ? NoteSeen(track, PlacedDeviation) : NoteOut(track);
    }
    NoteWhoIsAlone();
}

void Tracker::Impl::NoteSeen(Track& track, float deviation) {
    float const doubt = track.pose.height / std::clamp(track.evidence, 0.2F, 1.0F);
    track.x.Correct(static_cast<float>(track.cellX), deviation * doubt);
    track.foot.Correct(static_cast<float>(track.cellFoot), FootDeviation * deviation * doubt);
    track.pose.x = track.x.Position();
    track.pose.foot = track.foot.Position();
    track.sight = Sight::Seen;
    track.framesOut = 0;
    ++track.framesSeen;
    if (!track.confirmed && track.framesSeen >= FramesIn(options.persistence)) {
        track.confirmed = true;
        Tell(EventType::Arrived, track);
    }
}

void Tracker::Impl::NoteOut(Track& track) {
    ++track.framesOut;
    if (track.sight == Sight::Lost) return;
    bool const isConcealed = track.confirmed && track.presence >= HiddenPresence &&
                             track.framesOut < FramesIn(options.concealment);
    if (isConcealed) {
        track.sight = Sight::Hidden;
    } else if (track.framesOut >= FramesIn(LostAfter)) {
        track.sight = Sight::Lost;
    }
}

bool Tracker::Impl::IsInFrame(Box const& box, float margin) const {
    return box.left >= margin && box.top >= margin &&
           box.right <= static_cast<float>(grid.size.width) - margin &&
           box.bottom <= static_cast<float>(grid.size.height) - margin;
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

void Tracker::Impl::Tell(EventType type, Track const& track) {
    events.push_back({type, track.id, PixelBox(track.pose)});
}

// The same with boxes from outside.
void Tracker::Impl::Follow(std::vector<Detection> const& detections, Picture const& picture) {
    std::vector<Pose> places;
    std::vector<unsigned int> labels;
    for (Detection const& detection : detections) {
        places.push_back(PoseOf(Scaled(detection.box, 1 / grid.PixelsPerCell())));
        labels.push_back(detection.label);
    }
    float const sure = confidences.Note(detections);
    auto const pairs = PairDetected(tracks, places, labels, picture, options);
    std::vector<bool> isDetected(tracks.size());
    for (std::size_t i = 0; i < detections.size(); ++i) {
        if (!pairs[i]) continue;
        isDetected[*pairs[i]] = true;
        NoteDetected(tracks[*pairs[i]], detections[i]);
    }
    for (std::size_t i = 0; i < tracks.size(); ++i) {
        if (!isDetected[i]) NoteUndetected(tracks[i]);
    }
    NoteWhoIsAlone();
    for (std::size_t i = 0; i < detections.size(); ++i) {
        if (!pairs[i]) continue;
        Track& track = tracks[*pairs[i]];
        if (!track.isAlone) continue;
        if (track.contacts.empty()) Teach(track, picture);
        if (track.confirmed) scale.Learn(places[i]);
    }
    for (std::size_t i = 0; i < detections.size(); ++i) {
        if (pairs[i] || places[i].height < minimumHeight) continue;
        if (detections[i].confidence < sure) continue;
        Box const box = BoxOf(places[i]);
        bool const isDouble = std::any_of(tracks.begin(), tracks.end(), [&](Track const& track) {
            return track.framesOut == 0 && track.label == labels[i] &&
                   Overlap(BoxOf(track.pose), box) > DoubleDetection;
        });
        if (isDouble) continue;
        Begin(places[i]).label = labels[i];
    }
}

// Detectors cut off heads and feet; the size that the object has shown so far is worth more than
// one box, and the box's middle more than its foot.
void Tracker::Impl::NoteDetected(Track& track, Detection const& detection) {
    Pose const seen = PoseOf(Scaled(detection.box, 1 / grid.PixelsPerCell()));
    track.ownWidth += SizeRate * (seen.width - track.ownWidth);
    track.ownHeight += SizeRate * (seen.height - track.ownHeight);
    if (auto const usual = scale.SizeAt(seen.foot)) {
        float const factor = std::clamp(seen.height / usual->height, SmallestFactor, LargestFactor);
        track.sizeFactor += SizeRate * (factor - track.sizeFactor);
    }
    track.cellX = static_cast<int>(std::lround(seen.x));
    float const foot = seen.foot - seen.height / 2 + track.pose.height / 2;
    track.cellFoot = static_cast<int>(std::lround(foot));
    track.evidence = detection.confidence;
    NoteSeen(track, DetectedDeviation);
    Resize(track);
}

void Tracker::Impl::NoteUndetected(Track& track) {
    ++track.framesOut;
    Box const box = BoxOf(track.pose);
    bool const isBehind = std::any_of(tracks.begin(), tracks.end(), [&](Track const& other) {
        return other.framesOut == 0 && other.pose.foot > track.pose.foot &&
               Intersection(box, BoxOf(other.pose)) > HiddenPresence * Area(box);
    });
    bool const isConcealed =
        track.confirmed && isBehind && track.framesOut < FramesIn(options.concealment);
    track.sight = isConcealed ? Sight::Hidden : Sight::Lost;
}

// Who has come to rest, and who moves on.
void Tracker::Impl::NoteRest() {
    constexpr float RestRadius = 0.3F;  // in heights: swaying and fidgeting stay within it
    for (Track& track : tracks) {
        if (track.framesOut == 0 &&
            std::hypot(track.pose.x - track.start.x, track.pose.foot - track.start.foot) >
                track.pose.width) {
            track.hasMoved = true;
        }
        float const strayed =
            std::hypot(track.pose.x - track.rest.x, track.pose.foot - track.rest.foot);
        if (strayed <= RestRadius * track.pose.height) {
            ++track.framesAtRest;
            bool const isLongEnough = track.framesAtRest >= FramesIn(options.stationaryTime);
            if (track.confirmed && !track.isStanding && isLongEnough && track.framesOut == 0) {
                track.isStanding = true;
                Tell(EventType::Stopped, track);
            }
            continue;
        }
        if (track.isStanding) Tell(EventType::MovedOn, track);
        track.rest = track.pose;
        track.framesAtRest = 0;
        track.isStanding = false;
    }
}

void Tracker::Impl::NoteThings() {
    cv::Mat1b explained;
    cv::compare(coverage.Levels(), 0, explained, cv::CMP_GT);
    auto const changes = things.Process(foreground, explained, [this] { return nextId++; });
    auto const tell = [this](EventType type, std::vector<Thing> const& some) {
        for (Thing const& thing : some) {
            events.push_back({type, thing.id, PixelBox(PoseOf(thing.box))});
        }
    };
    tell(EventType::Stopped, changes.stopped);
    tell(EventType::MovedOn, changes.gone);
    tell(EventType::Absorbed, changes.absorbed);
}

// What objects look like is learnt only from those that nothing disturbs.
void Tracker::Impl::Learn(Picture const& picture) {
    constexpr float LeastEvidence = 0.5F;
    constexpr float VeilEvidence = 0.4F;
    constexpr float FactorRate = 0.05F;
    constexpr float ShapeRate = 0.05F;
    constexpr float UsualShapeRate = 0.01F;
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
        if (track.contacts.empty()) Teach(track, picture);
        // What flickers in place says nothing about the scene.
        if (track.confirmed && track.hasMoved) {
            scale.Learn(*measured);
            usualSilhouette.Learn(*measured, foreground.Cells(), UsualShapeRate);
        }
    }
}

void Tracker::Impl::Welcome(Picture const& picture) {
    auto const newcomers =
        FindNewcomers(foreground.Cells(), coverage, {scale, usualSilhouette}, minimumHeight);
    std::vector<Track*> absent;
    for (Track& track : tracks) {
        if (track.framesOut > 0) absent.push_back(&track);
    }
    auto const pairs = PairReturning(absent, newcomers, picture, options);
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

Track& Tracker::Impl::Begin(Pose const& pose) {
    Track track;
    track.id = nextId++;
    track.pose = track.start = track.rest = pose;
    track.ownWidth = pose.width;
    track.ownHeight = pose.height;
    track.silhouette = usualSilhouette;
    track.framesSeen = 1;
    Return(track, pose);
    tracks.push_back(std::move(track));
    return tracks.back();
}

void Tracker::Impl::Dismiss() {
    auto const width = static_cast<float>(grid.size.width);
    auto const height = static_cast<float>(grid.size.height);
    auto const isOver = [&](Track const& track) {
        if (!track.confirmed) return track.framesOut > 1;
        bool const hasLeft = track.pose.x < 0 || track.pose.x > width || track.pose.foot < 0 ||
                             BoxOf(track.pose).top > height;
        return hasLeft || track.framesOut > FramesIn(options.memory);
    };
    for (Track const& track : tracks) {
        if (!track.confirmed || !isOver(track)) continue;
        if (track.isStanding) Tell(EventType::MovedOn, track);
        Tell(EventType::Left, track);
    }
    std::erase_if(tracks, isOver);
    // A newcomer that turns out to be part of an object that is followed already.
    auto const isDouble = [&](Track const& track) {
        return !track.confirmed &&
               std::any_of(tracks.begin(), tracks.end(), [&](Track const& other) {
                   return other.id < track.id && other.label == track.label &&
                          other.sight == Sight::Seen &&
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

Box Tracker::Impl::PixelBox(Pose const& pose) const {
    auto const width = static_cast<float>(frameSize.width);
    auto const height = static_cast<float>(frameSize.height);
    // The segmenter looks at 4 x 4 pixels for a bit, two beyond the bit's own to the right and
    // below: it sees an object two pixels before the object begins.
    float const early = isDetecting ? 0.0F : 2.0F;
    Box box = Scaled(BoxOf(pose), grid.PixelsPerCell());
    box.left += early;
    box.top += early;
    return {std::clamp(box.left, 0.0F, width), std::clamp(box.top, 0.0F, height),
            std::clamp(box.right, 0.0F, width), std::clamp(box.bottom, 0.0F, height)};
}

Result Tracker::Impl::Report() {
    Result result;
    for (Track const& track : tracks) {
        Box const box = PixelBox(track.pose);
        if (Area(box) <= 0) continue;
        float const confidence =
            track.framesOut == 0 ? std::clamp(track.evidence, 0.01F, 1.0F) : 0.01F;
        // What never moved is a thing, of whatever size.
        Kind const kind = track.isStanding && !track.hasMoved ? Kind::Thing : Kind::Mover;
        result.objects.push_back({track.id, box, kind, track.sight, track.confirmed,
                                  track.isStanding, confidence, track.label});
    }
    for (Thing const& thing : things.All()) {
        if (thing.id == 0) continue;
        result.objects.push_back(
            {thing.id, PixelBox(PoseOf(thing.box)), Kind::Thing, Sight::Seen, true, true, 1.0F});
    }
    result.events = std::exchange(events, {});
    return result;
}

Tracker::Tracker(Options const& options) : impl(std::make_unique<Impl>(options)) {}
Tracker::~Tracker() = default;
Result Tracker::Process(Frame const& frame) { return impl->Process(frame); }
Result Tracker::Process(Frame const& frame, std::vector<Detection> const& detections) {
    return impl->Process(frame, detections);
}
void Tracker::ForgetObjects() { impl->ForgetObjects(); }

}  // namespace kes::tracker
