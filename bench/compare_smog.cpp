// The appearance model against its plain twin and against OpenCV's pieces for similar jobs: a
// colour histogram projected back, and eight colour ranges with an integral image each.
#include <array>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

#include <opencv2/imgproc.hpp>

#include "bench/compare.hpp"
#include "bench/smog_scene.hpp"

namespace kes::bench {
namespace {

using algorithm::tracking_base::appearance::BlobScore;
using media::ColourFormat;

// The peers get as many pixels as we have samples or cells, averaged beforehand.
cv::Mat RandomPixels(cv::Size size) {
    cv::Mat pixels(size, CV_8UC3);
    cv::RNG random(1);
    random.fill(pixels, cv::RNG::UNIFORM, 30, 210);
    return pixels;
}

// The share of an object's colours in each pixel's, and its mean.
class BackProjection {
public:
    explicit BackProjection(cv::Size size) : pixels(RandomPixels(size)) { Learn(); }

    void Learn() {
        std::array<int, 3> const bins{8, 8, 8};
        cv::calcHist(&pixels, 1, Channels.data(), cv::noArray(), histogram, 3, bins.data(),
                     ranges.data());
        cv::normalize(histogram, histogram, 0, 255, cv::NORM_MINMAX);
    }

    double Score() {
        cv::calcBackProject(&pixels, 1, Channels.data(), histogram, projection, ranges.data());
        return cv::mean(projection)[0];
    }

private:
    static constexpr std::array<int, 3> Channels{0, 1, 2};
    static constexpr std::array<float, 2> Range{0, 256};
    cv::Mat pixels;
    std::array<float const*, 3> ranges{Range.data(), Range.data(), Range.data()};
    cv::Mat histogram;
    cv::Mat projection;
};

// What a search over boxes would read its counts from.
class EightRanges {
public:
    explicit EightRanges(cv::Size size) : pixels(RandomPixels(size)) {}

    void Integrate() {
        for (std::size_t k = 0; k < integrals.size(); ++k) {
            auto const low = static_cast<double>(20 * k);
            cv::inRange(pixels, cv::Scalar::all(low), cv::Scalar::all(low + 60), inRange);
            cv::integral(inRange, integrals[k], CV_32S);
        }
    }

private:
    cv::Mat pixels;
    cv::Mat inRange;
    std::array<cv::Mat, 8> integrals;
};

bool AreSame(BlobScore const& a, BlobScore const& b) {
    return a.score == b.score && a.centre == b.centre && a.size == b.size && a.tag == b.tag;
}

}  // namespace

std::vector<Result> CompareSmogs(IsWanted const& isWanted) {
    struct Format {
        char const* name;
        ColourFormat format;
    };
    Plan const plan{15, 40};
    float volatile sink = 0;
    std::vector<Result> all;
    auto const run = [&](std::string const& job, std::vector<Contender> const& contenders) {
        if (!isWanted(job)) return;
        std::vector<Result> const results = RunContest(job, contenders, plan);
        Print(std::cout, results);
        all.insert(all.end(), results.begin(), results.end());
    };
    for (auto const& [name, format] :
         {Format{"rgb", ColourFormat::Rgb}, Format{"yuv", ColourFormat::Yuv},
          Format{"nv12", ColourFormat::Nv12}}) {
        SmogScene scene(format);
        BackProjection projection({20, 60});
        EightRanges ranges(
            {static_cast<int>(scene.Cells.width), static_cast<int>(scene.Cells.height)});
        run(std::string("Appearance/score/") + name,
            {{"ours",
              [&](std::size_t i) {
                  sink = scene.smog.ScoreBlob(scene.Blob, scene.mask, scene.Frame(i));
              }},
             {"ours, plain",
              [&](std::size_t i) {
                  sink = scene.plain.ScoreBlob(scene.Blob, scene.mask, scene.Frame(i));
              }},
             {"OpenCV back-projection",
              [&](std::size_t) { sink = static_cast<float>(projection.Score()); }}});
        run(std::string("Appearance/update/") + name,
            {{"ours",
              [&](std::size_t i) { scene.smog.Update(scene.Blob, scene.mask, scene.Frame(i)); }},
             {"ours, plain",
              [&](std::size_t i) { scene.plain.Update(scene.Blob, scene.mask, scene.Frame(i)); }},
             {"OpenCV histogram", [&](std::size_t) { projection.Learn(); }}});
        run(std::string("Appearance/search/") + name,
            {{"ours", [&](std::size_t i) { sink = scene.Search(i).score; }},
             {"ours, plain", [&](std::size_t i) { sink = scene.SearchPlainly(i).score; }},
             {"OpenCV eight ranges, integrals", [&](std::size_t) { ranges.Integrate(); }}});
        // The contests have taught both models the same.
        for (std::size_t i = 0; i < SmogScene::PictureCount; ++i) {
            if (!AreSame(scene.Search(i), scene.SearchPlainly(i)) ||
                scene.smog.ScoreBlob(scene.Blob, scene.mask, scene.Frame(i)) !=
                    scene.plain.ScoreBlob(scene.Blob, scene.mask, scene.Frame(i))) {
                throw std::runtime_error("ours and the plain appearance model differ");
            }
        }
    }
    return all;
}

}  // namespace kes::bench
