// kes-track eval: a tracker's result scored against ground truth.

#include <iostream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "base/failure.hpp"
#include "base/format.hpp"
#include "base/number.hpp"
#include "cli/parse.hpp"
#include "command.hpp"
#include "eval/scores.hpp"
#include "output/summary.hpp"
#include "read_boxes.hpp"

namespace kes::track {
namespace {

struct EvalOptions {
    std::string truth;
    std::string result;
    std::optional<eval::FrameRange> frames;
    bool json = false;
};

// "1-400"
std::optional<eval::FrameRange> ParseFrames(std::string_view text) {
    auto const dash = text.find('-');
    if (dash == std::string_view::npos) return std::nullopt;
    auto const first = ParseCount(text.substr(0, dash));
    auto const last = ParseCount(text.substr(dash + 1));
    constexpr std::uint64_t Most = 1'000'000'000;
    if (!first || !last || *first < 1 || *last < *first || *last > Most) return std::nullopt;
    return eval::FrameRange{static_cast<long>(*first), static_cast<long>(*last)};
}

std::string Percent(std::optional<double> share) { return share ? FormatPercent(*share, 1) : "-"; }

Json PercentJson(std::optional<double> share) { return share ? Json(100 * *share) : Json(nullptr); }

void PrintTable(eval::Scores const& scores, eval::FrameRange frames) {
    Table table;
    table.Row("frames", std::to_string(frames.first) + " to " + std::to_string(frames.last));
    table.Row("true boxes", std::to_string(scores.truthBoxes));
    table.Row("result's boxes", std::to_string(scores.resultBoxes));
    table.Row("MOTA", Percent(scores.Mota()));
    table.Row("IDF1", Percent(scores.Idf1()));
    table.Row("precision", Percent(scores.Precision()));
    table.Row("recall", Percent(scores.Recall()));
    table.Row("switches", std::to_string(scores.switches));
    table.Row("false positives", std::to_string(scores.falsePositives));
    table.Row("misses", std::to_string(scores.misses));
    std::cout << table;
}

void PrintJson(eval::Scores const& scores, eval::FrameRange frames) {
    std::cout << JsonLine({{"first_frame", frames.first},
                           {"last_frame", frames.last},
                           {"true_boxes", scores.truthBoxes},
                           {"result_boxes", scores.resultBoxes},
                           {"mota", PercentJson(scores.Mota())},
                           {"idf1", PercentJson(scores.Idf1())},
                           {"precision", PercentJson(scores.Precision())},
                           {"recall", PercentJson(scores.Recall())},
                           {"switches", scores.switches},
                           {"false_positives", scores.falsePositives},
                           {"misses", scores.misses}});
}

int Eval(EvalOptions const& options) {
    auto const truth = eval::Scored(ReadBoxes(options.truth));
    auto const result = ReadBoxes(options.result);
    if (truth.empty()) {
        throw Failure(ExitCode::BadSideInput, options.truth + ": holds no box");
    }
    auto const frames = options.frames ? *options.frames : eval::FramesOf(truth);
    try {
        auto const scores = eval::Compare(truth, result, frames);
        if (options.json) {
            PrintJson(scores, frames);
        } else {
            PrintTable(scores, frames);
        }
    } catch (std::invalid_argument const& error) {
        throw Failure(ExitCode::BadSideInput, error.what());
    }
    return 0;
}

}  // namespace

Run AddEvalCommand(CLI::App& app) {
    auto const options = std::make_shared<EvalOptions>();
    app.add_option("GT", options->truth, "Ground truth: frame,id,left,top,width,height lines")
        ->required();
    app.add_option("RESULT", options->result, "What a tracker wrote, in the same form")->required();
    cli::AddParsedOption(app, "--frames", options->frames, ParseFrames, "a range such as 1-400",
                         "Score these frames (default: first to last with ground truth)")
        ->type_name("A-B");
    app.add_flag("--json", options->json, "Print one JSON object, shares in percent");
    return [options] { return Eval(*options); };
}

}  // namespace kes::track
