// Writer: drawn pictures into an MP4 file that plays anywhere.
#pragma once

#include <chrono>
#include <memory>
#include <string>

#include <opencv2/core.hpp>

#include "video/reader.hpp"

namespace kes::track::video {

// H.264 in yuv420p where libavcodec has the encoder, MPEG-4 part 2 where not; in fragments of about
// two seconds, so that a file that breaks off plays up to there. Pictures keep their
// times; an odd width or height is made even by repeating the last column or row. All of it throws
// Failure (BadOutput) with the path, and std::bad_alloc.
class Writer {
public:
    // size in pixels; frameRate: about how many pictures a second there will be.
    Writer(std::string const& path, Size size, double frameRate);
    Writer(Writer&&) noexcept;
    Writer& operator=(Writer&&) noexcept;

    // A writer that was not closed leaves what can be played as a part (output/part_file.hpp).
    ~Writer();

    // picture: 8-bit BGR of the size given. time: from any start; the first picture is shown at
    // once, and times that do not rise are made to.
    void Write(cv::Mat const& picture, std::chrono::nanoseconds time);

    // Finishes the file. Nothing can be written afterwards.
    void Close();

private:
    class Impl;
    std::unique_ptr<Impl> impl;
};

}  // namespace kes::track::video
