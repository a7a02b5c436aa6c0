// libav's objects as owners, and its error numbers as words. Internal to the video folder.
#pragma once

#include <memory>
#include <string>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/buffer.h>
#include <libavutil/frame.h>
#include <libswscale/swscale.h>
}

namespace kes::track::video::av {

struct Deleter {
    void operator()(AVFormatContext* input) const noexcept { avformat_close_input(&input); }
    void operator()(AVCodecContext* codec) const noexcept { avcodec_free_context(&codec); }
    void operator()(AVFrame* frame) const noexcept { av_frame_free(&frame); }
    void operator()(AVPacket* packet) const noexcept { av_packet_free(&packet); }
    void operator()(AVBufferPool* pool) const noexcept { av_buffer_pool_uninit(&pool); }
    void operator()(SwsContext* scaler) const noexcept { sws_freeContext(scaler); }
};

using Input = std::unique_ptr<AVFormatContext, Deleter>;
using Codec = std::unique_ptr<AVCodecContext, Deleter>;
using Frame = std::unique_ptr<AVFrame, Deleter>;
using Packet = std::unique_ptr<AVPacket, Deleter>;
using BufferPool = std::unique_ptr<AVBufferPool, Deleter>;
using Scaler = std::unique_ptr<SwsContext, Deleter>;

// Throw std::bad_alloc.
Frame MakeFrame();
Packet MakePacket();

// libav's words for its error number, for example "No such file or directory".
std::string ErrorText(int error);

// The libraries' own messages go nowhere: the program says in one line what went wrong.
void Silence();

}  // namespace kes::track::video::av
