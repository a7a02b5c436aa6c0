// kes-track segment: the foreground segmenter over a whole clip.

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include <opencv2/core.hpp>

#include "base/failure.hpp"
#include "base/format.hpp"
#include "cli/input_options.hpp"
#include "cli/interrupt.hpp"
#include "cli/output_options.hpp"
#include "cli/progress.hpp"
#include "cli/segmenter_options.hpp"
#include "clip_segmenter.hpp"
#include "command.hpp"
#include "draw/overlay.hpp"
#include "output/clip_outputs.hpp"
#include "output/summary.hpp"
#include "video/png.hpp"
#include "video/reader.hpp"

namespace kes::track {
namespace {

using Clock = std::chrono::steady_clock;

struct SegmentOptions {
    std::string input;
    video::ReadOptions read;
    SegmenterOptions foreground;
    ClipPaths outputs;
    std::optional<std::string> masks;
    bool isSummaryJson = false;
    bool isQuiet = false;
};

std::vector<draw::LegendEntry> Legend() {
    return {{draw::MovingColour, "moving"}, {draw::StationaryColour, "stationary"}};
}

// What has been seen of the clip so far.
struct Tally {
    std::uint64_t frames = 0;
    std::uint64_t cells = 0;
    std::uint64_t youngCells = 0;
    std::uint64_t stationaryCells = 0;
    std::chrono::nanoseconds inSegmenter{};
    std::chrono::nanoseconds inProgram{};

    void Count(ClipSegmenter const& foreground) {
        ++frames;
        cells += foreground.Cells();
        youngCells += foreground.YoungCells();
        stationaryCells += foreground.StationaryCells();
        inSegmenter += foreground.Took();
    }

    double ShareOf(std::uint64_t some) const {
        return cells == 0 ? 0.0 : static_cast<double>(some) / static_cast<double>(cells);
    }
};

class Outputs {
public:
    // Throws Failure (BadOutput).
    Outputs(SegmentOptions const& options, video::ClipInfo const& clip)
        : files(options.outputs, options.input, clip, Legend(), Legend()) {
        if (!options.masks) return;
        maskFolder = *options.masks;
        MakeFolder(*options.masks);
    }

    void Write(video::Picture const& picture, ClipSegmenter const& foreground) {
        if (files.HasLines()) files.WriteLine(Line(picture, foreground));
        if (!maskFolder.empty()) WriteMask(picture, foreground);

        double const cells = std::max(1.0, static_cast<double>(foreground.Cells()));
        double const moving = static_cast<double>(foreground.YoungCells()) / cells;
        double const stationary = static_cast<double>(foreground.StationaryCells()) / cells;
        if (!files.Note(picture.time, {moving, stationary})) return;
        cv::Mat drawn = draw::ToBgr(picture.frame, picture.isFullRange);
        draw::Tint(drawn, foreground.Young(), draw::MovingColour);
        draw::Tint(drawn, foreground.Stationary(), draw::StationaryColour);
        files.Add(
            drawn, picture.time,
            FormatPercent(moving, 2) + " moving, " + FormatPercent(stationary, 2) + " stationary");
    }

    void Close() { files.Close(); }

private:
    static Json Line(video::Picture const& picture, ClipSegmenter const& foreground) {
        return {
            {"index", picture.index},
            {"time", Seconds(picture.time)},
            {"young", foreground.YoungCells()},
            {"stationary", foreground.StationaryCells()},
            {"microseconds", static_cast<double>(foreground.Took().count()) / 1000.0},
        };
    }

    // A pixel a cell: 0 background, 128 young, 255 stationary.
    void WriteMask(video::Picture const& picture, ClipSegmenter const& foreground) {
        cv::Mat cells = draw::Unpack(foreground.Stationary());
        cells.setTo(128, draw::Unpack(foreground.Young()));
        char name[32];
        std::snprintf(name, sizeof name, "%06llu.png",
                      static_cast<unsigned long long>(picture.index));
        if (cells.empty()) return;  // a frame too small to have cells
        OutputFile file((maskFolder / name).string());
        file.Write(video::EncodePng(cells));
        file.Close();
    }

