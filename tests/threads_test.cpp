// What may be done from several threads at once. The tsan preset is the judge; the results are
// compared in every preset.
#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <latch>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <kes/algorithm/tracking_base/emog_segmenter.hpp>
#include <kes/algorithm/tracking_base/smog.hpp>
#include <kes/algorithm/tracking_base/solve.hpp>
#include <kes/media/video/frame.hpp>

#include "support/colour_picture.hpp"
#include "support/generated.hpp"

namespace {

using kes::algorithm::tracking_base::EmogSegmenter;
using kes::algorithm::tracking_base::appearance::Smog;
using kes::algorithm::tracking_base::hungarian::Costs;
using kes::algorithm::tracking_base::hungarian::Marks;
using kes::algorithm::tracking_base::hungarian::Solve;
using kes::media::ColourFormat;
using kes::media::video::frame::Rotation;
using kes::test::GeneratedVideo;

using Frame = kes::media::video::FrameBase<void const>;

constexpr std::ptrdiff_t ThreadCount = 4;

// Calls work(0), work(1), ... on a thread each, all let go at once; returns the results in order.
template <typename Work>
auto InParallel(Work const& work) {
    using Result = decltype(work(std::size_t{0}));
    std::vector<Result> results(ThreadCount);
    std::latch start(ThreadCount);
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < results.size(); ++i) {
        threads.emplace_back([&, i] {
            start.arrive_and_wait();
            results[i] = work(i);
        });
    }
    for (std::thread& thread : threads) thread.join();
    return results;
}

// The parallel runs come first: the first calls of all race for the choice of an instruction set.
TEST(Threads, RunSegmentersSideBySideAsAlone) {
    auto const segment = [](std::size_t stream) {
        GeneratedVideo video(stream, 150, 90, 2);
        EmogSegmenter segmenter;
        segmenter.SetStationaryTime(std::chrono::milliseconds(200));
        segmenter.SetHoldOnTime(std::chrono::milliseconds(600));
        std::vector<decltype(video.Segment(segmenter))> masks;
        for (int frame = 0; frame < 20; ++frame, video.Advance()) {
            masks.push_back(video.Segment(segmenter));
        }
        return masks;
    };
    auto const together = InParallel(segment);
    for (std::size_t stream = 0; stream < together.size(); ++stream) {
        EXPECT_EQ(together[stream], segment(stream)) << "stream " << stream;
    }
}

// A picture is written on one thread, read by others through copies, moves and assignments, and
// freed by whichever lets go last.
TEST(Threads, ShareAnAllocatedFrameAndFreeItOnce) {
    for (int round = 0; round < 10; ++round) {
        kes::media::video::FrameBase<void> const written(ColourFormat::Nv12, 16, 16, {},
                                                         Rotation::None);
        for (auto const& plane : written.GetPlanes()) {
            std::fill_n(static_cast<unsigned char*>(plane.GetBuffer()), plane.GetSize(),
                        static_cast<unsigned char>(round));
        }
        std::vector<kes::media::video::FrameBase<void>> handed(ThreadCount, written);
        auto const sums = InParallel([&handed](std::size_t i) {
            auto mine = std::exchange(handed[i], {});
            auto copy = mine;
            mine = std::move(copy);
            for (int again = 0; again < 50000; ++again) copy = mine;
            swap(copy, mine);
            auto const* const bytes =
                static_cast<unsigned char const*>(copy.GetPlane(0).GetBuffer());
            int sum = 0;
            for (unsigned long k = 0; k < copy.GetPlane(0).GetSize(); ++k) sum += bytes[k];
            return sum;
        });
        for (int const sum : sums) EXPECT_EQ(sum, 256 * round);
        // The count in the block is of the one that is left: no copy and no release was lost.
        auto const* const block = static_cast<unsigned char*>(written.GetPlane(0).GetBuffer()) - 16;
        ASSERT_EQ(*reinterpret_cast<std::uint32_t const*>(block), 1U) << "round " << round;
    }
}

// One model, one mask and one frame for all threads.
TEST(Threads, ScoreAgainstOneAppearance) {
    kes::test::Generator random(5);
    kes::test::ColourPicture picture(ColourFormat::Nv12, 200, 160);
    for (unsigned char& byte : picture.plane0) byte = static_cast<unsigned char>(random.Below(40));
    kes::algorithm::BitMask const mask{100, 80, std::vector<std::uint32_t>(320, 0x77777777)};
    Frame const frame = picture.View();
    Smog smog;
    smog.Update({20, 10, 60, 70}, mask, frame);

    auto const score = [&](std::size_t i) {
        int const x = static_cast<int>(i);
        auto const found =
            smog.PartitionAndScoreBlob({x, 2, 90, 78}, 0, mask, frame, {45, 40}, {30, 50});
        return std::vector<float>{smog.ScoreBlob({x, 5, 80, 75}, mask, frame), found.score,
                                  found.centre.x, found.centre.y,
                                  float(smog.ComputeGaussianSectionRectangles({40, 100})[3].top)};
    };
    auto const together = InParallel(score);
    for (std::size_t i = 0; i < together.size(); ++i) EXPECT_EQ(together[i], score(i));
}

TEST(Threads, SolveSideBySideAsAlone) {
    auto const solve = [](std::size_t seed) {
        kes::test::Generator random(seed);
        Costs costs(60, 70);
        for (float& cost : costs.reshaped()) cost = static_cast<float>(random.Below(1000)) / 255;
        Marks const marks = Solve(costs);
        return std::vector<std::uint8_t>(marks.data(), marks.data() + marks.size());
    };
    auto const together = InParallel(solve);
    for (std::size_t i = 0; i < together.size(); ++i) EXPECT_EQ(together[i], solve(i));
}

}  // namespace
