// Sets of rows or columns as bits of 64-bit words, the first in the least significant.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

namespace kes::algorithm::tracking_base::hungarian {

constexpr std::size_t WordBits = 64;

inline void SetBit(std::uint64_t* words, std::size_t bit) {
    words[bit / WordBits] |= std::uint64_t{1} << bit % WordBits;
}

inline void ClearBit(std::uint64_t* words, std::size_t bit) {
    words[bit / WordBits] &= ~(std::uint64_t{1} << bit % WordBits);
}

inline bool HasBit(std::uint64_t const* words, std::size_t bit) {
    return (words[bit / WordBits] >> bit % WordBits & 1) != 0;
}

inline std::size_t FirstBit(std::uint64_t word) {
    return static_cast<std::size_t>(std::countr_zero(word));
}

}  // namespace kes::algorithm::tracking_base::hungarian
