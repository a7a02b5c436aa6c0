#include "bench/memory_pass.hpp"

#include <cstddef>
#include <cstring>

namespace kes::bench {

std::uint64_t MemoryPass(std::vector<unsigned char>& model, cv::Mat const& picture) {
    for (std::size_t i = 0; i + 8 <= model.size(); i += 8) {
        std::uint64_t word;
        std::memcpy(&word, &model[i], 8);
        ++word;
        std::memcpy(&model[i], &word, 8);
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
