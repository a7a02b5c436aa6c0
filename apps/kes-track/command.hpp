// A command of the program. main.cpp holds the table of them; each has a file of its own.
#pragma once

#include <functional>

#include <CLI/CLI.hpp>

#include "base/failure.hpp"

namespace kes::track {

// Does the work once the options have been parsed. What goes wrong is thrown as Failure.
using Run = std::function<int()>;

struct Command {
    char const* name;
    char const* summary;
    // Adds the command's options to `app` and returns what to run.
    Run (*add)(CLI::App& app);
};

Run AddEvalCommand(CLI::App& app);
Run AddManualCommand(CLI::App& app);
Run AddRunCommand(CLI::App& app);
Run AddSegmentCommand(CLI::App& app);

}  // namespace kes::track
