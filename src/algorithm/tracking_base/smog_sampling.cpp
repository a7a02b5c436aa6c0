#include "algorithm/tracking_base/smog_sampling.hpp"

#include <limits>

namespace kes::algorithm::tracking_base::appearance {

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
    constexpr std::int64_t MaxRows = 60;
    constexpr std::int64_t MaxColumns = 20;

    std::int64_t const left = std::max(0, blob.left);
    std::int64_t const top = std::max(0, blob.top);
    std::int64_t const width = std::min<std::int64_t>(mask.width, blob.right) - left;
    std::int64_t const height = std::min<std::int64_t>(mask.height, blob.bottom) - top;
    std::int64_t const blobHeight = std::int64_t{blob.bottom} - blob.top;
    if (width <= 0 || height <= 0 || blobHeight > std::numeric_limits<int>::max()) return {};

    SampleGrid grid;
    grid.left = left;
    grid.top = top;
    grid.rowCount = std::min(height, MaxRows);
    grid.columnCount = std::min(width, MaxColumns);
    grid.rowStep = (height << 16) / grid.rowCount;
    grid.columnStep = (width << 16) / grid.columnCount;
    // 32 bits: for a blob that begins 65536 rows or more above the mask the height wraps.
    auto const rowsAbove = static_cast<std::uint32_t>(top - blob.top);
    grid.firstHeight = (rowsAbove << 16) / static_cast<std::uint32_t>(blobHeight);
    grid.heightStep = static_cast<std::uint32_t>(grid.rowStep / blobHeight);
    return grid;
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
    for (auto& image : images.fitCounts) image.resize(countsPerImage);
    images.maskCounts.resize(countsPerImage);

    // Takes a count over one more row from the image's row above.
    auto const store = [countsPerRow](std::vector<std::uint16_t>& image, std::size_t index,
                                      std::uint16_t countInRow) {
        image[index] = static_cast<std::uint16_t>(image[index - countsPerRow] + countInRow);
    };

    BlockReader<Format> const read(frame);
    for (std::size_t row = 0; row < height; ++row) {
        int const cellY = area.top + static_cast<int>(row);
        std::uint32_t const* const maskRow =
            mask.words.data() + static_cast<std::size_t>(cellY) * WordsPerRow(mask);
        std::array<std::uint16_t, Smog::ComponentCount> fitsInRow{};
        std::uint16_t setInRow = 0;
        for (std::size_t column = 0; column < width; ++column) {
            int const cellX = area.left + static_cast<int>(column);
            if (IsSet(maskRow, static_cast<std::size_t>(cellX))) {
                Rgi const colour = read(cellX, cellY);
                for (std::size_t k = 0; k < gaussians.size(); ++k) {
                    if (FitsColour(gaussians[k], colour)) ++fitsInRow[k];
                }
                ++setInRow;
            }
            std::size_t const index = (row + 1) * countsPerRow + column + 1;
            for (std::size_t k = 0; k < gaussians.size(); ++k) {
                store(images.fitCounts[k], index, fitsInRow[k]);
            }
            store(images.maskCounts, index, setInRow);
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
