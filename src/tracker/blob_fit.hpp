// Blob fit: one large object against several of the usual size. A blob that is coherent and much
// larger than is usual where it stands, such as a lorry among cars, is one object as large as the
// blob, unless objects on it have been seen apart.
#pragma once

#include <vector>

#include <opencv2/core.hpp>

#include "tracker/blobs.hpp"
#include "tracker/geometry.hpp"
#include "tracker/scene_scale.hpp"
#include "tracker/track.hpp"

namespace kes::tracker {

// Whether a blob is one object larger than is usual here. extent: of its foreground.
bool IsLargeObject(Blob const& blob, Pose const& extent, SceneScale const& scale);

// Makes a track that has just started one of that size, where it is large.
void TakeOwnSize(Track& track, Pose const& extent, SceneScale const& scale);

struct BlobFit {
    std::vector<int> parts;         // ids of tracks that are part of a large one
    std::vector<cv::Rect> claimed;  // blobs that a large one explains; cells
};

// Gives large tracks the size and the cell of their blobs, and the usual size back where a blob
// says so no longer. tracks: those found on the foreground, pointers not null.
BlobFit FitToBlobs(std::vector<Track*> const& tracks, std::vector<Blob> const& blobs,
                   cv::Mat1b const& foreground, SceneScale const& scale);

}  // namespace kes::tracker
