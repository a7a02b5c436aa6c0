#include "cli/segmenter_options.hpp"

#include "cli/parse.hpp"

namespace kes::track::cli {

void AddSegmenterOptions(CLI::App& app, SegmenterOptions& options) {
    constexpr char const* Group = SegmenterGroup;
    constexpr Limits OfThreshold{0, 255};
    AddTimeOption(app, "--stationary", options.stationaryTime,
                  "Foreground that lasts this long is stationary [5s]")
        ->group(Group);
    AddTimeOption(app, "--hold-on", options.holdOnTime,
                  "Stationary foreground becomes background after this [60s]")
        ->group(Group);
    AddNumberOption(app, "--threshold", options.threshold, OfThreshold,
                    "Standard deviations from which a pixel differs, 0 to 255 [4]")
        ->group(Group);
    AddNumberOption(app, "--threshold-factor", options.thresholdFactor, OfThreshold,
                    "A factor on the threshold, 0 to 255 [1]")
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
