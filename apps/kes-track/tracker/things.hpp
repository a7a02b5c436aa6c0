// Things: what came to stand without having been followed, such as a case that somebody set down.
#pragma once

#include <functional>
#include <vector>

#include <opencv2/core.hpp>

#include "tracker/foreground.hpp"
#include "tracker/geometry.hpp"
#include "tracker/options.hpp"

namespace kes::tracker {

struct Thing {
    int id = 0;       // 0: not yet seen for long enough to count
    Box box{};        // cells
    cv::Mat1b shape;  // 255 where it was last seen whole, over the box's cells
    int framesSeen = 0;
    int framesGone = 0;
};

struct ThingChanges {
    std::vector<Thing> stopped;
    std::vector<Thing> gone;
    std::vector<Thing> absorbed;  // joined the background; may still be there
};

class Things {
public:
    explicit Things(Options const& options) : options(options) {}

    // explained: 255 where followed objects stand. newId numbers what counts from now on.
    ThingChanges Process(Foreground const& foreground, cv::Mat1b const& explained,
                         std::function<int()> const& newId);

    std::vector<Thing> const& All() const { return things; }

    void Forget() { things.clear(); }

private:
    double FramesIn(double seconds) const { return seconds * options.framesPerSecond; }

    Options const options;
    std::vector<Thing> things;
};

}  // namespace kes::tracker
