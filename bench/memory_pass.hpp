// What moving a whole model through the processor costs: the yardstick for what comes from memory.
#pragma once

#include <cstdint>
#include <vector>

#include <opencv2/core.hpp>

namespace kes::bench {

// Reads, changes and writes every byte of the model (42 a cell) and reads every pixel of the
// picture. Returns a sum of the pixels, so that they are really read.
std::uint64_t MemoryPass(std::vector<unsigned char>& model, cv::Mat const& picture);

}  // namespace kes::bench
