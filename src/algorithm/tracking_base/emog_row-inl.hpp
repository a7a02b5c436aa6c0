// A strip of cells at once, one cell a lane: the verbs of emog_cell.hpp under their names and in
// their order, bit for bit the same results. Compiled once for every instruction set; include it
// as emog_row.cpp does.
#if defined(KES_EMOG_ROW_INL_HPP) == defined(HWY_TARGET_TOGGLE)
#ifdef KES_EMOG_ROW_INL_HPP
#undef KES_EMOG_ROW_INL_HPP
#else
#define KES_EMOG_ROW_INL_HPP
#endif

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include <hwy/cache_control.h>
#include <hwy/highway.h>

#include "algorithm/tracking_base/emog_model.hpp"
#include "algorithm/tracking_base/emog_row.hpp"
#include "algorithm/tracking_base/emog_state.hpp"
#include "algorithm/tracking_base/lane_bits-inl.hpp"

HWY_BEFORE_NAMESPACE();
namespace kes::algorithm::tracking_base::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

// Sixteen bits hold a feature, a mean, a deviation or an age. A strip is as many cells as a vector
// has such lanes, at most a tile's 32.
using D16 = hn::CappedTag<std::uint16_t, 32>;
using V16 = hn::Vec<D16>;
using Lanes = hn::Mask<D16>;  // a truth for each cell
constexpr std::size_t StripCells = hn::MaxLanes(D16());

// Squares need 32 bits and come in two vectors, for the cells with even and with odd numbers. To
// part these and to join them again takes no shuffles, of which transposing needs many.
using D32 = hn::Repartition<std::int32_t, D16>;
using V32 = hn::Vec<D32>;
struct Wide {
    V32 even;
    V32 odd;
};

struct Features {
    V16 at[FeatureCount];
};

struct FeatureLanes {
    V16 mean;
    V16 stdDev;
};

struct ModeLanes {
    V16 count;
    FeatureLanes features[FeatureCount];
};

struct CellLanes {
    ModeLanes slots[SlotCount];
};

// Bit i is cell i of the strip.
using StripBits = std::uint32_t;

struct Commands {
    StripBits reset;
    StripBits freeze;
};

struct Match {
    Lanes inSlot[SlotCount];
    Lanes isNone;
    ModeLanes mode;  // any for None
};

struct Placement {
    Lanes inSlot[SlotCount];
    V16 count;
    Lanes relearn;
};

struct Outputs {
    StripBits young;
    StripBits stationary;
    bool isQuiet;  // needed nothing but the backgrounds
};

// ------------------------------------------------------------------------------- small arithmetic

HWY_INLINE V16 AbsoluteDifference(V16 a, V16 b) {
    return hn::Or(hn::SaturatedSub(a, b), hn::SaturatedSub(b, a));  // one of the two is 0
}

HWY_INLINE Lanes IsZero(D16 d, V16 v) { return hn::Eq(v, hn::Zero(d)); }

HWY_INLINE Lanes IsAtLeast(V16 a, V16 b) { return hn::Eq(hn::Max(a, b), a); }

// low16(stdDev * scale >> 8) for any 32-bit scale. With scale = 256 h + l the product shifted is
// stdDev * h + (stdDev * l >> 8): the first summand has no bits below the shift. Of stdDev * h 16
// bits count, so 16 bits of h do; (stdDev * l >> 8) is the upper half of stdDev * 256 l.
HWY_INLINE V16 Tolerance(D16 d, V16 stdDev, std::uint32_t scale) {
    V16 const h = hn::Set(d, static_cast<std::uint16_t>(scale >> 8));
    V16 const l = hn::Set(d, static_cast<std::uint16_t>((scale & 255) << 8));
    return hn::Add(hn::Mul(stdDev, h), hn::MulHigh(stdDev, l));
}

HWY_INLINE Wide Square(V16 v) {
    D32 const d;
    hn::RebindToUnsigned<D32> const du;
    V32 const even = hn::And(hn::BitCast(d, v), hn::Set(d, 0xFFFF));
    V32 const odd = hn::BitCast(d, hn::ShiftRight<16>(hn::BitCast(du, v)));
    return {hn::Mul(even, even), hn::Mul(odd, odd)};
}

