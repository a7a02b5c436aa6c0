// Track: one followed object. Its state is that of its place in the picture; the rest is who it is.
#pragma once

#include <optional>
#include <vector>

#include <kes/algorithm/tracking_base/smog.hpp>
#include <kes/tracker/tracker.hpp>

#include "tracker/geometry.hpp"
#include "tracker/motion.hpp"
#include "tracker/silhouette.hpp"

namespace kes::tracker {

// Another object that this one has touched, and what their looks have said since.
struct Contact {
    int id;
    bool isTouching = true;
    int framesCompared = 0;
    float likenessHere = 0;   // of this object at its own place, summed over those frames
    float likenessThere = 0;  // of this object at the other's place
};

// Where an object stands by the looks of it.
struct Clue {
    float x;
    float foot;
    float likeness;  // 0 to 1
};

// What two tracks exchange when they turn out to have been taken for each other.
struct TrackState {
    Pose pose{};
    AxisFilter x;
    AxisFilter foot;
    Stencil stencil;  // the silhouette at the present size
    int cellX = 0;    // where the stencil is placed now
    int cellFoot = 0;

    Visibility visibility = Visibility::Visible;
    int framesUnseen = 0;  // since it was last seen
    float evidence = 0;    // of foreground that only this object explains, 0 to about 1
    float presence = 0;    // of any foreground where it should be, 0 to about 1

    Pose rest{};           // where it came to rest, and
    int framesAtRest = 0;  // for how long
    bool isStanding = false;
};

struct Track {
    int id = 0;
    unsigned int label = 0;
    TrackState state;

    float ownWidth = 0;  // as measured, for a scene whose scale is not known
    float ownHeight = 0;
    float sizeFactor = 1;   // own height / the scene's usual height where it stands
    float widthFactor = 1;  // own width / the usual width of what is that high
    bool isLarge = false;   // far from the usual size: as large as its blob
    Silhouette silhouette;

    algorithm::tracking_base::appearance::Smog appearance;
    int appearanceUpdates = 0;
    std::optional<Clue> clue;  // of this frame

    bool confirmed = false;
    bool isAlone = false;  // visible and clear of every other object and of the border
    int framesAlone = 0;
    int framesSeen = 0;
    Pose start{};           // where it was first seen
    bool hasMoved = false;  // by more than its width since

    std::vector<Contact> contacts;  // not yet told from this one
};

}  // namespace kes::tracker
