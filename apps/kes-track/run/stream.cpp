#include "run/stream.hpp"

#include <algorithm>
#include <cmath>
#include <deque>
#include <filesystem>
#include <set>
#include <system_error>
#include <utility>

#include <kes/tracker/tracker.hpp>

#include "base/failure.hpp"
#include "base/format.hpp"
#include "run/outputs.hpp"
#include "video/mask_image.hpp"

namespace kes::track::run {
namespace {

using Clock = std::chrono::steady_clock;

// Adds the time that `work` takes.
template <typename Work>
auto Timed(std::chrono::nanoseconds& total, Work const& work) {
    auto const start = Clock::now();
    if constexpr (std::is_void_v<decltype(work())>) {
        work();
        total += Clock::now() - start;
    } else {
        auto result = work();
        total += Clock::now() - start;
        return result;
    }
}

// A recorded clip can be read a second time.
bool IsRecorded(std::string const& input) {
    std::error_code error;
    return std::filesystem::is_regular_file(input, error);
}

void WarmUp(StreamOptions const& options, tracker::Tracker& tracker, StreamReport& report,
            std::function<void(Advance const&)> const& advance) {
    video::ReadOptions read = options.read;
    read.duration = read.duration ? std::min(*read.duration, options.warmUp) : options.warmUp;
    video::Reader survey(options.input, read);
    while (auto const picture = survey.Next()) tracker.Survey(picture->frame);
    video::Reader reader(options.input, read);
    while (auto const picture = reader.Next()) {
        tracker.Process(picture->frame);
        ++report.warmUpFrames;
        advance({reader.Info().length, picture->time - read.start, report.warmUpFrames, true});
    }
    tracker.ForgetObjects();
}

// Pictures that are drawn on wait in memory for their results.
void RefuseToHoldTooMuch(Outputs const& outputs, video::ClipInfo const& clip, std::size_t latency) {
    constexpr double MostBytes = 2e9;
    double const bytes = 1.5 * clip.size.width * clip.size.height;
    if (!outputs.AreDrawn() || static_cast<double>(latency) * bytes <= MostBytes) return;
    throw Failure(ExitCode::BadUsage,
                  "--latency is too long for what is drawn: at most " +
                      FormatNumber(std::floor(MostBytes / bytes / clip.frameRate), 0) +
                      " s of such pictures can wait");
}

// Counts what comes out, each object once.
class Census {
public:
    explicit Census(StreamReport& report) : report(report) {}

    void Count(tracker::Result const& result) {
        report.events += result.events.size();
        for (tracker::Object const& object : result.objects) {
            if (object.id <= highest) continue;
            if (!known.insert(object.id).second) continue;
            ++(object.kind == tracker::Kind::StaticObject ? report.staticObjects : report.objects);
        }
        // Numbers rise, so that old ones need not be remembered for ever.
        while (known.size() > Most) {
            highest = *known.begin();
            known.erase(known.begin());
        }
    }

private:
    static constexpr std::size_t Most = 10'000;

    StreamReport& report;
    std::set<int> known;
    int highest = 0;
};

}  // namespace

tracker::Options TrackerOptions(StreamOptions const& options, video::ClipInfo const& clip) {
    SegmenterOptions const& foreground = options.foreground;
    CheckTimes(foreground, clip.frameRate);
    auto const mask = [&](std::optional<std::string> const& image) {
        return image ? video::ReadMask(*image, clip.size) : algorithm::BitMask{};
    };
    tracker::Options settings = options.tracker;
    settings.framesPerSecond = clip.frameRate;
    settings.threshold = foreground.threshold;
    settings.thresholdFactor = foreground.thresholdFactor;
    settings.stationaryTime = Seconds(foreground.stationaryTime);
    settings.holdOnTime = Seconds(foreground.holdOnTime);
    settings.exclude = mask(foreground.excludeImage);
    settings.freeze = mask(foreground.freezeImage);
    settings.reset = mask(foreground.resetImage);
    return settings;
}

StreamReport RunStream(StreamOptions const& options,
                       std::function<void(Advance const&)> const& advance) {
    StreamReport report;
    report.input = options.input;
    video::Reader reader(options.input, options.read);
    report.clip = reader.Info();
    tracker::Tracker tracker(TrackerOptions(options, report.clip));
    std::optional<Detections> detections;
    if (options.detections) detections.emplace(*options.detections);
    Outputs outputs(options, report.clip, detections ? &*detections : nullptr);
    report.isWritten = outputs.AreAny();

    if (!detections && options.warmUp.count() > 0 && IsRecorded(options.input)) {
        Timed(report.inWarmUp, [&] { WarmUp(options, tracker, report, advance); });
    }

    auto const framesIn = [&](std::chrono::nanoseconds time) {
        return static_cast<std::size_t>(std::llround(Seconds(time) * report.clip.frameRate));
    };
    RefuseToHoldTooMuch(outputs, report.clip, framesIn(options.latency));
    tracker::FixedLagSmoother smoother(framesIn(options.latency), framesIn(options.smoothing));
    std::deque<video::Picture> waiting;  // for their results
    Census census(report);
    auto const write = [&](tracker::Result const& result) {
        Timed(report.writing, [&] { outputs.Write(waiting.front(), result); });
        waiting.pop_front();
        census.Count(result);
    };
    auto const work = [&] {
        while (auto picture = Timed(report.reading, [&] { return reader.Next(); })) {
            ++report.frames;
            auto result = Timed(report.tracking, [&] {
                return detections
                           ? tracker.Process(picture->frame, detections->At(picture->index + 1))
                           : tracker.Process(picture->frame);
            });
            advance({report.clip.length, picture->time - options.read.start, report.frames, false});
            if (!outputs.AreDrawn()) picture->frame = video::Frame();  // gives its memory back
            waiting.push_back(std::move(*picture));
            if (auto const ready = smoother.Push(std::move(result))) write(*ready);
        }
        while (auto const ready = smoother.Pop()) write(*ready);
    };
    Salvaging(work, [&] { Timed(report.writing, [&] { outputs.Close(); }); });
    report.scaledFrames = reader.Unlike();
    report.fault = reader.Fault();
    return report;
}

}  // namespace kes::track::run
