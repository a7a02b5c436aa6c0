#include "algorithm/tracking_base/solve_survey.hpp"

#include <algorithm>
#include <limits>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "algorithm/tracking_base/solve_survey.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace kes::algorithm::tracking_base::hungarian::HWY_NAMESPACE {
namespace {

namespace hn = hwy::HWY_NAMESPACE;

// As many costs as make whole vectors.
template <class D>
HWY_INLINE Survey SurveyVectors(D d, float const* costs, std::size_t count) {
    auto const zero = hn::Zero(d);
    auto const forbidden = hn::Set(d, std::numeric_limits<float>::max());
    auto const lowest = hn::Set(d, -std::numeric_limits<float>::infinity());
    auto isValid = hn::Eq(zero, zero);
    auto isNegative = hn::Lt(zero, zero);
    auto isZero = isNegative;
    auto largest = zero;
    for (std::size_t i = 0; i < count; i += hn::Lanes(d)) {
        auto const cost = hn::LoadU(d, costs + i);
        isValid = hn::And(isValid, hn::Gt(cost, lowest));  // NaN is greater than nothing
        isNegative = hn::Or(isNegative, hn::Lt(cost, zero));
        isZero = hn::Or(isZero, hn::Eq(cost, zero));
        largest = hn::Max(largest, hn::IfThenElseZero(hn::Lt(cost, forbidden), hn::Abs(cost)));
    }
    return {hn::AllTrue(d, isValid), !hn::AllFalse(d, isNegative), !hn::AllFalse(d, isZero),
            hn::GetLane(hn::MaxOfLanes(d, largest))};
}

Survey SurveyInLanes(float const* costs, std::size_t count) {
    hn::ScalableTag<float> const d;
    std::size_t const whole = count / hn::Lanes(d) * hn::Lanes(d);
    Survey const most = SurveyVectors(d, costs, whole);
    Survey const rest = SurveyVectors(hn::CappedTag<float, 1>(), costs + whole, count - whole);
    return {most.isValid && rest.isValid, most.isNegative || rest.isNegative,
            most.hasZero || rest.hasZero, std::max(most.largest, rest.largest)};
}

bool HaveTiesInLanes(float const* costs, std::size_t rows, std::size_t columns) {
    constexpr std::size_t SampleRows = 16;
    constexpr float Few = 2;
    hn::CappedTag<float, SampleRows> const d;
    std::size_t tied = 0;
    std::size_t untied = 0;
    for (std::size_t row = 0; row + hn::Lanes(d) <= std::min(rows, SampleRows);
         row += hn::Lanes(d)) {
        auto least = hn::Set(d, std::numeric_limits<float>::max());
        auto count = hn::Zero(d);
        for (std::size_t column = 0; column < columns; ++column) {
            auto const cost = hn::LoadU(d, costs + column * rows + row);
            auto const one = hn::Set(d, 1.0F);
            auto const more = hn::Add(count, hn::IfThenElseZero(hn::Eq(cost, least), one));
            count = hn::IfThenElse(hn::Lt(cost, least), one, more);
            least = hn::Min(cost, least);
        }
        auto const isAllowed = hn::Lt(least, hn::Set(d, std::numeric_limits<float>::max()));
        auto const isTied = hn::Gt(count, hn::Set(d, Few));
        tied += hn::CountTrue(d, hn::And(isAllowed, isTied));
        untied += hn::CountTrue(d, hn::AndNot(isTied, isAllowed));
    }
    return tied > 3 * untied;
}

}  // namespace
}  // namespace kes::algorithm::tracking_base::hungarian::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kes::algorithm::tracking_base::hungarian {

HWY_EXPORT(SurveyInLanes);
HWY_EXPORT(HaveTiesInLanes);

Survey SurveyCosts(float const* costs, std::size_t count) {
    return HWY_DYNAMIC_DISPATCH(SurveyInLanes)(costs, count);
}

bool HaveTies(float const* costs, std::size_t rows, std::size_t columns) {
    return HWY_DYNAMIC_DISPATCH(HaveTiesInLanes)(costs, rows, columns);
}

}  // namespace kes::algorithm::tracking_base::hungarian
#endif
