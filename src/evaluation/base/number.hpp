// Numbers as files and options spell them.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace kes {

// A finite decimal number that fills the text.
std::optional<double> ParseNumber(std::string_view text);

// A decimal number without sign that fills the text.
std::optional<std::uint64_t> ParseCount(std::string_view text);

}  // namespace kes
