// The segmenter's model in plain code, one record of 42 bytes after another, as -O2 compiles it:
// what a straightforward implementation costs. Release builds use -O3, which plain code gains from;
// -O2 is what most distributions build with, and what the goals are set against.
#pragma once

#include <vector>

#include <opencv2/core.hpp>

#include "algorithm/tracking_base/emog_model.hpp"
#include "bench/segmenter_run.hpp"

namespace kes::bench {

class PlainAtO2 {
public:
    // Goes on from a settled segmenter with its default parameters.
    explicit PlainAtO2(SegmenterRun const& settled);

    void Process(cv::Mat const& picture);

    bool IsSame(SegmenterRun const& run) const;

private:
    std::vector<algorithm::tracking_base::CellModel> records;
    std::vector<std::uint32_t> foreground;
    std::vector<std::uint32_t> stationary;
};

}  // namespace kes::bench
