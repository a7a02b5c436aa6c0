// Foreground: the segmenter over one stream, and its masks in the forms that the tracker reads.
#pragma once

#include <kes/algorithm/bit_mask.hpp>
#include <kes/tracker/real_time_segmenter.hpp>
#include <kes/tracker/tracker.hpp>
#include <opencv2/core.hpp>

#include "tracker/conditioner.hpp"
#include "tracker/grid.hpp"

namespace kes::tracker {

class Foreground {
public:
    // settings: of this tracker, and outlive this.
    explicit Foreground(Options const& settings);

    // Takes one frame, whose first plane is luma, through the background model, which begins afresh
    // when the frame's size differs from the one before. grid: of this frame. False where the frame
    // shows the background no more, and nothing was learnt or found.
    bool Process(Frame const& frame, Grid const& grid);

    // Takes the next frame for the background.
    void Forget();

    // Learns the background from pictures of luma of the empty scene, the first one without noise.
    void Begin(std::vector<cv::Mat1b> const& pictures, Grid const& grid);

    // Where the cells' origin lies in the frame, in pixels: the camera has moved since the
    // background was learnt.
    cv::Point2f Offset() const { return conditioner.Offset(); }

    // How much the light differs from the background's, in grey levels.
    float LightDifference() const { return conditioner.LightDifference(); }

    // 255 where there is foreground, young or stationary, single cells removed.
    cv::Mat1b const& Cells() const { return cells; }
    // 255 where foreground has stood for the stationary time.
    cv::Mat1b const& StandingCells() const { return standingCells; }
    // All foreground at half the frame's size, as the appearance model takes it.
    algorithm::BitMask const& Mask() const { return mask; }

private:
    void Fit(Grid const& grid);

    Options const& options;
    Conditioner conditioner;
    RealTimeSegmenter segmenter;
    algorithm::BitMask mask{};
    algorithm::BitMask stationary{};
    // As given, or of no bits set.
    algorithm::BitMask exclude{};
    algorithm::BitMask freeze{};
    algorithm::BitMask reset{};
    cv::Mat1b bits;
    cv::Mat1b cells;
    cv::Mat1b standingCells;
};

}  // namespace kes::tracker
