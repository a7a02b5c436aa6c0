// What the library promises when memory runs out or a caller's function throws: the documented
// error, nothing leaked, nothing half done, and an object that goes on working.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <limits>
#include <ostream>
#include <sstream>
#include <stdexcept>
#include <streambuf>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <kes/algorithm/tracking_base/emog_segmenter.hpp>
#include <kes/algorithm/tracking_base/label_collapser.hpp>
#include <kes/algorithm/tracking_base/smog.hpp>
#include <kes/algorithm/tracking_base/solve.hpp>
#include <kes/media/video/frame.hpp>

#include "support/colour_picture.hpp"
#include "support/failing_memory.hpp"
#include "support/generated.hpp"
#include "support/segmenter_pair.hpp"

namespace {

using kes::algorithm::tracking_base::EmogSegmenter;
using kes::algorithm::tracking_base::LabelCollapser;
using kes::algorithm::tracking_base::appearance::BlobScore;
using kes::algorithm::tracking_base::appearance::Smog;
using kes::algorithm::tracking_base::hungarian::Costs;
using kes::algorithm::tracking_base::hungarian::Marks;
using kes::algorithm::tracking_base::hungarian::Solve;
using kes::media::ColourFormat;
using kes::media::video::frame::Rotation;
using kes::test::EachAllocation;
using kes::test::Fault;
using kes::test::GeneratedVideo;
using kes::test::Mask;
using kes::test::SegmenterPair;

using Frame = kes::media::video::FrameBase<void const>;

constexpr int Any = std::numeric_limits<int>::max();

// --- what is tried

// Calls of a counted frame's functions, which are too large to be kept without allocating.
struct Calls {
    int ref = 0;
    int unref = 0;

    std::function<void()> Ref() { return Large(ref); }
    std::function<void()> Unref() { return Large(unref); }

private:
    static std::function<void()> Large(int& calls) {
        return [&calls, ballast = std::array<char, 64>{}] { calls += 1 + ballast[0]; };
    }
};

Frame CountedFrame(Calls& calls) {
    static unsigned char const pixels[64]{};
    Frame::Planes planes{};
    planes[0] = {64, pixels, 8};
    return Frame(planes, ColourFormat::Grey, 8, 8, {}, Rotation::None, calls.Ref(), calls.Unref());
}

// A stream that keeps nothing and whose failures leave as exceptions.
class NullStream : private std::streambuf, public std::ostream {
public:
    NullStream() : std::ostream(this) { exceptions(badbit); }

private:
    int overflow(int character) override { return character; }
    std::streamsize xsputn(char const*, std::streamsize count) override { return count; }
};

// A model that has learnt a blob of a striped picture, and what it would be asked.
struct Appearance {
    explicit Appearance(ColourFormat format) : picture(format, 120, 80) {
        for (std::size_t i = 0; i < picture.plane0.size(); ++i) {
            picture.plane0[i] = static_cast<unsigned char>(i / 7 * 31);
        }
        smog.Update(blob, mask, picture.View());
    }

    BlobScore Search() const {
        return smog.PartitionAndScoreBlob(blob, 7, mask, picture.View(), {30, 20}, {20, 15});
    }

    std::string Text() const {
        std::ostringstream out;
        out << smog;
        return out.str();
    }

