/// \file
/// The text of a timestamp.
#pragma once

#include <chrono>
#include <iosfwd>

#include <kes/export.hpp>

namespace kes::media {

/// Writes a JSON value: the quoted ISO 8601 time in UTC with nine decimals, for example
/// "2026-03-01T12:00:00.040000000Z". Every value of the clock has a text (years 1677 to 2262).
/// The stream's number formatting does not touch it.
KES_EXPORT std::ostream& operator<<(
    std::ostream& out,
    std::chrono::time_point<std::chrono::system_clock, std::chrono::nanoseconds> time);

}  // namespace kes::media
