// What a command says at its end: a table for people or JSON for programs.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "output/output_file.hpp"
#include "video/reader.hpp"

namespace kes::track {

using Json = nlohmann::ordered_json;

// Names and values in two columns.
class Table {
public:
    void Row(std::string name, std::string value);
    friend std::ostream& operator<<(std::ostream& out, Table const& table);

private:
    std::vector<std::pair<std::string, std::string>> rows;
};

// What both commands that read clips say of one: "size", "rate", "frames", and as JSON members.
void AddClipRows(Table& table, video::ClipInfo const& clip, std::uint64_t frames);
Json ClipJson(std::string const& input, video::ClipInfo const& clip, std::uint64_t frames);

// "12.3 frames/s"; 0 where no time has passed.
double RateOf(std::uint64_t frames, std::chrono::nanoseconds time);
std::string RateText(double rate);

// A line; characters that are no UTF-8, as in file names, are replaced.
std::string JsonLine(Json const& json);
// The same over several lines.
std::string JsonText(Json const& json);

// Standard output, or standard error where one of the outputs has taken that.
std::ostream& SummaryStream(Paths const& outputs);

}  // namespace kes::track