// The lower halves of the one and the upper halves of the other.
HWY_INLINE V16 Join(D16 d, V32 lower, V32 upper) {
    return hn::OddEven(hn::BitCast(d, upper), hn::BitCast(d, lower));
}

// Below this deviation roots and means are simpler to make: 16 luminance steps.
constexpr std::uint16_t Far = 4096;

// The integer part of sqrt(v) for 0 <= v <= 2^27. The float of v is off by less than one in 2^24,
// so the float root is off by less than 11586 / 2^24 < 0.01 and its nearest integer is the root's
// integer part or one more, which its square tells. Adding 2^23 rounds the root to that integer and
// leaves it in the low bits of the float. (NearestInt serves all floats, with five instructions.)
HWY_INLINE V32 FloorSqrt(V32 v) {
    D32 const d;
    hn::RebindToFloat<D32> const df;
    V32 const bitsOfTwoTo23 = hn::Set(d, 0x4B000000);
    auto const rounded = hn::Add(hn::Sqrt(hn::ConvertTo(df, v)), hn::BitCast(df, bitsOfTwoTo23));
    V32 const nearest = hn::Sub(hn::BitCast(d, rounded), bitsOfTwoTo23);
    return hn::Add(nearest, hn::VecFromMask(d, hn::Gt(hn::Mul(nearest, nearest), v)));
}

HWY_INLINE V16 FloorSqrt(D16 d, Wide const& v) {
    return Join(d, FloorSqrt(v.even), hn::ShiftLeft<16>(FloorSqrt(v.odd)));
}

// The same for 0 < v < Far^2, which a float holds exactly. The root of n^2 - 1 is more than 1 / 2n
// below n, at least half the step between floats there, so no root is rounded up to n. The sum of a
// root and 2^22 - 1/4 lies where floats are 1/2 apart, and its nearest float (of two, the even one,
// which is whole) is n for roots from n on and at most n + 1/2 for those below n + 1. Its bits 1 to
// 16 are n.
HWY_INLINE V16 FloorSqrtNear(D16 d, Wide const& v) {
    D32 const d32;
    hn::RebindToFloat<D32> const df;
    V32 const bitsBelowTwoTo22 = hn::Set(d32, 0x4A7FFFFF);
    auto const halves = [&](V32 squared) HWY_ATTR {
        auto const root = hn::Sqrt(hn::ConvertTo(df, squared));
        return hn::BitCast(d32, hn::Add(root, hn::BitCast(df, bitsBelowTwoTo22)));
    };
    return Join(d, hn::ShiftRight<1>(halves(v.even)), hn::ShiftLeft<15>(halves(v.odd)));
}

// Learning weights, out of 256. Steps are rounded toward minus infinity.
//
// The steady weight of 2: step = floor((to - from) / 128).
struct SteadyRate {
    explicit SteadyRate(std::int32_t) {}

    // Up by rise / 128, down by fall / 128 rounded up; rise or fall is 0.
    HWY_INLINE V16 Move(D16 d, V16 from, V16 to) const {
        V16 const rise = hn::SaturatedSub(to, from);
        V16 const fall = hn::SaturatedSub(from, to);
        // (fall + 127) >> 7 without a carry out of 16 bits: AverageRound is (a + b + 1) >> 1.
        V16 const down = hn::ShiftRight<6>(hn::AverageRound(fall, hn::Set(d, std::uint16_t{126})));
        return hn::Sub(hn::Add(from, hn::ShiftRight<7>(rise)), down);
    }

    // The same for a difference below Far.
    HWY_INLINE V16 MoveNear(D16 d, V16 from, V16 to) const {
        hn::Repartition<std::int16_t, D16> const di;
        auto const difference = hn::BitCast(di, hn::Sub(to, from));
        return hn::Add(from, hn::BitCast(d, hn::ShiftRight<7>(difference)));
    }

    HWY_INLINE V32 Move(V32 from, V32 to) const {
        return hn::Add(from, hn::ShiftRight<7>(hn::Sub(to, from)));
    }
};

// The first frame's weight of 256: the observation itself.
struct WholeRate {
    explicit WholeRate(std::int32_t) {}

    HWY_INLINE V16 Move(D16, V16, V16 to) const { return to; }
    HWY_INLINE V16 MoveNear(D16, V16, V16 to) const { return to; }
    HWY_INLINE V32 Move(V32, V32 to) const { return to; }
};

