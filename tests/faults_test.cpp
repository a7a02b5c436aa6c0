// What the library promises when memory runs out or a caller's function throws: the documented
// error, nothing leaked, nothing half done, and an object that goes on working.
#include <algorithm>
#include <array>
#include <cstdint>
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

#include <kes/algorithm/tracking_base/detection_point.hpp>
#include <kes/algorithm/tracking_base/emog_segmenter.hpp>
#include <kes/algorithm/tracking_base/label_collapser.hpp>
#include <kes/algorithm/tracking_base/smog.hpp>
#include <kes/algorithm/tracking_base/solve.hpp>
#include <kes/media/video/frame.hpp>

#include "algorithm/tracking_base/emog_segmenter_impl.hpp"
#include "support/colour_picture.hpp"
#include "support/failing_memory.hpp"

namespace {

using kes::algorithm::tracking_base::DetectionPoint;
using kes::algorithm::tracking_base::EmogSegmenter;
using kes::algorithm::tracking_base::LabelCollapser;
using kes::algorithm::tracking_base::appearance::BlobScore;
using kes::algorithm::tracking_base::appearance::Smog;
using kes::algorithm::tracking_base::hungarian::Costs;
using kes::algorithm::tracking_base::hungarian::Marks;
using kes::algorithm::tracking_base::hungarian::Solve;
using kes::media::ColourFormat;
using kes::media::video::Allocate;
using kes::media::video::frame::Rotation;
using kes::test::EachAllocation;
using kes::test::Fault;
using kes::type::Strings;

using Frame = kes::media::video::FrameBase<void const>;

TEST(Faults, AreSeenInEveryKindOfAllocation) {
    int const allocations = EachAllocation([](Fault& fault) {
        fault.Strikes([] {
            std::vector<int> const fromNew(1);
            Eigen::ArrayXf const fromMalloc(100);
            Frame const fromMemalign(ColourFormat::Grey, 8, 8, {}, Rotation::None);
        });
    });
    EXPECT_EQ(allocations, 3);
}

// --- frames

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

TEST(Faults, MakeNoFrameAndCallNeitherFunction) {
    int const allocations = EachAllocation([](Fault& fault) {
        Calls calls;
        int const made = fault.Strikes([&calls] { CountedFrame(calls); }) ? 0 : 1;
        EXPECT_EQ(calls.ref, made);
        EXPECT_EQ(calls.unref, made);
    });
    EXPECT_GE(allocations, 2);
}

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

TEST(Faults, LeaveNoBlockOfAnAllocatedFrame) {
    for (ColourFormat const format : {ColourFormat::Grey, ColourFormat::Rgb, ColourFormat::Nv12}) {
        int const allocations = EachAllocation([format](Fault& fault) {
            fault.Strikes([format] { Allocate<void>(format, {33, 17}, {}, Rotation::None); });
        });
        EXPECT_EQ(allocations, 1) << "one block holds everything";
    }
}

TEST(Faults, NeverMeetTheCopyOfAnAllocatedFrame) {
    Frame const frame(ColourFormat::Nv12, 8, 8, {}, Rotation::None);
    EXPECT_EQ(EachAllocation([&frame](Fault& fault) {
                  fault.Strikes([&frame] {
                      Frame copy(frame);
                      Frame other(std::move(copy));
                      swap(copy, other);
                      other = copy;
                  });
              }),
              0);
}

// A refusal is an exception with a text of its own, which wants memory too.
TEST(Faults, RefuseAHalfCountedFrameWithoutCallingIt) {
    int const allocations = EachAllocation([](Fault& fault) {
        Calls calls;
        fault.StrikesRefusal<std::invalid_argument>(
            [&calls] { Frame({}, ColourFormat::Grey, 1, 1, {}, Rotation::None, calls.Ref()); });
        EXPECT_EQ(calls.ref, 0);
    });
    EXPECT_GE(allocations, 1);
}

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

// --- text

// A stream that keeps nothing and whose failures leave as exceptions.
class NullStream : private std::streambuf, public std::ostream {
public:
    NullStream() : std::ostream(this) { exceptions(badbit); }

private:
    int overflow(int character) override { return character; }
    std::streamsize xsputn(char const*, std::streamsize count) override { return count; }
};

template <typename T>
void ExpectTableSurvivesItsFirstCall(std::size_t names) {
    int const allocations = EachAllocation([names](Fault& fault) {
        fault.Strikes([names] { EXPECT_EQ(Strings<T>::GetMap().size(), names); });
    });
    EXPECT_GE(allocations, static_cast<int>(names)) << "this was not the first call";
    EXPECT_EQ(Strings<T>::GetMap().size(), names);
}

// Tables are built once a process, so no other test of this executable may call for one before.
TEST(Faults, LeaveTheNameTablesToBeBuiltByTheNextCall) {
    ExpectTableSurvivesItsFirstCall<DetectionPoint>(3);
    ExpectTableSurvivesItsFirstCall<Rotation>(4);

    Frame const frame(ColourFormat::Nv12, 8, 8, {}, Rotation::None);
    EXPECT_EQ(EachAllocation(
                  [&frame](Fault& fault) { fault.Strikes([&frame] { NullStream() << frame; }); }),
              0)
        << "a frame's text needs no memory but the stream's";
}

// --- segmenter

// A textured frame, masks of mixed bits, and outputs that show who wrote them.
struct Scene {
    static constexpr std::uint32_t Untouched = 0xDEADBEEF;

