#include "draw/contact_sheet.hpp"

#include <chrono>
#include <string>

#include <gtest/gtest.h>

namespace kes::track::draw {
namespace {

using namespace std::chrono_literals;

std::vector<LegendEntry> const Legend{{MovingColour, "moving"}, {StationaryColour, "stationary"}};

// How many pictures were drawn of so many that came.
int Feed(ContactSheet& sheet, int pictures, cv::Size size) {
    int drawn = 0;
    cv::Mat const picture(size, CV_8UC3, cv::Scalar(90, 90, 90));
    for (int i = 0; i < pictures; ++i) {
        double const moving = i % 100 / 100.0;
        if (sheet.Note(i * 100ms, {moving, 0.1})) {
            sheet.Add(picture, "a caption");
            ++drawn;
        }
    }
    return drawn;
}

TEST(ContactSheet, IsAPageForClipsOfAnyLengthShapeAndTitle) {
    struct Case {
        int pictures;
        cv::Size size;
        int rows;  // of moments
        std::string title;
    };
    for (Case const& c :
         {Case{1, {1, 1}, 1, ""}, Case{2, {768, 576}, 1, std::string(500, 'W')},
          Case{5, {33, 17}, 2, "\xff\xfe bytes"}, Case{12, {3840, 2160}, 3, "日本.avi"},
          Case{50, {90, 1600}, 3, "clip"}, Case{3000, {64, 48}, 3, "clip"}}) {
        SCOPED_TRACE(testing::Message() << c.pictures << " of " << c.size);
        ContactSheet sheet(c.title, c.title, Legend);
        int const drawn = Feed(sheet, c.pictures, c.size);
        cv::Mat const page = sheet.Draw();
        EXPECT_EQ(page.type(), CV_8UC3);
        EXPECT_EQ(page.cols, 1960);
        EXPECT_GE(page.rows, 300 + 40 * c.rows);
        EXPECT_LE(page.rows, 400 + 640 * c.rows);
        EXPECT_LE(drawn, 300);
    }
}

}  // namespace
}  // namespace kes::track::draw
