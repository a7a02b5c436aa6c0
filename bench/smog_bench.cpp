#include <sstream>
#include <string>

#include <benchmark/benchmark.h>

#include "bench/smog_scene.hpp"

namespace kes::bench {
namespace {

using algorithm::tracking_base::appearance::Smog;
using media::ColourFormat;

std::string TextOf(Smog const& smog) {
    std::ostringstream out;
    out << smog;
    return out.str();
}

constexpr int Samples = 1200;

// So many of "per sample" or "per cell" are in an iteration, whose time is divided by it.
benchmark::Counter Each(int count) {
    return {static_cast<double>(count),
            benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert};
}

void Score(benchmark::State& state, ColourFormat format) {
    SmogScene const scene(format);
    for (std::size_t i = 0; i < SmogScene::PictureCount; ++i) {
        if (scene.smog.ScoreBlob(scene.Blob, scene.mask, scene.Frame(i)) !=
            scene.plain.ScoreBlob(scene.Blob, scene.mask, scene.Frame(i))) {
            state.SkipWithError("differs from the plain code");
            return;
        }
    }
    std::size_t i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(scene.smog.ScoreBlob(scene.Blob, scene.mask, scene.Frame(i++)));
    }
    state.counters["per sample"] = Each(Samples);
}

void Update(benchmark::State& state, ColourFormat format) {
    SmogScene scene(format);
    if (TextOf(scene.smog) != scene.plain.Text()) {
        state.SkipWithError("differs from the plain code");
        return;
    }
    std::size_t i = 0;
    for (auto _ : state) scene.smog.Update(scene.Blob, scene.mask, scene.Frame(i++));
    state.counters["per sample"] = Each(Samples);
}

void Search(benchmark::State& state, ColourFormat format) {
    SmogScene const scene(format);
    if (scene.Search(0).score != scene.SearchPlainly(0).score) {
        state.SkipWithError("differs from the plain code");
        return;
    }
    std::size_t i = 0;
    for (auto _ : state) benchmark::DoNotOptimize(scene.Search(i++));
    state.counters["per cell"] = Each(scene.Cells.width * scene.Cells.height);
}

#define KES_EACH_FORMAT(function, job)                                                   \
    BENCHMARK_CAPTURE(function, rgb, ColourFormat::Rgb)->Name("Appearance/" job "/rgb"); \
    BENCHMARK_CAPTURE(function, yuv, ColourFormat::Yuv)->Name("Appearance/" job "/yuv"); \
    BENCHMARK_CAPTURE(function, nv12, ColourFormat::Nv12)->Name("Appearance/" job "/nv12")

KES_EACH_FORMAT(Score, "score");
KES_EACH_FORMAT(Update, "update");
KES_EACH_FORMAT(Search, "search");

}  // namespace
}  // namespace kes::bench