    explicit Scene(unsigned int width, unsigned int height)
        : pixels(std::size_t{width} * height),
          zeros(std::size_t{(width / 2 + 31) / 32} * (height / 2)),
          foreground(zeros.size(), Untouched),
          stationary(zeros.size(), Untouched) {
        for (std::size_t i = 0; i < pixels.size(); ++i) {
            pixels[i] = static_cast<unsigned char>(i * i >> 3);
        }
        Frame::Planes planes{};
        planes[0] = {pixels.size(), pixels.data(), static_cast<long>(width)};
        frame = Frame(planes, ColourFormat::Grey, width, height, {}, Rotation::None);
    }

    void Process(auto& segmenter) {
        segmenter.Process(frame, zeros.data(), zeros.data(), zeros.data(), foreground.data(),
                          stationary.data());
    }

    bool IsUntouched() const {
        auto const untouched = [](std::uint32_t word) { return word == Untouched; };
        return std::all_of(foreground.begin(), foreground.end(), untouched) &&
               std::all_of(stationary.begin(), stationary.end(), untouched);
    }

    std::vector<unsigned char> pixels;
    std::vector<std::uint32_t> zeros;
    std::vector<std::uint32_t> foreground;
    std::vector<std::uint32_t> stationary;
    Frame frame;
};

TEST(Faults, MakeNoSegmenter) {
    EXPECT_EQ(
        EachAllocation([](Fault& fault) { fault.Strikes([] { EmogSegmenter const segmenter; }); }),
        1);
}

TEST(Faults, LeaveTheSegmenterAsAfterResetAndTheMasksUntouched) {
    int const allocations = EachAllocation([](Fault& fault) {
        Scene small(20, 10);
        Scene large(70, 50);
        EmogSegmenter::Impl segmenter;
        segmenter.SetStdDevThreshold(3.0F);
        segmenter.SetHoldOnTime(std::chrono::milliseconds(70));
        small.Process(segmenter);
        small.Process(segmenter);

        bool const struck = fault.Strikes([&] { large.Process(segmenter); });
        EXPECT_EQ(large.IsUntouched(), struck);
        EXPECT_EQ(segmenter.frameCount, struck ? 0U : 1U);
        EXPECT_EQ(segmenter.blobState.size(), struck ? 0 : 35 * 25);
        EXPECT_EQ(segmenter.GetStdDevThreshold(), 3.0F);
        EXPECT_EQ(segmenter.GetHoldOnTime(), std::chrono::milliseconds(70));

        // What comes next starts afresh, of either size.
        EmogSegmenter::Impl fresh;
        fresh.SetStdDevThreshold(3.0F);
        fresh.SetHoldOnTime(std::chrono::milliseconds(70));
        small.Process(fresh);
        small.Process(segmenter);
        auto const bytesOf = [](EmogSegmenter::Impl const& impl) {
            auto const* const bytes = reinterpret_cast<char const*>(impl.blobState.data());
            auto const cells = static_cast<std::size_t>(impl.blobState.size());
            return std::string(bytes, cells * sizeof impl.blobState(0));
        };
        EXPECT_EQ(bytesOf(segmenter), bytesOf(fresh));
        EXPECT_EQ(segmenter.frameCount, fresh.frameCount);
    });
    EXPECT_EQ(allocations, 1);
}

TEST(Faults, NeverMeetTheSegmenterWhileTheNumberOfCellsStays) {
    Scene wide(70, 50);
    Scene tall(50, 70);
    EmogSegmenter segmenter;
    wide.Process(segmenter);
    EXPECT_EQ(EachAllocation([&](Fault& fault) {
                  fault.Strikes([&] {
                      wide.Process(segmenter);
                      tall.Process(segmenter);
                      wide.Process(segmenter);
                  });
              }),
              0);
}

TEST(Faults, KeepTheThresholdThatARefusalCannotChange) {
    EachAllocation([](Fault& fault) {
        EmogSegmenter segmenter;
        fault.StrikesRefusal<std::invalid_argument>([&] { segmenter.SetStdDevThreshold(256); });
        EXPECT_EQ(segmenter.GetStdDevThreshold(), 4.0F);
    });
}

// Memory that the machine does not have, rather than memory withheld.
TEST(Faults, SurviveAFrameThatNoMemoryFits) {
    constexpr unsigned int Huge = std::numeric_limits<unsigned int>::max();
    Scene scene(20, 10);
    Frame const huge(scene.frame.GetPlanes(), ColourFormat::Grey, Huge, Huge, {}, Rotation::None);
    EmogSegmenter segmenter;
    scene.Process(segmenter);
    std::fill(scene.foreground.begin(), scene.foreground.end(), Scene::Untouched);
    std::fill(scene.stationary.begin(), scene.stationary.end(), Scene::Untouched);
    EXPECT_THROW(segmenter.Process(huge, scene.zeros.data(), scene.zeros.data(), scene.zeros.data(),
                                   scene.foreground.data(), scene.stationary.data()),
                 std::bad_alloc);
    EXPECT_TRUE(scene.IsUntouched());
    segmenter.Reset();
    scene.Process(segmenter);
    EXPECT_EQ(scene.foreground, scene.zeros) << "a first frame is all background";
}

// --- appearance

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
    kes::algorithm::BitMask mask{60, 40, std::vector<std::uint32_t>(80, 0xFFFFFFFF)};
    kes::geometry::Rectangle<int> blob{5, 5, 55, 38};
    Smog smog;
};