    ClipOutputs files;
    std::filesystem::path maskFolder;
};

void PrintTable(std::ostream& out, SegmentOptions const& options, video::ClipInfo const& clip,
                Tally const& tally) {
    Table table;
    table.Row("clip", ShortName(options.input));
    AddClipRows(table, clip, tally.frames);
    table.Row("segmenter", RateText(RateOf(tally.frames, tally.inSegmenter)));
    table.Row("whole program", RateText(RateOf(tally.frames, tally.inProgram)));
    table.Row("moving (young)",
              FormatPercent(tally.ShareOf(tally.youngCells), 2) + " of the picture");
    table.Row("stationary",
              FormatPercent(tally.ShareOf(tally.stationaryCells), 2) + " of the picture");
    out << table;
}

void PrintJson(std::ostream& out, SegmentOptions const& options, video::ClipInfo const& clip,
               Tally const& tally, std::optional<std::string> const& fault) {
    Json summary = ClipJson(options.input, clip, tally.frames);
    summary["segmenter_frames_per_second"] = RateOf(tally.frames, tally.inSegmenter);
    summary["program_frames_per_second"] = RateOf(tally.frames, tally.inProgram);
    summary["young_share"] = tally.ShareOf(tally.youngCells);
    summary["stationary_share"] = tally.ShareOf(tally.stationaryCells);
    summary["interrupted"] = cli::Interrupted();
    summary["fault"] = fault ? Json(*fault) : Json(nullptr);
    out << JsonText(summary);
}

int Segment(SegmentOptions const& options) {
    SegmenterOptions const& masks = options.foreground;
    Paths const written{options.outputs.video, options.outputs.picture, options.outputs.jsonLines};
    RefuseToOverwrite({options.input, masks.excludeImage, masks.freezeImage, masks.resetImage},
                      written);
    video::Reader reader(options.input, options.read);
    video::ClipInfo const& clip = reader.Info();
    ClipSegmenter foreground(options.foreground, clip.size, clip.frameRate);
    Outputs outputs(options, clip);

    auto const start = Clock::now();
    Tally tally;
    {
        cli::Progress progress(ShortName(options.input), clip.length, !options.isQuiet);
        auto const work = [&] {
            while (std::optional<video::Picture> const picture = reader.Next()) {
                foreground.Process(picture->frame);
                tally.Count(foreground);
                outputs.Write(*picture, foreground);
                progress.Update(picture->time - options.read.start, tally.frames);
            }
        };
        Salvaging(work, [&] { outputs.Close(); });
    }
    tally.inProgram = Clock::now() - start;

    std::optional<std::string> const fault = reader.Fault();
    std::ostream& out = SummaryStream(written);
    if (options.isSummaryJson) {
        PrintJson(out, options, clip, tally, fault);
    } else {
        PrintTable(out, options, clip, tally);
    }
    if (cli::Interrupted()) return 128 + cli::InterruptSignal();
    if (fault) throw Failure(ExitCode::BrokenInput, options.input + ": " + *fault);
    return static_cast<int>(ExitCode::Done);
}

}  // namespace

Run AddSegmentCommand(CLI::App& app) {
    auto const options = std::make_shared<SegmentOptions>();
    cli::AddInput(app, options->input);
    cli::AddOutputOptions(app, cli::OutputGroup, options->outputs,
                          {.lines = "A JSON line a frame: index, time, young and stationary cells, "
                                    "microseconds",
                           .video = "The clip with its foreground tinted, as MP4",
                           .picture = "A page of moments spread over the clip, as PNG"});
    app.add_option("--masks", options->masks,
                   "A PNG a frame, a pixel a cell (2 x 2): 0 nothing, 128 young, 255 stationary")
        ->type_name("DIR")
        ->group(cli::OutputGroup);
    cli::AddSummaryOptions(app, cli::OutputGroup, options->isSummaryJson, options->isQuiet);
    cli::AddReadOptions(app, options->read);
    cli::AddSegmenterOptions(app, options->foreground);
    options->read.isCancelled = cli::Interrupted;
    return [options] { return Segment(*options); };
}

}  // namespace kes::track
