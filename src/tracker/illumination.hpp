// Illumination: how the scene's light differs from the background's, and the picture as that light
// would have shown it. First a field of gains (clouds, lamps, shade), and where that explains too
// little a curve of grey levels beneath it (exposure, contrast, gamma).
#pragma once

#include <array>

#include <opencv2/core.hpp>

namespace kes::tracker {

class Illumination {
public:
    // Compares a picture with the background, which shows the same place. foreground: 255 where the
    // picture before had some, at any size; what is there says nothing of the light.
    void Estimate(cv::Mat1b const& picture, cv::Mat1b const& background,
                  cv::Mat1b const& foreground);

    // How much the light differs: grey levels that Undo changes, on average.
    float Difference() const { return difference; }

    // The share of the background, 0 to 1, that looks different in spite of Undo.
    float Unexplained() const { return unexplained; }

    // The share of the background's textured blocks, 0 to 1, whose texture is still there.
    float Recognized() const { return recognized; }

    // The picture in the background's light.
    void Undo(cv::Mat1b const& picture, cv::Mat1b& corrected) const;

private:
    using Curve = std::array<float, 256>;

    static Curve Straight();
    void FitCurve(cv::Mat1b const& now, cv::Mat1b const& before, cv::Mat1b const& skip);
    void FitGains(cv::Mat1b const& now, cv::Mat1b const& before, cv::Mat1b const& skip);

    Curve curve = Straight();     // grey level now -> in the background's light
    cv::Mat1f gains{1, 1, 1.0F};  // on that, for blocks of the picture
    float difference = 0;
    float unexplained = 0;
    float recognized = 1;
};

}  // namespace kes::tracker
