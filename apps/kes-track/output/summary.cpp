#include "output/summary.hpp"

#include <algorithm>
#include <iomanip>
#include <iostream>

#include "base/format.hpp"

namespace kes::track {

void Table::Row(std::string name, std::string value) {
    rows.emplace_back(std::move(name), std::move(value));
}

std::ostream& operator<<(std::ostream& out, Table const& table) {
    std::size_t widest = 0;
    for (auto const& [name, value] : table.rows) widest = std::max(widest, name.size());
    for (auto const& [name, value] : table.rows) {
        out << std::left << std::setw(static_cast<int>(widest) + 2) << name << value << '\n';
    }
    return out;
}

void AddClipRows(Table& table, video::ClipInfo const& clip, std::uint64_t frames) {
    table.Row("size", std::to_string(clip.size.width) + " x " + std::to_string(clip.size.height));
    table.Row("rate", RateText(clip.frameRate) +
                          (clip.isRateKnown ? "" : " (a guess: the input does not say)"));
    table.Row("frames", FormatCount(frames));
}

Json ClipJson(std::string const& input, video::ClipInfo const& clip, std::uint64_t frames) {
    return {{"input", input},
            {"width", clip.size.width},
            {"height", clip.size.height},
            {"frame_rate", clip.frameRate},
            {"frame_rate_known", clip.isRateKnown},
            {"frames", frames}};
}

double RateOf(std::uint64_t frames, std::chrono::nanoseconds time) {
    return time.count() > 0 ? static_cast<double>(frames) / Seconds(time) : 0.0;
}

std::string RateText(double rate) { return FormatNumber(rate, 3) + " frames/s"; }

std::string JsonLine(Json const& json) {
    return json.dump(-1, ' ', false, Json::error_handler_t::replace) + '\n';
}

std::string JsonText(Json const& json) {
    return json.dump(2, ' ', false, Json::error_handler_t::replace) + '\n';
}

std::ostream& SummaryStream(Paths const& outputs) {
    bool const isTaken = std::find(outputs.begin(), outputs.end(), "-") != outputs.end();
    return isTaken ? std::cerr : std::cout;
}

}  // namespace kes::track
