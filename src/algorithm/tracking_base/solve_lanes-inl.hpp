// The assignment solver's passes over a row or a column of numbers, in lanes. Every array is
// aligned to a vector and `count` is a multiple of LaneMultiple; what pads an array is +infinity.
// Included once for each instruction set by foreach_target.h.

#if defined(KES_SOLVE_LANES_INL) == defined(HWY_TARGET_TOGGLE)
#ifdef KES_SOLVE_LANES_INL
#undef KES_SOLVE_LANES_INL
#else
#define KES_SOLVE_LANES_INL
#endif

#include <cstddef>
#include <cstdint>
#include <limits>

#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace kes::algorithm::tracking_base::hungarian::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

constexpr std::size_t LaneMultiple = 16;
constexpr std::size_t NotFound = std::numeric_limits<std::size_t>::max();

using Floats = hn::CappedTag<float, LaneMultiple>;
using Integers = hn::RebindToSigned<Floats>;

// The first value from index `from` on that is at most `bound`.
HWY_INLINE std::size_t FirstAtMost(float const* values, std::size_t from, std::size_t count,
                                   float bound) {
    Floats const d;
    auto const limit = hn::Set(d, bound);
    std::size_t const lanes = hn::Lanes(d);
    for (std::size_t i = from / lanes * lanes; i < count; i += lanes) {
        auto isFound = hn::Le(hn::Load(d, values + i), limit);
        if (i < from) isFound = hn::AndNot(hn::FirstN(d, from - i), isFound);
        std::intptr_t const lane = hn::FindFirstTrue(d, isFound);
        if (lane >= 0) return i + static_cast<std::size_t>(lane);
    }
    return NotFound;
}

HWY_INLINE std::size_t FirstEqual(std::int32_t const* values, std::size_t from, std::size_t count,
                                  std::int32_t wanted) {
    Integers const d;
    auto const target = hn::Set(d, wanted);
    std::size_t const lanes = hn::Lanes(d);
    for (std::size_t i = from / lanes * lanes; i < count; i += lanes) {
        auto isFound = hn::Eq(hn::Load(d, values + i), target);
        if (i < from) isFound = hn::AndNot(hn::FirstN(d, from - i), isFound);
        std::intptr_t const lane = hn::FindFirstTrue(d, isFound);
        if (lane >= 0) return i + static_cast<std::size_t>(lane);
    }
    return NotFound;
}

HWY_INLINE float Least(float const* values, std::size_t count) {
    Floats const d;
    auto least = hn::Load(d, values);
    for (std::size_t i = hn::Lanes(d); i < count; i += hn::Lanes(d)) {
        least = hn::Min(least, hn::Load(d, values + i));
    }
    return hn::GetLane(hn::MinOfLanes(d, least));
}

// The least value greater than `bound`.
HWY_INLINE float LeastAbove(float const* values, std::size_t count, float bound) {
    Floats const d;
    auto const infinity = hn::Set(d, std::numeric_limits<float>::infinity());
    auto const limit = hn::Set(d, bound);
    auto least = infinity;
    for (std::size_t i = 0; i < count; i += hn::Lanes(d)) {
        auto const value = hn::Load(d, values + i);
        least = hn::Min(least, hn::IfThenElse(hn::Gt(value, limit), value, infinity));
    }
    return hn::GetLane(hn::MinOfLanes(d, least));
}

// out = max(a, b)
HWY_INLINE void Greater(float const* a, float const* b, std::size_t count, float* out) {
    Floats const d;
    for (std::size_t i = 0; i < count; i += hn::Lanes(d)) {
        hn::Store(hn::Max(hn::Load(d, a + i), hn::Load(d, b + i)), d, out + i);
    }
}

HWY_INLINE void AddToAll(float amount, std::size_t count, float* values) {
    Floats const d;
    auto const added = hn::Set(d, amount);
    for (std::size_t i = 0; i < count; i += hn::Lanes(d)) {
        hn::Store(hn::Add(hn::Load(d, values + i), added), d, values + i);
    }
}

