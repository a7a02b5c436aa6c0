// Any text as a detector's boxes and, before a form feed, as the labels that they bear: one line of
// refusal, or objects that a tracker follows within small frames.
#include <cmath>
#include <sstream>

#include "base/failure.hpp"
#include "memory_file.hpp"
#include "mot/mot_text.hpp"
#include "run/detections.hpp"

namespace {

using kes::fuzz::Check;
using kes::tracker::Box;
using Frame = kes::tracker::Frame;

constexpr unsigned int Width = 64;
constexpr unsigned int Height = 48;
constexpr std::uint64_t Frames = 12;

bool IsWithin(Box const& box) {
    return box.left >= 0 && box.top >= 0 && box.right <= Width && box.bottom <= Height &&
           box.right > box.left && box.bottom > box.top;
}

void CheckWrites(std::string const& text) {
    std::istringstream in(text);
    for (auto const& row : kes::mot::Parse(in, "boxes")) {
        Check(row.frame >= 1 && row.id >= -1 && std::isfinite(row.confidence), "numbers");
        std::ostringstream out;
        kes::mot::Write(out, row);
        Check(!out.str().empty() && out.str().back() == '\n', "a row is one line");
    }
}

void Follow(kes::track::run::Detections const& detections) {
    using Plane = kes::media::video::frame::PlaneBase<void const>;
    static std::uint8_t pixels[Width * Height * 3 / 2];
    Frame const frame({Plane{Width * Height, pixels, Width},
                       Plane{Width * Height / 2, pixels + Width * Height, Width}},
                      kes::media::ColourFormat::Nv12, Width, Height, {}, {});
    kes::tracker::Tracker tracker({});
    for (std::uint64_t number = 1; number <= Frames; ++number) {
        for (auto const& object : tracker.Process(frame, detections.At(number)).objects) {
            Check(object.id > 0 && std::isfinite(object.confidence), "an object");
            Check(IsWithin(object.box), "a box in the frame");
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    std::string const text(reinterpret_cast<char const*>(data), size);
    auto const formFeed = text.find('\f');
    bool const hasLabels = formFeed != std::string::npos;
    std::string const boxes = hasLabels ? text.substr(formFeed + 1) : text;
    kes::fuzz::MemoryFile const labelsFile(hasLabels ? text.substr(0, formFeed) : "");
    kes::fuzz::MemoryFile const boxesFile(boxes);
    kes::track::run::DetectionOptions options{boxesFile.Path(), 0.5F, std::nullopt};
    if (hasLabels) options.labels = labelsFile.Path();
    try {
        Follow(kes::track::run::Detections(options));
        CheckWrites(boxes);
    } catch (kes::track::Failure const& failure) {
        Check(failure.Code() == kes::track::ExitCode::BadSideInput, "the exit code");
        Check(std::string(failure.what()).find(": ") != std::string::npos, "the file and why");
    }
    return 0;
}
