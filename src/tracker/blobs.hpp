// Blobs: the connected parts of a foreground mask.
#pragma once

#include <utility>
#include <vector>

#include <opencv2/core.hpp>

namespace kes::tracker {

struct Blob {
    cv::Rect box;  // cells
    int area;
    cv::Mat1b shape;  // of the box: 255 where the blob is
};

// A person's parts come apart one above the other.
inline cv::Size const PersonGap{3, 7};

// Of a mask of 0 and 255. Pieces less than `gap` cells apart count as one; gaps are odd.
std::vector<Blob> BlobsOf(cv::Mat1b const& mask, cv::Size gap);

}  // namespace kes::tracker
