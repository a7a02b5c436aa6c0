#include "tracker/occlusion_map.hpp"

#include <algorithm>
#include <cstddef>

#include "tracker/silhouette.hpp"

namespace kes::tracker {
namespace {

constexpr int SureLevel = 12;      // covered with probability 0.78 or more
constexpr float MostFrames = 200;  // remembered, so that what has changed is learnt again
constexpr float Enough = 12;       // frames
constexpr int EnoughObjects = 3;
constexpr float HardlySeen = 0.3F;

}  // namespace

void OcclusionMap::Begin(cv::Size size) {
    cells.create(size);
    cells = 0;
    passages.assign(static_cast<std::size_t>(size.area()), {});
}

void OcclusionMap::Learn(Track const& track, cv::Mat1b const& foreground) {
    Stencil const& stencil = track.state.stencil;
    int const left = track.state.cellX + stencil.left;
    int const top = track.state.cellFoot + stencil.top;
    for (int row = std::max(0, -top); row < std::min(stencil.height, cells.rows - top); ++row) {
        for (int column = std::max(0, -left); column < std::min(stencil.width, cells.cols - left);
             ++column) {
            if (stencil.Row(row)[column] < SureLevel) continue;
            int const y = top + row;
            int const x = left + column;
            Passage& passage =
                passages[static_cast<std::size_t>(y) * static_cast<std::size_t>(cells.cols) +
                         static_cast<std::size_t>(x)];
            passage.covered += 1;
            if (foreground(y, x) != 0) passage.seen += 1;
            if (passage.lastId != track.id) {
                passage.lastId = track.id;
                ++passage.objects;
            }
            if (passage.covered > MostFrames) {
                passage.covered /= 2;
                passage.seen /= 2;
            }
            bool const isHidden = passage.covered >= Enough && passage.objects >= EnoughObjects &&
                                  passage.seen < HardlySeen * passage.covered;
            cells(y, x) = isHidden ? 255 : 0;
        }
    }
}

}  // namespace kes::tracker
