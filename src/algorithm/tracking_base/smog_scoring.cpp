// Positions and lengths whose name ends in 16 are in cells with 16 fractional bits.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <vector>

#include <kes/algorithm/bit_mask.hpp>
#include <kes/algorithm/tracking_base/smog.hpp>
#include <kes/geometry/dimension.hpp>
#include <kes/geometry/point.hpp>
#include <kes/geometry/rectangle.hpp>
#include <kes/media/colour_format.hpp>

#include "algorithm/tracking_base/smog_colour.hpp"
#include "algorithm/tracking_base/smog_model.hpp"
#include "algorithm/tracking_base/smog_sampling.hpp"

namespace kes::algorithm::tracking_base::appearance {
namespace {

constexpr float OneCell16 = 65536.0F;

// A placement's two terms, colour and closeness, are worth this much each at their best.
constexpr std::uint32_t FullMatch = std::uint32_t{1} << 26;

// Where the placements stand along one axis: `count` of them from the near end, `step16` apart.
struct Placements {
    std::int64_t count;
    std::int64_t step16;
};

struct Search {
    bool HasPlacement() const { return across.count > 0 && down.count > 0; }

    geometry::Rectangle<int> area;
    std::int64_t width16;  // of a placement
    std::int64_t height16;
    std::int64_t originX16;  // the centre of the placement at the area's top-left corner
    std::int64_t originY16;
    std::int64_t predictedX16;  // the predicted centre, from that origin
    std::int64_t predictedY16;
    Placements across;
    Placements down;
};

using Offset16 = geometry::Point<std::int64_t, 2>;  // of a placement, from the area's corner
using Section16 = geometry::Rectangle<unsigned int>;
using Sections16 = std::array<Section16, Smog::ComponentCount>;

struct Found {
    Offset16 offset16{0, 0};
    std::uint64_t colour = 0;  // FullMatch for a placement whose every set cell fits
    std::uint64_t value = 0;   // colour and closeness
};

// That the cells of an area have mask bits and pixels. Requires: the area has cells.
void RequireReadable(geometry::Rectangle<int> const& area, BitMask const& mask,
                     Frame const& frame) {
    auto const isWithin = [&area](std::uint32_t width, std::uint32_t height) {
        return area.left >= 0 && area.top >= 0 && std::int64_t{area.right} <= width &&
               std::int64_t{area.bottom} <= height;
    };
    std::uint32_t const halfWidth = frame.GetWidth() >> 1;
    std::uint32_t const halfHeight = frame.GetHeight() >> 1;
    bool const isLarger = mask.width > halfWidth || mask.height > halfHeight;
    if (isLarger && !isWithin(halfWidth, halfHeight)) {
        throw std::invalid_argument("Blob mask dimensions must be half the frame size");
    }
    std::int64_t const lastX = std::min<std::int64_t>(area.right, mask.width) - 1;
    std::int64_t const lastY = std::min<std::int64_t>(area.bottom, mask.height) - 1;
    if (lastX >= 0 && lastY >= 0) RequireWordsUpTo(mask, lastX, lastY);
    if (!isWithin(mask.width, mask.height)) {
        throw std::invalid_argument("Blob must lie inside the mask");
    }
}

// Keeps sizes and predictions within 32 bits, fraction included.
void RequireSearchable(geometry::Point<float, 2> const& predictedCentre,
                       geometry::Dimension<float, 2> const& expectedSize) {
    constexpr float Limit = 32768.0F;
    for (float const value :
         {predictedCentre.x, predictedCentre.y, expectedSize.width, expectedSize.height}) {
        if (!(std::abs(value) < Limit)) {
            throw std::invalid_argument(
                "Predicted centre and expected size must be finite and below 32768");
        }
    }
    if (expectedSize.width < 0.0F || expectedSize.height < 0.0F) {
        throw std::invalid_argument("Expected size must not be negative");
    }
}

std::int64_t To16(float cells) { return static_cast<std::int64_t>(cells * OneCell16); }

// From `first` to `last`, clipped to one expected size either side of the predicted centre.
void Clip(int& first, int& last, float predicted, float expected) {
    auto const nearEnd = static_cast<int>(predicted - expected);
    auto const farEnd = static_cast<int>(predicted + expected);
    first = std::max(nearEnd, first);
    last = std::max(std::min(farEnd, last), first);
}

// One cell apart while the room is below ten cells; from there ten that span it.
Placements PlaceAlong(int areaCells, float expectedCells) {
    constexpr int MaxCount = 10;
    float const room = static_cast<float>(areaCells) - expectedCells;
    if (room < 0.0F) return {0, 0};
    if (room < static_cast<float>(MaxCount)) return {static_cast<std::int64_t>(room), 1 << 16};
    return {MaxCount, To16(room) / (MaxCount - 1)};
}

Search PlanSearch(geometry::Rectangle<int> const& blob,
                  geometry::Point<float, 2> const& predictedCentre,
                  geometry::Dimension<float, 2> const& expectedSize) {
    Search search{};
    search.area = blob;
    Clip(search.area.left, search.area.right, predictedCentre.x, expectedSize.width);
    Clip(search.area.top, search.area.bottom, predictedCentre.y, expectedSize.height);
    search.width16 = To16(expectedSize.width);
    search.height16 = To16(expectedSize.height);
    search.originX16 = (std::int64_t{search.area.left} << 16) + search.width16 / 2;
    search.originY16 = (std::int64_t{search.area.top} << 16) + search.height16 / 2;
    search.predictedX16 = To16(predictedCentre.x) - search.originX16;
    search.predictedY16 = To16(predictedCentre.y) - search.originY16;
    search.across = PlaceAlong(search.area.GetWidth(), expectedSize.width);
    search.down = PlaceAlong(search.area.GetHeight(), expectedSize.height);
    return search;
}

// Where a rectangle, moved by an offset into the counted area, has its corners among the counts:
// the whole cells between them are what ScoreSection counts.
struct Corners {
    Corners(geometry::Rectangle<int> const& area, Offset16 const& offset16,
            Section16 const& section16) {
        auto const left = static_cast<std::size_t>((offset16.x + section16.left) >> 16);
        auto const right = static_cast<std::size_t>((offset16.x + section16.right) >> 16);
        auto const top = static_cast<std::size_t>((offset16.y + section16.top) >> 16);
        auto const bottom = static_cast<std::size_t>((offset16.y + section16.bottom) >> 16);
        auto const countsPerRow = static_cast<std::size_t>(area.GetWidth()) + 1;
        topLeft = top * countsPerRow + left;
        topRight = top * countsPerRow + right;
        bottomLeft = bottom * countsPerRow + left;
        bottomRight = bottom * countsPerRow + right;
    }

