// ClipBackground: the empty scene of a recorded clip, from pictures spread over it: at each pixel
// their median, in the place and light of the first. Who stands for less than half the time is not
// in it.
#pragma once

#include <cstddef>
#include <vector>

#include <opencv2/core.hpp>

#include "tracker/conditioner.hpp"

namespace kes::tracker {

class ClipBackground {
public:
    // Takes the clip's pictures in order, and keeps some.
    void Add(cv::Mat1b const& picture);

    bool IsEmpty() const { return kept.empty(); }

    // Ends the taking. The median, then the pictures kept with the median in place of objects: the
    // scene as it looks empty, its noise included.
    std::vector<cv::Mat1b> Finish();

private:
    std::vector<cv::Mat1b> InTheFirstLight() const;

    Conditioner conditioner;
    std::vector<cv::Mat1b> kept;
    std::vector<float> lightDifferences;  // of those, from the first, in grey levels
    std::size_t stride = 1;               // of the pictures kept
    std::size_t seen = 0;
};

}  // namespace kes::tracker
