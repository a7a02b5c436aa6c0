#include <kes/algorithm/tracking_base/detection_point.hpp>

#include <stdexcept>

#include <gtest/gtest.h>

namespace {

using kes::algorithm::tracking_base::DetectionPoint;
using Names = kes::type::Strings<DetectionPoint>;

TEST(DetectionPoint, HasANameForEachValueAndNoOther) {
    std::map<unsigned long, std::string> const expected{
        {0, "default"}, {1, "centroid"}, {2, "mid-bottom"}};
    EXPECT_EQ(Names::GetMap(), expected);
    EXPECT_THROW(Names::GetMap().at(3), std::out_of_range);
    EXPECT_EQ(static_cast<unsigned long>(DetectionPoint::MidBottom), 2UL);
    EXPECT_EQ(&Names::GetMap(), &Names::GetMap());
}

}  // namespace
