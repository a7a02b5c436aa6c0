#include "tracker/blob_fit.hpp"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <tuple>
#include <vector>

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

#include "tracker/blobs.hpp"
#include "tracker/geometry.hpp"
#include "tracker/measure.hpp"
#include "tracker/scene_scale.hpp"
#include "tracker/silhouette.hpp"
#include "tracker/track.hpp"

namespace kes::tracker {
namespace {

constexpr float LeastOnBlob = 0.3F;  // of a track's core
constexpr int ApartFor = 5;          // frames alone that prove an object
constexpr float LeastFill = 0.5F;    // of a track's core: less and it is not that large
constexpr float FitRate = 0.3F;      // a frame, of what is seen of a large object

// In usual heights, widths and boxes; the convexity is the area of the convex hull's. People and
// cars who merge are not as tall as this, or leave notches between them.
constexpr float TallHeight = 2;
constexpr float TallWidth = 2;
constexpr float TallArea = 4.5F;
constexpr double TallConvexity = 0.7;
constexpr float BroadWidth = 3;
constexpr float BroadArea = 2.5F;
constexpr double BroadConvexity = 0.88;

// The share of the track's core that lies on the blob.
float ShareOn(Track const& track, Blob const& blob) {
    Stencil const& stencil = track.state.stencil;
    cv::Point const corner(track.state.cellX + stencil.left, track.state.cellFoot + stencil.top);
    cv::Rect const common = cv::Rect(corner, cv::Size(stencil.width, stencil.height)) & blob.box;
    int on = 0;
    for (int y = common.y; y < common.y + common.height; ++y) {
        std::uint8_t const* const own = stencil.Row(y - corner.y);
        std::uint8_t const* const shape = blob.shape[y - blob.box.y];
        for (int x = common.x; x < common.x + common.width; ++x) {
            if (own[x - corner.x] >= CoreLevel && shape[x - blob.box.x] != 0) ++on;
        }
    }
    return stencil.area > 0 ? static_cast<float>(on) / stencil.area : 0;
}

std::vector<std::vector<Track*>> TracksOn(std::vector<Blob> const& blobs,
                                          std::vector<Track*> const& tracks) {
    std::vector<std::vector<Track*>> tracksOn(blobs.size());
    for (Track* track : tracks) {
        float best = LeastOnBlob;
        std::optional<std::size_t> place;
        for (std::size_t b = 0; b < blobs.size(); ++b) {
            float const share = ShareOn(*track, blobs[b]);
            if (share <= best) continue;
            best = share;
            place = b;
        }
        if (place) tracksOn[*place].push_back(track);
    }
    return tracksOn;
}

// The track that the others on its blob would be parts of.
Track& MostProven(std::vector<Track*> const& tracks) {
    auto const proof = [](Track const* track) {
        return std::tuple(track->isLarge, track->framesAlone >= ApartFor, track->framesSeen);
    };
    return **std::max_element(
        tracks.begin(), tracks.end(),
        [&](Track const* one, Track const* other) { return proof(one) < proof(other); });
}

struct Factors {
    float size;
    float width;
};

std::optional<Factors> FactorsOf(Pose const& extent, SceneScale const& scale) {
    auto const usual = scale.SizeAt(extent.foot);
    if (!usual) return std::nullopt;
    float const size = extent.height / usual->height;
    return Factors{size, extent.width / usual->width / size};
}

void Fit(Track& track, Pose const& extent, cv::Mat1b const& foreground, SceneScale const& scale) {
    auto const follow = [](float& value, float seen) { value += FitRate * (seen - value); };
    follow(track.ownWidth, extent.width);
    follow(track.ownHeight, extent.height);
    if (auto const factors = FactorsOf(extent, scale)) {
        follow(track.sizeFactor, factors->size);
        follow(track.widthFactor, factors->width);
        track.isLarge = factors->size > LargestFactor;
    }
    track.silhouette.Learn(extent, foreground, FitRate);
    track.state.cellX = static_cast<int>(std::lround(extent.x));
    track.state.cellFoot = static_cast<int>(std::lround(extent.foot));
    track.state.evidence = 1;
}

// Nothing says any more that it is large.
void TakeUsualSize(Track& track) {
    track.isLarge = false;
    track.sizeFactor = track.widthFactor = 1;
}

}  // namespace

bool IsLargeObject(Blob const& blob, Pose const& extent, SceneScale const& scale) {
    auto const usual = scale.SizeAt(extent.foot);
    if (!usual) return false;
    float const height = extent.height / usual->height;
    float const width = extent.width / usual->width;
    float const area = static_cast<float>(blob.area) / (usual->width * usual->height);
    bool const isTall = height >= TallHeight && width >= TallWidth && area >= TallArea;
    bool const isBroad = width >= BroadWidth && area >= BroadArea;
    if (!isTall && !isBroad) return false;
    std::vector<cv::Point> cells;
    std::vector<cv::Point> hull;
    cv::findNonZero(blob.shape, cells);
    cv::convexHull(cells, hull);
    return static_cast<double>(cells.size()) >=
           (isTall ? TallConvexity : BroadConvexity) * cv::contourArea(hull);
}

void TakeOwnSize(Track& track, Pose const& extent, SceneScale const& scale) {
    auto const factors = FactorsOf(extent, scale);
    if (!factors || factors->size <= LargestFactor) return;
    track.isLarge = true;
    track.sizeFactor = factors->size;
    track.widthFactor = factors->width;
}

BlobFit FitToBlobs(std::vector<Track*> const& tracks, std::vector<Blob> const& blobs,
                   cv::Mat1b const& foreground, SceneScale const& scale) {
    BlobFit fit;
    auto const tracksOn = TracksOn(blobs, tracks);
    for (std::size_t b = 0; b < blobs.size(); ++b) {
        auto const& on = tracksOn[b];
        auto const extent = MeasureIn(blobs[b].box, foreground);
        if (on.empty() || !extent) continue;
        Track& first = MostProven(on);
        bool const areApart = std::any_of(on.begin(), on.end(), [&](Track const* track) {
            return track != &first && track->framesAlone >= ApartFor;
        });
        bool const isAlone = on.size() == 1;
        bool const isLarge = (isAlone && first.isLarge) || IsLargeObject(blobs[b], *extent, scale);
        if (isLarge && (first.isLarge || !areApart)) {
            if (!areApart) Fit(first, *extent, foreground, scale);
            for (Track const* track : on) {
                if (track != &first && track->framesAlone < ApartFor) {
                    fit.parts.push_back(track->id);
                }
            }
            fit.claimed.push_back(blobs[b].box);
        } else if (first.isLarge && first.isAlone && first.state.presence < LeastFill) {
            TakeUsualSize(first);
        }
    }
    return fit;
}

}  // namespace kes::tracker
