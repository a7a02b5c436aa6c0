// What `kes-track run` is asked for.
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include <kes/tracker/tracker.hpp>

#include "clip_segmenter.hpp"
#include "count/gates.hpp"
#include "output/clip_outputs.hpp"
#include "run/detections.hpp"
#include "video/reader.hpp"

namespace kes::track::run {

// Files to write; none where not wanted.
struct OutputPaths : ClipPaths {
    std::optional<std::string> mot;
    std::optional<std::string> counts;
    std::optional<std::string> heatmap;
};

struct StreamOptions {
    std::string input;
    video::ReadOptions read;
    OutputPaths outputs;
    count::Gates gates;
    SegmenterOptions foreground;
    tracker::Options tracker;                    // but for its rate and its foreground
    std::optional<DetectionOptions> detections;  // in place of foreground
    // Of a recorded clip, to learn from before the start.
    std::chrono::nanoseconds warmUp = std::chrono::minutes(2);
    // By which results may come later than their frames.
    std::chrono::nanoseconds latency = std::chrono::seconds(1);
    // To either side, over which boxes are evened out.
    std::chrono::nanoseconds smoothing = std::chrono::milliseconds(600);
};

}  // namespace kes::track::run
