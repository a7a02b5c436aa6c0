#include "algorithm/tracking_base/emog_state.hpp"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <new>

namespace kes::algorithm::tracking_base {
namespace {

constexpr std::size_t Fields = BackgroundFields + YoungerFields;
using Record = std::array<std::uint16_t, Fields>;
static_assert(sizeof(Record) == sizeof(CellModel));

std::size_t TilesPerRow(std::size_t width) { return (width + TileCells - 1) / TileCells; }

std::uint16_t& FieldOf(RowTiles const& row, std::size_t cellX, std::size_t field) {
    std::size_t const tile = cellX / TileCells;
    FieldLine& line = field < BackgroundFields ? row.BackgroundOf(tile)[field]
                                               : row.YoungerOf(tile)[field - BackgroundFields];
    return line.at[cellX % TileCells];
}

}  // namespace

CellModel LoadCell(RowTiles const& row, std::size_t cellX) {
    Record record;
    for (std::size_t i = 0; i < Fields; ++i) record[i] = FieldOf(row, cellX, i);
    return std::bit_cast<CellModel>(record);
}

void StoreCell(RowTiles const& row, std::size_t cellX, CellModel const& cell) {
    auto const record = std::bit_cast<Record>(cell);
    for (std::size_t i = 0; i < Fields; ++i) FieldOf(row, cellX, i) = record[i];
}

void BlobState::Resize(std::size_t newWidth, std::size_t newHeight) {
    if (newWidth * newHeight != width * height) Clear();
    // Halves of 32-bit sizes: no product leaves 64 bits.
    std::size_t const tiles = TilesPerRow(newWidth) * newHeight;
    std::size_t const tilesTurned = TilesPerRow(newHeight) * newWidth;
    std::size_t const capacity = std::max(tiles, tilesTurned);
    if (capacity > lines.max_size() / Fields) {
        Clear();
        throw std::bad_alloc();
    }
    if (capacity * Fields > lines.capacity()) {
        Clear();  // before the new memory is asked for
        lines.reserve(capacity * Fields);
    }
    lines.assign(tiles * Fields, FieldLine{});
    width = newWidth;
    height = newHeight;
}

void BlobState::Clear() { *this = BlobState(); }

RowTiles BlobState::Row(std::size_t cellY) {
    std::size_t const first = cellY * TilesPerRow(width);
    FieldLine* const youngers = lines.data() + height * TilesPerRow(width) * BackgroundFields;
    return {lines.data() + first * BackgroundFields, youngers + first * YoungerFields};
}

CellModel BlobState::Cell(std::size_t cellX, std::size_t cellY) const {
    return LoadCell(const_cast<BlobState*>(this)->Row(cellY), cellX);
}

void BlobState::SetCell(std::size_t cellX, std::size_t cellY, CellModel const& cell) {
    StoreCell(Row(cellY), cellX, cell);
}

}  // namespace kes::algorithm::tracking_base
