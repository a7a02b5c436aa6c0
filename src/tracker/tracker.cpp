#include <kes/tracker/tracker.hpp>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>

#include <kes/geometry/dimension.hpp>

#include "tracker/appearance.hpp"
#include "tracker/association.hpp"
#include "tracker/blob_fit.hpp"
#include "tracker/blobs.hpp"
#include "tracker/clip_background.hpp"
#include "tracker/confidences.hpp"
#include "tracker/coverage.hpp"
#include "tracker/foreground.hpp"
#include "tracker/geometry.hpp"
#include "tracker/grid.hpp"
#include "tracker/identities.hpp"
#include "tracker/initiation.hpp"
#include "tracker/learning.hpp"
#include "tracker/luma.hpp"
#include "tracker/occlusion_map.hpp"
#include "tracker/options.hpp"
#include "tracker/placement.hpp"
#include "tracker/scene_model.hpp"
#include "tracker/scene_watch.hpp"
#include "tracker/static_objects.hpp"
#include "tracker/stopwatch.hpp"
#include "tracker/track.hpp"
#include "tracker/tracks.hpp"

namespace kes::tracker {
namespace {

constexpr float DoubleDetection = 0.5F;  // overlap of a detection with one followed already

Box Shifted(Box const& box, cv::Point2f by) {
    return {box.left + by.x, box.top + by.y, box.right + by.x, box.bottom + by.y};
}

}  // namespace

class Tracker::Impl {
public:
    explicit Impl(Options const& settings) : options(Checked(settings)) {}

    void Survey(Frame const& frame);
    Result Process(Frame const& frame);
    Result Process(Frame const& frame, std::vector<Detection> const& detections);
    void ForgetObjects();

private:
    void Fit(Frame const& frame);
    void Associate(MaskedFrame const& image);
    void Initiate(MaskedFrame const& image);
    void UpdateStaticObjects();
    std::vector<Detection> InCells(std::vector<Detection> const& detections) const;
    void Associate(std::vector<Detection> const& detections, MaskedFrame const& image);
    void Initiate(Detection const& detection);
    Box PixelBox(Pose const& pose) const;
    Result Report();
    Result Report(Stopwatch& watch, Times times);

