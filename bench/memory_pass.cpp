#include "bench/memory_pass.hpp"

#include <cstring>

namespace kes::bench {

std::uint64_t MemoryPass(algorithm::tracking_base::EmogSegmenter::Impl::BlobState& model,
                         cv::Mat const& picture) {
    using algorithm::tracking_base::CellModel;
    auto* const bytes = reinterpret_cast<unsigned char*>(model.data());
    std::size_t const size = static_cast<std::size_t>(model.size()) * sizeof(CellModel);
    for (std::size_t i = 0; i + 8 <= size; i += 8) {
        std::uint64_t word;
        std::memcpy(&word, bytes + i, 8);
        ++word;
        std::memcpy(bytes + i, &word, 8);
    }
    std::uint64_t sum = 0;
    for (int y = 0; y < picture.rows; ++y) {
        unsigned char const* const row = picture.ptr(y);
        for (int x = 0; x + 8 <= picture.cols; x += 8) {
            std::uint64_t word;
            std::memcpy(&word, row + x, 8);
            sum += word;
        }
    }
    return sum;
}

}  // namespace kes::bench
