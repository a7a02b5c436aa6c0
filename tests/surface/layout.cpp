// Every public type, complete, so that the compiler can say how it is laid out; and the values of
// the enumerations. Both are compiled into users' programs and must not change within a version of
// the interface.
#include <kes/algorithm/bit_mask.hpp>
#include <kes/algorithm/tracking_base/detection_point.hpp>
#include <kes/algorithm/tracking_base/emog_segmenter.hpp>
#include <kes/algorithm/tracking_base/label_collapser.hpp>
#include <kes/algorithm/tracking_base/smog.hpp>
#include <kes/algorithm/tracking_base/solve.hpp>
#include <kes/geometry/dimension.hpp>
#include <kes/geometry/point.hpp>
#include <kes/geometry/rectangle.hpp>
#include <kes/media/colour/yuv.hpp>
#include <kes/media/colour_format.hpp>
#include <kes/media/video/frame.hpp>
#include <kes/media/video/frame/rotation.hpp>
#include <kes/object/bad_cast.hpp>

namespace kes {

template <typename... T>
constexpr bool Complete = ((sizeof(T) > 0) && ...);

static_assert(
    Complete<algorithm::BitMask, algorithm::tracking_base::EmogSegmenter,
             algorithm::tracking_base::LabelCollapser,
             algorithm::tracking_base::appearance::BlobScore,
             algorithm::tracking_base::appearance::Smog,
             algorithm::tracking_base::hungarian::RowCol, geometry::Dimension<unsigned int, 2>,
             geometry::Dimension<float, 2>, geometry::Point<float, 2>, geometry::Rectangle<int>,
             geometry::Rectangle<unsigned int>, media::colour::Yuv, media::video::FrameBase<void>,
             media::video::FrameBase<void const>, object::BadCast>);

using algorithm::tracking_base::DetectionPoint;
static_assert(sizeof(DetectionPoint) == 4);
static_assert(DetectionPoint{0} == DetectionPoint::Default);
static_assert(DetectionPoint{1} == DetectionPoint::Centroid);
static_assert(DetectionPoint{2} == DetectionPoint::MidBottom);

using media::ColourFormat;
static_assert(sizeof(ColourFormat) == 4);
static_assert(ColourFormat{0} == ColourFormat::Grey);
static_assert(ColourFormat{1} == ColourFormat::Rgb);
static_assert(ColourFormat{2} == ColourFormat::Bgr);
static_assert(ColourFormat{3} == ColourFormat::Yuv);
static_assert(ColourFormat{4} == ColourFormat::Nv12);

using media::video::frame::Rotation;
static_assert(sizeof(Rotation) == 4);
static_assert(Rotation{0} == Rotation::None);
static_assert(Rotation{1} == Rotation::Clockwise90);
static_assert(Rotation{2} == Rotation::Clockwise180);
static_assert(Rotation{3} == Rotation::Clockwise270);

}  // namespace kes
