#include "tracker/coverage.hpp"

#include <algorithm>
#include <array>
#include <cmath>

namespace kes::tracker {
namespace {

constexpr int LevelLimit = 2 * MaxLevel;   // more coverage than this changes nothing
constexpr float StrayProbability = 0.03F;  // of foreground where there is no object

// What is seen at a cell.
constexpr std::uint8_t Nothing = 0;
constexpr std::uint8_t Something = 1;
constexpr std::uint8_t Unknown = 2;

using GainTable = std::array<std::array<float, MaxLevel + 1>, LevelLimit + 1>;

// [level of the others][level of the stencil]: the change of log P(cell is foreground).
GainTable MakeForegroundGain() {
    GainTable table;
    auto const probability = [](int level) {
        return 1 - (1 - StrayProbability) * std::exp(-static_cast<float>(level) / LevelsPerUnit);
    };
    for (int others = 0; others <= LevelLimit; ++others) {
        for (int own = 0; own <= MaxLevel; ++own) {
            table[static_cast<std::size_t>(others)][static_cast<std::size_t>(own)] =
                std::log(probability(others + own) / probability(others));
        }
    }
    return table;
}

GainTable const ForegroundGain = MakeForegroundGain();

struct Window {
    int x0, y0, x1, y1;  // of the stencil's own columns and rows that lie on the frame
    int left, top;       // the stencil's corner on the frame
};

Window WindowOf(Stencil const& stencil, int x, int foot, cv::Size frame) {
    int const left = x + stencil.left;
    int const top = foot + stencil.top;
    return {std::max(0, -left),
            std::max(0, -top),
            std::min(stencil.width, frame.width - left),
            std::min(stencil.height, frame.height - top),
            left,
            top};
}

}  // namespace

void Coverage::Begin(cv::Mat1b const& foreground, cv::Mat1b const& veil) {
    sights.create(foreground.size());
    sights = Nothing;
    sights.setTo(Something, foreground);
    sights.setTo(Unknown, veil);
    levels.create(foreground.size());
    levels = 0;
}

void Coverage::Paint(Stencil const& stencil, int x, int foot, int sign) {
    Window const window = WindowOf(stencil, x, foot, levels.size());
    for (int row = window.y0; row < window.y1; ++row) {
        std::uint8_t const* own = &stencil.levels[static_cast<std::size_t>(row * stencil.width)];
        short* out = levels[window.top + row] + window.left;
        for (int column = window.x0; column < window.x1; ++column) {
            out[column] = static_cast<short>(out[column] + sign * own[column]);
        }
    }
}

float Coverage::Gain(Stencil const& stencil, int x, int foot) const {
    Window const window = WindowOf(stencil, x, foot, levels.size());
    float gain = 0;
    int missed = 0;  // levels over cells that are not foreground
    for (int row = window.y0; row < window.y1; ++row) {
        std::uint8_t const* own = &stencil.levels[static_cast<std::size_t>(row * stencil.width)];
        short const* others = levels[window.top + row] + window.left;
        std::uint8_t const* seen = sights[window.top + row] + window.left;
        for (int column = window.x0; column < window.x1; ++column) {
            if (seen[column] == Something) {
                auto const level =
                    static_cast<std::size_t>(std::min<int>(others[column], LevelLimit));
                gain += ForegroundGain[level][own[column]];
            } else if (seen[column] == Nothing) {
                missed += own[column];
            }
        }
    }
    return gain - static_cast<float>(missed) / LevelsPerUnit;
}

// The gain over the cells of the stencil's core, of what the whole core could gain. gainAt gives it
// for a cell and the stencil's level there.
template <typename GainAt>
float Coverage::Share(Stencil const& stencil, int x, int foot, GainAt gainAt) const {
    Window const window = WindowOf(stencil, x, foot, levels.size());
    float possible = 0;
    for (std::uint8_t const level : stencil.levels) {
        if (level >= CoreLevel) possible += ForegroundGain[0][level];
    }
    float gained = 0;
    for (int row = window.y0; row < window.y1; ++row) {
        std::uint8_t const* own = &stencil.levels[static_cast<std::size_t>(row * stencil.width)];
        for (int column = window.x0; column < window.x1; ++column) {
            if (own[column] < CoreLevel) continue;
            gained += gainAt(window.top + row, window.left + column, own[column]);
        }
    }
    return possible > 0 ? gained / possible : 0;
}

float Coverage::Evidence(Stencil const& stencil, int x, int foot) const {
    return Share(stencil, x, foot, [this](int row, int column, std::uint8_t own) {
        if (sights(row, column) != Something) return 0.0F;
        auto const others = std::min<int>(levels(row, column), LevelLimit);
        return ForegroundGain[static_cast<std::size_t>(others)][own];
    });
}

float Coverage::Presence(Stencil const& stencil, int x, int foot) const {
    return Share(stencil, x, foot, [this](int row, int column, std::uint8_t own) {
        return sights(row, column) == Nothing ? 0.0F : ForegroundGain[0][own];
    });
}

}  // namespace kes::tracker
