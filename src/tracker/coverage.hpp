// Coverage: how well a set of drawn silhouettes explains the foreground. Each cell is foreground
// unless every object that covers it misses it; placing an object is worth the log-likelihood that
// it adds over what the others explain already.
#pragma once

#include <cstdint>

#include <opencv2/core.hpp>

#include "tracker/silhouette.hpp"

namespace kes::tracker {

class Coverage {
public:
    // Starts over, with nothing placed. foreground; hidden, where missing
    // foreground says nothing: 0 or not, a byte a cell.
    void Begin(cv::Mat1b const& foreground, cv::Mat1b const& hidden);

    void Add(Stencil const& stencil, int x, int foot) { Paint(stencil, x, foot, 1); }
    void Remove(Stencil const& stencil, int x, int foot) { Paint(stencil, x, foot, -1); }

    // What placing this stencil too would be worth, in nats. Cells off the frame count nothing.
    float Gain(Stencil const& stencil, int x, int foot) const;

    // How much of the silhouette stands on foreground that nothing else explains: about 1 for an
    // object in plain visibility, 0 for a second one claimed on the same foreground.
    float Evidence(Stencil const& stencil, int x, int foot) const;

    // The same on any foreground, explained or not, and where it would be hidden.
    float Presence(Stencil const& stencil, int x, int foot) const;

    // The levels of everything added, summed.
    cv::Mat1s const& Levels() const { return levels; }

private:
    template <typename GainAt>
    float Share(Stencil const& stencil, int x, int foot, GainAt gainAt) const;
    void Paint(Stencil const& stencil, int x, int foot, int sign);

    cv::Mat1b readings;  // what each cell says of an object placed on it
    cv::Mat1s levels;
};

}  // namespace kes::tracker