// Any weight from 0 to 255.
struct AnyRate {
    explicit AnyRate(std::int32_t rate) : rate(rate) {}

    // distance * rate / 256 is the upper half of distance * 256 rate; a lower half other than 0 is
    // what rounding up adds one for.
    HWY_INLINE V16 Move(D16 d, V16 from, V16 to) const {
        V16 const weight = hn::Set(d, static_cast<std::uint16_t>(rate << 8));
        V16 const rise = hn::SaturatedSub(to, from);
        V16 const fall = hn::SaturatedSub(from, to);
        V16 const one = hn::Set(d, std::uint16_t{1});
        V16 const isWhole = hn::VecFromMask(d, IsZero(d, hn::Mul(fall, weight)));
        V16 const down = hn::Add(hn::MulHigh(fall, weight), hn::Add(one, isWhole));
        return hn::Sub(hn::Add(from, hn::MulHigh(rise, weight)), down);
    }

    HWY_INLINE V16 MoveNear(D16 d, V16 from, V16 to) const { return Move(d, from, to); }

    // With to - from = 256 h + l, 0 <= l < 256, the step is h * rate + (l * rate >> 8): no product
    // leaves 32 bits while the squares stay within 2^27.
    HWY_INLINE V32 Move(V32 from, V32 to) const {
        D32 const d;
        V32 const weight = hn::Set(d, rate);
        V32 const difference = hn::Sub(to, from);
        V32 const h = hn::ShiftRight<8>(difference);
        V32 const l = hn::And(difference, hn::Set(d, 255));
        V32 const step = hn::Add(hn::Mul(h, weight), hn::ShiftRight<8>(hn::Mul(l, weight)));
        return hn::Add(from, step);
    }

    std::int32_t rate;
};

HWY_INLINE V32 ClampSquaredDeviation(V32 squared) {
    D32 const d;
    hn::RebindToUnsigned<D32> const du;
    // Unsigned: a difference of 16 bits has a square of 32.
    auto const capped = hn::Min(hn::BitCast(du, squared), hn::Set(du, MaxSquaredDeviation));
    return hn::Max(hn::BitCast(d, capped), hn::Set(d, std::int32_t{MinSquaredDeviation}));
}

// ---------------------------------------------------------------------------------------- storage

// Where a strip's cells lie: lane 0 is number `lane` of the tiles' 32. Tiles are aligned and hold
// whole strips.
struct Strip {
    FieldLine* background;
    FieldLine* younger;
    std::size_t lane;
};

// Which of a strip's lanes are cells. At the end of a row the others are padding, whose records
// stay empty.
struct AllCells {};
struct SomeCells {
    Lanes lanes;
};

HWY_INLINE V16 Load(D16 d, FieldLine const& line, std::size_t lane) {
    return hn::Load(d, line.at.data() + lane);
}

HWY_INLINE void Store(AllCells, V16 v, D16 d, FieldLine& line, std::size_t lane) {
    hn::Store(v, d, line.at.data() + lane);
}
HWY_INLINE void Store(SomeCells cells, V16 v, D16 d, FieldLine& line, std::size_t lane) {
    hn::Store(hn::IfThenElseZero(cells.lanes, v), d, line.at.data() + lane);
}

// Slot 0 with the count of slot 1 behind it, which tells whether there is more to a cell.
struct Background {
    ModeLanes mode;
    V16 youngerCount;
};

HWY_INLINE Background LoadBackground(D16 d, Strip const& strip) {
    auto const field = [&](std::size_t i)
                           HWY_ATTR { return Load(d, strip.background[i], strip.lane); };
    return {{field(0), {{field(1), field(2)}, {field(3), field(4)}, {field(5), field(6)}}},
            field(7)};
}

template <class Cells>
HWY_INLINE void StoreBackground(D16 d, Cells cells, ModeLanes const& mode, V16 youngerCount,
                                Strip const& strip) {
    FieldLine* const fields = strip.background;
    Store(cells, mode.count, d, fields[0], strip.lane);
    for (std::size_t i = 0; i < FeatureCount; ++i) {
        Store(cells, mode.features[i].mean, d, fields[1 + 2 * i], strip.lane);
        Store(cells, mode.features[i].stdDev, d, fields[2 + 2 * i], strip.lane);
    }
    Store(cells, youngerCount, d, fields[7], strip.lane);
}

