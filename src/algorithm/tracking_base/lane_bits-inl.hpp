// Masks of at most 32 lanes as bits, the first lane's the least significant, in either byte order.
// Included once for each instruction set by foreach_target.h.

#if defined(KES_LANE_BITS_INL_HPP) == defined(HWY_TARGET_TOGGLE)
#ifdef KES_LANE_BITS_INL_HPP
#undef KES_LANE_BITS_INL_HPP
#else
#define KES_LANE_BITS_INL_HPP
#endif

#include <bit>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace kes::algorithm::tracking_base::HWY_NAMESPACE {

// Highway stores bits as bytes, the first lanes' first. Its own inverse.
template <class Bits>
HWY_INLINE Bits FirstByteLowest(Bits bits) {
    if constexpr (std::endian::native == std::endian::little) return bits;
    Bits reversed = 0;
    for (std::size_t i = 0; i < sizeof bits; ++i) {
        std::size_t const from = 8 * i;
        std::size_t const to = 8 * (sizeof bits - 1 - i);
        reversed = static_cast<Bits>(reversed | (bits >> from & 255) << to);
    }
    return reversed;
}

template <class D>
HWY_INLINE std::uint32_t BitsOf(D d, hwy::HWY_NAMESPACE::Mask<D> mask) {
    // As wide as what is stored: a wider load would wait for the store to reach memory.
    constexpr std::size_t Count = hwy::HWY_NAMESPACE::MaxLanes(D());
    using Bits = std::conditional_t<(Count > 16), std::uint32_t,
                                    std::conditional_t<(Count > 8), std::uint16_t, std::uint8_t>>;
    Bits bits = 0;
    hwy::HWY_NAMESPACE::StoreMaskBits(d, mask, reinterpret_cast<std::uint8_t*>(&bits));
    return FirstByteLowest(bits);
}

template <class D>
HWY_INLINE hwy::HWY_NAMESPACE::Mask<D> LanesOf(D d, std::uint32_t bits) {
    std::uint32_t const bytes = FirstByteLowest(bits);
    return hwy::HWY_NAMESPACE::LoadMaskBits(d, reinterpret_cast<std::uint8_t const*>(&bytes));
}

}  // namespace kes::algorithm::tracking_base::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
