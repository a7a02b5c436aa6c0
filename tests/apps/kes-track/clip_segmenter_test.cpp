#include "clip_segmenter.hpp"

#include <chrono>
#include <cmath>
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

// A plain picture with, or without, a block in its middle.
video::Frame Picture(std::vector<std::uint8_t>& pixels, bool hasBlock, double seconds = 0) {
    constexpr int Side = 64;
    pixels.assign(std::size_t{Side} * Side, 100);
    cv::Mat view(Side, Side, CV_8UC1, pixels.data());
    if (hasBlock) view(cv::Rect(20, 20, 24, 24)).setTo(200);
    using Plane = media::video::frame::PlaneBase<void const>;
    auto const time =
        std::chrono::duration_cast<nanoseconds>(std::chrono::duration<double>(seconds));
    return {{Plane(pixels.size(), pixels.data(), Side)},
            media::ColourFormat::Grey,
            Side,
            Side,
            video::Frame::TimePoint(time),
            media::video::frame::Rotation::None};
}

// Seconds from a block's appearance until it is stationary, for a clip that says `rate` and comes
// with `pace` pictures a second from then on; -1 when it never is.
double TimeToStationary(std::chrono::seconds stationaryTime, double rate, double pace,
                        bool hasTimes) {
    ClipSegmenter segmenter({.stationaryTime = stationaryTime}, {64, 64}, rate);
    std::vector<std::uint8_t> pixels;
    double time = 0;
    auto const process = [&](bool hasBlock, double step) {
        segmenter.Process(Picture(pixels, hasBlock, hasTimes ? time : 0));
        time += step;
    };
    while (time < 20) process(false, 1 / rate);
    for (double const start = time; time < start + 10;) {
        double const now = time;
        process(true, 1 / pace);
        if (segmenter.StationaryCells() > 0) {
            EXPECT_EQ(segmenter.YoungCells(), 0U);
            return now - start;
        }
        EXPECT_GT(segmenter.YoungCells(), 50U);
    }
    return -1.0;
}

TEST(ClipSegmenter, TurnsStationaryAfterRealSecondsWhateverThePace) {
    struct Case {
        double rate, pace;
        bool hasTimes;
    };
    for (auto const& [rate, pace, hasTimes] :
         {Case{10, 10, true}, Case{10, 10, false}, Case{15, 15, true}, Case{29.97, 29.97, true},
          Case{15, 5, true}, Case{15, 2, true}, Case{15, 45, true}, Case{12.5, 20, true}}) {
        SCOPED_TRACE(testing::Message() << rate << " said, " << pace << " a second");
        // Of an even pace the frame is exact: the first has age 1.
        bool const isEven = pace == rate;
        for (auto const seconds : {2s, 5s}) {
            double const wanted = static_cast<double>(seconds.count());
            double const frames = std::round(wanted * rate) - 1;
            EXPECT_NEAR(TimeToStationary(seconds, rate, pace, hasTimes),
                        isEven ? frames / rate : wanted, isEven ? 1e-6 : 1 / pace + 2 / rate);
        }
    }
}

TEST(ClipSegmenter, RefusesTimesThatTheSegmenterCannotCount) {
    EXPECT_NO_THROW(ClipSegmenter({.holdOnTime = 4300s}, {64, 48}, 15.0));
    EXPECT_THROW(ClipSegmenter({.holdOnTime = 4400s}, {64, 48}, 15.0), Failure);
    EXPECT_THROW(ClipSegmenter({.stationaryTime = 2200s, .holdOnTime = 2200s}, {64, 48}, 15.0),
                 Failure);
    EXPECT_NO_THROW(ClipSegmenter({.holdOnTime = 4400s}, {64, 48}, 10.0));
}

TEST(ClipSegmenter, HonoursItsThresholdsAndMaskImages) {
    test::Folder const folder;
    std::string const everywhere = folder / "white.png";
    cv::imwrite(everywhere, cv::Mat(64, 64, CV_8UC1, cv::Scalar(255)));
    auto const cellsAfter = [](SegmenterOptions const& options) {
        ClipSegmenter foreground(options, {64, 64}, 15.0);
        std::vector<std::uint8_t> pixels;
        for (int i = 0; i < 40; ++i) foreground.Process(Picture(pixels, false));
        for (int i = 0; i < 20; ++i) foreground.Process(Picture(pixels, true));
        return std::pair(foreground.YoungCells() > 0, foreground.StationaryCells() > 0);
    };
    SegmenterOptions const plain{.stationaryTime = 1s};
    EXPECT_EQ(cellsAfter(plain), std::pair(false, true));
    auto const youngCells = [](SegmenterOptions const& options) {
        ClipSegmenter segmenter(options, {64, 64}, 15.0);
        std::vector<std::uint8_t> pixels;
        for (int i = 0; i < 40; ++i) segmenter.Process(Picture(pixels, false));
        segmenter.Process(Picture(pixels, true));
        return segmenter.YoungCells();
    };
    EXPECT_LT(youngCells({.threshold = 255}), youngCells({}));
    EXPECT_LT(youngCells({.thresholdFactor = 60}), youngCells({}));
    SegmenterOptions options = plain;
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
