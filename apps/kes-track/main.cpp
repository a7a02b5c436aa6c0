// kes-track: what the library is for, as a program. Reads the command line, finds the command in
// the table, runs it, and turns what goes wrong into one line and an exit code.

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <exception>
#include <iostream>
#include <new>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include <kes/version.hpp>

#include <fcntl.h>
#include <unistd.h>

#include "base/failure.hpp"
#include "cli/interrupt.hpp"
#include "command.hpp"

namespace {

using kes::track::Command;
using kes::track::ExitCode;
using kes::track::Failure;

constexpr std::array Commands{
    Command{"segment", "Find what moves and what has come to stand still",
            kes::track::AddSegmentCommand},
    Command{"run", "Follow people and things through a video", kes::track::AddRunCommand},
    Command{"eval", "Score a tracker's result against ground truth", kes::track::AddEvalCommand},
    Command{"manual", "Write the manual page", kes::track::AddManualCommand},
};

constexpr char const* ExitCodes =
    "Exit codes:\n"
    "  0    done\n"
    "  1    something unforeseen, such as no memory\n"
    "  2    the command line is wrong\n"
    "  3    the input cannot be opened or holds no video\n"
    "  4    the input is damaged or broke off; what could be had was processed\n"
    "  5    an output, standard output included, cannot be written\n"
    "  6    another file that was given, such as a mask, cannot be used\n"
    "  130  stopped by Ctrl-C (143 by SIGTERM, 129 by SIGHUP); the outputs hold what came before\n"
    "A file that is not done is called NAME.part; one that stays behind holds what came before a\n"
    "crash or a full disk.";

int Complain(ExitCode code, std::string const& line) {
    std::cerr << "kes-track: " << line << '\n';
    return static_cast<int>(code);
}

// CLI11's message, its line breaks made spaces.
std::string OneLine(std::string text) {
    for (char& c : text) {
        if (c == '\n') c = ' ';
    }
    return text;
}

// CLI11 would say only that a command is missing.
bool IsUnknownCommand(std::string const& argument) {
    return !argument.starts_with('-') &&
           std::none_of(Commands.begin(), Commands.end(),
                        [&](Command const& command) { return argument == command.name; });
}

int Main(int argc, char** argv) {
    if (argc > 1 && IsUnknownCommand(argv[1])) {
        return Complain(ExitCode::BadUsage,
                        "there is no command '" + std::string(argv[1]) + "' (--help lists them)");
    }
    CLI::App app("Foreground and objects in video.", "kes-track");
    app.set_version_flag("--version", "kes-track " KES_VERSION_STRING);
    app.require_subcommand(1);
    app.footer(ExitCodes);

    std::vector<std::pair<CLI::App*, kes::track::Run>> runs;
    for (Command const& command : Commands) {
        CLI::App* const subcommand = app.add_subcommand(command.name, command.summary);
        runs.emplace_back(subcommand, command.add(*subcommand));
    }
    try {
        app.parse(argc, argv);
    } catch (CLI::Success const& help) {
        return app.exit(help);  // prints what was asked for
    } catch (CLI::ParseError const& error) {
        return Complain(ExitCode::BadUsage, OneLine(error.what()) + " (--help explains)");
    }
    for (auto const& [subcommand, run] : runs) {
        if (subcommand->parsed()) return run();
    }
    return static_cast<int>(ExitCode::BadUsage);
}

// Files must not come to be what the system's three streams are.
void OccupyStandardStreams() {
    while (true) {
        int const descriptor = open("/dev/null", O_RDONLY);
        if (descriptor > STDERR_FILENO) {
            close(descriptor);
            return;
        }
        if (descriptor < 0) return;
    }
}

// `code`, unless what was printed did not arrive.
int Printed(int code) {
    bool const hasArrived = std::cout.flush() && std::fflush(stdout) == 0;
    if (hasArrived) return code;
    int const failed =
        Complain(ExitCode::BadOutput, "standard output: " + std::generic_category().message(errno));
    return code == static_cast<int>(ExitCode::Done) ? failed : code;
}

int Guarded(int argc, char** argv) {
    try {
        return Main(argc, argv);
    } catch (kes::track::Cancelled const&) {
        return 128 + kes::track::cli::InterruptSignal();
    } catch (Failure const& failure) {
        return Complain(failure.Code(), failure.what());
    } catch (std::bad_alloc const&) {
        return Complain(ExitCode::Unforeseen, "out of memory");
    } catch (std::exception const& error) {
        return Complain(ExitCode::Unforeseen, error.what());
    }
}

}  // namespace

int main(int argc, char** argv) {
    OccupyStandardStreams();
    kes::track::cli::CatchInterrupts();
    return Printed(Guarded(argc, argv));
}
