// make_scene FILE.mp4: writes the made-up yard, for a demonstration without a real clip.

#include <chrono>
#include <exception>
#include <iostream>

#include "draw/scene.hpp"
#include "video/writer.hpp"

int main(int argc, char** argv) {
    using kes::track::draw::Scene;
    if (argc != 2) {
        std::cerr << "usage: make_scene FILE.mp4\n";
        return 2;
    }
    try {
        kes::track::video::Writer writer(argv[1], {Scene::Width, Scene::Height}, Scene::FrameRate);
        Scene scene;
        constexpr auto Frames = static_cast<int>(Scene::FrameRate * Scene::Length.count());
        for (int frame = 0; frame < Frames; ++frame) {
            std::chrono::nanoseconds const time{
                static_cast<std::int64_t>(1e9 * frame / Scene::FrameRate)};
            writer.Write(scene.Draw(time), time);
        }
        writer.Close();
    } catch (std::exception const& error) {
        std::cerr << "make_scene: " << error.what() << '\n';
        return 1;
    }
    return 0;
}
