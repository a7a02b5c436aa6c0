// Passes over the cells of a column, in lanes, for the matrix that keeps every cell up to date.
// Included once for each instruction set by foreach_target.h.

#if defined(KES_SOLVE_DENSE_INL) == defined(HWY_TARGET_TOGGLE)
#ifdef KES_SOLVE_DENSE_INL
#undef KES_SOLVE_DENSE_INL
#else
#define KES_SOLVE_DENSE_INL
#endif

#include <cstddef>
#include <cstdint>

#include <hwy/highway.h>

#include "algorithm/tracking_base/solve_lanes-inl.hpp"

HWY_BEFORE_NAMESPACE();
namespace kes::algorithm::tracking_base::hungarian::HWY_NAMESPACE {

#if KES_HAS_LANES
// The masks of four vectors of at most 8 lanes as bits. Where masks are vectors, four of them side
// by side in bytes cost less than one after the other.
template <class D>
HWY_INLINE std::uint64_t BitsOfFour(D, hn::Mask<D> a, hn::Mask<D> b, hn::Mask<D> c, hn::Mask<D> d) {
    hn::RebindToSigned<D> const di;
    hn::Repartition<std::uint16_t, D> const d16;
    hn::Repartition<std::uint8_t, D> const d8;
    auto const bytes = [&](hn::Mask<D> mask) HWY_ATTR {
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
    if constexpr (hn::MaxLanes(D()) == 8) {
        HWY_ALIGN static constexpr std::int32_t LowerThenUpper[] = {0, 4, 1, 5, 2, 6, 3, 7};
        auto const indices = hn::SetTableIndices(di, LowerThenUpper);
        inOrder = hn::BitCast(d8, hn::TableLookupLanes(hn::BitCast(di, inOrder), indices));
    }
    return BitsOf(d8, hn::MaskFromVec(inOrder));
}
#endif

// Takes a step for each vector of Count elements, at most 64. Returns a bit for each element for
// which a step's mask is true.
template <std::size_t Count, class D, class Step>
HWY_INLINE std::uint64_t BitsOfSteps(D tag, Step step) {
    constexpr std::size_t Lanes = hn::MaxLanes(D());
    std::uint64_t bits = 0;
    std::size_t i = 0;
#if KES_HAS_LANES
    if constexpr (Lanes == 4 || Lanes == 8) {
        for (; i + 4 * Lanes <= Count; i += 4 * Lanes) {
            auto const a = step(i), b = step(i + Lanes), c = step(i + 2 * Lanes),
                       d = step(i + 3 * Lanes);
            bits |= BitsOfFour(tag, a, b, c, d) << i;
        }
    }
#endif
    for (; i < Count; i += Lanes) bits |= std::uint64_t{BitsOf(tag, step(i))} << i;
    return bits;
}

// Which of the first up to 64 words have this bit, as bits. What follows them may be read.
template <class Word>
HWY_INLINE std::uint64_t WhereBitIsSet(Word const* words, std::size_t bit, std::size_t count) {
    hn::CappedTag<Word, KES_HAS_LANES ? 32 : 1> const d;
    auto const wanted = hn::Set(d, static_cast<Word>(Word{1} << bit));
    std::uint64_t found = 0;
    for (std::size_t i = 0; i < count; i += hn::Lanes(d)) {
        auto const isSet = hn::TestBit(hn::Load(d, words + i), wanted);
        found |= std::uint64_t{BitsOf(d, isSet)} << i;
    }
    return found;
}

// A forbidden value that arithmetic arrives at is as untouchable as one from the start. Inside it
// is infinity, which no move changes.
template <class D>
HWY_INLINE hn::Vec<D> ForbidLargest(D d, hn::Vec<D> value) {
    return hn::IfThenElse(hn::Eq(value, hn::Set(d, Forbidden)), hn::Set(d, Infinity), value);
}

// Takes cells of a column through a move: two roundings for a cell in a covered row and an
// uncovered column. raises: what each vector of rows gains. Returns a bit for each zero.
template <std::size_t Count, bool CanOverflow, class D>
HWY_INLINE std::uint64_t MoveCells(D d, float* cells, hn::Vec<D> const* raises,
                                   hn::Vec<D> subtracted) {
    return BitsOfSteps<Count>(d, [&](std::size_t i) HWY_ATTR {
        auto value = hn::Add(hn::Load(d, cells + i), raises[i / hn::Lanes(d)]);
        if constexpr (CanOverflow) value = ForbidLargest(d, value);
        value = hn::Sub(value, subtracted);
        if constexpr (CanOverflow) value = ForbidLargest(d, value);
        hn::Store(value, d, cells + i);
        return hn::Eq(value, hn::Zero(d));
    });
}

// The same for a covered column.
template <std::size_t Count, class D>
HWY_INLINE void RaiseCells(D d, float* cells, hn::Vec<D> const* raises) {
    for (std::size_t i = 0; i < Count; i += hn::Lanes(d)) {
        hn::Store(hn::Add(hn::Load(d, cells + i), raises[i / hn::Lanes(d)]), d, cells + i);
    }
}

}  // namespace kes::algorithm::tracking_base::hungarian::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
