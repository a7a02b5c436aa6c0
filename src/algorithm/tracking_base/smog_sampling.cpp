#include "algorithm/tracking_base/smog_sampling.hpp"

#include <bit>
#include <cmath>
#include <stdexcept>

namespace kes::algorithm::tracking_base::appearance {
namespace {

// The least integer whose square is not below a value.
int CeilSqrt(std::uint32_t value) {
    return static_cast<int>(std::ceil(std::sqrt(static_cast<double>(value))));
}

// Whether a value from 0 to 511 lies less than the root of the variance from the mean. The square
// wraps for means that no Update leaves.
bool Fits(int value, int mean, std::uint32_t variance) {
    std::uint32_t const distance =
        static_cast<std::uint32_t>(value) - static_cast<std::uint32_t>(mean);
    return distance * distance < variance;
}

// Bit k of the index in element k.
using CountsBySet = std::array<std::array<std::uint16_t, Smog::ComponentCount>, 256>;
constexpr CountsBySet MembersOfSet = [] {
    CountsBySet members{};
    for (std::size_t set = 0; set < members.size(); ++set) {
        for (std::size_t k = 0; k < Smog::ComponentCount; ++k) {
            members[set][k] = static_cast<std::uint16_t>(set >> k & 1);
        }
    }
    return members;
}();

// One for each component of the set.
ComponentCounts::Lanes CountsOf(ComponentSet set) {
    return std::bit_cast<ComponentCounts::Lanes>(MembersOfSet[set]);
}

}  // namespace

void RequireHalfSize(BitMask const& mask, Frame const& frame) {
    if (mask.width != frame.GetWidth() >> 1 || mask.height != frame.GetHeight() >> 1) {
        throw std::invalid_argument("Blob mask dimensions must be half the frame size");
    }
}

void RequireWordsUpTo(BitMask const& mask, std::int64_t cellX, std::int64_t cellY) {
    std::size_t const rowStart = static_cast<std::size_t>(cellY) * WordsPerRow(mask.width);
    if (mask.words.size() <= rowStart + static_cast<std::size_t>(cellX) / 32) {
        throw std::invalid_argument("Blob mask has too few words");
    }
}

SampleGrid LayGrid(geometry::Rectangle<int> const& blob, BitMask const& mask) {
    std::int64_t const left = std::max(0, blob.left);
    std::int64_t const top = std::max(0, blob.top);
    std::int64_t const width = std::min<std::int64_t>(mask.width, blob.right) - left;
    std::int64_t const height = std::min<std::int64_t>(mask.height, blob.bottom) - top;
    std::int64_t const blobHeight = std::int64_t{blob.bottom} - blob.top;
    if (width <= 0 || height <= 0) return {};

    SampleGrid grid;
    grid.left = left;
    grid.top = top;
    grid.width = width;
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
            int const mean = gaussians[k].means[channel];
            std::uint32_t const variance = gaussians[k].variances[channel];
            // All that fit lie from `first` to `last`, where no square wraps.
            constexpr int WrapsNot = 1 << 15;
            bool const isNear = -WrapsNot < mean && mean < WrapsNot;
            int const reach = CeilSqrt(variance) - 1;
            int const first = isNear ? std::max(mean - reach, 0) : 0;
            int const last = isNear ? std::min(mean + reach, MaxColourValue) : MaxColourValue;
            for (int value = first; value <= last; ++value) {
                if (!isNear && !Fits(value, mean, variance)) continue;
                sets[channel][static_cast<std::size_t>(value)] |=
                    static_cast<ComponentSet>(1U << k);
            }
        }
    }
}

ComponentSet FitTable::AtHeight(int vp) const {
    unsigned int set = 0;
    for (std::size_t k = 0; k < gaussians.size(); ++k) {
        bool const fits = Fits(vp, gaussians[k].means[Height], gaussians[k].variances[Height]);
        set |= static_cast<unsigned int>(fits) << k;
    }
    return static_cast<ComponentSet>(set);
}

namespace detail {

template <media::ColourFormat Format>
IntegralImages ComputeIntegralImages(Gaussians const& gaussians,
                                     geometry::Rectangle<int> const& area, BitMask const& mask,
                                     Frame const& frame) {
    std::size_t const width = static_cast<std::size_t>(area.GetWidth());
    std::size_t const height = static_cast<std::size_t>(area.GetHeight());
    std::size_t const countsPerRow = width + 1;
    std::size_t const countsPerImage = countsPerRow * (height + 1);
    IntegralImages images;
    images.fitCounts.resize(countsPerImage);
    images.maskCounts.resize(countsPerImage);

    CellReader<Format> const read(frame);
    FitTable const fits(gaussians);
    Colours colours;
    for (std::size_t row = 0; row < height; ++row) {
        int const cellY = area.top + static_cast<int>(row);
        std::uint32_t const* const maskRow =
            mask.words.data() + static_cast<std::size_t>(cellY) * WordsPerRow(mask.width);
        ComponentCounts* fitCount = &images.fitCounts[(row + 1) * countsPerRow];
        std::uint16_t* maskCount = &images.maskCounts[(row + 1) * countsPerRow];
        for (std::size_t first = 0; first < width; first += Colours::MaxCount) {
            std::size_t const firstX = static_cast<std::size_t>(area.left) + first;
            std::size_t const count = std::min(width - first, Colours::MaxCount);
            ReadColours(Format, read.RowAt(static_cast<std::ptrdiff_t>(firstX), cellY), count,
                        colours);
            // What this row alone holds so far: found again here, because a vector kept across the
            // call above would live in memory.
            auto fitsInRow = fitCount->lanes - (fitCount - countsPerRow)->lanes;
            int setInRow = *maskCount - *(maskCount - countsPerRow);
            for (std::size_t i = 0; i < count; ++i) {
                // No branch: the edges of a mask are as hard to foresee as its noise.
                bool const isSet = IsCellSet(maskRow, firstX + i);
                ComponentSet const members = isSet ? ComponentSet{0xFF} : ComponentSet{0};
                fitsInRow = fitsInRow + CountsOf(fits.AtColour(colours.At(i)) & members);
                setInRow += isSet;
                ++fitCount;
                ++maskCount;
                fitCount->lanes = (fitCount - countsPerRow)->lanes + fitsInRow;
                *maskCount = static_cast<std::uint16_t>(*(maskCount - countsPerRow) + setInRow);
            }
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
