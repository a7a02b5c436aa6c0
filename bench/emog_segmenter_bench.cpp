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

void Segmenter(benchmark::State& state, cv::Size size, std::string const& contentName) try {
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
    state.counters["per cell"] = {size.area() / 4.0, benchmark::Counter::kIsIterationInvariantRate |
                                                         benchmark::Counter::kInvert};
} catch (std::exception const& error) {
    state.SkipWithError(error.what());
}

[[maybe_unused]] bool const isRegistered = [] {
    for (cv::Size size : SegmenterSizes) {
        for (char const* content : SegmenterContents) {
            benchmark::RegisterBenchmark(SegmenterJob(size, content).c_str(), Segmenter, size,
                                         content)
                ->Unit(benchmark::kMicrosecond);
        }
    }
    return true;
}();

}  // namespace
}  // namespace kes::bench
