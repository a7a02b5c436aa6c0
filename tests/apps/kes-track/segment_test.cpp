// kes-track segment from the outside: exit codes, lines, files.

#include <cstddef>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>

#include "support/clip.hpp"
#include "support/folder.hpp"
#include "support/program.hpp"
#include "video/reader.hpp"

namespace kes::track {
namespace {

using nlohmann::json;
using test::Folder;
using test::MakeClip;
using test::Outcome;
using test::ReadFile;
using test::RunProgram;
using test::WriteFile;

std::vector<json> ParseLines(std::string const& text) {
    std::vector<json> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) lines.push_back(json::parse(line));
    return lines;
}

std::size_t CountPictures(std::string const& path) {
    video::Reader reader(path, {});
    std::size_t count = 0;
    while (reader.Next()) ++count;
    EXPECT_EQ(reader.Fault(), std::nullopt);
    return count;
}

TEST(Segment, WritesEverythingAskedFor) {
    Folder const folder;
    for (auto const& [width, height] : {std::pair{64, 48}, std::pair{131, 75}, std::pair{1, 1}}) {
        SCOPED_TRACE(testing::Message() << width << " x " << height);
        MakeClip(folder / "clip.mkv", {.width = width, .height = height, .frames = 15});
        Outcome const outcome =
            RunProgram({"segment", folder / "clip.mkv", "--video", folder / "clip.mp4", "--picture",
                        folder / "clip.png", "--masks", folder / "masks/of/clip", "--jsonl",
                        folder / "clip.jsonl", "--json"});
        ASSERT_EQ(outcome.code, 0) << outcome.err;
        EXPECT_EQ(outcome.err, "");

        json const summary = json::parse(outcome.out);
        EXPECT_EQ(summary["frames"], 15);
        EXPECT_EQ(summary["width"], width);
        EXPECT_EQ(summary["height"], height);
        EXPECT_EQ(summary["frame_rate"], 10.0);
        EXPECT_EQ(summary["fault"], nullptr);

        std::vector<json> const lines = ParseLines(ReadFile(folder / "clip.jsonl"));
        ASSERT_EQ(lines.size(), 15U);
        for (std::size_t i = 0; i < lines.size(); ++i) {
            EXPECT_EQ(lines[i]["index"], i);
            EXPECT_NEAR(lines[i]["time"].get<double>(), 0.1 * static_cast<double>(i), 0.001);
            EXPECT_GE(lines[i]["microseconds"].get<double>(), 0.0);
        }
        EXPECT_EQ(CountPictures(folder / "clip.mp4"), 15U);
        EXPECT_EQ(cv::imread(folder / "clip.png").cols, 1960);
        if (width == 1) continue;  // no cell, no mask
        for (std::size_t i = 0; i < lines.size(); ++i) {
            char name[32];
            std::snprintf(name, sizeof name, "%06zu.png", i);
            cv::Mat const mask =
                cv::imread(folder / (std::string("masks/of/clip/") + name), cv::IMREAD_UNCHANGED);
            ASSERT_EQ(mask.size(), cv::Size(width / 2, height / 2));
            EXPECT_EQ(cv::countNonZero(mask == 128), lines[i]["young"].get<int>());
            EXPECT_EQ(cv::countNonZero(mask == 255), lines[i]["stationary"].get<int>());
        }
    }
}

TEST(Segment, PrintsATableThatAPersonReads) {
    Folder const folder;
    MakeClip(folder / "clip.mkv", {});
    Outcome const outcome = RunProgram({"segment", folder / "clip.mkv"});
    EXPECT_EQ(outcome.code, 0);
    EXPECT_EQ(outcome.err, "");
    for (char const* const part : {"clip.mkv", "64 x 48", "10 frames/s", "frames          20\n",
                                   "segmenter", "whole program", "stationary"}) {
        EXPECT_NE(outcome.out.find(part), std::string::npos) << part << " in\n" << outcome.out;
    }
}

TEST(Segment, KeepsWhatWasDoneWhenTheInputBreaksOff) {
    Folder const folder;
    MakeClip(folder / "clip.avi", {.frames = 40});
    std::string const whole = ReadFile(folder / "clip.avi");
    WriteFile(folder / "cut.avi", whole.substr(0, whole.size() / 2));
    Outcome const outcome =
        RunProgram({"segment", folder / "cut.avi", "--video", folder / "cut.mp4", "--jsonl",
                    folder / "cut.jsonl", "--json"});
    EXPECT_EQ(outcome.code, 4);
    json const summary = json::parse(outcome.out);
    EXPECT_TRUE(summary["fault"].is_string());
    std::size_t const frames = summary["frames"];
    EXPECT_GT(frames, 10U);
    EXPECT_EQ(ParseLines(ReadFile(folder / "cut.jsonl")).size(), frames);
    EXPECT_EQ(CountPictures(folder / "cut.mp4"), frames);
}

TEST(Segment, KeepsTheOtherOutputsWhenOneFails) {
    Folder const folder;
    MakeClip(folder / "clip.mkv", {});
    Outcome const outcome = RunProgram(
        {"segment", folder / "clip.mkv", "--video", folder / "clip.mp4", "--picture", "/dev/full"});
    EXPECT_EQ(outcome.code, 5);
    EXPECT_EQ(CountPictures(folder / "clip.mp4"), 20U);
}

}  // namespace
}  // namespace kes::track
