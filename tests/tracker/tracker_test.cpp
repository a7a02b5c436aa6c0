// The tracker on made-up scenes whose truth is known.

#include <kes/tracker/tracker.hpp>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <functional>
#include <initializer_list>
#include <map>
#include <set>
#include <stdexcept>
#include <vector>

#include <gtest/gtest.h>
#include <opencv2/imgproc.hpp>

#include "draw/scene.hpp"
#include "eval/scores.hpp"
#include "support/hall.hpp"

namespace kes::track::test {
namespace {

using tracker::EventType;
using tracker::Kind;

cv::Scalar const Red{50, 40, 190};
cv::Scalar const Blue{170, 70, 30};
cv::Scalar const Green{60, 130, 40};
cv::Scalar const Black{30, 28, 26};
cv::Scalar const White{235, 235, 235};

constexpr int LearningFrames = 40;
constexpr int PassingFrames = 50;

tracker::Options HallOptions() {
    tracker::Options options;
    options.framesPerSecond = Hall::FramesPerSecond;
    return options;
}

// People to and fro at several rows, one at a time, so that the scene's scale can be learnt.
std::vector<Walker> Passers() {
    std::vector<Walker> passers;
    int start = LearningFrames;
    for (float const foot : {200.0F, 320.0F, 250.0F, 160.0F}) {
        passers.push_back({{{start, -20, foot}, {start + PassingFrames, 500, foot}}, Blue, Black});
        start += PassingFrames;
    }
    return passers;
}

struct Watched {
    std::vector<mot::Row> truth;
    std::vector<mot::Row> result;
    std::vector<std::pair<int, tracker::Event>> events;
    std::map<int, std::vector<tracker::Object>> objects;  // by frame

    eval::Scores Score() const { return eval::Compare(truth, result, {1, 1'000'000}); }
    std::vector<int> FramesOf(EventType type) const {
        std::vector<int> frames;
        for (auto const& [frame, event] : events) {
            if (event.type == type) frames.push_back(frame);
        }
        return frames;
    }
};

// A Nv12 frame in another format. Its memory lives until the next call.
class Repainted {
public:
    tracker::Frame As(media::ColourFormat format, tracker::Frame const& frame) {
        using media::ColourFormat;
        if (format == ColourFormat::Nv12) return frame;
        std::size_t const width = frame.GetWidth();
        auto const* const luma = static_cast<std::uint8_t const*>(frame.GetPlane(0).GetBuffer());
        auto const* const chroma = static_cast<std::uint8_t const*>(frame.GetPlane(1).GetBuffer());
        bytes.clear();
        for (std::size_t i = 0; i < width * frame.GetHeight(); ++i) {
            std::size_t const pair = i / width / 2 * width + i % width / 2 * 2;
            float const y = luma[i], u = chroma[pair], v = chroma[pair + 1];
            std::array<float, 3> const rgb{y + 1.5748F * (v - 128),
                                           y - 0.1873F * (u - 128) - 0.4681F * (v - 128),
                                           y + 1.8556F * (u - 128)};
            if (format == ColourFormat::Grey) Put({y});
            if (format == ColourFormat::Yuv) Put({y, u, v});
            if (format == ColourFormat::Rgb) Put({rgb[0], rgb[1], rgb[2]});
            if (format == ColourFormat::Bgr) Put({rgb[2], rgb[1], rgb[0]});
        }
        auto const stride = static_cast<long>(bytes.size() / frame.GetHeight());
        return {{media::video::frame::PlaneBase<void const>{bytes.size(), bytes.data(), stride}},
                format,
                frame.GetSize(),
                {},
                {}};
    }

private:
    void Put(std::initializer_list<float> values) {
        for (float const value : values) {
            bytes.push_back(static_cast<std::uint8_t>(std::clamp(value + 0.5F, 0.0F, 255.0F)));
        }
    }

