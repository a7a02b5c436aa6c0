// The small functions that the lanes are made of, each over its whole range, in every instruction
// set.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "algorithm/tracking_base/emog_row_inl_test.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include <cstdint>
#include <cstdlib>
#include <vector>

#include <gtest/gtest.h>

#include "support/instruction_sets.hpp"

#include "algorithm/tracking_base/has_lanes-inl.hpp"
#if KES_HAS_LANES
#include "algorithm/tracking_base/emog_row-inl.hpp"
#endif

HWY_BEFORE_NAMESPACE();
namespace kes::algorithm::tracking_base::HWY_NAMESPACE {

#if KES_HAS_LANES

template <typename Root>
void CheckRoots(std::int32_t last, Root const& root) {
    D32 const d;
    constexpr std::int32_t Count = hn::MaxLanes(D32());
    std::int32_t expected = 0;  // the root of `first`
    for (std::int32_t first = 0; first <= last; first += Count) {
        HWY_ALIGN std::int32_t roots[Count];
        hn::Store(root(hn::Iota(d, first)), d, roots);
        if (first == 0) roots[0] = 0;  // which no deviation has
        for (std::int32_t i = 0; i < Count; ++i) {
            if ((expected + 1) * (expected + 1) <= first + i) ++expected;
            if (roots[i] != expected) ASSERT_EQ(roots[i], expected) << "of " << first + i;
        }
    }
}

void CheckFloorSqrt() {
    CheckRoots(MaxSquaredDeviation, [](V32 v) HWY_ATTR { return FloorSqrt(v); });
    CheckRoots(Far * Far - 1, [](V32 v) HWY_ATTR { return FloorSqrtNear(v); });
}

void CheckTolerance() {
    D16 const d;
    for (std::uint32_t scale : {0U, 1U, 127U, 128U, 255U, 256U, 257U, 1024U, 1023U, 65280U, 65535U,
                                0x12345678U, 0x7FFFFFFFU, 0x80000000U, 0U - 1024U, ~0U}) {
        for (std::uint32_t first = 0; first < 65536; first += StripCells) {
            HWY_ALIGN std::uint16_t found[StripCells];
            V16 const stdDev = hn::Iota(d, static_cast<std::uint16_t>(first));
            hn::Store(Tolerance(d, stdDev, scale), d, found);
            for (std::uint32_t i = 0; i < StripCells; ++i) {
                auto const expected = static_cast<std::uint16_t>((first + i) * scale >> 8);
                if (found[i] != expected)
                    ASSERT_EQ(found[i], expected) << first + i << ", " << scale;
            }
        }
    }
}

template <class Rate>
void CheckMeans(std::int32_t weight) {
    D16 const d;
    for (std::uint32_t from : {0U, 1U, 999U, 32768U, 65534U, 65535U}) {
        for (std::uint32_t first = 0; first < 65536; first += StripCells) {
            HWY_ALIGN std::uint16_t found[StripCells];
            HWY_ALIGN std::uint16_t foundNear[StripCells];
            V16 const to = hn::Iota(d, static_cast<std::uint16_t>(first));
            V16 const old = hn::Set(d, static_cast<std::uint16_t>(from));
            hn::Store(Rate(weight).Move(d, old, to), d, found);
            hn::Store(Rate(weight).MoveNear(d, old, to), d, foundNear);
            for (std::uint32_t i = 0; i < StripCells; ++i) {
                auto const target = static_cast<std::int32_t>(first + i);
                auto const start = static_cast<std::int32_t>(from);
                std::int32_t const expected = start + ((target - start) * weight >> 8);
                bool const isNear = std::abs(target - start) < Far;
                if (found[i] != expected || (isNear && foundNear[i] != expected)) {
                    ASSERT_EQ(found[i], expected) << from << " to " << target << " by " << weight;
                    ASSERT_EQ(foundNear[i], expected)
                        << from << " to " << target << " by " << weight;
                }
            }
        }
    }
}

// Every step of the squares' range that a stride leaves, from its ends and its middle.
template <class Rate>
void CheckVariances(std::int32_t weight) {
    D32 const d;
    constexpr std::int32_t Count = hn::MaxLanes(D32());
    constexpr std::int32_t Most = MaxSquaredDeviation;
    for (std::int32_t from : {0, 163840, 1000003, Most / 2, Most - 1, Most}) {
        for (std::int32_t first = 0; first <= Most - Count; first += 20011) {
            HWY_ALIGN std::int32_t found[Count];
            hn::Store(Rate(weight).Move(hn::Set(d, from), hn::Iota(d, first)), d, found);
            for (std::int32_t i = 0; i < Count; ++i) {
                std::int64_t const expected = from + (std::int64_t{first + i - from} * weight >> 8);
                if (found[i] != expected) {
                    ASSERT_EQ(found[i], expected)
                        << from << " to " << first + i << " by " << weight;
                }
            }
        }
    }
}

void CheckRates() {
    CheckMeans<SteadyRate>(2);
    CheckVariances<SteadyRate>(2);
    for (std::int32_t frames = 2; frames <= 100; ++frames) {
        CheckMeans<AnyRate>(256 / frames);
        CheckVariances<AnyRate>(256 / frames);
        if (testing::Test::HasFatalFailure()) return;
    }
    CheckMeans<AnyRate>(255);
    CheckVariances<AnyRate>(255);
    CheckMeans<AnyRate>(0);
}

void CheckSquares() {
    D16 const d;
    D32 const d32;
    hn::Repartition<std::int16_t, D16> const di16;
    for (std::uint32_t first = 0; first < 65536; first += StripCells) {
        V16 const v = hn::Iota(d, static_cast<std::uint16_t>(first));
        Wide const squared = Square(d, v);
        Wide const clamped = {ClampSquaredDeviation(squared.lower),
                              ClampSquaredDeviation(squared.upper)};
        HWY_ALIGN std::uint16_t roots[StripCells];
        V32 const lower = FloorSqrt(clamped.lower), upper = FloorSqrt(clamped.upper);
        hn::Store(hn::BitCast(d, hn::ReorderDemote2To(di16, lower, upper)), d, roots);
        // In and out of the wide order: the roots are back in their lanes.
        for (std::uint32_t i = 0; i < StripCells; ++i) {
            std::uint32_t const value = first + i;
            ASSERT_EQ(roots[i], value < 405 ? 404 : value > 11585 ? 11585 : value) << value;
        }
        HWY_ALIGN std::uint32_t squares[StripCells];
        hn::Store(squared.lower, d32, reinterpret_cast<std::int32_t*>(squares));
        ASSERT_EQ(squares[0], first * first);
    }
}

void CheckTranspose() {
    D16 const d;
    std::vector<CellModel> cells(StripCells);
    auto* const fields = reinterpret_cast<std::uint16_t*>(cells.data());
    for (std::size_t i = 0; i < StripCells * RecordFields; ++i) {
        fields[i] = static_cast<std::uint16_t>(i + 1);
    }
    std::vector<CellModel> const before = cells;
    for (std::size_t at : {Slot0Block, Slot1Block, Slot2Block}) {
        Block const block = LoadBlock(d, cells.data(), at);
        for (std::size_t field = 0; field < BlockFields; ++field) {
            HWY_ALIGN std::uint16_t found[StripCells];
            hn::Store(block.at[field], d, found);
            for (std::size_t cell = 0; cell < StripCells; ++cell) {
                ASSERT_EQ(found[cell], cell * RecordFields + at + field + 1);
            }
        }
        std::vector<CellModel> copy(StripCells);
        StoreBlock(d, block, copy.data(), at);
        auto const* const stored = reinterpret_cast<std::uint16_t const*>(copy.data());
        for (std::size_t i = 0; i < StripCells * RecordFields; ++i) {
            std::size_t const field = i % RecordFields;
            bool const isInBlock = field >= at && field < at + BlockFields;
            ASSERT_EQ(stored[i], isInBlock ? i + 1 : 0);
        }
    }
    CellLanes const cell = LoadCells(d, cells.data());
    std::vector<CellModel> copy(StripCells);
    StoreCells(d, cell, copy.data());
    ASSERT_EQ(std::memcmp(copy.data(), before.data(), StripCells * sizeof(CellModel)), 0);
}

void CheckBits() {
    D16 const d;
    for (std::uint32_t bits : {0U, 1U, 0x80000000U, 0x12345678U, ~0U, 0xF0F00F0FU}) {
        std::uint32_t reversed = 0;
        for (unsigned i = 0; i < 32; ++i) reversed |= (bits >> i & 1U) << (31 - i);
        ASSERT_EQ(ReverseBits(bits), reversed);

        std::uint32_t const inStrip = bits & (~0U >> (32 - StripCells));
        ASSERT_EQ(BitsOf(d, LanesOf(d, bits)), inStrip);
        HWY_ALIGN std::uint16_t lanes[StripCells];
        hn::Store(hn::VecFromMask(d, LanesOf(d, bits)), d, lanes);
        for (unsigned i = 0; i < StripCells; ++i) ASSERT_EQ(lanes[i] != 0, (bits >> i & 1U) != 0);
    }
}

#else

void CheckFloorSqrt() {}
void CheckTolerance() {}
void CheckRates() {}
void CheckSquares() {}
void CheckTranspose() {}
void CheckBits() {}

#endif

}  // namespace kes::algorithm::tracking_base::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kes::algorithm::tracking_base {
namespace {

HWY_EXPORT(CheckFloorSqrt);
HWY_EXPORT(CheckTolerance);
HWY_EXPORT(CheckRates);
HWY_EXPORT(CheckSquares);
HWY_EXPORT(CheckTranspose);
HWY_EXPORT(CheckBits);

class EmogLanes : public test::EachInstructionSet {};

TEST_P(EmogLanes, TakeTheFloorOfARootExactlyUpToTheLargestSquare) {
    HWY_DYNAMIC_DISPATCH(CheckFloorSqrt)();
}

TEST_P(EmogLanes, MakeTheToleranceOfEveryDeviation) { HWY_DYNAMIC_DISPATCH(CheckTolerance)(); }

TEST_P(EmogLanes, MoveByEveryWeightAndRoundDown) { HWY_DYNAMIC_DISPATCH(CheckRates)(); }

TEST_P(EmogLanes, SquareAndClampEveryDifference) { HWY_DYNAMIC_DISPATCH(CheckSquares)(); }

TEST_P(EmogLanes, LoadAndStoreRecordsFieldByField) { HWY_DYNAMIC_DISPATCH(CheckTranspose)(); }

TEST_P(EmogLanes, KeepTheOrderOfMaskBits) { HWY_DYNAMIC_DISPATCH(CheckBits)(); }

INSTANTIATE_TEST_SUITE_P(In, EmogLanes, testing::ValuesIn(test::LaneSets()), test::NameOf);

}  // namespace
}  // namespace kes::algorithm::tracking_base
#endif  // HWY_ONCE