    kes::test::ColourPicture picture;
    kes::algorithm::BitMask mask = Mask(60, 40, ~0U);
    kes::geometry::Rectangle<int> blob{5, 5, 55, 38};
    Smog smog;
};

Costs Square(Eigen::Index side) {
    Costs costs(side, side + 1);
    for (Eigen::Index i = 0; i < costs.size(); ++i) {
        costs.data()[i] = static_cast<float>((i * i + 3 * i) % 101) + 1;
    }
    return costs;
}

// --- one rule for all

// Each operation leaves nothing behind when memory fails it, wherever it does, and gives the same
// answer when it is asked again. Those that need no memory never fail; the others' least is what
// they are made of.
TEST(Faults, LeaveNothingBehind) {
    GeneratedVideo const wide(1, 70, 50, 0);
    GeneratedVideo const tall(1, 50, 70, 0);
    EmogSegmenter segmenter;
    std::vector<std::uint32_t> words(300);
    Calls calls;
    Frame const allocated(ColourFormat::Nv12, 8, 8, {}, Rotation::None);
    Appearance const rgb(ColourFormat::Rgb);
    Appearance const nv12(ColourFormat::Nv12);
    Costs const costs[] = {Square(1), Square(40), Square(130)};
    auto const allocate = [](ColourFormat format) {
        return [format] { return bool(Frame(format, 33, 17, {}, Rotation::None)); };
    };
    auto const search = [](Appearance const& appearance) {
        return [&appearance] { return appearance.Search().score; };
    };
    // Each mark has a weight of its own.
    auto const solve = [](Costs const& matrix) {
        return [&matrix] { return (Solve(matrix).cast<float>() * matrix).sum(); };
    };

    struct Operation {
        char const* what;
        int least;
        int most;
        std::function<float()> run;
    };
    Operation const operations[] = {
        {"every kind of allocation", 3, 3,
         [] {
             std::vector<int> const fromNew(1);
             Eigen::ArrayXf const fromMalloc(100);
             return bool(Frame(ColourFormat::Grey, 8, 8, {}, Rotation::None));  // posix_memalign
         }},
        {"a packed frame", 1, 1, allocate(ColourFormat::Rgb)},
        {"a frame of two planes", 1, 1, allocate(ColourFormat::Nv12)},
        {"a counted frame", 2, Any, [&] { return bool(CountedFrame(calls)); }},
        {"copies of an allocated frame", 0, 0,
         [&] {
             Frame copy(allocated);
             Frame other(std::move(copy));
             swap(copy, other);
             return bool(other = copy);
         }},
        {"a frame's text", 0, 0, [&] { return bool(NullStream() << allocated); }},
        {"a segmenter", 1, 1, [] { return EmogSegmenter().GetStdDevThreshold(); }},
        {"frames of one number of cells", 0, 0,
         [&] {
             for (GeneratedVideo const* video : {&wide, &tall, &wide}) {
                 segmenter.Process(video->picture.View(), words.data(), words.data(), words.data(),
                                   words.data() + 100, words.data() + 200);
             }
             return 0.0F;
         }},
        {"learning, scoring, bands and text", 0, 0,
         [&] {
             Smog copy = nv12.smog;
             copy.Update(nv12.blob, nv12.mask, nv12.picture.View());
             copy.ComputeGaussianSectionRectangles({40, 100});
             NullStream() << copy;
             return copy.ScoreBlob(nv12.blob, nv12.mask, nv12.picture.View());
         }},
        {"a search among Rgb", 1, Any, search(rgb)},
        {"among Nv12", 1, Any, search(nv12)},
        {"an assignment of 1 row", 2, Any, solve(costs[0])},
        {"of 40 rows", 2, Any, solve(costs[1])},
        {"of 130 rows", 2, Any, solve(costs[2])},
        {"a collapser: the list, two names, four map nodes", 7, Any,
         [] {
             LabelCollapser const collapser({"a name too long to be kept in place", "car", "truck",
                                             "another name too long to be kept in place"},
                                            [](boost::string_view) { return "truck"; });
             return static_cast<float>(collapser.Process(3));
         }},
    };
    for (Operation const& operation : operations) {
        SCOPED_TRACE(operation.what);
        // The first time sizes are learnt, and instruction sets chosen.
        float const answer = operation.run();
        int const allocations = EachAllocation([&](Fault& fault) {
            fault.Strikes([&] { operation.run(); });
            EXPECT_EQ(operation.run(), answer);
        });
        EXPECT_GE(allocations, operation.least);
        EXPECT_LE(allocations, operation.most);
        EXPECT_EQ(calls.ref, calls.unref);
        std::printf("%4d allocations failed: %s\n", allocations, operation.what);
    }
}

// A refusal is an exception with a text of its own, which wants memory too; nothing has changed.
TEST(Faults, RefuseWithEverythingAsItWas) {
    Calls calls;
    EmogSegmenter segmenter;
    Appearance appearance(ColourFormat::Rgb);
    std::string const model = appearance.Text();
    appearance.mask.width = 59;
    Costs costs = Square(3);
    costs(1, 1) = std::numeric_limits<float>::quiet_NaN();
    struct Refusal {
        char const* what;
        std::function<void()> run;
    };
    for (Refusal const& refusal : std::initializer_list<Refusal>{
             {"one function of two",
              [&] { Frame({}, ColourFormat::Grey, 1, 1, {}, Rotation::None, calls.Ref()); }},
             {"an unknown format",
              [] { Frame(static_cast<ColourFormat>(7), 1, 1, {}, Rotation::None); }},
             {"a threshold", [&] { segmenter.SetStdDevThreshold(256); }},
             {"a mask",
              [&] {
                  appearance.smog.Update(appearance.blob, appearance.mask,
                                         appearance.picture.View());
              }},
             {"costs that are no numbers", [&] { Solve(costs); }},
             {"too many labels", [] { LabelCollapser(std::vector<std::string>(129), {}); }}}) {
        SCOPED_TRACE(refusal.what);
        int const allocations =
            EachAllocation([&](Fault& fault) { fault.Strikes(refusal.run, true); });
        EXPECT_GE(allocations, 1);
        std::printf("%4d allocations failed: %s refused\n", allocations, refusal.what);
    }
    EXPECT_EQ(calls.ref, 0);
    EXPECT_EQ(segmenter.GetStdDevThreshold(), 4.0F);
    EXPECT_EQ(appearance.Text(), model);
}

// --- what is left where something was there before

TEST(Faults, CopyNoFrameAndLeaveTheTargetAsItWas) {
    int const allocations = EachAllocation([](Fault& fault) {
        Calls calls;
        {
            Frame const source = CountedFrame(calls);
            Frame target(ColourFormat::Grey, 4, 4, {}, Rotation::Clockwise90);
            Frame const before = target;
            int const copied = fault.Strikes([&] { target = source; }) ? 0 : 1;
            EXPECT_EQ(target, copied ? source : before);
            EXPECT_EQ(calls.ref, 1 + copied);
            EXPECT_EQ(calls.unref, 0);
        }
        EXPECT_EQ(calls.ref, calls.unref);
    });
    EXPECT_EQ(allocations, 2) << "one for each function";
}

TEST(Faults, LeaveTheSegmenterAsAfterResetAndTheMasksUntouched) {
    GeneratedVideo const small(1, 20, 10, 0);
    GeneratedVideo const large(1, 70, 50, 0);
    Mask const none(35, 25);
    int const allocations = EachAllocation([&](Fault& fault) {
        SegmenterPair pair;
        pair.Set({70, 0, 3.0F, 1.0F});
        EXPECT_EQ(pair.Differ(small.picture), "");
        Mask foreground(35, 25, 0xDEADBEEF);
        Mask const untouched = foreground;
        Mask stationary = foreground;
        bool const struck = fault.Strikes([&] {
            pair.ours.Process(large.picture.View(), none.words.data(), none.words.data(),
                              none.words.data(), foreground.words.data(), stationary.words.data());
        });
        EXPECT_EQ(foreground == untouched && stationary == untouched, struck);
        if (struck) {
            pair.theirs.Reset();
        } else {
            pair.theirs.Process(large.picture, {none, none, none});
        }
        EXPECT_EQ(pair.Differ(struck ? large.picture : small.picture), "");
        EXPECT_EQ(pair.Differ(small.picture), "");
    });
    EXPECT_EQ(allocations, 1);
}

// --- what callers' functions throw

TEST(UserFunctions, ThatThrowWhileAFrameIsCopiedLeaveTheTargetAsItWas) {
    Calls calls;
    bool refuses = false;
    Frame const source(
        {}, ColourFormat::Grey, 8, 8, {}, Rotation::None,
        [&] {
            if (refuses) throw std::runtime_error("no more");
            ++calls.ref;
        },
        [&] { ++calls.unref; });
    refuses = true;
    Frame target = CountedFrame(calls);
    Calls const before = calls;
    try {
        target = source;
        FAIL() << "copied";
    } catch (std::runtime_error const& error) {
        EXPECT_STREQ(error.what(), "no more");
    }
    EXPECT_TRUE(target) << "still the frame that it was";
    EXPECT_EQ(calls.ref, before.ref);
    EXPECT_EQ(calls.unref, before.unref);
}

TEST(UserFunctionsDeathTest, ThatThrowWhileAFrameIsReleasedEndTheProgram) {
    EXPECT_DEATH(Frame(
                     {}, ColourFormat::Grey, 8, 8, {}, Rotation::None, [] {},
                     [] { throw std::runtime_error("not to be released"); }),
                 "not to be released");
}

TEST(Memory, OfAnAssignmentIsAFewCopiesOfTheMatrixHoweverThin) {
    for (auto const& [rows, columns] : {std::array<Eigen::Index, 2>{200000, 1},
                                        {1, 200000},
                                        {3, 90000},
                                        {90000, 3},
                                        {12, 30000},
                                        {30000, 12},
                                        {17, 20000},
                                        {20000, 17},
                                        {500, 500}}) {
        Costs costs(rows, columns);
        for (Eigen::Index i = 0; i < costs.size(); ++i) {
            costs.reshaped()(i) = static_cast<float>(i * 7919 % 10007);
        }
        kes::test::FailingMemory const memory({-1, false});
        EXPECT_EQ((Solve(costs) == 1).count(), std::min(rows, columns));
        EXPECT_LT(kes::test::FailingMemory::Bytes(),
                  8 * sizeof(float) * static_cast<std::size_t>(costs.size()))
            << rows << " x " << columns;
    }
}

}  // namespace
