#include "support/scene.hpp"

#include <algorithm>

namespace kes::test {
namespace {

unsigned char ToPixel(int value) { return static_cast<unsigned char>(std::clamp(value, 0, 255)); }

}  // namespace

Scene::Scene(unsigned width, unsigned height, std::size_t padding, unsigned seed)
    : random(seed), background(width, height, padding), picture(width, height, padding) {
    for (unsigned char& pixel : background.bytes) pixel = static_cast<unsigned char>(random());
    // Smooth in one half, as coarse as noise in the other.
    for (unsigned y = 0; y < height; ++y) {
        for (unsigned x = 0; x < width / 2; ++x) {
            background.At(x, y) = ToPixel(static_cast<int>(60 + 2 * y + x % 64 + Below(4)));
        }
    }
    things.resize(3 + width * height / 400);
    noise = Below(4);
}

void Scene::Change(Thing& thing) {
    using Doing = Thing::Doing;
    int const width = static_cast<int>(picture.width);
    int const height = static_cast<int>(picture.height);
    thing.framesLeft = 1 + Below(24);
    switch (Below(4)) {
        case 0: thing.doing = Doing::Away; break;
        case 1: thing.doing = Doing::Standing; break;
        case 2: thing.doing = Doing::Flickering; break;
        default:
            thing.doing = Doing::Passing;
            thing.width = 3 + static_cast<int>(Below(16));
            thing.height = 3 + static_cast<int>(Below(12));
            thing.x = static_cast<int>(Below(picture.width + 8)) - 4;
            thing.y = static_cast<int>(Below(picture.height + 8)) - 4;
            thing.stepX = thing.x < width / 2 ? static_cast<int>(Below(4)) : -1;
            thing.stepY = thing.y < height / 2 ? static_cast<int>(Below(3)) : -1;
            // Sometimes hardly darker than what is behind it.
            thing.looks[0] = static_cast<int>(Below(256));
            thing.looks[1] = thing.looks[0] + static_cast<int>(Below(80)) - 40;
    }
}

void Scene::Paint(Thing const& thing) {
    if (thing.doing == Thing::Doing::Away) return;
    bool const other = thing.doing == Thing::Doing::Flickering && Below(2) == 1;
    int const look = thing.looks[other ? 1 : 0];
    for (int y = std::max(thing.y, 0); y < thing.y + thing.height; ++y) {
        for (int x = std::max(thing.x, 0); x < thing.x + thing.width; ++x) {
            auto const pixelX = static_cast<std::size_t>(x);
            auto const pixelY = static_cast<std::size_t>(y);
            if (pixelX >= picture.width || pixelY >= picture.height) continue;
            picture.At(pixelX, pixelY) = ToPixel(look + 8 * ((x - thing.x) % 3));
        }
    }
}

Picture const& Scene::Next() {
    if (Below(40) == 0) {  // nothing but noise
        for (unsigned char& pixel : picture.bytes) pixel = static_cast<unsigned char>(random());
        return picture;
    }
    if (Below(30) == 0) light = static_cast<int>(Below(120)) - 60;
    if (Below(30) == 0) lightStep = static_cast<int>(Below(5)) - 2;
    light = std::clamp(light + lightStep, -80, 80);

    picture = background;
    for (Thing& thing : things) {
        if (thing.framesLeft == 0) Change(thing);
        --thing.framesLeft;
        if (thing.doing == Thing::Doing::Passing) {
            thing.x += thing.stepX;
            thing.y += thing.stepY;
        }
        Paint(thing);
    }
    for (unsigned y = 0; y < picture.height; ++y) {
        for (unsigned x = 0; x < picture.width; ++x) {
            int const grain = noise > 0 ? static_cast<int>(Below(2 * noise + 1)) : 0;
            picture.At(x, y) = ToPixel(picture.At(x, y) + light + grain);
        }
    }
    return picture;
}

Mask Scene::NextMask() {
    Mask mask(picture.width / 2, picture.height / 2);
    unsigned const kind = Below(4);
    for (std::uint32_t& word : mask.words) {
        word = kind == 0 ? static_cast<std::uint32_t>(random() & random() & random()) : 0;
    }
    if (kind == 1 && mask.width > 0) {
        unsigned const left = Below(mask.width), top = Below(mask.height + 1);
        unsigned const right = left + Below(mask.width), bottom = top + Below(mask.height + 1);
        for (unsigned y = top; y < std::min(bottom, mask.height); ++y) {
            for (unsigned x = left; x < std::min(right, mask.width); ++x) mask.Set(x, y);
        }
    }
    std::size_t const wordsPerRow = (mask.width + 31) / 32;
    if (mask.width % 32 != 0) {
        for (std::size_t y = 0; y < mask.height; ++y) {
            mask.words[(y + 1) * wordsPerRow - 1] ^=
                static_cast<std::uint32_t>(random()) & (0xFFFFFFFFU >> (mask.width % 32));
        }
    }
    return mask;
}

}  // namespace kes::test
