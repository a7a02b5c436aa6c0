// Scene: a small made-up yard for when no real clip is at hand. Two people cross it, a third sets
// down a case, which stays, and walks off.
#pragma once

#include <chrono>

#include <opencv2/core.hpp>

namespace kes::track::draw {

class Scene {
public:
    static constexpr int Width = 640;
    static constexpr int Height = 360;
    static constexpr double FrameRate = 15.0;
    static constexpr auto Length = std::chrono::seconds(24);

    Scene();

    // The picture at `time`, 8-bit BGR, with fresh sensor noise. The same calls give the same
    // pictures.
    cv::Mat Draw(std::chrono::nanoseconds time);

private:
    cv::Mat yard;
    cv::RNG noise{20120817};
};

}  // namespace kes::track::draw
