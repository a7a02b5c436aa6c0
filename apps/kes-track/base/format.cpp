#include "base/format.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdio>

namespace kes::track {

std::string FormatTime(std::chrono::nanoseconds time) {
    auto const tenths =
        std::max<std::int64_t>(time / std::chrono::milliseconds(100), std::int64_t{0});
    auto const seconds = tenths / 10;
    auto const hours = static_cast<long>(seconds / 3600);
    auto const minutes = static_cast<int>(seconds / 60 % 60);
    auto const rest = static_cast<int>(seconds % 60);
    auto const tenth = static_cast<int>(tenths % 10);
    char text[48];
    if (hours > 0) {
        std::snprintf(text, sizeof text, "%ld:%02d:%02d.%d", hours, minutes, rest, tenth);
    } else {
        std::snprintf(text, sizeof text, "%d:%02d.%d", minutes, rest, tenth);
    }
    return text;
}

std::string FormatNumber(double value, int digits) {
    char text[400];  // the longest double has 309 digits before the point
    std::snprintf(text, sizeof text, "%.*f", std::clamp(digits, 0, 9), value);
    std::string result = text;
    if (result.find('.') == std::string::npos) return result;
    result.erase(result.find_last_not_of('0') + 1);
    if (result.back() == '.') result.pop_back();
    return result;
}

std::string FormatPercent(double share, int digits) {
    return FormatNumber(100.0 * share, digits) + " %";
}

std::string FormatCount(std::uint64_t count) {
    std::string text = std::to_string(count);
    for (std::size_t place = text.size(); place > 3; place -= 3) text.insert(place - 3, 1, ' ');
    return text;
}

std::string ShortName(std::string const& input) {
    std::size_t const end = input.find_last_not_of('/');
    std::string name = end == std::string::npos ? input : input.substr(0, end + 1);
    std::size_t const slash = name.find_last_of('/');
    if (slash != std::string::npos) name.erase(0, slash + 1);
    std::replace_if(
        name.begin(), name.end(),
        [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; }, '?');
    return name;
}

}  // namespace kes::track
