#include "cli/input_options.hpp"

#include <chrono>
#include <limits>
#include <optional>
#include <string_view>

#include "cli/parse.hpp"

namespace kes::track::cli {
namespace {

std::optional<std::chrono::nanoseconds> ParseSpan(std::string_view text) {
    auto const time = ParseDuration(text);
    return time && time->count() > 0 ? time : std::nullopt;
}

}  // namespace

void AddInput(CLI::App& app, std::string& input) {
    app.add_option("INPUT", input, "A video file, a stream (rtsp://...) or a camera (/dev/video0)")
        ->required();
}

void AddReadOptions(CLI::App& app, video::ReadOptions& options) {
    constexpr char const* Group = "What is read (numbers and times written are the clip's own)";
    AddTimeOption(app, "--start", options.start, "Skip what lies before this time")->group(Group);
    AddParsedOption(app, "--duration", options.duration, ParseSpan,
                    "a time above 0, such as 5s, 500ms or 1m30s", "Read no more than this")
        ->type_name("TIME")
        ->group(Group);
    AddCountOption(app, "--every", options.every, std::numeric_limits<int>::max(),
                   "Use one picture in N")
        ->group(Group);
    AddParsedOption(app, "--size", options.size, ParseSize,
                    "a size such as 640x480, each side 1 to 16384",
                    "Scale the pictures to this size first")
        ->type_name("WxH")
        ->group(Group);
}

}  // namespace kes::track::cli
