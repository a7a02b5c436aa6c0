// kes-track segment: the foreground segmenter over a whole clip.

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>
#include <opencv2/core.hpp>

#include "base/finish.hpp"
#include "base/format.hpp"
#include "base/output_file.hpp"
#include "cli/input_options.hpp"
#include "cli/interrupt.hpp"
#include "cli/progress.hpp"
#include "cli/segmenter_options.hpp"
#include "command.hpp"
#include "draw/contact_sheet.hpp"
#include "draw/overlay.hpp"
#include "foreground.hpp"
#include "video/png.hpp"
#include "video/reader.hpp"
#include "video/writer.hpp"

namespace kes::track {
namespace {

using Clock = std::chrono::steady_clock;

struct SegmentOptions {
    std::string input;
    video::ReadOptions read;
    ForegroundOptions foreground;
    std::optional<std::string> video;
    std::optional<std::string> picture;
    std::optional<std::string> masks;
    std::optional<std::string> jsonLines;
    bool isSummaryJson = false;
    bool isQuiet = false;
};

std::vector<draw::LegendEntry> Legend() {
    return {{draw::MovingColour, "moving"}, {draw::StationaryColour, "stationary"}};
}

std::string Percent(double share) { return FormatNumber(100.0 * share, 2) + " %"; }

void WritePng(OutputFile& file, cv::Mat const& picture) {
    file.Write(video::EncodePng(picture));
    file.Close();
}

// What has been seen of the clip so far.
struct Tally {
    std::uint64_t frames = 0;
    std::uint64_t cells = 0;
    std::uint64_t youngCells = 0;
    std::uint64_t stationaryCells = 0;
    std::chrono::nanoseconds inSegmenter{};
    std::chrono::nanoseconds inProgram{};

    void Count(Foreground const& foreground) {
        ++frames;
        cells += foreground.Cells();
        youngCells += foreground.YoungCells();
        stationaryCells += foreground.StationaryCells();
        inSegmenter += foreground.Took();
    }

    double ShareOf(std::uint64_t some) const {
        return cells == 0 ? 0.0 : static_cast<double>(some) / static_cast<double>(cells);
    }
    double RateOver(std::chrono::nanoseconds time) const {
        return time.count() <= 0 ? 0.0 : static_cast<double>(frames) / Seconds(time);
    }
};

// The files asked for. They are made at once, so that one that cannot be is known before the work.
class Outputs {
public:
    Outputs(SegmentOptions const& options, video::ClipInfo const& clip) : label(Legend()) {
        if (options.jsonLines) jsonLines.emplace(*options.jsonLines);
        if (options.picture) {
            pictureFile.emplace(*options.picture);
            sheet.emplace(ShortName(options.input), video::Describe(clip), Legend());
        }
        if (options.masks) {
            maskFolder = *options.masks;
            std::error_code error;
            std::filesystem::create_directories(maskFolder, error);
            if (error) {
                throw Failure(ExitCode::BadOutput, *options.masks + ": " + error.message());
            }
        }
        if (options.video) video.emplace(*options.video, clip.size, clip.frameRate);
    }

    void Write(video::Picture const& picture, Foreground const& foreground) {
        if (jsonLines) WriteLine(picture, foreground);
        if (!maskFolder.empty()) WriteMask(picture, foreground);

        double const cells = std::max(1.0, static_cast<double>(foreground.Cells()));
        double const moving = static_cast<double>(foreground.YoungCells()) / cells;
        double const stationary = static_cast<double>(foreground.StationaryCells()) / cells;
        bool const isOnSheet = sheet && sheet->Note(picture.time, {moving, stationary});
        if (!video && !isOnSheet) return;
        cv::Mat drawn = draw::ToBgr(picture.frame, picture.isFullRange);
        draw::Tint(drawn, foreground.Young(), draw::MovingColour);
        draw::Tint(drawn, foreground.Stationary(), draw::StationaryColour);
        if (isOnSheet) {
            sheet->Add(drawn, Percent(moving) + " moving, " + Percent(stationary) + " stationary");
        }
        if (video) {
            draw::DrawLabel(drawn, font, FormatTime(picture.time), label);
            video->Write(drawn, picture.time);
        }
    }

    // Finishes every file, also after one of them failed; throws what failed first.
    void Close() {
        Finish finish;
        finish([this] {
            if (video) video->Close();
        });
        finish([this] {
            if (jsonLines) jsonLines->Close();
        });
        finish([this] {
            if (sheet) WritePng(*pictureFile, sheet->Draw());
        });
        finish.Done();
    }

    // Finishes what can be finished after something else went wrong.
    void Salvage() noexcept {
        try {
            Close();
        } catch (...) {  // what went wrong first is what is told
        }
    }

private:
    void WriteLine(video::Picture const& picture, Foreground const& foreground) {
        nlohmann::ordered_json const line{
            {"index", picture.index},
            {"time", Seconds(picture.time)},
            {"young", foreground.YoungCells()},
            {"stationary", foreground.StationaryCells()},
            {"microseconds", static_cast<double>(foreground.Took().count()) / 1000.0},
        };
        jsonLines->Write(line.dump() + "\n");
        jsonLines->Flush();  // a stream can be followed while it runs
    }

    // A pixel a cell: 0 background, 128 young, 255 stationary.
    void WriteMask(video::Picture const& picture, Foreground const& foreground) {
        cv::Mat cells = draw::Unpack(foreground.Stationary());
        cells.setTo(128, draw::Unpack(foreground.Young()));
        char name[32];
        std::snprintf(name, sizeof name, "%06llu.png",
                      static_cast<unsigned long long>(picture.index));
        if (cells.empty()) return;  // a frame too small to have cells
        OutputFile file((maskFolder / name).string());
        WritePng(file, cells);
    }

