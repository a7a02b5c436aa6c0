#include "video/writer.hpp"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <new>
#include <optional>
#include <utility>

#include <unistd.h>
#include <opencv2/imgproc.hpp>

extern "C" {
#include <libavutil/opt.h>
}

#include "base/failure.hpp"
#include "output/part_file.hpp"
#include "video/av.hpp"

namespace kes::track::video {
namespace {

constexpr AVRational TimeBase{1, 90'000};  // fine enough for every usual rate, MP4's habit

struct OutputDeleter {
    void operator()(AVFormatContext* output) const noexcept {
        avio_closep(&output->pb);
        avformat_free_context(output);
    }
};

AVCodec const* FindEncoder() {
    AVCodec const* const h264 = avcodec_find_encoder_by_name("libx264");
    return h264 != nullptr ? h264 : avcodec_find_encoder(AV_CODEC_ID_MPEG4);
}

unsigned int MadeEven(unsigned int side) { return side + side % 2; }

}  // namespace

class Writer::Impl {
public:
    Impl(std::string path, Size size, double frameRate);

    void Write(cv::Mat const& picture, std::chrono::nanoseconds time);
    void Close();

private:
    void OpenEncoder(Size size, double frameRate);
    void OpenFile();
    void Encode(AVFrame const* picture);
    int Check(int error) const;  // returns it when it is none

