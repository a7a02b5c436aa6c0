// kes-track from the outside, whatever the command: exit codes, lines of refusal, and what is left
// of outputs when something goes wrong.

#include <chrono>
#include <csignal>
#include <cstddef>
#include <filesystem>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
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
#include "support/server.hpp"
#include "video/reader.hpp"

namespace kes::track {
namespace {

using nlohmann::json;
using test::Folder;
using test::MakeClip;
using test::Outcome;
using test::Program;
using test::ReadFile;
using test::RunProgram;
using test::WriteFile;

using Words = std::vector<std::string>;

TEST(Program, AnswersMisuseWithOneLineAndItsCode) {
    Folder const folder;
    MakeClip(folder / "clip.mkv", {});
    MakeClip(folder / "clip.avi", {.frames = 40});
    std::string const clip = folder / "clip.mkv";
    std::string const whole = ReadFile(folder / "clip.avi");
    WriteFile(folder / "cut.avi", whole.substr(0, whole.size() / 2));
    WriteFile(folder / "words.txt", "no video");
    WriteFile(folder / "bad.txt", "1,2,3\n");
    WriteFile(folder / "clip.mp4", "also read");
    std::string const boxes = folder / "boxes.txt";
    WriteFile(boxes, "1,-1,0,0,9,9,1\n");
    std::string const small = folder / "small.png";
    std::string const twice = folder / "twice";
    cv::imwrite(small, cv::Mat::zeros(10, 10, CV_8UC1));
    struct Case {
        Words arguments;
        int code;
        std::string part;  // of the line
    };
    std::vector<Case> const cases{
        {{}, 2, "subcommand"},
        {{"dance"}, 2, "dance"},
        {{"segment"}, 2, "INPUT"},
        {{"segment", clip, "--stationary", "5"}, 2, "--stationary: '5' is not a time"},
        {{"segment", clip, "--hold-on", "8000h"}, 2, "too long together"},
        {{"segment", clip, "--duration", "0"}, 2, "--duration: '0' is not a time above 0"},
        {{"segment", clip, "--threshold", "256"}, 2, "'256' is not a number from 0 to 255"},
        {{"segment", clip, "--size", "64"}, 2, "--size"},
        {{"segment", clip, "--every", "0"}, 2, "--every"},
        {{"segment", clip, "--frobnicate"}, 2, "--frobnicate"},
        {{"segment", clip, "--video", clip}, 2, "is read"},
        {{"segment", clip, "--exclude", small, "--picture", small}, 2, "is read"},
        {{"segment", clip, "--picture", twice, "--jsonl", twice}, 2, "two outputs"},
        {{"segment", clip, "--picture", "-", "--jsonl", "-"}, 2, "two outputs"},
        {{"segment", clip, "another.mkv"}, 2, "another.mkv"},
        {{"segment", folder / "absent.avi"}, 3, "No such file or directory"},
        {{"segment", folder / "words.txt"}, 3, "not a video"},
        {{"segment", folder / ""}, 3, "Is a directory"},
        {{"segment", clip, "--start", "1h"}, 3, "before the start"},
        {{"segment", folder / "cut.avi"}, 4, " of 4.0 s"},
        {{"segment", clip, "--video", folder / "absent/v.mp4"}, 5, "No such file or directory"},
        {{"segment", clip, "--picture", folder / "absent/p.png"}, 5, "No such file or directory"},
        {{"segment", clip, "--jsonl", "/dev/full"}, 5, "/dev/full: No space left"},
        {{"segment", clip, "--picture", "/dev/full"}, 5, "No space left"},
        {{"segment", clip, "--video", "/dev/full"}, 5, "/dev/full: No space left"},
        {{"segment", clip, "--masks", folder / "words.txt"}, 5, "words.txt"},
        {{"segment", clip, "--exclude", small}, 6, "is 10 x 10; the frames are 64 x 48"},
        {{"segment", clip, "--freeze", folder / "absent.png"}, 6, "No such file or directory"},
        {{"segment", clip, "--reset", folder / "words.txt"}, 6, "words.txt"},
        {{"run"}, 2, "INPUT"},
        {{"run", clip, "--detections", boxes, "--mot", boxes}, 2, "is read"},
        {{"run", clip, "--detections", boxes, "--threshold", "5"}, 2, "--threshold"},
        {{"run", clip, "--exclude", boxes, "--jsonl", boxes}, 2, "is read"},
        {{"run", folder / "other/clip.mp4", folder / "clip.mp4", "--video", folder / ""},
         2,
         "read"},
        {{"run", clip, clip, "--mot", "-"}, 2, "standard output"},
        {{"run", clip, "--jobs", "0"}, 2, "--jobs"},
        {{"run", clip, "--min-height", "12"}, 2, "--min-height"},
        {{"run", clip, "--hold-on", "1000h"}, 2, "too long together"},
        {{"run", clip, "--latency", "1000h", "--video", twice}, 2, "--latency is too long"},
        {{"run", folder / "none.mkv"}, 3, "No such file or directory"},
        {{"run", clip, "--mot", folder / "no/such/folder.txt"}, 5, "No such file or directory"},
        {{"run", clip, "--jsonl", "/dev/full"}, 5, "/dev/full: No space left"},
        {{"run", clip, "--detections", folder / "bad.txt"}, 6, "bad.txt:1: expected"},
        {{"run", clip, "--exclude", folder / "bad.txt"}, 6, "bad.txt"},
        {{"eval", boxes}, 2, "RESULT"},
        {{"eval", folder / "bad.txt", boxes}, 6, "bad.txt:1: expected"},
        {{"eval", folder / "none.txt", boxes}, 6, "cannot be opened"},
    };
    for (Case const& c : cases) {
        Outcome const outcome = RunProgram(c.arguments);
        SCOPED_TRACE(testing::PrintToString(c.arguments));
        EXPECT_EQ(outcome.code, c.code);
        EXPECT_EQ(outcome.err.rfind("kes-track: ", 0), 0U) << outcome.err;
        EXPECT_EQ(outcome.err.find('\n'), outcome.err.size() - 1) << outcome.err;
        EXPECT_NE(outcome.err.find(c.part), std::string::npos) << outcome.err;
    }
    EXPECT_EQ(ReadFile(folder / "clip.mp4"), "also read");
    EXPECT_EQ(ReadFile(boxes), "1,-1,0,0,9,9,1\n");
    EXPECT_FALSE(std::filesystem::exists(twice));
    EXPECT_FALSE(std::filesystem::exists(twice + ".part"));
}

TEST(Program, TellsWhenWhatItPrintsIsLost) {
    Folder const folder;
    MakeClip(folder / "clip.mkv", {.frames = 2});
    WriteFile(folder / "boxes.txt", "1,1,0,0,9,9,1\n");
    for (Words const& arguments : {Words{"--help"},
                                   {"run", "--help"},
                                   {"manual"},
                                   {"segment", folder / "clip.mkv"},
                                   {"segment", folder / "clip.mkv", "--json"},
                                   {"segment", folder / "clip.mkv", "--jsonl", "-"},
                                   {"run", folder / "clip.mkv"},
                                   {"eval", folder / "boxes.txt", folder / "boxes.txt"}}) {
        for (char const* const output : {"/dev/full", Program::Closed}) {
            Outcome const outcome = RunProgram(arguments, output);
            EXPECT_EQ(outcome.code, 5) << testing::PrintToString(arguments) << output;
            EXPECT_EQ(outcome.err.rfind("kes-track: standard output: ", 0), 0U) << outcome.err;
        }
    }
}

// Of the lines of either command, events aside.
std::size_t CountFrames(std::string const& lines) {
    std::size_t count = 0;
    std::istringstream stream(lines);
    for (std::string line; std::getline(stream, line);) {
        count += line.starts_with(R"({"frame":)") || line.starts_with(R"({"index":)") ? 1U : 0U;
    }
    return count;
}

TEST(Program, WritesToStandardOutputAndItsSummaryBesides) {
    Folder const folder;
    MakeClip(folder / "clip.mkv", {.frames = 12});
    for (Words const& arguments : {Words{"segment", "--jsonl", "-"}, {"run", "--jsonl", "-"}}) {
        Words words = arguments;
        words.insert(words.begin() + 1, folder / "clip.mkv");
        Outcome const outcome = RunProgram(words);
        EXPECT_EQ(outcome.code, 0);
        EXPECT_EQ(CountFrames(outcome.out), 12U);
        EXPECT_EQ(outcome.out.find("size"), std::string::npos);
        EXPECT_NE(outcome.err.find("frames"), std::string::npos);
    }
    Outcome const video = RunProgram({"run", folder / "clip.mkv", "--video", "-"});
    WriteFile(folder / "piped.mp4", video.out);
    video::Reader reader(folder / "piped.mp4", {});
    std::size_t pictures = 0;
    while (reader.Next()) ++pictures;
    EXPECT_EQ(pictures, 12U);
}

// A camera that sends half of its clip and then nothing: the program waits, and is stopped.
TEST(Program, LeavesWhatItHasDoneWhenItIsStopped) {
    Folder const folder;
    MakeClip(folder / "clip.mkv", {.frames = 200});
    std::string const clip = ReadFile(folder / "clip.mkv");
    for (auto const& [command, signal] :
         {std::pair{"segment", SIGINT}, {"segment", SIGKILL}, {"run", SIGHUP}, {"run", SIGKILL}}) {
        SCOPED_TRACE(testing::Message() << command << ", signal " << signal);
        bool const isKilled = signal == SIGKILL;
        std::string const part = isKilled ? ".part" : "";
        int ends[2];
        ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
        WriteFile(folder / "live.jsonl", "what was there before");
        Program program({command, "-", "--video", folder / "live.mp4", "--jsonl",
                         folder / "live.jsonl", "--json"},
                        ends[0]);
        close(ends[0]);
        std::thread camera([&] {
            std::size_t sent = 0;
            while (sent < clip.size() / 2) {
                ssize_t const more = write(ends[1], clip.data() + sent, clip.size() / 2 - sent);
                if (more <= 0) break;
                sent += static_cast<std::size_t>(more);
            }
        });
        auto const lines = [](std::string const& path) { return CountFrames(ReadFile(path)); };
        // Lines can be followed while they are written.
        for (int i = 0; i < 1200 && lines(folder / "live.jsonl.part") < 60; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
        camera.join();
        program.Signal(signal);
        Outcome const outcome = program.Wait();
        close(ends[1]);

        EXPECT_EQ(outcome.code, 128 + signal);
        EXPECT_EQ(outcome.err, "");
        std::size_t const told = lines(folder / ("live.jsonl" + part));
        EXPECT_GE(told, 60U);
        video::Reader reader(folder / ("live.mp4" + part), {});
        std::size_t pictures = 0;
        while (reader.Next()) ++pictures;
        if (isKilled) {
            EXPECT_GT(pictures, 20U);
            EXPECT_EQ(ReadFile(folder / "live.jsonl"), "what was there before");
            EXPECT_FALSE(std::filesystem::exists(folder / "live.mp4"));
        } else {
            std::size_t const frames = json::parse(outcome.out)["frames"];
            EXPECT_EQ(told, frames);
            EXPECT_EQ(pictures, frames);
            EXPECT_FALSE(std::filesystem::exists(folder / "live.mp4.part"));
        }
        for (char const* const name : {"live.mp4", "live.mp4.part", "live.jsonl.part"}) {
            std::filesystem::remove(folder / name);
        }
    }
}

TEST(Program, StopsAtOnceWhileAServerSaysNothing) {
    test::Server const server;
    for (char const* const command : {"segment", "run"}) {
        Program program({command, "rtsp://" + server.Address() + "/x"});
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        program.Signal(SIGINT);
        EXPECT_EQ(program.Wait().code, 130) << command;
    }
}

TEST(Program, ScoresTheFramesAskedForAndWhatIsToBeScored) {
    Folder const folder;
    WriteFile(folder / "truth.txt",
              "1,1,0,0,9,9,1\n2,1,0,0,9,9,1\n3,1,0,0,9,9,1\n3,2,50,0,9,9,0\n");
    WriteFile(folder / "result.txt", "1,7,0,0,9,9,1\n2,7,40,0,9,9,1\n3,7,0,0,9,9,1\n");
    std::pair<Words, std::string> const cases[] = {
        {{}, R"({"first_frame":1,"last_frame":3,"true_boxes":3,"result_boxes":3)"},
        {{"--frames", "2-3"}, R"({"first_frame":2,"last_frame":3,"true_boxes":2,"result_boxes":2)"},
    };
    for (auto const& [more, start] : cases) {
        Words words{"eval", folder / "truth.txt", folder / "result.txt", "--json"};
        words.insert(words.end(), more.begin(), more.end());
        EXPECT_EQ(RunProgram(words).out.rfind(start, 0), 0U) << RunProgram(words).out;
    }
}

TEST(Program, ExplainsItself) {
    EXPECT_EQ(RunProgram({"--version"}).out.rfind("kes-track 1.", 0), 0U);
    for (Words const& arguments : {Words{"--help"}, {"segment", "--help"}}) {
        Outcome const outcome = RunProgram(arguments);
        EXPECT_EQ(outcome.code, 0);
        EXPECT_EQ(outcome.err, "");
        EXPECT_NE(outcome.out.find("segment"), std::string::npos);
        EXPECT_NE(outcome.out.find("Exit codes"), std::string::npos);
    }
}

}  // namespace
}  // namespace kes::track
