// Identities: which number belongs to which place, where motion alone cannot say. Both questions
// are assignments by least cost, over what the objects have looked like.
#pragma once

#include <optional>
#include <vector>

#include "tracker/foreground.hpp"
#include "tracker/options.hpp"
#include "tracker/track.hpp"

namespace kes::tracker {

// How well a place looks like the track: 0 to 1, and a middling value while little is known of it.
float Likeness(Track const& track, Pose const& place, Foreground const& foreground,
               Frame const& frame);

// Teaches the track what it looks like here.
void Teach(Track& track, Foreground const& foreground, Frame const& frame);

// For each newcomer, the index in `absent` of the object out of sight that it is; none for one
// that is new.
std::vector<std::optional<std::size_t>> PairReturning(std::vector<Track*> const& absent,
                                                      std::vector<Pose> const& newcomers,
                                                      Foreground const& foreground,
                                                      Frame const& frame, Options const& options);

// Notes which objects touch. Those that have touched and are clear of each other again may have
// changed places unseen: once they have been apart for a moment, each is given the place that looks
// like it. What an object looks like must not be learnt while it has contacts.
void Untangle(std::vector<Track>& tracks, Foreground const& foreground, Frame const& frame,
              Options const& options);

}  // namespace kes::tracker
