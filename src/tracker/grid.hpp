// Grid: the cells that the tracker counts in. Frames of less than 1000 lines have a cell for a bit
// of the segmenter's masks; in larger ones a cell is a square of several, so that an object is as
// many cells large whatever the camera, and as fast to place.
#pragma once

#include <algorithm>

#include <kes/geometry/dimension.hpp>
#include <opencv2/core.hpp>

namespace kes::tracker {

struct Grid {
    cv::Size maskSize;    // bits: half the frame's size
    int bitsPerCell = 1;  // along each side
    cv::Size size;        // cells; a rest at the right and lower edge is left out

    Grid() = default;
    explicit Grid(geometry::Dimension<unsigned int, 2> const& frameSize)
        : maskSize(static_cast<int>(frameSize.width / 2), static_cast<int>(frameSize.height / 2)),
          bitsPerCell(std::max(1, std::min(maskSize.width, maskSize.height) / EnoughCells)),
          size(maskSize.width / bitsPerCell, maskSize.height / bitsPerCell) {}

    float PixelsPerCell() const { return 2.0F * static_cast<float>(bitsPerCell); }

private:
    static constexpr int EnoughCells = 250;  // along the shorter side
};

}  // namespace kes::tracker
