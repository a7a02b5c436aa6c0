// kes-track segment from the outside: exit codes, lines, files.

#include <chrono>
#include <csignal>
#include <cstddef>
#include <filesystem>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

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
    for (char const* const part : {"clip.mkv", "64 x 48", "10 frames/s", "frames             20\n",
                                   "segmenter", "whole program", "stationary"}) {
        EXPECT_NE(outcome.out.find(part), std::string::npos) << part << " in\n" << outcome.out;
    }
}

TEST(Segment, AnswersBadInputWithOneLineAndItsCode) {
    Folder const folder;
    MakeClip(folder / "clip.avi", {.frames = 40});
    MakeClip(folder / "clip.mkv", {});
    std::string const clip = folder / "clip.mkv";
    std::string const whole = ReadFile(folder / "clip.avi");
    WriteFile(folder / "cut.avi", whole.substr(0, whole.size() / 2));
    WriteFile(folder / "words.txt", "no video");
    std::string const small = folder / "small.png";
    std::string const twice = folder / "twice";
    cv::imwrite(small, cv::Mat::zeros(10, 10, CV_8UC1));
    struct Case {
        std::vector<std::string> arguments;
        int code;
        std::string part;  // of the line
    };
    std::vector<Case> const cases{
        {{}, 2, "subcommand"},
        {{"dance"}, 2, "dance"},
        {{"segment"}, 2, "INPUT"},
        {{"segment", clip, "--stationary", "5"}, 2, "--stationary: '5' is not a time"},
        {{"segment", clip, "--hold-on", "-5s"}, 2, "--hold-on"},
        {{"segment", clip, "--hold-on", "9000h"}, 2, "--hold-on"},
        {{"segment", clip, "--hold-on", "8000h"}, 2, "too long together"},
        {{"segment", clip, "--threshold", "nan"}, 2, "--threshold"},
        {{"segment", clip, "--threshold", "256"}, 2, "--threshold"},
        {{"segment", clip, "--size", "64"}, 2, "--size"},
        {{"segment", clip, "--size", "99999x99999"}, 2, "--size"},
        {{"segment", clip, "--every", "0"}, 2, "--every"},
        {{"segment", clip, "--frobnicate"}, 2, "--frobnicate"},
        {{"segment", clip, "--video", clip}, 2, "is read"},
        {{"segment", clip, "--exclude", small, "--picture", small}, 2, "is read"},
        {{"segment", clip, "--picture", twice, "--jsonl", twice}, 2, "two outputs"},
        {{"segment", clip, "another.mkv"}, 2, "another.mkv"},
        {{"segment", folder / "absent.avi"}, 3, "No such file or directory"},
        {{"segment", folder / "words.txt"}, 3, "not a video"},
        {{"segment", folder / ""}, 3, "Is a directory"},
        {{"segment", clip, "--start", "1h"}, 3, "before the start"},
        {{"segment", folder / "cut.avi"}, 4, " of 4.0 s"},
        {{"segment", clip, "--video", folder / "absent/v.mp4"}, 5, "No such file or directory"},
        {{"segment", clip, "--picture", folder / "absent/p.png"}, 5, "No such file or directory"},
        {{"segment", clip, "--jsonl", "/dev/full"}, 5, "No space left"},
        {{"segment", clip, "--picture", "/dev/full"}, 5, "No space left"},
        {{"segment", clip, "--video", "/dev/full"}, 5, "/dev/full: No space left"},
        {{"segment", clip, "--masks", folder / "words.txt"}, 5, "words.txt"},
        {{"segment", clip, "--exclude", small}, 6, "is 10 x 10; the frames are 64 x 48"},
        {{"segment", clip, "--freeze", folder / "absent.png"}, 6, "No such file or directory"},
        {{"segment", clip, "--reset", folder / "words.txt"}, 6, "words.txt"},
    };
    for (Case const& c : cases) {
        Outcome const outcome = RunProgram(c.arguments);
        SCOPED_TRACE(testing::PrintToString(c.arguments));
        EXPECT_EQ(outcome.code, c.code);
        EXPECT_EQ(outcome.err.rfind("kes-track: ", 0), 0U) << outcome.err;
        EXPECT_EQ(outcome.err.find('\n'), outcome.err.size() - 1) << outcome.err;
        EXPECT_NE(outcome.err.find(c.part), std::string::npos) << outcome.err;
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

TEST(Segment, ClosesItsFilesAndSumsUpWhenInterrupted) {
    Folder const folder;
    MakeClip(folder / "clip.mkv", {.frames = 200});
    std::string const clip = ReadFile(folder / "clip.mkv");
    for (int const signal : {SIGINT, SIGTERM}) {
        int ends[2];
        ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
        test::Program program({"segment", "-", "--video", folder / "live.mp4", "--jsonl",
                               folder / "live.jsonl", "--json"},
                              ends[0]);
        close(ends[0]);
        // A camera that sends half of its clip and then nothing: the program waits.
        std::thread camera([&] {
            std::size_t sent = 0;
            while (sent < clip.size() / 2) {
                ssize_t const more = write(ends[1], clip.data() + sent, clip.size() / 2 - sent);
                if (more <= 0) break;
                sent += static_cast<std::size_t>(more);
            }
        });
        for (int i = 0; i < 200 && ParseLines(ReadFile(folder / "live.jsonl")).empty(); ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
        camera.join();
        program.Signal(signal);
        Outcome const outcome = program.Wait();
        close(ends[1]);

        EXPECT_EQ(outcome.code, 128 + signal);
        EXPECT_EQ(outcome.err, "");
        json const summary = json::parse(outcome.out);
        EXPECT_EQ(summary["interrupted"], true);
        std::size_t const frames = summary["frames"];
        EXPECT_GE(frames, 1U);
        EXPECT_EQ(ParseLines(ReadFile(folder / "live.jsonl")).size(), frames);
        EXPECT_EQ(CountPictures(folder / "live.mp4"), frames);
        std::filesystem::remove(folder / "live.jsonl");
    }
}

TEST(Program, ExplainsItself) {
    EXPECT_EQ(RunProgram({"--version"}).out.rfind("kes-track 1.", 0), 0U);
    for (std::vector<std::string> const& arguments :
         {std::vector<std::string>{"--help"}, {"segment", "--help"}}) {
        Outcome const outcome = RunProgram(arguments);
        EXPECT_EQ(outcome.code, 0);
        EXPECT_EQ(outcome.err, "");
        EXPECT_NE(outcome.out.find("segment"), std::string::npos);
        EXPECT_NE(outcome.out.find("Exit codes"), std::string::npos);
    }
}

}  // namespace
}  // namespace kes::track
