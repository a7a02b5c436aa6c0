// Lines and zones with their counts, drawn on a picture.
#pragma once

#include <opencv2/core.hpp>

#include "count/tally.hpp"
#include "draw/font.hpp"

namespace kes::track::draw {

// A line with the arrow of its right-hand direction and how many crossed it either way; a zone's
// outline with how many are in it and how many came.
void DrawGates(cv::Mat& picture, Font const& font, count::Tally const& tally);

}  // namespace kes::track::draw
