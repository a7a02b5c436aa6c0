// Luma: the brightness of a frame, made from its colours where its format has no plane of it.
#pragma once

#include <cstdint>
#include <vector>

#include <kes/media/colour_format.hpp>
#include <kes/tracker/tracker.hpp>
#include <opencv2/core.hpp>

namespace kes::tracker {

// The tracker's door. Throws std::invalid_argument for a format that it does not take, and for a
// frame whose size promises pixels that are not there.
void CheckFrame(Frame const& frame);

inline bool HasColour(Frame const& frame) {
    return frame.GetColourFormat() != media::ColourFormat::Grey;
}

// A view of a Grey frame's pixels.
cv::Mat1b MatrixOf(Frame const& frame);

class Luma {
public:
    // A Grey frame: a view of the frame's own luma, or of memory of this object. BT.709 weights.
    Frame Of(Frame const& frame);

private:
    std::vector<std::uint8_t> pixels;
};

}  // namespace kes::tracker
