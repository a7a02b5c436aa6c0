// A number that stands for many: equal for equal answers, and hardly ever for others.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>

namespace kes::test {

// FNV-1a over the bytes of numbers, the lowest first, one after another.
class Hash {
public:
    Hash& operator<<(auto const& numbers) {
        if constexpr (requires { numbers.begin(); }) {
            for (auto const& number : numbers) *this << number;
        } else {
            auto bytes = std::bit_cast<std::array<unsigned char, sizeof numbers>>(numbers);
            if constexpr (std::endian::native == std::endian::big) std::ranges::reverse(bytes);
            for (unsigned char const byte : bytes) value = (value ^ byte) * 0x100000001b3;
        }
        return *this;
    }

    std::uint64_t value = 0xcbf29ce484222325;
};

}  // namespace kes::test
