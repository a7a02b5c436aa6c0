// Parts of the tracker that cannot be seen well from outside.

#include <vector>

#include <gtest/gtest.h>

#include "tracker/blob_fit.hpp"
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

SceneModel PeopleOf40Cells() {
    SceneModel scene;
    for (int i = 0; i < 60; ++i) scene.scale.Learn({0, static_cast<float>(60 + i), 16, 40});
    return scene;
}

// Tracks on one large blob are parts of one object, unless they have been seen apart.
TEST(BlobFit, TakesALorryForOneObject) {
    SceneModel const scene = PeopleOf40Cells();
    struct Case {
        char const* name;
        int framesAlone;  // of the second and third track
        cv::Rect blob;
        std::size_t parts;
        bool isLarge;
    };
    for (Case const& one : {Case{"a lorry", 0, {50, 40, 70, 90}, 2, true},
                            Case{"people before a lorry", 9, {50, 40, 70, 90}, 0, false},
                            Case{"three people", 0, {50, 88, 46, 42}, 0, false}}) {
        SCOPED_TRACE(one.name);
        cv::Mat1b cells(160, 200, std::uint8_t{0});
        cells(one.blob) = 255;
        std::vector<Track> tracks(3);
        std::vector<Track*> pointers;
        for (int i = 0; i < 3; ++i) {
            Track& track = tracks[static_cast<std::size_t>(i)];
            track.id = i + 1;
            track.framesSeen = 9 - i;
            track.framesAlone = i == 0 ? 9 : one.framesAlone;
            track.state.stencil = track.silhouette.Draw(16, 40);
            track.state.cellX = 58 + 15 * i;
            track.state.cellFoot = 130;
            pointers.push_back(&track);
        }
        BlobFit fit;
        for (int frame = 0; frame < 20; ++frame) {
            fit = FitToBlobs(pointers, BlobsOf(cells, PersonGap), cells, scene.scale);
        }
        EXPECT_EQ(fit.parts.size(), one.parts);
        EXPECT_EQ(tracks[0].isLarge, one.isLarge);
        if (!one.isLarge) continue;
        EXPECT_NEAR(40 * tracks[0].sizeFactor, one.blob.height, 1);
        EXPECT_NEAR(16 * tracks[0].sizeFactor * tracks[0].widthFactor, one.blob.width, 1);
        EXPECT_EQ(tracks[0].state.cellFoot, one.blob.br().y);
    }
}

// A blob is an object when enough of it is where a usual object would be.
TEST(Initiation, TakesWhatAUsualObjectExplains) {
    SceneModel const scene = PeopleOf40Cells();
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
             Case{"a lorry", {50, 40, 60, 85}, {}, 1},
             Case{"a car", {50, 50, 80, 40}, {}, 1},
             Case{"a frame with nothing in it", {40, 30, 60, 75}, {43, 33, 54, 69}, 0},
         }) {
        cv::Mat1b cells(160, 200, std::uint8_t{0});
        cells(one.outside) = 255;
        if (!one.hole.empty()) cells(one.hole) = 0;
        Coverage coverage;
        coverage.Begin(cells, cv::Mat1b(cells.size(), std::uint8_t{0}));
        EXPECT_EQ(FindNewObjects(cells, coverage, scene, {}, 10).size(), one.objects) << one.name;
    }
}

}  // namespace
}  // namespace kes::tracker
