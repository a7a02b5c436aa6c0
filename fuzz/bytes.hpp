// A fuzz input read as a stream of small choices, and the check that ends the run. Compilers differ
// in the order in which they evaluate a call's arguments, so draw in braces or one by one.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <type_traits>

namespace kes::fuzz {

class Bytes {
public:
    Bytes(std::uint8_t const* data, std::size_t size) : next(data), end(data + size) {}

    bool IsEmpty() const { return next == end; }

    // The next bytes as a T, zeros where there are no more.
    template <typename T>
    T Take() {
        static_assert(std::is_trivially_copyable_v<T>);
        T value{};
        auto const count = std::min(sizeof value, static_cast<std::size_t>(end - next));
        std::memcpy(&value, next, count);
        next += count;
        return value;
    }

    // 0 to bound - 1, bound at most 65536.
    unsigned int Below(unsigned int bound) {
        return (bound > 256 ? Take<std::uint16_t>() : Take<std::uint8_t>()) % bound;
    }

    bool Flag() { return Below(2) == 1; }

    std::string Text(unsigned int longest) {
        std::string text(Below(longest + 1), '\0');
        for (char& character : text) character = Take<char>();
        return text;
    }

private:
    std::uint8_t const* next;
    std::uint8_t const* end;
};

// Ends the program with a word about what was found unless `holds`.
inline void Check(bool holds, char const* what) {
    if (holds) return;
    std::fprintf(stderr, "broken: %s\n", what);
    std::abort();
}

}  // namespace kes::fuzz
