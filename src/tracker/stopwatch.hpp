// Stopwatch: how long the steps of a frame take.
#pragma once

#include <chrono>
#include <utility>

namespace kes::tracker {

class Stopwatch {
public:
    // Since the last lap, or since the start.
    std::chrono::nanoseconds Lap() {
        auto const now = Clock::now();
        return now - std::exchange(lap, now);
    }
    std::chrono::nanoseconds Total() const { return lap - start; }  // up to the last lap

private:
    using Clock = std::chrono::steady_clock;

    Clock::time_point const start = Clock::now();
    Clock::time_point lap = start;
};

}  // namespace kes::tracker
