// The texts that options take and that people read.

#include <chrono>
#include <limits>
#include <optional>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "base/format.hpp"
#include "base/number.hpp"
#include "cli/parse.hpp"

namespace kes::track {
namespace {

using namespace std::chrono_literals;
using std::chrono::nanoseconds;

TEST(ParseDuration, TakesUnitsLargestFirstAndNothingElse) {
    std::pair<char const*, nanoseconds> const taken[] = {
        {"0", 0ns},       {"0s", 0ns},
        {"5s", 5s},       {"60s", 60s},
        {"500ms", 500ms}, {"1.5s", 1500ms},
        {"2m", 2min},     {"1h", 1h},
        {"1m30s", 90s},   {"1h2m3s4ms", 1h + 2min + 3s + 4ms},
        {"0.001ms", 1us}, {"366m", 366min}};
    for (auto const& [text, value] : taken) EXPECT_EQ(cli::ParseDuration(text), value) << text;
    for (char const* const text :
         {"",       "5",    "s",    "-5s",   "+5s",          "5 s",    " 5s",
          "5s ",    ".5s",  "5.s",  "1e3s",  "5parsecs",     "30s1m",  "1s1s",
          "1.2.3s", "nans", "infs", "0x10s", "99999999999h", "1e400s", "5s\n",
          "5S"}) {
        EXPECT_EQ(cli::ParseDuration(text), std::nullopt) << text;
    }
}

TEST(ParseSize, TakesTwoSidesOfAtMost16384) {
    std::pair<char const*, cli::Size> const taken[] = {{"640x480", cli::Size{640, 480}},
                                                       {"1x1", cli::Size{1, 1}},
                                                       {"16384x16384", cli::Size{16384, 16384}},
                                                       {"0640x0480", cli::Size{640, 480}}};
    for (auto const& [text, value] : taken) EXPECT_EQ(cli::ParseSize(text), value) << text;
    for (char const* const text :
         {"16385x1", "0x480", "640x0", "640", "640x", "x480", "640x480x2", "-640x480", "640 x 480",
          "640X480", "18446744073709551617x1", ""}) {
        EXPECT_EQ(cli::ParseSize(text), std::nullopt) << text;
    }
}

TEST(ParseNumber, TakesFiniteNumbersThatFillTheText) {
    EXPECT_EQ(ParseNumber("4"), 4.0);
    EXPECT_EQ(ParseNumber("-0.5"), -0.5);
    EXPECT_EQ(ParseNumber("1e2"), 100.0);
    for (char const* text : {"", "nan", "inf", "4x", " 4", "4 ", "1e999", "0x4", "four"}) {
        EXPECT_EQ(ParseNumber(text), std::nullopt) << text;
    }
}

TEST(FormatTime, CutsToTenthsAndShowsHoursWhenThereAreAny) {
    EXPECT_EQ(FormatTime(0ns), "0:00.0");
    EXPECT_EQ(FormatTime(7399ms), "0:07.3");
    EXPECT_EQ(FormatTime(59999ms), "0:59.9");
    EXPECT_EQ(FormatTime(12min), "12:00.0");
    EXPECT_EQ(FormatTime(1h + 2min + 3s + 400ms), "1:02:03.4");
    EXPECT_EQ(FormatTime(-5s), "0:00.0");
    EXPECT_EQ(FormatTime(nanoseconds::max()), "2562047:47:16.8");
}

TEST(FormatNumber, LeavesOutIdleZeros) {
    EXPECT_EQ(FormatNumber(10.0, 2), "10");
    EXPECT_EQ(FormatNumber(12.5, 2), "12.5");
    EXPECT_EQ(FormatNumber(0.034, 2), "0.03");
    EXPECT_EQ(FormatNumber(100.0, 0), "100");
    EXPECT_EQ(FormatNumber(std::numeric_limits<double>::max(), 0).size(), 309U);
}

TEST(FormatCount, GroupsByThree) {
    EXPECT_EQ(FormatCount(0), "0");
    EXPECT_EQ(FormatCount(999), "999");
    EXPECT_EQ(FormatCount(1000), "1 000");
    EXPECT_EQ(FormatCount(12345678), "12 345 678");
}

TEST(ShortName, IsTheLastPartWithoutControlCharacters) {
    EXPECT_EQ(ShortName("/a/b/yard.avi"), "yard.avi");
    EXPECT_EQ(ShortName("yard.avi"), "yard.avi");
    EXPECT_EQ(ShortName("rtsp://camera/stream/"), "stream");
    EXPECT_EQ(ShortName("a/\x1b[31mred\n.avi"), "?[31mred?.avi");
    EXPECT_EQ(ShortName("-"), "-");
    EXPECT_EQ(ShortName(""), "");
}

}  // namespace
}  // namespace kes::track
