// Follows a bright block that moves through a grey picture. Exits 0 when it has one identity.
#include <cstdio>
#include <set>
#include <vector>

#include <kes/tracker/tracker.hpp>

int main() {
    constexpr unsigned Width = 160, Height = 120;
    std::vector<unsigned char> pixels(Width * Height);
    kes::tracker::Tracker tracker({});
    kes::tracker::FixedLagSmoother smoother(5, 3);
    std::set<int> identities;
    for (unsigned frame = 0; frame < 60; ++frame) {
        pixels.assign(pixels.size(), 90);
        for (unsigned y = 40; frame >= 20 && y < 80; ++y) {
            for (unsigned x = 10; x < 26; ++x) pixels[y * Width + x + 2 * frame] = 220;
        }
        kes::tracker::Frame::Planes planes{};
        planes[0] = {pixels.size(), pixels.data(), Width};
        kes::tracker::Frame const picture(planes, kes::media::ColourFormat::Grey, Width, Height, {},
                                          kes::media::video::frame::Rotation::None);
        auto const result = smoother.Push(tracker.Process(picture));
        if (!result) continue;
        for (auto const& object : result->objects) identities.insert(object.id);
    }
    std::printf("%zu objects\n", identities.size());
    return identities.size() == 1 ? 0 : 1;
}
