// Reader: the pictures of a clip, a stream or a camera, one after the other, as Nv12 frames.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include <kes/geometry/dimension.hpp>
#include <kes/media/video/frame.hpp>

namespace kes::track::video {

using Size = geometry::Dimension<unsigned int, 2>;
using Frame = media::video::FrameBase<void const>;

struct ReadOptions {
    std::chrono::nanoseconds start{0};                   // pictures before it are skipped
    std::optional<std::chrono::nanoseconds> duration{};  // none: to the end
    unsigned int every = 1;                              // one picture in this many; at least 1
    std::optional<Size> size{};                          // pictures are scaled to it
    std::function<bool()> isCancelled{};                 // asked often; true ends the reading
    // After which a server that says nothing is given up.
    std::chrono::nanoseconds longestSilence = std::chrono::seconds(20);
};

struct ClipInfo {
    Size size;         // in pixels, of every picture handed out
    double frameRate;  // pictures handed out a second: the clip's rate / every
    bool isRateKnown;  // false: neither container nor codec says; frameRate is a guess
    std::string codec;
    // How long the pictures to be handed out last. None for a camera or a stream.
    std::optional<std::chrono::nanoseconds> length;
};

// "768 × 576   ·   10 frames a second   ·   1:19.5", the last only where the length is known.
std::string Describe(ClipInfo const& clip);

struct Picture {
    // The picture's place in the clip, from 0, whatever of the clip is read. After a jump to a
    // start it is counted, or where the clip's rate is constant told by the time.
    std::uint64_t index;
    std::chrono::nanoseconds time;  // from the start of the clip; never falls
    // Counted and Nv12. Its timestamp is the picture's time from the clock's epoch, or, for a live
    // stream that tells when it began, the time of day.
    Frame frame;
    bool isFullRange;  // luminance runs from 0 to 255, not from 16 to 235
};

// Opens anything that libavformat and libavdevice open; "-" is standard input. Pictures have one
// size throughout: that of the first, or ReadOptions::size; a clip that changes its size is scaled.
// They stand upright: a clip that a player would turn is turned. What comes in is not trusted:
// pictures beyond 64 Mi pixels are refused, and a file cannot make us open anything over the
// network.
class Reader {
public:
    // Opens the input and decodes up to the first picture. Throws Failure (BadInput), Cancelled
    // when cancelled before that picture, and std::bad_alloc.
    Reader(std::string const& input, ReadOptions options);
    Reader(Reader&&) noexcept;
    Reader& operator=(Reader&&) noexcept;
    ~Reader();

    ClipInfo const& Info() const noexcept;

    // The next picture; none at the end, when the input breaks off, and when cancelled.
    std::optional<Picture> Next();

    // What is wrong with the input as read so far, as one line without its name: it broke off, it
    // ended early, parts were damaged so that the decoder noticed. None when all was well.
    std::optional<std::string> Fault() const;

    // How many of the pictures so far the clip has in another size than the first.
    std::uint64_t Unlike() const noexcept;

private:
    class Impl;
    std::unique_ptr<Impl> impl;
};

}  // namespace kes::track::video
