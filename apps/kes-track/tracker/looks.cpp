#include "tracker/looks.hpp"

#include <algorithm>
#include <cmath>

namespace kes::tracker {
namespace {

constexpr int KnownFrom = 3;  // updates of the appearance that make it known
constexpr int Rim = 2;        // cells about a blob, so that a placement in it has room to move

geometry::Rectangle<int> Clipped(geometry::Rectangle<int> const& cells,
                                 algorithm::BitMask const& mask) {
    auto const width = static_cast<int>(mask.width);
    auto const height = static_cast<int>(mask.height);
    return {std::clamp(cells.left, 0, width), std::clamp(cells.top, 0, height),
            std::clamp(cells.right, 0, width), std::clamp(cells.bottom, 0, height)};
}

geometry::Rectangle<int> CellsOf(Pose const& pose, algorithm::BitMask const& mask) {
    Box const box = BoxOf(pose);
    auto const round = [](float value) { return static_cast<int>(std::lround(value)); };
    return Clipped({round(box.left), round(box.top), round(box.right), round(box.bottom)}, mask);
}

bool Covers(Track const& track, int x, int y) {
    Stencil const& stencil = track.stencil;
    int const column = x - track.cellX - stencil.left;
    int const row = y - track.cellFoot - stencil.top;
    return column >= 0 && column < stencil.width && row >= 0 && row < stencil.height &&
           stencil.levels[static_cast<std::size_t>(row * stencil.width + column)] >= CoreLevel;
}

}  // namespace

bool AreLooksKnown(Track const& track) { return track.appearanceUpdates >= KnownFrom; }

void Teach(Track& track, Picture const& picture) {
    track.appearance.Update(CellsOf(track.pose, picture.mask), picture.mask, picture.frame);
    ++track.appearanceUpdates;
}

float Likeness(Track const& track, Pose const& place, Picture const& picture) {
    if (!AreLooksKnown(track)) return UnknownLikeness;
    return track.appearance.ScoreBlob(CellsOf(place, picture.mask), picture.mask, picture.frame);
}

Clue FindIn(Blob const& blob, Track const& track, Picture const& picture) {
    cv::Rect const& box = blob.box;
    Pose const& pose = track.pose;
    auto const found = track.appearance.PartitionAndScoreBlob(
        Clipped({box.x - Rim, box.y - Rim, box.x + box.width + Rim, box.y + box.height + Rim},
                picture.mask),
        0, picture.mask, picture.frame, {pose.x, pose.foot - pose.height / 2},
        {pose.width, pose.height});
    return {found.centre[0], found.centre[1] + found.size[1] / 2,
            AreLooksKnown(track) ? found.score : UnknownLikeness};
}

View::View(Track const& track, std::vector<Track> const& tracks, Picture const& picture)
    : cells(CellsOf(track.pose, picture.mask)),
      visible{picture.mask.width, picture.mask.height,
              std::vector<std::uint32_t>(picture.mask.words.size())} {
    std::vector<Track const*> nearer;
    for (Track const& other : tracks) {
        if (other.framesOut == 0 && other.cellFoot > track.cellFoot) nearer.push_back(&other);
    }
    std::size_t const wordsPerRow = (visible.width + 31) / 32;
    int whole = 0;
    int seen = 0;
    for (int y = cells.top; y < cells.bottom; ++y) {
        for (int x = cells.left; x < cells.right; ++x) {
            if (!Covers(track, x, y)) continue;
            ++whole;
            std::size_t const word =
                static_cast<std::size_t>(y) * wordsPerRow + static_cast<std::size_t>(x / 32);
            std::uint32_t const bit = std::uint32_t{1} << (31 - x % 32);
            if ((picture.mask.words[word] & bit) == 0) continue;
            bool const isHidden =
                std::any_of(nearer.begin(), nearer.end(),
                            [&](Track const* other) { return Covers(*other, x, y); });
            if (isHidden) continue;
            visible.words[word] |= bit;
            ++seen;
        }
    }
    if (whole > 0) share = static_cast<float>(seen) / static_cast<float>(whole);
}

float View::Likeness(Track const& other, Frame const& frame) const {
    if (!AreLooksKnown(other)) return UnknownLikeness;
    return other.appearance.ScoreBlob(cells, visible, frame);
}

}  // namespace kes::tracker
