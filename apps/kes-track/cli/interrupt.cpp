#include "cli/interrupt.hpp"

#include <atomic>
#include <csignal>

namespace kes::track::cli {
namespace {

std::atomic<int> signalSeen{0};
static_assert(std::atomic<int>::is_always_lock_free, "a signal handler may store it");

extern "C" void NoteSignal(int signal) { signalSeen = signal; }

}  // namespace

void CatchInterrupts() {
    struct sigaction action {};
    action.sa_handler = NoteSignal;
    // The second signal finds the default action again. System calls are not restarted, so that a
    // blocked read returns.
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    // `nohup` asks for it to be ignored.
    struct sigaction hangUp {};
    if (sigaction(SIGHUP, nullptr, &hangUp) == 0 && hangUp.sa_handler != SIG_IGN) {
        sigaction(SIGHUP, &action, nullptr);
    }
    // A reader of ours that goes away is a failed write, not the end of the process.
    std::signal(SIGPIPE, SIG_IGN);
}

int InterruptSignal() noexcept { return signalSeen; }

}  // namespace kes::track::cli
