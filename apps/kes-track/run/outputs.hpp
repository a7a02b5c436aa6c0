// Outputs: the files that one stream's tracks are written to.
#pragma once

#include <optional>
#include <string>

#include <kes/tracker/tracker.hpp>

#include "base/output_file.hpp"
#include "draw/contact_sheet.hpp"
#include "draw/tracks.hpp"
#include "run/options.hpp"
#include "video/reader.hpp"
#include "video/writer.hpp"

namespace kes::track::run {

class Outputs {
public:
    // Makes the files at once, so that one that cannot be is known before the work. Throws Failure:
    // BadOutput, and BadUsage for one that would overwrite the input.
    // detections, which may be null, must outlive this.
    Outputs(StreamOptions const& options, video::ClipInfo const& clip,
            Detections const* detections);

    bool AreAny() const { return mot || jsonLines || sheet || video; }

    // Call for every picture, in order.
    void Write(video::Picture const& picture, tracker::Result const& result);

    // Finishes every file, also after one of them failed; throws what failed first.
    void Close();

private:
    void WriteMot(video::Picture const& picture, tracker::Result const& result);
    void WriteLines(video::Picture const& picture, tracker::Result const& result);
    void Draw(video::Picture const& picture, tracker::Result const& result);
    cv::Mat Page() const;

    Detections const* detections;
    std::optional<OutputFile> mot;
    std::optional<OutputFile> jsonLines;
    std::optional<OutputFile> pictureFile;
    std::optional<draw::ContactSheet> sheet;
    std::optional<draw::PathPicture> paths;
    std::optional<video::Writer> video;
    draw::TrackPainter painter;
    draw::Font font{draw::Font::Weight::Normal};
};

}  // namespace kes::track::run
