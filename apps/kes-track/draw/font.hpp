// Font: readable words on pictures.
#pragma once

#include <string>

#include <opencv2/core.hpp>

namespace cv::freetype {
class FreeType2;
}

namespace kes::track::draw {

// DejaVu Sans where Debian's fonts-dejavu-core is installed, OpenCV's stroke letters where not.
// Text is UTF-8; the stroke letters show what is not ASCII as '?'.
class Font {
public:
    enum class Weight { Normal, Bold };

    explicit Font(Weight weight);

    // The width in pixels of `text` set with letters `height` pixels high, ascenders included.
    int Width(std::string const& text, int height) const;

    // picture: 8-bit BGR. left, baseline: where the first letter stands.
    void Draw(cv::Mat& picture, std::string const& text, int left, int baseline, int height,
              cv::Scalar const& colour) const;

    // `text`, shortened with "..." until it is no wider than `width`.
    std::string Fit(std::string text, int height, int width) const;

private:
    cv::Ptr<cv::freetype::FreeType2> outlines;  // null: stroke letters
    int strokes;
};

}  // namespace kes::track::draw
