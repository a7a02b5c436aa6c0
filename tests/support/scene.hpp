// A made-up scene for the segmenter, shaped so that in a few hundred frames every way through the
// model is taken: a textured background under changing light, things that arrive, stop, flicker
// between two looks, leave and come back, sensor noise and now and then a frame of nothing else.
#pragma once

#include <cstddef>
#include <random>
#include <vector>

#include "support/mask.hpp"
#include "support/picture.hpp"

namespace kes::test {

class Scene {
public:
    Scene(unsigned width, unsigned height, std::size_t padding, unsigned seed);

    Picture const& Next();

    // A mask of the scene's cells: sometimes empty, sometimes a rectangle for a while, sometimes
    // scattered cells. Its padding is always garbage.
    Mask NextMask();

    // Any number below `end`.
    unsigned Below(unsigned end) { return static_cast<unsigned>(random() % end); }

private:
    struct Thing {
        enum class Doing { Away, Passing, Standing, Flickering } doing = Doing::Away;
        unsigned framesLeft = 0;
        int x = 0, y = 0, width = 1, height = 1, stepX = 0, stepY = 0;
        int looks[2] = {0, 0};
    };

    void Change(Thing& thing);
    void Paint(Thing const& thing);

    std::mt19937 random;
    Picture background;
    Picture picture;
    std::vector<Thing> things;
    int light = 0;
    int lightStep = 0;
    unsigned noise = 0;
};

}  // namespace kes::test
