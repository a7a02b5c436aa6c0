#include "support/clip.hpp"

#include <cstring>
#include <stdexcept>

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/pixdesc.h>
}

namespace kes::track::test {
namespace {

int Check(int error, char const* what) {
    if (error < 0) {
        throw std::runtime_error(std::string(what) + ": " + video::av::ErrorText(error));
    }
    return error;
}

struct OutputDeleter {
    void operator()(AVFormatContext* output) const noexcept {
        avio_closep(&output->pb);
        avformat_free_context(output);
    }
};

void WritePackets(AVFormatContext& output, AVCodecContext& codec, AVFrame const* picture) {
    video::av::Packet const packet = video::av::MakePacket();
    Check(avcodec_send_frame(&codec, picture), "encode");
    while (avcodec_receive_packet(&codec, packet.get()) >= 0) {
        if (packet->duration == 0) packet->duration = 1;
        av_packet_rescale_ts(packet.get(), codec.time_base, output.streams[0]->time_base);
        Check(av_interleaved_write_frame(&output, packet.get()), "write");
    }
}

}  // namespace

video::av::Frame MakePicture(AVPixelFormat format, int width, int height, int frame) {
    video::av::Frame picture = video::av::MakeFrame();
    picture->format = format;
    picture->width = width;
    picture->height = height;
    Check(av_frame_get_buffer(picture.get(), 0), "buffer");
    AVPixFmtDescriptor const* const layout = av_pix_fmt_desc_get(format);
    int const planes = av_pix_fmt_count_planes(format);
    for (int plane = 0; plane < planes; ++plane) {
        bool const isChroma = plane == 1 || plane == 2;
        int const rows = isChroma ? AV_CEIL_RSHIFT(height, layout->log2_chroma_h) : height;
        int const bytes = av_image_get_linesize(format, width, plane);
        for (int y = 0; y < rows; ++y) {
            std::uint8_t* const row =
                picture->data[plane] + static_cast<std::ptrdiff_t>(y) * picture->linesize[plane];
            for (int x = 0; x < bytes; ++x) {
                // The pairs of Nv12 alternate.
                bool const isPair = format == AV_PIX_FMT_NV12 && plane == 1;
                row[x] =
                    isChroma ? ChromaOf(isPair ? 1 + x % 2 : plane, frame) : Luminance(x, y, frame);
            }
        }
    }
    return picture;
}

void MakeClip(std::string const& path, ClipKind const& kind) {
    AVCodec const* const encoder = avcodec_find_encoder_by_name(kind.codec);
    if (encoder == nullptr) throw std::runtime_error(std::string("no encoder ") + kind.codec);
    AVFormatContext* context = nullptr;
    Check(avformat_alloc_output_context2(&context, nullptr, kind.container, path.c_str()),
          "container");
    std::unique_ptr<AVFormatContext, OutputDeleter> const output(context);

    video::av::Codec const codec(avcodec_alloc_context3(encoder));
    codec->width = kind.width;
    codec->height = kind.height;
    codec->pix_fmt = kind.format;
    codec->time_base = {1, kind.rate};
    codec->framerate = {kind.rate, 1};
    codec->gop_size = 5;
    codec->strict_std_compliance = FF_COMPLIANCE_UNOFFICIAL;
    if ((output->oformat->flags & AVFMT_GLOBALHEADER) != 0) {
        codec->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    }
    Check(avcodec_open2(codec.get(), encoder, nullptr), "encoder");
    AVStream* const stream = avformat_new_stream(output.get(), nullptr);
    stream->time_base = codec->time_base;
    stream->avg_frame_rate = codec->framerate;
    Check(avcodec_parameters_from_context(stream->codecpar, codec.get()), "parameters");
    if (kind.shownBy) {
        constexpr std::int32_t One = 1 << 16;
        auto const [a, b, c, d] = *kind.shownBy;
        std::int32_t const matrix[9] = {a * One, b * One, 0, c * One, d * One, 0, 0, 0, 1 << 30};
        std::memcpy(av_stream_new_side_data(stream, AV_PKT_DATA_DISPLAYMATRIX, sizeof matrix),
                    matrix, sizeof matrix);
    }
    Check(avio_open(&output->pb, path.c_str(), AVIO_FLAG_WRITE), path.c_str());
    Check(avformat_write_header(output.get(), nullptr), "header");
    for (int frame = 0; frame < kind.frames; ++frame) {
        video::av::Frame const picture = MakePicture(kind.format, kind.width, kind.height, frame);
        picture->pts = kind.tickOf(frame);
        WritePackets(*output, *codec, picture.get());
    }
    WritePackets(*output, *codec, nullptr);
    Check(av_write_trailer(output.get()), "trailer");
}

}  // namespace kes::track::test
