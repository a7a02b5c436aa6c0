// Outputs: the files that one stream's tracks are written to.
#pragma once

#include <optional>
#include <vector>

#include <kes/tracker/tracker.hpp>

#include "count/tally.hpp"
#include "draw/font.hpp"
#include "draw/heatmap.hpp"
#include "draw/tracks.hpp"
#include "output/clip_outputs.hpp"
#include "output/output_file.hpp"
#include "run/options.hpp"
#include "video/reader.hpp"

namespace kes::track::run {

class Outputs {
public:
    // Makes the files at once, so that one that cannot be is known before the work. Throws Failure
    // (BadOutput). detections, which may be null, must outlive this.
    Outputs(StreamOptions const& options, video::ClipInfo const& clip,
            Detections const* detections);

    bool AreAny() const { return mot || tally || files.HasLines() || AreDrawn(); }
    // Whether the pictures given to Write are looked at, not only their numbers and times.
    bool AreDrawn() const { return heatmap || files.AreDrawn(); }

    // Call for every picture, in order.
    void Write(video::Picture const& picture, tracker::Result const& result);

    // Finishes every file, also after one of them failed; throws what failed first.
    void Close();

private:
    void WriteMot(video::Picture const& picture, tracker::Result const& result);
    void WriteCounts(std::vector<tracker::CountEvent> const& events);
    void WriteLines(video::Picture const& picture, tracker::Result const& result);
    void Draw(video::Picture const& picture, tracker::Result const& result);

    Detections const* detections;
    ClipOutputs files;
    std::optional<OutputFile> mot;
    std::optional<count::Tally> tally;
    std::optional<OutputFile> heatmapFile;
    std::optional<draw::Heatmap> heatmap;
    std::optional<draw::PathPicture> paths;
    draw::TrackPainter painter;
    draw::Font font{draw::Font::Weight::Bold};
    double frameSeconds;
};

}  // namespace kes::track::run
