// A made-up hall that people walk about in, with everything known: who is where, how large, and
// what stands.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <vector>

#include <kes/tracker/tracker.hpp>
#include <opencv2/core.hpp>

#include "mot/mot_text.hpp"

namespace kes::track::test {

struct Step {
    int frame;
    float x;     // pixels, of the feet's middle
    float foot;  // pixels, from the top of the picture
};

// Walks straight from step to step, and is out of the picture before the first and after the last.
struct Walker {
    std::vector<Step> steps;
    cv::Scalar coat;  // BGR
    cv::Scalar legs;
};

// A case on the floor.
struct Case {
    int from;
    int to;  // the first frame in which it is gone
    cv::Rect place;
};

class Hall {
public:
    static constexpr int Width = 480;
    static constexpr int Height = 360;
    static constexpr double FramesPerSecond = 10;

    Hall(std::vector<Walker> people, std::vector<Case> cases, std::vector<cv::Rect> pillars = {});

    // The frame of this index, from 0, with noise of its own. Its memory lives until the next call.
    tracker::Frame Draw(int frame);

    // What the camera makes of the picture of a frame, before noise.
    std::function<void(cv::Mat& picture, int frame)> camera;

    // Where walkers wholly are at a frame, ids from 1 in their order, hidden or not.
    std::vector<mot::Row> Truth(int frame) const;

    std::vector<cv::Rect> const& Pillars() const { return pillars; }

    // How tall a person looks who stands at this row.
    static float HeightAt(float foot) { return 50 + 0.3F * (foot - 100); }

private:
    std::vector<Walker> people;
    std::vector<Case> cases;
    std::vector<cv::Rect> pillars;
    cv::Mat floor;
    cv::Mat grain;
    cv::RNG noise{7};
    std::vector<std::uint8_t> bytes;
};

}  // namespace kes::track::test
