// The options that say what is read: the input itself, and which of its pictures.
#pragma once

#include <string>

#include <CLI/CLI.hpp>

#include "video/reader.hpp"

namespace kes::track::cli {

// INPUT, required.
void AddInput(CLI::App& app, std::string& input);

// --start, --duration, --every and --size.
void AddReadOptions(CLI::App& app, video::ReadOptions& options);

}  // namespace kes::track::cli
