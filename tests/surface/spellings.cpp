// What a user may write, and what must not compile: check_spellings hands this file to each
// compiler, in each standard and at each optimisation level. C++17, without warnings.
#include <array>
#include <cstdint>
#include <functional>
#include <set>
#include <type_traits>
#include <utility>
#include <vector>

#include <kes/algorithm/bit_mask.hpp>
#include <kes/algorithm/tracking_base/emog_segmenter.hpp>
#include <kes/algorithm/tracking_base/smog.hpp>
#include <kes/algorithm/tracking_base/solve.hpp>
#include <kes/geometry/dimension.hpp>
#include <kes/geometry/point.hpp>
#include <kes/geometry/rectangle.hpp>
#include <kes/media/colour/yuv.hpp>
#include <kes/media/video/frame.hpp>

namespace {

using kes::algorithm::BitMask;
using kes::geometry::Dimension;
using kes::geometry::Point;
using kes::geometry::Rectangle;
using kes::media::colour::Yuv;
using kes::media::video::FrameBase;
using kes::media::video::frame::PlaneBase;
namespace tracking_base = kes::algorithm::tracking_base;
namespace hungarian = tracking_base::hungarian;
using hungarian::RowCol;
using tracking_base::appearance::BlobScore;
using tracking_base::appearance::Smog;

template <typename... T>
constexpr bool AreAggregates = (std::is_aggregate_v<T> && ...);
static_assert(AreAggregates<BitMask, BlobScore, Dimension<int, 3>, Dimension<unsigned, 2>,
                            Point<float, 2>, Rectangle<int>, RowCol, Smog::Gaussian, Yuv>);

// Two axes by name, by index and taken apart; other numbers of axes by index.
constexpr Dimension<unsigned, 2> Vga{640, 480};
constexpr Point<float, 2> Corner = {1.5F, 2};
static_assert(Vga.width == 640 && Vga.height == 480 && Vga[0] == 640 && Vga[1] == 480);
static_assert(Corner.x == 1.5F && Corner.y == 2 && Corner[0] == 1.5F && Corner[1] == 2);
static_assert(Vga == Dimension<unsigned, 2>{640, 480} && Vga != Dimension<unsigned, 2>{480, 640});
static_assert(Corner == Point<float, 2>{1.5F, 2} && Corner != Point<float, 2>{2, 1.5F});
static_assert(Dimension<int, 3>{1, 2, 3}[2] == 3 && Point<int, 1>{4}[0] == 4);
constexpr int Changed() {
    Dimension<int, 2> size;
    Point<int, 2> point;
    size[1] = 3;
    size.width = 2;
    point[0] = 5;
    point.y += 7;
    auto [width, height] = size;
    auto& [x, y] = point;
    x *= 2;
    return width + 10 * height + 100 * point.x + 1000 * y;
}
static_assert(Changed() == 8032);

// Zero by default.
constexpr Dimension<int, 2> NoSize;
constexpr Dimension<int, 4> NoSizes{};
constexpr Point<float, 2> Origin;
constexpr Rectangle<int> Nothing;
constexpr Yuv Black;
constexpr RowCol First;
static_assert(NoSize == Dimension<int, 2>{0, 0} && NoSizes[3] == 0 && Origin.x == 0);
static_assert(Nothing == Rectangle<int>{0, 0, 0, 0} && Black == Yuv{0, 0, 0});
static_assert(First == RowCol{0, 0});

constexpr Rectangle<int> Box{10, 20, 21, 32};
static_assert(Box.GetWidth() == 11 && Box.GetHeight() == 12 && Box != Nothing);
static_assert(std::is_same_v<decltype(Rectangle<unsigned char>{}.GetWidth()), unsigned char>);
static_assert(Yuv{1, 2, 3} != Yuv{1, 2, 4});
static_assert(RowCol{1, 9} < RowCol{2, 0} && RowCol{2, 0} < RowCol{2, 1});
static_assert(!(RowCol{2, 1} < RowCol{2, 1}) && RowCol{-1, 0} < First && First != RowCol{0, 1});
static_assert(std::is_same_v<decltype(RowCol::row), std::int64_t>);

static_assert(kes::algorithm::WordsPerRow(0) == 0 && kes::algorithm::WordsPerRow(32) == 1 &&
              kes::algorithm::WordsPerRow(33) == 2);

// A model is taken apart in this order.
static_assert(std::is_same_v<decltype(Smog::gaussians), std::array<Smog::Gaussian, 8>>);
static_assert(std::is_same_v<decltype(Smog::untrained), bool>);

// What is compared with what.
template <typename A, typename B, typename = void>
constexpr bool Compare = false;
template <typename A, typename B>
constexpr bool Compare<A, B,
                       std::void_t<decltype(std::declval<A>() == std::declval<B>()),
                                   decltype(std::declval<A>() != std::declval<B>())>> = true;
using Frame = FrameBase<void>;
using ConstFrame = FrameBase<void const>;
using Plane = PlaneBase<void>;
using ConstPlane = PlaneBase<void const>;
static_assert(Compare<Frame, Frame> && Compare<ConstFrame, ConstFrame>);
static_assert(Compare<Plane, Plane> && Compare<ConstPlane, ConstPlane>);
static_assert(Compare<BitMask, BitMask>);
static_assert(!Compare<Frame, ConstFrame> && !Compare<ConstFrame, Frame>);
static_assert(!Compare<Plane, ConstPlane> && !Compare<ConstPlane, Plane>);
static_assert(!Compare<Frame, Plane> && !Compare<Plane, Frame>);
static_assert(!Compare<ConstFrame, Plane> && !Compare<Plane, ConstFrame>);
static_assert(!Compare<Dimension<int, 2>, Point<int, 2>>);

static_assert(!std::is_copy_constructible_v<tracking_base::EmogSegmenter> &&
              !std::is_move_constructible_v<tracking_base::EmogSegmenter>);
static_assert(std::is_trivially_copyable_v<Smog>);

// Every way to call the solver.
template <typename Function>
bool PairsAlong(Function solve) {
    hungarian::Costs const costs = hungarian::Costs::Zero(2, 2);
    Eigen::Array<std::uint8_t, Eigen::Dynamic, Eigen::Dynamic> const marks = solve(costs);
    return marks(0, 0) == 1 && marks(1, 1) == 1;
}
bool Solves() {
    hungarian::Marks (*pointer)(hungarian::Costs) = hungarian::Solve;
    std::function<hungarian::Marks(hungarian::Costs)> const function = &hungarian::Solve;
    auto const lambda = [](hungarian::Costs costs) { return hungarian::Solve(std::move(costs)); };
    hungarian::Costs costs = hungarian::Costs::Zero(2, 2);
    std::array<std::uint8_t, 4> marks{};
    hungarian::MarkPairs(costs.data(), 2, 2, marks.data());
    return PairsAlong(hungarian::Solve) && PairsAlong(pointer) && PairsAlong(function) &&
           PairsAlong(lambda) && hungarian::Solve(costs + 1)(0, 1) == 1 && marks[3] == 1;
}

bool Values() {
    BitMask const empty;
    BitMask mask{320, 240};
    auto const [width, height] = ConstFrame().GetSize();
    std::set<RowCol> const cells{{1, 2}, {0, 3}, {1, 2}};
    Smog smog;
    auto const& [gaussians, untrained] = smog;
    BlobScore const score{};
    BitMask drawn = kes::algorithm::MakeEmptyMask(33, 2);
    SetCell(drawn, 32, 1);
    return drawn.words == std::vector<std::uint32_t>{0, 0, 0, 0x80000000} &&
           GetCell(drawn, 32, 1) && !GetCell(drawn, 31, 1) && empty.words.empty() &&
           mask != empty && mask.height == 240 && width + height == 0 &&
           Frame().GetSize().width == 0 && cells.size() == 2 && cells.begin()->column == 3 &&
           gaussians[0].means[3] == 16 && untrained && score.centre.x + score.size.height == 0;
}

}  // namespace

int main() { return Solves() && Values() ? 0 : 1; }
