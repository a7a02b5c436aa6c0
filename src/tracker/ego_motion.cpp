#include "tracker/ego_motion.hpp"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include <opencv2/imgproc.hpp>

namespace kes::tracker {
namespace {

constexpr int WorkingWidth = 800;  // wider pictures are compared at a fraction of their size
constexpr int Side = 16;           // of a patch, in pixels
constexpr int Columns = 8;         // of areas of the picture, each with a patch at most
constexpr int Rows = 6;
constexpr float LeastEnergy = 16.0F * Side * Side;  // of a patch: grey levels deviate by 4
constexpr float LeastCorner = 0.15F;                // of the texture, in its weaker direction
constexpr float LeastCorrelation = 0.7F;
constexpr int NearReach = 2;   // pixels to either side, searched first
constexpr int WideReach = 10;  // searched when that fails
constexpr float SameMove = 1;  // pixels between patches that agree
constexpr std::size_t LeastVotes = 6;
constexpr float LeastAgreement = 0.4F;     // of all patches
constexpr int FramesBetweenSearches = 10;  // everywhere
constexpr int EdgesWidth = 256;

cv::Mat1b Shrunk(cv::Mat1b const& picture, int scale) {
    if (scale == 1) return picture;
    cv::Mat1b small;
    cv::resize(picture, small, picture.size() / scale, 0, 0, cv::INTER_AREA);
    return small;
}

// How much texture a patch has in its weaker direction; none where that is next to nothing, as
// along a straight edge.
float Corner(cv::Mat1b const& picture, cv::Point corner) {
    float xx = 0, xy = 0, yy = 0;
    for (int y = corner.y; y < corner.y + Side - 1; ++y) {
        unsigned char const* const row = picture[y];
        unsigned char const* const next = picture[y + 1];
        for (int x = corner.x; x < corner.x + Side - 1; ++x) {
            auto const dx = static_cast<float>(row[x + 1] - row[x]);
            auto const dy = static_cast<float>(next[x] - row[x]);
            xx += dx * dx;
            xy += dx * dy;
            yy += dy * dy;
        }
    }
    float const mean = (xx + yy) / 2;
    float const weaker = mean - std::hypot((xx - yy) / 2, xy);
    return weaker > 2 * LeastCorner * mean ? weaker : 0;
}

// Of the grey levels about their means, -1 to 1.
float Correlation(cv::Mat1b const& picture, cv::Point corner, std::vector<short> const& pixels,
                  float sumOfPixels, float energy) {
    int sum = 0, squares = 0, product = 0;
    short const* own = pixels.data();
    for (int y = 0; y < Side; ++y, own += Side) {
        unsigned char const* const row = picture[corner.y + y] + corner.x;
        for (int x = 0; x < Side; ++x) {
            int const value = row[x];
            sum += value;
            squares += value * value;
            product += own[x] * value;
        }
    }
    constexpr float Count = Side * Side;
    auto const total = static_cast<float>(sum);
    float const variance = static_cast<float>(squares) - total * total / Count;
    float const covariance = static_cast<float>(product) - total * sumOfPixels / Count;
    return variance > 0 ? covariance / std::sqrt(variance * energy) : 0;
}

// Of the parabola through values at -1, 0 and 1.
float Peak(float before, float at, float after) {
    float const bend = before - 2 * at + after;
    return bend < 0 ? std::clamp((before - after) / (2 * bend), -0.5F, 0.5F) : 0;
}

float MedianOf(std::vector<float> values) {
    auto const middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

cv::Mat1f EdgesOf(cv::Mat1b const& picture) {
    cv::Mat1b small;
    int const height = std::max(8, picture.rows * EdgesWidth / picture.cols);
    cv::resize(picture, small, {EdgesWidth, height}, 0, 0, cv::INTER_AREA);
    cv::Mat1f dx, dy, edges;
    cv::Sobel(small, dx, CV_32F, 1, 0);
    cv::Sobel(small, dy, CV_32F, 0, 1);
    cv::magnitude(dx, dy, edges);
    return edges;
}

}  // namespace

void EgoMotion::Choose(cv::Mat1b const& background) {
    scale = std::max(1, (background.cols + WorkingWidth / 2) / WorkingWidth);
    cv::Mat1b const small = Shrunk(background, scale);
    patches.clear();
    int const border = WideReach + 2;
    cv::Rect const inner(border, border, small.cols - 2 * border, small.rows - 2 * border);
    for (int area = 0; area < Columns * Rows; ++area) {
        int const left = area % Columns * small.cols / Columns;
        int const top = area / Columns * small.rows / Rows;
        float best = 0;
        cv::Rect place;
        for (int y = top; y + Side <= top + small.rows / Rows; y += Side / 2) {
            for (int x = left; x + Side <= left + small.cols / Columns; x += Side / 2) {
                cv::Rect const tried(x, y, Side, Side);
                if ((tried & inner) != tried) continue;
                float const worth = Corner(small, tried.tl());
                if (worth <= best) continue;
                best = worth;
                place = tried;
            }
        }
        if (best <= 0) continue;
        Patch patch{place.tl(), {}, 0, 0};
        for (int y = place.y; y < place.y + Side; ++y) {
            for (int x = place.x; x < place.x + Side; ++x) {
                patch.pixels.push_back(small(y, x));
                patch.sum += static_cast<float>(small(y, x));
                patch.energy += static_cast<float>(small(y, x) * small(y, x));
            }
        }
        patch.energy -= patch.sum * patch.sum / (Side * Side);
        if (patch.energy >= LeastEnergy) patches.push_back(std::move(patch));
    }
}

// Moves the offset where enough patches agree. around: in pixels of the shrunk picture.
bool EgoMotion::Vote(cv::Mat1b const& picture, cv::Point around, int reach) {
    std::vector<float> xs, ys;
    int const side = 2 * reach + 1;
    std::vector<float> likeness(static_cast<std::size_t>(side * side));
    for (Patch const& patch : patches) {
        cv::Rect const searched(patch.corner + around - cv::Point(reach, reach),
                                cv::Size(Side + 2 * reach, Side + 2 * reach));
        if ((searched & cv::Rect({}, picture.size())) != searched) continue;
        for (int i = 0; i < side * side; ++i) {
            likeness[static_cast<std::size_t>(i)] =
                Correlation(picture, searched.tl() + cv::Point(i % side, i / side), patch.pixels,
                            patch.sum, patch.energy);
        }
        auto const peak = std::max_element(likeness.begin(), likeness.end());
        if (*peak < LeastCorrelation) continue;
        int const x = static_cast<int>(peak - likeness.begin()) % side;
        int const y = static_cast<int>(peak - likeness.begin()) / side;
        // At the edge of the search the peak may lie beyond.
        if (x == 0 || y == 0 || x == side - 1 || y == side - 1) continue;
        xs.push_back(static_cast<float>(around.x + x - reach) + Peak(peak[-1], *peak, peak[1]));
        ys.push_back(static_cast<float>(around.y + y - reach) +
                     Peak(peak[-side], *peak, peak[side]));
    }
    if (xs.size() < LeastVotes) return false;
    float const x = MedianOf(xs);
    float const y = MedianOf(ys);
    std::vector<float> agreedX, agreedY;
    for (std::size_t i = 0; i < xs.size(); ++i) {
        if (std::hypot(xs[i] - x, ys[i] - y) > SameMove) continue;
        agreedX.push_back(xs[i]);
        agreedY.push_back(ys[i]);
    }
    float const least =
        std::max<float>(LeastVotes, LeastAgreement * static_cast<float>(patches.size()));
    if (static_cast<float>(agreedX.size()) < least) return false;
    offset = cv::Point2f(MedianOf(agreedX), MedianOf(agreedY)) * static_cast<float>(scale);
    return true;
}

// Phase correlation of the edges, confirmed by patches.
bool EgoMotion::SearchEverywhere(cv::Mat1b const& picture, cv::Mat1b const& background) {
    cv::Mat1f const before = EdgesOf(background);
    cv::Mat1f const now = EdgesOf(picture);
    cv::Mat window;
    cv::createHanningWindow(window, before.size(), CV_32F);
    cv::Point2d const move = cv::phaseCorrelate(before, now, window) *
                             (static_cast<double>(background.cols) / EdgesWidth / scale);
    return Vote(Shrunk(picture, scale), cv::Point(cvRound(move.x), cvRound(move.y)), NearReach + 2);
}

cv::Point2f EgoMotion::Find(cv::Mat1b const& picture, cv::Mat1b const& background) {
    if (patches.size() < LeastVotes) return offset;
    cv::Mat1b const small = Shrunk(picture, scale);
    cv::Point const last(cvRound(offset.x / static_cast<float>(scale)),
                         cvRound(offset.y / static_cast<float>(scale)));
    bool const isFound =
        Vote(small, last, NearReach) || Vote(small, last, WideReach) ||
        (framesLost % FramesBetweenSearches == 0 && SearchEverywhere(picture, background));
    framesLost = isFound ? 0 : framesLost + 1;
    return offset;
}

}  // namespace kes::tracker
