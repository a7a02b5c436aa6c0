/// \file
/// Tracker: which objects are where in a video, under identities that last. Make one for each
/// stream and hand it every frame in order. Use EmogSegmenter, Smog and Solve directly instead to
/// build a tracker of your own.
///
/// The interface is of version 0: it may change between minor versions.
#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <vector>

#include <kes/algorithm/bit_mask.hpp>
#include <kes/export.hpp>
#include <kes/geometry/rectangle.hpp>
#include <kes/media/video/frame.hpp>

namespace kes::tracker {

using Frame = media::video::FrameBase<void const>;  ///< one decoded picture
using Box = geometry::Rectangle<float>;             ///< in frame pixels, corner to corner

/// Intersection over union, 0 to 1; 0 for boxes without area.
KES_EXPORT float Overlap(Box const& a, Box const& b);

/// What a user would tune. Times are in seconds and not negative.
struct Options {
    double framesPerSecond = 15;          ///< of the stream, above 0; every time is counted with it
    float threshold = 4;                  ///< of the segmenter, in standard deviations, 0 to 255
    float thresholdFactor = 1;            ///< on it
    float minimumHeight = 1.0F / 12;      ///< of an object, as a share of the frame's height
    float minimumStaticSide = 1.0F / 40;  ///< of a static object, of the frame's height
    double confirmationTime = 0.4;        ///< that an object is seen before it counts
    double maximumOcclusion = 2;          ///< that an object is followed behind another
    double maximumAge = 5;      ///< that an object is not seen and still keeps its identity
    float gate = 0.6F;          ///< how far it may come back, in its own heights a second
    double stationaryTime = 5;  ///< at rest, until something counts as stationary
    double holdOnTime = 60;     ///< stationary, until it joins the background
    /// @{
    /// Masks of half the frame's size, as EmogSegmenter takes them; ignored where of another size.
    algorithm::BitMask exclude{};  ///< no foreground is seen here
    algorithm::BitMask freeze{};   ///< foreground here does not grow older
    algorithm::BitMask reset{};    ///< every frame is learnt as background here
    /// @}
};

/// What an outside detector found.
struct Detection {
    Box box;                 ///< in frame pixels
    float confidence = 1;    ///< 0 to 1
    unsigned int label = 0;  ///< only detections of one label are taken for the same object
};

/// What an object is.
enum class Kind {
    Mover,         ///< moves, or has moved
    StaticObject,  ///< came to stand without having been followed: a case set down, a parked car
};

/// How much of an object is to be seen.
enum class Visibility {
    Visible,   ///< found in this frame
    Occluded,  ///< behind another object, and followed by its motion
    Lost,      ///< not found, for no known reason
};

/// One object in one frame.
struct Object {
    int id;                  ///< from 1, in the order of first sight; never used twice
    Box box;                 ///< in frame pixels, clipped to the frame; never empty
    Kind kind;               ///< may turn into Mover, or into StaticObject, as more is seen
    Visibility visibility;   ///< in this frame
    bool isConfirmed;        ///< seen for long enough to count
    bool isStanding;         ///< at rest for the stationary time
    float confidence;        ///< 0 to 1: how much of it was seen
    unsigned int label = 0;  ///< of its detections
};

/// What has become of an object.
enum class EventType {
    Arrived,   ///< a mover counts from here on
    Stopped,   ///< it has been at rest for the stationary time
    MovedOn,   ///< what had stopped moves again, or a static object is gone
    Absorbed,  ///< a static object has become background; it may still be there
    Left,      ///< a mover has left the frame or was not seen again
    /// @{
    /// Of the whole frame; the id is 0.
    LightChanged,  ///< at once; it is made up for
    CameraMoved,   ///< and came to rest elsewhere; it is made up for
    SceneChanged,  ///< beyond recognition; the background is learnt anew
    /// @}
};

/// One event.
struct Event {
    EventType type;  ///< what happened
    int id;          ///< to which object; 0: to the whole frame
    Box box;         ///< in frame pixels; where the object was last
};

/// How long the steps of one frame took.
struct Times {
    std::chrono::nanoseconds segmentation{};  ///< finding the foreground
    std::chrono::nanoseconds association{};   ///< finding the known objects again
    std::chrono::nanoseconds identities{};    ///< deciding who is who among those that touched
    std::chrono::nanoseconds upkeep{};        ///< learning, starting and ending objects
    std::chrono::nanoseconds total{};         ///< of the whole call
};

/// What is known of one frame.
struct Result {
    std::vector<Object> objects;  ///< those not confirmed and those lost included
    std::vector<Event> events;    ///< since the frame before
    Times times;                  ///< of this frame
};

/// Follows the objects of one stream. One thread at a time uses a tracker; distinct trackers are
/// independent. It starts no thread, and but for the times its results depend on nothing but the
/// calls made. It keeps no frame after a call returns.
class Tracker {
public:
    /// Throws `std::invalid_argument` for an option that is out of range, and `std::bad_alloc`.
    KES_EXPORT explicit Tracker(Options const& options);
    KES_EXPORT ~Tracker();

