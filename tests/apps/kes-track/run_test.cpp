// kes-track run and eval from the outside: files, lines, exit codes.

#include <chrono>
#include <cstdint>
#include <set>
#include <sstream>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <opencv2/imgcodecs.hpp>

#include "draw/overlay.hpp"
#include "mot/mot_text.hpp"
#include "support/clip.hpp"
#include "support/folder.hpp"
#include "support/hall.hpp"
#include "support/program.hpp"
#include "video/reader.hpp"
#include "video/writer.hpp"

namespace kes::track {
namespace {

using nlohmann::json;
using test::Folder;
using test::Hall;
using test::MakeClip;
using test::Outcome;
using test::ReadFile;
using test::RunProgram;
using test::WriteFile;

constexpr int Frames = 160;

// Two people cross an empty hall. Writes the clip and its ground truth.
void MakeHallClip(std::string const& clip, std::string const& truth) {
    Hall hall({{{{30, -20, 240}, {100, 500, 260}}, {50, 40, 190}, {30, 28, 26}},
               {{{60, 500, 300}, {150, -20, 180}}, {170, 70, 30}, {235, 235, 235}}},
              {});
    video::Writer writer(clip, {Hall::Width, Hall::Height}, Hall::FramesPerSecond);
    std::ostringstream rows;
    for (int frame = 0; frame < Frames; ++frame) {
        auto const time = std::chrono::milliseconds(100 * frame);
        writer.Write(draw::ToBgr(hall.Draw(frame)), time);
        for (auto const& row : hall.Truth(frame)) mot::Write(rows, row);
    }
    writer.Close();
    WriteFile(truth, rows.str());
}

TEST(Run, WritesEverythingAskedForAndWhatItFindsIsTrue) {
    Folder const folder;
    MakeHallClip(folder / "hall.mp4", folder / "truth.txt");
    Outcome const outcome = RunProgram(
        {"run", folder / "hall.mp4", "--mot", folder / "out.txt", "--jsonl", folder / "out.jsonl",
         "--video", folder / "out.mp4", "--picture", folder / "out.png", "--json", "--line",
         "door:240,340,240,100", "--zone", "west:-9,-9,240,-9,240,369,-9,369", "--counts",
         folder / "counts.csv", "--heatmap", folder / "heat.png"});
    ASSERT_EQ(outcome.code, 0) << outcome.err;
    auto const summary = json::parse(outcome.out);
    EXPECT_EQ(summary["frames"], Frames);
    EXPECT_EQ(summary["warm_up_frames"], Frames);
    EXPECT_EQ(summary["objects"], 2);
    EXPECT_TRUE(summary["failure"].is_null());

    Outcome const scored = RunProgram({"eval", folder / "truth.txt", folder / "out.txt", "--json"});
    ASSERT_EQ(scored.code, 0) << scored.err;
    auto const scores = json::parse(scored.out);
    EXPECT_GT(scores["mota"], 75.0);
    EXPECT_GT(scores["idf1"], 85.0);
    EXPECT_EQ(scores["switches"], 0);

    // One goes each way, and each is in the west for a while.
    auto const counts = ReadFile(folder / "counts.csv");
    EXPECT_NE(counts.find("\n0,\"door\",1,1,,,,\n0,\"west\",,,2,2,0,"), std::string::npos)
        << counts;
    cv::Mat const heat = cv::imread(folder / "heat.png");
    EXPECT_EQ(heat.size(), cv::Size(Hall::Width, Hall::Height));

    // What was followed in the warm-up has been forgotten: numbers begin afresh.
    std::set<long> ids;
    for (mot::Row const& row : mot::Read(folder / "out.txt")) ids.insert(row.id);
    EXPECT_EQ(*ids.begin(), 1);

    int frames = 0;
    std::multiset<std::string> events;
    std::istringstream lines(ReadFile(folder / "out.jsonl"));
    for (std::string line; std::getline(lines, line);) {
        auto const one = json::parse(line);
        if (one.contains("event")) {
            events.insert(one["event"]);
            continue;
        }
        ++frames;
        EXPECT_EQ(one["frame"], frames);
        EXPECT_NEAR(one["time"], 0.1 * (frames - 1), 1e-3);
    }
    EXPECT_EQ(frames, Frames);
    EXPECT_EQ(events.count("arrived"), 2U);
    EXPECT_EQ(events.count("left"), 2U);
    EXPECT_EQ(events.count("crossed"), 2U);

    video::Reader drawn(folder / "out.mp4", {});
    int pictures = 0;
    while (drawn.Next()) ++pictures;
    EXPECT_EQ(pictures, Frames);
    EXPECT_FALSE(cv::imread(folder / "out.png").empty());
}

TEST(Run, TakesClipsOfAnySizeAndLength) {
    Folder const folder;
    for (auto const& [width, height, frames] :
         {std::tuple{1, 1, 3}, {2, 2, 3}, {64, 48, 1}, {131, 75, 12}, {400, 2, 4}}) {
        SCOPED_TRACE(testing::Message() << width << " x " << height << ", " << frames);
        MakeClip(folder / "clip.mkv", {.width = width, .height = height, .frames = frames});
        Outcome const outcome =
            RunProgram({"run", folder / "clip.mkv", "--mot", folder / "out.txt", "--video",
                        folder / "out.mp4", "--picture", folder / "out.png", "--json"});
        ASSERT_EQ(outcome.code, 0) << outcome.err;
        EXPECT_EQ(json::parse(outcome.out)["frames"], frames);
    }
}

TEST(Run, FinishesTheOtherInputsWhenOneFails) {
    Folder const folder;
    MakeClip(folder / "a.mkv", {.frames = 5});
    MakeClip(folder / "b.mkv", {.frames = 7});
    WriteFile(folder / "no.mkv", "this is no video");
    Outcome const outcome =
        RunProgram({"run", folder / "a.mkv", folder / "no.mkv", folder / "b.mkv", folder / "b.mkv",
                    "--jobs", "2", "--jsonl", folder / "out", "--json"});
    EXPECT_EQ(outcome.code, 3);
    EXPECT_NE(outcome.err.find("no.mkv"), std::string::npos);
    auto const summary = json::parse(outcome.out);
    ASSERT_EQ(summary.size(), 4U);
    EXPECT_EQ(summary[0]["frames"], 5);
    EXPECT_FALSE(summary[1]["failure"].is_null());
    EXPECT_EQ(summary[2]["frames"], 7);
    for (char const* name : {"out/a.jsonl", "out/b.jsonl", "out/b-2.jsonl"}) {
        EXPECT_FALSE(ReadFile(folder / name).empty()) << name;
    }
}

TEST(Run, PutsClassesTogetherAsTheLabelsFileSays) {
    Folder const folder;
    MakeClip(folder / "clip.mkv", {.width = 200, .height = 100, .frames = 20});
    std::string detections;
    for (int frame = 1; frame <= 20; ++frame) {
        // A detector that cannot decide, and a box of too little confidence.
        std::string const name = frame % 2 == 0 ? "car" : "truck";
        detections += std::to_string(frame) + ",-1," + std::to_string(10 + 2 * frame) +
                      ",20,60,50,0.9," + name + "\n";
        detections += std::to_string(frame) + ",-1,150,20,30,50,0.2,car\n";
    }
    WriteFile(folder / "det.txt", detections);
    auto const objects = [&](std::string const& labels) {
        WriteFile(folder / "labels.txt", labels);
        Outcome const outcome =
            RunProgram({"run", folder / "clip.mkv", "--detections", folder / "det.txt", "--labels",
                        folder / "labels.txt", "--jsonl", folder / "out.jsonl", "--json"});
        EXPECT_EQ(outcome.code, 0) << outcome.err;
        return json::parse(outcome.out)["objects"].get<int>();
    };
    EXPECT_EQ(objects("# what stands for what\ncar,vehicle\r\ntruck,vehicle\n"), 1);
    EXPECT_NE(ReadFile(folder / "out.jsonl").find(R"("label":"vehicle")"), std::string::npos);
    EXPECT_EQ(objects("car\ntruck\n"), 2);

    WriteFile(folder / "labels.txt", "car\n");
    Outcome const unknown = RunProgram({"run", folder / "clip.mkv", "--detections",
                                        folder / "det.txt", "--labels", folder / "labels.txt"});
    EXPECT_EQ(unknown.code, 6);
    EXPECT_NE(unknown.err.find("class 'truck'"), std::string::npos);
}

}  // namespace
}  // namespace kes::track
