#include "cli/run_options.hpp"

#include <filesystem>
#include <optional>
#include <set>
#include <string_view>
#include <utility>

#include "base/failure.hpp"
#include "base/format.hpp"
#include "base/number.hpp"
#include "cli/input_options.hpp"
#include "cli/output_options.hpp"
#include "cli/parse.hpp"
#include "cli/segmenter_options.hpp"
#include "count/gates.hpp"
#include "output/output_file.hpp"

namespace kes::track::cli {
namespace {

// DIR/NAME.EXTENSION, where NAME is the input's, made unlike those of other inputs.
std::string Within(std::string const& folder, std::string const& name, char const* extension) {
    if (folder == "-") {
        throw Failure(ExitCode::BadUsage, "standard output takes what is told of one input only");
    }
    MakeFolder(folder);
    return (std::filesystem::path(folder) / (name + extension)).string();
}

std::optional<float> ParseShare(std::string_view text) {
    bool const isPercent = text.ends_with('%');
    if (isPercent) text.remove_suffix(1);
    auto const value = ParseNumber(text);
    if (!value || !isPercent || *value < 0 || *value > 100) return std::nullopt;
    return static_cast<float>(*value / 100);
}

void AddOutputs(CLI::App& app, RunOptions& options) {
    constexpr char const* Group =
        "What is written (FILE - is standard output; with several inputs, give folders)";
    run::OutputPaths& outputs = options.stream.outputs;
    app.add_option("--mot", outputs.mot,
                   "Boxes as MOTChallenge text: frame,id,left,top,width,height,confidence,-1,-1,-1")
        ->type_name("FILE.txt")
        ->group(Group);
    AddOutputOptions(
        app, Group, outputs,
        {.lines = "A JSON line for each frame with its objects, and one for each event",
         .video = "The clip with boxes, numbers and trails, as MP4",
         .picture = "Moments spread over the clip and all paths over its background, as PNG"});
    AddSummaryOptions(app, Group, options.isSummaryJson, options.isQuiet);
}

// An option that may be given any number of times, and whose texts `parse` reads.
template <typename T, typename Parse>
void AddGates(CLI::App& app, char const* name, char const* form, char const* example,
              std::vector<T>& gates, Parse parse, char const* description, char const* group) {
    app.add_option_function<std::vector<std::string>>(
           name,
           [=, &gates](std::vector<std::string> const& texts) {
               for (std::string const& text : texts) {
                   auto const gate = parse(text);
                   if (!gate) {
                       throw CLI::ValidationError(name, "'" + text + "' is not like " + example);
                   }
                   gates.push_back(*gate);
               }
           },
           description)
        ->type_name(form)
        ->group(group);
}

void AddCounting(CLI::App& app, RunOptions& options) {
    constexpr char const* Group = "What is counted (in pixels of the picture that is tracked)";
    count::Gates& gates = options.stream.gates;
    AddGates(app, "--line", "NAME:x1,y1,x2,y2", "door:10,200,90,200", gates.lines, count::ParseLine,
             "A line to count crossings of, by direction; any number of them", Group);
    AddGates(app, "--zone", "NAME:x,y,x,y,x,y...", "hall:10,10,90,10,90,80,10,80", gates.zones,
             count::ParseZone, "A polygon to count entries, exits and stays in; any number of them",
             Group);
    app.add_option("--gates", options.gatesFile, "Lines and zones from a JSON file")
        ->type_name("FILE.json")
        ->group(Group);
    run::OutputPaths& outputs = options.stream.outputs;
    app.add_option("--counts", outputs.counts,
                   "Counts minute by minute: "
                   "minute,name,to_left,to_right,entered,left,inside,mean_dwell")
        ->type_name("FILE.csv")
        ->group(Group);
    app.add_option("--heatmap", outputs.heatmap,
                   "Where objects have been and how long, over the scene, as PNG")
        ->type_name("FILE.png")
        ->group(Group);
}

void AddTracking(CLI::App& app, RunOptions& options) {
    constexpr char const* Group = "Objects (times are frames of the clip's average rate)";
    tracker::Options& tracker = options.stream.tracker;
    auto const addTime = [&](char const* name, std::chrono::nanoseconds& value, char const* text,
                             char const* group) {
        AddTimeOption(app, name, value, text)->group(group);
    };
    AddParsedOption(app, "--min-height", tracker.minimumHeight, ParseShare, "a share such as 8%",
                    "Follow nothing that stands where objects look smaller than this share of "
                    "the frame's height [8.3%]")
        ->type_name("SHARE")
        ->group(Group);
    addTime("--persistence", options.persistence, "Count what is seen this long [400ms]", Group);
    addTime("--concealment", options.concealment, "Follow an object behind another this long [2s]",
            Group);
    addTime("--memory", options.memory, "Keep the number of what is out of sight this long [5s]",
            Group);
    AddNumberOption(app, "--reach", tracker.gate, {0, 100},
                    "How far from where it was expected an object may come back, in its own "
                    "heights for each second out of sight [0.6]")
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
    AddNumberOption(app, "--min-confidence", options.detector.minimumConfidence, Unlimited,
                    "Leave out detections whose seventh column is less [0.5]")
        ->group(Group);
    app.add_option(
           "--labels", options.detector.labels,
           "Which classes of the eighth column stand for the same: CLASS or CLASS,STANDS FOR "
           "lines")
        ->type_name("FILE")
        ->group(Group);
}

}  // namespace

void AddRunOptions(CLI::App& app, RunOptions& options) {
    app.add_option("INPUT", options.inputs,
                   "Video files, streams (rtsp://...) or cameras (/dev/video0)")
        ->required();
    AddCountOption(app, "--jobs", options.jobs, 64, "Inputs tracked at the same time [1]");
    AddOutputs(app, options);
    AddCounting(app, options);
    AddTracking(app, options);
    AddDetector(app, options);
    AddReadOptions(app, options.stream.read);
    AddSegmenterOptions(app, options.stream.foreground);
    // Boxes name the clip's own pixels, and take the segmenter's place.
    for (char const* option : {"--size", "--hold-on", "--threshold", "--threshold-factor",
                               "--exclude", "--freeze", "--reset"}) {
        app.get_option("--detections")->excludes(app.get_option(option));
    }
}

std::vector<run::StreamOptions> StreamsOf(RunOptions const& options) {
    count::Gates gates = options.stream.gates;
    if (options.gatesFile) count::ReadGates(*options.gatesFile, gates);
    count::RequireDistinctNames(gates);
    if (options.stream.outputs.counts && !gates.AreAny()) {
        throw Failure(ExitCode::BadUsage, "--counts needs a --line or a --zone");
    }
    std::vector<run::StreamOptions> streams;
    std::set<std::string> names;
    for (std::string const& input : options.inputs) {
        run::StreamOptions stream = options.stream;
        stream.input = input;
        stream.gates = gates;
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
            place(stream.outputs.counts, ".csv");
            place(stream.outputs.heatmap, "-heatmap.png");
            place(stream.outputs.jsonLines, ".jsonl");
            place(stream.outputs.video, ".mp4");
            place(stream.outputs.picture, ".png");
        }
        streams.push_back(std::move(stream));
    }
    return streams;
}

}  // namespace kes::track::cli
