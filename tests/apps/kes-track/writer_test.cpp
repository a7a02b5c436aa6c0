#include "video/writer.hpp"

#include <chrono>
#include <csignal>
#include <optional>
#include <string>
#include <vector>

#include <sys/resource.h>

#include <gtest/gtest.h>

#include "base/failure.hpp"
#include "draw/overlay.hpp"
#include "support/folder.hpp"

namespace kes::track::video {
namespace {

using namespace std::chrono_literals;

struct Seen {
    Size size;
    std::vector<std::chrono::nanoseconds> times;
    cv::Scalar lastMean;
};

Seen Play(std::string const& path) {
    Seen seen{};
    Reader reader(path, {});
    while (std::optional<Picture> const picture = reader.Next()) {
        seen.times.push_back(picture->time);
        seen.size = picture->frame.GetSize();
        seen.lastMean = cv::mean(draw::ToBgr(picture->frame));
    }
    EXPECT_EQ(reader.Fault(), std::nullopt);
    return seen;
}

TEST(Writer, WritesClipsOfAnySizeThatPlayWithTheirColours) {
    test::Folder const folder;
    cv::Scalar const colour(40, 160, 90);
    for (Size const size : {Size{1, 1}, Size{2, 2}, Size{33, 17}, Size{160, 120}, Size{401, 3}}) {
        SCOPED_TRACE(testing::Message() << size.width << " x " << size.height);
        std::string const path = folder / "clip.mp4";
        Writer writer(path, size, 10.0);
        cv::Mat const picture(static_cast<int>(size.height), static_cast<int>(size.width), CV_8UC3,
                              colour);
        for (int i = 0; i < 12; ++i) writer.Write(picture, i * 100ms);
        writer.Close();
        writer.Close();

        Seen const seen = Play(path);
        EXPECT_EQ(seen.size, (Size{size.width + size.width % 2, size.height + size.height % 2}));
        EXPECT_EQ(seen.times.size(), 12U);
        for (int channel = 0; channel < 3; ++channel) {
            EXPECT_NEAR(seen.lastMean[channel], colour[channel], 4.0);
        }
    }
}

TEST(Writer, KeepsUnevenTimesAndMakesThemRise) {
    test::Folder const folder;
    cv::Mat const picture(48, 64, CV_8UC3, cv::Scalar::all(77));
    {
        Writer writer(folder / "clip.mp4", {64, 48}, 10.0);
        for (auto const time : {5000ms, 5100ms, 5450ms, 5450ms, 5300ms, 9000ms}) {
            writer.Write(picture, time);
        }
        writer.Close();
    }
    Seen const seen = Play(folder / "clip.mp4");
    ASSERT_EQ(seen.times.size(), 6U);
    double const expected[] = {0.0, 0.1, 0.45, 0.45, 0.45, 4.0};
    for (std::size_t i = 0; i < 6; ++i) {
        EXPECT_NEAR(std::chrono::duration<double>(seen.times[i]).count(), expected[i], 0.001);
        if (i > 0) {
            EXPECT_GT(seen.times[i], seen.times[i - 1]);
        }
    }
}

// What is written last is written while closing: a file too large by then must not pass for whole.
TEST(Writer, TellsThatTheEndDidNotFit) {
    test::Folder const folder;
    rlimit old{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &old), 0);
    rlimit const small{1000, old.rlim_max};
    auto* const oldHandler = std::signal(SIGXFSZ, SIG_IGN);
    Writer writer(folder / "clip.mp4", {64, 48}, 10.0);
    setrlimit(RLIMIT_FSIZE, &small);
    cv::Mat picture(48, 64, CV_8UC3);
    cv::randu(picture, 0, 255);
    EXPECT_NO_THROW(writer.Write(picture, 0ms));
    EXPECT_THROW(writer.Close(), Failure);
    setrlimit(RLIMIT_FSIZE, &old);
    std::signal(SIGXFSZ, oldHandler);
}

}  // namespace
}  // namespace kes::track::video
