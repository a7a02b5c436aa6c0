// SceneScale: how tall the usual object of this scene looks, as a straight line over the row where
// it stands. Learnt from objects seen alone; a scene of unlike objects never becomes certain, and
// then nothing is concluded from size.
#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "tracker/geometry.hpp"

namespace kes::tracker {

// Of an object's height to the usual one at its place: beyond these it is another kind of object.
constexpr float SmallestFactor = 0.7F;
constexpr float LargestFactor = 1.4F;

class SceneScale {
public:
    // An object seen alone, whole and away from the border. All in cells.
    void Learn(Pose const& object);

    // The usual size of an object that stands at this row; nothing while uncertain.
    struct Size {
        float width;
        float height;
    };
    std::optional<Size> SizeAt(float foot) const;

private:
    struct Sample {
        float foot;
        float height;
        float aspect;  // width / height
    };

    void Fit();

    std::vector<Sample> samples;
    std::size_t learnt = 0;
    float offset = 0;
    float slope = 0;
    float aspect = 0;
    float lowest = 0;  // the rows over which samples lie; the line is not trusted far beyond them
    float highest = 0;
    bool certain = false;
};

}  // namespace kes::tracker
