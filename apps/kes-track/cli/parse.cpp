#include "cli/parse.hpp"

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>

#include "base/format.hpp"
#include "base/number.hpp"

namespace kes::track::cli {
namespace {

struct Unit {
    std::string_view name;
    double nanoseconds;
};

// Largest first, the order in which a duration may name them.
constexpr std::array Units{Unit{"h", 3600e9}, Unit{"m", 60e9}, Unit{"s", 1e9}, Unit{"ms", 1e6}};
constexpr double LongestDuration = 366.0 * 24.0 * 3600e9;
constexpr unsigned int LargestSide = 16384;

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// Takes the digits (and a point) that `text` starts with.
std::string_view TakeNumber(std::string_view& text) {
    std::size_t length = 0;
    while (length < text.size() && (IsDigit(text[length]) || text[length] == '.')) ++length;
    std::string_view const number = text.substr(0, length);
    text.remove_prefix(length);
    return number;
}

std::string_view TakeUnit(std::string_view& text) {
    std::size_t length = 0;
    while (length < text.size() && !IsDigit(text[length]) && text[length] != '.') ++length;
    std::string_view const unit = text.substr(0, length);
    text.remove_prefix(length);
    return unit;
}

}  // namespace

std::optional<std::chrono::nanoseconds> ParseDuration(std::string_view text) {
    if (text == "0") return std::chrono::nanoseconds{0};
    if (text.empty()) return std::nullopt;
    double nanoseconds = 0.0;
    std::size_t smallestUnit = 0;  // the first of Units that may still come
    while (!text.empty()) {
        std::string_view const number = TakeNumber(text);
        // A number such as ".5" or "1e3" is refused here as well as nonsense.
        if (number.empty() || !IsDigit(number.front()) || !IsDigit(number.back())) {
            return std::nullopt;
        }
        std::optional<double> const value = ParseNumber(number);
        if (!value) return std::nullopt;
        std::string_view const name = TakeUnit(text);
        std::size_t unit = smallestUnit;
        while (unit < Units.size() && Units[unit].name != name) ++unit;
        if (unit == Units.size()) return std::nullopt;
        nanoseconds += *value * Units[unit].nanoseconds;
        smallestUnit = unit + 1;
    }
    if (nanoseconds > LongestDuration) return std::nullopt;
    return std::chrono::nanoseconds{std::llround(nanoseconds)};
}

std::optional<Size> ParseSize(std::string_view text) {
    std::size_t const cross = text.find('x');
    if (cross == std::string_view::npos) return std::nullopt;
    std::optional<std::uint64_t> const width = ParseCount(text.substr(0, cross));
    std::optional<std::uint64_t> const height = ParseCount(text.substr(cross + 1));
    auto const isSide = [](std::optional<std::uint64_t> const& side) {
        return side && *side >= 1 && *side <= LargestSide;
    };
    if (!isSide(width) || !isSide(height)) return std::nullopt;
    return Size{static_cast<unsigned int>(*width), static_cast<unsigned int>(*height)};
}

CLI::Option* AddNumberOption(CLI::App& app, std::string const& names, float& value, Limits limits,
                             std::string const& description) {
    auto const parse = [limits](std::string_view text) -> std::optional<float> {
        auto const number = ParseNumber(text);
        if (!number || *number < limits.least || *number > limits.most) return std::nullopt;
        return static_cast<float>(*number);
    };
    return AddParsedOption(app, names, value, parse, "a number" + limits.Text(), description)
        ->type_name("NUMBER");
}

CLI::Option* AddCountOption(CLI::App& app, std::string const& names, unsigned int& value,
                            unsigned int most, std::string const& description) {
    auto const parse = [most](std::string_view text) -> std::optional<unsigned int> {
        auto const count = ParseCount(text);
        if (!count || *count < 1 || *count > most) return std::nullopt;
        return static_cast<unsigned int>(*count);
    };
    return AddParsedOption(app, names, value, parse,
                           "a whole number from 1 to " + std::to_string(most), description)
        ->type_name("N");
}

std::string Limits::Text() const {
    if (most == Unlimited.most) return "";
    return " from " + FormatNumber(least, 3) + " to " + FormatNumber(most, 3);
}

}  // namespace kes::track::cli
