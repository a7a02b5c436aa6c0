#include "tracker/clip_background.hpp"

#include <algorithm>
#include <utility>

#include <opencv2/imgproc.hpp>

namespace kes::tracker {
namespace {

constexpr std::size_t MostKept = 48;
constexpr std::size_t LeastKept = 12;
constexpr std::size_t MostBytes = 64'000'000;
constexpr int Noise = 12;        // grey levels; an object differs by more from the median
constexpr int Thin = 5;          // pixels; what is thinner is noise along edges
constexpr int Rim = 9;           // pixels across, taken off with an object
constexpr float AlikeLight = 4;  // grey levels

cv::Mat1b ObjectsIn(cv::Mat1b const& picture, cv::Mat1b const& empty) {
    cv::Mat1b objects;
    cv::absdiff(picture, empty, objects);
    cv::threshold(objects, objects, Noise, 255, cv::THRESH_BINARY);
    cv::morphologyEx(objects, objects, cv::MORPH_OPEN,
                     cv::getStructuringElement(cv::MORPH_RECT, {Thin, Thin}));
    cv::dilate(objects, objects, cv::getStructuringElement(cv::MORPH_RECT, {Rim, Rim}));
    return objects;
}

}  // namespace

// When there is no room for another picture, every other one goes.
void ClipBackground::Add(cv::Mat1b const& picture) {
    if (seen++ % stride != 0) return;
    cv::Mat1b const nothing(8, 8, std::uint8_t{0});
    cv::Mat1b const& conditioned = conditioner.Process(picture, nothing);
    if (!conditioner.IsFollowed()) return;
    kept.push_back(conditioned.clone());
    lightDifferences.push_back(conditioner.LightDifference());
    std::size_t const most = std::clamp(MostBytes / picture.total(), LeastKept, MostKept);
    if (kept.size() < most) return;
    for (std::size_t i = 1; 2 * i < kept.size(); ++i) {
        kept[i] = kept[2 * i];
        lightDifferences[i] = lightDifferences[2 * i];
    }
    kept.resize((kept.size() + 1) / 2);
    lightDifferences.resize(kept.size());
    stride *= 2;
}

// A change of light is made up for only so well: the first light is preferred.
std::vector<cv::Mat1b> ClipBackground::InTheFirstLight() const {
    std::vector<cv::Mat1b> alike;
    for (std::size_t i = 0; i < kept.size(); ++i) {
        if (lightDifferences[i] <= AlikeLight) alike.push_back(kept[i]);
    }
    return alike.size() >= LeastKept ? alike : kept;
}

std::vector<cv::Mat1b> ClipBackground::Finish() {
    std::vector<cv::Mat1b> const alike = InTheFirstLight();
    cv::Mat1b median(alike.front().size());
    std::vector<unsigned char> values(alike.size());
    auto const middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    for (int y = 0; y < median.rows; ++y) {
        for (int x = 0; x < median.cols; ++x) {
            for (std::size_t i = 0; i < alike.size(); ++i) values[i] = alike[i](y, x);
            std::nth_element(values.begin(), middle, values.end());
            median(y, x) = *middle;
        }
    }
    std::vector<cv::Mat1b> pictures{median};
    for (cv::Mat1b& picture : std::exchange(kept, {})) {
        median.copyTo(picture, ObjectsIn(picture, median));
        pictures.push_back(std::move(picture));
    }
    lightDifferences.clear();
    return pictures;
}

}  // namespace kes::tracker