HWY_INLINE CellLanes LoadCells(D16 d, Strip const& strip) {
    Background const background = LoadBackground(d, strip);
    auto const field = [&](std::size_t i)
                           HWY_ATTR { return Load(d, strip.younger[i], strip.lane); };
    return {{background.mode,
             {background.youngerCount,
              {{field(0), field(1)}, {field(2), field(3)}, {field(4), field(5)}}},
             {field(6), {{field(7), field(8)}, {field(9), field(10)}, {field(11), field(12)}}}}};
}

template <class Cells>
HWY_INLINE void StoreCells(D16 d, Cells cells, CellLanes const& cell, Strip const& strip) {
    StoreBackground(d, cells, cell.slots[0], cell.slots[1].count, strip);
    FieldLine* const fields = strip.younger;
    Store(cells, cell.slots[2].count, d, fields[6], strip.lane);
    for (std::size_t i = 0; i < FeatureCount; ++i) {
        Store(cells, cell.slots[1].features[i].mean, d, fields[2 * i], strip.lane);
        Store(cells, cell.slots[1].features[i].stdDev, d, fields[2 * i + 1], strip.lane);
        Store(cells, cell.slots[2].features[i].mean, d, fields[2 * i + 7], strip.lane);
        Store(cells, cell.slots[2].features[i].stdDev, d, fields[2 * i + 8], strip.lane);
    }
}

// -------------------------------------------------------------------------------------- the verbs

// Of the two bytes of each lane, the lower one times `lower` and the upper one times `upper`;
// weights of at most 64, so that sums have 15 bits. x86 has an instruction for it that Highway
// lacks.
#if HWY_ARCH_X86
HWY_INLINE __m128i MultiplyAddBytes(__m128i bytes, __m128i weights) {
    return _mm_maddubs_epi16(bytes, weights);
}
#if HWY_TARGET <= HWY_AVX2
HWY_INLINE __m256i MultiplyAddBytes(__m256i bytes, __m256i weights) {
    return _mm256_maddubs_epi16(bytes, weights);
}
#endif
#if HWY_TARGET <= HWY_AVX3
HWY_INLINE __m512i MultiplyAddBytes(__m512i bytes, __m512i weights) {
    return _mm512_maddubs_epi16(bytes, weights);
}
#endif
HWY_INLINE V16 WeighPairs(D16 d, V16 pairs, int lower, int upper) {
    V16 const weights = hn::Set(d, static_cast<std::uint16_t>(lower | upper << 8));
    return V16{MultiplyAddBytes(pairs.raw, weights.raw)};
}
#else
HWY_INLINE V16 WeighPairs(D16 d, V16 pairs, int lower, int upper) {
    V16 const lowerBytes = hn::And(pairs, hn::Set(d, std::uint16_t{255}));
    return hn::Add(
        hn::Mul(lowerBytes, hn::Set(d, static_cast<std::uint16_t>(lower))),
        hn::Mul(hn::ShiftRight<8>(pairs), hn::Set(d, static_cast<std::uint16_t>(upper))));
}
#endif

