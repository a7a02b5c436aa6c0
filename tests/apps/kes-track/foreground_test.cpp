#include "foreground.hpp"

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>

#include "base/failure.hpp"
#include "support/folder.hpp"
#include "video/mask_image.hpp"

namespace kes::track {
namespace {

using namespace std::chrono_literals;
using std::chrono::nanoseconds;

// As the segmenter counts: 15 to a second, truncated.
std::int64_t SegmenterFrames(std::chrono::milliseconds time) { return time.count() * 15 / 1000; }

TEST(SegmenterTime, PassesInRealSecondsAtEveryRate) {
    for (double const rate :
         {0.5, 1.0, 5.0, 7.5, 10.0, 12.5, 15.0, 23.976, 25.0, 29.97, 50.0, 240.0}) {
        for (nanoseconds const time : {nanoseconds(0), nanoseconds(1ms), nanoseconds(500ms),
                                       nanoseconds(5s), nanoseconds(12345ms), nanoseconds(60s)}) {
            auto const frames = std::llround(std::chrono::duration<double>(time).count() * rate);
            EXPECT_EQ(SegmenterFrames(SegmenterTime(time, rate)), frames)
                << time.count() << " ns at " << rate;
            auto const both = SegmenterTime(time, rate) + SegmenterTime(5s, rate);
            EXPECT_EQ(SegmenterFrames(both), frames + std::llround(5.0 * rate))
                << time.count() << " ns and 5 s at " << rate;
        }
    }
}

// A plain picture with, or without, a block in its middle.
video::Frame Picture(std::vector<std::uint8_t>& pixels, bool hasBlock) {
    constexpr int Side = 64;
    pixels.assign(std::size_t{Side} * Side, 100);
    cv::Mat view(Side, Side, CV_8UC1, pixels.data());
    if (hasBlock) view(cv::Rect(20, 20, 24, 24)).setTo(200);
    using Plane = media::video::frame::PlaneBase<void const>;
    return {{Plane(pixels.size(), pixels.data(), Side)}, media::ColourFormat::Grey, Side, Side, {},
            media::video::frame::Rotation::None};
}

// Seconds from a block's appearance until it is stationary; -1 when it never is.
double TimeToStationary(ForegroundOptions const& options, double rate) {
    Foreground foreground(options, {64, 64}, rate);
    std::vector<std::uint8_t> pixels;
    auto const learnt = static_cast<int>(20 * rate);
    for (int i = 0; i < learnt; ++i) foreground.Process(Picture(pixels, false));
    for (int i = 0; i < static_cast<int>(10 * rate); ++i) {
        foreground.Process(Picture(pixels, true));
        if (foreground.StationaryCells() > 0) {
            EXPECT_EQ(foreground.YoungCells(), 0U);
            return i / rate;
        }
        EXPECT_GT(foreground.YoungCells(), 50U);
    }
    return -1.0;
}

TEST(Foreground, TurnsStationaryAfterRealSeconds) {
    for (double const rate : {10.0, 15.0, 30.0}) {
        EXPECT_NEAR(TimeToStationary({.stationaryTime = 5s}, rate), 5.0, 1.01 / rate) << rate;
        EXPECT_NEAR(TimeToStationary({.stationaryTime = 2s}, rate), 2.0, 1.01 / rate) << rate;
    }
}

TEST(Foreground, RefusesTimesThatTheSegmenterCannotCount) {
    EXPECT_NO_THROW(Foreground({.holdOnTime = 4300s}, {64, 48}, 15.0));
    EXPECT_THROW(Foreground({.holdOnTime = 4400s}, {64, 48}, 15.0), Failure);
    EXPECT_THROW(Foreground({.stationaryTime = 2200s, .holdOnTime = 2200s}, {64, 48}, 15.0),
                 Failure);
    EXPECT_NO_THROW(Foreground({.holdOnTime = 4400s}, {64, 48}, 10.0));
}

TEST(Foreground, HonoursItsMaskImages) {
    test::Folder const folder;
    std::string const everywhere = folder / "white.png";
    cv::imwrite(everywhere, cv::Mat(64, 64, CV_8UC1, cv::Scalar(255)));
    auto const cellsAfter = [](ForegroundOptions const& options) {
        Foreground foreground(options, {64, 64}, 15.0);
        std::vector<std::uint8_t> pixels;
        for (int i = 0; i < 40; ++i) foreground.Process(Picture(pixels, false));
        for (int i = 0; i < 20; ++i) foreground.Process(Picture(pixels, true));
        return std::pair(foreground.YoungCells() > 0, foreground.StationaryCells() > 0);
    };
    ForegroundOptions const plain{.stationaryTime = 1s};
    EXPECT_EQ(cellsAfter(plain), std::pair(false, true));
    ForegroundOptions options = plain;
    options.excludeImage = everywhere;
    EXPECT_EQ(cellsAfter(options), std::pair(false, false));
    options = plain;
    options.resetImage = everywhere;
    EXPECT_EQ(cellsAfter(options), std::pair(false, false));
    options = plain;
    options.freezeImage = everywhere;
    // What does not grow older: neither becomes stationary.
    EXPECT_FALSE(cellsAfter(options).second);
}

TEST(ReadMask, SetsACellForAnyBrightPixelOfIts) {
    test::Folder const folder;
    cv::Mat image = cv::Mat::zeros(17, 71, CV_8UC1);
    image.at<std::uint8_t>(0, 0) = 255;    // cell 0, 0
    image.at<std::uint8_t>(3, 5) = 128;    // cell 2, 1
    image.at<std::uint8_t>(4, 64) = 127;   // too dark
    image.at<std::uint8_t>(15, 67) = 200;  // cell 33, 7
    image.at<std::uint8_t>(16, 70) = 255;  // the odd last row and column have no cell
    cv::imwrite(folder / "mask.png", image);
    algorithm::BitMask const mask = video::ReadMask(folder / "mask.png", {71, 17});
    ASSERT_EQ(mask.width, 35U);
    ASSERT_EQ(mask.height, 8U);
    std::vector<std::uint32_t> expected(16, 0);
    expected[0] = 1U << 31;
    expected[2] = 1U << 29;
    expected[15] = 1U << 30;
    EXPECT_EQ(mask.words, expected);
}

TEST(ReadMask, TakesColourImagesAndRefusesOthers) {
    test::Folder const folder;
    cv::Mat colour = cv::Mat::zeros(48, 64, CV_8UC3);
    colour(cv::Rect(0, 0, 2, 2)).setTo(cv::Scalar::all(255));
    cv::imwrite(folder / "colour.png", colour);
    EXPECT_EQ(video::ReadMask(folder / "colour.png", {64, 48}).words[0], 1U << 31);
    cv::imwrite(folder / "colour.bmp", colour);
    EXPECT_EQ(video::ReadMask(folder / "colour.bmp", {64, 48}).words[0], 1U << 31);

    test::WriteFile(folder / "words.png", "no image");
    test::WriteFile(folder / "cut.png", test::ReadFile(folder / "colour.png").substr(0, 30));
    std::pair<char const*, char const*> const refused[] = {
        {"absent.png", ""},
        {"words.png", ""},
        {"cut.png", ""},
        {"colour.png", "is 64 x 48; the frames are 64 x 50"}};
    for (auto const& [name, message] : refused) {
        try {
            video::ReadMask(folder / name, {64, 50});
            ADD_FAILURE() << name << " was read";
        } catch (Failure const& failure) {
            EXPECT_EQ(failure.Code(), ExitCode::BadSideInput) << name;
            EXPECT_EQ(std::string(failure.what()).rfind(folder / name + ": " + message, 0), 0U)
                << failure.what();
        }
    }
}

}  // namespace
}  // namespace kes::track
