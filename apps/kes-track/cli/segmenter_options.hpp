// The options of the foreground segmenter: its parameters in real units, and its masks.
#pragma once

#include <string>

#include <CLI/CLI.hpp>

#include "foreground.hpp"

namespace kes::track::cli {

constexpr char const* SegmenterGroup = "Segmenter (times are real time, whatever the clip's rate)";

void AddSegmenterOptions(CLI::App& app, ForegroundOptions& options);

}  // namespace kes::track::cli
