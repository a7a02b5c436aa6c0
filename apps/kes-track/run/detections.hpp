// Detections: an outside detector's boxes for one clip, frame by frame.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <kes/tracker/tracker.hpp>

namespace kes::track::run {

struct DetectionOptions {
    std::string file;                   // MOTChallenge text; the eighth column may name a class
    float minimumConfidence = 0.5F;     // of the seventh column
    std::optional<std::string> labels;  // file that says which classes stand for the same
};

class Detections {
public:
    // Reads both files. A line of the labels file is "CLASS" or "CLASS,STANDS FOR"; with such a
    // file, every class that occurs must be in it. Throws Failure (BadSideInput).
    explicit Detections(DetectionOptions const& options);

    // Of a frame, counted from 1; empty where there are none.
    std::vector<tracker::Detection> const& At(std::uint64_t frame) const;

    // The class that a label stands for; empty when the file names none.
    std::string const& NameOf(unsigned int label) const;

private:
    std::map<std::uint64_t, std::vector<tracker::Detection>> frames;
    std::vector<std::string> names;
};

}  // namespace kes::track::run
