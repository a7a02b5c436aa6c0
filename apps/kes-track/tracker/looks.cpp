#include "tracker/looks.hpp"

#include <algorithm>
#include <cmath>

namespace kes::tracker {
namespace {

constexpr int KnownFrom = 3;  // updates of the appearance that make it known
constexpr float Rim = 2;      // cells about a blob, so that a placement in it has room to move

// A box of cells on the mask, as far as it lies there.
geometry::Rectangle<int> BitsOf(Box const& box, Picture const& picture) {
    auto const width = static_cast<int>(picture.mask.width);
    auto const height = static_cast<int>(picture.mask.height);
    auto const on = [&](float cells, int most) {
        auto const bits = std::lround(cells * static_cast<float>(picture.bitsPerCell));
        return std::clamp(static_cast<int>(bits), 0, most);
    };
    return {on(box.left, width), on(box.top, height), on(box.right, width), on(box.bottom, height)};
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
    track.appearance.Update(BitsOf(BoxOf(track.pose), picture), picture.mask, picture.frame);
    ++track.appearanceUpdates;
}

float Likeness(Track const& track, Pose const& place, Picture const& picture) {
    if (!AreLooksKnown(track)) return UnknownLikeness;
    return track.appearance.ScoreBlob(BitsOf(BoxOf(place), picture), picture.mask, picture.frame);
}

Clue FindIn(Blob const& blob, Track const& track, Picture const& picture) {
    cv::Rect2f const box = blob.box;
    Pose const& pose = track.pose;
    auto const bits = static_cast<float>(picture.bitsPerCell);
    auto const found = track.appearance.PartitionAndScoreBlob(
        BitsOf({box.x - Rim, box.y - Rim, box.x + box.width + Rim, box.y + box.height + Rim},
               picture),
        0, picture.mask, picture.frame, {bits * pose.x, bits * (pose.foot - pose.height / 2)},
        {bits * pose.width, bits * pose.height});
    return {found.centre.x / bits, (found.centre.y + found.size.height / 2) / bits,
            AreLooksKnown(track) ? found.score : UnknownLikeness};
}

View::View(Track const& track, std::vector<Track> const& tracks, Picture const& picture)
    : bits(BitsOf(BoxOf(track.pose), picture)),
      visible{picture.mask.width, picture.mask.height,
              std::vector<std::uint32_t>(picture.mask.words.size())} {
    std::vector<Track const*> nearer;
    for (Track const& other : tracks) {
        if (other.framesOut == 0 && other.cellFoot > track.cellFoot) nearer.push_back(&other);
    }
    std::size_t const wordsPerRow = (visible.width + 31) / 32;
    int whole = 0;
    int seen = 0;
    for (int y = bits.top; y < bits.bottom; ++y) {
        for (int x = bits.left; x < bits.right; ++x) {
            int const cellX = x / picture.bitsPerCell;
            int const cellY = y / picture.bitsPerCell;
            if (!Covers(track, cellX, cellY)) continue;
            ++whole;
            std::size_t const word =
                static_cast<std::size_t>(y) * wordsPerRow + static_cast<std::size_t>(x / 32);
            std::uint32_t const bit = std::uint32_t{1} << (31 - x % 32);
            if ((picture.mask.words[word] & bit) == 0) continue;
            bool const isHidden =
                std::any_of(nearer.begin(), nearer.end(),
                            [&](Track const* other) { return Covers(*other, cellX, cellY); });
            if (isHidden) continue;
            visible.words[word] |= bit;
            ++seen;
        }
    }
    if (whole > 0) share = static_cast<float>(seen) / static_cast<float>(whole);
}

float View::Likeness(Track const& other, Frame const& frame) const {
    if (!AreLooksKnown(other)) return UnknownLikeness;
    return other.appearance.ScoreBlob(bits, visible, frame);
}

}  // namespace kes::tracker
