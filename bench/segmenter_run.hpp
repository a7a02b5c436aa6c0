// A segmenter and the masks it works with, for pictures of one size.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include <kes/algorithm/bit_mask.hpp>
#include <opencv2/core.hpp>

#include "algorithm/tracking_base/emog_segmenter_impl.hpp"
#include "bench/segmenter_contents.hpp"

namespace kes::bench {

struct SegmenterRun {
    explicit SegmenterRun(cv::Size size)
        : none(algorithm::WordsPerRow(static_cast<std::size_t>(size.width / 2)) *
               static_cast<std::size_t>(size.height / 2)),
          foreground(none),
          stationary(none) {}

    void Process(cv::Mat const& picture) {
        segmenter.Process(ViewOf(picture), none.data(), none.data(), none.data(), foreground.data(),
                          stationary.data());
    }

    algorithm::tracking_base::EmogSegmenter::Impl segmenter;
    std::vector<std::uint32_t> none;
    std::vector<std::uint32_t> foreground;
    std::vector<std::uint32_t> stationary;
};

}  // namespace kes::bench
