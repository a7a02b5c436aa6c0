#include "draw/heatmap.hpp"

#include <algorithm>
#include <cmath>

#include <opencv2/imgproc.hpp>

namespace kes::track::draw {
namespace {

constexpr int Cell = 4;  // pixels a side

}  // namespace

Heatmap::Heatmap(cv::Size pictureSize)
    : size(pictureSize),
      seconds((pictureSize.height + Cell - 1) / Cell, (pictureSize.width + Cell - 1) / Cell, 0.0F) {
}

void Heatmap::Note(tracker::Result const& result, double lasting) {
    for (tracker::Object const& object : result.objects) {
        if (object.kind != tracker::Kind::Mover) continue;
        auto const& box = object.box;
        int const x =
            std::clamp(static_cast<int>((box.left + box.right) / 2) / Cell, 0, seconds.cols - 1);
        int const y = std::clamp(static_cast<int>(box.bottom) / Cell, 0, seconds.rows - 1);
        seconds(y, x) += static_cast<float>(lasting);
    }
}

cv::Mat Heatmap::Draw(cv::Mat const& background) const {
    cv::Mat picture(size, CV_8UC3, cv::Scalar::all(0));
    if (!background.empty()) cv::resize(background, picture, size, 0, 0, cv::INTER_LINEAR);
    cv::Mat1f spread;
    cv::GaussianBlur(seconds, spread, {}, std::max(1.0, seconds.rows / 60.0));
    double most = 0;
    cv::minMaxLoc(spread, nullptr, &most);
    if (most <= 0) return picture;
    // The root shows a path walked once beside a place where many stood.
    cv::sqrt(spread / most, spread);
    cv::resize(spread, spread, size, 0, 0, cv::INTER_LINEAR);
    cv::Mat1b levels;
    spread.convertTo(levels, CV_8U, 255);
    cv::Mat colours;
    cv::applyColorMap(levels, colours, cv::COLORMAP_INFERNO);
    for (int y = 0; y < picture.rows; ++y) {
        for (int x = 0; x < picture.cols; ++x) {
            float const weight = std::min(1.0F, 1.5F * spread(y, x));
            auto& pixel = picture.at<cv::Vec3b>(y, x);
            auto const& colour = colours.at<cv::Vec3b>(y, x);
            for (int c = 0; c < 3; ++c) {
                pixel[c] =
                    cv::saturate_cast<unsigned char>((1 - weight) * pixel[c] + weight * colour[c]);
            }
        }
    }
    return picture;
}

}  // namespace kes::track::draw
