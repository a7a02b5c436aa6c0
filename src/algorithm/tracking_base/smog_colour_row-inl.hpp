// ReadCell in lanes, one cell a lane, with the same bits as the plain one. Compiled once for every
// instruction set; include it as smog_colour_row.cpp does.
#if defined(KES_SMOG_COLOUR_ROW_INL_HPP) == defined(HWY_TARGET_TOGGLE)
#ifdef KES_SMOG_COLOUR_ROW_INL_HPP
#undef KES_SMOG_COLOUR_ROW_INL_HPP
#else
#define KES_SMOG_COLOUR_ROW_INL_HPP
#endif

#include <cstddef>
#include <cstdint>
#include <utility>

#include <hwy/highway.h>

#include "algorithm/tracking_base/smog_colour_row.hpp"

HWY_BEFORE_NAMESPACE();
namespace kes::algorithm::tracking_base::appearance::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

// A cell has 16 bits, which is two of its pixels' bytes side by side; where it needs 32, halves of
// the cells are worked on in turn.
using D16 = hn::ScalableTag<std::uint16_t>;
using V16 = hn::Vec<D16>;
using I16 = hn::RebindToSigned<D16>;
using VI16 = hn::Vec<I16>;
using Half16 = hn::Half<D16>;
using HalfI16 = hn::Half<I16>;
using D32 = hn::RepartitionToWide<I16>;
using V32 = hn::Vec<D32>;
using DF = hn::RebindToFloat<D32>;
using VF = hn::Vec<DF>;
using D8 = hn::Repartition<std::uint8_t, D16>;
using V8 = hn::Vec<D8>;

// Three channels of each cell, 0 to 255: R, G, B or Y, U, V.
struct Blocks {
    V16 a;
    V16 b;
    V16 c;
};

struct RgiLanes {
    V16 r;
    V16 g;
    V16 i;
};

// --- reading; every load ends with the last pixel of the last cell

// Each pair of bytes is a cell's left and right pixel.
inline V16 SumOfPairs(V8 bytes) {
    V16 const pairs = hn::BitCast(D16(), bytes);
    return hn::Add(hn::And(pairs, hn::Set(D16(), 0xFF)), hn::ShiftRight<8>(pairs));
}

inline V16 MeanOfFour(V8 above, V8 below) {
    return hn::ShiftRight<2>(hn::Add(SumOfPairs(above), SumOfPairs(below)));
}

inline Blocks LoadPacked(CellRow const& row, std::size_t cell) {
    V8 above[3];
    V8 below[3];
    hn::LoadInterleaved3(D8(), row.above + 6 * cell, above[0], above[1], above[2]);
    hn::LoadInterleaved3(D8(), row.below + 6 * cell, below[0], below[1], below[2]);
    return {MeanOfFour(above[0], below[0]), MeanOfFour(above[1], below[1]),
            MeanOfFour(above[2], below[2])};
}

inline Blocks LoadNv12(CellRow const& row, std::size_t cell) {
    V16 const uv = hn::BitCast(D16(), hn::LoadU(D8(), row.chroma + 2 * cell));
    return {
        MeanOfFour(hn::LoadU(D8(), row.above + 2 * cell), hn::LoadU(D8(), row.below + 2 * cell)),
        hn::And(uv, hn::Set(D16(), 0xFF)), hn::ShiftRight<8>(uv)};
}

// --- converting

// A linear form of u and v, rounded down to a whole number.
inline V32 Mixed(V32 u, std::int32_t uFactor, V32 v, std::int32_t vFactor) {
    return hn::ShiftRight<YuvToRgb::FractionBits>(
        hn::Add(hn::Mul(u, hn::Set(D32(), uFactor)), hn::Mul(v, hn::Set(D32(), vFactor))));
}

inline VI16 Joined(V32 lower, V32 upper) {
    return hn::Combine(I16(), hn::DemoteTo(HalfI16(), upper), hn::DemoteTo(HalfI16(), lower));
}

