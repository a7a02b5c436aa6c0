// What the media layer prints.
#include <chrono>
#include <cstdint>
#include <iomanip>
#include <limits>
#include <sstream>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include <kes/media/colour_format.hpp>
#include <kes/media/time_point.hpp>
#include <kes/media/video/frame/rotation.hpp>

namespace {

using kes::media::ColourFormat;
using kes::media::video::frame::Rotation;
using TimePoint = std::chrono::time_point<std::chrono::system_clock, std::chrono::nanoseconds>;

std::string TextOf(std::int64_t nanoseconds) {
    std::ostringstream out;
    // A stream in any state: the text is fixed.
    out << std::hex << std::showpos << std::setfill('*');
    kes::media::operator<<(out, TimePoint(std::chrono::nanoseconds(nanoseconds)));
    return out.str();
}

TEST(TimePoint, IsWrittenInUtcWithNineDecimals) {
    constexpr std::int64_t Second = 1'000'000'000;
    struct Case {
        std::int64_t nanoseconds;
        char const* text;
    };
    for (Case const& c : {
             Case{0, R"("1970-01-01T00:00:00.000000000Z")"},
             Case{1, R"("1970-01-01T00:00:00.000000001Z")"},
             Case{-1, R"("1969-12-31T23:59:59.999999999Z")"},
             Case{-86400 * Second, R"("1969-12-31T00:00:00.000000000Z")"},
             Case{-86401 * Second - 1, R"("1969-12-30T23:59:58.999999999Z")"},
             Case{-2203891201 * Second, R"("1900-02-28T23:59:59.000000000Z")"},
             Case{951782400 * Second + 40'000'000, R"("2000-02-29T00:00:00.040000000Z")"},
             Case{4102444799 * Second, R"("2099-12-31T23:59:59.000000000Z")"},
             Case{std::numeric_limits<std::int64_t>::max(), R"("2262-04-11T23:47:16.854775807Z")"},
             Case{std::numeric_limits<std::int64_t>::min(), R"("1677-09-21T00:12:43.145224192Z")"},
         }) {
        EXPECT_EQ(TextOf(c.nanoseconds), c.text);
    }
}

TEST(ColourFormat, IsWrittenAsAQuotedNameOrANumber) {
    std::ostringstream out;
    for (int value = -1; value <= 5; ++value) out << static_cast<ColourFormat>(value) << ' ';
    EXPECT_EQ(out.str(), R"(-1 "grey" "rgb" "bgr" "yuv" "nv12" 5 )");
}

TEST(Rotation, HasANameForEachQuarterTurn) {
    auto const& names = kes::type::Strings<Rotation>::GetMap();
    std::map<unsigned long, std::string> const expected{
        {0, "none"}, {1, "90"}, {2, "180"}, {3, "270"}};
    EXPECT_EQ(names, expected);
    EXPECT_EQ(static_cast<unsigned long>(Rotation::Clockwise270), 3UL);
    EXPECT_EQ(&names, &kes::type::Strings<Rotation>::GetMap());
}

}  // namespace
