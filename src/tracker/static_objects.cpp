#include "tracker/static_objects.hpp"

#include <algorithm>

#include <opencv2/core.hpp>

#include "tracker/blobs.hpp"

namespace kes::tracker {
namespace {

constexpr double CountsAfter = 1;   // seconds of standing, after the stationary time
constexpr double GoneAfter = 0.5;   // seconds without a trace
constexpr float SameObject = 0.3F;  // overlap of two sightings
constexpr float StillThere = 0.4F;  // of its shape
constexpr float LeastFill = 0.35F;  // of its box: less is a flicker of edges

constexpr float About = 0.3F;      // an object, in its widths
constexpr float ScrapGap = 0.04F;  // of the frame's height: nearer ones are one object

struct Sighting {
    Box box;
    cv::Mat1b shape;
};

cv::Rect RectOf(Box const& box) {
    return {static_cast<int>(box.left), static_cast<int>(box.top), static_cast<int>(box.GetWidth()),
            static_cast<int>(box.GetHeight())};
}

std::vector<Sighting> FindSightings(cv::Mat1b const& standing, cv::Mat1b const& explained,
                                    float leastSide) {
    cv::Mat1b rest = standing.clone();
    rest.setTo(0, explained);
    if (cv::countNonZero(rest) == 0) return {};
    std::vector<Sighting> sightings;
    int const gap =
        std::max(3, 2 * static_cast<int>(ScrapGap * static_cast<float>(rest.rows) / 2) + 1);
    for (Blob const& blob : BlobsOf(rest, {gap, gap})) {
        auto const width = static_cast<float>(blob.box.width);
        auto const height = static_cast<float>(blob.box.height);
        auto const area = static_cast<float>(cv::countNonZero(rest(blob.box) & blob.shape));
        bool const isLarge = width >= leastSide && height >= leastSide;
        if (!isLarge || area < LeastFill * width * height) continue;
        auto const left = static_cast<float>(blob.box.x);
        auto const top = static_cast<float>(blob.box.y);
        sightings.push_back({{left, top, left + width, top + height}, blob.shape});
    }
    return sightings;
}

// Still foreground, or behind somebody.
bool IsThere(StaticObject const& object, cv::Mat1b const& foreground, cv::Mat1b const& explained) {
    cv::Rect const box = RectOf(object.box);
    cv::Mat const trace = (foreground(box) | explained(box)) & object.shape;
    return static_cast<float>(cv::countNonZero(trace)) >=
           StillThere * static_cast<float>(cv::countNonZero(object.shape));
}

}  // namespace

void CoverAbout(Pose const& pose, cv::Mat1b& explained) {
    Box const box = BoxOf(pose);
    float const about = About * pose.width;
    cv::Point const corner(static_cast<int>(box.left - about), static_cast<int>(box.top));
    cv::Point const opposite(static_cast<int>(box.right + about),
                             static_cast<int>(box.bottom + about));
    explained(cv::Rect(corner, opposite) & cv::Rect({}, explained.size())) = 255;
}

StaticChanges StaticObjects::Process(Foreground const& foreground, cv::Mat1b const& explained,
                                     std::function<int()> const& newId) {
    StaticChanges changes;
    float const leastSide = options.minimumStaticSide * static_cast<float>(foreground.Cells().rows);
    auto sightings = FindSightings(foreground.StandingCells(), explained, leastSide);
    for (StaticObject& object : objects) {
        auto const same =
            std::find_if(sightings.begin(), sightings.end(), [&](Sighting const& sighting) {
                return Overlap(sighting.box, object.box) >= SameObject;
            });
        if (same != sightings.end()) {
            object.box = same->box;
            object.shape = same->shape;
            sightings.erase(same);
        } else if (!IsThere(object, foreground.Cells(), explained)) {
            ++object.framesGone;
            continue;
        }
        object.framesGone = 0;
        ++object.framesSeen;
        if (object.id == 0 && object.framesSeen >= FramesIn(CountsAfter)) {
            object.id = newId();
            changes.stopped.push_back(object);
        }
    }
    for (Sighting& sighting : sightings) {
        objects.push_back({0, sighting.box, std::move(sighting.shape), 1, 0});
    }
    std::erase_if(objects, [&](StaticObject const& object) {
        if (object.framesGone < (object.id == 0 ? 1 : FramesIn(GoneAfter))) return false;
        if (object.id == 0) return true;
        bool const isAbsorbed = object.framesSeen >= FramesIn(options.holdOnTime - CountsAfter);
        (isAbsorbed ? changes.absorbed : changes.gone).push_back(object);
        return true;
    });
    return changes;
}

}  // namespace kes::tracker
