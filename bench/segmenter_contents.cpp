#include "bench/segmenter_contents.hpp"

#include <random>
#include <stdexcept>

#include <opencv2/imgproc.hpp>
#include <opencv2/videoio.hpp>

namespace kes::bench {
namespace {

class Clip : public Content {
public:
    explicit Clip(cv::Size size) : size(size), video(KES_CLIP) {
        if (!video.isOpened()) {
            throw std::runtime_error("no clip at " KES_CLIP "; run tools/fetch-clip");
        }
    }

    cv::Mat Next() override {
        cv::Mat colour;
        if (!video.read(colour)) {
            video.set(cv::CAP_PROP_POS_FRAMES, 0);
            video.read(colour);
        }
        cv::Mat grey;
        cv::cvtColor(colour, grey, cv::COLOR_BGR2GRAY);
        cv::resize(grey, grey, size, 0, 0, cv::INTER_CUBIC);
        return grey;
    }

private:
    cv::Size size;
    cv::VideoCapture video;
};

class Noise : public Content {
public:
    explicit Noise(cv::Size size) : size(size) {}

    cv::Mat Next() override {
        cv::Mat picture(size, CV_8UC1);
        random.fill(picture, cv::RNG::UNIFORM, 0, 256);
        return picture;
    }

private:
    cv::Size size;
    cv::RNG random{1};
};

class Static : public Content {
public:
    explicit Static(cv::Size size) : scene(size, CV_8UC1) {
        random.fill(scene, cv::RNG::UNIFORM, 20, 230);
        cv::GaussianBlur(scene, scene, {}, 3);
    }

    cv::Mat Next() override {
        cv::Mat grain(scene.size(), CV_8SC1);
        random.fill(grain, cv::RNG::NORMAL, 0, 2);
        cv::Mat picture;
        cv::add(scene, grain, picture, cv::noArray(), CV_8U);
        return picture;
    }

private:
    cv::RNG random{2};
    cv::Mat scene;
};

class Crowd : public Content {
public:
    explicit Crowd(cv::Size size) : size(size), looks(BlocksOf(size.height), BlocksOf(size.width)) {
        looks = 0;
    }

    cv::Mat Next() override {
        cv::Mat picture(size, CV_8UC1);
        for (int top = 0; top < size.height; top += Block) {
            for (int left = 0; left < size.width; left += Block) {
                int& look = looks(top / Block, left / Block);
                // Mostly as before, so that modes age; now and then another of three looks.
                if (random.uniform(0, 4) == 0) look = random.uniform(0, 3);
                int const height = std::min(Block, size.height - top);
                int const width = std::min(Block, size.width - left);
                picture(cv::Rect(left, top, width, height)) = 40 + 80 * look;
            }
        }
        return picture;
    }

private:
    static constexpr int Block = 24;  // pixels a side
    static int BlocksOf(int pixels) { return (pixels + Block - 1) / Block; }

    cv::Size size;
    cv::Mat1i looks;
    cv::RNG random{3};
};

}  // namespace

std::unique_ptr<Content> MakeContent(std::string const& name, cv::Size size) {
    if (name == "clip") return std::make_unique<Clip>(size);
    if (name == "noise") return std::make_unique<Noise>(size);
    if (name == "static") return std::make_unique<Static>(size);
    if (name == "crowd") return std::make_unique<Crowd>(size);
    throw std::runtime_error("no content called " + name);
}

Loop::Loop(Content& content, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) pictures.push_back(content.Next());
}

cv::Mat const& Loop::operator[](std::size_t i) const {
    std::size_t const last = pictures.size() - 1;
    std::size_t const phase = i % (2 * last);
    return pictures[phase <= last ? phase : 2 * last - phase];
}

media::video::FrameBase<void const> ViewOf(cv::Mat const& picture) {
    media::video::frame::PlaneBase<void const> const plane(picture.total(), picture.data,
                                                           static_cast<long>(picture.step[0]));
    return {{plane},
            media::ColourFormat::Grey,
            static_cast<unsigned>(picture.cols),
            static_cast<unsigned>(picture.rows),
            {},
            media::video::frame::Rotation{}};
}

}  // namespace kes::bench
