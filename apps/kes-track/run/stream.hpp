// One input, from opening it to its last file: learn the scene, track, write.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "run/options.hpp"
#include "video/reader.hpp"

namespace kes::track::run {

struct StreamReport {
    std::string input;
    video::ClipInfo clip{};
    std::uint64_t frames = 0;
    std::uint64_t scaledFrames = 0;  // of another size than the first
    std::uint64_t warmUpFrames = 0;
    std::uint64_t objects = 0;        // movers that counted
    std::uint64_t staticObjects = 0;  // came to stand and never moved
    std::uint64_t events = 0;
    std::chrono::nanoseconds inWarmUp{};
    std::chrono::nanoseconds reading{};
    std::chrono::nanoseconds tracking{};
    std::chrono::nanoseconds writing{};
    bool isWritten = false;            // to any file
    std::optional<std::string> fault;  // of the input: broke off, damaged
};

// Told how much has been read: the clip's length where known, the time reached and the frames so
// far. isWarmUp while the scene is learnt.
struct Advance {
    std::optional<std::chrono::nanoseconds> length;
    std::chrono::nanoseconds done;
    std::uint64_t frames;
    bool isWarmUp;
};

// What the tracker of a clip is told. Throws Failure for masks that cannot be used and for times
// that cannot be counted.
tracker::Options TrackerOptions(StreamOptions const& options, video::ClipInfo const& clip);

// Throws Failure, Cancelled and std::bad_alloc. A fault of the input after its first picture is
// reported, not thrown.
StreamReport RunStream(StreamOptions const& options,
                       std::function<void(Advance const&)> const& advance);

}  // namespace kes::track::run
