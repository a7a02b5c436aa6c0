#include "draw/overlay.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include <opencv2/imgproc.hpp>

namespace kes::track::draw {
namespace {

// A little more in than out: a tinted picture is brighter, so that dark clothes show their tint.
constexpr double PictureShare = 0.62;
constexpr double TintShare = 0.46;
constexpr int SmallestLabelled = 120;  // pixels, either side

int MadeEven(int side) { return side + side % 2; }

// Looks at the frame's memory, which OpenCV has no const view of.
cv::Mat View(media::video::frame::PlaneBase<void const> const& plane, int rows, int columns,
             int type) {
    return {rows, columns, type, const_cast<void*>(plane.GetBuffer()),
            static_cast<std::size_t>(plane.GetStride())};
}

}  // namespace

cv::Mat ToBgr(media::video::FrameBase<void const> const& frame, bool isFullRange) {
    auto const width = static_cast<int>(frame.GetWidth());
    auto const height = static_cast<int>(frame.GetHeight());
    cv::Mat luminance = View(frame.GetPlane(0), height, width, CV_8UC1);
    cv::Mat chroma = View(frame.GetPlane(1), MadeEven(height) / 2, MadeEven(width) / 2, CV_8UC2);
    if (isFullRange) {
        constexpr double LuminanceScale = 219.0 / 255.0;
        constexpr double ChromaScale = 224.0 / 255.0;
        cv::Mat narrow;
        luminance.convertTo(narrow, CV_8U, LuminanceScale, 16.0);
        luminance = narrow;
        cv::Mat narrowChroma;
        chroma.convertTo(narrowChroma, CV_8U, ChromaScale, 128.0 * (1.0 - ChromaScale));
        chroma = narrowChroma;
    }
    bool const isEven = width % 2 == 0 && height % 2 == 0;
    if (!isEven) {
        cv::Mat padded;
        cv::copyMakeBorder(luminance, padded, 0, height % 2, 0, width % 2, cv::BORDER_REPLICATE);
        luminance = padded;
    }
    cv::Mat picture;
    cv::cvtColorTwoPlane(luminance, chroma, picture, cv::COLOR_YUV2BGR_NV12);
    return isEven ? picture : picture(cv::Rect(0, 0, width, height)).clone();
}

cv::Mat Unpack(algorithm::BitMask const& mask) {
    cv::Mat cells(static_cast<int>(mask.height), static_cast<int>(mask.width), CV_8UC1);
    for (std::uint32_t cellY = 0; cellY < mask.height; ++cellY) {
        auto* const row = cells.ptr<std::uint8_t>(static_cast<int>(cellY));
        for (std::uint32_t cellX = 0; cellX < mask.width; ++cellX) {
            row[cellX] = algorithm::GetCell(mask, cellX, cellY) ? 255 : 0;
        }
    }
    return cells;
}

void Tint(cv::Mat& picture, algorithm::BitMask const& mask, cv::Scalar const& colour) {
    cv::Mat const cells = Unpack(mask);
    if (cells.empty()) return;
    cv::Rect const found = cv::boundingRect(cells);
    if (found.empty()) return;
    // Only around what is set, a cell wider so that outlines close.
    cv::Rect const cellArea =
        cv::Rect(found.x - 1, found.y - 1, found.width + 2, found.height + 2) &
        cv::Rect(0, 0, cells.cols, cells.rows);
    cv::Mat area = picture(cv::Rect(cellArea.tl() * 2, cellArea.size() * 2));

    cv::Mat smooth;
    cv::resize(cells(cellArea), smooth, area.size(), 0, 0, cv::INTER_LINEAR);
    cv::Mat const covered = smooth > 127;
    cv::Mat tinted;
    cv::addWeighted(area, PictureShare, cv::Mat(area.size(), CV_8UC3, colour), TintShare, 0.0,
                    tinted);
    tinted.copyTo(area, covered);

    std::vector<std::vector<cv::Point>> outlines;
    cv::findContours(covered, outlines, cv::RETR_LIST, cv::CHAIN_APPROX_SIMPLE);
    cv::drawContours(area, outlines, -1, colour, 1, cv::LINE_AA);
}

void DrawPlate(cv::Mat& picture, cv::Rect const& place, int radius, double opacity) {
    cv::Rect const visible = place & cv::Rect(0, 0, picture.cols, picture.rows);
    if (visible.empty()) return;
    cv::Mat area = picture(visible);
    cv::Mat shape = cv::Mat::zeros(visible.size(), CV_8UC1);
    int const r = std::min({radius, visible.width / 2, visible.height / 2});
    cv::Scalar const full = cv::Scalar::all(255);
    cv::rectangle(shape, {r, 0}, {visible.width - 1 - r, visible.height - 1}, full, cv::FILLED);
    cv::rectangle(shape, {0, r}, {visible.width - 1, visible.height - 1 - r}, full, cv::FILLED);
    for (int x : {r, visible.width - 1 - r}) {
        for (int y : {r, visible.height - 1 - r}) {
            cv::circle(shape, {x, y}, r, full, cv::FILLED, cv::LINE_AA);
        }
    }
    cv::Mat shade;
    cv::cvtColor(shape, shade, cv::COLOR_GRAY2BGR);
    shade.convertTo(shade, CV_8UC3, -opacity, 255.0);  // 255 keeps a pixel as it is
    cv::multiply(area, shade, area, 1.0 / 255.0);
}

void DrawLabel(cv::Mat& picture, Font const& font, std::string const& time,
               std::vector<LegendEntry> const& legend) {
    int const shorterSide = std::min(picture.cols, picture.rows);
    if (shorterSide < SmallestLabelled) return;
    int const letters = std::clamp(shorterSide / 32, 11, 48);
    int const margin = letters * 3 / 4;
    int const gap = letters;
    int const dot = letters / 3;

    int width = 2 * margin + font.Width(time, letters);
    for (LegendEntry const& entry : legend) {
        width += gap + 3 * dot + font.Width(entry.text, letters);
    }
    int const height = letters + 2 * (margin * 2 / 3);
    cv::Rect const plate(margin, picture.rows - margin - height, width, height);
    if (plate.br().x > picture.cols) return;
    DrawPlate(picture, plate, letters / 2, 0.62);

    int const baseline = plate.y + height / 2 + letters * 3 / 8;
    int x = plate.x + margin;
    font.Draw(picture, time, x, baseline, letters, cv::Scalar::all(255));
    x += font.Width(time, letters);
    for (LegendEntry const& entry : legend) {
        x += gap;
        cv::circle(picture, {x + dot, plate.y + height / 2}, dot, entry.colour, cv::FILLED,
                   cv::LINE_AA);
        x += 3 * dot;
        font.Draw(picture, entry.text, x, baseline, letters, cv::Scalar::all(225));
        x += font.Width(entry.text, letters);
    }
}

}  // namespace kes::track::draw