    std::vector<std::uint8_t> bytes;
};

// Lets the tracker learn the empty hall and people's size, then shows it `hall`.
Watched Track(Hall hall, int frames, tracker::Options const& options = HallOptions(),
              media::ColourFormat format = media::ColourFormat::Nv12) {
    Repainted repainted;
    tracker::Tracker tracker(options);
    Hall teacher(Passers(), {}, hall.Pillars());
    for (int frame = 0; frame < LearningFrames + 4 * PassingFrames; ++frame) {
        tracker.Process(repainted.As(format, teacher.Draw(frame)));
    }
    tracker.ForgetObjects();
    tracker::FixedLagSmoother smoother(10, 6);
    Watched run;
    int done = 0;
    auto const take = [&](tracker::Result const& result) {
        for (auto const& object : result.objects) {
            if (object.kind == Kind::Mover) {
                run.result.push_back({done + 1, object.id, object.box, 1, {}});
            }
        }
        run.objects[done] = result.objects;
        for (auto const& event : result.events) run.events.emplace_back(done, event);
        for (auto const& row : hall.Truth(done)) run.truth.push_back(row);
        ++done;
    };
    for (int frame = 0; frame < frames; ++frame) {
        if (auto const result =
                smoother.Push(tracker.Process(repainted.As(format, hall.Draw(frame)))))
            take(*result);
    }
    while (auto const result = smoother.Pop()) take(*result);
    return run;
}

// Many who cross: the guard against defaults that serve only the clip they were found on.
Hall BusyHall() {
    std::vector<Walker> people;
    cv::Scalar const coats[] = {Red, Blue, Green, Black, White, {20, 160, 200}, {140, 60, 140}};
    for (int i = 0; i < 14; ++i) {
        auto const lane = static_cast<float>(150 + 197 * i % 190);
        float const from = i % 2 == 1 ? 500.0F : -20.0F;
        int const start = 30 * i;
        people.push_back({{{start, from, lane},
                           {start + 60, 240, lane + static_cast<float>(i % 3 - 1) * 15.0F},
                           {start + 120, 480 - from, lane}},
                          coats[i % 7],
                          i % 2 == 0 ? Black : Blue});
    }
    return Hall(people, {});
}

TEST(Tracker, FollowsPeopleWhoMeet) {
    struct Case {
        char const* name;
        Hall hall;
        int frames;
        double mota, idf1;
        std::int64_t mostSwitches;
        std::size_t mostIds;
    };
    Case const cases[] = {
        {"they cross",
         Hall({{{{0, 40, 240}, {90, 440, 250}}, Red, Black},
               {{{0, 440, 260}, {90, 40, 250}}, Blue, White}},
              {}),
         90, 0.9, 0.9, 0, 2},
        // Motion alone would say that they walked on through each other.
        {"they meet and turn back",
         Hall({{{{0, 60, 250}, {50, 235, 250}, {60, 235, 250}, {110, 60, 250}}, Red, Black},
               {{{0, 430, 252}, {50, 245, 252}, {60, 245, 252}, {110, 430, 252}}, White, Blue}},
              {}),
         110, 0, 0.8, 9, 9},
        {"they walk side by side, their boxes in touch",
         Hall({{{{0, 30, 250}, {100, 420, 250}}, Red, Black},
               {{{0, 58, 254}, {100, 448, 254}}, Green, Black}},
              {}),
         100, 0.8, 0, 1, 9},
        {"behind a pillar",
         Hall({{{{0, 40, 250}, {100, 440, 250}}, Red, Black}}, {}, {{220, 80, 50, 220}}), 100, 0,
         0.85, 0, 1},
        {"a busy hall", BusyHall(), 560, 0.75, 0.75, 99, 99},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.name);
        Watched const run = Track(c.hall, c.frames);
        auto const scores = run.Score();
        EXPECT_GT(*scores.Mota(), c.mota);
        EXPECT_GT(*scores.Idf1(), c.idf1);
        EXPECT_LE(scores.switches, c.mostSwitches);
        std::set<long> ids;
        for (auto const& row : run.result) ids.insert(row.id);
        EXPECT_LE(ids.size(), c.mostIds);
    }
}

// One walks on while the whole picture changes; nobody else is born of that.
TEST(Tracker, MakesUpForLightAndForTheCamera) {
    struct Case {
        char const* name;
        std::function<void(cv::Mat&, int)> camera;
        EventType event;
        double recall;
    };
    constexpr int From = 50;
    Case const cases[] = {
        {"a light goes out",
         [](cv::Mat& picture, int frame) {
             if (frame >= From) picture.convertTo(picture, -1, 0.6, -10);
         },
         EventType::LightChanged, 0.9},
        {"a lamp lights one side",
         [](cv::Mat& picture, int frame) {
             for (int x = 0; frame >= From && x < 240; ++x) picture.col(x) *= 1.4 - x / 600.0;
         },
         EventType::LightChanged, 0.9},
        {"the camera is nudged",
         [](cv::Mat& picture, int frame) {
             if (frame < From) return;
             cv::warpAffine(picture, picture, cv::Matx23f(1, 0, 3, 0, 1, -2), picture.size(), 1,
                            cv::BORDER_REPLICATE);
         },
         EventType::CameraMoved, 0.9},
        {"all is another scene",
         [](cv::Mat& picture, int frame) {
             if (frame >= From) cv::bitwise_not(picture, picture);
         },
         EventType::SceneChanged, 0.5},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.name);
        Hall hall({{{{0, 40, 250}, {120, 440, 250}}, Red, Black}}, {});
        hall.camera = c.camera;
        Watched const run = Track(hall, 120);
        EXPECT_EQ(run.FramesOf(c.event).size(), 1U);
        EXPECT_GT(*run.Score().Recall(), c.recall);
        std::set<long> ids;
        for (auto const& row : run.result) ids.insert(row.id);
        EXPECT_EQ(ids.size(), 1U);
    }
}

