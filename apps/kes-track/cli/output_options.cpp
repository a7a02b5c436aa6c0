#include "cli/output_options.hpp"

namespace kes::track::cli {

void AddOutputOptions(CLI::App& app, char const* group, ClipPaths& paths,
                      OutputTexts const& texts) {
    app.add_option("--jsonl", paths.jsonLines, texts.lines)->type_name("FILE")->group(group);
    app.add_option("--video", paths.video, texts.video)->type_name("FILE.mp4")->group(group);
    app.add_option("--picture", paths.picture, texts.picture)->type_name("FILE.png")->group(group);
}

void AddSummaryOptions(CLI::App& app, char const* group, bool& isJson, bool& isQuiet) {
    app.add_flag("--json", isJson, "The summary as JSON")->group(group);
    app.add_flag("--quiet", isQuiet, "No progress bar")->group(group);
}

}  // namespace kes::track::cli
