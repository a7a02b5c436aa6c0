// Input made of integers alone, so that it is the same on every machine and with every compiler.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include <kes/media/video/frame.hpp>

namespace kes::test {

// SplitMix64 (Steele, Lea and Flood, 2014).
class Generator {
public:
    explicit Generator(std::uint64_t seed) : state(seed) {}

    std::uint64_t operator()() {
        state += 0x9e3779b97f4a7c15;
        std::uint64_t z = state;
        z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9;
        z = (z ^ (z >> 27)) * 0x94d049bb133111eb;
        return z ^ (z >> 31);
    }

    // 0 to bound - 1.
    std::uint32_t Below(std::uint32_t bound) {
        return static_cast<std::uint32_t>(((*this)() >> 32) * bound >> 32);
    }

    bool OneIn(std::uint32_t chances) { return Below(chances) == 0; }

    // A word of which each bit is set with a probability of 2^-rarity.
    std::uint32_t Word(int rarity) {
        auto word = static_cast<std::uint32_t>((*this)());
        for (int i = 1; i < rarity; ++i) word &= static_cast<std::uint32_t>((*this)());
        return word;
    }

private:
    std::uint64_t state;
};

// A video of luminance and the segmenter's three input masks, shaped to take every branch of the
// model: each tile of 6 x 6 pixels dwells on one of four looks for some frames, under noise, and
// goes back to old ones as often as to new ones.
class GeneratedVideo {
public:
    GeneratedVideo(std::uint64_t seed, unsigned int width, unsigned int height,
                   unsigned int padding)
        : random(seed),
          width(width),
          height(height),
          stride(width + padding),
          tilesPerRow(width / TileSide + 1),
          looks(std::size_t{tilesPerRow} * (height / TileSide + 1)),
          pixels(std::size_t{stride} * height),
          freeze(std::size_t{(width / 2 + 31) / 32} * (height / 2)),
          reset(freeze.size()),
          exclude(freeze.size()) {
        Advance();
    }

    void Advance() {
        for (unsigned char& look : looks) {
            if (random.OneIn(7)) look = static_cast<unsigned char>(random.Below(4));
        }
        unsigned int const noise = 1 + random.Below(9);
        for (unsigned int y = 0; y < height; ++y) {
            for (unsigned int x = 0; x < width; ++x) {
                unsigned int const tile = y / TileSide * tilesPerRow + x / TileSide;
                unsigned int const texture = (x * 5 + y * 3 + tile * 7) % 32;
                pixels[std::size_t{y} * stride + x] = static_cast<unsigned char>(
                    looks[tile] * 67U + texture * (looks[tile] & 1U) + random.Below(noise));
            }
        }
        for (std::uint32_t& word : freeze) word = random.Word(3);
        for (std::uint32_t& word : reset) word = random.Word(6);
        for (std::uint32_t& word : exclude) word = random.Word(4);
    }

    media::video::FrameBase<void const> Frame() const {
        media::video::FrameBase<void const>::Planes planes{};
        planes[0] = {pixels.size(), pixels.data(), static_cast<long>(stride)};
        return {planes, media::ColourFormat::Grey, width, height, {}, {}};
    }

    // Takes the picture through a segmenter; returns foreground and stationary masks.
    std::pair<std::vector<std::uint32_t>, std::vector<std::uint32_t>> Segment(
        auto& segmenter) const {
        std::vector<std::uint32_t> foreground(freeze.size());
        std::vector<std::uint32_t> stationary(freeze.size());
        segmenter.Process(Frame(), freeze.data(), reset.data(), exclude.data(), foreground.data(),
                          stationary.data());
        return {foreground, stationary};
    }

private:
    static constexpr unsigned int TileSide = 6;

    Generator random;
    unsigned int width;
    unsigned int height;
    unsigned int stride;
    unsigned int tilesPerRow;
    std::vector<unsigned char> looks;

    std::vector<unsigned char> pixels;
    std::vector<std::uint32_t> freeze;
    std::vector<std::uint32_t> reset;
    std::vector<std::uint32_t> exclude;
};

}  // namespace kes::test