    std::vector<draw::LegendEntry> label;
    draw::Font font{draw::Font::Weight::Normal};
    std::optional<OutputFile> jsonLines;
    std::optional<OutputFile> pictureFile;
    std::optional<draw::ContactSheet> sheet;
    std::filesystem::path maskFolder;
    std::optional<video::Writer> video;
};

void PrintTable(SegmentOptions const& options, video::ClipInfo const& clip, Tally const& tally) {
    auto const row = [](char const* name, std::string const& value) {
        std::printf("%-18s %s\n", name, value.c_str());
    };
    row("clip", ShortName(options.input));
    row("size", std::to_string(clip.size.width) + " x " + std::to_string(clip.size.height));
    row("rate", FormatNumber(clip.frameRate, 3) + " frames/s" +
                    (clip.isRateKnown ? "" : " (a guess: the input does not say)"));
    row("frames", FormatCount(tally.frames));
    row("segmenter", FormatNumber(tally.RateOver(tally.inSegmenter), 1) + " frames/s");
    row("whole program", FormatNumber(tally.RateOver(tally.inProgram), 1) + " frames/s");
    row("moving (young)", Percent(tally.ShareOf(tally.youngCells)) + " of the picture");
    row("stationary", Percent(tally.ShareOf(tally.stationaryCells)) + " of the picture");
}

void PrintJson(SegmentOptions const& options, video::ClipInfo const& clip, Tally const& tally,
               std::optional<std::string> const& fault) {
    nlohmann::ordered_json summary{
        {"input", options.input},
        {"width", clip.size.width},
        {"height", clip.size.height},
        {"frame_rate", clip.frameRate},
        {"frame_rate_known", clip.isRateKnown},
        {"frames", tally.frames},
        {"segmenter_frames_per_second", tally.RateOver(tally.inSegmenter)},
        {"program_frames_per_second", tally.RateOver(tally.inProgram)},
        {"young_share", tally.ShareOf(tally.youngCells)},
        {"stationary_share", tally.ShareOf(tally.stationaryCells)},
        {"interrupted", cli::Interrupted()},
    };
    summary["fault"] = fault ? nlohmann::ordered_json(*fault) : nlohmann::ordered_json(nullptr);
    // A file name need not be UTF-8; JSON text must be.
    std::cout << summary.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace)
              << '\n';
}

int Segment(SegmentOptions const& options) {
    ForegroundOptions const& masks = options.foreground;
    RefuseToOverwrite({options.input, masks.excludeImage, masks.freezeImage, masks.resetImage},
                      {options.video, options.picture, options.jsonLines});
    video::Reader reader(options.input, options.read);
    video::ClipInfo const& clip = reader.Info();
    Foreground foreground(options.foreground, clip.size, clip.frameRate);
    Outputs outputs(options, clip);

    auto const start = Clock::now();
    Tally tally;
    {
        cli::Progress progress(ShortName(options.input), clip.length, !options.isQuiet);
        try {
            while (std::optional<video::Picture> const picture = reader.Next()) {
                foreground.Process(picture->frame);
                tally.Count(foreground);
                outputs.Write(*picture, foreground);
                progress.Update(picture->time - options.read.start, tally.frames);
            }
        } catch (...) {
            outputs.Salvage();
            throw;
        }
        outputs.Close();
    }
    tally.inProgram = Clock::now() - start;

    std::optional<std::string> const fault = reader.Fault();
    if (options.isSummaryJson) {
        PrintJson(options, clip, tally, fault);
    } else {
        PrintTable(options, clip, tally);
    }
    std::cout.flush();
    std::fflush(stdout);
    if (cli::Interrupted()) return 128 + cli::InterruptSignal();
    if (fault) throw Failure(ExitCode::BrokenInput, options.input + ": " + *fault);
    return static_cast<int>(ExitCode::Done);
}

}  // namespace

Run AddSegmentCommand(CLI::App& app) {
    auto const options = std::make_shared<SegmentOptions>();
    cli::AddInput(app, options->input);
    constexpr char const* Group = "What is written";
    app.add_option("--video", options->video, "The clip with its foreground tinted, as MP4")
        ->type_name("FILE.mp4")
        ->group(Group);
    app.add_option("--picture", options->picture, "A page of moments spread over the clip, as PNG")
        ->type_name("FILE.png")
        ->group(Group);
    app.add_option("--masks", options->masks,
                   "A PNG a frame, a pixel a cell (2 x 2): 0 nothing, 128 young, 255 stationary")
        ->type_name("DIR")
        ->group(Group);
    app.add_option("--jsonl", options->jsonLines,
                   "A JSON line a frame: index, time, young and stationary cells, microseconds")
        ->type_name("FILE")
        ->group(Group);
    app.add_flag("--json", options->isSummaryJson, "The summary as JSON")->group(Group);
    app.add_flag("--quiet", options->isQuiet, "No progress bar")->group(Group);
    cli::AddReadOptions(app, options->read);
    cli::AddSegmenterOptions(app, options->foreground);
    app.add_flag("--abandoned-object", options->foreground.isAbandonedObjectEnabled,
                 "Set the segmenter's abandoned-object switch; the masks do not depend on it")
        ->group(cli::SegmenterGroup);
    options->read.isCancelled = cli::Interrupted;
    return [options] { return Segment(*options); };
}

}  // namespace kes::track
