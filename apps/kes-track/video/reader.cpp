#include "video/reader.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <limits>
#include <new>
#include <string_view>
#include <utility>

extern "C" {
#include <libavdevice/avdevice.h>
#include <libavutil/display.h>
#include <libavutil/mathematics.h>
}

#include "base/failure.hpp"
#include "base/format.hpp"
#include "video/av.hpp"
#include "video/nv12.hpp"

namespace kes::track::video {
namespace {

using std::chrono::nanoseconds;

constexpr std::int64_t MostPixels = std::int64_t{64} << 20;  // twice 8K
constexpr double GuessedFrameRate = 15.0;
constexpr double HighestFrameRate = 1000.0;
// Times beyond these come from damage; within them sums and differences cannot overflow. A stream
// may count its own times from 1970, so that they reach further than the length of any clip.
constexpr nanoseconds FurthestTime = std::chrono::hours(24 * 366 * 50);
constexpr nanoseconds FurthestDate = std::chrono::hours(24 * 366 * 140);

bool IsUrl(std::string const& input) { return input.find("://") != std::string::npos; }
bool IsCamera(std::string const& input) { return input.rfind("/dev/video", 0) == 0; }

// Whether a file is an MP4 without the index that its writer puts there at the end.
bool LacksIndex(std::string const& path) {
    std::ifstream file(path, std::ios::binary);
    bool isMp4 = false;
    std::array<unsigned char, 8> box{};
    while (file.read(reinterpret_cast<char*>(box.data()), box.size())) {
        std::string_view const kind(reinterpret_cast<char const*>(&box[4]), 4);
        std::uint32_t const size = std::uint32_t{box[0]} << 24 | std::uint32_t{box[1]} << 16 |
                                   std::uint32_t{box[2]} << 8 | box[3];
        if (kind == "moov") return false;
        isMp4 = isMp4 || kind == "ftyp";
        if (!isMp4 || size < box.size()) break;  // a size of 0 or 1: the rest of the file, or more
        file.seekg(size - static_cast<std::streamoff>(box.size()), std::ios::cur);
    }
    return isMp4;
}

// libav's count of `timeBase` units; none when it is unset or senseless.
std::optional<nanoseconds> ToNanoseconds(std::int64_t count, AVRational timeBase,
                                         nanoseconds furthest = FurthestTime) {
    if (count == AV_NOPTS_VALUE || timeBase.num <= 0 || timeBase.den <= 0) return std::nullopt;
    std::int64_t const scaled = av_rescale_q(count, timeBase, AVRational{1, 1'000'000'000});
    nanoseconds const time{scaled};
    if (scaled == std::numeric_limits<std::int64_t>::min() || time > furthest || time < -furthest) {
        return std::nullopt;
    }
    return time;
}

std::optional<double> SensibleRate(AVRational rate) {
    if (rate.num <= 0 || rate.den <= 0) return std::nullopt;
    double const value = av_q2d(rate);
    if (!(value > 0.0) || value > HighestFrameRate) return std::nullopt;
    return value;
}

media::video::frame::Rotation RotationOf(AVStream const& stream) {
    using media::video::frame::Rotation;
    auto const* const matrix = reinterpret_cast<std::int32_t const*>(
        av_stream_get_side_data(&stream, AV_PKT_DATA_DISPLAYMATRIX, nullptr));
    if (matrix == nullptr) return Rotation::None;
    double const anticlockwise = av_display_rotation_get(matrix);
    if (!std::isfinite(anticlockwise)) return Rotation::None;
    auto const quarters = std::lround(-anticlockwise / 90.0);
    return static_cast<Rotation>(((quarters % 4) + 4) % 4);
}

std::string InSeconds(nanoseconds time) {
    char text[32];
    std::snprintf(text, sizeof text, "%.1f s", Seconds(time));
    return text;
}

}  // namespace

class Reader::Impl {
public:
    Impl(std::string const& input, ReadOptions readOptions);

    ClipInfo const& Info() const noexcept { return info; }
    std::optional<Picture> Next();
    std::optional<std::string> Fault() const;
    std::uint64_t Unlike() const noexcept { return unlike; }

private:
    static int IsWaitOver(void* self);

    void Open(std::string const& input);
    void OpenDecoder();
    void SeekToStart();
    void LearnTheClip();
    std::optional<nanoseconds> NominalLength() const;

    std::optional<Picture> Read();
    Size Turned(Size size) const;
    bool Decode();
    void Feed();
    void KeepTime();
    nanoseconds TimeOfDay() const;
    void AwaitAnswer() { deadline = std::chrono::steady_clock::now() + options.longestSilence; }
    bool IsSilent() const { return std::chrono::steady_clock::now() > deadline; }
    std::uint64_t CountBefore(std::int64_t timestamp);
    bool IsCancelled() const { return options.isCancelled && options.isCancelled(); }

    ReadOptions options;
    ClipInfo info{};
    std::chrono::steady_clock::time_point deadline{};
    av::Input input;
    av::Codec codec;
    AVStream* stream = nullptr;
    AVRational timeBase{};
    nanoseconds period{};               // between two decoded pictures
    std::optional<nanoseconds> origin;  // the stream's own time at which the clip starts
    media::video::frame::Rotation rotation = media::video::frame::Rotation::None;

    av::Packet packet = av::MakePacket();
    av::Frame decoded = av::MakeFrame();
    Nv12Converter converter;
    bool isDrained = false;       // the decoder has been told that no more comes
    bool isOver = false;          // nothing more is handed out
    std::uint64_t nextIndex = 0;  // of the next picture decoded, in the clip
    // Where reading began at some picture before the start: the number of pictures before the
    // start, none where times tell it.
    bool isSought = false;
    std::optional<std::uint64_t> countBefore;
    std::uint64_t wanted = 0;  // decoded pictures from `start` on
    Size firstSize{};          // as decoded
    std::uint64_t unlike = 0;
    std::optional<nanoseconds> time;  // of the last decoded picture
    std::optional<Picture> first;

    std::uint64_t damaged = 0;  // packets and pictures
    std::optional<nanoseconds> firstDamage;
    int readError = 0;        // that ended the reading, but for a proper end
    bool reachedEnd = false;  // of the input, not of the duration asked for
};

Reader::Impl::Impl(std::string const& name, ReadOptions readOptions)
    : options(std::move(readOptions)) {
    av::Silence();
    avdevice_register_all();
    try {
        Open(name);
        OpenDecoder();
        SeekToStart();
        LearnTheClip();
    } catch (Failure const& failure) {
        throw Failure(failure.Code(), name + ": " + failure.what());
    }
}

int Reader::Impl::IsWaitOver(void* self) {
    auto const& reader = *static_cast<Impl*>(self);
    return reader.IsCancelled() || reader.IsSilent() ? 1 : 0;
}

void Reader::Impl::Open(std::string const& name) {
    AwaitAnswer();
    AVFormatContext* context = avformat_alloc_context();
    if (context == nullptr) throw std::bad_alloc();
    context->interrupt_callback = {IsWaitOver, this};

    AVDictionary* settings = nullptr;
    // A playlist in a file may name files, and nothing else.
    if (!IsUrl(name)) av_dict_set(&settings, "protocol_whitelist", "file,pipe,fd,data,crypto", 0);
    // Over UDP a busy camera loses packets.
    if (IsUrl(name)) av_dict_set(&settings, "rtsp_flags", "prefer_tcp", 0);
    AVInputFormat const* const device = IsCamera(name) ? av_find_input_format("v4l2") : nullptr;
    std::string const url = name == "-" ? "pipe:0" : name;
    int error = avformat_open_input(&context, url.c_str(), device, &settings);
    av_dict_free(&settings);
    input.reset(context);  // null after a failure
    if (error >= 0) error = avformat_find_stream_info(input.get(), nullptr);
    if (error >= 0) return;
    if (IsCancelled()) throw Cancelled{};
    // Whatever an interrupted conversation was taken for.
    if (IsSilent()) throw Failure(ExitCode::BadInput, "no answer");
    if (error != AVERROR_INVALIDDATA) throw Failure(ExitCode::BadInput, av::ErrorText(error));
    throw Failure(ExitCode::BadInput, LacksIndex(name)
                                          ? "an MP4 that was cut off before its index was written"
                                          : "not a video that can be read");
}

void Reader::Impl::OpenDecoder() {
    AVCodec const* decoder = nullptr;
    int const index = av_find_best_stream(input.get(), AVMEDIA_TYPE_VIDEO, -1, -1, &decoder, 0);
    if (index == AVERROR_DECODER_NOT_FOUND) {
        throw Failure(ExitCode::BadInput, "no decoder for this kind of video");
    }
    if (index < 0) throw Failure(ExitCode::BadInput, "holds no video");
    for (unsigned int i = 0; i < input->nb_streams; ++i) {
        if (i != static_cast<unsigned int>(index)) input->streams[i]->discard = AVDISCARD_ALL;
    }
    stream = input->streams[index];
    timeBase = stream->time_base;

    codec.reset(avcodec_alloc_context3(decoder));
    if (!codec) throw std::bad_alloc();
    int error = avcodec_parameters_to_context(codec.get(), stream->codecpar);
    codec->pkt_timebase = timeBase;
    // With several threads libavcodec 59 hands out a picture before it has noted its damage, so
    // that the same file would be called whole or damaged by chance; a camera's pictures would come
    // late.
    codec->thread_count = 1;
    codec->max_pixels = MostPixels;
    if (error >= 0) error = avcodec_open2(codec.get(), decoder, nullptr);
    if (error == AVERROR(ENOMEM)) throw std::bad_alloc();
    if (error < 0) throw Failure(ExitCode::BadInput, "cannot decode: " + av::ErrorText(error));

    std::optional<double> rate = SensibleRate(stream->avg_frame_rate);
    if (!rate) rate = SensibleRate(stream->r_frame_rate);
    info.isRateKnown = rate.has_value();
    info.frameRate = rate.value_or(GuessedFrameRate) / options.every;
    info.codec = decoder->name;
    period = nanoseconds{std::llround(1e9 / rate.value_or(GuessedFrameRate))};
    rotation = RotationOf(*stream);
    origin = ToNanoseconds(stream->start_time, timeBase, FurthestDate);
}

// Goes to the last key picture before the start where the input allows it; the pictures between
// are decoded and skipped. Where it does not, everything before the start is.
void Reader::Impl::SeekToStart() {
    if (options.start <= nanoseconds{0} || !origin) return;
    std::int64_t const target =
        av_rescale_q((*origin + options.start).count(), AVRational{1, 1'000'000'000}, timeBase);
    auto const seek = [&](std::int64_t timestamp) {
        return avformat_seek_file(input.get(), stream->index,
                                  std::numeric_limits<std::int64_t>::min(), timestamp, timestamp,
                                  0) >= 0;
    };
    isSought = seek(target);
    // Where the container does not count its pictures, its rate is a guess from the first few.
    bool const isRateConstant =
        stream->nb_frames > 0 && av_cmp_q(stream->avg_frame_rate, stream->r_frame_rate) == 0;
    if (isSought && !isRateConstant && seek(stream->start_time)) {
        countBefore = CountBefore(target);
        seek(target);
    }
}

// The pictures before a time, told by their packets; those are read and not decoded.
std::uint64_t Reader::Impl::CountBefore(std::int64_t timestamp) {
    std::uint64_t count = 0;
    bool isPast = false;
    while (!isPast && av_read_frame(input.get(), packet.get()) >= 0) {
        if (packet->stream_index == stream->index) {
            if (packet->pts < timestamp) ++count;
            isPast = packet->dts != AV_NOPTS_VALUE && packet->dts >= timestamp;
        }
        av_packet_unref(packet.get());
        AwaitAnswer();
    }
    return count;
}

// How long the container says that the video lasts, where it says so about the video itself.
std::optional<nanoseconds> Reader::Impl::NominalLength() const {
    bool const isAboutVideo = input->nb_streams == 1 || stream->nb_frames > 0;
    if (!isAboutVideo || input->duration_estimation_method == AVFMT_DURATION_FROM_BITRATE) {
        return std::nullopt;
    }
    std::optional<nanoseconds> length = ToNanoseconds(stream->duration, timeBase);
    if (!length) length = ToNanoseconds(input->duration, AVRational{1, AV_TIME_BASE});
    // Of a file that was cut short, libavformat may tell the shorter duration but the old count.
    if (std::optional<double> const rate = SensibleRate(stream->avg_frame_rate)) {
        double const seconds = static_cast<double>(stream->nb_frames) / *rate;
        double const furthest = std::chrono::duration<double>(FurthestTime).count();
        nanoseconds const counted{std::llround(1e9 * std::clamp(seconds, 0.0, furthest))};
        length = std::max(length.value_or(counted), counted);
    }
    if (!length || *length <= nanoseconds{0}) return std::nullopt;
    return length;
}

void Reader::Impl::LearnTheClip() {
    first = Read();
    if (!first) {
        if (IsCancelled()) throw Cancelled{};
        if (time && *time < options.start) {
            throw Failure(ExitCode::BadInput,
                          "ends at " + InSeconds(*time + period) + ", before the start asked for");
        }
        if (readError == AVERROR_EXIT) throw Failure(ExitCode::BadInput, "no answer");
        throw Failure(ExitCode::BadInput,
                      readError != 0 ? "no picture can be decoded: " + av::ErrorText(readError)
                                     : "no picture can be decoded");
    }
    std::optional<nanoseconds> length = NominalLength();
    if (length) length = std::max(*length - options.start, nanoseconds{0});
    if (options.duration) length = std::min(length.value_or(*options.duration), *options.duration);
    info.length = length;
}

std::optional<Picture> Reader::Impl::Next() {
    if (first) return std::exchange(first, std::nullopt);
    return Read();
}

std::optional<Picture> Reader::Impl::Read() {
    while (!isOver && !IsCancelled() && Decode()) {
        KeepTime();
        if (*time < options.start) {
            ++nextIndex;
            continue;
        }
        if (options.duration && *time - options.start >= *options.duration) break;
        if (std::exchange(isSought, false)) {
            nextIndex = countBefore.value_or(
                static_cast<std::uint64_t>(std::llround(Seconds(*time) / Seconds(period))));
        }
        std::uint64_t const index = nextIndex++;
        if (wanted++ % options.every != 0) continue;

        Size const size{static_cast<unsigned int>(decoded->width),
                        static_cast<unsigned int>(decoded->height)};
        if (firstSize == Size{}) {
            firstSize = size;
            info.size = options.size.value_or(Turned(size));
        }
        if (size != firstSize) ++unlike;
        Frame::TimePoint const timestamp{TimeOfDay()};
        av::Frame picture = Upright(converter.Convert(*decoded, Turned(info.size)), rotation);
        bool const isFullRange = picture->color_range == AVCOL_RANGE_JPEG;
        return Picture{index, *time, Wrap(std::move(picture), timestamp), isFullRange};
    }
    isOver = true;
    return std::nullopt;
}

// The size with its sides exchanged where pictures lie on their side.
Size Reader::Impl::Turned(Size size) const {
    using media::video::frame::Rotation;
    bool const liesOnSide = rotation == Rotation::Clockwise90 || rotation == Rotation::Clockwise270;
    return liesOnSide ? Size{size.height, size.width} : size;
}

// Fetches one picture into `decoded`; false when no more comes.
bool Reader::Impl::Decode() {
    for (;;) {
        int const error = avcodec_receive_frame(codec.get(), decoded.get());
        if (error >= 0) {
            bool const isDamaged =
                decoded->decode_error_flags != 0 || (decoded->flags & AV_FRAME_FLAG_CORRUPT) != 0;
            if (isDamaged) {
                ++damaged;
                if (!firstDamage) firstDamage = time.value_or(nanoseconds{0});
            }
            if (decoded->width > 0 && decoded->height > 0) return true;
            continue;
        }
        if (error == AVERROR(ENOMEM)) throw std::bad_alloc();
        if (error == AVERROR_EOF || (isDrained && error == AVERROR(EAGAIN))) return false;
        if (error == AVERROR(EAGAIN)) {
            Feed();
            if (IsCancelled()) return false;
            continue;
        }
        ++damaged;
        if (!firstDamage) firstDamage = time.value_or(nanoseconds{0});
    }
}

// Hands the decoder one packet of the video, or the news that there is no more.
void Reader::Impl::Feed() {
    for (;;) {
        AwaitAnswer();
        int const error = av_read_frame(input.get(), packet.get());
        if (error == AVERROR(ENOMEM)) throw std::bad_alloc();
        if (error == AVERROR(EAGAIN)) continue;  // a camera that has nothing yet
        if (error < 0) {
            reachedEnd = error == AVERROR_EOF;
            if (!reachedEnd && !IsCancelled()) readError = IsSilent() ? AVERROR_EXIT : error;
            isDrained = true;
            avcodec_send_packet(codec.get(), nullptr);
            return;
        }
        if (packet->stream_index == stream->index) break;
        av_packet_unref(packet.get());
    }
    bool const isTorn = (packet->flags & AV_PKT_FLAG_CORRUPT) != 0;
    int const error = avcodec_send_packet(codec.get(), packet.get());
    av_packet_unref(packet.get());
    if (error == AVERROR(ENOMEM)) throw std::bad_alloc();
    if (isTorn || error < 0) {
        ++damaged;
        if (!firstDamage) firstDamage = time.value_or(nanoseconds{0});
    }
}

// The decoded picture's time from the start of the clip. A picture without one, or with one before
// its predecessor's, follows it by one period.
void Reader::Impl::KeepTime() {
    std::optional<nanoseconds> const own =
        ToNanoseconds(decoded->best_effort_timestamp, timeBase, FurthestDate);
    if (!origin && own) origin = own;
    nanoseconds const expected = time ? *time + period : nanoseconds{0};
    nanoseconds const found = own && origin ? *own - *origin : expected;
    bool const isSensible = found <= FurthestTime && (!time || found > *time);
    time = isSensible ? found : expected;
}

// Of the picture whose time was kept last: the time of day where the input tells it, which a live
// stream may do at any moment, and else the time from the start.
nanoseconds Reader::Impl::TimeOfDay() const {
    // The wall clock at which the stream's own time is 0.
    auto const zero =
        ToNanoseconds(input->start_time_realtime, AVRational{1, 1'000'000}, FurthestDate);
    if (!zero) return *time;
    nanoseconds const start = *zero + origin.value_or(nanoseconds{0});
    return start > -FurthestDate && start < FurthestDate ? start + *time : *time;
}

std::optional<std::string> Reader::Impl::Fault() const {
    nanoseconds const reached = time ? *time + period : nanoseconds{0};
    if (readError != 0) {
        return "broke off at " + InSeconds(reached) + ": " +
               (readError == AVERROR_EXIT ? "no answer" : av::ErrorText(readError));
    }
    if (reachedEnd) {
        std::optional<nanoseconds> const length = NominalLength();
        nanoseconds const slack = std::chrono::seconds(1) + (length ? *length / 50 : period);
        if (length && reached + slack < *length) {
            return "ends at " + InSeconds(reached) + " of " + InSeconds(*length);
        }
    }
    if (damaged != 0) {
        return "damaged in " + std::to_string(damaged) + (damaged == 1 ? " place" : " places") +
               ", the first near " + InSeconds(*firstDamage);
    }
    return std::nullopt;
}

std::string Describe(ClipInfo const& clip) {
    std::string text = std::to_string(clip.size.width) + " × " + std::to_string(clip.size.height) +
                       "   ·   " + FormatNumber(clip.frameRate, 2) + " frames a second";
    if (clip.length) text += "   ·   " + FormatTime(*clip.length);
    return text;
}

Reader::Reader(std::string const& input, ReadOptions options)
    : impl(std::make_unique<Impl>(input, std::move(options))) {}
Reader::Reader(Reader&&) noexcept = default;
Reader& Reader::operator=(Reader&&) noexcept = default;
Reader::~Reader() = default;

ClipInfo const& Reader::Info() const noexcept { return impl->Info(); }
std::optional<Picture> Reader::Next() { return impl->Next(); }
std::optional<std::string> Reader::Fault() const { return impl->Fault(); }
std::uint64_t Reader::Unlike() const noexcept { return impl->Unlike(); }

}  // namespace kes::track::video
