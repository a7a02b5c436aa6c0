#include "tracker/blobs.hpp"

#include <opencv2/imgproc.hpp>

namespace kes::tracker {

std::vector<Blob> BlobsOf(cv::Mat1b const& mask, cv::Size gap) {
    cv::Mat1b closed;
    cv::morphologyEx(mask, closed, cv::MORPH_CLOSE, cv::getStructuringElement(cv::MORPH_RECT, gap));
    cv::Mat1i labels;
    cv::Mat1i statistics;
    cv::Mat1d centres;
    int const count = cv::connectedComponentsWithStats(closed, labels, statistics, centres);
    std::vector<Blob> blobs;
    for (int i = 1; i < count; ++i) {  // 0 is what is no blob
        cv::Rect const box(statistics(i, cv::CC_STAT_LEFT), statistics(i, cv::CC_STAT_TOP),
                           statistics(i, cv::CC_STAT_WIDTH), statistics(i, cv::CC_STAT_HEIGHT));
        cv::Mat1b shape;
        cv::compare(labels(box), i, shape, cv::CMP_EQ);
        blobs.push_back({box, statistics(i, cv::CC_STAT_AREA), shape});
    }
    return blobs;
}

}  // namespace kes::tracker
