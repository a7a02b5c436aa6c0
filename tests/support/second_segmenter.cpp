#include "support/second_segmenter.hpp"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace kes::test {
namespace {

constexpr int NoSlot = 3;

std::int64_t Low(std::int64_t value, int bits) { return value & ((std::int64_t{1} << bits) - 1); }

std::int64_t FloorDivide(std::int64_t value, std::int64_t by) {
    std::int64_t const quotient = value / by;
    return value % by < 0 ? quotient - 1 : quotient;
}

std::int64_t FloorRoot(std::int64_t value) {
    std::int64_t low = 0;
    std::int64_t high = 65536;
    while (high - low > 1) {
        std::int64_t const middle = (low + high) / 2;
        (middle * middle <= value ? low : high) = middle;
    }
    return low;
}

// A time in frames of which 15 make a second, in 64 bits that wrap.
std::int64_t Frames(std::int64_t milliseconds) {
    std::int64_t product = 0;
    static_cast<void>(__builtin_mul_overflow(milliseconds, std::int64_t{15}, &product));
    return Low(product / 1000, 16);
}

std::int64_t ScaleOf(float threshold, float factor) {
    float const product = threshold * factor;
    float const scaled = product * 256.0F;
    if (std::isnan(scaled)) return 0;
    double const whole = std::trunc(static_cast<double>(scaled));
    return static_cast<std::int64_t>(std::clamp(whole, -2147483648.0, 2147483647.0));
}

// Where an observation goes, as a table: for what matched (or none) and how its new age compares
// with the ages before it.
int FinalSlot(bool reset, int matched, std::int64_t age, std::int64_t age0, std::int64_t age1) {
    struct Rule {
        bool applies;
        int slot;
    };
    Rule const rules[] = {
        {reset, 0},        {matched == 0, 0}, {matched == 1 && age < age0, 1},
        {matched == 1, 0}, {age < age1, 2},   {age < age0, 1},
    };
    for (Rule const& rule : rules) {
        if (rule.applies) return rule.slot;
    }
    return 0;
}

}  // namespace

std::vector<SecondSegmenter::Traits> SecondSegmenter::TraitsOf(Picture const& picture) const {
    // Sums of four pixels down every column and along every row, then the weights.
    std::size_t const columns = picture.width;
    auto down = [&](std::size_t x, std::size_t y) {
        return std::int64_t{picture.At(x, y)} + picture.At(x, y + 1) + picture.At(x, y + 2) +
               picture.At(x, y + 3);
    };
    std::vector<std::int64_t> columnSums(columns);
    std::vector<Traits> traits(width * height);
    for (std::size_t y = 0; y + 1 < height; ++y) {
        for (std::size_t x = 0; x < columns; ++x) columnSums[x] = down(x, 2 * y);
        for (std::size_t x = 0; x + 1 < width; ++x) {
            auto const row = [&](std::size_t r) {
                std::int64_t sum = 0;
                for (std::size_t c = 0; c < 4; ++c) sum += picture.At(2 * x + c, 2 * y + r);
                return sum;
            };
            std::int64_t const* const c = &columnSums[2 * x];
            std::int64_t const right = 3 * (c[0] - c[3]) + (c[1] - c[2]);
            std::int64_t const below = 3 * (row(0) - row(3)) + (row(1) - row(2));
            std::int64_t const middle =
                std::int64_t{picture.At(2 * x + 1, 2 * y + 1)} + picture.At(2 * x + 2, 2 * y + 1) +
                picture.At(2 * x + 1, 2 * y + 2) + picture.At(2 * x + 2, 2 * y + 2);
            traits[y * width + x] = {32768 + 8 * right, 32768 + 8 * below, 64 * middle};
        }
    }
    return traits;
}

