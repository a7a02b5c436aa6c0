// Times and numbers as people read them.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

namespace kes::track {

inline double Seconds(std::chrono::nanoseconds time) {
    return std::chrono::duration<double>(time).count();
}

// "0:07.3", "12:00.0", "1:02:03.4": hours only when there are any, tenths of a second cut off.
// A negative time is 0.
std::string FormatTime(std::chrono::nanoseconds time);

// At most `digits` digits after the point, without idle zeros: 12.5, 10, 0.03.
std::string FormatNumber(double value, int digits);

// A share as a percentage, "12.5 %", with at most `digits` digits after the point.
std::string FormatPercent(double share, int digits);

// 12 345 678, in groups of three.
std::string FormatCount(std::uint64_t count);

// The last part of a path or a URL, without characters that a terminal could act on.
std::string ShortName(std::string const& input);

}  // namespace kes::track
