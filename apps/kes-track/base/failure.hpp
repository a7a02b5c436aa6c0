// How a command ends: its exit code, and the exception that carries one with its line.
#pragma once

#include <stdexcept>
#include <string>

namespace kes::track {

// Documented in `kes-track --help`; a number once given keeps its meaning.
enum class ExitCode : int {
    Done = 0,
    Unforeseen = 1,    // out of memory, or a fault of ours
    BadUsage = 2,      // an option, a value, or two that do not go together
    BadInput = 3,      // the input cannot be opened or holds no video
    BrokenInput = 4,   // the input broke off or is damaged; what came before is kept
    BadOutput = 5,     // an output cannot be written
    BadSideInput = 6,  // a mask image or another file given beside the input cannot be used
    // Stopped by a signal: 128 + its number, so 130 for Ctrl-C.
};

// Ends the command. what() is one line for standard error, without the program's name.
class Failure : public std::runtime_error {
public:
    Failure(ExitCode code, std::string const& line) : std::runtime_error(line), code(code) {}

    ExitCode Code() const noexcept { return code; }

private:
    ExitCode code;
};

// Thrown where an input is still being opened when the user stops the program.
struct Cancelled {};

}  // namespace kes::track
