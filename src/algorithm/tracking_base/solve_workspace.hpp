// One block of memory for the many arrays of a solver.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>

namespace kes::algorithm::tracking_base::hungarian {

// Hands out arrays, each aligned for any vector. Take all arrays twice: first from an empty
// workspace, which only measures, then from one of that size.
class Workspace {
public:
    Workspace() = default;
    explicit Workspace(std::size_t bytes) : memory(new std::byte[SizeFor(bytes)]) {
        auto const address = reinterpret_cast<std::uintptr_t>(memory.get());
        base = memory.get() + (Alignment - address % Alignment) % Alignment;
    }

    // Its elements are yet to be written.
    template <class T>
    T* Take(std::size_t count) {
        std::size_t const offset = used;
        used += (count * sizeof(T) + Alignment - 1) / Alignment * Alignment;
        return base == nullptr ? nullptr : reinterpret_cast<T*>(base + offset);
    }

    template <class T>
    T* TakeZeroed(std::size_t count) {
        T* const array = Take<T>(count);
        if (array != nullptr) std::fill_n(array, count, T{});
        return array;
    }

    std::size_t Used() const { return used; }

private:
    static constexpr std::size_t Alignment = 64;

    // The C library gives memory back to the system whenever 128 KiB at the heap's end are free,
    // and gets it again page by page: up to a third of the time of 100 x 100 costs. Once it has
    // seen a larger block come and go it keeps twice that block's size: up to 200 x 200 enough for
    // this one, the costs, the marks and the 128 KiB that it asks for in advance. What is not used
    // is never touched.
    static std::size_t SizeFor(std::size_t bytes) {
        constexpr std::size_t Few = std::size_t{32} << 10;
        constexpr std::size_t Many = std::size_t{512} << 10;
        return bytes <= Few ? bytes + Alignment : std::max(bytes + Alignment, Many);
    }

    std::unique_ptr<std::byte[]> memory;
    std::byte* base = nullptr;
    std::size_t used = 0;
};

}  // namespace kes::algorithm::tracking_base::hungarian
