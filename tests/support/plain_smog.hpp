// The appearance model a second time, as plainly as it can be said: one pass per step, one image
// per component, nothing shared with the library. The library must give the same bits, and its
// benchmarks measure against this.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include <kes/algorithm/bit_mask.hpp>
#include <kes/algorithm/tracking_base/smog.hpp>
#include <kes/geometry/dimension.hpp>
#include <kes/geometry/point.hpp>
#include <kes/geometry/rectangle.hpp>
#include <kes/media/video/frame.hpp>

namespace kes::test {

// Arguments are in contract: masks of half the frame's size, a colour format, a blob within a few
// thousand cells of the mask, and for a search what the library demands of it.
class PlainSmog {
public:
    using Frame = media::video::FrameBase<void const>;
    using Rectangle = geometry::Rectangle<int>;
    using BlobScore = algorithm::tracking_base::appearance::BlobScore;

    // A count for each cell corner of an area, row after row of width + 1.
    using Image = std::vector<std::uint16_t>;
    struct Images {
        std::array<Image, 8> fits;
        Image mask;
    };

    // How many placements the last search looked at along each axis; 0 when there was none.
    mutable int placementsAcross = 0;
    mutable int placementsDown = 0;

    std::array<std::array<int, 4>, 8> means;
    std::array<std::array<unsigned int, 4>, 8> variances;
    bool untrained = true;

    PlainSmog();
    void Update(Rectangle const& blob, algorithm::BitMask const& mask, Frame const& frame);
    float ScoreBlob(Rectangle const& blob, algorithm::BitMask const& mask,
                    Frame const& frame) const;
    std::array<geometry::Rectangle<unsigned int>, 8> Sections(int width, int height) const;
    BlobScore PartitionAndScoreBlob(Rectangle const& blob, unsigned int tag,
                                    algorithm::BitMask const& mask, Frame const& frame,
                                    geometry::Point<float, 2> const& centre,
                                    geometry::Dimension<float, 2> const& size) const;
    Images Integrate(Rectangle const& area, algorithm::BitMask const& mask,
                     Frame const& frame) const;
    std::string Text() const;
};

// r, g and i of a cell, read byte by byte.
std::array<int, 3> PlainColour(media::video::FrameBase<void const> const& frame, int cellX,
                               int cellY);

// r, g, i and vp of every sample of a blob.
std::vector<std::array<int, 4>> PlainSamples(geometry::Rectangle<int> const& blob,
                                             algorithm::BitMask const& mask,
                                             media::video::FrameBase<void const> const& frame);

}  // namespace kes::test
