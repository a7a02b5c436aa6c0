#include "draw/gates.hpp"

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include <opencv2/imgproc.hpp>

#include "draw/overlay.hpp"

namespace kes::track::draw {
namespace {

cv::Scalar const GateColour{255, 255, 255};

cv::Point PixelOf(tracker::Point const& p) { return {cvRound(p.x), cvRound(p.y)}; }

// Centred at `at`, moved into the picture.
void DrawText(cv::Mat& picture, Font const& font, std::string const& text, cv::Point at) {
    int const height = std::max(9, picture.rows / 40);
    int const width = font.Width(text, height) + 6;
    int const left = std::clamp(at.x - width / 2, 0, std::max(0, picture.cols - width));
    int const top = std::clamp(at.y - height / 2, 0, std::max(0, picture.rows - height - 4));
    DrawPlate(picture, {left, top, width, height + 4}, 2, 0.6);
    font.Draw(picture, text, left + 3, top + height, height, GateColour);
}

}  // namespace

void DrawGates(cv::Mat& picture, Font const& font, count::Tally const& tally) {
    int const thickness = std::max(1, picture.rows / 300);
    auto const& [lines, zones] = tally.Of();
    for (std::size_t i = 0; i < lines.size(); ++i) {
        cv::Point const from = PixelOf(lines[i].from);
        cv::Point const to = PixelOf(lines[i].to);
        cv::line(picture, from, to, GateColour, 2 * thickness, cv::LINE_AA);
        cv::Point const middle = (from + to) / 2;
        cv::Point2d const along = to - from;
        double const length = std::max(1.0, std::hypot(along.x, along.y));
        double const arrow = picture.rows / 20.0;
        cv::Point const tip(cvRound(middle.x - along.y / length * arrow),
                            cvRound(middle.y + along.x / length * arrow));
        cv::arrowedLine(picture, middle, tip, GateColour, 2 * thickness, cv::LINE_AA, 0, 0.3);
        count::Counts const& counts = tally.Lines()[i];
        // The arrow's way first.
        DrawText(picture, font,
                 lines[i].name + "  " + std::to_string(counts.toRight) + " / " +
                     std::to_string(counts.toLeft),
                 from);
    }
    for (std::size_t i = 0; i < zones.size(); ++i) {
        std::vector<cv::Point> corners;
        cv::Point sum(0, 0);
        for (tracker::Point const& corner : zones[i].corners) {
            corners.push_back(PixelOf(corner));
            sum += corners.back();
        }
        cv::polylines(picture, corners, true, GateColour, thickness, cv::LINE_AA);
        count::Counts const& counts = tally.Zones()[i];
        DrawText(picture, font,
                 zones[i].name + "  " + std::to_string(counts.Inside()) + " in, " +
                     std::to_string(counts.entered) + " came",
                 sum / static_cast<int>(corners.size()));
    }
}

}  // namespace kes::track::draw