// Loads 2 * lanes + 2 pixels of four rows: those of the strip's cells and no more.
HWY_INLINE Features Observe(D16 d, unsigned char const* patch, std::ptrdiff_t stride) {
    hn::Repartition<std::uint8_t, D16> const d8;
    V16 left[PatchSize];   // of each row, 3 times the first pixel and once the second
    V16 right[PatchSize];  // once the third and 3 times the last
    V16 rows[PatchSize];
    for (int row = 0; row < PatchSize; ++row) {
        // A lane of these is a pair of neighbours, the left one in its lower byte.
        V16 const first = hn::BitCast(d, hn::LoadU(d8, patch + row * stride));
        V16 const last = hn::BitCast(d, hn::LoadU(d8, patch + row * stride + 2));
        left[row] = WeighPairs(d, first, 3, 1);
        right[row] = WeighPairs(d, last, 1, 3);
        rows[row] = hn::Add(WeighPairs(d, first, 1, 1), WeighPairs(d, last, 1, 1));
    }
    auto const triple = [](V16 v) HWY_ATTR { return hn::Add(hn::Add(v, v), v); };
    // Sums wrap at 16 bits on the way and are right in the end: they lie within 128 and 65408.
    auto const gradient = [d](V16 sum) HWY_ATTR {
        V16 const offset = hn::Set(d, static_cast<std::uint16_t>(GradientOffset));
        return hn::ShiftLeft<3>(hn::Add(sum, offset));
    };
    V16 const innerLeft = hn::Add(left[1], left[2]);
    V16 const innerRight = hn::Add(right[1], right[2]);
    V16 const allLeft = hn::Add(innerLeft, hn::Add(left[0], left[3]));
    V16 const allRight = hn::Add(innerRight, hn::Add(right[0], right[3]));
    V16 const down = hn::Add(triple(hn::Sub(rows[0], rows[3])), hn::Sub(rows[1], rows[2]));
    // Three of each pixel of the inner rows, less three of the outer and one of the inner ones.
    V16 const twiceCentral =
        hn::Sub(triple(hn::Add(rows[1], rows[2])), hn::Add(innerLeft, innerRight));
    return {{gradient(hn::Sub(allLeft, allRight)), gradient(down), hn::ShiftLeft<5>(twiceCentral)}};
}

HWY_INLINE Lanes Fits(D16 d, ModeLanes const& mode, Features const& features,
                      FrameValues const& values) {
    // How far within its tolerance each feature lies; 0 where it does not fit.
    V16 margin[FeatureCount];
    for (std::size_t i = 0; i < FeatureCount; ++i) {
        FeatureLanes const& model = mode.features[i];
        margin[i] = hn::SaturatedSub(Tolerance(d, model.stdDev, values.matchScale),
                                     AbsoluteDifference(features.at[i], model.mean));
    }
    return hn::Not(IsZero(d, hn::Min(hn::Min(margin[0], margin[1]), margin[2])));
}

HWY_INLINE ModeLanes IfThenElse(Lanes lanes, ModeLanes const& yes, ModeLanes const& no) {
    ModeLanes mode{};
    mode.count = hn::IfThenElse(lanes, yes.count, no.count);
    for (std::size_t i = 0; i < FeatureCount; ++i) {
        FeatureLanes const& a = yes.features[i];
        FeatureLanes const& b = no.features[i];
        mode.features[i] = {hn::IfThenElse(lanes, a.mean, b.mean),
                            hn::IfThenElse(lanes, a.stdDev, b.stdDev)};
    }
    return mode;
}

HWY_INLINE Match FindMatch(D16 d, CellLanes const& cell, Features const& features,
                           FrameValues const& values) {
    ModeLanes const* const slots = cell.slots;
    Lanes const fits0 = Fits(d, slots[0], features, values);
    Lanes const fits1 = Fits(d, slots[1], features, values);
    Lanes const fits2 = Fits(d, slots[2], features, values);
    Lanes const fits01 = hn::Or(fits0, fits1);
    return {{fits0, hn::AndNot(fits0, fits1), hn::AndNot(fits01, fits2)},
            hn::Not(hn::Or(fits01, fits2)),
            IfThenElse(fits0, slots[0], IfThenElse(fits1, slots[1], slots[2]))};
}

HWY_INLINE Placement Place(D16 d, CellLanes const& cell, Match const& match, Lanes reset,
                           Lanes freeze, FrameValues const& values) {
    V16 const one = hn::Set(d, std::uint16_t{1});
    Lanes const relearn = hn::Or(reset, match.isNone);
    V16 const grown = hn::Add(match.mode.count, hn::IfThenZeroElse(freeze, one));
    V16 const count = hn::Min(hn::IfThenElse(relearn, one, grown), hn::Set(d, values.maxCount));

    Lanes const passesSlot0 = hn::Or(reset, IsAtLeast(count, cell.slots[0].count));
    Lanes const passesSlot1 = hn::Or(reset, IsAtLeast(count, cell.slots[1].count));
    Lanes const fromSlot2 = hn::Or(match.inSlot[2], match.isNone);
    Lanes const inSlot2 = hn::AndNot(passesSlot1, fromSlot2);
    Lanes const reachesSlot1 = hn::Or(match.inSlot[1], hn::And(fromSlot2, passesSlot1));
    Lanes const inSlot1 = hn::AndNot(passesSlot0, reachesSlot1);
    Lanes const inSlot0 = hn::Not(hn::Or(inSlot1, inSlot2));
    return {{inSlot0, inSlot1, inSlot2}, count, relearn};
}

