// Confidences: which of a detector's boxes are sure enough for an object to begin with.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <vector>

#include <kes/tracker/tracker.hpp>

namespace kes::tracker {

// What a detector's confidences are worth differs from one to another: objects begin only with what
// lies in the surer half of all that it has given.
class Confidences {
public:
    // Returns the least confidence with which an object may begin.
    float Note(std::vector<Detection> const& detections) {
        for (Detection const& detection : detections) {
            float const place = std::clamp(detection.confidence, 0.0F, 1.0F) * Bins;
            ++counts[static_cast<std::size_t>(place)];
            ++total;
        }
        long above = 0;
        std::size_t place = counts.size();
        while (place > 0 && 2 * above < total) above += counts[--place];
        return static_cast<float>(place) / Bins;
    }

private:
    static constexpr int Bins = 1000;

    std::array<long, Bins + 1> counts{};
    long total = 0;
};

}  // namespace kes::tracker
