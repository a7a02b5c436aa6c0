#include "tracker/background_picture.hpp"

#include <algorithm>

#include <opencv2/imgproc.hpp>

namespace kes::tracker {
namespace {

constexpr int MostCounted = 16;  // pictures: the weight of a new one is at least one to this many
constexpr int Halo = 5;          // cells across a cell of foreground that are not learnt

}  // namespace

void BackgroundPicture::Begin(cv::Mat1b const& picture) {
    picture.copyTo(luma);
    picture.convertTo(mean, CV_16U, 256);
    learnt = 1;
}

void BackgroundPicture::Learn(cv::Mat1b const& picture, cv::Mat1b const& foreground) {
    learnt = std::min(learnt + 1, MostCounted);
    int const weight = 256 / learnt;
    cv::Mat1b covered;
    cv::dilate(foreground, covered, cv::getStructuringElement(cv::MORPH_RECT, {Halo, Halo}));
    cv::resize(covered, covered, picture.size(), 0, 0, cv::INTER_NEAREST);
    for (int y = 0; y < picture.rows; ++y) {
        unsigned char const* const now = picture[y];
        unsigned char const* const skip = covered[y];
        unsigned short* const old = mean[y];
        unsigned char* const out = luma[y];
        for (int x = 0; x < picture.cols; ++x) {
            int const step = skip[x] != 0 ? 0 : now[x] * weight - ((old[x] * weight) >> 8);
            old[x] = static_cast<unsigned short>(old[x] + step);
            out[x] = static_cast<unsigned char>(std::min((old[x] + 128) >> 8, 255));
        }
    }
}

}  // namespace kes::tracker