HWY_INLINE void Clear(Lanes lanes, ModeLanes& mode) {
    mode.count = hn::IfThenZeroElse(lanes, mode.count);
    for (FeatureLanes& feature : mode.features) {
        feature.stdDev = hn::IfThenZeroElse(lanes, feature.stdDev);
    }
}

HWY_INLINE void ClearYounger(D16 d, CellLanes& cell, Placement const& placement) {
    Lanes const stopsAt1 = IsZero(d, cell.slots[1].count);
    Lanes const stopsAt2 = IsZero(d, cell.slots[2].count);
    Lanes const clears1 = hn::AndNot(stopsAt1, placement.inSlot[0]);
    Lanes const clears2 = hn::AndNot(stopsAt2, hn::Or(clears1, placement.inSlot[1]));
    Clear(clears1, cell.slots[1]);
    Clear(clears2, cell.slots[2]);
}

// The mode that has matched, one observation on.
template <class Rate>
HWY_INLINE FeatureLanes Learned(D16 d, FeatureLanes const& old, V16 feature, Rate const& rate) {
    Wide const squared = Square(AbsoluteDifference(feature, old.mean));
    Wide const oldSquared = Square(old.stdDev);
    V32 const even = rate.Move(oldSquared.even, ClampSquaredDeviation(squared.even));
    V32 const odd = rate.Move(oldSquared.odd, ClampSquaredDeviation(squared.odd));
    return {rate.Move(d, old.mean, feature), FloorSqrt(d, {even, odd})};
}

// The deviation that a mode is reset to: that of this one observation.
HWY_INLINE V16 ResetStdDev(D16 d, V16 oldMean, V16 feature) {
    Wide const squared = Square(AbsoluteDifference(feature, oldMean));
    return FloorSqrt(d, {ClampSquaredDeviation(squared.even), ClampSquaredDeviation(squared.odd)});
}

template <class Rate>
HWY_INLINE void Learn(D16 d, CellLanes& cell, Placement const& placement, Match const& match,
                      Features const& features, Lanes reset, bool anyReset, Rate const& rate) {
    ModeLanes mode{};
    mode.count = placement.count;
    for (std::size_t i = 0; i < FeatureCount; ++i) {
        FeatureLanes const& old = match.mode.features[i];
        V16 const feature = features.at[i];
        FeatureLanes learned = Learned(d, old, feature, rate);
        if (anyReset) {
            V16 const stdDev = ResetStdDev(d, old.mean, feature);
            learned.stdDev = hn::IfThenElse(reset, stdDev, learned.stdDev);
        }
        V16 const newStdDev = hn::Set(d, NewModeStdDev);
        mode.features[i] = {hn::IfThenElse(placement.relearn, feature, learned.mean),
                            hn::IfThenElse(match.isNone, newStdDev, learned.stdDev)};
    }
    for (std::size_t slot = 0; slot < SlotCount; ++slot) {
        cell.slots[slot] = IfThenElse(placement.inSlot[slot], mode, cell.slots[slot]);
    }
}

HWY_INLINE Outputs Report(D16 d, Placement const& placement, FrameValues const& values) {
    V16 const stationaryFrames = hn::Set(d, values.stationaryFrames);
    Lanes const isForeground = hn::Not(placement.inSlot[0]);
    Lanes const isStationary = hn::And(isForeground, IsAtLeast(placement.count, stationaryFrames));
    StripBits const stationary = BitsOf(d, isStationary);
    return {BitsOf(d, isForeground) ^ stationary, stationary, false};
}

// ------------------------------------------------------------------------------- strips and rows

HWY_INLINE bool HoldsForAll(D16 d, AllCells, Lanes truth) { return hn::AllTrue(d, truth); }
HWY_INLINE bool HoldsForAll(D16 d, SomeCells cells, Lanes truth) {
    return hn::AllFalse(d, hn::AndNot(truth, cells.lanes));
}

