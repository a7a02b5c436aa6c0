// OpenCV could write the file as well, but its image library comes with a hundred others.
#include "video/png.hpp"

#include <cstddef>
#include <cstring>
#include <new>
#include <stdexcept>

#include <opencv2/imgproc.hpp>

#include "video/av.hpp"

namespace kes::track::video {
namespace {

constexpr int Compression = 3;  // of 9: most of the saving at a third of the time

}  // namespace

std::string EncodePng(cv::Mat const& picture) {
    CV_Assert(picture.type() == CV_8UC3 || picture.type() == CV_8UC1);
    bool const isGrey = picture.channels() == 1;
    av::Codec const codec(avcodec_alloc_context3(avcodec_find_encoder(AV_CODEC_ID_PNG)));
    if (!codec) throw std::bad_alloc();
    codec->width = picture.cols;
    codec->height = picture.rows;
    codec->pix_fmt = isGrey ? AV_PIX_FMT_GRAY8 : AV_PIX_FMT_RGB24;
    codec->time_base = {1, 1};
    codec->compression_level = Compression;
    codec->thread_count = 1;
    av::Frame const frame = av::MakeFrame();
    frame->format = codec->pix_fmt;
    frame->width = codec->width;
    frame->height = codec->height;
    av::Packet const packet = av::MakePacket();
    auto const check = [](int error) {
        if (error == AVERROR(ENOMEM)) throw std::bad_alloc();
        if (error < 0) throw std::runtime_error("cannot encode a PNG: " + av::ErrorText(error));
    };
    check(avcodec_open2(codec.get(), nullptr, nullptr));
    check(av_frame_get_buffer(frame.get(), 0));
    cv::Mat target(picture.size(), picture.type(), frame->data[0],
                   static_cast<std::size_t>(frame->linesize[0]));
    if (isGrey) {
        picture.copyTo(target);
    } else {
        cv::cvtColor(picture, target, cv::COLOR_BGR2RGB);
    }
    check(avcodec_send_frame(codec.get(), frame.get()));
    check(avcodec_receive_packet(codec.get(), packet.get()));
    return {reinterpret_cast<char const*>(packet->data), static_cast<std::size_t>(packet->size)};
}

}  // namespace kes::track::video
