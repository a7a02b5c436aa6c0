// One block of memory for the many arrays of a solver.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace kes::algorithm::tracking_base::hungarian {

// Hands out zeroed arrays, each aligned for any vector. Take all arrays twice: first from an empty
// workspace, which only measures, then from one of that size.
class Workspace {
public:
    Workspace() = default;
    explicit Workspace(std::size_t bytes) : memory(bytes + Alignment) {
        auto const address = reinterpret_cast<std::uintptr_t>(memory.data());
        base = memory.data() + (Alignment - address % Alignment) % Alignment;
    }

    // Moved, not copied: a copy's arrays would lie in the memory of the original.
    Workspace(Workspace&&) = default;
    Workspace& operator=(Workspace&&) = default;

    template <class T>
    T* Take(std::size_t count) {
        std::size_t const offset = used;
        used += (count * sizeof(T) + Alignment - 1) / Alignment * Alignment;
        return base == nullptr ? nullptr : reinterpret_cast<T*>(base + offset);
    }

    std::size_t Used() const { return used; }

private:
    static constexpr std::size_t Alignment = 64;

    std::vector<std::byte> memory;
    std::byte* base = nullptr;
    std::size_t used = 0;
};

}  // namespace kes::algorithm::tracking_base::hungarian
