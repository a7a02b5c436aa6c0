#include "tracker/foreground.hpp"

#include <algorithm>
#include <chrono>
#include <cstddef>

#include <kes/algorithm/bit_mask.hpp>
#include <opencv2/imgproc.hpp>

#include "tracker/luma.hpp"

namespace kes::tracker {
namespace {

// The correction of light errs in proportion to what it corrects: the segmenter's threshold is
// raised by up to this much, reached at so many grey levels.
constexpr float LargestAllowance = 1;
constexpr float LevelsOfAllowance = 10;

constexpr double MostRehearsed = 400;  // frames of a known background

Frame GreyFrame(cv::Mat1b const& luma, Frame::TimePoint timestamp) {
    Frame::Planes planes{};
    planes[0] = {luma.step[0] * static_cast<std::size_t>(luma.rows), luma.data,
                 static_cast<long>(luma.step[0])};
    return {planes,
            media::ColourFormat::Grey,
            static_cast<unsigned>(luma.cols),
            static_cast<unsigned>(luma.rows),
            timestamp,
            media::video::frame::Rotation::None};
}

// 255 for a bit that is set.
void Unpack(std::vector<std::uint32_t> const& words, cv::Mat1b& bits) {
    auto const width = static_cast<unsigned>(bits.cols);
    std::size_t const wordsPerRow = algorithm::WordsPerRow(width);
    for (int y = 0; y < bits.rows; ++y) {
        std::uint32_t const* const row = &words[static_cast<std::size_t>(y) * wordsPerRow];
        std::uint8_t* const out = bits[y];
        for (unsigned x = 0; x < width; ++x) {
            out[x] = algorithm::IsCellSet(row, x) ? 255 : 0;
        }
    }
}

// A cell is what most of its bits are.
void Gather(cv::Mat1b const& bits, Grid const& grid, cv::Mat1b& cells) {
    cv::Rect const whole({}, grid.size * grid.bitsPerCell);
    cv::resize(bits(whole), cells, grid.size, 0, 0, cv::INTER_AREA);
    cv::threshold(cells, cells, 127, 255, cv::THRESH_BINARY);
}

}  // namespace

Foreground::Foreground(Options const& settings)
    : options(settings),
      segmenter({settings.framesPerSecond, settings.stationaryTime, settings.holdOnTime,
                 settings.threshold, settings.thresholdFactor}) {}

void Foreground::Fit(Grid const& grid) {
    auto const width = static_cast<unsigned>(grid.maskSize.width);
    auto const height = static_cast<unsigned>(grid.maskSize.height);
    if (mask.width == width && mask.height == height) return;
    mask = stationary = algorithm::MakeEmptyMask(width, height);
    auto const fitting = [&](algorithm::BitMask const& given) {
        bool const fits = given.width == width && given.height == height;
        return fits ? given : mask;
    };
    exclude = fitting(options.exclude);
    freeze = fitting(options.freeze);
    reset = fitting(options.reset);
    bits.create(grid.maskSize);
    cells = cv::Mat1b(grid.size, 0);
    standingCells = cv::Mat1b(grid.size, 0);
}

bool Foreground::Process(Frame const& frame, Grid const& grid) {
    Fit(grid);
    if (mask.words.empty()) return true;
    Frame const conditioned =
        GreyFrame(conditioner.Process(MatrixOf(frame), cells), frame.GetTimestamp());
    if (!conditioner.IsFollowed()) return false;
    float const allowance =
        LargestAllowance * std::min(1.0F, LightDifference() / LevelsOfAllowance);
    segmenter.SetThresholdFactor(options.thresholdFactor * (1 + allowance));
    segmenter.Process(conditioned, freeze, reset, exclude, mask, stationary);
    for (std::size_t i = 0; i < mask.words.size(); ++i) mask.words[i] |= stationary.words[i];
    Unpack(mask.words, bits);
    if (grid.bitsPerCell == 1) {
        cv::medianBlur(bits, cells, 3);
    } else {
        Gather(bits, grid, cells);
    }
    Unpack(stationary.words, bits);
    Gather(bits, grid, standingCells);
    conditioner.Learn(cells);
    return true;
}

void Foreground::Forget() {
    segmenter.Reset();
    conditioner.Forget();
    cells = 0;
    standingCells = 0;
}

void Foreground::Begin(std::vector<cv::Mat1b> const& pictures, Grid const& grid) {
    Fit(grid);
    if (mask.words.empty()) return;
    Forget();
    conditioner.Begin(pictures.front());
    // The background is then as old as it gets, within reason: what comes to stand takes as long to
    // replace it.
    double const oldest = (options.stationaryTime + options.holdOnTime) * options.framesPerSecond;
    auto const frames = static_cast<std::size_t>(std::min(oldest, MostRehearsed));
    segmenter.SetThresholdFactor(options.thresholdFactor);
    // One time for all counts as one frame each; it lies too far back to leave a gap.
    Frame::TimePoint const longAgo(std::chrono::hours(-24));
    for (std::size_t i = 0; i < frames; ++i) {
        segmenter.Process(GreyFrame(pictures[i % pictures.size()], longAgo), freeze, reset, exclude,
                          mask, stationary);
    }
}

}  // namespace kes::tracker