// Who stands in the clip's beginning is no part of its background.
TEST(Tracker, SurveysTheEmptyScene) {
    Hall hall({{{{0, 240, 250}, {40, 240, 250}}, Red, Black}}, {});
    tracker::Tracker tracker(HallOptions());
    for (int frame = 0; frame < 100; ++frame) tracker.Survey(hall.Draw(frame));
    std::set<int> visible;  // frames
    for (int frame = 0; frame < 80; ++frame) {
        for (auto const& object : tracker.Process(hall.Draw(frame)).objects) {
            if (object.visibility == tracker::Visibility::Visible) visible.insert(frame);
        }
    }
    EXPECT_GE(visible.size(), 35U);
    EXPECT_LE(*visible.rbegin(), 45) << "a ghost";
}

// Who meets and turns back can be told by colour alone.
TEST(Tracker, TakesEveryColourFormat) {
    using media::ColourFormat;
    Hall const hall(
        {{{{0, 60, 250}, {50, 235, 250}, {60, 235, 250}, {110, 60, 250}}, Red, Black},
         {{{0, 430, 252}, {50, 245, 252}, {60, 245, 252}, {110, 430, 252}}, White, Blue}},
        {});
    for (ColourFormat const format :
         {ColourFormat::Yuv, ColourFormat::Rgb, ColourFormat::Bgr, ColourFormat::Grey}) {
        auto const scores = Track(hall, 110, HallOptions(), format).Score();
        EXPECT_GT(*scores.Recall(), 0.85) << format;
        EXPECT_EQ(*scores.Idf1() > 0.8, format != ColourFormat::Grey) << format;
    }
}

TEST(Tracker, TellsWhatJoinsTheBackgroundFromWhatIsGone) {
    tracker::Options options = HallOptions();
    options.holdOnTime = 6;
    Watched const run = Track(Hall({}, {{20, 999, {200, 250, 36, 26}}}), 250, options);
    EXPECT_EQ(run.FramesOf(EventType::Stopped).size(), 1U);
    EXPECT_EQ(run.FramesOf(EventType::Absorbed).size(), 1U);
    EXPECT_TRUE(run.FramesOf(EventType::MovedOn).empty());
}

TEST(Tracker, DoesNotLoseWhoStandsStill) {
    Watched const run = Track(
        Hall({{{{0, 40, 260}, {40, 240, 260}, {240, 240, 260}, {280, 440, 260}}, Red, Black}}, {}),
        280);
    auto const scores = run.Score();
    EXPECT_GT(*scores.Recall(), 0.95);
    EXPECT_EQ(scores.switches, 0);
    // At rest from about frame 40; five seconds later that counts.
    auto const stopped = run.FramesOf(EventType::Stopped);
    ASSERT_EQ(stopped.size(), 1U);
    EXPECT_NEAR(stopped[0], 90, 12);
    auto const movedOn = run.FramesOf(EventType::MovedOn);
    ASSERT_EQ(movedOn.size(), 1U);
    EXPECT_NEAR(movedOn[0], 244, 12);
}

