// The least that any segmenter with this model can do: move it through the processor once.
#pragma once

#include <cstdint>

#include <opencv2/core.hpp>

#include "algorithm/tracking_base/emog_segmenter_impl.hpp"

namespace kes::bench {

// Reads, changes and writes every byte of the model and reads every pixel of the picture. Returns
// a sum of the pixels, so that they are really read.
std::uint64_t MemoryPass(algorithm::tracking_base::EmogSegmenter::Impl::BlobState& model,
                         cv::Mat const& picture);

}  // namespace kes::bench
