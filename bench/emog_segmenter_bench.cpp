#include <cstdint>
#include <memory>
#include <string>

#include <benchmark/benchmark.h>
#include <hwy/targets.h>

#include "bench/segmenter_contents.hpp"
#include "bench/segmenter_run.hpp"

namespace kes::bench {
namespace {

// Frames after which the masks are compared with those of the plain code.
constexpr std::size_t CheckedFrames = 3;

bool AgreesWithPlain(SegmenterRun run, Loop const& pictures) {
    SegmenterRun plain = run;
    for (std::size_t i = 0; i < CheckedFrames; ++i) {
        run.Process(pictures[i]);
        hwy::SetSupportedTargetsForTest(HWY_STATIC_TARGET);
        plain.Process(pictures[i]);
        hwy::SetSupportedTargetsForTest(0);
        if (run.foreground != plain.foreground || run.stationary != plain.stationary) return false;
    }
    return true;
}

void Segmenter(benchmark::State& state, char const* contentName) try {
    cv::Size const size(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
    std::unique_ptr<Content> const content = MakeContent(contentName, size);
    SegmenterRun run(size);
    for (std::size_t i = 0; i < WarmUpFrames; ++i) run.Process(content->Next());
    Loop const pictures(*content, LoopFrames);
    if (!AgreesWithPlain(run, pictures)) {
        state.SkipWithError("differs from the plain code");
        return;
    }
    std::size_t i = 0;
    for (auto _ : state) run.Process(pictures[i++]);
    state.SetItemsProcessed(static_cast<std::int64_t>(i) * size.area() / 4);  // cells
} catch (std::exception const& error) {
    state.SkipWithError(error.what());
}

void Sizes(benchmark::internal::Benchmark* benchmark) {
    benchmark->Args({768, 576})->Args({1920, 1080})->Args({3840, 2160});
    benchmark->Unit(benchmark::kMicrosecond);
}

BENCHMARK_CAPTURE(Segmenter, clip, "clip")->Apply(Sizes);
BENCHMARK_CAPTURE(Segmenter, noise, "noise")->Apply(Sizes);
BENCHMARK_CAPTURE(Segmenter, static, "static")->Apply(Sizes);
BENCHMARK_CAPTURE(Segmenter, crowd, "crowd")->Apply(Sizes);

}  // namespace
}  // namespace kes::bench
