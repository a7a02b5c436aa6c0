#include "tracker/silhouette.hpp"

#include <algorithm>
#include <cmath>

namespace kes::tracker {
namespace {

std::uint8_t LevelOf(float probability) {
    float const level = -std::log(1 - probability) * LevelsPerUnit;
    return static_cast<std::uint8_t>(
        std::clamp(std::lround(level), 0L, static_cast<long>(MaxLevel)));
}

}  // namespace

Silhouette::Silhouette() {
    for (int row = 0; row < Rows; ++row) {
        for (int column = 0; column < Columns; ++column) {
            // From -1 to 1 across the box; the margin lies outside.
            float const x =
                ((static_cast<float>(column) + 0.5F) / Columns - 0.5F) * 2 * (1 + 2 * Margin);
            float const y = ((static_cast<float>(row) + 0.5F) / Rows - 0.5F) * 2 * (1 + 2 * Margin);
            float const r =
                std::pow(std::pow(std::abs(x), 3.0F) + std::pow(std::abs(y), 6.0F), 0.25F);
            probability[static_cast<std::size_t>(row * Columns + column)] =
                std::clamp(0.5F + 2.0F * (1.0F - r), 0.01F, 0.9F);
        }
    }
}

Stencil Silhouette::Draw(float width, float height) const {
    Stencil stencil;
    stencil.width = std::max(1, static_cast<int>(std::lround(width * (1 + 2 * Margin))));
    stencil.height = std::max(1, static_cast<int>(std::lround(height * (1 + 2 * Margin))));
    stencil.left = -stencil.width / 2;
    stencil.top = static_cast<int>(std::lround(height * Margin)) - stencil.height;
    stencil.levels.reserve(static_cast<std::size_t>(stencil.width) *
                           static_cast<std::size_t>(stencil.height));
    std::array<std::uint8_t, Columns * Rows> levels;
    for (std::size_t i = 0; i < levels.size(); ++i) levels[i] = LevelOf(probability[i]);
    for (int y = 0; y < stencil.height; ++y) {
        int const row = y * Rows / stencil.height;
        for (int x = 0; x < stencil.width; ++x) {
            auto const from = static_cast<std::size_t>(row * Columns + x * Columns / stencil.width);
            stencil.levels.push_back(levels[from]);
            if (probability[from] >= 0.5F) stencil.area += 1;
        }
    }
    return stencil;
}

void Silhouette::Learn(Pose const& pose, cv::Mat1b const& foreground, float weight) {
    float const left = pose.x - pose.width * (0.5F + Margin);
    float const top = pose.foot - pose.height * (1 + Margin);
    float const stepX = pose.width * (1 + 2 * Margin) / Columns;
    float const stepY = pose.height * (1 + 2 * Margin) / Rows;
    for (int row = 0; row < Rows; ++row) {
        int const y = static_cast<int>(std::floor(top + (static_cast<float>(row) + 0.5F) * stepY));
        if (y < 0 || y >= foreground.rows) continue;
        for (int column = 0; column < Columns; ++column) {
            int const x =
                static_cast<int>(std::floor(left + (static_cast<float>(column) + 0.5F) * stepX));
            if (x < 0 || x >= foreground.cols) continue;
            float& p = probability[static_cast<std::size_t>(row * Columns + column)];
            float const seen = foreground(y, x) != 0 ? 1.0F : 0.0F;
            p = std::clamp(p + weight * (seen - p), 0.01F, 0.97F);
        }
    }
}

}  // namespace kes::tracker
