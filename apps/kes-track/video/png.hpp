// Pictures as PNG.
#pragma once

#include <string>

#include <opencv2/core.hpp>

namespace kes::track::video {

// The bytes of a PNG file. picture: 8-bit, BGR or one channel. Throws std::bad_alloc.
std::string EncodePng(cv::Mat const& picture);

}  // namespace kes::track::video
