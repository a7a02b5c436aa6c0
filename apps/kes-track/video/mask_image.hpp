// Masks that people paint: an image in frame coordinates, as the segmenter's cells.
#pragma once

#include <string>

#include <kes/algorithm/bit_mask.hpp>

#include "video/reader.hpp"

namespace kes::track::video {

// No cell set. frameSize in pixels; the mask has half of each side.
algorithm::BitMask EmptyMask(Size frameSize);

// Reads an image of the frames' size: a cell is set when any of its 2 x 2 pixels is brighter than
// middle grey. Throws Failure (BadSideInput) for a file that is no image or has another size.
algorithm::BitMask ReadMask(std::string const& path, Size frameSize);

}  // namespace kes::track::video
