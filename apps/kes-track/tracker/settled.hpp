// Settled: the tracker's results a moment later, when more is known. What was seen for too short a
// time to count has gone, what turned out to count is there from its first frame, and short gaps
// are filled in. Without a delay it only leaves out what does not count yet.
#pragma once

#include <cstddef>
#include <deque>
#include <map>
#include <optional>
#include <vector>

#include "tracker/tracker.hpp"

namespace kes::tracker {

class Settled {
public:
    // delay: frames by which results come later than they go in. smoothing: frames to either side
    // (after it, `delay` at most) over which an object's boxes are evened out; 0 for not at all.
    Settled(std::size_t delay, std::size_t smoothing) : delay(delay), smoothing(smoothing) {}

    // Takes the result of a frame and gives that of the frame `delay` earlier, once there is one.
    std::optional<Result> Push(Result result);

    // At the end of the stream: the results still held, one by one.
    std::optional<Result> Pop();

private:
    struct Sighting {
        std::size_t frame;
        Box box;
        float confidence;
    };

    Result Settle();
    std::vector<Sighting> Sightings(int id) const;
    Box Evened(std::vector<Sighting> const& sightings) const;

    std::size_t delay;
    std::size_t smoothing;
    std::size_t frame = 0;  // of the oldest result held
    std::deque<Result> held;
    std::map<int, std::deque<Sighting>> past;  // by object, latest last
};

}  // namespace kes::tracker
