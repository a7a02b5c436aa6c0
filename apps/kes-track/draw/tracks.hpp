// Tracks on pictures: boxes with numbers and short trails on each, and the paths of a whole clip on
// one.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <vector>

#include <kes/tracker/tracker.hpp>
#include <opencv2/core.hpp>

#include "draw/font.hpp"

namespace kes::track::draw {

// The colour, BGR, that an object's number has throughout.
cv::Scalar ColourOf(int id);

class TrackPainter {
public:
    // trailLength: pictures that a trail reaches back.
    explicit TrackPainter(std::size_t trailLength) : trailLength(trailLength) {}

    // Call for every picture, in order, drawn or not.
    void Note(tracker::Result const& result);

    // Draws the objects last noted: boxes, thin where an object is hidden, their numbers, trails;
    // what stands still is framed in the colour of stationary things.
    void Draw(cv::Mat& picture) const;

private:
    struct Trail {
        std::deque<cv::Point2f> points;
        bool isPresent;
    };

    std::size_t trailLength;
    Font font{Font::Weight::Bold};
    tracker::Result latest;
    std::map<int, Trail> trails;
};

// Grows by nothing as the clip goes on: paths are drawn as they are walked, and the background is
// the median of a few pictures.
class PathPicture {
public:
    // Call for every picture, in order. True when the picture is wanted as one of those that the
    // background is made of: Add it, without anything drawn on it.
    bool Note(tracker::Result const& result);
    void Add(cv::Mat const& picture);

    // The scene without what moves, and with all paths over it. Empty before a picture was added.
    cv::Mat Background() const;
    cv::Mat Draw() const;

private:
    static constexpr std::size_t MostPictures = 16;
    static constexpr int LongestSide = 1280;  // of the picture made

    void DrawStep(cv::Point2f from, cv::Point2f to, int id);

    std::vector<cv::Mat> pictures;
    std::uint64_t stride = 1;
    std::uint64_t noted = 0;
    std::map<int, cv::Point2f> last;
    cv::Mat paths;        // BGR
    cv::Mat1b pathCells;  // 255 where there is a path
    float scale = 1;
};

}  // namespace kes::track::draw
