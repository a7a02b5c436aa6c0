#include "tracker/appearance.hpp"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>

#include <kes/algorithm/tracking_base/smog.hpp>
#include <kes/geometry/dimension.hpp>
#include <kes/geometry/point.hpp>

#include "tracker/silhouette.hpp"

namespace kes::tracker {
namespace {

constexpr int KnownFrom = 3;  // updates of the appearance that make it known
constexpr float Rim = 2;      // cells about a blob, so that a placement in it has room to move

// A box of cells on the mask, as far as it lies there.
geometry::Rectangle<int> BitsOf(Box const& box, MaskedFrame const& image) {
    auto const width = static_cast<int>(image.mask.width);
    auto const height = static_cast<int>(image.mask.height);
    auto const on = [&](float cells, int most) {
        auto const bits = std::lround(cells * static_cast<float>(image.bitsPerCell));
        return std::clamp(static_cast<int>(bits), 0, most);
    };
    return {on(box.left, width), on(box.top, height), on(box.right, width), on(box.bottom, height)};
}

bool Covers(Track const& track, int x, int y) {
    Stencil const& stencil = track.state.stencil;
    int const column = x - track.state.cellX - stencil.left;
    int const row = y - track.state.cellFoot - stencil.top;
    return column >= 0 && column < stencil.width && row >= 0 && row < stencil.height &&
           stencil.Row(row)[column] >= CoreLevel;
}

}  // namespace

bool AreLooksKnown(Track const& track) { return track.appearanceUpdates >= KnownFrom; }

void Teach(Track& track, MaskedFrame const& image) {
    if (!HasColour(image.frame)) return;
    track.appearance.Update(BitsOf(BoxOf(track.state.pose), image), image.mask, image.frame);
    ++track.appearanceUpdates;
}

float Likeness(Track const& track, Pose const& place, MaskedFrame const& image) {
    if (!AreLooksKnown(track) || !HasColour(image.frame)) return UnknownLikeness;
    return track.appearance.ScoreBlob(BitsOf(BoxOf(place), image), image.mask, image.frame);
}

Clue FindIn(Blob const& blob, Track const& track, MaskedFrame const& image) {
    cv::Rect2f const box = blob.box;
    Pose const& pose = track.state.pose;
    auto const bits = static_cast<float>(image.bitsPerCell);
    auto const found = track.appearance.PartitionAndScoreBlob(
        BitsOf({box.x - Rim, box.y - Rim, box.x + box.width + Rim, box.y + box.height + Rim},
               image),
        0, image.mask, image.frame, {bits * pose.x, bits * (pose.foot - pose.height / 2)},
        {bits * pose.width, bits * pose.height});
    return {found.centre.x / bits, (found.centre.y + found.size.height / 2) / bits,
            AreLooksKnown(track) ? found.score : UnknownLikeness};
}

View::View(Track const& track, std::vector<Track> const& tracks, MaskedFrame const& image)
    : bits(BitsOf(BoxOf(track.state.pose), image)),
      visible(algorithm::MakeEmptyMask(image.mask.width, image.mask.height)) {
    std::vector<Track const*> nearer;
    for (Track const& other : tracks) {
        if (other.state.framesUnseen == 0 && other.state.cellFoot > track.state.cellFoot)
            nearer.push_back(&other);
    }
    int whole = 0;
    int seen = 0;
    for (int y = bits.top; y < bits.bottom; ++y) {
        for (int x = bits.left; x < bits.right; ++x) {
            int const cellX = x / image.bitsPerCell;
            int const cellY = y / image.bitsPerCell;
            if (!Covers(track, cellX, cellY)) continue;
            ++whole;
            auto const bitX = static_cast<std::size_t>(x);
            auto const bitY = static_cast<std::size_t>(y);
            if (!algorithm::GetCell(image.mask, bitX, bitY)) continue;
            bool const isHidden =
                std::any_of(nearer.begin(), nearer.end(),
                            [&](Track const* other) { return Covers(*other, cellX, cellY); });
            if (isHidden) continue;
            algorithm::SetCell(visible, bitX, bitY);
            ++seen;
        }
    }
    if (whole > 0) share = static_cast<float>(seen) / static_cast<float>(whole);
}

float View::Likeness(Track const& other, Frame const& frame) const {
    if (!AreLooksKnown(other) || !HasColour(frame)) return UnknownLikeness;
    return other.appearance.ScoreBlob(bits, visible, frame);
}

}  // namespace kes::tracker