TEST(Tracker, RaisesACaseThatStandsAndItsRemoval) {
    Watched const run = Track(Hall({}, {{20, 150, {200, 250, 36, 26}}}), 200);
    auto const stopped = run.FramesOf(EventType::Stopped);
    ASSERT_EQ(stopped.size(), 1U);
    EXPECT_NEAR(stopped[0], 20 + 50 + 10, 5);  // the stationary time, and a second to be sure
    auto const movedOn = run.FramesOf(EventType::MovedOn);
    ASSERT_EQ(movedOn.size(), 1U);
    EXPECT_NEAR(movedOn[0], 150, 8);
    EXPECT_TRUE(run.result.empty()) << "a thing is no mover";
    auto const& there = run.objects.at(120);
    ASSERT_EQ(there.size(), 1U);
    EXPECT_EQ(there[0].kind, Kind::StaticObject);
    EXPECT_GT(tracker::Overlap(there[0].box, {200, 250, 236, 276}), 0.6F);
}

TEST(Tracker, TakesScrapsThatAreNearForOneStaticObject) {
    for (auto const& [apart, objects] : {std::pair{10, 1U}, {60, 2U}}) {
        Watched const run = Track(
            Hall({}, {{20, 999, {150, 250, 24, 26}}, {20, 999, {174 + apart, 250, 24, 26}}}), 120);
        EXPECT_EQ(run.FramesOf(EventType::Stopped).size(), objects) << apart << " pixels apart";
    }
}

TEST(Tracker, FindsNobodyInAnEmptyHallNorWhereNoneIsToBeSeen) {
    tracker::Options blind = HallOptions();
    blind.exclude = {Hall::Width / 2, Hall::Height / 2,
                     std::vector<std::uint32_t>((Hall::Width / 2 + 31) / 32 * (Hall::Height / 2),
                                                ~std::uint32_t{0})};
    for (Watched const& run :
         {Track(Hall({}, {}), 100),
          Track(Hall({{{{0, 40, 240}, {50, 440, 250}}, Red, Black}}, {}), 50, blind)}) {
        EXPECT_TRUE(run.result.empty());
        EXPECT_TRUE(run.events.empty());
    }
}

TEST(Tracker, FollowsADetectorsBoxesOfUnlikeLabelsApart) {
    tracker::Tracker tracker(HallOptions());
    Hall hall({}, {});
    std::map<int, std::set<int>> idsOfLabel;
    for (int frame = 0; frame < 60; ++frame) {
        auto const x = static_cast<float>(5 * frame);
        // One walks through the other's place.
        std::vector<tracker::Detection> const detections{{{50 + x, 100, 90 + x, 200}, 0.9F, 0},
                                                         {{350 - x, 100, 390 - x, 200}, 0.9F, 1}};
        for (auto const& object : tracker.Process(hall.Draw(frame), detections).objects) {
            if (object.isConfirmed) idsOfLabel[static_cast<int>(object.label)].insert(object.id);
        }
    }
    EXPECT_EQ(idsOfLabel[0].size(), 1U);
    EXPECT_EQ(idsOfLabel[1].size(), 1U);
    EXPECT_NE(idsOfLabel[0], idsOfLabel[1]);
}

// Three walkers, one of them with a case: the scene that ./demo shows where there is no clip.
TEST(Tracker, FollowsTheMadeUpYard) {
    constexpr auto Frames = static_cast<int>(draw::Scene::FrameRate * draw::Scene::Length.count());
    tracker::Tracker tracker({});
    tracker::FixedLagSmoother smoother(15, 9);
    std::map<int, Kind> kinds;
    auto const watch = [&](bool isWarmUp) {
        draw::Scene scene;
        for (int frame = 0; frame < Frames; ++frame) {
            cv::Mat const picture = scene.Draw(std::chrono::nanoseconds(
                static_cast<std::int64_t>(1e9 * frame / draw::Scene::FrameRate)));
            auto const width = static_cast<unsigned int>(picture.cols);
            auto const height = static_cast<unsigned int>(picture.rows);
            media::video::frame::PlaneBase<void const> const plane{3UL * width * height,
                                                                   picture.data, 3L * width};
            auto result =
                tracker.Process({{plane}, media::ColourFormat::Bgr, width, height, {}, {}});
            if (isWarmUp) continue;
            if (auto const ready = smoother.Push(std::move(result))) {
                for (auto const& object : ready->objects) kinds.emplace(object.id, object.kind);
            }
        }
    };
    watch(true);
    tracker.ForgetObjects();
    watch(false);
    std::map<Kind, int> counts;
    for (auto const& [id, kind] : kinds) ++counts[kind];
    EXPECT_EQ(counts, (std::map<Kind, int>{{Kind::Mover, 3}, {Kind::StaticObject, 1}}));
}

