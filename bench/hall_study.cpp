// kes_hall_study [SCENES]: how well people are followed through made-up halls of four kinds, SCENES
// of each. A guard against tuning to one clip, and the judge of what each step gains.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <random>
#include <vector>

#include <kes/tracker/tracker.hpp>

#include "eval/scores.hpp"
#include "support/hall.hpp"

namespace kes::track::test {
namespace {

struct Scene {
    std::vector<Walker> people;
    std::vector<cv::Rect> pillars;
    int frames = 0;
};

class Chance {
public:
    explicit Chance(unsigned int seed) : engine(seed) {}

    float Between(float a, float b) { return std::uniform_real_distribution<float>(a, b)(engine); }
    int Among(int a, int b) { return std::uniform_int_distribution<int>(a, b)(engine); }
    cv::Scalar Colour() {
        static cv::Scalar const colours[] = {{50, 40, 190},  {170, 70, 30},   {60, 130, 40},
                                             {30, 28, 26},   {235, 235, 235}, {20, 160, 200},
                                             {140, 60, 140}, {90, 90, 90}};
        return colours[Among(0, static_cast<int>(std::size(colours)) - 1)];
    }

private:
    std::mt19937 engine;
};

constexpr float Left = -20;
constexpr float Right = 500;

// Two come from both sides, stand together for a while, and pass or turn back.
Scene Meetings(Chance chance) {
    Scene scene;
    for (int pair = 0; pair < 6; ++pair) {
        int const start = 60 * pair;
        float const foot = chance.Between(200, 320);
        float const middle = chance.Between(180, 300);
        int const wait = chance.Among(0, 25);
        float const apart = chance.Between(4, 14);
        bool const turnBack = chance.Among(0, 1) == 1;
        auto const coatA = chance.Colour(), coatB = chance.Colour();
        auto const legsA = chance.Colour(), legsB = chance.Colour();
        int const met = start + chance.Among(45, 60);
        int const end = met + wait + 55;
        scene.people.push_back({{{start, Left, foot},
                                 {met, middle - apart, foot},
                                 {met + wait, middle - apart, foot},
                                 {end, turnBack ? Left : Right, foot + chance.Between(-15, 15)}},
                                coatA,
                                legsA});
        scene.people.push_back({{{start, Right, foot + chance.Between(-6, 6)},
                                 {met, middle + apart, foot + chance.Between(-4, 4)},
                                 {met + wait, middle + apart, foot},
                                 {end, turnBack ? Right : Left, foot + chance.Between(-15, 15)}},
                                coatB,
                                legsB});
        scene.frames = std::max(scene.frames, end + 1);
    }
    return scene;
}

// People who wander about, stop here and there, and leave.
Scene Crowd(Chance chance, int count, std::vector<cv::Rect> pillars) {
    Scene scene{{}, std::move(pillars), 0};
    for (int i = 0; i < count; ++i) {
        Walker walker{{}, chance.Colour(), chance.Colour()};
        int frame = chance.Among(0, 350);
        float x = chance.Among(0, 1) == 1 ? Left : Right;
        float foot = chance.Between(160, 330);
        walker.steps.push_back({frame, x, foot});
        for (int leg = chance.Among(1, 3); leg > 0; --leg) {
            float const toX = chance.Between(60, 420);
            float const toFoot = chance.Between(160, 330);
            float const way = std::hypot(toX - x, toFoot - foot);
            frame += std::max(8, static_cast<int>(way / chance.Between(3, 6)));
            x = toX;
            foot = toFoot;
            walker.steps.push_back({frame, x, foot});
            if (chance.Among(0, 2) == 0) {
                frame += chance.Among(5, 40);
                walker.steps.push_back({frame, x, foot});
            }
        }
        float const exit = chance.Among(0, 1) == 1 ? Left : Right;
        frame += std::max(8, static_cast<int>(std::abs(exit - x) / chance.Between(3, 6)));
        walker.steps.push_back({frame, exit, foot});
        scene.people.push_back(walker);
        scene.frames = std::max(scene.frames, frame + 1);
    }
    return scene;
}

// Four single people, by whom the scale can be learnt, then two at a time side by side.
Scene Couples(Chance chance) {
    Scene scene;
    int first = 0;
    for (float const foot : {200.0F, 320.0F, 250.0F, 160.0F}) {
        scene.people.push_back(
            {{{first, Left, foot}, {first + 50, Right, foot}}, chance.Colour(), chance.Colour()});
        first += 50;
    }
    for (int pair = 0; pair < 6; ++pair) {
        int const start = first + 70 * pair;
        float const foot = chance.Between(180, 320);
        bool const isRightward = chance.Among(0, 1) == 1;
        float const from = isRightward ? Left : Right;
        float const to = isRightward ? Right : Left;
        float const behind = chance.Between(12, 30);
        int const took = chance.Among(80, 110);
        float const aside = chance.Between(-8, 8);
        float const parting = chance.Between(-30, 30);
        scene.people.push_back(
            {{{start, from, foot}, {start + took / 2, 240, foot}, {start + took, to, foot}},
             chance.Colour(),
             chance.Colour()});
        scene.people.push_back(
            {{{start + 3, from - behind, foot + aside},
              {start + took / 2, 240 - behind * chance.Between(0.3F, 1), foot + aside},
              {start + took + 3, to - behind, std::clamp(foot + aside + parting, 150.0F, 340.0F)}},
             chance.Colour(),
             chance.Colour()});
        scene.frames = std::max(scene.frames, start + took + 4);
    }
    return scene;
}

// Learns the hall from all of the scene, as `kes-track run` does, and tracks it.
eval::Scores ScoresOf(Scene const& scene) {
    tracker::Options options;
    options.framesPerSecond = Hall::FramesPerSecond;
    tracker::Tracker tracker(options);
    Hall before(scene.people, {}, scene.pillars);
    for (int frame = 0; frame < scene.frames; ++frame) tracker.Process(before.Draw(frame));
    tracker.ForgetObjects();

    Hall hall(scene.people, {}, scene.pillars);
    tracker::FixedLagSmoother smoother(10, 6);
    std::vector<mot::Row> truth;
    std::vector<mot::Row> found;
    int done = 0;
    auto const take = [&](tracker::Result const& result) {
        for (auto const& object : result.objects) {
            if (object.kind != tracker::Kind::Mover) continue;
            found.push_back({done + 1, object.id, object.box, 1, {}});
        }
        for (auto const& row : hall.Truth(done)) truth.push_back(row);
        ++done;
    };
    for (int frame = 0; frame < scene.frames; ++frame) {
        if (auto const result = smoother.Push(tracker.Process(hall.Draw(frame)))) take(*result);
    }
    while (auto const result = smoother.Pop()) take(*result);
    return eval::Compare(truth, found, {1, scene.frames});
}

}  // namespace
}  // namespace kes::track::test

