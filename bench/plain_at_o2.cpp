#include "bench/plain_at_o2.hpp"

#include <cstddef>

#include "algorithm/tracking_base/emog_row.hpp"

// What CMake compiles the library's plain files into when it builds them a second time.
namespace kesAtO2::algorithm::tracking_base {

struct CellModel;
struct RowMasks;
struct FrameValues;
void UpdateRowPlain(CellModel* cells, std::size_t cellCount, unsigned char const* luminance,
                    std::ptrdiff_t stride, RowMasks const& masks, FrameValues const& values);

}  // namespace kesAtO2::algorithm::tracking_base

namespace kes::bench {

void ProcessPlainlyAtO2(SegmenterRun& run, cv::Mat const& picture) {
    using namespace algorithm::tracking_base;
    FrameValues const values{1024, 75, 975, 2};
    auto const width = static_cast<std::size_t>(picture.cols / 2);
    std::size_t const wordsPerRow = (width + 31) / 32;
    for (int cellY = 0; cellY + 1 < picture.rows / 2; ++cellY) {
        auto const y = static_cast<std::size_t>(cellY);
        std::uint32_t const* const none = run.none.data() + y * wordsPerRow;
        RowMasks const masks{none, none, none, run.foreground.data() + y * wordsPerRow,
                             run.stationary.data() + y * wordsPerRow};
        kesAtO2::algorithm::tracking_base::UpdateRowPlain(
            reinterpret_cast<kesAtO2::algorithm::tracking_base::CellModel*>(
                run.segmenter.blobState.data() + y * width),
            width - 1, picture.ptr(2 * cellY), static_cast<std::ptrdiff_t>(picture.step[0]),
            reinterpret_cast<kesAtO2::algorithm::tracking_base::RowMasks const&>(masks),
            reinterpret_cast<kesAtO2::algorithm::tracking_base::FrameValues const&>(values));
    }
}

}  // namespace kes::bench
