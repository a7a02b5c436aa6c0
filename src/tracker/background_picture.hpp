// BackgroundPicture: what the empty scene looks like, in the place and light of its first picture.
// The segmenter's own model cannot be looked into; this one says what its input should look like.
#pragma once

#include <opencv2/core.hpp>

namespace kes::tracker {

class BackgroundPicture {
public:
    // Takes this picture for the background.
    void Begin(cv::Mat1b const& picture);

    // Blends in a picture of the same place and light where there is no foreground. foreground:
    // 255 where there is some, at any size.
    void Learn(cv::Mat1b const& picture, cv::Mat1b const& foreground);

    // Empty before the first picture.
    cv::Mat1b const& Luma() const { return luma; }

private:
    cv::Mat1w mean;  // 8 fractional bits
    cv::Mat1b luma;
    int learnt = 0;  // pictures
};

}  // namespace kes::tracker
