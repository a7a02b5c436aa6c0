// Parts of the tracker that cannot be seen well from outside.

#include <gtest/gtest.h>

#include "tracker/initiation.hpp"
#include "tracker/occlusion_map.hpp"

namespace kes::tracker {
namespace {

// Where foreground is missing although objects passed, it comes to say nothing; where it was seen
// it still says something.
TEST(OcclusionMap, HidesWhereSeveralObjectsPassedAndWereNotSeen) {
    constexpr int Width = 60;
    constexpr int Height = 40;
    struct Case {
        int objects, framesOfEach, seenEvery;
        bool isHidden;
    };
    for (Case const& one : {Case{3, 10, 0, true}, Case{2, 15, 0, false}, Case{3, 3, 0, false},
                            Case{3, 10, 2, false}, Case{3, 10, 5, true}}) {
        OcclusionMap map;
        map.Begin({Width, Height});
        Track track;
        track.state.stencil = track.silhouette.Draw(12, 30);
        track.state.cellX = Width / 2;
        track.state.cellFoot = 35;
        int frame = 0;
        for (track.id = 1; track.id <= one.objects; ++track.id) {
            for (int i = 0; i < one.framesOfEach; ++i, ++frame) {
                bool const isSeen = one.seenEvery > 0 && frame % one.seenEvery == 0;
                map.Learn(track, cv::Mat1b(Height, Width, std::uint8_t(isSeen ? 255 : 0)));
            }
        }
        EXPECT_EQ(map.Cells()(20, Width / 2) != 0, one.isHidden)
            << one.objects << " objects, " << one.framesOfEach << " frames each";
        EXPECT_EQ(map.Cells()(20, 2), 0) << "nobody passed here";
    }
}

// A blob is an object when enough of it is where a usual object would be.
TEST(Initiation, TakesWhatAUsualObjectExplains) {
    SceneModel scene;
    for (int i = 0; i < 60; ++i) scene.scale.Learn({0, static_cast<float>(60 + i), 16, 40});
    struct Case {
        char const* name;
        cv::Rect outside, hole;
        std::size_t objects;
    };
    for (Case const& one : {
             Case{"a person", {50, 50, 16, 40}, {}, 1},
             Case{"two side by side", {50, 50, 36, 40}, {}, 2},
             Case{"less than half a person", {50, 70, 16, 20}, {}, 0},
             Case{"a pole", {50, 50, 4, 40}, {}, 0},
             Case{"a frame with nothing in it", {40, 30, 60, 75}, {43, 33, 54, 69}, 0},
         }) {
        cv::Mat1b cells(160, 200, std::uint8_t{0});
        cells(one.outside) = 255;
        if (!one.hole.empty()) cells(one.hole) = 0;
        Coverage coverage;
        coverage.Begin(cells, cv::Mat1b(cells.size(), std::uint8_t{0}));
        EXPECT_EQ(FindNewObjects(cells, coverage, scene, 10).size(), one.objects) << one.name;
    }
}

}  // namespace
}  // namespace kes::tracker
