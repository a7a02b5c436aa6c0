#include "tracker/initiation.hpp"

#include <algorithm>
#include <cmath>
#include <optional>

#include <opencv2/imgproc.hpp>

#include "tracker/blob_fit.hpp"
#include "tracker/blobs.hpp"
#include "tracker/measure.hpp"
#include "tracker/scene_scale.hpp"
#include "tracker/silhouette.hpp"

namespace kes::tracker {
namespace {

constexpr int ExplainedLevel = 2;  // covered with probability 0.22: not left over
constexpr int MostInOneBlob = 6;
constexpr int Step = 2;                 // of the search, in cells
constexpr int LeastWidth = 3;           // of a blob, in cells
constexpr float LeastHeight = 0.55F;    // of a blob, in usual heights
constexpr float LeastExplained = 0.1F;  // of a blob, that makes it part of an object
constexpr float LeastArea = 0.3F;       // of a blob, in usual boxes
constexpr float LeastAreaAtBorder = 0.15F;
// The share of a full silhouette's worth that the first and each further object must add.
constexpr float FirstWorth = 0.15F;
constexpr float FurtherWorth = 0.3F;
constexpr float WorthOfCell = 3.5F;  // about log(1 / stray probability)

std::vector<Blob> LeftOver(cv::Mat1b const& foreground, Coverage const& coverage) {
    cv::Mat1b rest = foreground.clone();
    rest.setTo(0, coverage.Levels() >= ExplainedLevel);
    // Slivers along the edges of silhouettes go.
    cv::morphologyEx(rest, rest, cv::MORPH_OPEN, cv::getStructuringElement(cv::MORPH_RECT, {3, 3}));
    return BlobsOf(rest, PersonGap);
}

bool IsAtBorder(cv::Rect const& box, cv::Size frame) {
    return box.x <= 2 || box.y <= 2 || box.x + box.width >= frame.width - 3 ||
           box.y + box.height >= frame.height - 3;
}

// Where sizes are unknown a blob is one object, and part of a blob is none: only blobs that are
// whole and that no object explains in part are taken.
std::vector<Pose> FindWhole(cv::Mat1b const& foreground, Coverage const& coverage,
                            float minimumHeight) {
    std::vector<Pose> found;
    for (Blob const& blob : BlobsOf(foreground, PersonGap)) {
        cv::Rect const& box = blob.box;
        bool const isLarge =
            box.width >= LeastWidth && static_cast<float>(box.height) >= minimumHeight;
        if (!isLarge || IsAtBorder(box, foreground.size())) continue;
        int const explained =
            cv::countNonZero((coverage.Levels()(box) >= ExplainedLevel) & foreground(box));
        if (static_cast<float>(explained) > LeastExplained * static_cast<float>(blob.area)) {
            continue;
        }
        auto const width = static_cast<float>(box.width);
        found.push_back({static_cast<float>(box.x) + width / 2,
                         static_cast<float>(box.y + box.height), width,
                         static_cast<float>(box.height)});
    }
    return found;
}

struct Candidate {
    Pose pose{};
    Stencil stencil;
    float worth = 0;
};

Candidate BestIn(cv::Rect const& box, Coverage const& coverage, SceneModel const& scene,
                 float blobHeight) {
    Candidate best;
    int const first = box.y + static_cast<int>(0.4F * blobHeight);
    for (int foot = first; foot <= box.y + box.height + Step; foot += Step) {
        auto const row = static_cast<float>(foot);
        auto const size = *scene.scale.SizeAt(row);
        Pose pose{0, row, size.width, size.height};
        Stencil const stencil = scene.silhouette.Draw(pose.width, pose.height);
        for (int x = box.x; x <= box.x + box.width; x += Step) {
            float const worth =
                coverage.Gain(stencil, x, foot) / (std::max(1.0F, stencil.area) * WorthOfCell);
            if (worth > best.worth) {
                pose.x = static_cast<float>(x);
                best = {pose, stencil, worth};
            }
        }
    }
    return best;
}

}  // namespace

std::vector<Pose> FindNewObjects(cv::Mat1b const& foreground, Coverage& coverage,
                                 SceneModel const& scene, std::vector<cv::Rect> const& claimed,
                                 float minimumHeight) {
    std::vector<Pose> found;
    for (Blob const& blob : LeftOver(foreground, coverage)) {
        cv::Rect const& box = blob.box;
        bool const isClaimed = std::any_of(claimed.begin(), claimed.end(),
                                           [&](cv::Rect const& one) { return (one & box) == box; });
        if (isClaimed) continue;
        auto const size = scene.scale.SizeAt(static_cast<float>(box.y + box.height));
        if (!size) return FindWhole(foreground, coverage, minimumHeight);
        auto const height = static_cast<float>(box.height);
        if (box.width < LeastWidth || size->height < minimumHeight) continue;
        bool const isAtBorder = IsAtBorder(box, foreground.size());
        float const usualArea = size->width * size->height;
        if (height < LeastHeight * size->height) continue;
        if (static_cast<float>(blob.area) <
            (isAtBorder ? LeastAreaAtBorder : LeastArea) * usualArea) {
            continue;
        }
        auto const extent = MeasureIn(box, foreground);
        if (extent && IsLargeObject(blob, *extent, scene.scale)) {
            coverage.Add(scene.silhouette.Draw(extent->width, extent->height),
                         static_cast<int>(extent->x), static_cast<int>(extent->foot));
            found.push_back(*extent);
            continue;
        }
        for (int i = 0; i < MostInOneBlob; ++i) {
            Candidate const best = BestIn(box, coverage, scene, size->height);
            if (best.worth < (i == 0 ? FirstWorth : FurtherWorth)) break;
            coverage.Add(best.stencil, static_cast<int>(best.pose.x),
                         static_cast<int>(best.pose.foot));
            found.push_back(best.pose);
        }
    }
    return found;
}

}  // namespace kes::tracker
