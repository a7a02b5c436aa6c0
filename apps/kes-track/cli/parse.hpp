// The texts that options take: durations with units, sizes, numbers.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include <CLI/CLI.hpp>
#include <kes/geometry/dimension.hpp>

namespace kes::track::cli {

using Size = geometry::Dimension<unsigned int, 2>;

// "500ms", "5s", "1.5s", "2m", "1h", or several, largest unit first: "1m30s". A unit is needed but
// for 0. None for anything else, for a negative one, and for more than a year.
std::optional<std::chrono::nanoseconds> ParseDuration(std::string_view text);

// "640x480", each side 1 to 16384. None for anything else.
std::optional<Size> ParseSize(std::string_view text);

// A finite decimal number that fills the text.
std::optional<double> ParseNumber(std::string_view text);

// A decimal number without sign that fills the text.
std::optional<std::uint64_t> ParseCount(std::string_view text);

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

}  // namespace kes::track::cli
