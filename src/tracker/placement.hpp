// Placement: where each followed object stands on this frame's foreground. All are placed together,
// so that people who have merged into one blob share it out and keep their sizes.
#pragma once

#include <vector>

#include <opencv2/core.hpp>

#include "tracker/coverage.hpp"
#include "tracker/track.hpp"

namespace kes::tracker {

// Moves the stencils of `tracks` (pointers not null; predicted beforehand) to where they best
// explain the foreground: close to the prediction, each where the others leave something to
// explain. The coverage holds every stencil afterwards.
void Place(std::vector<Track*> const& tracks, Coverage& coverage);

// Sets evidence and presence of each track. A track that explains next to nothing of its own is
// taken out of the coverage, the least proven first, so that of two on one object one remains.
// Returns the tracks that remain.
std::vector<Track*> Judge(std::vector<Track*> const& tracks, Coverage& coverage);

}  // namespace kes::tracker
