// Gates: the lines and zones that a user names, as options and files spell them.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <kes/tracker/counter.hpp>

namespace kes::track::count {

struct Gates {
    std::vector<tracker::Line> lines;
    std::vector<tracker::Zone> zones;

    bool AreAny() const { return !lines.empty() || !zones.empty(); }
};

// "NAME:x1,y1,x2,y2", in pixels; none for anything else and for a line without length.
std::optional<tracker::Line> ParseLine(std::string_view text);

// "NAME:x,y,x,y,x,y...", three corners or more; none for anything else.
std::optional<tracker::Zone> ParseZone(std::string_view text);

// Adds those of a JSON file: {"lines": [{"name": "door", "from": [x, y], "to": [x, y]}],
// "zones": [{"name": "hall", "corners": [[x, y], ...]}]}. Throws Failure (BadSideInput).
void ReadGates(std::string const& file, Gates& gates);

// Throws Failure (BadUsage) where two have one name.
void RequireDistinctNames(Gates const& gates);

}  // namespace kes::track::count
