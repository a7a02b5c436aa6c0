#include "mot/mot_text.hpp"

#include <array>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <limits>
#include <optional>
#include <ostream>
#include <stdexcept>
#include <string_view>

#include "base/number.hpp"

namespace kes::mot {
namespace {

constexpr double LargestFrame = 1e9;
constexpr double LargestConfidence = std::numeric_limits<float>::max();
constexpr double LargestCoordinate = 1e7;

std::string_view Trim(std::string_view text) {
    constexpr std::string_view Blanks = " \t\r";
    auto const first = text.find_first_not_of(Blanks);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(Blanks) - first + 1);
}

std::vector<std::string_view> Columns(std::string_view line) {
    std::vector<std::string_view> columns;
    for (;;) {
        auto const comma = line.find(',');
        columns.push_back(Trim(line.substr(0, comma)));
        if (comma == std::string_view::npos) return columns;
        line.remove_prefix(comma + 1);
    }
}

// A whole number within the limits; benchmarks write some as "1.0".
std::optional<long> WholeNumber(std::string_view text, double least, double most) {
    auto const value = ParseNumber(text);
    if (!value || *value < least || *value > most || *value != std::floor(*value)) {
        return std::nullopt;
    }
    return static_cast<long>(*value);
}

std::string Not(std::string_view text, char const* what) {
    std::string line = "'";
    return line.append(text).append("' is not ").append(what);
}

Row RowOf(std::string_view line, std::string const& where) {
    auto const refuse = [&](std::string const& reason) {
        throw std::invalid_argument(where + ": " + reason);
    };
    auto const columns = Columns(line);
    if (columns.size() < 6) refuse("expected frame,id,left,top,width,height");
    Row row{};
    auto const frame = WholeNumber(columns[0], 1, LargestFrame);
    if (!frame) refuse(Not(columns[0], "a frame number from 1"));
    auto const id = WholeNumber(columns[1], -1, LargestFrame);
    if (!id) refuse(Not(columns[1], "an id"));
    std::array<float, 4> values{};
    for (std::size_t i = 0; i < values.size(); ++i) {
        auto const value = ParseNumber(columns[i + 2]);
        if (!value || std::abs(*value) > LargestCoordinate) {
            refuse(Not(columns[i + 2], "a coordinate"));
        }
        values[i] = static_cast<float>(*value);
    }
    row.frame = *frame;
    row.id = *id;
    row.box = {values[0], values[1], values[0] + values[2], values[1] + values[3]};
    // Asked of the sums: a side far smaller than its place rounds away.
    if (row.box.right <= row.box.left || row.box.bottom <= row.box.top) {
        refuse("a box without area");
    }
    row.confidence = 1;
    if (columns.size() > 6 && !columns[6].empty()) {
        auto const confidence = ParseNumber(columns[6]);
        if (!confidence || std::abs(*confidence) > LargestConfidence) {
            refuse(Not(columns[6], "a confidence"));
        }
        row.confidence = static_cast<float>(*confidence);
    }
    if (columns.size() > 7 && !ParseNumber(columns[7])) row.label = std::string(columns[7]);
    return row;
}

}  // namespace

std::vector<Row> Parse(std::istream& in, std::string const& name) {
    std::vector<Row> rows;
    std::string line;
    for (long number = 1; std::getline(in, line); ++number) {
        auto const text = Trim(line);
        if (text.empty() || text.front() == '#') continue;
        rows.push_back(RowOf(text, name + ":" + std::to_string(number)));
    }
    if (in.bad()) throw std::invalid_argument(name + ": cannot be read to its end");
    return rows;
}

std::vector<Row> Read(std::string const& path) {
    std::ifstream in(path);
    if (!in) throw std::invalid_argument(path + ": cannot be opened");
    return Parse(in, path);
}

void Write(std::ostream& out, Row const& row) {
    std::array<char, 256> line;  // enough for the largest of floats and longs
    int const length = std::snprintf(
        line.data(), line.size(), "%ld,%ld,%.2f,%.2f,%.2f,%.2f,%.4g,-1,-1,-1\n", row.frame, row.id,
        static_cast<double>(row.box.left), static_cast<double>(row.box.top),
        static_cast<double>(row.box.GetWidth()), static_cast<double>(row.box.GetHeight()),
        static_cast<double>(row.confidence));
    out.write(line.data(), length);
}

}  // namespace kes::mot
