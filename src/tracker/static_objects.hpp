// StaticObjects: what came to stand without having been followed, such as a case that somebody set
// down.
#pragma once

#include <functional>
#include <utility>
#include <vector>

#include <kes/geometry/rectangle.hpp>
#include <kes/tracker/tracker.hpp>
#include <opencv2/core.hpp>

#include "tracker/foreground.hpp"
#include "tracker/geometry.hpp"

namespace kes::tracker {

struct StaticObject {
    int id = 0;       // 0: not yet seen for long enough to count
    Box box{};        // cells
    cv::Mat1b shape;  // 255 where it was last seen whole, over the box's cells
    int framesSeen = 0;
    int framesGone = 0;
};

struct StaticChanges {
    std::vector<StaticObject> stopped;
    std::vector<StaticObject> gone;
    std::vector<StaticObject> absorbed;  // joined the background; may still be there
};

// Marks what is about a followed object as explained: what belongs to it, such as its shadow or a
// chair that it has moved, is no static object of its own.
void CoverAbout(Pose const& pose, cv::Mat1b& explained);

class StaticObjects {
public:
    // settings: of this tracker, and outlive this.
    explicit StaticObjects(Options const& settings) : options(settings) {}

    // explained: 255 where followed objects stand. newId numbers what counts from now on.
    StaticChanges Process(Foreground const& foreground, cv::Mat1b const& explained,
                          std::function<int()> const& newId);

    std::vector<StaticObject> const& All() const { return objects; }

    void Forget() { objects.clear(); }

private:
    double FramesIn(double seconds) const { return seconds * options.framesPerSecond; }

    Options const& options;
    std::vector<StaticObject> objects;
};

}  // namespace kes::tracker
