// The options that say what is written about a clip.
#pragma once

#include <CLI/CLI.hpp>

#include "output/clip_outputs.hpp"

namespace kes::track::cli {

constexpr char const* OutputGroup = "What is written (FILE - is standard output)";

struct OutputTexts {
    char const* lines;
    char const* video;
    char const* picture;
};

// --jsonl, --video and --picture, each with its line of help.
void AddOutputOptions(CLI::App& app, char const* group, ClipPaths& paths, OutputTexts const& texts);

// --json and --quiet.
void AddSummaryOptions(CLI::App& app, char const* group, bool& isJson, bool& isQuiet);

}  // namespace kes::track::cli
