// The assignment solver's passes over a row or a column of numbers, in lanes. Every array is
// aligned to a vector and `count` is a multiple of LaneMultiple; what pads an array takes no part,
// being +infinity, or -infinity where it is subtracted.
// Included once for each instruction set by foreach_target.h.

#if defined(KES_SOLVE_LANES_INL) == defined(HWY_TARGET_TOGGLE)
#ifdef KES_SOLVE_LANES_INL
#undef KES_SOLVE_LANES_INL
#else
#define KES_SOLVE_LANES_INL
#endif

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <limits>

#include <hwy/highway.h>

#include "algorithm/tracking_base/has_lanes-inl.hpp"
#include "algorithm/tracking_base/lane_bits-inl.hpp"

HWY_BEFORE_NAMESPACE();
namespace kes::algorithm::tracking_base::hungarian::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;
using tracking_base::HWY_NAMESPACE::BitsOf;

constexpr std::size_t LaneMultiple = 16;
constexpr std::size_t NotFound = std::numeric_limits<std::size_t>::max();

// One at a time where Highway would only imitate vectors.
using Floats = hn::CappedTag<float, KES_HAS_LANES ? LaneMultiple : 1>;
using Integers = hn::RebindToSigned<Floats>;

// The least lane. No array holds the largest finite float, but Highway 1.0.3's emulated vectors
// start their search from it where all lanes are +infinity.
HWY_INLINE float LeastLane(hn::Vec<Floats> values) {
    float const least = hn::GetLane(hn::MinOfLanes(Floats(), values));
    return least < std::numeric_limits<float>::max() ? least
                                                     : std::numeric_limits<float>::infinity();
}

#if KES_HAS_LANES
// The same for four vectors of at most 8 lanes. Where masks are vectors, four of them side by side
// in bytes cost less than one after the other.
HWY_INLINE std::uint64_t BitsOfFour(hn::Mask<Floats> a, hn::Mask<Floats> b, hn::Mask<Floats> c,
                                    hn::Mask<Floats> d) {
    Integers const di;
    hn::Repartition<std::uint16_t, Integers> const d16;
    hn::Repartition<std::uint8_t, Integers> const d8;
    auto const bytes = [&](hn::Mask<Floats> mask) HWY_ATTR {
        return hn::BitCast(d8, hn::VecFromMask(di, hn::RebindMask(di, mask)));
    };
    // Each 32 bits: a byte of each vector's lane.
    auto const ab = hn::BitCast(d16, hn::OddEven(bytes(b), bytes(a)));
    auto const cd = hn::BitCast(d16, hn::OddEven(bytes(d), bytes(c)));
    auto const abcd = hn::BitCast(d8, hn::OddEven(cd, ab));
    // Each 128 bits: four bytes of each vector, and then all of a vector's bytes together.
    HWY_ALIGN static constexpr std::uint8_t ByVector[] = {0,  4,  8, 12, 1,  5,  9, 13, 2,  6, 10,
                                                          14, 3,  7, 11, 15, 0,  4, 8,  12, 1, 5,
                                                          9,  13, 2, 6,  10, 14, 3, 7,  11, 15};
    auto inOrder = hn::TableLookupBytes(abcd, hn::Load(d8, ByVector));
    if constexpr (hn::MaxLanes(Floats()) == 8) {
        HWY_ALIGN static constexpr std::int32_t LowerThenUpper[] = {0, 4, 1, 5, 2, 6, 3, 7};
        auto const indices = hn::SetTableIndices(di, LowerThenUpper);
        inOrder = hn::BitCast(d8, hn::TableLookupLanes(hn::BitCast(di, inOrder), indices));
    }
    return BitsOf(d8, hn::MaskFromVec(inOrder));
}
#endif

// Takes a step for each vector of Count elements, at most 64. Returns a bit for each element for
// which a step's mask is true.
template <std::size_t Count, class Step>
HWY_INLINE std::uint64_t BitsOfSteps(Step step) {
    constexpr std::size_t Lanes = hn::MaxLanes(Floats());
    std::uint64_t bits = 0;
    std::size_t i = 0;
#if KES_HAS_LANES
    if constexpr (Lanes <= 8) {
        for (; i + 4 * Lanes <= Count; i += 4 * Lanes) {
            auto const a = step(i), b = step(i + Lanes), c = step(i + 2 * Lanes),
                       d = step(i + 3 * Lanes);
            bits |= BitsOfFour(a, b, c, d) << i;
        }
    }
#endif
    for (; i < Count; i += Lanes) bits |= std::uint64_t{BitsOf(Floats(), step(i))} << i;
    return bits;
}

