// The segmenter's learnt model: a CellModel for every cell, stored field by field.
//
// A tile holds the cells of one mask word. Within it, one field of all 32 cells is 64 bytes in a
// row, which lanes load as they are. What nearly every cell of nearly every frame needs, its
// background, lies apart from the younger slots: a quiet frame moves 16 of a cell's 42 bytes.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <vector>

#include "algorithm/tracking_base/emog_model.hpp"

namespace kes::algorithm::tracking_base {

constexpr std::size_t TileCells = 32;

struct alignas(64) FieldLine {
    std::array<std::uint16_t, TileCells> at;
};

// A record's 21 numbers in their order: the first 8 are slot 0 and the count of slot 1, which tells
// whether there is more to a cell; the other 13 are the rest of slot 1, and slot 2.
constexpr std::size_t BackgroundFields = 8;
constexpr std::size_t YoungerFields = 13;

// The tiles of one row, from the left: their backgrounds, and their younger fields.
struct RowTiles {
    FieldLine* BackgroundOf(std::size_t tile) const {
        return backgrounds + tile * BackgroundFields;
    }
    FieldLine* YoungerOf(std::size_t tile) const { return youngers + tile * YoungerFields; }

    FieldLine* backgrounds;
    FieldLine* youngers;
};

// One cell of them.
CellModel LoadCell(RowTiles const& row, std::size_t cellX);
void StoreCell(RowTiles const& row, std::size_t cellX, CellModel const& cell);

// Aligned memory of the C library's, so that every runtime answers with std::bad_alloc where there
// is none: a sanitizer's operator new ends the process.
template <typename T>
struct AlignedAllocator {
    using value_type = T;

    AlignedAllocator() = default;
    template <typename U>
    explicit AlignedAllocator(AlignedAllocator<U> const&) {}

    T* allocate(std::size_t count) {
        void* block = nullptr;
        if (posix_memalign(&block, alignof(T), count * sizeof(T)) != 0) throw std::bad_alloc();
        return static_cast<T*>(block);
    }
    void deallocate(T* block, std::size_t) { std::free(block); }

    friend bool operator==(AlignedAllocator const&, AlignedAllocator const&) = default;
};

class BlobState {
public:
    // Every cell empty. Keeps its memory where the number of cells is that of before and at most
    // width and height are exchanged. Throws std::bad_alloc, and is then as after Clear.
    void Resize(std::size_t width, std::size_t height);

    // Gives the memory back.
    void Clear();

    std::size_t Width() const { return width; }
    std::size_t Height() const { return height; }

    RowTiles Row(std::size_t cellY);
    CellModel Cell(std::size_t cellX, std::size_t cellY) const;
    void SetCell(std::size_t cellX, std::size_t cellY, CellModel const& cell);

private:
    std::size_t width = 0;
    std::size_t height = 0;
    // The backgrounds of all tiles, row after row; then the rest.
    std::vector<FieldLine, AlignedAllocator<FieldLine>> lines;
};

}  // namespace kes::algorithm::tracking_base
