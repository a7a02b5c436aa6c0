#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "algorithm/tracking_base/emog_cell.hpp"
#include "algorithm/tracking_base/emog_model.hpp"
#include "algorithm/tracking_base/emog_row.hpp"
#include "algorithm/tracking_base/emog_state.hpp"

namespace kes::algorithm::tracking_base {
namespace {

constexpr std::size_t CellsPerWord = 32;
constexpr std::uint32_t FirstCellBit = std::uint32_t{1} << 31;  // a word's leftmost cell

}  // namespace

void UpdateRowPlain(RowTiles const& tiles, std::size_t cellCount, unsigned char const* luminance,
                    std::ptrdiff_t stride, RowMasks const& masks, FrameValues const& values) {
    for (std::size_t first = 0; first < cellCount; first += CellsPerWord) {
        std::size_t const word = first / CellsPerWord;
        // Read before the outputs are written: they may be the same arrays.
        std::uint32_t const freeze = masks.freeze[word];
        std::uint32_t const reset = masks.reset[word];
        std::uint32_t const exclude = masks.exclude[word];

        std::uint32_t foreground = 0;
        std::uint32_t stationary = 0;
        std::size_t const end = std::min(first + CellsPerWord, cellCount);
        for (std::size_t cellX = first; cellX < end; ++cellX) {
            std::uint32_t const bit = FirstCellBit >> (cellX - first);
            cell::Commands const commands{(reset & bit) != 0, (freeze & bit) != 0};
            CellModel cell = LoadCell(tiles, cellX);
            auto const output = cell::Update(cell, luminance + 2 * cellX, stride, commands, values);
            StoreCell(tiles, cellX, cell);
            switch (output) {
                case cell::Output::Background: break;
                case cell::Output::YoungForeground: foreground |= bit; break;
                case cell::Output::StationaryForeground: stationary |= bit; break;
            }
        }
        masks.Write(word, foreground & ~exclude, stationary & ~exclude);
    }
}

}  // namespace kes::algorithm::tracking_base
