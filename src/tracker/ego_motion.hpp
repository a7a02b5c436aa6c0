// EgoMotion: how far the camera has moved since its background was learnt, told from patches of the
// background that are found again in the picture. Patches are compared by correlation, so that
// light does not matter, and most of them must agree, so that passing objects do not.
#pragma once

#include <vector>

#include <opencv2/core.hpp>

namespace kes::tracker {

class EgoMotion {
public:
    // Chooses patches of the background to look for. The place found last is kept.
    void Choose(cv::Mat1b const& background);

    // Where the background's origin lies in the picture, in pixels: searched about the last place
    // first, then everywhere; the last place again where too few patches agree.
    cv::Point2f Find(cv::Mat1b const& picture, cv::Mat1b const& background);

private:
    struct Patch {
        cv::Point corner;
        std::vector<short> pixels;
        float sum;     // of the pixels
        float energy;  // of their deviations from the mean, squared and summed
    };

    bool Vote(cv::Mat1b const& picture, cv::Point around, int reach);
    bool SearchEverywhere(cv::Mat1b const& picture, cv::Mat1b const& background);

    int scale = 1;  // pixels of the frame along one of those compared
    std::vector<Patch> patches;
    cv::Point2f offset{};
    int framesLost = 0;
};

}  // namespace kes::tracker
