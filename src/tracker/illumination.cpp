#include "tracker/illumination.hpp"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

#include <opencv2/imgproc.hpp>

namespace kes::tracker {
namespace {

constexpr int SampleColumns = 192;  // pictures are compared at no more than this width
constexpr int BlockSide = 8;        // samples along each side of a block of the gain field

// Foreground over more than this share of the picture is light that was not understood.
constexpr double FloodShare = 0.5;

// The curve is straight between knots.
constexpr int KnotStep = 16;  // grey levels
constexpr int Knots = 256 / KnotStep + 1;
constexpr double Stiffness = 2;   // weight of a bend, in shares of all samples
constexpr int Rounds = 4;         // of weighing samples by their errors
constexpr float LeastReach = 8;   // grey levels; samples further off do not count
constexpr float Reach = 5;        // the same in median errors
constexpr float CloseEnough = 3;  // grey levels: the median error of a curve to start from

constexpr float LeastValid = 0.3F;  // of a block's samples
constexpr float SameTexture = 0.85F;
constexpr float LeastDeviation = 4;  // grey levels, of a block with texture
constexpr float Recognizable = 0.5F;
constexpr int FewTextured = 8;      // blocks; fewer say nothing
constexpr float TextureTrust = 1;   // the weight of a block that looks the same but for light,
constexpr float PlainTrust = 0.5F;  // of one that has no texture to say so,
constexpr float NoTrust = 1e-4F;    // and of one full of foreground
constexpr int Ground = 8;           // grey levels added to both sides of a gain
constexpr float LeastGain = 0.4F;
constexpr float LargestGain = 2.5F;

constexpr double GoodEnough = 2;     // grey levels of mean error without a curve
constexpr double WorthACurve = 0.8;  // the share of that error which a curve must not exceed
constexpr float Negligible = 1.5F;   // grey levels of change that are left to the segmenter
constexpr int Strange = 20;          // grey levels that are no error of the light's estimate

cv::Mat1b SamplesOf(cv::Mat1b const& picture, cv::Size size) {
    cv::Mat1b samples;
    cv::resize(picture, samples, size, 0, 0, cv::INTER_AREA);
    return samples;
}

float MedianOf(std::vector<float>& values) {
    auto const middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

// What of a change is undone. It begins without a jump.
float Beyond(float change) { return change - std::clamp(change, -Negligible, Negligible); }

// How often a grey level now goes with one before.
class Pairs {
public:
    Pairs(cv::Mat1b const& now, cv::Mat1b const& before, cv::Mat1b const& skip) {
        for (int y = 0; y < now.rows; ++y) {
            for (int x = 0; x < now.cols; ++x) {
                // A level at either end may stand for any beyond it.
                if (skip(y, x) != 0 || now(y, x) == 0 || now(y, x) == 255) continue;
                ++counts[static_cast<std::size_t>(now(y, x) * 256 + before(y, x))];
                ++total;
            }
        }
    }

    int Total() const { return total; }

    // visit(level now, level before, count)
    template <typename Visit>
    void ForEach(Visit const& visit) const {
        for (std::size_t i = 0; i < counts.size(); ++i) {
            if (counts[i] > 0) visit(i / 256, i % 256, counts[i]);
        }
    }

    // Of what a curve makes of the levels now, in grey levels.
    float MedianError(std::array<float, 256> const& curve) const {
        std::array<int, 512> errors{};  // by halves of a level
        ForEach([&](std::size_t now, std::size_t before, int count) {
            float const error = std::abs(static_cast<float>(before) - curve[now]);
            errors[std::min<std::size_t>(511, static_cast<std::size_t>(2 * error))] += count;
        });
        std::size_t level = 0;
        for (int seen = errors[0]; level < 511 && 2 * seen < total;) seen += errors[++level];
        return static_cast<float>(level) / 2;
    }

    // The curve under which both have the same histogram.
    std::array<float, 256> MatchedHistograms() const {
        std::array<int, 256> nows{}, befores{};
        ForEach([&](std::size_t now, std::size_t before, int count) {
            nows[now] += count;
            befores[before] += count;
        });
        std::array<float, 256> curve{};
        int darkerNow = 0;
        int darkerBefore = 0;
        std::size_t level = 0;
        for (std::size_t now = 0; now < 256; ++now) {
            int const middle = darkerNow + nows[now] / 2;
            darkerNow += nows[now];
            while (level < 255 && darkerBefore + befores[level] <= middle) {
                darkerBefore += befores[level++];
            }
            curve[now] = static_cast<float>(level);
        }
        return curve;
    }

private:
    std::vector<int> counts = std::vector<int>(256 * 256);
    int total = 0;
};

// One round of weighted least squares over the knots; bends cost.
bool Refit(std::array<float, 256>& curve, Pairs const& pairs, float reach) {
    cv::Mat1d left(Knots, Knots, 0.0);
    cv::Mat1d right(Knots, 1, 0.0);
    pairs.ForEach([&](std::size_t now, std::size_t before, int count) {
        double const error = static_cast<double>((static_cast<float>(before) - curve[now]) / reach);
        if (std::abs(error) >= 1) return;
        double const weight = count * (1 - error * error) * (1 - error * error);
        int const knot = static_cast<int>(now) / KnotStep;
        double const part = static_cast<double>(now % KnotStep) / KnotStep;
        left(knot, knot) += weight * (1 - part) * (1 - part);
        left(knot, knot + 1) += weight * (1 - part) * part;
        left(knot + 1, knot) += weight * (1 - part) * part;
        left(knot + 1, knot + 1) += weight * part * part;
        right(knot, 0) += weight * (1 - part) * static_cast<double>(before);
        right(knot + 1, 0) += weight * part * static_cast<double>(before);
    });
    cv::Mat1d const bend = (cv::Mat1d(3, 1) << 1, -2, 1);
    for (int knot = 0; knot + 2 < Knots; ++knot) {
        left(cv::Rect(knot, knot, 3, 3)) += Stiffness * pairs.Total() * bend * bend.t();
    }
    cv::Mat1d heights;
    if (!cv::solve(left, right, heights, cv::DECOMP_CHOLESKY)) return false;
    float highest = 0;
    for (std::size_t now = 0; now < 256; ++now) {
        int const knot = static_cast<int>(now) / KnotStep;
        double const part = static_cast<double>(now % KnotStep) / KnotStep;
        double const height = (1 - part) * heights(knot, 0) + part * heights(knot + 1, 0);
        highest = std::clamp(static_cast<float>(height), highest, 255.0F);  // never falls
        curve[now] = highest;
    }
    return true;
}

// How one block's light has changed.
class BlockLight {
public:
    void Add(float now, float before, bool isSkipped) {
        ++count;
        sumNow += now;
        sumBefore += before;
        squaresNow += now * now;
        squaresBefore += before * before;
        products += now * before;
        float const ratio = (before + Ground) / (now + Ground);
        all.push_back(ratio);
        if (!isSkipped) valid.push_back(ratio);
    }

    struct Gain {
        float value;
        float trust;
    };

    bool HasTexture() const {
        return squaresBefore - sumBefore * sumBefore / count >=
               LeastDeviation * LeastDeviation * count;
    }

    bool HasNewTexture() const {
        return squaresNow - sumNow * sumNow / count >= LeastDeviation * LeastDeviation * count;
    }

    // How much the texture is that of before, -1 to 1.
    float Likeness() const {
        float const now = squaresNow - sumNow * sumNow / count;
        float const before = squaresBefore - sumBefore * sumBefore / count;
        float const both = products - sumNow * sumBefore / count;
        return now > 0 && before > 0 ? both / std::sqrt(now * before) : 0;
    }

    Gain Measure() {
        // What looks the same but for its light is background, whatever it was taken for; what
        // looks otherwise is an object.
        bool const isSame = HasTexture() && Likeness() > SameTexture;
        if (!isSame && (HasTexture() || HasNewTexture())) return {1, NoTrust};
        std::vector<float>& ratios = isSame ? all : valid;
        if (static_cast<float>(ratios.size()) < LeastValid * count) return {1, NoTrust};
        return {std::clamp(MedianOf(ratios), LeastGain, LargestGain),
                isSame ? TextureTrust : PlainTrust};
    }

private:
    float count = 0, sumNow = 0, sumBefore = 0, squaresNow = 0, squaresBefore = 0, products = 0;
    std::vector<float> all, valid;
};

// The median of those about each block that say something.
cv::Mat1f Evened(cv::Mat1f const& gains, cv::Mat1f const& trust) {
    constexpr int Around = 2;  // blocks to each side
    cv::Mat1f evened = gains.clone();
    std::vector<float> near;
    for (int y = 0; y < gains.rows; ++y) {
        for (int x = 0; x < gains.cols; ++x) {
            near.clear();
            for (int v = std::max(0, y - Around); v <= std::min(y + Around, gains.rows - 1); ++v) {
                for (int u = std::max(0, x - Around); u <= std::min(x + Around, gains.cols - 1);
                     ++u) {
                    if (trust(v, u) > NoTrust) near.push_back(gains(v, u));
                }
            }
            if (!near.empty()) evened(y, x) = MedianOf(near);
        }
    }
    return evened;
}

}  // namespace

Illumination::Curve Illumination::Straight() {
    Curve curve{};
    for (std::size_t i = 0; i < curve.size(); ++i) curve[i] = static_cast<float>(i);
    return curve;
}

void Illumination::FitCurve(cv::Mat1b const& now, cv::Mat1b const& before, cv::Mat1b const& skip) {
    Pairs const pairs(now, before, skip);
    curve = Straight();
    if (pairs.Total() == 0) return;
    float error = pairs.MedianError(curve);
    if (error > CloseEnough) {
        Curve const matched = pairs.MatchedHistograms();
        float const other = pairs.MedianError(matched);
        if (other < error) {
            curve = matched;
            error = other;
        }
    }
    for (int round = 0; round < Rounds; ++round) {
        if (!Refit(curve, pairs, std::max(LeastReach, Reach * error))) return;
        error = pairs.MedianError(curve);
    }
}

void Illumination::FitGains(cv::Mat1b const& now, cv::Mat1b const& before, cv::Mat1b const& skip) {
    cv::Size const blocks(std::max(1, now.cols / BlockSide), std::max(1, now.rows / BlockSide));
    cv::Mat1f measured(blocks);
    cv::Mat1f trust(blocks);
    int textured = 0;
    int alike = 0;
    for (int row = 0; row < blocks.height; ++row) {
        for (int column = 0; column < blocks.width; ++column) {
            BlockLight block;
            for (int y = row * BlockSide; y < std::min((row + 1) * BlockSide, now.rows); ++y) {
                for (int x = column * BlockSide; x < std::min((column + 1) * BlockSide, now.cols);
                     ++x) {
                    block.Add(curve[now(y, x)], static_cast<float>(before(y, x)), skip(y, x) != 0);
                }
            }
            if (block.HasTexture()) {
                ++textured;
                if (block.Likeness() > Recognizable) ++alike;
            }
            auto const gain = block.Measure();
            measured(row, column) = gain.value;
            trust(row, column) = gain.trust;
        }
    }
    recognized =
        textured >= FewTextured ? static_cast<float>(alike) / static_cast<float>(textured) : 1.0F;
    // Objects that nobody knows of yet are small; light is not. Blocks that say nothing take their
    // neighbours' gain.
    measured = Evened(measured, trust);
    cv::multiply(measured, trust, measured);
    cv::GaussianBlur(measured, measured, {5, 5}, 1);
    cv::GaussianBlur(trust, trust, {5, 5}, 1);
    cv::divide(measured, trust, gains);
    constexpr float Middle = 128;  // the grey level at which a gain is judged
    for (float& gain : gains) gain = 1 + Beyond(Middle * (gain - 1)) / Middle;
}

void Illumination::Estimate(cv::Mat1b const& picture, cv::Mat1b const& background,
                            cv::Mat1b const& foreground) {
    int const columns = std::min(picture.cols, SampleColumns);
    cv::Size const size(columns, std::max(1, picture.rows * columns / picture.cols));
    cv::Mat1b const now = SamplesOf(picture, size);
    cv::Mat1b const before = SamplesOf(background, size);
    cv::Mat1b skip = SamplesOf(foreground, size);
    cv::dilate(skip, skip, cv::Mat());
    if (cv::countNonZero(skip) > FloodShare * size.area()) skip = 0;

    cv::Mat1b corrected, change;
    auto const error = [&] {
        Undo(now, corrected);
        cv::absdiff(corrected, before, change);
        change.setTo(0, skip);
        return cv::mean(cv::min(change, Strange))[0];
    };
    curve = Straight();
    FitGains(now, before, skip);
    double const plain = error();
    // Gains alone where they do as well: a cloud over a light road is not a change of contrast.
    if (plain > GoodEnough) {
        cv::Mat1f const plainGains = gains.clone();
        float const plainRecognized = recognized;
        FitCurve(now, before, skip);
        FitGains(now, before, skip);
        if (error() > WorthACurve * plain) {
            curve = Straight();
            gains = plainGains;
            recognized = plainRecognized;
            error();
        }
    }
    auto const looked = static_cast<float>(std::max(1, size.area() - cv::countNonZero(skip)));
    unexplained = static_cast<float>(cv::countNonZero(change > Strange)) / looked;
    cv::absdiff(corrected, now, change);
    difference = static_cast<float>(cv::mean(change)[0]);
}

void Illumination::Undo(cv::Mat1b const& picture, cv::Mat1b& corrected) const {
    corrected.create(picture.size());
    std::array<int, 256> levels{};  // with 3 fractional bits, on the ground
    for (std::size_t i = 0; i < levels.size(); ++i) {
        auto const level = static_cast<float>(i);
        levels[i] = cvRound(8 * (level + Beyond(curve[i] - level) + Ground));
    }
    cv::Mat1f wide;
    cv::resize(gains, wide, {picture.cols, gains.rows}, 0, 0, cv::INTER_LINEAR);
    wide *= 4096;
    float const perRow = static_cast<float>(gains.rows) / static_cast<float>(picture.rows);
    for (int y = 0; y < picture.rows; ++y) {
        float const at = std::clamp((static_cast<float>(y) + 0.5F) * perRow - 0.5F, 0.0F,
                                    static_cast<float>(gains.rows - 1));
        int const above = static_cast<int>(at);
        float const part = at - static_cast<float>(above);
        float const* const upper = wide[above];
        float const* const lower = wide[std::min(above + 1, gains.rows - 1)];
        unsigned char const* const in = picture[y];
        unsigned char* const out = corrected[y];
        for (int x = 0; x < picture.cols; ++x) {
            int const gain = static_cast<int>(upper[x] + part * (lower[x] - upper[x]));
            int const level = ((levels[in[x]] * gain + (1 << 14)) >> 15) - Ground;
            out[x] = static_cast<unsigned char>(std::clamp(level, 0, 255));
        }
    }
}

}  // namespace kes::tracker
