// One row of records, cell after cell. Compiled in a namespace of its own; see plain_at_o2.cpp.
#include <cstddef>
#include <cstdint>

#include "algorithm/tracking_base/emog_cell.hpp"

namespace kes::bench {

void UpdatePlainRow(void* records, std::size_t cellCount, unsigned char const* luminance,
                    std::ptrdiff_t stride, std::uint32_t* foreground, std::uint32_t* stationary);

void UpdatePlainRow(void* records, std::size_t cellCount, unsigned char const* luminance,
                    std::ptrdiff_t stride, std::uint32_t* foreground, std::uint32_t* stationary) {
    using namespace algorithm::tracking_base;
    FrameValues const values{1024, 75, 975, 2};  // the default parameters, in the long run
    auto* const cells = static_cast<CellModel*>(records);
    for (std::size_t first = 0; first < cellCount; first += 32) {
        std::uint32_t young = 0;
        std::uint32_t still = 0;
        for (std::size_t x = first; x < first + 32 && x < cellCount; ++x) {
            std::uint32_t const bit = 0x80000000U >> (x - first);
            switch (cell::Update(cells[x], luminance + 2 * x, stride, {false, false}, values)) {
                case cell::Output::Background: break;
                case cell::Output::YoungForeground: young |= bit; break;
                case cell::Output::StationaryForeground: still |= bit; break;
            }
        }
        foreground[first / 32] = young;
        stationary[first / 32] = still;
    }
}

}  // namespace kes::bench
