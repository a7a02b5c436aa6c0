// What a moment's delay makes of results.

#include <kes/tracker/tracker.hpp>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace kes::tracker {
namespace {

Object ObjectAt(float left, Visibility visibility, bool isConfirmed) {
    return {1, {left, 0, left + 10, 20}, Kind::Mover, visibility, isConfirmed, false, 1, 0};
}

// One object over some frames, drawn: t seen but not confirmed yet, s seen, h hidden, l lost, .
// absent. It moves by one pixel a frame where it is seen, and is put far off where it is not.
std::vector<Result> Smooth(std::string const& drawing, std::size_t delay, std::size_t smoothing) {
    FixedLagSmoother smoother(delay, smoothing);
    std::vector<Result> results;
    for (std::size_t frame = 0; frame < drawing.size(); ++frame) {
        Result result;
        char const c = drawing[frame];
        auto const left = static_cast<float>(frame);
        if (c == 't') result.objects = {ObjectAt(left, Visibility::Visible, false)};
        if (c == 's') result.objects = {ObjectAt(left, Visibility::Visible, true)};
        if (c == 'h') result.objects = {ObjectAt(900, Visibility::Occluded, true)};
        if (c == 'l') result.objects = {ObjectAt(900, Visibility::Lost, true)};
        if (auto const ready = smoother.Push(result)) results.push_back(*ready);
    }
    while (auto const ready = smoother.Pop()) results.push_back(*ready);
    return results;
}

// s and h as above, and where a box is not where it should be, x.
std::string Drawn(std::vector<Result> const& results) {
    std::string drawing;
    for (std::size_t frame = 0; frame < results.size(); ++frame) {
        if (results[frame].objects.empty()) {
            drawing += '.';
            continue;
        }
        Object const& object = results[frame].objects[0];
        bool const isInPlace = std::abs(object.box.left - static_cast<float>(frame)) < 0.01F;
        drawing += !isInPlace ? 'x' : object.visibility == Visibility::Visible ? 's' : 'h';
    }
    return drawing;
}

TEST(FixedLagSmoother, MakesOfEachCourseWhatItShould) {
    struct Case {
        char const* name;
        char const* in;
        std::size_t delay;
        char const* out;
    };
    Case const cases[] = {
        {"without delay what does not count yet is left out", "ttss..", 0, "..ss.."},
        {"what comes to count is there from its first frame", ".ttss.", 4, ".ssss."},
        {"as far back as the delay reaches", "ttttss", 2, "..ssss"},
        {"what never counts is gone", ".ttt..", 3, "......"},
        {"a gap is filled in", "sslss", 3, "sshss"},
        {"one that is longer than the delay is not", "sslllss", 2, "ss.hhss"},
        {"hidden is believed only when nothing better is known", "sshss", 3, "sshss"},
        {"and where there is nothing, it stays where it is put", "sshh", 3, "ssxx"},
        {"what is lost at the end is gone", "sslll", 4, "ss..."},
        {"a delay longer than the stream", "tss", 50, "sss"},
    };
    for (Case const& one : cases) {
        for (std::size_t const smoothing : {0U, 2U}) {
            EXPECT_EQ(Drawn(Smooth(one.in, one.delay, smoothing)), one.out)
                << one.name << ", smoothing " << smoothing;
        }
    }
}

TEST(FixedLagSmoother, EvensOutWhatJitters) {
    FixedLagSmoother smoother(5, 4);
    float worst = 0;
    int done = 0;
    for (int frame = 0; frame < 40; ++frame) {
        float const jitter = frame % 2 == 0 ? 2.0F : -2.0F;
        Result result;
        result.objects = {ObjectAt(static_cast<float>(frame) + jitter, Visibility::Visible, true)};
        if (auto const ready = smoother.Push(result)) {
            float const left = ready->objects[0].box.left;
            if (done > 4) worst = std::max(worst, std::abs(left - static_cast<float>(done)));
            ++done;
        }
    }
    EXPECT_LT(worst, 0.5F);
}

}  // namespace
}  // namespace kes::tracker
