// kes-track run: who is where in a video, under numbers that last.

#include <algorithm>
#include <atomic>
#include <exception>
#include <functional>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "base/failure.hpp"
#include "base/format.hpp"
#include "cli/interrupt.hpp"
#include "cli/progress_board.hpp"
#include "cli/run_options.hpp"
#include "command.hpp"
#include "output/output_file.hpp"
#include "output/summary.hpp"
#include "run/stream.hpp"

namespace kes::track {
namespace {

using cli::RunOptions;

// How one input ended.
struct Outcome {
    run::StreamReport report;
    std::optional<std::string> failure;
    ExitCode code = ExitCode::Done;
};

// Of all streams together: one stream's output may be another one's input.
void RefuseToOverwriteAny(std::vector<run::StreamOptions> const& streams) {
    Paths inputs;
    Paths outputs;
    for (run::StreamOptions const& stream : streams) {
        SegmenterOptions const& masks = stream.foreground;
        inputs.insert(inputs.end(),
                      {stream.input, masks.excludeImage, masks.freezeImage, masks.resetImage});
        if (stream.detections) {
            inputs.push_back(stream.detections->file);
            inputs.push_back(stream.detections->labels);
        }
        run::OutputPaths const& paths = stream.outputs;
        outputs.insert(outputs.end(), {paths.mot, paths.jsonLines, paths.video, paths.picture,
                                       paths.counts, paths.heatmap});
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
    } catch (Cancelled const&) {  // before its first picture
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

void PrintTable(std::ostream& out, Outcome const& outcome) {
    run::StreamReport const& report = outcome.report;
    auto const rate = [&](std::chrono::nanoseconds time) {
        return RateText(RateOf(report.frames, time));
    };
    Table table;
    table.Row("clip", ShortName(report.input));
    if (outcome.failure) table.Row("failed", *outcome.failure);
    if (report.frames > 0) {
        AddClipRows(table, report.clip, report.frames);
        if (report.scaledFrames > 0) {
            table.Row("scaled",
                      FormatCount(report.scaledFrames) + " frames of another size than the first");
        }
        table.Row("warm-up", report.warmUpFrames == 0
                                 ? "none"
                                 : FormatCount(report.warmUpFrames) + " frames of the clip, at " +
                                       RateText(RateOf(report.warmUpFrames, report.inWarmUp)));
        table.Row("times", "of objects count frames, " + FormatNumber(report.clip.frameRate, 3) +
                               " to a second");
        table.Row("objects", FormatCount(report.objects) + " that moved, " +
                                 FormatCount(report.staticObjects) + " that only stood");
        table.Row("events", FormatCount(report.events));
        table.Row("reading", rate(report.reading));
        table.Row("tracking", rate(report.tracking));
        if (report.isWritten) table.Row("writing", rate(report.writing));
        table.Row("altogether",
                  rate(report.inWarmUp + report.reading + report.tracking + report.writing));
    }
    out << table;
}

Json ReportJson(Outcome const& outcome) {
    run::StreamReport const& report = outcome.report;
    Json json = ClipJson(report.input, report.clip, report.frames);
    json["scaled_frames"] = report.scaledFrames;
    json["warm_up_frames"] = report.warmUpFrames;
    json["objects"] = report.objects;
    json["static_objects"] = report.staticObjects;
    json["events"] = report.events;
    json["warm_up_seconds"] = Seconds(report.inWarmUp);
    json["reading_seconds"] = Seconds(report.reading);
    json["tracking_seconds"] = Seconds(report.tracking);
    json["writing_seconds"] = Seconds(report.writing);
    json["failure"] = outcome.failure ? Json(*outcome.failure) : Json(nullptr);
    return json;
}

int RunTracker(RunOptions const& options) {
    auto const streams = cli::StreamsOf(options);
    RefuseToOverwriteAny(streams);
    auto const outcomes = RunAll(streams, options);
    run::OutputPaths const& paths = options.stream.outputs;
    std::ostream& out = SummaryStream(
        {paths.mot, paths.jsonLines, paths.video, paths.picture, paths.counts, paths.heatmap});
    if (options.isSummaryJson) {
        Json all = Json::array();
        for (Outcome const& outcome : outcomes) all.push_back(ReportJson(outcome));
        out << JsonText(outcomes.size() == 1 ? all[0] : all);
    } else {
        for (Outcome const& outcome : outcomes) {
            if (&outcome != &outcomes.front()) out << '\n';
            PrintTable(out, outcome);
        }
    }
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

}  // namespace

Run AddRunCommand(CLI::App& app) {
    auto const options = std::make_shared<RunOptions>();
    cli::AddRunOptions(app, *options);
    options->stream.read.isCancelled = cli::Interrupted;
    return [options] { return RunTracker(*options); };
}

}  // namespace kes::track