// Cells as in most of a picture: every one sees its background and has nothing younger. Then the
// mode ages, nothing is placed anew or cleared or reported, and only the first 16 bytes of the
// records are touched. No deviation, the observation's or the mode's, reaches Far.
template <class Cells>
HWY_INLINE bool IsQuiet(D16 d, Cells cells, Background const& background, Features const& features,
                        FrameValues const& values) {
    V16 deviations = hn::Zero(d);
    for (std::size_t i = 0; i < FeatureCount; ++i) {
        FeatureLanes const& model = background.mode.features[i];
        deviations = hn::Or(deviations, model.stdDev);
        deviations = hn::Or(deviations, AbsoluteDifference(features.at[i], model.mean));
    }
    V16 const far = hn::And(deviations, hn::Set(d, static_cast<std::uint16_t>(0 - Far)));
    Lanes const isQuiet = hn::And(Fits(d, background.mode, features, values),
                                  IsZero(d, hn::Or(far, background.youngerCount)));
    return HoldsForAll(d, cells, isQuiet);
}

// Learned where no deviation reaches Far.
template <class Rate>
HWY_INLINE FeatureLanes LearnedNear(D16 d, FeatureLanes const& old, V16 feature, Rate const& rate) {
    D32 const d32;
    Wide const squared = Square(AbsoluteDifference(feature, old.mean));
    Wide const oldSquared = Square(old.stdDev);
    V32 const least = hn::Set(d32, std::int32_t{MinSquaredDeviation});
    V32 const even = rate.Move(oldSquared.even, hn::Max(squared.even, least));
    V32 const odd = rate.Move(oldSquared.odd, hn::Max(squared.odd, least));
    return {rate.MoveNear(d, old.mean, feature), FloorSqrtNear(d, {even, odd})};
}

template <class Rate, class Cells>
HWY_INLINE void UpdateQuiet(D16 d, Cells cells, Background const& background,
                            Features const& features, FrameValues const& values, Rate const& rate,
                            Strip const& strip) {
    V16 const one = hn::Set(d, std::uint16_t{1});
    ModeLanes mode{};
    mode.count = hn::Min(hn::Add(background.mode.count, one), hn::Set(d, values.maxCount));
    for (std::size_t i = 0; i < FeatureCount; ++i) {
        mode.features[i] = LearnedNear(d, background.mode.features[i], features.at[i], rate);
    }
    StoreBackground(d, cells, mode, background.youngerCount, strip);
}

template <class Rate, class Cells>
HWY_INLINE Outputs UpdateStrip(Cells cells, Strip const& strip, unsigned char const* patch,
                               std::ptrdiff_t stride, Commands commands, FrameValues const& values,
                               Rate const& rate) {
    D16 const d;
    Features const features = Observe(d, patch, stride);
    Background const background = LoadBackground(d, strip);
    if (HWY_LIKELY((commands.reset | commands.freeze) == 0 &&
                   IsQuiet(d, cells, background, features, values))) {
        UpdateQuiet(d, cells, background, features, values, rate, strip);
        return {0, 0, true};
    }
    Lanes const reset = LanesOf(d, commands.reset);
    Lanes const freeze = LanesOf(d, commands.freeze);
    CellLanes cell = LoadCells(d, strip);
    Match const match = FindMatch(d, cell, features, values);
    Placement const placement = Place(d, cell, match, reset, freeze, values);
    ClearYounger(d, cell, placement);
    Learn(d, cell, placement, match, features, reset, commands.reset != 0, rate);
    StoreCells(d, cells, cell, strip);
    return Report(d, placement, values);  // of padding nothing: an empty record is no foreground
}

// Backgrounds are read in the order in which they lie in memory. Processors foresee that, but not
// far enough where the model does not fit into the cache: 16 tiles, 8 KB, ahead took 4K from 0.75
// to 0.45 of the time of a pass over the whole model (Zen 5); 4 to 32 tiles are nearly as good.
constexpr std::size_t BackgroundPrefetchTiles = 16;
// The rest is wanted where the tile before wanted it.
constexpr std::size_t YoungerPrefetchTiles = 6;

