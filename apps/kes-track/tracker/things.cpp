#include "tracker/things.hpp"

#include <algorithm>

#include <opencv2/imgproc.hpp>

namespace kes::tracker {
namespace {

constexpr double CountsAfter = 1;   // seconds of standing, after the stationary time
constexpr double GoneAfter = 0.5;   // seconds without a trace
constexpr float SameThing = 0.3F;   // overlap of two sightings
constexpr float StillThere = 0.4F;  // of its shape
constexpr float LeastFill = 0.35F;  // of its box: less is a flicker of edges

struct Sighting {
    Box box;
    cv::Mat1b shape;
};

cv::Rect RectOf(Box const& box) {
    return {static_cast<int>(box.left), static_cast<int>(box.top),
            static_cast<int>(box.right - box.left), static_cast<int>(box.bottom - box.top)};
}

std::vector<Sighting> FindSightings(cv::Mat1b const& standing, cv::Mat1b const& explained,
                                    float leastSide) {
    cv::Mat1b rest = standing.clone();
    rest.setTo(0, explained);
    if (cv::countNonZero(rest) == 0) return {};
    cv::morphologyEx(rest, rest, cv::MORPH_CLOSE,
                     cv::getStructuringElement(cv::MORPH_RECT, {3, 3}));
    cv::Mat1i labels;
    cv::Mat1i statistics;
    cv::Mat1d centres;
    int const count = cv::connectedComponentsWithStats(rest, labels, statistics, centres);
    std::vector<Sighting> sightings;
    for (int i = 1; i < count; ++i) {  // 0 is where nothing stands
        cv::Rect const box(statistics(i, cv::CC_STAT_LEFT), statistics(i, cv::CC_STAT_TOP),
                           statistics(i, cv::CC_STAT_WIDTH), statistics(i, cv::CC_STAT_HEIGHT));
        auto const area = static_cast<float>(statistics(i, cv::CC_STAT_AREA));
        bool const isLarge = static_cast<float>(box.width) >= leastSide &&
                             static_cast<float>(box.height) >= leastSide;
        if (!isLarge || area < LeastFill * static_cast<float>(box.area())) continue;
        cv::Mat1b shape;
        cv::compare(labels(box), i, shape, cv::CMP_EQ);
        sightings.push_back(
            {{static_cast<float>(box.x), static_cast<float>(box.y),
              static_cast<float>(box.x + box.width), static_cast<float>(box.y + box.height)},
             shape});
    }
    return sightings;
}

// Still foreground, or behind somebody.
bool IsThere(Thing const& thing, cv::Mat1b const& foreground, cv::Mat1b const& explained) {
    cv::Rect const box = RectOf(thing.box);
    cv::Mat const trace = (foreground(box) | explained(box)) & thing.shape;
    return static_cast<float>(cv::countNonZero(trace)) >=
           StillThere * static_cast<float>(cv::countNonZero(thing.shape));
}

}  // namespace

ThingChanges Things::Process(Foreground const& foreground, cv::Mat1b const& explained,
                             std::function<int()> const& newId) {
    ThingChanges changes;
    float const leastSide = options.minimumThing * static_cast<float>(foreground.Cells().rows);
    auto sightings = FindSightings(foreground.StandingCells(), explained, leastSide);
    for (Thing& thing : things) {
        auto const same =
            std::find_if(sightings.begin(), sightings.end(), [&](Sighting const& sighting) {
                return Overlap(sighting.box, thing.box) >= SameThing;
            });
        if (same != sightings.end()) {
            thing.box = same->box;
            thing.shape = same->shape;
            sightings.erase(same);
        } else if (!IsThere(thing, foreground.Cells(), explained)) {
            ++thing.framesGone;
            continue;
        }
        thing.framesGone = 0;
        ++thing.framesSeen;
        if (thing.id == 0 && thing.framesSeen >= FramesIn(CountsAfter)) {
            thing.id = newId();
            changes.stopped.push_back(thing);
        }
    }
    for (Sighting& sighting : sightings) {
        things.push_back({0, sighting.box, std::move(sighting.shape), 1, 0});
    }
    std::erase_if(things, [&](Thing const& thing) {
        if (thing.framesGone < (thing.id == 0 ? 1 : FramesIn(GoneAfter))) return false;
        if (thing.id == 0) return true;
        bool const isAbsorbed = thing.framesSeen >= FramesIn(options.holdOnTime - CountsAfter);
        (isAbsorbed ? changes.absorbed : changes.gone).push_back(thing);
        return true;
    });
    return changes;
}

}  // namespace kes::tracker
