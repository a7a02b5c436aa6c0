#include "tracker/coverage.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <vector>

namespace kes::tracker {
namespace {

constexpr int LevelLimit = 2 * MaxLevel;   // more coverage than this changes nothing
constexpr float StrayProbability = 0.03F;  // of foreground where there is no object

// What a cell says of an object placed on it: foreground says more the less it is covered.
constexpr std::uint8_t Nothing = LevelLimit + 1;  // it is no foreground
constexpr std::uint8_t Unknown = LevelLimit + 2;  // it says nothing
constexpr std::size_t ReadingCount = LevelLimit + 3;

std::uint8_t ForegroundUnder(int level) {
    return static_cast<std::uint8_t>(std::min(level, LevelLimit));
}

using GainTable = std::array<std::array<std::int16_t, MaxLevel + 1>, ReadingCount>;

// [what the cell says][level of the stencil]: the change of the log-likelihood of what is seen, in
// fixed point, so that sums are quick.
constexpr float OneNat = 4096;

GainTable MakeGains() {
    GainTable table{};
    auto const probability = [](int level) {
        return 1 - (1 - StrayProbability) * std::exp(-static_cast<float>(level) / LevelsPerUnit);
    };
    auto const fixed = [](float nats) {
        return static_cast<std::int16_t>(std::lround(OneNat * nats));
    };
    for (int own = 0; own <= MaxLevel; ++own) {
        auto const column = static_cast<std::size_t>(own);
        for (int others = 0; others <= LevelLimit; ++others) {
            table[static_cast<std::size_t>(others)][column] =
                fixed(std::log(probability(others + own) / probability(others)));
        }
        table[Nothing][column] = fixed(-static_cast<float>(own) / LevelsPerUnit);
    }
    return table;
}

GainTable const Gains = MakeGains();

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

void Coverage::Begin(cv::Mat1b const& foreground, cv::Mat1b const& hidden) {
    readings.create(foreground.size());
    readings = Nothing;
    readings.setTo(ForegroundUnder(0), foreground);
    readings.setTo(Unknown, hidden);
    levels.create(foreground.size());
    levels = 0;
}

void Coverage::Paint(Stencil const& stencil, int x, int foot, int sign) {
    Window const window = WindowOf(stencil, x, foot, levels.size());
    for (int row = window.y0; row < window.y1; ++row) {
        std::uint8_t const* own = stencil.Row(row);
        short* out = levels[window.top + row] + window.left;
        std::uint8_t* seen = readings[window.top + row] + window.left;
        for (int column = window.x0; column < window.x1; ++column) {
            out[column] = static_cast<short>(out[column] + sign * own[column]);
            if (seen[column] <= LevelLimit) seen[column] = ForegroundUnder(out[column]);
        }
    }
}

float Coverage::Gain(Stencil const& stencil, int x, int foot) const {
    Window const window = WindowOf(stencil, x, foot, levels.size());
    std::int64_t gain = 0;
    for (int row = window.y0; row < window.y1; ++row) {
        std::uint8_t const* own = stencil.Row(row);
        std::uint8_t const* seen = readings[window.top + row] + window.left;
        std::int32_t gainOfRow = 0;
        for (int column = window.x0; column < window.x1; ++column) {
            gainOfRow += Gains[seen[column]][own[column]];
        }
        gain += gainOfRow;
    }
    return static_cast<float>(gain) / OneNat;
}

// The gain over the cells of the stencil's core, of what the whole core could gain. gainAt gives it
// for a cell and the stencil's level there.
template <typename GainAt>
float Coverage::Share(Stencil const& stencil, int x, int foot, GainAt gainAt) const {
    Window const window = WindowOf(stencil, x, foot, levels.size());
    float possible = 0;
    for (std::uint8_t const level : stencil.levels) {
        if (level >= CoreLevel) possible += static_cast<float>(Gains[0][level]);
    }
    float gained = 0;
    for (int row = window.y0; row < window.y1; ++row) {
        std::uint8_t const* own = stencil.Row(row);
        for (int column = window.x0; column < window.x1; ++column) {
            if (own[column] < CoreLevel) continue;
            gained += gainAt(window.top + row, window.left + column, own[column]);
        }
    }
    return possible > 0 ? gained / possible : 0;
}

float Coverage::Evidence(Stencil const& stencil, int x, int foot) const {
    return Share(stencil, x, foot, [this](int row, int column, std::uint8_t own) {
        std::uint8_t const seen = readings(row, column);
        return seen <= LevelLimit ? static_cast<float>(Gains[seen][own]) : 0.0F;
    });
}

float Coverage::Presence(Stencil const& stencil, int x, int foot) const {
    return Share(stencil, x, foot, [this](int row, int column, std::uint8_t own) {
        return readings(row, column) == Nothing ? 0.0F : static_cast<float>(Gains[0][own]);
    });
}

}  // namespace kes::tracker
