#include "video/av.hpp"

#include <array>
#include <new>

extern "C" {
#include <libavutil/error.h>
#include <libavutil/log.h>
}

namespace kes::track::video::av {

Frame MakeFrame() {
    Frame frame(av_frame_alloc());
    if (!frame) throw std::bad_alloc();
    return frame;
}

Packet MakePacket() {
    Packet packet(av_packet_alloc());
    if (!packet) throw std::bad_alloc();
    return packet;
}

std::string ErrorText(int error) {
    std::array<char, AV_ERROR_MAX_STRING_SIZE> text{};
    av_strerror(error, text.data(), text.size());
    return text.data();
}

void Silence() { av_log_set_level(AV_LOG_QUIET); }

}  // namespace kes::track::video::av
