#include "cli/input_options.hpp"

#include <limits>
#include <optional>
#include <string_view>

#include "cli/parse.hpp"

namespace kes::track::cli {
namespace {

std::optional<unsigned int> ParseEvery(std::string_view text) {
    std::optional<std::uint64_t> const count = ParseCount(text);
    if (!count || *count < 1 || *count > std::numeric_limits<unsigned int>::max()) {
        return std::nullopt;
    }
    return static_cast<unsigned int>(*count);
}

}  // namespace

void AddInput(CLI::App& app, std::string& input) {
    app.add_option("INPUT", input, "A video file, a stream (rtsp://...) or a camera (/dev/video0)")
        ->required();
}

void AddReadOptions(CLI::App& app, video::ReadOptions& options) {
    constexpr char const* Group = "What is read";
    AddTimeOption(app, "--start", options.start, "Skip what lies before this time")->group(Group);
    AddTimeOption(app, "--duration", options.duration, "Read no more than this")->group(Group);
    AddParsedOption(app, "--every", options.every, ParseEvery, "a whole number from 1",
                    "Use one picture in N")
        ->type_name("N")
        ->group(Group);
    AddParsedOption(app, "--size", options.size, ParseSize,
                    "a size such as 640x480, each side 1 to 16384",
                    "Scale the pictures to this size first")
        ->type_name("WxH")
        ->group(Group);
}

}  // namespace kes::track::cli
