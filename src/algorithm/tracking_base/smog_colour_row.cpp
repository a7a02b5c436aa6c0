// Highway compiles this file once for every instruction set, by including it again and again; what
// stands under HWY_ONCE is compiled once.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "algorithm/tracking_base/smog_colour_row.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "algorithm/tracking_base/smog_colour_row.hpp"

#include "algorithm/tracking_base/has_lanes-inl.hpp"
#if KES_HAS_LANES
#include "algorithm/tracking_base/smog_colour_row-inl.hpp"
#endif

HWY_BEFORE_NAMESPACE();
namespace kes::algorithm::tracking_base::appearance::HWY_NAMESPACE {

template <media::ColourFormat Format>
void ReadColoursOf(CellRow const& row, std::size_t count, Colours& colours) {
    std::size_t cell = 0;
#if KES_HAS_LANES
    cell = ReadInLanes<Format>(row, count, colours);
#endif
    for (; cell < count; ++cell) {
        Rgi const colour = ReadCell<Format>(row, cell);
        colours.r[cell] = static_cast<std::uint16_t>(colour.r);
        colours.g[cell] = static_cast<std::uint16_t>(colour.g);
        colours.i[cell] = static_cast<std::uint16_t>(colour.i);
    }
}

void ReadColours(media::ColourFormat format, CellRow const& row, std::size_t count,
                 Colours& colours) {
    VisitColourFormat(
        format, [&]<media::ColourFormat Format>() { ReadColoursOf<Format>(row, count, colours); });
}

}  // namespace kes::algorithm::tracking_base::appearance::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kes::algorithm::tracking_base::appearance {

HWY_EXPORT(ReadColours);

void ReadColours(media::ColourFormat format, CellRow const& row, std::size_t count,
                 Colours& colours) {
    HWY_DYNAMIC_DISPATCH(ReadColours)(format, row, count, colours);
}

}  // namespace kes::algorithm::tracking_base::appearance
#endif  // HWY_ONCE
