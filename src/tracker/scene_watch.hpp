// SceneWatch: tells changes of the whole picture that are worth an event: light that jumps, a
// camera that has come to rest elsewhere, and a picture that shows the background no more.
#pragma once

#include <optional>

#include <kes/tracker/tracker.hpp>
#include <opencv2/core.hpp>

namespace kes::tracker {

class SceneWatch {
public:
    explicit SceneWatch(double rate) : framesPerSecond(rate) {}

    // One frame: how far the camera is from where the background was learnt, in pixels, how far its
    // light, in grey levels, and whether the background is to be seen at all. SceneChanged asks for
    // the background to be learnt anew.
    std::optional<EventType> Note(cv::Point2f offset, float light, bool isFollowed);

private:
    double framesPerSecond;
    cv::Point2f restingPlace{};
    cv::Point2f toldPlace{};
    float usualLight = 0;
    int framesResting = 0;
    int framesUnfollowed = 0;
};

}  // namespace kes::tracker
