// The options of `kes-track run`.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "run/options.hpp"

namespace kes::track::cli {

struct RunOptions {
    std::vector<std::string> inputs;
    run::StreamOptions stream;  // but for the input; with several inputs the outputs are folders
    std::chrono::nanoseconds persistence = std::chrono::milliseconds(400);
    std::chrono::nanoseconds concealment = std::chrono::seconds(2);
    std::chrono::nanoseconds memory = std::chrono::seconds(5);
    std::optional<std::string> gatesFile;
    std::optional<std::string> detections;
    run::DetectionOptions detector;  // but for the file
    unsigned int jobs = 1;
    bool isSummaryJson = false;
    bool isQuiet = false;
};

void AddRunOptions(CLI::App& app, RunOptions& options);

// What each input is asked for. Throws Failure for outputs that cannot be.
std::vector<run::StreamOptions> StreamsOf(RunOptions const& options);

}  // namespace kes::track::cli
