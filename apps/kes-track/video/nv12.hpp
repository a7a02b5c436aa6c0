// Decoded pictures of any kind as Nv12 frames. Internal to the video folder.
#pragma once

#include <kes/geometry/dimension.hpp>
#include <kes/media/video/frame.hpp>

#include "video/av.hpp"

namespace kes::track::video {

using Size = geometry::Dimension<unsigned int, 2>;

// Turns decoded pictures into Nv12 pictures. Luminance that the decoder keeps as 8-bit bytes of its
// own (yuv420p and its kin, grey, Nv12 itself) is shared, not copied; only the chroma is then
// gathered. Everything else, and every change of size, goes through libswscale.
class Nv12Converter {
public:
    // The picture in `size`, sharing or owning its memory. Its color_range says AVCOL_RANGE_JPEG
    // where luminance runs from 0 to 255, AVCOL_RANGE_MPEG where it runs from 16 to 235. Throws
    // std::bad_alloc, and Failure for a pixel format that cannot be converted.
    av::Frame Convert(AVFrame const& decoded, Size size);

private:
    av::Frame ShareLuminance(AVFrame const& decoded);
    av::Frame Scale(AVFrame const& decoded, Size size);
    AVBufferRef* TakeBuffer(std::size_t bytes);

    av::Scaler scaler;
    av::BufferPool pool;
    std::size_t pooledBytes = 0;
};

// The picture turned so that it stands upright; `rotation` says how far it must be turned. One that
// stands already is handed back as it is. Throws std::bad_alloc.
av::Frame Upright(av::Frame picture, media::video::frame::Rotation rotation);

// A counted frame over an Nv12 picture; the picture goes when the last copy of the frame goes.
// Copies may be made and destroyed on several threads at once.
media::video::FrameBase<void const> Wrap(av::Frame picture,
                                         media::video::FrameBase<void const>::TimePoint timestamp);

}  // namespace kes::track::video
