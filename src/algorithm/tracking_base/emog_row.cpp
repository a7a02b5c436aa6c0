// Chooses how a row is done. Highway compiles this file once for every instruction set, by
// including it again and again; what stands under HWY_ONCE is compiled once.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "algorithm/tracking_base/emog_row.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "algorithm/tracking_base/emog_row.hpp"

#include "algorithm/tracking_base/has_lanes-inl.hpp"
#if KES_HAS_LANES
#include "algorithm/tracking_base/emog_row-inl.hpp"
#endif

HWY_BEFORE_NAMESPACE();
namespace kes::algorithm::tracking_base::HWY_NAMESPACE {

void UpdateRow(RowTiles const& tiles, std::size_t cellCount, unsigned char const* luminance,
               std::ptrdiff_t stride, RowMasks const& masks, FrameValues const& values) {
#if KES_HAS_LANES
    auto const update = values.learningRate == 2     ? UpdateRowInLanes<SteadyRate>
                        : values.learningRate == 256 ? UpdateRowInLanes<WholeRate>
                                                     : UpdateRowInLanes<AnyRate>;
#else
    auto const update = UpdateRowPlain;
#endif
    update(tiles, cellCount, luminance, stride, masks, values);
}

char const* RowInstructionSet() { return KES_HAS_LANES ? hwy::TargetName(HWY_TARGET) : "plain"; }

}  // namespace kes::algorithm::tracking_base::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kes::algorithm::tracking_base {

HWY_EXPORT(UpdateRow);
HWY_EXPORT(RowInstructionSet);

void UpdateRow(RowTiles const& tiles, std::size_t cellCount, unsigned char const* luminance,
               std::ptrdiff_t stride, RowMasks const& masks, FrameValues const& values) {
    HWY_DYNAMIC_DISPATCH(UpdateRow)(tiles, cellCount, luminance, stride, masks, values);
}

char const* RowInstructionSet() { return HWY_DYNAMIC_DISPATCH(RowInstructionSet)(); }

}  // namespace kes::algorithm::tracking_base
#endif  // HWY_ONCE