// Lines of a tile so many tiles ahead; may lie beyond the model, where a prefetch does nothing.
template <std::size_t TilesAhead, std::size_t Fields>
HWY_INLINE void Prefetch(FieldLine const* tile) {
    auto const ahead =
        reinterpret_cast<std::uintptr_t>(tile) + TilesAhead * Fields * sizeof(FieldLine);
    for (std::size_t i = 0; i < Fields; ++i) {
        hwy::Prefetch(reinterpret_cast<unsigned char const*>(ahead + i * sizeof(FieldLine)));
    }
}

// A word's first cell is its most significant bit, a strip's its least.
HWY_INLINE std::uint32_t ReverseBits(std::uint32_t v) {
    if (v == 0) return 0;  // as most words are
    v = ((v >> 1) & 0x55555555U) | ((v & 0x55555555U) << 1);
    v = ((v >> 2) & 0x33333333U) | ((v & 0x33333333U) << 2);
    v = ((v >> 4) & 0x0F0F0F0FU) | ((v & 0x0F0F0F0FU) << 4);
    v = ((v >> 8) & 0x00FF00FFU) | ((v & 0x00FF00FFU) << 8);
    return (v >> 16) | (v << 16);
}

// Which of a strip's lanes are the first `count` cells, all where there are more.
HWY_INLINE SomeCells FirstCells(D16 d, std::size_t count) { return {hn::FirstN(d, count)}; }

// Four rows of a tile's pixels, for a row's last tile, where lanes reach beyond the frame.
struct TilePixels {
    static constexpr std::size_t Width = 2 * TileCells + 2;

    TilePixels(unsigned char const* patch, std::ptrdiff_t stride, std::size_t width) {
        for (std::ptrdiff_t row = 0; row < PatchSize; ++row) {
            std::memcpy(rows[row], patch + row * stride, width);
        }
    }

    unsigned char rows[PatchSize][Width] = {};
};

// For rows of at least one cell.
template <class Rate>
HWY_NOINLINE void UpdateRowInLanes(RowTiles const& tiles, std::size_t cellCount,
                                   unsigned char const* luminance, std::ptrdiff_t stride,
                                   RowMasks const& masks, FrameValues const& values) {
    D16 const d;
    Rate const rate(values.learningRate);
    bool wasQuiet = true;
    std::size_t const lastTile = (cellCount - 1) / TileCells;
    for (std::size_t tile = 0; tile <= lastTile; ++tile) {
        // Read before the outputs are written: they may be the same arrays.
        std::uint32_t const exclude = masks.exclude[tile];
        Commands const inTile{ReverseBits(masks.reset[tile]), ReverseBits(masks.freeze[tile])};
        unsigned char const* const patch = luminance + 2 * TileCells * tile;

        StripBits young = 0;
        StripBits stationary = 0;
        auto const take = [&](std::size_t lane, Outputs const& outputs) HWY_ATTR {
            young |= outputs.young << lane;
            stationary |= outputs.stationary << lane;
            wasQuiet = wasQuiet && outputs.isQuiet;
        };
        FieldLine* const background = tiles.BackgroundOf(tile);
        FieldLine* const younger = tiles.YoungerOf(tile);
        Prefetch<BackgroundPrefetchTiles, BackgroundFields>(background);
        if (!wasQuiet) Prefetch<YoungerPrefetchTiles, YoungerFields>(younger);
        wasQuiet = true;
        if (tile < lastTile) {
            for (std::size_t lane = 0; lane < TileCells; lane += StripCells) {
                take(lane,
                     UpdateStrip(AllCells{}, {background, younger, lane}, patch + 2 * lane, stride,
                                 {inTile.reset >> lane, inTile.freeze >> lane}, values, rate));
            }
        } else {
            std::size_t const cells = cellCount - TileCells * tile;
            TilePixels const pixels(patch, stride, 2 * cells + 2);
            for (std::size_t lane = 0; lane < cells; lane += StripCells) {
                take(lane,
                     UpdateStrip(FirstCells(d, cells - lane), {background, younger, lane},
                                 pixels.rows[0] + 2 * lane, TilePixels::Width,
                                 {inTile.reset >> lane, inTile.freeze >> lane}, values, rate));
            }
        }
        masks.Write(tile, ReverseBits(young) & ~exclude, ReverseBits(stationary) & ~exclude);
    }
}

}  // namespace kes::algorithm::tracking_base::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif  // toggled once for every instruction set
