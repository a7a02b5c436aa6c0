// What is drawn over a picture: masks as tints, times and legends on labels.
#pragma once

#include <string>
#include <vector>

#include <kes/algorithm/bit_mask.hpp>
#include <kes/media/video/frame.hpp>
#include <opencv2/core.hpp>

#include "draw/font.hpp"

namespace kes::track::draw {

// Colours are BGR. These two are told apart by every kind of eye.
inline cv::Scalar const MovingColour{24, 148, 255};      // orange
inline cv::Scalar const StationaryColour{255, 176, 32};  // blue

// A colour and what it stands for.
struct LegendEntry {
    cv::Scalar colour;
    std::string text;
};

// An Nv12 frame as an 8-bit BGR picture of its own. isFullRange: its luminance runs from 0 to 255,
// not from 16 to 235.
cv::Mat ToBgr(media::video::FrameBase<void const> const& frame, bool isFullRange = false);

// One byte a cell: 255 where the mask is set, 0 elsewhere.
cv::Mat Unpack(algorithm::BitMask const& mask);

// Tints what the mask covers and draws its outline. The mask has half of the picture's sides.
void Tint(cv::Mat& picture, algorithm::BitMask const& mask, cv::Scalar const& colour);

// A dark label with a time and a legend in the picture's lower left corner, in proportion to the
// picture; nothing on a picture too small to read it.
void DrawLabel(cv::Mat& picture, Font const& font, std::string const& time,
               std::vector<LegendEntry> const& legend);

// Darkens a rectangle with round corners, clipped to the picture.
void DrawPlate(cv::Mat& picture, cv::Rect const& place, int radius, double opacity);

}  // namespace kes::track::draw