int main(int count, char** arguments) {
    using namespace kes::track;
    using namespace kes::track::test;
    int const scenes = count > 1 ? std::max(1, std::atoi(arguments[1])) : 4;
    char const* const kinds[] = {"meetings", "crowd", "pillars", "couples"};
    // So that no two kinds share their chances.
    unsigned int const salts[] = {950, 292, 645, 330};
    double allMota = 0, allIdf1 = 0;
    long allSwitches = 0;
    auto const print = [](char const* name, double mota, double idf1, long switches) {
        std::printf("%-10s MOTA %.1f   IDF1 %.1f   switches %ld\n", name, 100 * mota, 100 * idf1,
                    switches);
    };
    for (int kind = 0; kind < 4; ++kind) {
        double mota = 0, idf1 = 0;
        long switches = 0;
        for (int i = 1; i <= scenes; ++i) {
            Chance const chance(static_cast<unsigned int>(i) * 7919 + salts[kind]);
            Scene const scene = kind == 0   ? Meetings(chance)
                                : kind == 1 ? Crowd(chance, 16, {})
                                : kind == 2
                                    ? Crowd(chance, 12, {{120, 60, 45, 260}, {300, 60, 60, 270}})
                                    : Couples(chance);
            auto const scores = ScoresOf(scene);
            mota += scores.Mota().value_or(0) / scenes;
            idf1 += scores.Idf1().value_or(0) / scenes;
            switches += scores.switches;
        }
        print(kinds[kind], mota, idf1, switches);
        allMota += mota / 4;
        allIdf1 += idf1 / 4;
        allSwitches += switches;
    }
    print("together", allMota, allIdf1, allSwitches);
}
