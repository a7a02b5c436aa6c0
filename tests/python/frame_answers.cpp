// What the C++ libraries answer to a video on standard input, a line a frame.
// usage: frame_answers WIDTH HEIGHT   (for each frame its luma, then its BGR pixels)
#include <array>
#include <bit>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include <kes/algorithm/tracking_base/emog_segmenter.hpp>
#include <kes/algorithm/tracking_base/smog.hpp>
#include <kes/algorithm/tracking_base/solve.hpp>

#include <kes/tracker/tracker.hpp>

#include "support/hash.hpp"

using namespace kes;
using namespace kes::algorithm;
using namespace kes::algorithm::tracking_base;
using Frame = media::video::FrameBase<void const>;

namespace {

Frame View(std::vector<unsigned char> const& pixels, media::ColourFormat format, unsigned width,
           unsigned height) {
    Frame::Planes planes{};
    planes[0] = {pixels.size(), pixels.data(), static_cast<long>(pixels.size() / height)};
    return Frame(planes, format, width, height, {}, {});
}

bool Read(std::vector<unsigned char>& pixels) {
    return std::fread(pixels.data(), 1, pixels.size(), stdin) == pixels.size();
}

// Costs of pairs: the luma of pixels 16 apart.
hungarian::Costs CostsOf(std::vector<unsigned char> const& luma, unsigned width, unsigned height) {
    hungarian::Costs costs(height / 16, width / 16);
    for (Eigen::Index row = 0; row < costs.rows(); ++row) {
        for (Eigen::Index column = 0; column < costs.cols(); ++column) {
            costs(row, column) = luma[static_cast<std::size_t>(16 * row * width + 16 * column)];
        }
    }
    return costs;
}

void Print(tracker::Object const& object) {
    std::printf(" %d/%d/%d/%d/%d", object.id, static_cast<int>(object.kind),
                static_cast<int>(object.visibility), object.isConfirmed, object.isStanding);
    for (float const value : {object.box.left, object.box.top, object.box.right,
                              object.box.bottom, object.confidence}) {
        std::printf("/%08x", std::bit_cast<unsigned>(value));
    }
}

}  // namespace

int main(int, char** arguments) {
    auto const width = static_cast<unsigned>(std::atoi(arguments[1]));
    auto const height = static_cast<unsigned>(std::atoi(arguments[2]));
    std::vector<unsigned char> luma(std::size_t{width} * height);
    std::vector<unsigned char> colour(3 * luma.size());
    BitMask const none = MakeEmptyMask(width / 2, height / 2);
    BitMask young = none;
    BitMask stationary = none;
    EmogSegmenter segmenter;
    appearance::Smog appearance;
    tracker::Options options;
    options.framesPerSecond = 10;
    tracker::Tracker tracker(options);
    while (Read(luma) && Read(colour)) {
        segmenter.Process(View(luma, media::ColourFormat::Grey, width, height), none.words.data(),
                          none.words.data(), none.words.data(), young.words.data(),
                          stationary.words.data());
        Frame const frame = View(colour, media::ColourFormat::Bgr, width, height);
        geometry::Rectangle<int> const blob{50, 60, 150, 200};
        auto const found =
            appearance.PartitionAndScoreBlob(blob, 0, young, frame, {100, 120}, {20, 50});
        float const score = appearance.ScoreBlob(blob, young, frame);
        appearance.Update(blob, young, frame);
        auto const marks = hungarian::Solve(CostsOf(luma, width, height));
        auto const hash = [](auto const& numbers) {
            return static_cast<unsigned long long>((test::Hash() << numbers).value);
        };
        std::printf("%llx %llx %llx %llx %llx", hash(young.words), hash(stationary.words),
                    hash(marks.reshaped()), hash(std::array{score, found.score, found.centre.x}),
                    hash(appearance.gaussians[3].variances));
        auto const result = tracker.Process(frame);
        for (auto const& object : result.objects) Print(object);
        for (auto const& event : result.events) {
            std::printf(" %d:%d", static_cast<int>(event.type), event.id);
        }
        std::puts("");
    }
}