TEST(Tracker, TakesFramesOfAnySizeAndBeginsAfreshWhenItChanges) {
    tracker::Tracker tracker(HallOptions());
    using Plane = media::video::frame::PlaneBase<void const>;
    std::vector<std::uint8_t> bytes(64 * 64 * 2, 90);
    for (auto const& [width, height] :
         {std::pair{1U, 1U}, {2U, 2U}, {3U, 5U}, {64U, 1U}, {1U, 64U}, {63U, 31U}, {16U, 16U}}) {
        for (int i = 0; i < 3; ++i) {
            bytes.assign(bytes.size(), static_cast<std::uint8_t>(90 + 60 * i));
            tracker::Frame const frame(
                {Plane{bytes.size() / 2, bytes.data(), 64},
                 Plane{bytes.size() / 2, bytes.data() + bytes.size() / 2, 64}},
                media::ColourFormat::Nv12, width, height, {}, {});
            EXPECT_NO_THROW(tracker.Process(frame)) << width << " x " << height;
            EXPECT_NO_THROW(tracker.Process(frame, {{{0, 0, 10, 10}, 1, 0}}));
        }
    }
}

TEST(Tracker, RefusesAtTheDoorWhatItDoesNotTake) {
    tracker::Tracker tracker(HallOptions());
    std::vector<std::uint8_t> bytes(64 * 64, 90);
    media::video::frame::PlaneBase<void const> const plane{bytes.size(), bytes.data(), 64};
    EXPECT_THROW(tracker.Process({{plane}, media::ColourFormat{9}, 64, 64, {}, {}}),
                 std::invalid_argument);
    EXPECT_THROW(tracker.Process({{plane}, media::ColourFormat::Nv12, 64, 64, {}, {}}),
                 std::invalid_argument);
    for (auto const spoil : {+[](tracker::Options& o) { o.framesPerSecond = 0; },
                             +[](tracker::Options& o) { o.gate = -1; },
                             +[](tracker::Options& o) { o.maximumAge = NAN; },
                             +[](tracker::Options& o) { o.threshold = 256; }}) {
        tracker::Options options;
        spoil(options);
        EXPECT_THROW(tracker::Tracker{options}, std::invalid_argument);
    }
}

// Boxes of any size, so that no size overflows, beside one that is followed.
TEST(Tracker, TakesDetectionsThatCannotBe) {
    tracker::Tracker tracker(HallOptions());
    Hall hall({}, {});
    tracker::Result result;
    for (int frame = 0; frame < 20; ++frame) {
        auto const x = static_cast<float>(5 * frame);
        result = tracker.Process(hall.Draw(frame), {{{50 + x, 100, 90 + x, 200}, 0.9F, 0},
                                                    {{0, 0, 200'000, 200'000}, 0.9F, 1},
                                                    {{-3e38F, -3e38F, 3e38F, 3e38F}, 0.9F, 2},
                                                    {{NAN, 0, 50, 50}, 0.9F, 3},
                                                    {{50, 50, 10, 10}, 0.9F, 4},
                                                    {{5000, 50, 5050, 150}, 0.9F, 5},
                                                    {{50, 10, 90, 110}, NAN, 6}});
    }
    std::map<unsigned int, int> framesOf;
    for (auto const& object : result.objects) ++framesOf[object.label];
    EXPECT_EQ(framesOf, (std::map<unsigned int, int>{{0, 1}, {1, 1}, {2, 1}}));
}

}  // namespace
}  // namespace kes::track::test
