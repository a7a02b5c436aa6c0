#include "algorithm/tracking_base/smog_sampling.hpp"

#include <cmath>
#include <limits>

namespace kes::algorithm::tracking_base::appearance {
namespace {

// The least integer whose square is not below a value of at most 2^17.
int CeilSqrt(std::uint32_t value) {
    return static_cast<int>(std::ceil(std::sqrt(static_cast<float>(value))));
}

// Bit k of the index in element k.
using ComponentCounts = IntegralImages::ComponentCounts;
constexpr std::array<ComponentCounts, 256> CountsOfSet = [] {
    std::array<ComponentCounts, 256> counts{};
    for (std::size_t set = 0; set < counts.size(); ++set) {
        for (std::size_t k = 0; k < Smog::ComponentCount; ++k) {
            counts[set][k] = static_cast<std::uint16_t>(set >> k & 1);
        }
    }
    return counts;
}();

ComponentCounts Sum(ComponentCounts const& a, ComponentCounts const& b) {
    ComponentCounts sum;
    for (std::size_t k = 0; k < sum.size(); ++k) sum[k] = static_cast<std::uint16_t>(a[k] + b[k]);
    return sum;
}

}  // namespace

void RequireHalfSize(BitMask const& mask, Frame const& frame) {
    if (mask.width != frame.GetWidth() >> 1 || mask.height != frame.GetHeight() >> 1) {
        throw std::invalid_argument("Blob mask dimensions must be half the frame size");
    }
}

void RequireWords(BitMask const& mask) {
    if (mask.words.size() < WordsPerRow(mask) * mask.height) {
        throw std::invalid_argument("Blob mask has too few words");
    }
}

SampleGrid LayGrid(geometry::Rectangle<int> const& blob, BitMask const& mask) {
    std::int64_t const left = std::max(0, blob.left);
    std::int64_t const top = std::max(0, blob.top);
    std::int64_t const width = std::min<std::int64_t>(mask.width, blob.right) - left;
    std::int64_t const height = std::min<std::int64_t>(mask.height, blob.bottom) - top;
    std::int64_t const blobHeight = std::int64_t{blob.bottom} - blob.top;
    if (width <= 0 || height <= 0 || blobHeight > std::numeric_limits<int>::max()) return {};

    SampleGrid grid;
    grid.left = left;
    grid.top = top;
    grid.rowCount = std::min<std::int64_t>(height, MaxSampleRows);
    grid.columnCount = std::min<std::int64_t>(width, MaxSampleColumns);
    grid.rowStep = (height << 16) / grid.rowCount;
    grid.columnStep = (width << 16) / grid.columnCount;
    // 32 bits: for a blob that begins 65536 rows or more above the mask the height wraps.
    auto const rowsAbove = static_cast<std::uint32_t>(top - blob.top);
    grid.firstHeight = (rowsAbove << 16) / static_cast<std::uint32_t>(blobHeight);
    grid.heightStep = static_cast<std::uint32_t>(grid.rowStep / blobHeight);
    return grid;
}

FitTable::FitTable(Gaussians const& gaussians) : gaussians(gaussians), sets{} {
    for (std::size_t k = 0; k < gaussians.size(); ++k) {
        for (Channel const channel : {Red, Green, Intensity}) {
            // Those from `first` to `last` lie less than the root of the variance from the mean.
            int const mean = gaussians[k].means[channel];
            int const reach = CeilSqrt(gaussians[k].variances[channel]) - 1;
            int const first = std::max(mean - reach, 0);
            int const last = std::min(mean + reach, MaxColourValue);
            for (int value = first; value <= last; ++value) {
                sets[channel][static_cast<std::size_t>(value)] |=
                    static_cast<ComponentSet>(1U << k);
            }
        }
    }
}

ComponentSet FitTable::AtHeight(int vp) const {
    unsigned int set = 0;
    for (std::size_t k = 0; k < gaussians.size(); ++k) {
        int const distance = vp - gaussians[k].means[Height];
        bool const fits =
            static_cast<std::uint32_t>(distance * distance) < gaussians[k].variances[Height];
        set |= static_cast<unsigned int>(fits) << k;
    }
    return static_cast<ComponentSet>(set);
}

namespace detail {

template <media::ColourFormat Format>
IntegralImages ComputeIntegralImages(Gaussians const& gaussians,
                                     geometry::Rectangle<int> const& area, BitMask const& mask,
                                     Frame const& frame) {
    std::size_t const width = static_cast<std::size_t>(area.right - area.left);
    std::size_t const height = static_cast<std::size_t>(area.bottom - area.top);
    std::size_t const countsPerRow = width + 1;
    std::size_t const countsPerImage = countsPerRow * (height + 1);
    constexpr std::size_t MaxCountsPerImage = 65535;
    if (Format != media::ColourFormat::Nv12 && countsPerImage > MaxCountsPerImage) {
        throw std::invalid_argument("Search rectangle is too large");
    }

    IntegralImages images;
    images.fitCounts.resize(countsPerImage);
    images.maskCounts.resize(countsPerImage);

    BlockReader<Format> const read(frame);
    FitTable const fits(gaussians);
    for (std::size_t row = 0; row < height; ++row) {
        int const cellY = area.top + static_cast<int>(row);
        std::uint32_t const* const maskRow =
            mask.words.data() + static_cast<std::size_t>(cellY) * WordsPerRow(mask);
        ComponentCounts fitsInRow{};
        std::uint16_t setInRow = 0;
        std::size_t above = row * countsPerRow;
        std::size_t here = above + countsPerRow;
        for (int cellX = area.left; cellX < area.right; ++cellX) {
            if (IsSet(maskRow, static_cast<std::size_t>(cellX))) {
                fitsInRow = Sum(fitsInRow, CountsOfSet[fits.AtColour(read(cellX, cellY))]);
                ++setInRow;
            }
            images.fitCounts[++here] = Sum(images.fitCounts[++above], fitsInRow);
            images.maskCounts[here] =
                static_cast<std::uint16_t>(images.maskCounts[above] + setInRow);
        }
    }
    return images;
}

template IntegralImages ComputeIntegralImages<media::ColourFormat::Rgb>(
    Gaussians const&, geometry::Rectangle<int> const&, BitMask const&, Frame const&);
template IntegralImages ComputeIntegralImages<media::ColourFormat::Bgr>(
    Gaussians const&, geometry::Rectangle<int> const&, BitMask const&, Frame const&);
template IntegralImages ComputeIntegralImages<media::ColourFormat::Yuv>(
    Gaussians const&, geometry::Rectangle<int> const&, BitMask const&, Frame const&);
template IntegralImages ComputeIntegralImages<media::ColourFormat::Nv12>(
    Gaussians const&, geometry::Rectangle<int> const&, BitMask const&, Frame const&);

}  // namespace detail
}  // namespace kes::algorithm::tracking_base::appearance
