#include "tracker/conditioner.hpp"

#include <cmath>

#include <opencv2/imgproc.hpp>

namespace kes::tracker {
namespace {

constexpr float LeastOffset = 0.3F;      // pixels; less does not matter
constexpr float NearlyWhole = 0.2F;      // pixels from whole ones, which do without interpolation
constexpr float LeastDifference = 1;     // grey levels; the segmenter learns smaller ones
constexpr float MostUnexplained = 0.2F;  // of the background
constexpr float LeastRecognized = 0.4F;  // of its texture
constexpr int LearnEach = 16;            // of the first pictures, then
constexpr int LearnEvery = 4;
constexpr int ChooseEvery = 128;  // pictures, patches to tell the camera's motion by

float NearlyRounded(float pixels) {
    float const whole = std::round(pixels);
    return std::abs(pixels - whole) < NearlyWhole ? whole : pixels;
}

}  // namespace

void Conditioner::Align(cv::Mat1b const& picture) {
    offset = egoMotion.Find(picture, background.Luma());
    if (std::abs(offset.x) < LeastOffset && std::abs(offset.y) < LeastOffset) {
        offset = {};
        result = picture;
        return;
    }
    offset = {NearlyRounded(offset.x), NearlyRounded(offset.y)};
    bool const isWhole = offset.x == std::round(offset.x) && offset.y == std::round(offset.y);
    // What the camera does not show is taken to be as it was.
    background.Luma().copyTo(aligned);
    cv::warpAffine(picture, aligned, cv::Matx23f(1, 0, offset.x, 0, 1, offset.y), picture.size(),
                   (isWhole ? cv::INTER_NEAREST : cv::INTER_CUBIC) | cv::WARP_INVERSE_MAP,
                   cv::BORDER_TRANSPARENT);
    result = aligned;
}

void Conditioner::Begin(cv::Mat1b const& picture) {
    background.Begin(picture);
    egoMotion = {};
    egoMotion.Choose(picture);
    illumination = {};
    lightDifference = 0;
    isKnown = true;
    isFollowed = true;
    pictures = 1;
    offset = {};
    result = picture;
}

cv::Mat1b const& Conditioner::Process(cv::Mat1b const& picture, cv::Mat1b const& foreground) {
    if (!isKnown || background.Luma().size() != picture.size()) {
        Begin(picture);
        return result;
    }
    if (++pictures % ChooseEvery == 0) egoMotion.Choose(background.Luma());
    Align(picture);
    illumination.Estimate(result, background.Luma(), foreground);
    isFollowed =
        illumination.Unexplained() < MostUnexplained && illumination.Recognized() > LeastRecognized;
    lightDifference = illumination.Difference() > LeastDifference ? illumination.Difference() : 0;
    if (lightDifference > 0) {
        illumination.Undo(result, corrected);
        result = corrected;
    }
    return result;
}

void Conditioner::Learn(cv::Mat1b const& foreground) {
    if (pictures > LearnEach && pictures % LearnEvery != 0) return;
    background.Learn(result, foreground);
}

}  // namespace kes::tracker
