// Appearance: what objects look like, learnt and asked of the appearance model. A frame without
// colour teaches and tells nothing.
#pragma once

#include <vector>

#include <kes/algorithm/bit_mask.hpp>
#include <kes/geometry/rectangle.hpp>
#include <kes/tracker/tracker.hpp>

#include "tracker/blobs.hpp"
#include "tracker/geometry.hpp"
#include "tracker/luma.hpp"
#include "tracker/track.hpp"

namespace kes::tracker {

// What objects look like is read from the frame, where the mask is set.
struct MaskedFrame {
    algorithm::BitMask const& mask;
    Frame const& frame;
    int bitsPerCell;    // of the mask, along each side of a cell
    bool isForeground;  // or the mask is all set, and boxes show the background too
};

// Of an object whose looks are not known yet.
constexpr float UnknownLikeness = 0.5F;

bool AreLooksKnown(Track const& track);

// Teaches the track what it looks like here.
void Teach(Track& track, MaskedFrame const& image);

// How well a place looks like the track, 0 to 1.
float Likeness(Track const& track, Pose const& place, MaskedFrame const& image);

// Where in a blob the track stands, by its looks and near its prediction: in the middle of one that
// is no larger than the track, else where its colours are found. The frame has colour.
Clue FindIn(Blob const& blob, Track const& track, MaskedFrame const& image);

// What is to be seen of a track: those cells of its silhouette that no nearer track covers.
class View {
public:
    View(Track const& track, std::vector<Track> const& tracks, MaskedFrame const& image);

    // Of the silhouette, 0 to 1.
    float Share() const { return share; }

    // How well what is to be seen here looks like another track, 0 to 1.
    float Likeness(Track const& other, Frame const& frame) const;

private:
    geometry::Rectangle<int> bits;
    algorithm::BitMask visible;
    float share = 0;
};

}  // namespace kes::tracker
