// Input made of integers alone, so that it is the same on every machine and with every compiler.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "support/mask.hpp"
#include "support/picture.hpp"

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
    GeneratedVideo(std::uint64_t seed, unsigned int width, unsigned int height, std::size_t padding)
        : picture(width, height, padding),
          freeze(width / 2, height / 2),
          reset(width / 2, height / 2),
          exclude(width / 2, height / 2),
          random(seed),
          tilesPerRow(width / TileSide + 1),
          looks(tilesPerRow * (height / TileSide + 1)) {
        Advance();
    }

    void Advance() {
        for (unsigned int& look : looks) {
            if (random.OneIn(7)) look = random.Below(4);
        }
        unsigned int const noise = 1 + random.Below(9);
        for (unsigned int y = 0; y < picture.height; ++y) {
            for (unsigned int x = 0; x < picture.width; ++x) {
                std::size_t const tile = y / TileSide * tilesPerRow + x / TileSide;
                auto const texture = static_cast<unsigned int>((x * 5 + y * 3 + tile * 7) % 32);
                unsigned int const look = looks[tile];
                picture.At(x, y) = static_cast<unsigned char>(look * 67 + texture * (look & 1) +
                                                              random.Below(noise));
            }
        }
        for (std::uint32_t& word : freeze.words) word = random.Word(3);
        for (std::uint32_t& word : reset.words) word = random.Word(6);
        for (std::uint32_t& word : exclude.words) word = random.Word(4);
    }

    // Takes the picture through a segmenter; returns foreground and stationary masks.
    std::pair<Mask, Mask> Segment(auto& segmenter) const {
        std::pair<Mask, Mask> out{Mask(exclude.width, exclude.height),
                                  Mask(exclude.width, exclude.height)};
        segmenter.Process(picture.View(), freeze.words.data(), reset.words.data(),
                          exclude.words.data(), out.first.words.data(), out.second.words.data());
        return out;
    }

    Picture picture;
    Mask freeze;
    Mask reset;
    Mask exclude;

private:
    static constexpr unsigned int TileSide = 6;

    Generator random;
    std::size_t tilesPerRow;
    std::vector<unsigned int> looks;
};

}  // namespace kes::test
