/// \file
/// Smog: what a tracked object looks like. Keep one for each object, teach it the object's blob in
/// every frame in which the blob is surely the object's own, and ask it how well a region of a
/// later frame matches, or where inside a crowd the object stands.
#pragma once

#include <array>
#include <iosfwd>

#include <kes/algorithm/bit_mask.hpp>
#include <kes/export.hpp>
#include <kes/geometry/dimension.hpp>
#include <kes/geometry/point.hpp>
#include <kes/geometry/rectangle.hpp>
#include <kes/media/video/frame.hpp>

namespace kes::algorithm::tracking_base::appearance {

/// What PartitionAndScoreBlob finds. Places and sizes in mask cells.
struct BlobScore {
    float score;                         ///< how well the colours match, 0 to 1
    geometry::Point<float, 2> centre;    ///< of the whole blob, or of the best placement
    geometry::Dimension<float, 2> size;  ///< of the whole blob, or the expected size
    float tag;                           ///< the caller's for a whole blob, 0 for a placement
};

/// A mixture of eight Gaussian-like components over four channels of a sample: the red share r and
/// the green share g of its colour (0 to 256; chromaticity, which light and shade change little),
/// its intensity i (0 to 254), and its height vp in the object's rectangle (0 at the top edge to
/// 255 at the bottom). The components start as eight bands from the top of the object to its bottom
/// and drift to where its colours are. The model is a coarse, fixed-size kin of the Gaussian
/// mixtures used for colour by Raja, McKenna and Gong (1998); the search counts matching cells
/// through integral images (summed-area tables: Crow, 1984; Viola and Jones, 2001).
///
/// All operations share three arguments:
/// - `blob`: the region, in mask cells. It is clipped to the mask, except where said otherwise; a
///   reversed or empty one and one outside the mask hold no sample.
/// - `mask`: the foreground. A cell stands for the 2 x 2 pixels whose top-left one is at twice its
///   column and row, so the mask's width and height are half the frame's, rounded down. Only the
///   words of cells that are looked at need be there.
/// - `frame`: Rgb, Bgr or Yuv (plane 0) or Nv12 (planes 0 and 1, both with the stride of plane 0).
///   Yuv and Nv12 are taken for BT.709 Y'UV with the luma neither offset nor scaled.
///
/// At most 60 rows by 20 columns of cells of a blob, evenly spread, are its samples. All arithmetic
/// is the same on every processor, to the last bit.
///
/// A plain value of 260 bytes, which may be stored, loaded and made by hand. Update leaves means
/// from 0 to 256 and variances from 1 to 65535. A state made by hand may hold anything: every
/// operation stays within its buffers, and gives the same on every processor. Squared distances are
/// taken in 32 bits: they wrap where a mean lies beyond -22000 to 22000.
///
/// Distinct objects are independent; const operations may be called from several threads at once.
class KES_EXPORT Smog {
public:
    static constexpr unsigned int ComponentCount = 8;  ///< bands, at the start
    static constexpr unsigned int ChannelCount = 4;    ///< r, g, i, vp, in this order

    /// One component. A value v fits channel c when (v - means[c])^2 < variances[c]: variances hold
    /// 2.25 times what was measured, which accepts 1.5 standard deviations either way.
    struct Gaussian {
        std::array<int, ChannelCount> means;               ///< on the channel's own scale
        std::array<unsigned int, ChannelCount> variances;  ///< squares of how far is accepted
    };

    /// Knows nothing: component k has means 128, 128, 128, 16 + 32 k and accepts half the range of
    /// each colour and twice its band of the height.
    Smog();

    /// Learns from the samples of a blob. Each sample counts for the component with the nearest
    /// means; the first call that finds a sample replaces the statistics of the components that got
    /// some, and every later one moves them 25/256 of the way. A blob without a sample changes
    /// nothing. Allocates nothing.
    ///
    /// Throws `std::invalid_argument`, in this order and with the model unchanged:
    /// - "Blob mask dimensions must be half the frame size"
    /// - "Unspported colour format"
    /// - "Blob mask has too few words": where a sample's word is missing
    void Update(geometry::Rectangle<int> const& blob, BitMask const& mask,
                media::video::FrameBase<void const> const& frame);