class AppearanceFaults : public testing::TestWithParam<ColourFormat> {};
INSTANTIATE_TEST_SUITE_P(, AppearanceFaults,
                         testing::Values(ColourFormat::Rgb, ColourFormat::Yuv, ColourFormat::Nv12));

TEST_P(AppearanceFaults, LeaveASearchWithoutATrace) {
    Appearance const appearance(GetParam());
    std::string const before = appearance.Text();
    BlobScore const expected = appearance.Search();
    int const allocations = EachAllocation([&](Fault& fault) {
        BlobScore found{};
        bool const struck = fault.Strikes([&] { found = appearance.Search(); });
        EXPECT_EQ(found.score, struck ? 0.0F : expected.score);
        EXPECT_EQ(appearance.Text(), before);
    });
    EXPECT_GE(allocations, 1);
}

TEST_P(AppearanceFaults, NeverMeetLearningAndScoring) {
    Appearance appearance(GetParam());
    EXPECT_EQ(EachAllocation([&](Fault& fault) {
                  fault.Strikes([&] {
                      Smog copy = appearance.smog;
                      copy.Update(appearance.blob, appearance.mask, appearance.picture.View());
                      copy.ScoreBlob(appearance.blob, appearance.mask, appearance.picture.View());
                      copy.ComputeGaussianSectionRectangles({40, 100});
                      NullStream() << copy;
                  });
              }),
              0);
}