    std::size_t topLeft;
    std::size_t topRight;
    std::size_t bottomLeft;
    std::size_t bottomRight;
};

// The count between the corners, where countAt(index) is the count up to each. Modulo 2^16.
template <typename CountAt>
std::uint16_t ScoreSection(Corners const& corners, CountAt const& countAt) {
    return static_cast<std::uint16_t>(countAt(corners.bottomRight) + countAt(corners.topLeft) -
                                      countAt(corners.topRight) - countAt(corners.bottomLeft));
}

// Of the set cells in a placement, how many have the colours of a component in whose band they lie,
// those of two bands twice; out of FullMatch.
std::uint64_t ColourMatch(Search const& search, IntegralImages const& images,
                          Sections16 const& sections16, Offset16 const& offset16) {
    Section16 const whole{0, 0, static_cast<unsigned int>(search.width16),
                          static_cast<unsigned int>(search.height16)};
    std::uint64_t const setCells =
        ScoreSection(Corners(search.area, offset16, whole),
                     [&](std::size_t at) { return images.maskCounts[at]; });
    if (setCells == 0) return 0;
    std::uint64_t fittingCells = 0;
    for (std::size_t k = 0; k < sections16.size(); ++k) {
        fittingCells += ScoreSection(Corners(search.area, offset16, sections16[k]),
                                     [&](std::size_t at) { return images.fitCounts[at].lanes[k]; });
    }
    return fittingCells * FullMatch / setCells;
}

// FullMatch at the predicted centre, less by `penaltyPerCell` for each whole cell of city-block
// distance from it.
std::uint32_t Closeness(Search const& search, Offset16 const& offset16,
                        std::uint32_t penaltyPerCell) {
    std::int64_t const distance16 =
        std::abs(offset16.x - search.predictedX16) + std::abs(offset16.y - search.predictedY16);
    return FullMatch - static_cast<std::uint32_t>(distance16 >> 16) * penaltyPerCell;
}

// The first of the best placements, rows from the top and each from the left.
Found FindBest(Search const& search, IntegralImages const& images, Sections16 const& sections16,
               BitMask const& mask) {
    auto const penaltyPerCell =
        static_cast<std::uint32_t>(FullMatch / (std::uint64_t{mask.width} + mask.height));
    Found best;
    for (std::int64_t j = 0; j < search.down.count; ++j) {
        for (std::int64_t i = 0; i < search.across.count; ++i) {
            Offset16 const offset16{i * search.across.step16, j * search.down.step16};
            std::uint64_t const colour = ColourMatch(search, images, sections16, offset16);
            std::uint64_t const value = colour + Closeness(search, offset16, penaltyPerCell);
            if (value > best.value) best = {offset16, colour, value};
        }
    }
    return best;
}

}  // namespace

float Smog::ScoreBlob(geometry::Rectangle<int> const& blob, BitMask const& mask,
                      Frame const& frame) const {
    RequireHalfSize(mask, frame);
    int fitting = 0;
    int const sampleCount =
        VisitColourFormat(frame.GetColourFormat(), [&]<media::ColourFormat Format>() {
            FitTable const fits(gaussians);
            return detail::SampleSmog<Format>(blob, mask, frame, [&](int vp) {
                return [&, inBand = fits.AtHeight(vp)](Rgi const& colour) {
                    fitting += (fits.AtColour(colour) & inBand) != 0;
                };
            });
        });
    if (sampleCount == 0) return 0.0F;
    return static_cast<float>(fitting) / static_cast<float>(sampleCount);
}

std::array<geometry::Rectangle<unsigned int>, Smog::ComponentCount>
Smog::ComputeGaussianSectionRectangles(geometry::Dimension<int, 2> const& size) const {
    std::int64_t const height = size.height;
    auto const clip = [height](std::int64_t row) {
        return static_cast<unsigned int>(std::min(std::max<std::int64_t>(row, 0), height));
    };
    std::array<geometry::Rectangle<unsigned int>, ComponentCount> sections{};
    for (std::size_t k = 0; k < gaussians.size(); ++k) {
        std::int64_t const centre = (gaussians[k].means[Height] * height) >> 8;
        float const halfShare =
            std::sqrt(static_cast<float>(gaussians[k].variances[Height]) * 0x1p-16F);
        auto const half = static_cast<std::int64_t>(static_cast<float>(size.height) * halfShare);
        unsigned int const a = clip(centre - half);
        unsigned int const b = clip(centre + half);
        sections[k] = {0, std::min(a, b), static_cast<unsigned int>(size.width), std::max(a, b)};
    }
    return sections;
}

BlobScore Smog::PartitionAndScoreBlob(geometry::Rectangle<int> const& blob, unsigned int tag,
                                      BitMask const& mask, Frame const& frame,
                                      geometry::Point<float, 2> const& predictedCentre,
                                      geometry::Dimension<float, 2> const& expectedSize) const {
    if (blob.left == blob.right || blob.top == blob.bottom) return {};

    std::int64_t const width = std::int64_t{blob.right} - blob.left;
    std::int64_t const height = std::int64_t{blob.bottom} - blob.top;
    geometry::Dimension<float, 2> const size{static_cast<float>(width), static_cast<float>(height)};
    bool const isLarger = size.width > expectedSize.width ||
                          (size.width == expectedSize.width && size.height > expectedSize.height);
    if (!isLarger) {
        geometry::Point<float, 2> const centre{static_cast<float>(blob.left + std::abs(width) / 2),
                                               static_cast<float>(blob.top + std::abs(height) / 2)};
        return {ScoreBlob(blob, mask, frame), centre, size, static_cast<float>(tag)};
    }

    Search search{};
    Found best;
    VisitColourFormat(frame.GetColourFormat(), [&]<media::ColourFormat Format>() {
        RequireSearchable(predictedCentre, expectedSize);
        search = PlanSearch(blob, predictedCentre, expectedSize);
        detail::RequireCountable<Format>(search.area);
        if (!search.HasPlacement()) return;  // nothing need be read

        RequireReadable(search.area, mask, frame);
        IntegralImages const images =
            detail::ComputeIntegralImages<Format>(gaussians, search.area, mask, frame);
        auto const sections16 = ComputeGaussianSectionRectangles(
            {static_cast<int>(search.width16), static_cast<int>(search.height16)});
        best = FindBest(search, images, sections16, mask);
    });

    auto const toCells = [](std::int64_t position16) {
        return static_cast<float>(position16) * 0x1p-16F;
    };
    return {
        std::min(static_cast<float>(best.colour) * 0x1p-26F, 1.0F),
        {toCells(search.originX16 + best.offset16.x), toCells(search.originY16 + best.offset16.y)},
        expectedSize,
        0.0F};
}

}  // namespace kes::algorithm::tracking_base::appearance