    /// The fraction, 0 to 1, of a blob's samples that some component accepts in all four channels;
    /// 0 for a blob without a sample. Throws as Update does. Allocates nothing.
    float ScoreBlob(geometry::Rectangle<int> const& blob, BitMask const& mask,
                    media::video::FrameBase<void const> const& frame) const;

    /// The band of rows of a candidate that each component accepts: full width, and the component's
    /// mean height plus and minus its 1.5 standard deviations, clipped to the candidate. In the
    /// unit of `size` (width, height), which is not negative: cells, or 16.16 fixed point for
    /// fractions of a cell.
    std::array<geometry::Rectangle<unsigned int>, ComponentCount> ComputeGaussianSectionRectangles(
        geometry::Dimension<int, 2> const& size) const;

    /// Scores a blob that may hold more than the object.
    ///
    /// A blob of no width or no height gives all zeros, with nothing else looked at. A blob that is
    /// not larger than expected (narrower, or as wide and not taller) is scored whole: ScoreBlob's
    /// score and exceptions, the blob's centre and size, and `tag`, which means nothing here, as
    /// float.
    ///
    /// A larger blob is searched, within one expected size of the predicted centre, for the
    /// placement of a rectangle of the expected size that has the best sum of two terms of equal
    /// weight: the colour match and the closeness of its centre to the predicted one. At most 10 x
    /// 10 placements are tried. The score is the colour match alone, at most 1: of the set cells in
    /// the placement, how many have the colours of a component in whose band they lie (a cell in
    /// two bands can count twice); the tag is 0.
    ///
    /// A placement fits only in a search area that is at least one cell wider and taller than
    /// expected. Without one nothing is tried: the score is 0, as where no colour matches, and the
    /// centre that of a placement at the area's top-left corner. To tell the two apart, compute the
    /// area: along each axis it goes from the larger of the blob's first edge and `predicted -
    /// expected` to the smaller of its last edge and `predicted + expected`, both truncated to whole
    /// cells. Expect at most the blob's width and height less one cell where a score is wanted.
    ///
    /// `predictedCentre`: x, y, and `expectedSize`: width, height, in cells.
    ///
    /// Throws `std::invalid_argument` when it searches, in this order:
    /// - "Unspported colour format"
    /// - "Predicted centre and expected size must be finite and below 32768"
    /// - "Expected size must not be negative"
    /// - "Search rectangle is too large": an Rgb, Bgr or Yuv frame, and (w + 1)(h + 1) > 65535 for
    ///   a search area of w x h cells
    ///
    /// and, only where a placement fits, so that the search area is read:
    /// - "Blob mask dimensions must be half the frame size": the mask is larger, and the search
    ///   area reaches beyond half the frame
    /// - "Blob mask has too few words": for the cells of the search area
    /// - "Blob must lie inside the mask": the search area, the blob clipped to the places that are
    ///   tried, does not
    ///
    /// An Nv12 frame's search area has no limit of size: its cells are counted modulo 2^16, and the
    /// score is exact while a placement holds fewer than 65536 cells.
    /// Throws `std::bad_alloc` when the search finds no memory for its counts.
    BlobScore PartitionAndScoreBlob(geometry::Rectangle<int> const& blob, unsigned int tag,
                                    BitMask const& mask,
                                    media::video::FrameBase<void const> const& frame,
                                    geometry::Point<float, 2> const& predictedCentre,
                                    geometry::Dimension<float, 2> const& expectedSize) const;

    std::array<Gaussian, ComponentCount> gaussians;  ///< the components
    /// True until an Update finds a sample: that one replaces statistics, later ones move them.
    bool untrained;
};

/// Writes the components as one line of JSON without blanks, with the stream's own number
/// formatting:
///
///     {"gaussians":[{"means":[R,G,I,VP],"variances":[R,G,I,VP]},...]}
KES_EXPORT std::ostream& operator<<(std::ostream& out, Smog const& smog);

}  // namespace kes::algorithm::tracking_base::appearance