    Options const options;
    Luma luma;
    ClipBackground clipBackground;
    Foreground foreground{options};
    SceneWatch sceneWatch{options.framesPerSecond};
    std::optional<EventType> sceneChange;  // of this frame
    SceneModel scene;
    Coverage coverage;
    BlobFit blobFit;
    Tracks tracks{options, scene};
    StaticObjects staticObjects{options};
    Confidences confidences;
    std::vector<TrackEvent> staticEvents;  // of this frame
    geometry::Dimension<unsigned int, 2> frameSize{};
    Grid grid;
    bool isDetecting = false;           // boxes come from outside
    algorithm::BitMask wholePicture{};  // every bit set
    float minimumHeight = 0;            // in cells
};

void Tracker::Impl::Survey(Frame const& frame) {
    Fit(frame);
    if (!grid.size.empty()) clipBackground.Add(MatrixOf(luma.Of(frame)));
}

Result Tracker::Impl::Process(Frame const& frame) {
    Stopwatch watch;
    Times times;
    Fit(frame);
    if (grid.size.empty()) return {};
    if (!clipBackground.IsEmpty()) foreground.Begin(clipBackground.Finish(), grid);
    bool const isFollowed = foreground.Process(luma.Of(frame), grid);
    sceneChange = sceneWatch.Note(foreground.Offset(), foreground.LightDifference(), isFollowed);
    if (sceneChange == EventType::SceneChanged) foreground.Forget();
    MaskedFrame const image{foreground.Mask(), frame, grid.bitsPerCell, true};
    times.segmentation = watch.Lap();

    tracks.Predict();
    if (!isFollowed) {
        // Nothing is born of a picture that is not understood; tracks go on by their motion.
        for (Track& track : tracks.All()) tracks.NoteUnseen(track);
        tracks.End();
        return Report(watch, times);
    }
    Associate(image);
    times.association = watch.Lap();

    ExchangeIdentities(tracks.All(), image, options);
    times.identities = watch.Lap();

    tracks.NoteRest();
    Learn(tracks.All(), scene, foreground.Cells(), image, minimumHeight);
    Initiate(image);
    tracks.End();
    UpdateStaticObjects();
    return Report(watch, times);
}

Result Tracker::Impl::Process(Frame const& frame, std::vector<Detection> const& detections) {
    Stopwatch watch;
    Times times;
    Fit(frame);
    if (grid.size.empty()) return {};
    isDetecting = true;
    MaskedFrame const image{wholePicture, frame, grid.bitsPerCell, false};

    tracks.Predict();
    Associate(InCells(detections), image);
    times.association = watch.Lap();

    ExchangeIdentities(tracks.All(), image, options);
    times.identities = watch.Lap();

    tracks.NoteRest();
    tracks.End();
    return Report(watch, times);
}

// Begins afresh when the frames' size is not that of those before.
void Tracker::Impl::Fit(Frame const& frame) {
    CheckFrame(frame);
    auto const size = frame.GetSize();
    if (size == frameSize) return;
    frameSize = size;
    auto const width = size.width / 2;
    auto const height = size.height / 2;
    grid = Grid(size);
    wholePicture = algorithm::MakeEmptyMask(width, height);
    std::fill(wholePicture.words.begin(), wholePicture.words.end(), ~std::uint32_t{0});
    minimumHeight = options.minimumHeight * static_cast<float>(grid.size.height);
    scene = {};
    scene.occlusion.Begin(grid.size);
    clipBackground = {};
    ForgetObjects();
}

void Tracker::Impl::ForgetObjects() {
    tracks.Begin(grid);
    staticObjects.Forget();
    staticEvents.clear();
}

// Where each object is now, and which of them are visible.
void Tracker::Impl::Associate(MaskedFrame const& image) {
    coverage.Begin(foreground.Cells(), scene.occlusion.Cells());
    std::vector<Track*> followed;
    for (Track& track : tracks.All()) {
        if (track.state.visibility != Visibility::Lost) followed.push_back(&track);
    }
    auto const blobs = BlobsOf(foreground.Cells(), PersonGap);
    PairWithBlobs(followed, blobs, image);
    Place(followed, coverage);
    auto const visible = Judge(followed, coverage);
    blobFit = FitToBlobs(visible, blobs, foreground.Cells(), scene.scale);
    for (Track& track : tracks.All()) {
        bool const isSeen = std::find(visible.begin(), visible.end(), &track) != visible.end();
        isSeen ? tracks.NoteSeen(track) : tracks.NoteUnseen(track);
    }
    for (int const id : blobFit.parts) tracks.Remove(id);
    tracks.NoteAlone();
}

void Tracker::Impl::Initiate(MaskedFrame const& image) {
    auto const found =
        FindNewObjects(foreground.Cells(), coverage, scene, blobFit.claimed, minimumHeight);
    std::vector<Track*> absent;
    for (Track& track : tracks.All()) {
        if (track.state.framesUnseen > 0) absent.push_back(&track);
    }
    auto const pairs = PairReturning(absent, found, image, options);
    for (std::size_t i = 0; i < found.size(); ++i) {
        if (pairs[i]) tracks.Resume(*absent[*pairs[i]], found[i]);
    }
    for (std::size_t i = 0; i < found.size(); ++i) {
        if (!pairs[i]) TakeOwnSize(tracks.Start(found[i]), found[i], scene.scale);
    }
}

void Tracker::Impl::UpdateStaticObjects() {
    cv::Mat1b explained;
    cv::compare(coverage.Levels(), 0, explained, cv::CMP_GT);
    for (Track const& track : tracks.All()) {
        if (track.state.visibility != Visibility::Lost) CoverAbout(track.state.pose, explained);
    }
    auto const changes =
        staticObjects.Process(foreground, explained, [this] { return tracks.NewId(); });
    auto const tell = [this](EventType type, std::vector<StaticObject> const& some) {
        for (StaticObject const& object : some) {
            staticEvents.push_back({type, object.id, PoseOf(object.box)});
        }
    };
    tell(EventType::Stopped, changes.stopped);
    tell(EventType::MovedOn, changes.gone);
    tell(EventType::Absorbed, changes.absorbed);
}

// In cells instead of pixels, and only what can be in the frame: sizes stay within bounds.
std::vector<Detection> Tracker::Impl::InCells(std::vector<Detection> const& detections) const {
    auto const width = static_cast<float>(grid.size.width);
    auto const height = static_cast<float>(grid.size.height);
    Box const frame{0, 0, width, height};
    Box const around{-width, -height, 2 * width, 2 * height};
    std::vector<Detection> inCells;
    for (Detection detection : detections) {
        detection.box = Common(Scaled(detection.box, 1 / grid.PixelsPerCell()), around);
        detection.confidence =
            detection.confidence > 0 ? std::min(detection.confidence, 1.0F) : 0.0F;
        // A box that is not of numbers meets nothing.
        if (Intersection(detection.box, frame) > 0) inCells.push_back(detection);
    }
    return inCells;
}

// The same with boxes from outside, in cells.
void Tracker::Impl::Associate(std::vector<Detection> const& detections, MaskedFrame const& image) {
    std::vector<Pose> places;
    std::vector<unsigned int> labels;
    for (Detection const& detection : detections) {
        places.push_back(PoseOf(detection.box));
        labels.push_back(detection.label);
    }
    float const sure = confidences.Note(detections);
    std::vector<Track>& all = tracks.All();
    auto const pairs = PairDetected(all, places, labels, image, options);
    std::vector<bool> isDetected(all.size());
    for (std::size_t i = 0; i < detections.size(); ++i) {
        if (!pairs[i]) continue;
        isDetected[*pairs[i]] = true;
        tracks.NoteDetected(all[*pairs[i]], places[i], detections[i].confidence);
    }
    for (std::size_t i = 0; i < all.size(); ++i) {
        if (!isDetected[i]) tracks.NoteUndetected(all[i]);
    }
    tracks.NoteAlone();
    for (std::size_t i = 0; i < detections.size(); ++i) {
        if (pairs[i]) LearnDetected(all[*pairs[i]], places[i], scene, image);
    }
    for (std::size_t i = 0; i < detections.size(); ++i) {
        if (!pairs[i] && detections[i].confidence >= sure) Initiate(detections[i]);
    }
}

void Tracker::Impl::Initiate(Detection const& detection) {
    Pose const place = PoseOf(detection.box);
    if (place.height < minimumHeight) return;
    Box const box = BoxOf(place);
    bool const isDouble =
        std::any_of(tracks.All().begin(), tracks.All().end(), [&](Track const& track) {
            return track.state.framesUnseen == 0 && track.label == detection.label &&
                   Overlap(BoxOf(track.state.pose), box) > DoubleDetection;
        });
    if (!isDouble) tracks.Start(place).label = detection.label;
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
    box = Shifted(box, foreground.Offset());
    return {std::clamp(box.left, 0.0F, width), std::clamp(box.top, 0.0F, height),
            std::clamp(box.right, 0.0F, width), std::clamp(box.bottom, 0.0F, height)};
}

// What is left of the frame's time is upkeep.
Result Tracker::Impl::Report(Stopwatch& watch, Times times) {
    Result result = Report();
    times.upkeep = watch.Lap();
    times.total = watch.Total();
    result.times = times;
    return result;
}

Result Tracker::Impl::Report() {
    Result result;
    for (Track const& track : tracks.All()) {
        TrackState const& state = track.state;
        Box const box = PixelBox(state.pose);
        if (Area(box) <= 0) continue;
        float const confidence =
            state.framesUnseen == 0 ? std::clamp(state.evidence, 0.01F, 1.0F) : 0.01F;
        // What never moved is a static object, of whatever size.
        Kind const kind = state.isStanding && !track.hasMoved ? Kind::StaticObject : Kind::Mover;
        result.objects.push_back({track.id, box, kind, state.visibility, track.confirmed,
                                  state.isStanding, confidence, track.label});
    }
    for (StaticObject const& object : staticObjects.All()) {
        if (object.id == 0) continue;
        result.objects.push_back({object.id, PixelBox(PoseOf(object.box)), Kind::StaticObject,
                                  Visibility::Visible, true, true, 1.0F});
    }
    if (sceneChange) {
        auto const width = static_cast<float>(frameSize.width);
        auto const height = static_cast<float>(frameSize.height);
        result.events.push_back({*sceneChange, 0, {0, 0, width, height}});
    }
    auto const tell = [&](std::vector<TrackEvent> const& events) {
        for (auto const& [type, id, pose] : events) {
            result.events.push_back({type, id, PixelBox(pose)});
        }
    };
    tell(tracks.TakeEvents());
    tell(std::exchange(staticEvents, {}));
    return result;
}

Tracker::Tracker(Options const& options) : impl(std::make_unique<Impl>(options)) {}
Tracker::~Tracker() = default;
void Tracker::Survey(Frame const& frame) { impl->Survey(frame); }
Result Tracker::Process(Frame const& frame) { return impl->Process(frame); }
Result Tracker::Process(Frame const& frame, std::vector<Detection> const& detections) {
    return impl->Process(frame, detections);
}
void Tracker::ForgetObjects() { impl->ForgetObjects(); }

}  // namespace kes::tracker
