#include "base/number.hpp"

#include <charconv>
#include <cmath>
#include <system_error>

namespace kes {
namespace {

template <typename T>
std::optional<T> ParseWhole(std::string_view text) {
    T value{};
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc{} || end != text.data() + text.size()) return std::nullopt;
    return value;
}

}  // namespace

std::optional<double> ParseNumber(std::string_view text) {
    auto const value = ParseWhole<double>(text);
    return value && std::isfinite(*value) ? value : std::nullopt;
}

std::optional<std::uint64_t> ParseCount(std::string_view text) {
    return ParseWhole<std::uint64_t>(text);
}

}  // namespace kes