    Tracker(Tracker const&) = delete;
    Tracker& operator=(Tracker const&) = delete;

    /// Takes a frame of a recorded clip, in order, before Process is given the clip: what the frames
    /// show at most times is the background that Process begins with, in the place and light of the
    /// first of them. Not every frame is needed. Throws like Process.
    KES_EXPORT void Survey(Frame const& frame);

    /// Takes the next frame: Nv12, Grey, Rgb, Bgr or Yuv, of any size and a rotation that is
    /// ignored. With Grey frames objects are told apart by place and motion alone, not by colour.
    /// When the size differs from that of the frame before, objects and scene are forgotten. A
    /// frame of less than 2 x 2 pixels gives nothing.
    ///
    /// Throws `std::invalid_argument` "The tracker does not take this colour format" and "The frame
    /// has no pixels", with nothing changed, and `std::bad_alloc`.
    KES_EXPORT Result Process(Frame const& frame);

    /// The same with boxes from outside in place of foreground; nothing need be learnt beforehand.
    /// A box that is not finite, has no area or lies outside the frame is left out; one that
    /// reaches further beyond the frame than the frame's own size is cut there. One tracker is
    /// given one of the two kinds of input only.
    KES_EXPORT Result Process(Frame const& frame, std::vector<Detection> const& detections);

    /// Forgets the objects, so that identities begin at 1 again, and keeps what was learnt of the
    /// scene: its background, and how large and of what shape objects look where.
    KES_EXPORT void ForgetObjects();

private:
    class Impl;
    std::unique_ptr<Impl> impl;
};

/// Fixed-lag smoothing: results a moment later, when more is known. What was seen for too short a
/// time to count is gone, what turned out to count is there from its first frame, and short gaps
/// are filled in. Without a delay it leaves out what does not count yet, and what is lost.
///
/// One thread at a time uses a smoother.
class FixedLagSmoother {
public:
    /// `delay`: frames by which results come later than they go in. `smoothing`: frames to either
    /// side (after it, `delay` at most) over which an object's boxes are evened out; 0 for none.
    KES_EXPORT FixedLagSmoother(std::size_t delay, std::size_t smoothing);
    KES_EXPORT ~FixedLagSmoother();

    FixedLagSmoother(FixedLagSmoother const&) = delete;
    FixedLagSmoother& operator=(FixedLagSmoother const&) = delete;

    /// Takes the result of a frame and gives that of the frame `delay` earlier, once there is one.
    /// Its objects are those confirmed by now, Visible or Occluded.
    KES_EXPORT std::optional<Result> Push(Result result);

    /// At the end of the stream: the results still held, one a call; then nothing.
    KES_EXPORT std::optional<Result> Pop();

private:
    class Impl;
    std::unique_ptr<Impl> impl;
};

}  // namespace kes::tracker