// yes where the mask is true, and no elsewhere. IfThenElse and a store can become a masked store; a
// read of the vector would then wait until that has reached memory.
template <class D>
HWY_INLINE hn::Vec<D> Select(D d, hn::Mask<D> mask, hn::Vec<D> yes, hn::Vec<D> no) {
    return hn::IfVecThenElse(hn::VecFromMask(d, mask), yes, no);
}

// Writes an element with the whole of its vector, for the same reason.
HWY_INLINE void SetElement(float value, std::size_t index, float* values) {
    Floats const d;
    Integers const di;
    std::size_t const lane = index % hn::Lanes(d);
    auto const isThis = hn::Eq(hn::Iota(di, 0), hn::Set(di, static_cast<std::int32_t>(lane)));
    float* const vector = values + (index - lane);
    hn::Store(Select(d, hn::RebindMask(d, isThis), hn::Set(d, value), hn::Load(d, vector)), d,
              vector);
}

// Takes a step for each vector of `count` elements. Returns the first element for which a step's
// mask is true. Branches once for 64 elements, as no processor foresees where that is.
template <class Step>
HWY_INLINE std::size_t FirstOfSteps(std::size_t count, Step step) {
    constexpr std::size_t WordBits = 64;
    std::size_t first = NotFound;
    for (std::size_t start = 0; start < count; start += WordBits) {
        std::size_t const end = std::min(count, start + WordBits);
        std::uint64_t bits = 0;
        for (std::size_t i = start; i < end; i += hn::Lanes(Floats())) {
            bits |= std::uint64_t{BitsOf(Floats(), step(i))} << (i - start);
        }
        if (first == NotFound && bits != 0) {
            first = start + static_cast<std::size_t>(std::countr_zero(bits));
        }
    }
    return first;
}

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

struct Least {
    float value;
    std::size_t index;  // of one that holds it
};

HWY_INLINE Least FindLeast(float const* values, std::size_t count) {
    Floats const d;
    Integers const di;
    auto least = hn::Load(d, values);
    auto start = hn::Zero(di);
    for (std::size_t i = hn::Lanes(d); i < count; i += hn::Lanes(d)) {
        auto const value = hn::Load(d, values + i);
        auto const isLess = hn::RebindMask(di, hn::Lt(value, least));
        start = hn::IfThenElse(isLess, hn::Set(di, static_cast<std::int32_t>(i)), start);
        least = hn::Min(least, value);
    }
    float const value = LeastLane(least);
    std::intptr_t const lane = hn::FindFirstTrue(d, hn::Eq(least, hn::Set(d, value)));
    HWY_ALIGN std::int32_t starts[LaneMultiple];
    hn::Store(start, di, starts);
    return {value, static_cast<std::size_t>(starts[lane] + lane)};
}

// The least value greater than `bound`, of those whose mask is 0; that of the others is +infinity.
// Where all take part the values themselves serve as the mask.
HWY_INLINE float LeastAbove(float const* values, float const* mask, std::size_t count,
                            float bound) {
    Floats const d;
    auto const infinity = hn::Set(d, std::numeric_limits<float>::infinity());
    auto const limit = hn::Set(d, bound);
    auto least = infinity;
    for (std::size_t i = 0; i < count; i += hn::Lanes(d)) {
        auto const value = hn::Max(hn::Load(d, values + i), hn::Load(d, mask + i));
        least = hn::Min(least, hn::IfThenElse(hn::Gt(value, limit), value, infinity));
    }
    return LeastLane(least);
}

struct LeastTwo {
    float least;
    float others;        // the least of all others, which may be the same
    std::int32_t index;  // the first of the least
};

// Of `count` values, which come as vectors.
template <class ValuesAt>
HWY_INLINE LeastTwo FindLeastTwo(std::size_t count, ValuesAt valuesAt) {
    Floats const d;
    Integers const di;
    auto least = hn::Set(d, std::numeric_limits<float>::infinity());
    auto others = least;
    auto index = hn::Zero(di);
    auto here = hn::Iota(di, 0);
    auto const step = hn::Set(di, static_cast<std::int32_t>(hn::Lanes(d)));
    for (std::size_t i = 0; i < count; i += hn::Lanes(d)) {
        auto const value = valuesAt(i);
        index = hn::IfThenElse(hn::RebindMask(di, hn::Lt(value, least)), here, index);
        others = hn::Min(others, hn::Max(value, least));
        least = hn::Min(value, least);
        here = hn::Add(here, step);
    }
    float const leastOfAll = LeastLane(least);
    auto const isLeast = hn::Eq(least, hn::Set(d, leastOfAll));
    auto const last = hn::Set(di, std::numeric_limits<std::int32_t>::max());
    auto const indices = hn::IfThenElse(hn::RebindMask(di, isLeast), index, last);
    bool const isInOneLane = std::has_single_bit(BitsOf(d, isLeast));
    return {leastOfAll,
            isInOneLane ? LeastLane(hn::IfThenElse(isLeast, others, least)) : leastOfAll,
            hn::GetLane(hn::MinOfLanes(di, indices))};
}

