#include "cli/segmenter_options.hpp"

#include <optional>
#include <string_view>

#include "cli/parse.hpp"

namespace kes::track::cli {
namespace {

std::optional<float> ParseThreshold(std::string_view text) {
    std::optional<double> const value = ParseNumber(text);
    if (!value || *value < 0.0 || *value > 255.0) return std::nullopt;
    return static_cast<float>(*value);
}

}  // namespace

void AddSegmenterOptions(CLI::App& app, ForegroundOptions& options) {
    constexpr char const* Group = SegmenterGroup;
    constexpr char const* Number = "a number from 0 to 255";
    AddTimeOption(app, "--stationary", options.stationaryTime,
                  "Foreground that lasts this long is stationary [5s]")
        ->group(Group);
    AddTimeOption(app, "--hold-on", options.holdOnTime,
                  "Stationary foreground becomes background after this [60s]")
        ->group(Group);
    AddParsedOption(app, "--threshold", options.threshold, ParseThreshold, Number,
                    "Standard deviations from which a pixel differs, 0 to 255 [4]")
        ->type_name("NUMBER")
        ->group(Group);
    AddParsedOption(app, "--threshold-factor", options.thresholdFactor, ParseThreshold, Number,
                    "A factor on the threshold, 0 to 255 [1]")
        ->type_name("NUMBER")
        ->group(Group);

    constexpr char const* Masks = "Masks (images of the frames' size; white pixels count)";
    app.add_option("--exclude", options.excludeImage, "Report no foreground here")
        ->type_name("IMAGE")
        ->group(Masks);
    app.add_option("--freeze", options.freezeImage, "Let foreground here not grow older")
        ->type_name("IMAGE")
        ->group(Masks);
    app.add_option("--reset", options.resetImage, "Learn every frame here as background")
        ->type_name("IMAGE")
        ->group(Masks);
}

}  // namespace kes::track::cli