// out = (costs + rise) * shrink - fall, for cells of one column.
HWY_INLINE void BoundColumn(float const* costs, float const* rise, float shrink, float fall,
                            std::size_t count, float* out) {
    Floats const d;
    auto const factor = hn::Set(d, shrink);
    auto const subtracted = hn::Set(d, fall);
    for (std::size_t i = 0; i < count; i += hn::Lanes(d)) {
        auto const raised = hn::Add(hn::Load(d, costs + i), hn::Load(d, rise + i));
        hn::Store(hn::Sub(hn::Mul(raised, factor), subtracted), d, out + i);
    }
}

// The same for cells of one row.
HWY_INLINE void BoundRow(float const* costs, float rise, float shrink, float const* fall,
                         std::size_t count, float* out) {
    Floats const d;
    auto const factor = hn::Set(d, shrink);
    auto const added = hn::Set(d, rise);
    for (std::size_t i = 0; i < count; i += hn::Lanes(d)) {
        auto const raised = hn::Add(hn::Load(d, costs + i), added);
        hn::Store(hn::Sub(hn::Mul(raised, factor), hn::Load(d, fall + i)), d, out + i);
    }
}

// Each row's two least bounds, and the column that the first is of.
struct RowBounds {
    float* least;
    float* second;
    std::int32_t* column;
};

// Takes a column's bounds, as of BoundColumn, into those of the rows. Returns the first row whose
// least is then at most 0.
HWY_INLINE std::size_t MergeColumn(std::int32_t column, float const* costs, float const* rise,
                                   float shrink, float fall, std::size_t count,
                                   RowBounds const& rows) {
    Floats const d;
    Integers const di;
    auto const factor = hn::Set(d, shrink);
    auto const subtracted = hn::Set(d, fall);
    auto const name = hn::Set(di, column);
    auto const zero = hn::Zero(d);
    std::size_t first = NotFound;
    for (std::size_t i = 0; i < count; i += hn::Lanes(d)) {
        auto const raised = hn::Add(hn::Load(d, costs + i), hn::Load(d, rise + i));
        auto const bound = hn::Sub(hn::Mul(raised, factor), subtracted);
        auto least = hn::Load(d, rows.least + i);
        auto const second = hn::Load(d, rows.second + i);
        if (!hn::AllFalse(d, hn::Lt(bound, second))) {
            auto const isLess = hn::Lt(bound, least);
            hn::Store(hn::Min(second, hn::Max(bound, least)), d, rows.second + i);
            least = hn::Min(bound, least);
            hn::Store(least, d, rows.least + i);
            auto const old = hn::Load(di, rows.column + i);
            hn::Store(hn::IfThenElse(hn::RebindMask(di, isLess), name, old), di, rows.column + i);
        }
        if (first == NotFound) {
            std::intptr_t const lane = hn::FindFirstTrue(d, hn::Le(least, zero));
            if (lane >= 0) first = i + static_cast<std::size_t>(lane);
        }
    }
    return first;
}

// Subtracts a move from the rows' bounds. Returns the first row whose least is then at most 0.
HWY_INLINE std::size_t SubtractMove(float move, std::size_t count, RowBounds const& rows) {
    Floats const d;
    auto const amount = hn::Set(d, move);
    auto const zero = hn::Zero(d);
    std::size_t first = NotFound;
    for (std::size_t i = 0; i < count; i += hn::Lanes(d)) {
        auto const least = hn::Sub(hn::Load(d, rows.least + i), amount);
        hn::Store(least, d, rows.least + i);
        hn::Store(hn::Sub(hn::Load(d, rows.second + i), amount), d, rows.second + i);
        if (first == NotFound) {
            std::intptr_t const lane = hn::FindFirstTrue(d, hn::Le(least, zero));
            if (lane >= 0) first = i + static_cast<std::size_t>(lane);
        }
    }
    return first;
}

}  // namespace kes::algorithm::tracking_base::hungarian::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
