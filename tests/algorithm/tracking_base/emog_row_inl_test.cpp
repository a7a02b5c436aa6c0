// The lanes' roots over their whole range, in every instruction set.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "algorithm/tracking_base/emog_row_inl_test.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include <cstdint>

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
    D16 const d16;
    D32 const d;
    constexpr std::int32_t Count = hn::MaxLanes(D32());
    std::int32_t expected = 0;  // the root of `first`
    for (std::int32_t first = 0; first <= last; first += Count) {
        HWY_ALIGN std::uint16_t roots[2 * Count];
        V32 const squared = hn::Iota(d, first);
        hn::Store(root({squared, squared}), d16, roots);
        if (first == 0) roots[0] = roots[1] = 0;  // which no deviation has
        for (std::int32_t i = 0; i < Count; ++i) {
            if ((expected + 1) * (expected + 1) <= first + i) ++expected;
            if (roots[2 * i] != expected) {
                ASSERT_EQ(roots[2 * i], expected) << "of " << first + i;
            }
            if (roots[2 * i + 1] != expected) {
                ASSERT_EQ(roots[2 * i + 1], expected) << "of " << first + i;
            }
        }
    }
}

void CheckFloorSqrt() {
    CheckRoots(MaxSquaredDeviation, [](Wide v) HWY_ATTR { return FloorSqrt(D16(), v); });
    CheckRoots(Far * Far - 1, [](Wide v) HWY_ATTR { return FloorSqrtNear(D16(), v); });
}

#else

void CheckFloorSqrt() {}

#endif

}  // namespace kes::algorithm::tracking_base::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kes::algorithm::tracking_base {
namespace {

HWY_EXPORT(CheckFloorSqrt);

class EmogLanes : public test::EachInstructionSet {};

TEST_P(EmogLanes, TakeTheFloorOfARootExactlyUpToTheLargestSquare) {
    HWY_DYNAMIC_DISPATCH(CheckFloorSqrt)();
}

GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(EmogLanes);  // where no set has lanes
INSTANTIATE_TEST_SUITE_P(In, EmogLanes, testing::ValuesIn(test::LaneSets()), test::NameOf);

}  // namespace
}  // namespace kes::algorithm::tracking_base
#endif  // HWY_ONCE
