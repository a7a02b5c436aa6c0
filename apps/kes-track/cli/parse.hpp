// Options whose texts are durations with units, sizes, and numbers within limits.
#pragma once

#include <chrono>
#include <limits>
#include <optional>
#include <string>
#include <string_view>

#include <CLI/CLI.hpp>
#include <kes/geometry/dimension.hpp>

namespace kes::track::cli {

using Size = geometry::Dimension<unsigned int, 2>;

// "500ms", "5s", "1.5s", "2m", "1h", or several, largest unit first: "1m30s". A unit is needed but
// for 0. None for anything else, for a negative one, and for more than a year. (CLI11's numbers
// with units take one unit only, and a text without any.)
std::optional<std::chrono::nanoseconds> ParseDuration(std::string_view text);

// "640x480", each side 1 to 16384. None for anything else.
std::optional<Size> ParseSize(std::string_view text);

// An option whose text goes through one of the functions above. `expected` finishes the error line
// "--name: 'text' is not ...".
template <typename T, typename Parse>
CLI::Option* AddParsedOption(CLI::App& app, std::string const& names, T& value, Parse parse,
                             std::string const& expected, std::string const& description) {
    auto* const option = app.add_option_function<std::string>(
        names,
        [&value, parse, expected, names](std::string const& text) {
            auto const parsed = parse(text);
            if (!parsed) {
                throw CLI::ValidationError(names.substr(names.find("--")),
                                           "'" + text + "' is not " + expected);
            }
            value = *parsed;
        },
        description);
    return option;
}

// An option whose text is a duration.
template <typename T>
CLI::Option* AddTimeOption(CLI::App& app, std::string const& names, T& value,
                           std::string const& description) {
    return AddParsedOption(app, names, value, ParseDuration, "a time such as 5s, 500ms or 1m30s",
                           description)
        ->type_name("TIME");
}

// What a number may be, ends included.
struct Limits {
    double least;
    double most;

    std::string Text() const;  // " from 0 to 255", nothing where there are none
};
constexpr Limits Unlimited{std::numeric_limits<float>::lowest(), std::numeric_limits<float>::max()};

CLI::Option* AddNumberOption(CLI::App& app, std::string const& names, float& value, Limits limits,
                             std::string const& description);

// A whole number from 1.
CLI::Option* AddCountOption(CLI::App& app, std::string const& names, unsigned int& value,
                            unsigned int most, std::string const& description);

}  // namespace kes::track::cli
