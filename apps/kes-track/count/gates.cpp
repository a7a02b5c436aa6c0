#include "count/gates.hpp"

#include <fstream>
#include <set>
#include <stdexcept>
#include <utility>

#include <nlohmann/json.hpp>

#include "base/failure.hpp"
#include "base/number.hpp"

namespace kes::track::count {
namespace {

using tracker::Point;

struct Named {
    std::string name;
    std::vector<Point> points;
};

// "NAME:x,y,...": the name may hold colons.
std::optional<Named> ParseNamed(std::string_view text) {
    auto const colon = text.rfind(':');
    if (colon == std::string_view::npos || colon == 0) return std::nullopt;
    Named named{std::string(text.substr(0, colon)), {}};
    std::vector<float> numbers;
    for (std::string_view rest = text.substr(colon + 1);;) {
        auto const comma = rest.find(',');
        auto const number = ParseNumber(rest.substr(0, comma));
        if (!number) return std::nullopt;
        numbers.push_back(static_cast<float>(*number));
        if (comma == std::string_view::npos) break;
        rest.remove_prefix(comma + 1);
    }
    if (numbers.size() % 2 != 0) return std::nullopt;
    for (std::size_t i = 0; i < numbers.size(); i += 2) {
        named.points.push_back({numbers[i], numbers[i + 1]});
    }
    return named;
}

bool CanBeCounted(Gates const& gates) {
    try {
        tracker::Counter const counter(gates.lines, gates.zones);
        return true;
    } catch (std::invalid_argument const&) {
        return false;
    }
}

}  // namespace

std::optional<tracker::Line> ParseLine(std::string_view text) {
    auto named = ParseNamed(text);
    if (!named || named->points.size() != 2) return std::nullopt;
    tracker::Line line{std::move(named->name), named->points[0], named->points[1]};
    if (!CanBeCounted({{line}, {}})) return std::nullopt;
    return line;
}

std::optional<tracker::Zone> ParseZone(std::string_view text) {
    auto named = ParseNamed(text);
    if (!named) return std::nullopt;
    tracker::Zone zone{std::move(named->name), std::move(named->points)};
    if (!CanBeCounted({{}, {zone}})) return std::nullopt;
    return zone;
}

void ReadGates(std::string const& file, Gates& gates) {
    std::ifstream stream(file);
    if (!stream) throw Failure(ExitCode::BadSideInput, "cannot read " + file);
    try {
        auto const json = nlohmann::json::parse(stream);
        auto const point = [](nlohmann::json const& xy) {
            if (xy.size() != 2) throw std::invalid_argument("a point is [x, y]");
            return Point{xy.at(0).get<float>(), xy.at(1).get<float>()};
        };
        for (auto const& line : json.value("lines", nlohmann::json::array())) {
            gates.lines.push_back(
                {line.at("name").get<std::string>(), point(line.at("from")), point(line.at("to"))});
        }
        for (auto const& zone : json.value("zones", nlohmann::json::array())) {
            gates.zones.push_back({zone.at("name").get<std::string>(), {}});
            for (auto const& corner : zone.at("corners")) {
                gates.zones.back().corners.push_back(point(corner));
            }
        }
        tracker::Counter const check(gates.lines, gates.zones);
    } catch (std::exception const& error) {  // the parser's, a missing key's, the counter's
        throw Failure(ExitCode::BadSideInput, file + ": " + error.what());
    }
}

void RequireDistinctNames(Gates const& gates) {
    std::set<std::string> names;
    auto const add = [&](std::string const& name) {
        if (names.insert(name).second) return;
        throw Failure(ExitCode::BadUsage, "two lines or zones are called " + name);
    };
    for (tracker::Line const& line : gates.lines) add(line.name);
    for (tracker::Zone const& zone : gates.zones) add(zone.name);
}

}  // namespace kes::track::count
