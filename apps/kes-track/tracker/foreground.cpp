#include "tracker/foreground.hpp"

#include <chrono>
#include <cmath>
#include <cstddef>

#include <opencv2/imgproc.hpp>

namespace kes::tracker {
namespace {

// The segmenter counts 15 frames to a second.
std::chrono::milliseconds SegmenterTime(double seconds, double framesPerSecond) {
    return std::chrono::milliseconds(std::llround(1000 * seconds * framesPerSecond / 15));
}

void Unpack(std::vector<std::uint32_t> const& words, cv::Mat1b& cells) {
    auto const width = static_cast<unsigned>(cells.cols);
    std::size_t const wordsPerRow = (width + 31) / 32;
    for (int y = 0; y < cells.rows; ++y) {
        std::uint32_t const* const row = &words[static_cast<std::size_t>(y) * wordsPerRow];
        std::uint8_t* const out = cells[y];
        for (unsigned x = 0; x < width; ++x) {
            out[x] = (row[x / 32] >> (31 - x % 32) & 1) != 0 ? 255 : 0;
        }
    }
}

}  // namespace

Foreground::Foreground(Options const& options) {
    segmenter.SetStdDevThreshold(options.threshold);
    segmenter.SetStationaryTime(SegmenterTime(options.stationaryTime, options.framesPerSecond));
    segmenter.SetHoldOnTime(SegmenterTime(options.holdOnTime, options.framesPerSecond));
}

bool Foreground::Process(Frame const& frame) {
    auto const width = frame.GetWidth() / 2;
    auto const height = frame.GetHeight() / 2;
    bool const isSameSize = mask.width == width && mask.height == height;
    if (!isSameSize) {
        std::size_t const words = static_cast<std::size_t>((width + 31) / 32) * height;
        mask = {width, height, std::vector<std::uint32_t>(words)};
        stationary.assign(words, 0);
        noCells.assign(words, 0);
        rawCells.create(static_cast<int>(height), static_cast<int>(width));
        standingCells.create(rawCells.size());
        cells.create(rawCells.size());
    }
    if (mask.words.empty()) return isSameSize;
    segmenter.Process(frame, noCells.data(), noCells.data(), noCells.data(), mask.words.data(),
                      stationary.data());
    for (std::size_t i = 0; i < stationary.size(); ++i) mask.words[i] |= stationary[i];
    Unpack(mask.words, rawCells);
    cv::medianBlur(rawCells, cells, 3);
    Unpack(stationary, standingCells);
    return isSameSize;
}

}  // namespace kes::tracker
