#include "support/hall.hpp"

#include <algorithm>
#include <cmath>
#include <optional>
#include <utility>

#include <opencv2/imgproc.hpp>

namespace kes::track::test {
namespace {

constexpr int NoiseMargin = 100;
constexpr float WidthShare = 0.36F;  // of a person's height

std::optional<cv::Point2f> FootAt(Walker const& walker, int frame) {
    for (std::size_t i = 1; i < walker.steps.size(); ++i) {
        Step const& a = walker.steps[i - 1];
        Step const& b = walker.steps[i];
        if (frame < a.frame || frame > b.frame) continue;
        float const share =
            static_cast<float>(frame - a.frame) / static_cast<float>(b.frame - a.frame);
        return cv::Point2f(a.x + share * (b.x - a.x), a.foot + share * (b.foot - a.foot));
    }
    return std::nullopt;
}

void DrawPerson(cv::Mat& picture, Walker const& walker, cv::Point2f foot, int frame) {
    float const height = Hall::HeightAt(foot.y);
    float const width = WidthShare * height;
    auto const at = [&](float x, float y) {
        return cv::Point(cvRound(foot.x + x * width), cvRound(foot.y - y * height));
    };
    // A soft shadow to one side, legs that swing, a coat, a head.
    cv::Point const shadow = at(0.3F, 0.01F);
    cv::Size const spread(cvRound(0.6F * width), cvRound(0.04F * height));
    cv::Rect const about =
        cv::Rect(shadow - cv::Point(spread), shadow + cv::Point(spread) + cv::Point(1, 1)) &
        cv::Rect({}, picture.size());
    if (!about.empty()) {
        cv::Mat shaded = picture(about).clone();
        cv::ellipse(shaded, shadow - about.tl(), spread, 0, 0, 360, {40, 40, 40}, cv::FILLED);
        cv::addWeighted(shaded, 0.25, picture(about), 0.75, 0, picture(about));
    }
    float const swing = 0.3F * std::sin(0.9F * static_cast<float>(frame));
    int const leg = std::max(2, cvRound(0.22F * width));
    cv::line(picture, at(-0.12F, 0.5F), at(-0.12F - swing, 0.03F), walker.legs, leg);
    cv::line(picture, at(0.12F, 0.5F), at(0.12F + swing, 0.03F), walker.legs, leg);
    cv::ellipse(picture, at(0, 0.63F), {cvRound(0.42F * width), cvRound(0.22F * height)}, 0, 0, 360,
                walker.coat, cv::FILLED);
    cv::circle(picture, at(0, 0.92F), cvRound(0.075F * height), {90, 110, 150}, cv::FILLED);
}

}  // namespace

Hall::Hall(std::vector<Walker> walkers, std::vector<Case> standing, std::vector<cv::Rect> columns)
    : people(std::move(walkers)),
      cases(std::move(standing)),
      pillars(std::move(columns)),
      floor(Height, Width, CV_8UC3, cv::Scalar(150, 155, 160)),
      grain(Height + NoiseMargin, Width + NoiseMargin, CV_16SC3),
      bytes(static_cast<std::size_t>(Width * Height * 3 / 2)) {
    for (int y = 0; y < Height; y += 24) {
        for (int x = (y / 24 % 2) * 24; x < Width; x += 48) {
            cv::rectangle(floor, {x, y, 24, 24}, {135, 140, 150}, cv::FILLED);
        }
    }
    cv::rectangle(floor, {0, 0, Width, 90}, {190, 195, 200}, cv::FILLED);
    noise.fill(grain, cv::RNG::NORMAL, 0, 2.5);
}

tracker::Frame Hall::Draw(int frame) {
    cv::Mat picture = floor.clone();
    for (Case const& one : cases) {
        if (frame >= one.from && frame < one.to) {
            cv::rectangle(picture, one.place, {60, 40, 30}, cv::FILLED);
        }
    }
    std::vector<std::pair<cv::Point2f, Walker const*>> present;
    for (Walker const& walker : people) {
        if (auto const foot = FootAt(walker, frame)) present.emplace_back(*foot, &walker);
    }
    std::sort(present.begin(), present.end(),
              [](auto const& a, auto const& b) { return a.first.y < b.first.y; });
    for (auto const& [foot, walker] : present) DrawPerson(picture, *walker, foot, frame);
    for (cv::Rect const& pillar : pillars) {
        cv::rectangle(picture, pillar, {110, 120, 125}, cv::FILLED);
    }
    if (camera) camera(picture, frame);
    // Fresh noise for each frame takes longer than all the rest: some field of it does.
    cv::Rect const window(noise.uniform(0, NoiseMargin), noise.uniform(0, NoiseMargin), Width,
                          Height);
    cv::add(picture, grain(window), picture, cv::noArray(), CV_8UC3);

    cv::Mat planar;
    cv::cvtColor(picture, planar, cv::COLOR_BGR2YUV_I420);
    constexpr std::size_t Pixels = Width * Height;
    std::copy_n(planar.data, Pixels, bytes.begin());
    for (std::size_t i = 0; i < Pixels / 4; ++i) {
        bytes[Pixels + 2 * i] = planar.data[Pixels + i];
        bytes[Pixels + 2 * i + 1] = planar.data[Pixels + Pixels / 4 + i];
    }
    using Plane = media::video::frame::PlaneBase<void const>;
    return tracker::Frame(
        {Plane{Pixels, bytes.data(), Width}, Plane{Pixels / 2, bytes.data() + Pixels, Width}},
        media::ColourFormat::Nv12, Width, Height, {}, {});
}

std::vector<mot::Row> Hall::Truth(int frame) const {
    std::vector<mot::Row> rows;
    for (std::size_t i = 0; i < people.size(); ++i) {
        auto const foot = FootAt(people[i], frame);
        if (!foot) continue;
        float const height = HeightAt(foot->y);
        float const width = WidthShare * height;
        tracker::Box const box{foot->x - width / 2, foot->y - height, foot->x + width / 2, foot->y};
        bool const isWhole =
            box.left >= 0 && box.right <= Width && box.top >= 0 && box.bottom <= Height;
        if (isWhole) rows.push_back({frame + 1, static_cast<long>(i) + 1, box, 1, {}});
    }
    return rows;
}

}  // namespace kes::track::test
