// Files that take their place when they are whole, and what is written and drawn into them.

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>

#include "base/failure.hpp"
#include "draw/heatmap.hpp"
#include "draw/overlay.hpp"
#include "draw/tracks.hpp"
#include "output/output_file.hpp"
#include "run/outputs.hpp"
#include "support/folder.hpp"
#include "video/png.hpp"

namespace kes::track {
namespace {

namespace fs = std::filesystem;
using test::Folder;
using test::ReadFile;
using test::WriteFile;

TEST(OutputFile, TakesItsPlaceOnlyWhenItIsWhole) {
    Folder const folder;
    std::string const path = folder / "out.txt";
    WriteFile(path, "before");
    {
        OutputFile file(path);
        file.Write("lost");
    }
    EXPECT_FALSE(fs::exists(path + ".part")) << "nothing of use was in it";
    {
        OutputFile file(path);
        file.Write("kept");
        file.Flush();
        EXPECT_THROW(OutputFile{path}, Failure) << "written by two at once";
    }
    EXPECT_EQ(ReadFile(path + ".part"), "kept");
    EXPECT_EQ(ReadFile(path), "before");

    fs::permissions(path, fs::perms::owner_all);
    fs::create_symlink("out.txt", folder / "link");
    OutputFile file(folder / "link");
    file.Write("after");
    file.Close();
    EXPECT_EQ(ReadFile(path), "after");
    EXPECT_FALSE(fs::exists(path + ".part"));
    EXPECT_TRUE(fs::is_symlink(folder / "link"));
    EXPECT_EQ(fs::status(path).permissions(), fs::perms::owner_all);

    // The lock went with the file.
    OutputFile another(path);
    another.Close();
    EXPECT_EQ(ReadFile(path), "");
}

// A picture of 64 x 48 pixels, its objects a mover in sight, one out of sight, and a thing.
constexpr video::Size Size{64, 48};

video::Picture Picture(std::vector<std::uint8_t>& bytes, std::uint8_t luminance) {
    std::size_t const pixels = std::size_t{Size.width} * Size.height;
    bytes.assign(pixels * 3 / 2, 128);
    std::fill_n(bytes.begin(), pixels, luminance);
    using Plane = media::video::frame::PlaneBase<void const>;
    video::Frame const frame({Plane(pixels, bytes.data(), Size.width),
                              Plane(pixels / 2, bytes.data() + pixels, Size.width)},
                             media::ColourFormat::Nv12, Size.width, Size.height, {}, {});
    return {41, std::chrono::milliseconds(4100), frame, false};
}

tracker::Result SomeResult() {
    using tracker::Kind;
    using tracker::Visibility;
    tracker::Result result;
    result.objects = {
        {3, {8, 20, 24, 40}, Kind::Mover, Visibility::Visible, true, false, 0.75F, 0},
        {4, {40, 20, 48, 40}, Kind::Mover, Visibility::Occluded, true, true, 0.5F, 0},
        {5, {50, 24, 60, 40}, Kind::StaticObject, Visibility::Visible, true, true, 1, 0}};
    result.events = {{tracker::EventType::Absorbed, 5, {50, 24, 60, 40}}};
    return result;
}

TEST(RunOutputs, WriteMoversAsBoxesAndEverythingAsLines) {
    Folder const folder;
    run::StreamOptions options;
    options.outputs.mot = folder / "out.txt";
    options.outputs.jsonLines = folder / "out.jsonl";
    run::Outputs outputs(options, {Size, 10, true, "", {}}, nullptr);
    EXPECT_FALSE(outputs.AreDrawn());
    std::vector<std::uint8_t> bytes;
    outputs.Write(Picture(bytes, 90), SomeResult());
    outputs.Close();
    EXPECT_EQ(ReadFile(folder / "out.txt"),
              "42,3,8.00,20.00,16.00,20.00,0.75,-1,-1,-1\n"
              "42,4,40.00,20.00,8.00,20.00,0.5,-1,-1,-1\n");
    EXPECT_EQ(ReadFile(folder / "out.jsonl"),
              R"({"event":"absorbed","frame":42,"time":4.1,"id":5,"box":[50.0,24.0,10.0,16.0]})"
              "\n"
              R"({"frame":42,"time":4.1,"objects":[)"
              R"({"id":3,"kind":"mover","box":[8.0,20.0,16.0,20.0],)"
              R"("visibility":"visible","standing":false,"confidence":0.75},)"
              R"({"id":4,"kind":"mover","box":[40.0,20.0,8.0,20.0],)"
              R"("visibility":"occluded","standing":true,"confidence":0.5},)"
              R"({"id":5,"kind":"static","box":[50.0,24.0,10.0,16.0],)"
              R"("visibility":"visible","standing":true,"confidence":1.0}]})"
              "\n");
}

bool IsNear(cv::Vec3b const& pixel, cv::Scalar const& colour) {
    return cv::norm(cv::Vec3d(pixel), cv::Vec3d(colour[0], colour[1], colour[2]), cv::NORM_INF) <=
           3;
}

TEST(Drawing, KnowsBothRangesOfLuminance) {
    std::vector<std::uint8_t> bytes;
    struct Case {
        std::uint8_t luminance;
        bool isFullRange;
        std::uint8_t grey;
    };
    for (auto const& [luminance, isFullRange, grey] :
         {Case{235, false, 255}, Case{16, false, 0}, Case{235, true, 235}, Case{16, true, 16}}) {
        cv::Mat const drawn = draw::ToBgr(Picture(bytes, luminance).frame, isFullRange);
        EXPECT_TRUE(IsNear(drawn.at<cv::Vec3b>(20, 20), cv::Scalar::all(grey)))
            << drawn.at<cv::Vec3b>(20, 20);
    }
}

TEST(Drawing, TintsWhatAMaskCovers) {
    cv::Mat picture(48, 64, CV_8UC3, cv::Scalar::all(100));
    algorithm::BitMask mask{32, 24, std::vector<std::uint32_t>(24)};
    for (std::size_t cellY = 4; cellY < 12; ++cellY) mask.words[cellY] = 0x00FF0000;  // cells 8..15
    draw::Tint(picture, mask, cv::Scalar(0, 0, 200));
    EXPECT_TRUE(IsNear(picture.at<cv::Vec3b>(16, 24), {62, 62, 154}));
    EXPECT_EQ(picture.at<cv::Vec3b>(16, 40), cv::Vec3b::all(100));
    EXPECT_EQ(picture.at<cv::Vec3b>(40, 24), cv::Vec3b::all(100));
}

TEST(Drawing, FramesObjectsInTheirColours) {
    cv::Mat picture(48, 64, CV_8UC3, cv::Scalar::all(0));
    draw::TrackPainter painter(10);
    painter.Note(SomeResult());
    painter.Draw(picture);
    EXPECT_TRUE(IsNear(picture.at<cv::Vec3b>(30, 8), draw::ColourOf(3)));
    EXPECT_TRUE(IsNear(picture.at<cv::Vec3b>(34, 50), draw::StationaryColour));
    EXPECT_EQ(picture.at<cv::Vec3b>(30, 16), cv::Vec3b::all(0)) << "within a box";
    EXPECT_NE(draw::ColourOf(3), draw::ColourOf(4));
}

TEST(Drawing, LetsTrailsEnd) {
    cv::Mat picture(48, 64, CV_8UC3, cv::Scalar::all(0));
    draw::TrackPainter painter(3);
    for (float x = 4; x < 60; x += 5) {
        painter.Note({{{7,
                        {x - 2, 30, x + 2, 40},
                        tracker::Kind::Mover,
                        tracker::Visibility::Visible,
                        true,
                        false,
                        1,
                        0}},
                      {},
                      {}});
    }
    painter.Draw(picture);
    EXPECT_NE(picture.at<cv::Vec3b>(40, 54), cv::Vec3b::all(0));
    EXPECT_EQ(picture.at<cv::Vec3b>(40, 20), cv::Vec3b::all(0));
}

TEST(Drawing, HeatsWhereMoversAre) {
    draw::Heatmap heatmap({64, 48});
    heatmap.Note(SomeResult(), 1);  // feet at (16, 40), (44, 40), and of a static object (55, 40)
    cv::Mat const cold(48, 64, CV_8UC3, cv::Scalar::all(40));
    cv::Mat const picture = heatmap.Draw(cold);
    EXPECT_FALSE(IsNear(picture.at<cv::Vec3b>(42, 18), cv::Scalar::all(40)));
    EXPECT_TRUE(IsNear(picture.at<cv::Vec3b>(42, 61), cv::Scalar::all(40)));
    EXPECT_TRUE(IsNear(picture.at<cv::Vec3b>(10, 10), cv::Scalar::all(40)));
}

TEST(Drawing, KeepsColoursInAPng) {
    cv::Mat const picture(2, 3, CV_8UC3, cv::Scalar(10, 120, 250));
    std::string const png = video::EncodePng(picture);
    cv::Mat const read = cv::imdecode(std::vector<char>(png.begin(), png.end()), cv::IMREAD_COLOR);
    ASSERT_EQ(read.size(), picture.size());
    EXPECT_EQ(read.at<cv::Vec3b>(1, 2), cv::Vec3b(10, 120, 250));
}

}  // namespace
}  // namespace kes::track
