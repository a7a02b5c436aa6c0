#include "draw/tracks.hpp"

#include <algorithm>
#include <cmath>
#include <string>

#include <opencv2/imgproc.hpp>

#include "draw/overlay.hpp"

namespace kes::track::draw {
namespace {

cv::Point2f FootOf(tracker::Box const& box) { return {(box.left + box.right) / 2, box.bottom}; }

cv::Rect RectOf(tracker::Box const& box) {
    cv::Point const corner(cvRound(box.left), cvRound(box.top));
    return {corner, cv::Point(cvRound(box.right), cvRound(box.bottom))};
}

// In proportion to the picture.
int LineWidth(cv::Mat const& picture) { return std::max(1, picture.rows / 300); }

}  // namespace

cv::Scalar ColourOf(int id) {
    // Golden-angle steps round the colour circle keep neighbouring numbers apart.
    double const turn = std::fmod(0.618034 * id, 1.0) * 6;
    auto const channel = [turn](double offset) {
        double const k = std::fmod(offset + turn, 6.0);
        return 255 - 200 * std::max(0.0, std::min({k, 4 - k, 1.0}));
    };
    return {channel(1), channel(3), channel(5)};
}

void TrackPainter::Note(tracker::Result const& result) {
    latest = result;
    for (auto& [id, trail] : trails) trail.isPresent = false;
    for (tracker::Object const& object : result.objects) {
        Trail& trail = trails[object.id];
        trail.isPresent = true;
        trail.points.push_back(FootOf(object.box));
        if (trail.points.size() > trailLength) trail.points.pop_front();
    }
    std::erase_if(trails, [](auto const& entry) { return !entry.second.isPresent; });
}

void TrackPainter::Draw(cv::Mat& picture) const {
    int const line = LineWidth(picture);
    for (auto const& [id, trail] : trails) {
        for (std::size_t i = 1; i < trail.points.size(); ++i) {
            cv::line(picture, trail.points[i - 1], trail.points[i], ColourOf(id), line,
                     cv::LINE_AA);
        }
    }
    int const textHeight = std::max(9, picture.rows / 40);
    for (tracker::Object const& object : latest.objects) {
        cv::Scalar const colour = object.isStanding ? StationaryColour : ColourOf(object.id);
        cv::Rect const box = RectOf(object.box);
        cv::rectangle(picture, box, colour,
                      object.visibility == tracker::Visibility::Visible ? 2 * line : line,
                      cv::LINE_AA);
        std::string const label = std::to_string(object.id);
        int const width = font.Width(label, textHeight);
        cv::Rect const plate(box.x, std::max(0, box.y - textHeight - 4), width + 6, textHeight + 4);
        DrawPlate(picture, plate, 2, 0.6);
        font.Draw(picture, label, plate.x + 3, plate.y + textHeight, textHeight, colour);
    }
}

bool PathPicture::Note(tracker::Result const& result) {
    std::map<int, cv::Point2f> now;
    for (tracker::Object const& object : result.objects) {
        cv::Point2f const foot = FootOf(object.box);
        auto const before = last.find(object.id);
        if (before != last.end()) DrawStep(before->second, foot, object.id);
        now[object.id] = foot;
    }
    last = std::move(now);
    return noted++ % stride == 0;
}

void PathPicture::DrawStep(cv::Point2f from, cv::Point2f to, int id) {
    if (paths.empty()) return;
    int const line = LineWidth(paths);
    cv::line(paths, from * scale, to * scale, ColourOf(id), line, cv::LINE_AA);
    cv::line(pathCells, from * scale, to * scale, 255, line, cv::LINE_AA);
}

void PathPicture::Add(cv::Mat const& picture) {
    if (paths.empty()) {
        scale = std::min(1.0F, static_cast<float>(LongestSide) /
                                   static_cast<float>(std::max(picture.cols, picture.rows)));
        cv::Size const size(std::max(1, cvRound(scale * static_cast<float>(picture.cols))),
                            std::max(1, cvRound(scale * static_cast<float>(picture.rows))));
        paths = cv::Mat(size, CV_8UC3, cv::Scalar::all(0));
        pathCells = cv::Mat1b(size, std::uint8_t{0});
    }
    cv::Mat small;
    cv::resize(picture, small, paths.size(), 0, 0, cv::INTER_AREA);
    pictures.push_back(small);
    if (pictures.size() < MostPictures) return;
    // Every other one goes, and from here on half as many are taken.
    for (std::size_t i = 0; i < MostPictures / 2; ++i) pictures[i] = pictures[2 * i];
    pictures.resize(MostPictures / 2);
    stride *= 2;
}

cv::Mat PathPicture::Background() const {
    if (pictures.empty()) return {};
    cv::Mat background(paths.size(), CV_8UC3);
    std::vector<std::uint8_t> values(pictures.size());
    auto const middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    int const bytes = 3 * background.cols;
    for (int y = 0; y < background.rows; ++y) {
        std::uint8_t* const out = background.ptr(y);
        for (int x = 0; x < bytes; ++x) {
            for (std::size_t i = 0; i < pictures.size(); ++i) values[i] = pictures[i].ptr(y)[x];
            std::nth_element(values.begin(), middle, values.end());
            out[x] = *middle;
        }
    }
    return background;
}

cv::Mat PathPicture::Draw() const {
    if (pictures.empty()) return {};
    cv::Mat background = Background();
    background *= 0.75;  // the paths stand out
    paths.copyTo(background, pathCells);
    return background;
}

}  // namespace kes::track::draw
