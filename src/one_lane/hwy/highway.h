// What this library uses of Highway, with vectors of one lane: for builds where Highway is not
// installed. The segmenter and the appearance model then run their plain code; the solver's passes
// are compiled from the same source as with Highway, one element at a time, and mark the same.
#pragma once

#include <bit>
#include <cmath>
#include <cstdint>
#include <type_traits>
#include <vector>

#define HWY_SCALAR (1LL << 62)
#define HWY_EMU128 (1LL << 61)
#define HWY_AVX2 (1LL << 9)
#define HWY_AVX3 (1LL << 8)
#define HWY_TARGET HWY_SCALAR
#define HWY_STATIC_TARGET HWY_SCALAR
#define HWY_HAVE_SCALABLE 0
#define HWY_ONCE 1

#define HWY_NAMESPACE N_ONE_LANE
#define HWY_BEFORE_NAMESPACE() static_assert(true)
#define HWY_AFTER_NAMESPACE() static_assert(true)
#define HWY_EXPORT(function) static_assert(true)
#define HWY_DYNAMIC_DISPATCH(function) HWY_NAMESPACE::function

#define HWY_ALIGN alignas(64)
#define HWY_ATTR
#define HWY_INLINE inline __attribute__((always_inline))
#define HWY_NOINLINE __attribute__((noinline))

namespace hwy {

inline std::int64_t SupportedTargets() { return HWY_TARGET; }
inline std::vector<std::int64_t> SupportedAndGeneratedTargets() { return {HWY_TARGET}; }
inline void SetSupportedTargetsForTest(std::int64_t) {}
inline char const* TargetName(std::int64_t) { return "OneLane"; }

struct ChosenTarget {
    void Update(std::int64_t) {}
};
inline ChosenTarget GetChosenTarget() { return {}; }

namespace HWY_NAMESPACE {

// Vectors are numbers and masks are bool.
template <class T>
struct Tag {
    using Lane = T;
};

template <class T, std::size_t>
using CappedTag = Tag<T>;
template <class T>
using ScalableTag = Tag<T>;
template <class D>
using Vec = typename D::Lane;
template <class D>
using Mask = std::enable_if_t<(sizeof(D) > 0), bool>;

// The unsigned number of the same bits.
template <class T>
using BitsOfLane = std::conditional_t<
    sizeof(T) == 8, std::uint64_t,
    std::conditional_t<sizeof(T) == 4, std::uint32_t,
                       std::conditional_t<sizeof(T) == 2, std::uint16_t, std::uint8_t>>>;
template <class D>
using RebindToSigned = Tag<std::make_signed_t<BitsOfLane<Vec<D>>>>;

template <class D>
constexpr std::size_t Lanes(D) {
    return 1;
}
template <class D>
constexpr std::size_t MaxLanes(D) {
    return 1;
}

template <class D>
Vec<D> Zero(D) {
    return 0;
}
template <class D>
Vec<D> Set(D, Vec<D> value) {
    return value;
}
template <class D>
Vec<D> Iota(D, Vec<D> first) {
    return first;
}
template <class D>
Vec<D> Load(D, Vec<D> const* from) {
    return *from;
}
template <class D>
Vec<D> LoadU(D, Vec<D> const* from) {
    return *from;
}
template <class D>
void Store(Vec<D> value, D, Vec<D>* to) {
    *to = value;
}
template <class T>
T GetLane(T value) {
    return value;
}

template <class T>
T Add(T a, T b) {
    return a + b;
}
template <class T>
T Sub(T a, T b) {
    return a - b;
}
template <class T>
T Mul(T a, T b) {
    return a * b;
}
template <class T>
T Abs(T value) {
    return std::abs(value);
}
template <class T>
T Min(T a, T b) {
    return a < b ? a : b;
}
template <class T>
T Max(T a, T b) {
    return a > b ? a : b;
}
template <class D>
Vec<D> MinOfLanes(D, Vec<D> value) {
    return value;
}
template <class D>
Vec<D> MaxOfLanes(D, Vec<D> value) {
    return value;
}

template <class T>
bool Eq(T a, T b) {
    return a == b;
}
template <class T>
bool Lt(T a, T b) {
    return a < b;
}
template <class T>
bool Le(T a, T b) {
    return a <= b;
}
template <class T>
bool Gt(T a, T b) {
    return a > b;
}
template <class T>
bool TestBit(T value, T bit) {
    return (value & bit) != 0;
}

// Of vectors, bit by bit.
template <class T>
T And(T a, T b) {
    using Bits = BitsOfLane<T>;
    return std::bit_cast<T>(static_cast<Bits>(std::bit_cast<Bits>(a) & std::bit_cast<Bits>(b)));
}
inline bool And(bool a, bool b) { return a && b; }
inline bool Or(bool a, bool b) { return a || b; }
inline bool AndNot(bool a, bool b) { return !a && b; }

// A mask as a vector: all bits of a lane are set, or none.
template <class D>
Vec<D> VecFromMask(D, bool mask) {
    return std::bit_cast<Vec<D>>(static_cast<BitsOfLane<Vec<D>>>(mask ? -1 : 0));
}
template <class T>
bool MaskFromVec(T mask) {
    return std::bit_cast<BitsOfLane<T>>(mask) != 0;
}
template <class D>
bool RebindMask(D, bool mask) {
    return mask;
}
template <class T>
T IfThenElse(bool mask, T yes, T no) {
    return mask ? yes : no;
}
template <class T>
T IfThenElseZero(bool mask, T yes) {
    return mask ? yes : T{0};
}
template <class T>
T IfVecThenElse(T mask, T yes, T no) {
    return MaskFromVec(mask) ? yes : no;
}

template <class D>
bool AllTrue(D, bool mask) {
    return mask;
}
template <class D>
bool AllFalse(D, bool mask) {
    return !mask;
}
template <class D>
std::size_t CountTrue(D, bool mask) {
    return mask ? 1 : 0;
}
template <class D>
std::intptr_t FindFirstTrue(D, bool mask) {
    return mask ? 0 : -1;
}
template <class D>
bool FirstN(D, std::size_t count) {
    return count > 0;
}
template <class D>
bool LoadMaskBits(D, std::uint8_t const* bits) {
    return (*bits & 1) != 0;
}
template <class D>
std::size_t StoreMaskBits(D, bool mask, std::uint8_t* bits) {
    *bits = mask ? 1 : 0;
    return 1;
}

}  // namespace HWY_NAMESPACE
}  // namespace hwy
