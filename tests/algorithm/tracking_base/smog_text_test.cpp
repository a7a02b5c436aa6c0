#include <iomanip>
#include <sstream>
#include <string>

#include <gtest/gtest.h>
#include <kes/algorithm/tracking_base/smog.hpp>

namespace kes::algorithm::tracking_base::appearance {
namespace {

TEST(SmogText, WritesEveryComponentWithoutABlank) {
    std::string expected = "{\"gaussians\":[";
    for (char const* height : {"16", "48", "80", "112", "144", "176", "208", "240"}) {
        expected += std::string("{\"means\":[128,128,128,") + height +
                    "],\"variances\":[16384,16384,16384,1024]},";
    }
    expected.back() = ']';
    expected += '}';

    Smog const smog;
    std::ostringstream out;
    out << smog;
    EXPECT_EQ(out.str(), expected);
    out << smog;
    EXPECT_EQ(out.str(), expected + expected);
}

TEST(SmogText, FollowsTheStreamsFormatting) {
    std::ostringstream out;
    out << std::hex << std::showbase << std::setfill('.') << std::setw(16) << Smog();
    std::string const start =
        "..{\"gaussians\":[{\"means\":[0x80,0x80,0x80,0x10],\"variances\":[0x4000,";
    EXPECT_EQ(out.str().substr(0, start.size()), start);
}

}  // namespace
}  // namespace kes::algorithm::tracking_base::appearance
