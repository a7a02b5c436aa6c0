// Masks of cells as drawings: '#' is a set cell, '.' a clear one, and rows are divided by spaces.
#pragma once

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <sstream>
#include <string>

#include <kes/algorithm/bit_mask.hpp>

namespace kes::test {

class Mask : public algorithm::BitMask {
public:
    Mask(std::size_t width, std::size_t height, std::uint32_t fill = 0)
        : BitMask{static_cast<std::uint32_t>(width), static_cast<std::uint32_t>(height),
                  std::vector<std::uint32_t>((width + 31) / 32 * height, fill)} {}

    // Drawn("##. ...") is three cells wide and two high.
    static Mask Drawn(std::string const& drawing) {
        std::istringstream stream(drawing);
        std::vector<std::string> rows;
        for (std::string row; stream >> row;) rows.push_back(row);
        Mask mask(rows.at(0).size(), rows.size());
        for (std::size_t y = 0; y < rows.size(); ++y) {
            for (std::size_t x = 0; x < rows[y].size(); ++x) mask.Set(x, y, rows[y][x] == '#');
        }
        return mask;
    }

    bool Get(std::size_t x, std::size_t y) const { return (WordOf(x, y) & BitOf(x)) != 0; }

    void Set(std::size_t x, std::size_t y, bool value = true) {
        std::uint32_t& word = words[y * WordsPerRow() + x / 32];
        word = value ? word | BitOf(x) : word & ~BitOf(x);
    }

    std::size_t CountSet() const {
        std::size_t count = 0;
        for (std::size_t y = 0; y < height; ++y) {
            for (std::size_t x = 0; x < width; ++x) count += Get(x, y);
        }
        return count;
    }

    // Every word, padding included.
    bool operator==(Mask const& other) const {
        return width == other.width && height == other.height && words == other.words;
    }

    friend std::ostream& operator<<(std::ostream& out, Mask const& mask) {
        for (std::size_t y = 0; y < mask.height; ++y) {
            out << '\n';
            for (std::size_t x = 0; x < mask.WordsPerRow() * 32; ++x) {
                bool const isSet = mask.Get(x, y);
                if (x < mask.width) {
                    out << (isSet ? '#' : '.');
                } else if (isSet) {
                    out << '!';  // a set bit of the padding
                }
            }
        }
        return out;
    }

private:
    std::size_t WordsPerRow() const { return (std::size_t{width} + 31) / 32; }
    std::uint32_t WordOf(std::size_t x, std::size_t y) const {
        return words[y * WordsPerRow() + x / 32];
    }
    static std::uint32_t BitOf(std::size_t x) { return std::uint32_t{1} << (31 - x % 32); }
};

}  // namespace kes::test
