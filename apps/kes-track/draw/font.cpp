#include "draw/font.hpp"

#include <cstddef>
#include <filesystem>

#include <opencv2/freetype.hpp>
#include <opencv2/imgproc.hpp>

namespace kes::track::draw {
namespace {

// Where Debian's package, which ours depends on, puts it. Asking fontconfig would be another
// library for one file, and could give letters of another width on each machine.
constexpr char const* Folder = "/usr/share/fonts/truetype/dejavu/";
constexpr int StrokeFace = cv::FONT_HERSHEY_SIMPLEX;
constexpr double StrokeHeight = 28.0;  // of the face at scale 1, ascenders and descenders

double StrokeScale(int height) { return height / StrokeHeight; }

bool IsContinuation(char c) { return (static_cast<unsigned char>(c) & 0xC0U) == 0x80U; }

}  // namespace

Font::Font(Weight weight) : strokes(weight == Weight::Bold ? 2 : 1) {
    std::string const path =
        std::string(Folder) + (weight == Weight::Bold ? "DejaVuSans-Bold.ttf" : "DejaVuSans.ttf");
    std::error_code ignored;
    if (!std::filesystem::is_regular_file(path, ignored)) return;
    try {
        outlines = cv::freetype::createFreeType2();
        outlines->loadFontData(path, 0);
    } catch (cv::Exception const&) {
        outlines.reset();
    }
}

int Font::Width(std::string const& text, int height) const {
    if (text.empty()) return 0;
    int baseline = 0;
    if (outlines) return outlines->getTextSize(text, height, -1, &baseline).width;
    return cv::getTextSize(text, StrokeFace, StrokeScale(height), strokes, &baseline).width;
}

void Font::Draw(cv::Mat& picture, std::string const& text, int left, int baseline, int height,
                cv::Scalar const& colour) const {
    if (text.empty()) return;
    if (outlines) {
        outlines->putText(picture, text, {left, baseline}, height, colour, -1, cv::LINE_AA, true);
    } else {
        cv::putText(picture, text, {left, baseline}, StrokeFace, StrokeScale(height), colour,
                    strokes, cv::LINE_AA);
    }
}

std::string Font::Fit(std::string text, int height, int width) const {
    if (Width(text, height) <= width) return text;
    while (!text.empty() && Width(text + "...", height) > width) {
        while (text.size() > 1 && IsContinuation(text.back())) text.pop_back();
        text.pop_back();
    }
    return text + "...";
}

}  // namespace kes::track::draw
