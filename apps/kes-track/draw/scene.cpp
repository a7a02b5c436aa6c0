#include "draw/scene.hpp"

#include <cmath>

#include <opencv2/imgproc.hpp>

namespace kes::track::draw {
namespace {

constexpr int Horizon = 120;  // pixels from the top
constexpr double SensorNoise = 2.0;

struct Walker {
    double start, end;     // seconds
    cv::Point2d from, to;  // where the feet are, in pixels
    cv::Scalar coat, trousers;
};

// Grown with nearness: the lower the feet, the larger.
double HeightAt(double feetY) { return 24.0 + 0.42 * (feetY - Horizon); }

cv::Point Rounded(double x, double y) {
    return {static_cast<int>(std::lround(x)), static_cast<int>(std::lround(y))};
}

void DrawLimb(cv::Mat& picture, cv::Point from, cv::Point to, double width,
              cv::Scalar const& colour) {
    cv::line(picture, from, to, colour, std::max(1, static_cast<int>(std::lround(width))),
             cv::LINE_AA);
}

void DrawWalker(cv::Mat& picture, Walker const& walker, double seconds) {
    if (seconds < walker.start || seconds > walker.end) return;
    double const share = (seconds - walker.start) / (walker.end - walker.start);
    cv::Point2d const feet = walker.from + share * (walker.to - walker.from);
    double const height = HeightAt(feet.y);
    double const swing = 0.14 * height * std::sin(7.0 * seconds);
    cv::Point const hip = Rounded(feet.x, feet.y - 0.46 * height);
    cv::Point const neck = Rounded(feet.x, feet.y - 0.80 * height);
    DrawLimb(picture, hip, Rounded(feet.x + swing, feet.y), 0.11 * height, walker.trousers);
    DrawLimb(picture, hip, Rounded(feet.x - swing, feet.y), 0.11 * height, walker.trousers);
    DrawLimb(picture, hip, neck, 0.24 * height, walker.coat);
    cv::circle(picture, Rounded(feet.x, feet.y - 0.91 * height),
               std::max(1, static_cast<int>(std::lround(0.085 * height))), {120, 150, 200},
               cv::FILLED, cv::LINE_AA);
}

cv::Mat DrawYard() {
    cv::Mat yard(Scene::Height, Scene::Width, CV_8UC3, cv::Scalar(92, 100, 106));
    yard.rowRange(0, Horizon).setTo(cv::Scalar(112, 128, 142));
    for (int x = 24; x < Scene::Width; x += 88) {
        cv::rectangle(yard, {x, 28, 52, 44}, {72, 64, 54}, cv::FILLED);
        cv::rectangle(yard, {x, 28, 52, 44}, {168, 172, 176}, 2, cv::LINE_AA);
    }
    cv::line(yard, {0, Horizon}, {Scene::Width, Horizon}, {60, 66, 70}, 3);
    for (int x = -200; x < Scene::Width + 200; x += 120) {
        cv::line(yard, {320 + (x - 320) / 2, Horizon + 2}, {x, Scene::Height}, {122, 130, 136}, 2,
                 cv::LINE_AA);
    }
    cv::Mat grain(yard.size(), CV_16SC3);
    cv::RNG(7).fill(grain, cv::RNG::NORMAL, cv::Scalar::all(0), cv::Scalar::all(7));
    cv::GaussianBlur(grain, grain, {3, 3}, 0);
    cv::add(yard, grain, yard, cv::noArray(), CV_8U);
    return yard;
}

}  // namespace

Scene::Scene() : yard(DrawYard()) {}

cv::Mat Scene::Draw(std::chrono::nanoseconds time) {
    static Walker const walkers[] = {
        {2.0, 13.0, {-30, 190}, {670, 220}, {60, 60, 150}, {50, 44, 40}},
        {4.0, 9.0, {670, 300}, {330, 270}, {120, 84, 40}, {40, 40, 44}},
        {9.0, 15.0, {330, 270}, {-60, 330}, {120, 84, 40}, {40, 40, 44}},
        {12.0, 23.0, {690, 250}, {-40, 180}, {60, 130, 70}, {70, 60, 52}},
    };
    constexpr double CaseIsSetDown = 9.0;

    double const seconds = std::chrono::duration<double>(time).count();
    cv::Mat picture = yard.clone();
    if (seconds >= CaseIsSetDown) {
        cv::rectangle(picture, {308, 244, 30, 26}, {36, 52, 96}, cv::FILLED, cv::LINE_AA);
        cv::rectangle(picture, {316, 238, 14, 7}, {30, 36, 60}, 2, cv::LINE_AA);
    }
    for (Walker const& walker : walkers) DrawWalker(picture, walker, seconds);
    cv::Mat grain(picture.size(), CV_16SC3);
    noise.fill(grain, cv::RNG::NORMAL, cv::Scalar::all(0), cv::Scalar::all(SensorNoise));
    cv::add(picture, grain, picture, cv::noArray(), CV_8U);
    return picture;
}

}  // namespace kes::track::draw
