// What each option of `run` comes to in what the tracker is told.

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <CLI/CLI.hpp>
#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>

#include "base/format.hpp"
#include "cli/run_options.hpp"
#include "run/stream.hpp"
#include "support/folder.hpp"

namespace kes::track {
namespace {

using namespace std::chrono_literals;

// Everything that can be said, one word each.
std::vector<double> Told(run::StreamOptions const& stream) {
    video::ClipInfo const clip{{64, 48}, 12.5, true, "", {}};
    tracker::Options const t = run::TrackerOptions(stream, clip);
    auto const isSet = [](algorithm::BitMask const& mask) {
        return mask.words.empty() ? 0.0 : static_cast<double>(mask.words[0] != 0);
    };
    return {t.framesPerSecond,
            static_cast<double>(t.threshold),
            static_cast<double>(t.thresholdFactor),
            static_cast<double>(t.minimumHeight),
            t.confirmationTime,
            t.maximumOcclusion,
            t.maximumAge,
            static_cast<double>(t.gate),
            t.stationaryTime,
            t.holdOnTime,
            isSet(t.exclude),
            isSet(t.freeze),
            isSet(t.reset),
            Seconds(stream.warmUp),
            Seconds(stream.latency),
            Seconds(stream.smoothing),
            Seconds(stream.read.start),
            Seconds(stream.read.duration.value_or(0s)),
            static_cast<double>(stream.read.every)};
}

std::vector<double> Told(std::vector<std::string> arguments) {
    CLI::App app;
    cli::RunOptions options;
    cli::AddRunOptions(app, options);
    arguments.push_back("clip.mkv");
    std::reverse(arguments.begin(), arguments.end());  // as CLI11 takes them
    app.parse(arguments);
    return Told(cli::StreamsOf(options).at(0));
}

TEST(RunOptions, EachComeToOneFieldAndNoOther) {
    test::Folder const folder;
    std::string const white = folder / "white.png";
    cv::imwrite(white, cv::Mat(48, 64, CV_8UC1, cv::Scalar(255)));
    struct Case {
        std::string option, text;
        std::size_t place;
        double value;
    };
    auto const usual = Told(std::vector<std::string>{});
    for (Case const& c : {Case{"--threshold", "7", 1, 7},
                          {"--threshold-factor", "2", 2, 2},
                          {"--min-height", "25%", 3, 0.25},
                          {"--persistence", "3s", 4, 3},
                          {"--concealment", "9s", 5, 9},
                          {"--memory", "11s", 6, 11},
                          {"--reach", "0.5", 7, 0.5},
                          {"--stationary", "8s", 8, 8},
                          {"--hold-on", "70s", 9, 70},
                          {"--exclude", white, 10, 1},
                          {"--freeze", white, 11, 1},
                          {"--reset", white, 12, 1},
                          {"--warm-up", "1s", 13, 1},
                          {"--latency", "2s", 14, 2},
                          {"--smoothing", "3s", 15, 3},
                          {"--start", "4s", 16, 4},
                          {"--duration", "5s", 17, 5},
                          {"--every", "6", 18, 6}}) {
        auto expected = usual;
        expected.at(c.place) = c.value;
        EXPECT_EQ(Told({c.option, c.text}), expected) << c.option;
    }
}

}  // namespace
}  // namespace kes::track
