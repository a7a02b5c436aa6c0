// Ctrl-C as a question that loops ask, so that every output is closed properly.
#pragma once

namespace kes::track::cli {

// From here on SIGINT, SIGTERM and SIGHUP are only noted; a second one ends the process at once.
// The one place where the program keeps process-wide state.
void CatchInterrupts();

// The signal that has come, or 0.
int InterruptSignal() noexcept;

inline bool Interrupted() noexcept { return InterruptSignal() != 0; }

}  // namespace kes::track::cli
