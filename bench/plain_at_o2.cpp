#include "bench/plain_at_o2.hpp"

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "algorithm/tracking_base/emog_state.hpp"

// What CMake compiles plain_row.cpp and the library's plain file into, at -O2.
namespace kesAtO2::bench {

void UpdatePlainRow(void* records, std::size_t cellCount, unsigned char const* luminance,
                    std::ptrdiff_t stride, std::uint32_t* foreground, std::uint32_t* stationary);

}  // namespace kesAtO2::bench

namespace kes::bench {

PlainAtO2::PlainAtO2(SegmenterRun const& settled)
    : foreground(settled.foreground), stationary(settled.stationary) {
    auto const& state = settled.segmenter.blobState;
    for (std::size_t y = 0; y < state.Height(); ++y) {
        for (std::size_t x = 0; x < state.Width(); ++x) records.push_back(state.Cell(x, y));
    }
}

void PlainAtO2::Process(cv::Mat const& picture) {
    auto const width = static_cast<std::size_t>(picture.cols / 2);
    std::size_t const wordsPerRow = algorithm::WordsPerRow(width);
    for (int cellY = 0; cellY + 1 < picture.rows / 2; ++cellY) {
        auto const y = static_cast<std::size_t>(cellY);
        kesAtO2::bench::UpdatePlainRow(&records[y * width], width - 1, picture.ptr(2 * cellY),
                                       static_cast<std::ptrdiff_t>(picture.step[0]),
                                       &foreground[y * wordsPerRow], &stationary[y * wordsPerRow]);
    }
}

bool PlainAtO2::IsSame(SegmenterRun const& run) const {
    auto const& state = run.segmenter.blobState;
    for (std::size_t y = 0; y < state.Height(); ++y) {
        for (std::size_t x = 0; x < state.Width(); ++x) {
            auto const cell = state.Cell(x, y);
            if (std::memcmp(&cell, &records[y * state.Width() + x], sizeof cell) != 0) return false;
        }
    }
    return foreground == run.foreground && stationary == run.stationary;
}

}  // namespace kes::bench
