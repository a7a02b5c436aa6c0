// Silhouette: how likely each part of an object's box is foreground. A walking person fills the
// middle of the box and leaves the corners; a car fills it all.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include <opencv2/core.hpp>

#include "tracker/geometry.hpp"

namespace kes::tracker {

// Foreground probabilities are carried as levels of "not covered": a cell that k objects cover with
// levels l1 .. lk is missed by all of them with probability exp(-(l1 + .. + lk) / LevelsPerUnit).
constexpr int LevelsPerUnit = 8;
constexpr int CoreLevel = 6;  // covered with probability 0.53 or more: the silhouette's core
constexpr int MaxLevel = 28;  // covered with probability 0.97

// The silhouette drawn at a size: levels row by row, over the box and the margin around it.
struct Stencil {
    int width = 0;
    int height = 0;
    int left = 0;  // of the stencil, from the pose's x and foot rounded
    int top = 0;
    std::vector<std::uint8_t> levels;
    float area = 0;  // the cells that it expects to be foreground

    std::uint8_t const* Row(int y) const {
        return levels.data() + static_cast<std::size_t>(y) * static_cast<std::size_t>(width);
    }
};

class Silhouette {
public:
    // A rounded upright shape.
    Silhouette();

    Stencil Draw(float width, float height) const;

    // Blends in how the foreground (0 or 255) fills the box now.
    void Learn(Pose const& pose, cv::Mat1b const& foreground, float weight);

private:
    static constexpr int Columns = 16;
    static constexpr int Rows = 24;
    static constexpr float Margin = 0.25F;  // of the box's width and height, on each side

    std::array<float, Columns * Rows> probability;
};

}  // namespace kes::tracker
