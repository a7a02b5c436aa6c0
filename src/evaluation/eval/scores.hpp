// Scores: how well a tracker's result agrees with ground truth. The measures are CLEAR MOT
// (Bernardin and Stiefelhagen, 2008) and the identity measures (Ristani et al., 2016).
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "mot/mot_text.hpp"

namespace kes::eval {

// A box of the result may stand for a true one from this intersection over union on.
constexpr float MatchOverlap = 0.5F;

struct Scores {
    std::int64_t truthBoxes = 0;
    std::int64_t resultBoxes = 0;
    std::int64_t matches = 0;
    std::int64_t misses = 0;           // true boxes without a match
    std::int64_t falsePositives = 0;   // result boxes without a match
    std::int64_t switches = 0;         // a true object matched to another number than the last time
    std::int64_t identityMatches = 0;  // boxes that agree when each true object has one number

    // Shares, at most 1; none where they would be 0 / 0. Mota can be negative.
    std::optional<double> Mota() const;
    std::optional<double> Idf1() const;
    std::optional<double> Precision() const;
    std::optional<double> Recall() const;
};

struct FrameRange {
    long first;
    long last;
};

// The rows of ground truth that are scored: benchmarks mark the others with a confidence of 0.
std::vector<mot::Row> Scored(std::vector<mot::Row> truth);

// From the first to the last frame that has a row. Requires: there is a row.
FrameRange FramesOf(std::vector<mot::Row> const& rows);

// Frame by frame, pairs of the frame before are kept while they still overlap enough; the rest are
// paired so that as many as possible match, with the greatest overlap in all. For the identity
// measures, true objects and result numbers are paired once for the whole clip, so that the most
// boxes agree.
//
// Throws std::invalid_argument when one id has two boxes in a frame: "frame F has two boxes of id
// I"; and where true boxes times boxes of the result in one frame, or true ids times ids of the
// result in all, are more than 2^24, so that the memory needed stays bounded.
Scores Compare(std::vector<mot::Row> const& truth, std::vector<mot::Row> const& result,
               FrameRange frames);

}  // namespace kes::eval
