// Tracker: takes the frames of one video in order and gives who is where in each, under numbers
// that last. It reads no file, draws nothing and starts no thread.
#pragma once

#include <memory>
#include <vector>

#include <kes/media/video/frame.hpp>

#include "tracker/geometry.hpp"
#include "tracker/options.hpp"
#include "tracker/track.hpp"

namespace kes::tracker {

// What an outside detector found.
struct Detection {
    Box box;                 // frame pixels, corner to corner
    float confidence = 1;    // 0 to 1
    unsigned int label = 0;  // only objects of one label are taken for the same
};

enum class Kind {
    Mover,  // moves, or has moved
    Thing,  // came to stand without having been followed: a case set down, a parked car
};

struct Object {
    int id;   // from 1, in the order in which objects were first seen; never used twice
    Box box;  // frame pixels, corner to corner, clipped to the frame
    Kind kind;
    Sight sight;
    bool isConfirmed;        // seen for long enough to count
    bool isStanding;         // at rest for the stationary time
    float confidence;        // 0 to 1: how much of it was seen
    unsigned int label = 0;  // of its detections
};

enum class EventType {
    Arrived,   // a mover counts from here on
    Stopped,   // something has been at rest for the stationary time
    MovedOn,   // what had stopped moves again, or a thing is gone
    Absorbed,  // a thing has become background; it may still be there
    Left,      // a mover has left the frame or was not seen again
};

struct Event {
    EventType type;
    int id;
    Box box;  // frame pixels; where the object was last
};

struct Result {
    std::vector<Object> objects;
    std::vector<Event> events;
};

class Tracker {
public:
    explicit Tracker(Options const& options);
    ~Tracker();

    // frame: Nv12, else throws std::invalid_argument. Objects and scene are forgotten when the size
    // changes.
    Result Process(Frame const& frame);

    // The same with boxes from outside in place of foreground; nothing need be learnt beforehand.
    // One tracker is given one kind of frame only.
    Result Process(Frame const& frame, std::vector<Detection> const& detections);

    // Forgets the objects and keeps what was learnt of the scene: its background, and how large
    // and of what shape objects look where.
    void ForgetObjects();

private:
    class Impl;
    std::unique_ptr<Impl> impl;
};

}  // namespace kes::tracker
