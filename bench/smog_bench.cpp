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

constexpr std::int64_t Samples = 1200;

void Score(benchmark::State& state, ColourFormat format) {
    SmogScene const scene(format);
    auto const frame = scene.picture.View();
    float score = 0;
    for (auto _ : state) score = scene.smog.ScoreBlob(scene.Blob, scene.mask, frame);
    if (score != scene.plain.ScoreBlob(scene.Blob, scene.mask, frame)) {
        state.SkipWithError("differs from the plain code");
    }
    state.SetItemsProcessed(state.iterations() * Samples);
}

void Update(benchmark::State& state, ColourFormat format) {
    SmogScene scene(format);
    if (TextOf(scene.smog) != scene.plain.Text()) {
        state.SkipWithError("differs from the plain code");
        return;
    }
    auto const frame = scene.picture.View();
    for (auto _ : state) scene.smog.Update(scene.Blob, scene.mask, frame);
    state.SetItemsProcessed(state.iterations() * Samples);
}

void Search(benchmark::State& state, ColourFormat format) {
    SmogScene const scene(format);
    float score = 0;
    for (auto _ : state) score = scene.Search().score;
    if (score != scene.SearchPlainly().score) state.SkipWithError("differs from the plain code");
    state.SetItemsProcessed(state.iterations() * scene.Cells[0] * scene.Cells[1]);
}

#define KES_EACH_FORMAT(job)                                                         \
    BENCHMARK_CAPTURE(job, rgb, ColourFormat::Rgb)->Name("Appearance/" #job "/rgb"); \
    BENCHMARK_CAPTURE(job, yuv, ColourFormat::Yuv)->Name("Appearance/" #job "/yuv"); \
    BENCHMARK_CAPTURE(job, nv12, ColourFormat::Nv12)->Name("Appearance/" #job "/nv12")

KES_EACH_FORMAT(Score);
KES_EACH_FORMAT(Update);
KES_EACH_FORMAT(Search);

}  // namespace
}  // namespace kes::bench
