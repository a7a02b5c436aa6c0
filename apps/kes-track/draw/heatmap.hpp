// Heatmap: where objects have been, and for how long.
#pragma once

#include <opencv2/core.hpp>

#include <kes/tracker/tracker.hpp>

namespace kes::track::draw {

class Heatmap {
public:
    // For pictures of this size.
    explicit Heatmap(cv::Size size);

    // Call for every picture, with the seconds that it lasts.
    void Note(tracker::Result const& result, double seconds);

    // Over a picture of the scene, BGR, which may be empty: from clear through blue and orange to
    // white, where most time was spent.
    cv::Mat Draw(cv::Mat const& background) const;

private:
    cv::Size size;
    cv::Mat1f seconds;  // a quarter of the picture's sides
};

}  // namespace kes::track::draw
