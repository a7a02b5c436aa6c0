// Identities: which number belongs to which place, where motion alone cannot say. Both questions
// are assignments by least cost, over what the objects have looked like.
#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include <kes/tracker/tracker.hpp>

#include "tracker/appearance.hpp"
#include "tracker/geometry.hpp"
#include "tracker/track.hpp"

namespace kes::tracker {

// For each place found, the index in `absent` of the object unseen that it is; none for one that
// is new.
std::vector<std::optional<std::size_t>> PairReturning(std::vector<Track*> const& absent,
                                                      std::vector<Pose> const& found,
                                                      MaskedFrame const& image,
                                                      Options const& options);

// For each detected place, the index in `tracks` of the object that it is; none for one that is
// new. Only objects of a place's label can be it.
std::vector<std::optional<std::size_t>> PairDetected(std::vector<Track> const& tracks,
                                                     std::vector<Pose> const& places,
                                                     std::vector<unsigned int> const& labels,
                                                     MaskedFrame const& image,
                                                     Options const& options);

// Notes which objects touch. Those that do, or have done so and are clear of each other again, may
// have changed places unseen: once they have been compared for a moment, by what is to be seen of
// each, everyone is given the place that looks like them. What an object looks like must not be
// learnt while it has contacts.
void ExchangeIdentities(std::vector<Track>& tracks, MaskedFrame const& image,
                        Options const& options);

}  // namespace kes::tracker