// Luma is whole, so that it can be added after the rounding.
inline Blocks ToRgb(Blocks const& yuv) {
    VI16 const y = hn::BitCast(I16(), yuv.a);
    VI16 const u = hn::Sub(hn::BitCast(I16(), yuv.b), hn::Set(I16(), 128));
    VI16 const v = hn::Sub(hn::BitCast(I16(), yuv.c), hn::Set(I16(), 128));
    V32 const lowerU = hn::PromoteTo(D32(), hn::LowerHalf(HalfI16(), u));
    V32 const upperU = hn::PromoteTo(D32(), hn::UpperHalf(HalfI16(), u));
    V32 const lowerV = hn::PromoteTo(D32(), hn::LowerHalf(HalfI16(), v));
    V32 const upperV = hn::PromoteTo(D32(), hn::UpperHalf(HalfI16(), v));
    auto const channel = [&](std::int32_t uFactor, std::int32_t vFactor) HWY_ATTR {
        VI16 const offset = Joined(Mixed(lowerU, uFactor, lowerV, vFactor),
                                   Mixed(upperU, uFactor, upperV, vFactor));
        VI16 const clamped =
            hn::Min(hn::Max(hn::Add(y, offset), hn::Zero(I16())), hn::Set(I16(), 255));
        return hn::BitCast(D16(), clamped);
    };
    return {channel(0, YuvToRgb::RedOfV), channel(YuvToRgb::GreenOfU, YuvToRgb::GreenOfV),
            channel(YuvToRgb::BlueOfU, 0)};
}

// The share of a channel, 256 for all of the light, from 1 / light. The half added keeps the
// quotient at least 0.5 / 765 from the next integer on either side, twenty times as far as the
// rounding of reciprocal and product can move a value of at most 257.
inline V32 ShareOf(V32 channel, VF reciprocal) {
    VF const scaled = hn::ConvertTo(DF(), hn::ShiftLeft<8>(channel));
    return hn::ConvertTo(D32(), hn::Mul(hn::Add(scaled, hn::Set(DF(), 0.5F)), reciprocal));
}

inline V16 ToUnsigned(VI16 values) { return hn::BitCast(D16(), values); }

inline RgiLanes ToRgi(Blocks const& rgb) {
    V16 const light = hn::Add(hn::Add(rgb.a, rgb.b), rgb.c);
    V16 const divisor = hn::Max(light, hn::Set(D16(), 1));
    VF const one = hn::Set(DF(), 1.0F);
    auto const lower = [](V16 values) HWY_ATTR {
        return hn::PromoteTo(D32(), hn::LowerHalf(Half16(), values));
    };
    auto const upper = [](V16 values) HWY_ATTR {
        return hn::PromoteTo(D32(), hn::UpperHalf(Half16(), values));
    };
    VF const lowerReciprocal = hn::Div(one, hn::ConvertTo(DF(), lower(divisor)));
    VF const upperReciprocal = hn::Div(one, hn::ConvertTo(DF(), upper(divisor)));
    auto const share = [&](V16 channel) HWY_ATTR {
        return ToUnsigned(Joined(ShareOf(lower(channel), lowerReciprocal),
                                 ShareOf(upper(channel), upperReciprocal)));
    };
    // (light - 1) / 3 of 1 to 765; 21846 is 2^16 / 3 and a little.
    V16 const intensity =
        hn::MulHigh(hn::SaturatedSub(light, hn::Set(D16(), 1)), hn::Set(D16(), 21846));
    return {share(rgb.a), share(rgb.b), intensity};
}

// --- a row

template <media::ColourFormat Format>
RgiLanes ReadLanes(CellRow const& row, std::size_t cell) {
    using media::ColourFormat;
    if constexpr (Format == ColourFormat::Nv12) {
        return ToRgi(ToRgb(LoadNv12(row, cell)));
    } else {
        Blocks blocks = LoadPacked(row, cell);
        if constexpr (Format == ColourFormat::Bgr) std::swap(blocks.a, blocks.c);
        if constexpr (Format == ColourFormat::Yuv) blocks = ToRgb(blocks);
        return ToRgi(blocks);
    }
}

// Reads whole vectors of cells and returns how many cells they hold.
template <media::ColourFormat Format>
std::size_t ReadInLanes(CellRow const& row, std::size_t count, Colours& colours) {
    std::size_t const lanes = hn::Lanes(D16());
    std::size_t cell = 0;
    for (; cell + lanes <= count; cell += lanes) {
        RgiLanes const rgi = ReadLanes<Format>(row, cell);
        hn::StoreU(rgi.r, D16(), &colours.r[cell]);
        hn::StoreU(rgi.g, D16(), &colours.g[cell]);
        hn::StoreU(rgi.i, D16(), &colours.i[cell]);
    }
    return cell;
}

}  // namespace kes::algorithm::tracking_base::appearance::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif  // KES_SMOG_COLOUR_ROW_INL_HPP
