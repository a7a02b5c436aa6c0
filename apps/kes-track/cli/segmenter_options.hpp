// The options of the foreground segmenter: its parameters in real units, and its masks.
#pragma once

#include <string>

#include <CLI/CLI.hpp>

#include "clip_segmenter.hpp"

namespace kes::track::cli {

constexpr char const* SegmenterGroup =
    "Segmenter (times are real time, whatever the clip's rate and pace)";

void AddSegmenterOptions(CLI::App& app, SegmenterOptions& options);

}  // namespace kes::track::cli
