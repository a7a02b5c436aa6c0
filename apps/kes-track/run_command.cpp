// kes-track run: who is where in a video, under numbers that last.

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <functional>
#include <iostream>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <nlohmann/json.hpp>

#include "base/format.hpp"
#include "base/output_file.hpp"
#include "cli/input_options.hpp"
#include "cli/interrupt.hpp"
#include "cli/parse.hpp"
#include "cli/progress_board.hpp"
#include "cli/segmenter_options.hpp"
#include "command.hpp"
#include "run/stream.hpp"

namespace kes::track {
namespace {

using Json = nlohmann::ordered_json;

struct RunOptions {
    std::vector<std::string> inputs;
    run::StreamOptions stream;  // but for the input; with several inputs the outputs are folders
    std::chrono::nanoseconds persistence = std::chrono::milliseconds(400);
    std::chrono::nanoseconds concealment = std::chrono::seconds(2);
    std::chrono::nanoseconds memory = std::chrono::seconds(5);
    std::optional<std::string> detections;
    run::DetectionOptions detector;  // but for the file
    unsigned int jobs = 1;
    bool isSummaryJson = false;
    bool isQuiet = false;
};

// How one input ended.
struct Outcome {
    run::StreamReport report;
    std::optional<std::string> failure;
    ExitCode code = ExitCode::Done;
};

double Rate(std::uint64_t frames, std::chrono::nanoseconds time) {
    return time.count() > 0 ? static_cast<double>(frames) / Seconds(time) : 0;
}

// DIR/NAME.EXTENSION, where NAME is the input's, made unlike those of other inputs.
std::string Within(std::string const& folder, std::string const& name, char const* extension) {
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    if (error) throw Failure(ExitCode::BadOutput, folder + ": " + error.message());
    return (std::filesystem::path(folder) / (name + extension)).string();
}

std::vector<run::StreamOptions> Streams(RunOptions const& options) {
    std::vector<run::StreamOptions> streams;
    std::set<std::string> names;
    for (std::string const& input : options.inputs) {
        run::StreamOptions stream = options.stream;
        stream.input = input;
        if (options.detections) {
            stream.detections = options.detector;
            stream.detections->file = *options.detections;
        }
        stream.tracker.confirmationTime = Seconds(options.persistence);
        stream.tracker.maximumOcclusion = Seconds(options.concealment);
        stream.tracker.maximumAge = Seconds(options.memory);
        if (options.inputs.size() > 1) {
            std::string const stem = std::filesystem::path(ShortName(input)).stem().string();
            std::string name = stem;
            for (int i = 2; !names.insert(name).second; ++i) name = stem + "-" + std::to_string(i);
            auto const place = [&](std::optional<std::string>& path, char const* extension) {
                if (path) path = Within(*path, name, extension);
            };
            if (stream.detections) {
                stream.detections->file =
                    (std::filesystem::path(stream.detections->file) / (name + ".txt")).string();
            }
            place(stream.outputs.mot, ".txt");
            place(stream.outputs.jsonLines, ".jsonl");
            place(stream.outputs.video, ".mp4");
            place(stream.outputs.picture, ".png");
        }
        streams.push_back(std::move(stream));
    }
    return streams;
}

// Of all streams together: one stream's output may be another one's input.
void RefuseToOverwriteAny(std::vector<run::StreamOptions> const& streams) {
    Paths inputs;
    Paths outputs;
    for (run::StreamOptions const& stream : streams) {
        ForegroundOptions const& masks = stream.foreground;
        inputs.insert(inputs.end(),
                      {stream.input, masks.excludeImage, masks.freezeImage, masks.resetImage});
        if (stream.detections) {
            inputs.push_back(stream.detections->file);
            inputs.push_back(stream.detections->labels);
        }
        run::OutputPaths const& paths = stream.outputs;
        outputs.insert(outputs.end(), {paths.mot, paths.jsonLines, paths.video, paths.picture});
    }
    RefuseToOverwrite(inputs, outputs);
}

Outcome RunOne(run::StreamOptions const& stream,
               std::function<void(run::Advance const&)> const& advance) {
    Outcome outcome;
    outcome.report.input = stream.input;
    try {
        outcome.report = run::RunStream(stream, advance);
        if (outcome.report.fault) {
            outcome.failure = stream.input + ": " + *outcome.report.fault;
            outcome.code = ExitCode::BrokenInput;
        }
    } catch (Failure const& failure) {
        outcome.failure = failure.what();
        outcome.code = failure.Code();
    } catch (std::bad_alloc const&) {
        outcome.failure = stream.input + ": out of memory";
        outcome.code = ExitCode::Unforeseen;
    } catch (std::exception const& error) {
        outcome.failure = stream.input + ": " + error.what();
        outcome.code = ExitCode::Unforeseen;
    }
    return outcome;
}

std::vector<Outcome> RunAll(std::vector<run::StreamOptions> const& streams,
                            RunOptions const& options) {
    std::vector<Outcome> outcomes(streams.size());
    std::atomic<std::size_t> next{0};
    cli::ProgressBoard board(streams.size(), !options.isQuiet);
    auto const work = [&] {
        for (std::size_t i = next++; i < streams.size(); i = next++) {
            std::string const name = ShortName(streams[i].input);
            outcomes[i] = RunOne(streams[i], [&](run::Advance const& advance) {
                board.Update(i, advance.isWarmUp ? name + " (learning)" : name, advance.length,
                             advance.done, advance.frames);
            });
            board.Finish(i);
        }
    };
    auto const workers = std::min<std::size_t>(options.jobs, streams.size());
    {
        std::vector<std::jthread> threads;  // joined also when one more cannot be started
        for (std::size_t i = 1; i < workers; ++i) threads.emplace_back(work);
        work();
    }
    return outcomes;
}

void PrintTable(Outcome const& outcome) {
    run::StreamReport const& report = outcome.report;
    auto const row = [](char const* name, std::string const& value) {
        std::printf("%-14s %s\n", name, value.c_str());
    };
    auto const rate = [](std::uint64_t frames, std::chrono::nanoseconds time) {
        return FormatNumber(Rate(frames, time), 1) + " frames/s";
    };
    row("clip", ShortName(report.input));
    if (outcome.failure) row("failed", *outcome.failure);
    if (report.frames == 0) return;
    row("size",
        std::to_string(report.clip.size.width) + " x " + std::to_string(report.clip.size.height));
    row("rate", FormatNumber(report.clip.frameRate, 3) + " frames/s" +
                    (report.clip.isRateKnown ? "" : " (a guess: the input does not say)"));
    row("frames", FormatCount(report.frames));
    if (report.scaledFrames > 0) {
        row("scaled", FormatCount(report.scaledFrames) + " frames of another size than the first");
    }
    row("warm-up", report.warmUpFrames == 0
                       ? "none"
                       : FormatCount(report.warmUpFrames) + " frames of the clip, at " +
                             rate(report.warmUpFrames, report.inWarmUp));
    row("objects", FormatCount(report.objects) + " that moved, " + FormatCount(report.things) +
                       " that only stood");
    row("events", FormatCount(report.events));
    row("reading", rate(report.frames, report.reading));
    row("tracking", rate(report.frames, report.tracking));
    if (report.isWritten) row("writing", rate(report.frames, report.writing));
    row("altogether",
        rate(report.frames, report.inWarmUp + report.reading + report.tracking + report.writing));
}

Json ReportJson(Outcome const& outcome) {
    run::StreamReport const& report = outcome.report;
    Json json{
        {"input", report.input},
        {"width", report.clip.size.width},
        {"height", report.clip.size.height},
        {"frame_rate", report.clip.frameRate},
        {"frame_rate_known", report.clip.isRateKnown},
        {"frames", report.frames},
        {"scaled_frames", report.scaledFrames},
        {"warm_up_frames", report.warmUpFrames},
        {"objects", report.objects},
        {"things", report.things},
        {"events", report.events},
        {"warm_up_seconds", Seconds(report.inWarmUp)},
        {"reading_seconds", Seconds(report.reading)},
        {"tracking_seconds", Seconds(report.tracking)},
        {"writing_seconds", Seconds(report.writing)},
    };
    json["failure"] = outcome.failure ? Json(*outcome.failure) : Json(nullptr);
    return json;
}

int RunTracker(RunOptions const& options) {
    auto const streams = Streams(options);
    RefuseToOverwriteAny(streams);
    auto const outcomes = RunAll(streams, options);
    if (options.isSummaryJson) {
        Json all = Json::array();
        for (Outcome const& outcome : outcomes) all.push_back(ReportJson(outcome));
        Json const& summary = outcomes.size() == 1 ? all[0] : all;
        // A file name need not be UTF-8; JSON text must be.
        std::cout << summary.dump(2, ' ', false, Json::error_handler_t::replace) << '\n';
    } else {
        for (Outcome const& outcome : outcomes) {
            if (&outcome != &outcomes.front()) std::printf("\n");
            PrintTable(outcome);
        }
    }
    std::cout.flush();
    std::fflush(stdout);
    if (cli::Interrupted()) return 128 + cli::InterruptSignal();
    // One line each on standard error; the last is left to the caller.
    Outcome const* last = nullptr;
    for (Outcome const& outcome : outcomes) {
        if (!outcome.failure) continue;
        if (last != nullptr) std::cerr << "kes-track: " << *last->failure << '\n';
        last = &outcome;
    }
    if (last != nullptr) throw Failure(last->code, *last->failure);
    return static_cast<int>(ExitCode::Done);
}

std::optional<float> ParseShare(std::string_view text) {
    bool const isPercent = text.ends_with('%');
    if (isPercent) text.remove_suffix(1);
    auto const value = cli::ParseNumber(text);
    if (!value || !isPercent || *value < 0 || *value > 100) return std::nullopt;
    return static_cast<float>(*value / 100);
}

std::optional<float> ParseConfidence(std::string_view text) {
    auto const value = cli::ParseNumber(text);
    if (!value) return std::nullopt;
    return static_cast<float>(*value);
}

std::optional<float> ParseReach(std::string_view text) {
    auto const value = cli::ParseNumber(text);
    if (!value || *value < 0 || *value > 100) return std::nullopt;
    return static_cast<float>(*value);
}

std::optional<unsigned int> ParseJobs(std::string_view text) {
    auto const value = cli::ParseCount(text);
    if (!value || *value < 1 || *value > 64) return std::nullopt;
    return static_cast<unsigned int>(*value);
}

void AddOutputs(CLI::App& app, RunOptions& options) {
    constexpr char const* Group = "What is written (with several inputs, give folders)";
    run::OutputPaths& outputs = options.stream.outputs;
    app.add_option("--mot", outputs.mot,
                   "Boxes as MOTChallenge text: frame,id,left,top,width,height,confidence,-1,-1,-1")
        ->type_name("FILE.txt")
        ->group(Group);
    app.add_option("--jsonl", outputs.jsonLines,
                   "A JSON line for each frame with its objects, and one for each event")
        ->type_name("FILE")
        ->group(Group);
    app.add_option("--video", outputs.video, "The clip with boxes, numbers and trails, as MP4")
        ->type_name("FILE.mp4")
        ->group(Group);
    app.add_option("--picture", outputs.picture,
                   "Moments spread over the clip and all paths over its background, as PNG")
        ->type_name("FILE.png")
        ->group(Group);
    app.add_flag("--json", options.isSummaryJson, "The summary as JSON")->group(Group);
    app.add_flag("--quiet", options.isQuiet, "No progress bar")->group(Group);
}

void AddTracking(CLI::App& app, RunOptions& options) {
    constexpr char const* Group = "Objects";
    tracker::Options& tracker = options.stream.tracker;
    auto const addTime = [&](char const* name, std::chrono::nanoseconds& value, char const* text,
                             char const* group) {
        cli::AddTimeOption(app, name, value, text)->group(group);
    };
    cli::AddParsedOption(app, "--min-height", tracker.minimumHeight, ParseShare,
                         "a share such as 8%",
                         "Follow nothing that stands where objects look smaller than this share of "
                         "the frame's height [8.3%]")
        ->type_name("SHARE")
        ->group(Group);
    addTime("--persistence", options.persistence, "Count what is seen this long [400ms]", Group);
    addTime("--concealment", options.concealment, "Follow an object behind another this long [2s]",
            Group);
    addTime("--memory", options.memory, "Keep the number of what is out of sight this long [5s]",
            Group);
    cli::AddParsedOption(app, "--reach", tracker.gate, ParseReach, "a number from 0 to 100",
                         "How far from where it was expected an object may come back, in its own "
                         "heights for each second out of sight [0.6]")
        ->type_name("NUMBER")
        ->group(Group);

    constexpr char const* Scene = "What a frame is decided with";
    addTime("--warm-up", options.stream.warmUp,
            "Learn the background from this much of a recorded clip before tracking it; 0 for none "
            "[2m]",
            Scene);
    addTime("--latency", options.stream.latency,
            "Decide each frame with this much of what follows it; 0 for at once [1s]", Scene);
    addTime("--smoothing", options.stream.smoothing,
            "Even boxes out over this much to either side [600ms]", Scene);
}

void AddDetector(CLI::App& app, RunOptions& options) {
    constexpr char const* Group = "Boxes from an outside detector";
    app.add_option(
           "--detections", options.detections,
           "MOTChallenge detections in place of foreground (with several inputs, the folder "
           "of such files)")
        ->type_name("FILE")
        ->group(Group);
    cli::AddParsedOption(app, "--min-confidence", options.detector.minimumConfidence,
                         ParseConfidence, "a number",
                         "Leave out detections whose seventh column is less [0.5]")
        ->type_name("NUMBER")
        ->group(Group);
    app.add_option(
           "--labels", options.detector.labels,
           "Which classes of the eighth column stand for the same: CLASS or CLASS,STANDS FOR "
           "lines")
        ->type_name("FILE")
        ->group(Group);
}

}  // namespace

Run AddRunCommand(CLI::App& app) {
    auto const options = std::make_shared<RunOptions>();
    options->stream.warmUp = std::chrono::minutes(2);
    options->stream.latency = std::chrono::seconds(1);
    options->stream.smoothing = std::chrono::milliseconds(600);
    app.add_option("INPUT", options->inputs,
                   "Video files, streams (rtsp://...) or cameras (/dev/video0)")
        ->required();
    cli::AddParsedOption(app, "--jobs", options->jobs, ParseJobs, "a whole number from 1 to 64",
                         "Inputs tracked at the same time [1]")
        ->type_name("N");
    AddOutputs(app, *options);
    AddTracking(app, *options);
    AddDetector(app, *options);
    cli::AddReadOptions(app, options->stream.read);
    cli::AddSegmenterOptions(app, options->stream.foreground);
    // Boxes name the clip's own frames and pixels, and take the segmenter's place.
    for (char const* option : {"--start", "--every", "--size", "--hold-on", "--threshold",
                               "--threshold-factor", "--exclude", "--freeze", "--reset"}) {
        app.get_option("--detections")->excludes(app.get_option(option));
    }
    options->stream.read.isCancelled = cli::Interrupted;
    return [options] { return RunTracker(*options); };
}

}  // namespace kes::track
