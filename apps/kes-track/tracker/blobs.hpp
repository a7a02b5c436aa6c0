// Blobs: the connected parts of a foreground mask.
#pragma once

#include <vector>

#include <opencv2/core.hpp>

namespace kes::tracker {

struct Blob {
    cv::Rect box;  // cells
    int area;
};

// Of a mask of 0 and 255. Pieces that nearly touch, one above the other, count as one.
std::vector<Blob> BlobsOf(cv::Mat1b const& mask);

}  // namespace kes::tracker