HWY_INLINE void AddToAll(float amount, std::size_t count, float* values) {
    Floats const d;
    auto const added = hn::Set(d, amount);
    for (std::size_t i = 0; i < count; i += hn::Lanes(d)) {
        hn::Store(hn::Add(hn::Load(d, values + i), added), d, values + i);
    }
}

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
    auto least = hn::Set(d, std::numeric_limits<float>::infinity());
    for (std::size_t i = 0; i < count; i += hn::Lanes(d)) {
        auto const bound = Bound(hn::Load(d, costs + i), added, factor, hn::Load(d, fall + i));
        least = hn::Min(least, bound);
        hn::Store(bound, d, out + i);
    }
    return LeastLane(least);
}

// Of the bounds of one row's cells, of those whose mask is not 0.
HWY_INLINE LeastTwo FindLeastTakenBounds(float const* costs, float const* mask, float rise,
                                         float shrink, float const* fall, std::size_t count) {
    Floats const d;
    auto const infinity = hn::Set(d, std::numeric_limits<float>::infinity());
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

// Turns `count` lines of `length` values into `length` lines of `count` values, each padded with
// +infinity, by squares of 4 x 4. The distances from line to line are multiples of LaneMultiple.
HWY_INLINE void Transpose(float const* from, std::size_t count, std::size_t length,
                          std::size_t fromStride, std::size_t toStride, float* to) {
    constexpr float Infinity = std::numeric_limits<float>::infinity();
#if !KES_HAS_LANES
    for (std::size_t i = 0; i < length; ++i) {
        for (std::size_t line = 0; line < toStride; ++line) {
            to[i * toStride + line] = line < count ? from[line * fromStride + i] : Infinity;
        }
    }
#else
    hn::CappedTag<float, 4> const d;
    for (std::size_t line = 0; line < toStride; line += 4) {
        auto const load = [&](std::size_t k, std::size_t i) {
            return line + k < count ? hn::Load(d, from + (line + k) * fromStride + i)
                                    : hn::Set(d, Infinity);
        };
        for (std::size_t i = 0; i < length; i += 4) {
            auto const store = [&](std::size_t k, auto values) {
                if (i + k < length) hn::Store(values, d, to + (i + k) * toStride + line);
            };
            auto const line0 = load(0, i), line1 = load(1, i), line2 = load(2, i),
                       line3 = load(3, i);
            auto const evenLower = hn::InterleaveLower(d, line0, line2);
            auto const oddLower = hn::InterleaveLower(d, line1, line3);
            auto const evenUpper = hn::InterleaveUpper(d, line0, line2);
            auto const oddUpper = hn::InterleaveUpper(d, line1, line3);
            store(0, hn::InterleaveLower(d, evenLower, oddLower));
            store(1, hn::InterleaveUpper(d, evenLower, oddLower));
            store(2, hn::InterleaveLower(d, evenUpper, oddUpper));
            store(3, hn::InterleaveUpper(d, evenUpper, oddUpper));
        }
    }
#endif
}

// Takes LaneMultiple cells of each of a few rows through at most 64 moves: each adds its own to all
// of a row, then subtracts from each column its own. `added` has the rows of a move side by side,
// and `rising` a bit for each move that adds anything; other numbers are strides. Rows are taken
// together because each step of one waits for the step before.
template <std::size_t Rows>
HWY_INLINE void ReplayMoves(float const* added, std::uint64_t rising, float const* subtracted,
                            std::size_t subtractedStride, std::size_t moves, float* cells,
                            std::size_t rowStride) {
    Floats const d;
    for (std::size_t i = 0; i < LaneMultiple; i += hn::Lanes(d)) {
        hn::Vec<Floats> values[Rows];
        for (std::size_t row = 0; row < Rows; ++row) {
            values[row] = hn::Load(d, cells + row * rowStride + i);
        }
        for (std::size_t move = 0; move < moves; ++move) {
            if ((rising >> move & 1) != 0) {
                for (std::size_t row = 0; row < Rows; ++row) {
                    values[row] = hn::Add(values[row], hn::Set(d, added[move * Rows + row]));
                }
            }
            auto const fall = hn::LoadU(d, subtracted + move * subtractedStride + i);
            for (auto& value : values) value = hn::Sub(value, fall);
        }
        for (std::size_t row = 0; row < Rows; ++row) {
            hn::Store(values[row], d, cells + row * rowStride + i);
        }
    }
}

// Each row's two least bounds, and the column that the first is of.
struct RowBounds {
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
