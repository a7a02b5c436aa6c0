#include "tracker/blobs.hpp"

#include <opencv2/imgproc.hpp>

namespace kes::tracker {

std::vector<Blob> BlobsOf(cv::Mat1b const& mask) {
    cv::Mat1b closed;
    cv::morphologyEx(mask, closed, cv::MORPH_CLOSE,
                     cv::getStructuringElement(cv::MORPH_RECT, {3, 7}));
    cv::Mat1i labels;
    cv::Mat1i statistics;
    cv::Mat1d centres;
    int const count = cv::connectedComponentsWithStats(closed, labels, statistics, centres);
    std::vector<Blob> blobs;
    for (int i = 1; i < count; ++i) {  // 0 is what is no blob
        blobs.push_back({{statistics(i, cv::CC_STAT_LEFT), statistics(i, cv::CC_STAT_TOP),
                          statistics(i, cv::CC_STAT_WIDTH), statistics(i, cv::CC_STAT_HEIGHT)},
                         statistics(i, cv::CC_STAT_AREA)});
    }
    return blobs;
}

}  // namespace kes::tracker
