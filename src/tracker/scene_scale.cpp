#include "tracker/scene_scale.hpp"

#include <algorithm>
#include <cmath>

namespace kes::tracker {
namespace {

constexpr std::size_t Capacity = 600;
constexpr std::size_t Enough = 60;
constexpr std::size_t FitEvery = 10;
constexpr double PriorOfNoSlope = 900;  // cells squared: one sample at 30 cells
constexpr float TypicalSpread = 0.15F;  // median of |height - line| / line that still makes a line

float Median(std::vector<float>& values) {
    auto const middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

}  // namespace

void SceneScale::Learn(Pose const& object) {
    Sample const sample{object.foot, object.height, object.width / object.height};
    if (samples.size() < Capacity) {
        samples.push_back(sample);
    } else {
        // A stride prime to the capacity replaces samples of every age.
        samples[learnt * 7919 % Capacity] = sample;
    }
    ++learnt;
    if (samples.size() >= Enough && learnt % FitEvery == 0) Fit();
}

// Least squares, repeated with the weight of far samples reduced.
void SceneScale::Fit() {
    std::vector<float> weights(samples.size(), 1.0F);
    std::vector<float> errors(samples.size());
    float spread = 0;
    for (int round = 0; round < 8; ++round) {
        double n = 0, sx = 0, sy = 0, sxx = 0, sxy = 0;
        for (std::size_t i = 0; i < samples.size(); ++i) {
            double const w = static_cast<double>(weights[i]),
                         x = static_cast<double>(samples[i].foot),
                         y = static_cast<double>(samples[i].height);
            n += w;
            sx += w * x;
            sy += w * y;
            sxx += w * x * x;
            sxy += w * x * y;
        }
        double const mean = sx / n;
        // A weak prior of no slope settles a scene where all stand in one row. A stronger one
        // gives the next object, in another row, the size of the first.
        double const variance = sxx - mean * sx + PriorOfNoSlope;
        slope = static_cast<float>(std::max(0.0, (sxy - mean * sy) / variance));
        offset = static_cast<float>((sy - static_cast<double>(slope) * sx) / n);
        for (std::size_t i = 0; i < samples.size(); ++i) {
            float const line = std::max(1.0F, offset + slope * samples[i].foot);
            errors[i] = std::abs(samples[i].height - line) / line;
        }
        std::vector<float> sorted = errors;
        spread = Median(sorted);
        float const reach = std::max(0.02F, 2 * spread);
        for (std::size_t i = 0; i < samples.size(); ++i) {
            float const e = errors[i] / reach;
            weights[i] = e < 1 ? (1 - e * e) * (1 - e * e) : 0;
        }
    }
    std::vector<float> aspects, feet;
    for (auto const& sample : samples) {
        aspects.push_back(sample.aspect);
        feet.push_back(sample.foot);
    }
    aspect = Median(aspects);
    std::sort(feet.begin(), feet.end());
    lowest = feet[feet.size() / 50];
    highest = feet[feet.size() - 1 - feet.size() / 50];
    certain = spread < TypicalSpread;
}

std::optional<SceneScale::Size> SceneScale::SizeAt(float foot) const {
    if (!certain) return std::nullopt;
    float const margin = 0.5F * (highest - lowest) + 20;
    float const row = std::clamp(foot, lowest - margin, highest + margin);
    float const height = std::max(4.0F, offset + slope * row);
    return Size{height * aspect, height};
}

}  // namespace kes::tracker
