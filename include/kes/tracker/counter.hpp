/// \file
/// Counter: which objects cross a line, and which enter and leave a zone, each of them once. Feed
/// it the objects of every frame, best those of a FixedLagSmoother.
///
/// The interface is of version 0: it may change between minor versions.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include <kes/export.hpp>
#include <kes/geometry/point.hpp>
#include <kes/tracker/tracker.hpp>

namespace kes::tracker {

using Point = geometry::Point<float, 2>;  ///< in frame pixels

/// A line to be crossed, from one point to another.
struct Line {
    std::string name;  ///< for the caller's use
    Point from;        ///< where it begins
    Point to;          ///< where it ends
};

/// A polygon to be in. It is closed by itself; where its edges cross, the even-odd rule holds.
struct Zone {
    std::string name;            ///< for the caller's use
    std::vector<Point> corners;  ///< three or more, in order
};

/// When a crossing, an entry or an exit counts.
struct CountingOptions {
    /// In seconds, not negative: who is back on the former side before has not crossed.
    double settlingTime = 1;
    /// In seconds, not negative: who is not among the objects for longer has gone for good.
    double maximumAge = 5;
    /// In heights of the object, 0 or above: so far beyond a line or a zone's edge an object is on
    /// the other side. What is nearer stands on it and stays on the side it was on.
    float margin = 0.1F;
};

/// What was counted.
struct CountEvent {
    /// The kinds.
    enum class Type {
        CrossedToLeft,   ///< of the line, looking from its beginning to its end
        CrossedToRight,  ///< the other way
        Entered,         ///< a zone, across its edge
        Appeared,        ///< in a zone: first seen within it
        Exited,          ///< a zone, across its edge
        Vanished,        ///< in a zone: last seen within it
    };

    Type type;          ///< what happened
    std::size_t index;  ///< of the line or of the zone
    int id;             ///< to which object
    double time;        ///< when, in the caller's seconds; earlier than the call that reports it
    Point place;        ///< where its foot was then
    double dwell = 0;   ///< of Exited and Vanished: seconds in the zone
};

/// Counts movers by their foot, the middle of their box's lower edge. No object counts twice for
/// trembling on a line, for standing on it, for beginning there, or for an identity that was
/// exchanged and put right within the settling time.
///
/// One thread at a time uses a counter.
class Counter {
public:
    /// Throws `std::invalid_argument` for a line without length, a zone of fewer than three
    /// corners, a coordinate that is not finite, and an option out of range.
    KES_EXPORT Counter(std::vector<Line> lines, std::vector<Zone> zones,
                       CountingOptions const& options = {});
    KES_EXPORT ~Counter();

    Counter(Counter const&) = delete;
    Counter& operator=(Counter const&) = delete;

    /// Takes the objects of a frame at `time`, in seconds that never fall, and returns what is
    /// certain by now, in the order of its times. Throws `std::invalid_argument` for a time before
    /// that of the last call.
    KES_EXPORT std::vector<CountEvent> Process(std::vector<Object> const& objects, double time);

    /// At the end of the stream: what is still open.
    KES_EXPORT std::vector<CountEvent> Finish();

    /// The objects in a zone by now, in the order of their identities.
    KES_EXPORT std::vector<int> Inside(std::size_t zone) const;

private:
    class Impl;
    std::unique_ptr<Impl> impl;
};

}  // namespace kes::tracker
