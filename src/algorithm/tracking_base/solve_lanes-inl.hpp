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
#include "algorithm/tracking_base/solve_marking.hpp"

HWY_BEFORE_NAMESPACE();
namespace kes::algorithm::tracking_base::hungarian::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;
using tracking_base::HWY_NAMESPACE::BitsOf;

constexpr std::size_t LaneMultiple = 16;
constexpr float Infinity = std::numeric_limits<float>::infinity();
constexpr float Forbidden = std::numeric_limits<float>::max();

// One at a time where Highway would only imitate vectors.
using Floats = hn::CappedTag<float, KES_HAS_LANES ? LaneMultiple : 1>;
using Integers = hn::RebindToSigned<Floats>;

// The least lane. No array holds the largest finite float, but Highway 1.0.3's emulated vectors
// start their search from it where all lanes are +infinity.
template <class D>
HWY_INLINE float LeastLane(D d, hn::Vec<D> values) {
    float const least = hn::GetLane(hn::MinOfLanes(d, values));
    return least < Forbidden ? least : Infinity;
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
    float const value = LeastLane(d, least);
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
    auto const infinity = hn::Set(d, Infinity);
    auto const limit = hn::Set(d, bound);
    auto least = infinity;
    for (std::size_t i = 0; i < count; i += hn::Lanes(d)) {
        auto const value = hn::Max(hn::Load(d, values + i), hn::Load(d, mask + i));
        least = hn::Min(least, hn::IfThenElse(hn::Gt(value, limit), value, infinity));
    }
    return LeastLane(d, least);
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
    auto least = hn::Set(d, Infinity);
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
    float const leastOfAll = LeastLane(d, least);
    auto const isLeast = hn::Eq(least, hn::Set(d, leastOfAll));
    auto const last = hn::Set(di, std::numeric_limits<std::int32_t>::max());
    auto const indices = hn::IfThenElse(hn::RebindMask(di, isLeast), index, last);
    bool const isInOneLane = std::has_single_bit(BitsOf(d, isLeast));
    return {leastOfAll,
            isInOneLane ? LeastLane(d, hn::IfThenElse(isLeast, others, least)) : leastOfAll,
            hn::GetLane(hn::MinOfLanes(di, indices))};
}

HWY_INLINE void AddToAll(float amount, std::size_t count, float* values) {
    Floats const d;
    auto const added = hn::Set(d, amount);
    for (std::size_t i = 0; i < count; i += hn::Lanes(d)) {
        hn::Store(hn::Add(hn::Load(d, values + i), added), d, values + i);
    }
}

// Turns `count` lines of `length` values into `length` lines of `count` values, each padded with
// +infinity, by squares of 4 x 4. The distances from line to line are multiples of LaneMultiple.
HWY_INLINE void Transpose(float const* from, std::size_t count, std::size_t length,
                          std::size_t fromStride, std::size_t toStride, float* to) {
#if !KES_HAS_LANES
    for (std::size_t i = 0; i < length; ++i) {
        for (std::size_t line = 0; line < toStride; ++line) {
            to[i * toStride + line] = line < count ? from[line * fromStride + i] : Infinity;
        }
    }
#else
    hn::CappedTag<float, 4> const d;
    auto const transpose = [&](std::size_t line, std::size_t i) HWY_ATTR {
        auto const load = [&](std::size_t k) HWY_ATTR {
            return line + k < count ? hn::Load(d, from + (line + k) * fromStride + i)
                                    : hn::Set(d, Infinity);
        };
        auto const store = [&](std::size_t k, hn::Vec<hn::CappedTag<float, 4> > values) HWY_ATTR {
            if (i + k < length) hn::Store(values, d, to + (i + k) * toStride + line);
        };
        auto const line0 = load(0), line1 = load(1), line2 = load(2), line3 = load(3);
        auto const evenLower = hn::InterleaveLower(d, line0, line2);
        auto const oddLower = hn::InterleaveLower(d, line1, line3);
        auto const evenUpper = hn::InterleaveUpper(d, line0, line2);
        auto const oddUpper = hn::InterleaveUpper(d, line1, line3);
        store(0, hn::InterleaveLower(d, evenLower, oddLower));
        store(1, hn::InterleaveUpper(d, evenLower, oddLower));
        store(2, hn::InterleaveLower(d, evenUpper, oddUpper));
        store(3, hn::InterleaveUpper(d, evenUpper, oddUpper));
    };
    // Whole cache lines of 16 values at a time.
    for (std::size_t block = 0; block < toStride; block += LaneMultiple) {
        for (std::size_t i = 0; i < length; i += 4) {
            for (std::size_t k = 0; k < LaneMultiple; k += 4) transpose(block + k, i);
        }
    }
#endif
}

}  // namespace kes::algorithm::tracking_base::hungarian::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
