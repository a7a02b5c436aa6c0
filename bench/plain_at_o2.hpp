// The segmenter's plain code as -O2 compiles it. Release builds use -O3, which plain code gains
// from; -O2 is what most distributions build with, and what the goals are set against.
#pragma once

#include <opencv2/core.hpp>

#include "bench/segmenter_run.hpp"

namespace kes::bench {

// Takes one picture through the model of a settled segmenter with its default parameters.
void ProcessPlainlyAtO2(SegmenterRun& run, cv::Mat const& picture);

}  // namespace kes::bench
