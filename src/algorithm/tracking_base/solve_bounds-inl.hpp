// Passes over the bounds of a row's or a column's cells, in lanes, and each row's least of them.
// Arrays are as in solve_lanes-inl.hpp.
// Included once for each instruction set by foreach_target.h.

#if defined(KES_SOLVE_BOUNDS_INL) == defined(HWY_TARGET_TOGGLE)
#ifdef KES_SOLVE_BOUNDS_INL
#undef KES_SOLVE_BOUNDS_INL
#else
#define KES_SOLVE_BOUNDS_INL
#endif

#include <cstddef>
#include <cstdint>

#include <hwy/highway.h>

#include "algorithm/tracking_base/solve_lanes-inl.hpp"
#include "algorithm/tracking_base/solve_workspace.hpp"

HWY_BEFORE_NAMESPACE();
namespace kes::algorithm::tracking_base::hungarian::HWY_NAMESPACE {

// Below what cells with these costs hold by now.
HWY_INLINE hn::Vec<Floats> Bound(hn::Vec<Floats> costs, hn::Vec<Floats> rise,
                                 hn::Vec<Floats> shrink, hn::Vec<Floats> fall) {
    return hn::Sub(hn::Mul(hn::Add(costs, rise), shrink), fall);
}

// The bounds of one row's cells. Returns the least.
HWY_INLINE float BoundRow(float const* costs, float rise, float shrink, float const* fall,
                          std::size_t count, float* out) {
    Floats const d;
    auto const factor = hn::Set(d, shrink);
    auto const added = hn::Set(d, rise);
    auto least = hn::Set(d, Infinity);
    for (std::size_t i = 0; i < count; i += hn::Lanes(d)) {
        auto const bound = Bound(hn::Load(d, costs + i), added, factor, hn::Load(d, fall + i));
        least = hn::Min(least, bound);
        hn::Store(bound, d, out + i);
    }
    return LeastLane(d, least);
}

// Of the bounds of one row's cells, of those whose mask is not 0.
HWY_INLINE LeastTwo FindLeastTakenBounds(float const* costs, float const* mask, float rise,
                                         float shrink, float const* fall, std::size_t count) {
    Floats const d;
    auto const infinity = hn::Set(d, Infinity);
    auto const factor = hn::Set(d, shrink);
    auto const added = hn::Set(d, rise);
    return FindLeastTwo(count, [&](std::size_t i) HWY_ATTR {
        auto const bound = Bound(hn::Load(d, costs + i), added, factor, hn::Load(d, fall + i));
        return hn::IfThenElse(hn::Eq(hn::Load(d, mask + i), hn::Zero(d)), infinity, bound);
    });
}

// The first index from `from` on whose bound is at most 0.
HWY_INLINE std::size_t FirstBoundAtMostZero(float const* costs, float rise, float shrink,
                                            float const* fall, std::size_t from,
                                            std::size_t count) {
    Floats const d;
    auto const factor = hn::Set(d, shrink);
    auto const added = hn::Set(d, rise);
    std::size_t const lanes = hn::Lanes(d);
    for (std::size_t i = from / lanes * lanes; i < count; i += lanes) {
        auto const bound = Bound(hn::Load(d, costs + i), added, factor, hn::Load(d, fall + i));
        auto isFound = hn::Le(bound, hn::Zero(d));
        if (i < from) isFound = hn::AndNot(hn::FirstN(d, from - i), isFound);
        std::intptr_t const lane = hn::FindFirstTrue(d, isFound);
        if (lane >= 0) return i + static_cast<std::size_t>(lane);
    }
    return NotFound;
}

constexpr std::int32_t Stale = -1;  // in place of a column: the bound is some column's

// Each row's two least bounds, and the column that the first is of.
struct RowBounds {
    void TakeArrays(Workspace& from, std::size_t paddedRows) {
        least = from.Take<float>(paddedRows);
        second = from.Take<float>(paddedRows);
        column = from.Take<std::int32_t>(paddedRows);
    }

    float* least;
    float* second;
    std::int32_t* column;
};

// Bounds a phase's start from: those of the least and of the next cost among the free columns,
// whose fall is the same.
HWY_INLINE void StartRows(RowBounds costs, float const* rise, float shrink, float fall,
                          std::size_t count, RowBounds rows) {
    Floats const d;
    Integers const di;
    auto const factor = hn::Set(d, shrink);
    auto const subtracted = hn::Set(d, fall);
    for (std::size_t i = 0; i < count; i += hn::Lanes(d)) {
        auto const added = hn::Load(d, rise + i);
        auto const least = Bound(hn::Load(d, costs.least + i), added, factor, subtracted);
        auto const second = Bound(hn::Load(d, costs.second + i), added, factor, subtracted);
        hn::Store(least, d, rows.least + i);
        hn::Store(second, d, rows.second + i);
        hn::Store(hn::Load(di, costs.column + i), di, rows.column + i);
    }
}

// Takes a column's bounds into those of the rows. Returns the first row whose least is then at most
// 0.
HWY_INLINE std::size_t MergeColumn(std::int32_t column, float const* costs, float const* rise,
                                   float shrink, float fall, std::size_t count, RowBounds rows) {
    Floats const d;
    Integers const di;
    auto const factor = hn::Set(d, shrink);
    auto const subtracted = hn::Set(d, fall);
    auto const name = hn::Set(di, column);
    return FirstOfSteps(count, [&](std::size_t i) {
        auto const bound = Bound(hn::Load(d, costs + i), hn::Load(d, rise + i), factor, subtracted);
        auto least = hn::Load(d, rows.least + i);
        auto const second = hn::Load(d, rows.second + i);
        auto const isLess = hn::Lt(bound, least);
        hn::Store(hn::Min(second, hn::Max(bound, least)), d, rows.second + i);
        least = hn::Min(bound, least);
        hn::Store(least, d, rows.least + i);
        auto const old = hn::Load(di, rows.column + i);
        hn::Store(Select(di, hn::RebindMask(di, isLess), name, old), di, rows.column + i);
        return hn::Le(least, hn::Zero(d));
    });
}

// Subtracts a move from the rows' bounds. Returns the first row whose least is then at most 0.
HWY_INLINE std::size_t SubtractMove(float move, std::size_t count, RowBounds rows) {
    Floats const d;
    auto const amount = hn::Set(d, move);
    return FirstOfSteps(count, [&](std::size_t i) {
        auto const least = hn::Sub(hn::Load(d, rows.least + i), amount);
        hn::Store(least, d, rows.least + i);
        hn::Store(hn::Sub(hn::Load(d, rows.second + i), amount), d, rows.second + i);
        return hn::Le(least, hn::Zero(d));
    });
}

}  // namespace kes::algorithm::tracking_base::hungarian::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