    PartFile part;
    std::unique_ptr<AVFormatContext, OutputDeleter> output;
    av::Codec codec;
    AVStream* stream = nullptr;
    av::Frame frame = av::MakeFrame();
    av::Packet packet = av::MakePacket();
    cv::Mat even;    // the picture with sides made even
    cv::Mat planar;  // Y, U and V below one another
    std::optional<std::chrono::nanoseconds> firstTime;
    std::int64_t lastPts = -1;
    std::int64_t pictureTicks = 1;
    bool hasFragment = false;  // begun
    bool isOpen = false;
};

Writer::Impl::Impl(std::string path, Size size, double frameRate) : part(std::move(path)) {
    av::Silence();
    // The library's names for what is open already.
    std::string const url =
        part.IsBeside() ? "file:" + part.Path() : "pipe:" + std::to_string(part.Descriptor());
    AVFormatContext* context = nullptr;
    Check(avformat_alloc_output_context2(&context, nullptr, "mp4", url.c_str()));
    output.reset(context);
    OpenEncoder({MadeEven(size.width), MadeEven(size.height)}, frameRate);
    OpenFile();
    isOpen = true;
}

int Writer::Impl::Check(int error) const {
    if (error == AVERROR(ENOMEM)) throw std::bad_alloc();
    if (error < 0) throw Failure(ExitCode::BadOutput, part.Name() + ": " + av::ErrorText(error));
    return error;
}

void Writer::Impl::OpenEncoder(Size size, double frameRate) {
    AVCodec const* const encoder = FindEncoder();
    if (encoder == nullptr) {
        throw Failure(ExitCode::BadOutput, part.Name() + ": libavcodec has no encoder for MP4");
    }
    codec.reset(avcodec_alloc_context3(encoder));
    if (!codec) throw std::bad_alloc();
    codec->width = static_cast<int>(size.width);
    codec->height = static_cast<int>(size.height);
    codec->pix_fmt = AV_PIX_FMT_YUV420P;
    codec->color_range = AVCOL_RANGE_MPEG;
    codec->framerate = av_d2q(std::clamp(frameRate, 0.01, 1000.0), 100'000);
    codec->gop_size = std::clamp(static_cast<int>(2.0 * frameRate), 10, 250);
    codec->max_b_frames = 0;  // every player keeps the times; the first picture is at 0
    if (encoder->id == AV_CODEC_ID_H264) {
        codec->time_base = TimeBase;
        av_opt_set(codec->priv_data, "preset", "veryfast", 0);
        av_opt_set(codec->priv_data, "crf", "20", 0);
    } else {
        codec->time_base = {1, 65'535};  // MPEG-4 has 16 bits for it
        codec->flags |= AV_CODEC_FLAG_QSCALE;
        codec->global_quality = 4 * FF_QP2LAMBDA;
    }
    pictureTicks = std::max<std::int64_t>(
        1, std::llround(av_q2d(av_inv_q(codec->time_base)) / std::max(frameRate, 0.01)));
    if ((output->oformat->flags & AVFMT_GLOBALHEADER) != 0) {
        codec->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    }
    Check(avcodec_open2(codec.get(), encoder, nullptr));

    frame->format = codec->pix_fmt;
    frame->width = codec->width;
    frame->height = codec->height;
    Check(av_frame_get_buffer(frame.get(), 0));
}

void Writer::Impl::OpenFile() {
    stream = avformat_new_stream(output.get(), nullptr);
    if (stream == nullptr) throw std::bad_alloc();
    stream->time_base = codec->time_base;
    stream->avg_frame_rate = codec->framerate;
    Check(avcodec_parameters_from_context(stream->codecpar, codec.get()));
    Check(avio_open(&output->pb, output->url, AVIO_FLAG_WRITE));
    AVDictionary* settings = nullptr;
    // Every key picture begins a fragment with an index of its own: what has been written plays,
    // whatever happens next, and before it is loaded whole.
    av_dict_set(&settings, "movflags", "+frag_keyframe+empty_moov+default_base_moof", 0);
    av_dict_set(&settings, "flush_packets", "1", 0);
    int const error = avformat_write_header(output.get(), &settings);
    av_dict_free(&settings);
    Check(error);
}

void Writer::Impl::Write(cv::Mat const& picture, std::chrono::nanoseconds time) {
    CV_Assert(picture.type() == CV_8UC3 &&
              MadeEven(static_cast<unsigned int>(picture.cols)) ==
                  static_cast<unsigned int>(codec->width) &&
              MadeEven(static_cast<unsigned int>(picture.rows)) ==
                  static_cast<unsigned int>(codec->height));
    if (!firstTime) firstTime = time;
    cv::copyMakeBorder(picture, even, 0, picture.rows % 2, 0, picture.cols % 2,
                       cv::BORDER_REPLICATE);
    cv::cvtColor(even, planar, cv::COLOR_BGR2YUV_I420);

    Check(av_frame_make_writable(frame.get()));
    std::uint8_t const* source = planar.data;
    for (int plane = 0; plane < 3; ++plane) {
        int const shift = plane == 0 ? 0 : 1;
        auto const width = static_cast<std::size_t>(codec->width >> shift);
        for (int row = 0; row < codec->height >> shift; ++row) {
            std::memcpy(frame->data[plane] + std::ptrdiff_t{row} * frame->linesize[plane], source,
                        width);
            source += width;
        }
    }
    std::int64_t const pts =
        av_rescale_q((time - *firstTime).count(), AVRational{1, 1'000'000'000}, codec->time_base);
    lastPts = std::max(pts, lastPts + 1);
    frame->pts = lastPts;
    frame->quality = codec->global_quality;
    Encode(frame.get());
}

void Writer::Impl::Encode(AVFrame const* picture) {
    Check(avcodec_send_frame(codec.get(), picture));
    for (;;) {
        int const error = avcodec_receive_packet(codec.get(), packet.get());
        if (error == AVERROR(EAGAIN) || error == AVERROR_EOF) return;
        Check(error);
        if (packet->duration == 0) packet->duration = pictureTicks;
        av_packet_rescale_ts(packet.get(), codec->time_base, stream->time_base);
        packet->stream_index = stream->index;
        bool const isKey = (packet->flags & AV_PKT_FLAG_KEY) != 0;
        Check(av_interleaved_write_frame(output.get(), packet.get()));
        // The key picture has sent the fragment before it on its way.
        if (isKey && std::exchange(hasFragment, true)) part.Keep();
    }
}

void Writer::Impl::Close() {
    if (!std::exchange(isOpen, false)) return;
    Encode(nullptr);
    Check(av_write_trailer(output.get()));
    Check(avio_closep(&output->pb));
    // A power loss must not leave the name without what it stands for.
    if (part.IsBeside() && fdatasync(part.Descriptor()) != 0) part.Fail(errno);
    part.Commit();
}

Writer::Writer(std::string const& path, Size size, double frameRate)
    : impl(std::make_unique<Impl>(path, size, frameRate)) {}
Writer::Writer(Writer&&) noexcept = default;
Writer& Writer::operator=(Writer&&) noexcept = default;
Writer::~Writer() = default;

void Writer::Write(cv::Mat const& picture, std::chrono::nanoseconds time) {
    impl->Write(picture, time);
}
void Writer::Close() { impl->Close(); }

}  // namespace kes::track::video
