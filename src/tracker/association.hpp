// Association: which blob of foreground each object stands in, and where in it, by its looks.
#pragma once

#include <vector>

#include "tracker/appearance.hpp"
#include "tracker/blobs.hpp"
#include "tracker/track.hpp"

namespace kes::tracker {

// Pairs tracks (pointers not null; predicted beforehand) with the blobs near them, at the least sum
// of distances and unlikenesses. A blob into which people have merged takes as many as it has room
// for. Sets the clue of each track: its place in its blob; none where no blob is left for it
// or the frame has no colour.
void PairWithBlobs(std::vector<Track*> const& tracks, std::vector<Blob> const& blobs,
                   MaskedFrame const& image);

}  // namespace kes::tracker