SecondSegmenter::Outputs SecondSegmenter::Process(Picture const& picture, Inputs const& inputs) {
    std::int64_t const rate = framesSeen < 100 ? 256 / (framesSeen + 1) : 2;
    std::int64_t const scale = ScaleOf(parameters.threshold, parameters.factor);
    std::int64_t const stationary = Frames(parameters.stationaryMs);
    std::int64_t sum = 0;
    static_cast<void>(__builtin_add_overflow(parameters.holdOnMs, parameters.stationaryMs, &sum));
    std::int64_t const oldest = Frames(sum);

    if (width != picture.width / 2 || height != picture.height / 2) {
        width = picture.width / 2;
        height = picture.height / 2;
        cells.assign(width * height, Cell{});
        framesSeen = 0;
    }
    Outputs outputs{Mask(width, height), Mask(width, height)};
    std::vector<Traits> const observed = TraitsOf(picture);

    for (std::size_t y = 0; y + 1 < height; ++y) {
        for (std::size_t x = 0; x + 1 < width; ++x) {
            Cell& cell = cells[y * width + x];
            Traits const& seen = observed[y * width + x];
            bool const reset = inputs.reset.Get(x, y);

            int matched = NoSlot;
            for (int slot = 2; slot >= 0; --slot) {
                bool fits = true;
                for (std::size_t i = 0; i < 3; ++i) {
                    Trait const& trait = cell[static_cast<std::size_t>(slot)].traits[i];
                    std::int64_t const tolerance = Low(Low(trait.deviation * scale, 32) / 256, 16);
                    fits = fits && std::abs(seen[i] - trait.mean) < tolerance;
                }
                if (fits) matched = slot;
            }
            Appearance const old =
                matched == NoSlot ? Appearance{} : cell[static_cast<std::size_t>(matched)];

            bool const fresh = reset || matched == NoSlot;
            std::int64_t age = fresh ? 1 : Low(old.age + (inputs.freeze.Get(x, y) ? 0 : 1), 16);
            age = std::min(age, oldest);
            int const target = FinalSlot(reset, matched, age, cell[0].age, cell[1].age);

            int cleared = 0;
            for (int slot = target + 1; slot <= 2; ++slot) {
                Appearance& younger = cell[static_cast<std::size_t>(slot)];
                if (younger.age == 0) break;
                younger.age = 0;
                for (Trait& trait : younger.traits) trait.deviation = 0;
                cleared = slot;
            }

            Appearance& mode = cell[static_cast<std::size_t>(target)];
            mode.age = age;
            for (std::size_t i = 0; i < 3; ++i) {
                std::int64_t const mean = old.traits[i].mean;
                std::int64_t const variance = old.traits[i].deviation * old.traits[i].deviation;
                std::int64_t const apart = seen[i] - mean;
                std::int64_t const square =
                    std::clamp<std::int64_t>(apart * apart, 5 << 15, 1 << 27);
                mode.traits[i].mean = fresh ? seen[i] : mean + FloorDivide(apart * rate, 256);
                mode.traits[i].deviation =
                    matched == NoSlot ? 1144
                    : reset           ? FloorRoot(square)
                            : FloorRoot(variance + FloorDivide((square - variance) * rate, 256));
            }

            bool const shown = target != 0 && !inputs.exclude.Get(x, y);
            (age < stationary ? outputs.foreground : outputs.stationary).Set(x, y, shown);
            ++visits[reset][static_cast<std::size_t>(matched)][static_cast<std::size_t>(target)]
                    [static_cast<std::size_t>(cleared)];
        }
    }
    if (framesSeen < 4294967295) ++framesSeen;
    return outputs;
}

void SecondSegmenter::Reset() {
    cells.clear();
    width = 0;
    height = 0;
    framesSeen = 0;
}

SecondSegmenter::Record SecondSegmenter::RecordOf(std::size_t x, std::size_t y) const {
    Record record{};
    std::size_t next = 0;
    for (Appearance const& appearance : cells[y * width + x]) {
        record[next++] = static_cast<std::uint16_t>(appearance.age);
        for (Trait const& trait : appearance.traits) {
            record[next++] = static_cast<std::uint16_t>(trait.mean);
            record[next++] = static_cast<std::uint16_t>(trait.deviation);
        }
    }
    return record;
}

void SecondSegmenter::SetRecord(std::size_t x, std::size_t y, Record const& record) {
    std::size_t next = 0;
    for (Appearance& appearance : cells[y * width + x]) {
        appearance.age = record[next++];
        for (Trait& trait : appearance.traits) {
            trait.mean = record[next++];
            trait.deviation = record[next++];
        }
    }
}

}  // namespace kes::test