TEST_P(AppearanceFaults, RefuseWithTheModelUnchanged) {
    Appearance appearance(GetParam());
    std::string const before = appearance.Text();
    appearance.mask.width = 59;
    EachAllocation([&](Fault& fault) {
        fault.StrikesRefusal<std::invalid_argument>([&] {
            appearance.smog.Update(appearance.blob, appearance.mask, appearance.picture.View());
        });
        EXPECT_EQ(appearance.Text(), before);
    });
}

// --- assignment

TEST(Faults, LeaveNothingOfAnAssignment) {
    for (Eigen::Index const side : {1, 7, 40, 130}) {
        SCOPED_TRACE(testing::Message() << side << " rows");
        Costs costs(side, side + 1);
        for (Eigen::Index i = 0; i < costs.size(); ++i) {
            costs.data()[i] = static_cast<float>((i * i + 3 * i) % 101) + 1;
        }
        Costs const before = costs;
        Marks const expected = Solve(costs);
        int const allocations = EachAllocation([&](Fault& fault) {
            Marks marks;
            bool const struck = fault.Strikes([&] { marks = Solve(costs); });
            EXPECT_EQ(marks.size(), struck ? 0 : expected.size());
            EXPECT_TRUE(struck || (marks == expected).all());
            EXPECT_TRUE((costs == before).all());
        });
        EXPECT_GE(allocations, 2) << "the matrix and its marks";
    }
}

TEST(Faults, RefuseCostsThatAreNoNumbers) {
    Costs costs = Costs::Ones(3, 3);
    costs(1, 1) = std::numeric_limits<float>::quiet_NaN();
    EachAllocation(
        [&](Fault& fault) { fault.StrikesRefusal<std::invalid_argument>([&] { Solve(costs); }); });
}

// --- labels

TEST(Faults, MakeNoLabelCollapser) {
    std::vector<std::string> const labels{"a name too long to be kept in place", "car", "truck",
                                          "another name too long to be kept in place"};
    std::string const absent = "not a label, and it too is long";
    LabelCollapser const same;
    int const allocations = EachAllocation([&](Fault& fault) {
        LabelCollapser collapser;
        bool const struck = fault.Strikes([&] {
            collapser = LabelCollapser(labels, [&](boost::string_view name) {
                return name == "truck" ? boost::string_view("car") : boost::string_view(absent);
            });
        });
        EXPECT_EQ(collapser.Process(2), struck ? 2U : 1U);
    });
    EXPECT_GE(allocations, 7) << "the list, two names, four map nodes";

    EachAllocation([](Fault& fault) {
        fault.StrikesRefusal<std::runtime_error>(
            [] { LabelCollapser(std::vector<std::string>(129), {}); });
    });
}

TEST(UserFunctions, ThatThrowWhileLabelsCollapseMakeNoCollapser) {
    std::vector<std::string> const labels{"a", "b", "c"};
    for (std::size_t last = 0; last < labels.size(); ++last) {
        std::vector<std::string> seen;
        LabelCollapser collapser;
        long const liveBefore = kes::test::FailingMemory::LiveBlocks();
        try {
            collapser = LabelCollapser(labels, [&](boost::string_view name) {
                if (name == labels[last]) throw std::out_of_range("no such label");
                return name;
            });
            FAIL() << "collapsed";
        } catch (std::out_of_range const& error) {
            EXPECT_STREQ(error.what(), "no such label");
        }
        EXPECT_EQ(kes::test::FailingMemory::LiveBlocks(), liveBefore);
        EXPECT_EQ(collapser.Process(1000), 1000U);
    }
}

}  // namespace
