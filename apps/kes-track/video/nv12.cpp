#include "video/nv12.hpp"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <new>
#include <string>

#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>

extern "C" {
#include <libavutil/pixdesc.h>
}

#include "base/failure.hpp"

namespace kes::track::video {
namespace {

constexpr int NeutralChroma = 128;

// Half a side, rounded up: the chroma of an odd last column or row is still there.
int HalfOf(int side) { return side / 2 + side % 2; }

enum class Chroma { Elsewhere, None, Planar, Nv12 };

bool IsByteInPlane(AVComponentDescriptor const& component, int plane) {
    return component.plane == plane && component.step == 1 && component.depth == 8 &&
           component.offset == 0 && component.shift == 0;
}

// Where the chroma is when plane 0 is nothing but 8-bit luminance, one byte a pixel; Elsewhere when
// plane 0 is anything else.
Chroma ChromaBeside8BitLuminance(AVFrame const& decoded) {
    AVPixFmtDescriptor const* const format =
        av_pix_fmt_desc_get(static_cast<AVPixelFormat>(decoded.format));
    constexpr std::uint64_t Others = AV_PIX_FMT_FLAG_PAL | AV_PIX_FMT_FLAG_BITSTREAM |
                                     AV_PIX_FMT_FLAG_HWACCEL | AV_PIX_FMT_FLAG_RGB |
                                     AV_PIX_FMT_FLAG_BAYER;
    if (format == nullptr || (format->flags & Others) != 0) return Chroma::Elsewhere;
    // A picture that is stored bottom row first has a negative stride; the frames of the library
    // have none.
    if (!IsByteInPlane(format->comp[0], 0) || decoded.linesize[0] < decoded.width) {
        return Chroma::Elsewhere;
    }
    if (decoded.format == AV_PIX_FMT_NV12) {
        bool const isUpright = decoded.linesize[1] >= 2 * HalfOf(decoded.width);
        return isUpright ? Chroma::Nv12 : Chroma::Elsewhere;
    }
    if (format->nb_components == 1) return Chroma::None;
    bool const isPlanar = format->nb_components >= 3 && IsByteInPlane(format->comp[1], 1) &&
                          IsByteInPlane(format->comp[2], 2) && decoded.linesize[1] > 0 &&
                          decoded.linesize[2] > 0;
    return isPlanar ? Chroma::Planar : Chroma::Elsewhere;
}

cv::Mat ChromaPlane(AVFrame const& decoded, int plane) {
    AVPixFmtDescriptor const* const format =
        av_pix_fmt_desc_get(static_cast<AVPixelFormat>(decoded.format));
    int const width = AV_CEIL_RSHIFT(decoded.width, format->log2_chroma_w);
    int const height = AV_CEIL_RSHIFT(decoded.height, format->log2_chroma_h);
    return {height, width, CV_8UC1, decoded.data[plane],
            static_cast<std::size_t>(decoded.linesize[plane])};
}

// U and V of any subsampling as the pairs of an Nv12 picture.
void GatherChroma(AVFrame const& decoded, cv::Mat& pairs) {
    cv::Mat planes[2];
    for (int i = 0; i < 2; ++i) {
        cv::Mat const plane = ChromaPlane(decoded, i + 1);
        if (plane.size() == pairs.size()) {
            planes[i] = plane;
        } else {
            cv::resize(plane, planes[i], pairs.size(), 0, 0, cv::INTER_AREA);
        }
    }
    cv::merge(planes, 2, pairs);
}

// Whether luminance uses all 256 values. Grey pictures do when nothing is said.
bool IsFullRange(AVFrame const& decoded) {
    if (decoded.color_range == AVCOL_RANGE_JPEG) return true;
    if (decoded.color_range == AVCOL_RANGE_MPEG) return false;
    switch (decoded.format) {
        case AV_PIX_FMT_GRAY8:
        case AV_PIX_FMT_YUVJ411P:
        case AV_PIX_FMT_YUVJ420P:
        case AV_PIX_FMT_YUVJ422P:
        case AV_PIX_FMT_YUVJ440P:
        case AV_PIX_FMT_YUVJ444P: return true;
        default: return false;
    }
}

cv::Mat LuminanceOf(AVFrame const& picture) {
    return {picture.height, picture.width, CV_8UC1, picture.data[0],
            static_cast<std::size_t>(picture.linesize[0])};
}

cv::Mat ChromaOf(AVFrame const& picture) {
    return {HalfOf(picture.height), HalfOf(picture.width), CV_8UC2, picture.data[1],
            static_cast<std::size_t>(picture.linesize[1])};
}

av::Frame MakeNv12(int width, int height) {
    av::Frame picture = av::MakeFrame();
    picture->format = AV_PIX_FMT_NV12;
    picture->width = width;
    picture->height = height;
    if (av_frame_get_buffer(picture.get(), 0) < 0) throw std::bad_alloc();
    return picture;
}

// What the two functions of a counted frame share.
struct SharedPicture {
    av::Frame picture;
    std::atomic<std::uint32_t> references{0};
};

}  // namespace

AVBufferRef* Nv12Converter::TakeBuffer(std::size_t bytes) {
    if (bytes != pooledBytes) {
        pool.reset(av_buffer_pool_init(bytes, nullptr));
        pooledBytes = pool ? bytes : 0;
    }
    AVBufferRef* const buffer = pool ? av_buffer_pool_get(pool.get()) : nullptr;
    if (buffer == nullptr) throw std::bad_alloc();
    return buffer;
}

av::Frame Nv12Converter::Convert(AVFrame const& decoded, Size size) {
    bool const keepsSize = static_cast<unsigned int>(decoded.width) == size.width &&
                           static_cast<unsigned int>(decoded.height) == size.height;
    if (keepsSize) {
        if (av::Frame shared = ShareLuminance(decoded)) return shared;
    }
    return Scale(decoded, size);
}

// Null where plane 0 is not 8-bit luminance that can be shared.
av::Frame Nv12Converter::ShareLuminance(AVFrame const& decoded) {
    Chroma const chroma = ChromaBeside8BitLuminance(decoded);
    AVBufferRef* const luminance =
        av_frame_get_plane_buffer(const_cast<AVFrame*>(&decoded), 0);  // only looks it up
    if (chroma == Chroma::Elsewhere || luminance == nullptr) return nullptr;

    av::Frame picture = av::MakeFrame();
    if (chroma == Chroma::Nv12) {
        if (av_frame_ref(picture.get(), &decoded) < 0) throw std::bad_alloc();
        picture->color_range = IsFullRange(decoded) ? AVCOL_RANGE_JPEG : AVCOL_RANGE_MPEG;
        return picture;
    }
    picture->format = AV_PIX_FMT_NV12;
    picture->width = decoded.width;
    picture->height = decoded.height;
    picture->color_range = IsFullRange(decoded) ? AVCOL_RANGE_JPEG : AVCOL_RANGE_MPEG;
    picture->buf[0] = av_buffer_ref(luminance);
    if (picture->buf[0] == nullptr) throw std::bad_alloc();
    picture->data[0] = decoded.data[0];
    picture->linesize[0] = decoded.linesize[0];

    int const pairs = HalfOf(decoded.width);
    int const rows = HalfOf(decoded.height);
    picture->linesize[1] = 2 * pairs;
    picture->buf[1] =
        TakeBuffer(2 * static_cast<std::size_t>(pairs) * static_cast<std::size_t>(rows));
    picture->data[1] = picture->buf[1]->data;
    cv::Mat target = ChromaOf(*picture);
    if (chroma == Chroma::None) {
        target.setTo(cv::Scalar::all(NeutralChroma));
    } else {
        GatherChroma(decoded, target);
    }
    return picture;
}

av::Frame Nv12Converter::Scale(AVFrame const& decoded, Size size) {
    av::Frame picture = MakeNv12(static_cast<int>(size.width), static_cast<int>(size.height));
    picture->color_range = AVCOL_RANGE_MPEG;
    scaler.reset(sws_getCachedContext(scaler.release(), decoded.width, decoded.height,
                                      static_cast<AVPixelFormat>(decoded.format), picture->width,
                                      picture->height, AV_PIX_FMT_NV12, SWS_AREA | SWS_ACCURATE_RND,
                                      nullptr, nullptr, nullptr));
    if (!scaler || sws_scale(scaler.get(), decoded.data, decoded.linesize, 0, decoded.height,
                             picture->data, picture->linesize) < 0) {
        char const* const name = av_get_pix_fmt_name(static_cast<AVPixelFormat>(decoded.format));
        throw Failure(ExitCode::BadInput,
                      "cannot convert " + std::to_string(decoded.width) + " x " +
                          std::to_string(decoded.height) + " pictures of the kind " +
                          (name != nullptr ? name : "unknown") + " to " +
                          std::to_string(size.width) + " x " + std::to_string(size.height));
    }
    return picture;
}

av::Frame Upright(av::Frame picture, media::video::frame::Rotation rotation) {
    using media::video::frame::Rotation;
    if (rotation == Rotation::None) return picture;
    bool const swapsSides = rotation != Rotation::Clockwise180;
    av::Frame upright = swapsSides ? MakeNv12(picture->height, picture->width)
                                   : MakeNv12(picture->width, picture->height);
    upright->color_range = picture->color_range;
    int const code = rotation == Rotation::Clockwise90    ? cv::ROTATE_90_CLOCKWISE
                     : rotation == Rotation::Clockwise180 ? cv::ROTATE_180
                                                          : cv::ROTATE_90_COUNTERCLOCKWISE;
    cv::Mat luminance = LuminanceOf(*upright);
    cv::Mat chroma = ChromaOf(*upright);
    cv::rotate(LuminanceOf(*picture), luminance, code);
    cv::rotate(ChromaOf(*picture), chroma, code);
    return upright;
}

media::video::FrameBase<void const> Wrap(av::Frame picture,
                                         media::video::FrameBase<void const>::TimePoint timestamp) {
    using Frame = media::video::FrameBase<void const>;
    using Plane = media::video::frame::PlaneBase<void const>;
    auto const width = static_cast<unsigned int>(picture->width);
    auto const height = static_cast<unsigned int>(picture->height);
    auto const planeOf = [&](int index, int rows) {
        auto const stride = static_cast<long>(picture->linesize[index]);
        return Plane(static_cast<unsigned long>(stride) * static_cast<unsigned long>(rows),
                     picture->data[index], stride);
    };
    Frame::Planes const planes{planeOf(0, picture->height), planeOf(1, HalfOf(picture->height))};

    auto owner = std::make_unique<SharedPicture>();
    owner->picture = std::move(picture);
    SharedPicture* const shared = owner.get();
    Frame frame(
        planes, media::ColourFormat::Nv12, width, height, timestamp,
        media::video::frame::Rotation::None,
        [shared] { shared->references.fetch_add(1, std::memory_order_relaxed); },
        [shared] {
            if (shared->references.fetch_sub(1, std::memory_order_acq_rel) == 1) delete shared;
        });
    static_cast<void>(owner.release());  // the frame's reference holds it now
    return frame;
}

}  // namespace kes::track::video
