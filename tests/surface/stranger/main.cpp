// Uses a piece of everything that the package installs. Exits 0 when each did its work.
#include <cstdint>
#include <cstdio>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <kes/algorithm/bit_mask.hpp>
#include <kes/algorithm/tracking_base/detection_point.hpp>
#include <kes/algorithm/tracking_base/emog_segmenter.hpp>
#include <kes/algorithm/tracking_base/label_collapser.hpp>
#include <kes/algorithm/tracking_base/smog.hpp>
#include <kes/algorithm/tracking_base/solve.hpp>
#include <kes/media/video/frame.hpp>
#include <kes/object/bad_cast.hpp>
#include <kes/version.hpp>

namespace {

using kes::algorithm::BitMask;
using kes::media::ColourFormat;
using kes::media::video::FrameBase;
using kes::media::video::frame::Rotation;

int failures = 0;

void Check(bool ok, char const* what) {
    std::printf("%s: %s\n", ok ? "ok" : "FAILED", what);
    if (!ok) ++failures;
}

FrameBase<void const> Grey(std::vector<unsigned char> const& pixels, unsigned width,
                           unsigned height) {
    FrameBase<void const>::Planes planes{};
    planes[0] = {pixels.size(), pixels.data(), static_cast<long>(width)};
    return {planes, ColourFormat::Grey, width, height, {}, Rotation::None};
}

void SegmentABrightSquare() {
    constexpr unsigned Width = 96, Height = 64;
    BitMask none{Width / 2, Height / 2, {}};
    none.words.resize((none.width + 31) / 32 * none.height);
    BitMask foreground = none, stationary = none;
    std::vector<unsigned char> pixels(Width * Height, 90);

    kes::algorithm::tracking_base::EmogSegmenter segmenter;
    auto const process = [&] {
        segmenter.Process(Grey(pixels, Width, Height), none.words.data(), none.words.data(),
                          none.words.data(), foreground.words.data(), stationary.words.data());
    };
    for (int i = 0; i < 20; ++i) process();
    Check(foreground.words == none.words, "a still scene is background");
    for (unsigned y = 20; y < 40; ++y) {
        for (unsigned x = 30; x < 60; ++x) pixels[y * Width + x] = 200;
    }
    process();
    Check(foreground.words != none.words, "a new object is foreground");
    Check(stationary.words == none.words, "and not yet stationary");
}

void LearnAnAppearance() {
    constexpr unsigned Width = 40, Height = 60;
    std::vector<unsigned char> pixels;
    for (unsigned i = 0; i < Width * Height; ++i) pixels.insert(pixels.end(), {180, 30, 40});
    FrameBase<void const>::Planes planes{};
    planes[0] = {pixels.size(), pixels.data(), 3 * static_cast<long>(Width)};
    FrameBase<void const> const frame(planes, ColourFormat::Rgb, Width, Height, {}, Rotation::None);
    BitMask mask{Width / 2, Height / 2, {}};
    mask.words.resize((mask.width + 31) / 32 * mask.height, ~0U);

    kes::algorithm::tracking_base::appearance::Smog smog;
    smog.Update({0, 0, 20, 30}, mask, frame);
    Check(smog.ScoreBlob({0, 0, 20, 30}, mask, frame) > 0.9F, "an appearance is known again");
    Check(
        smog.PartitionAndScoreBlob({0, 0, 20, 30}, 7, mask, frame, {10, 15}, {8, 12}).score > 0.9F,
        "and found in a larger blob");
    std::ostringstream text;
    text << smog;
    Check(text.str().rfind("{\"gaussians\":[{\"means\":[184,30,83,", 0) == 0, "a model's text");
}

void CopyAnAllocatedFrame() {
    FrameBase<void> frame(ColourFormat::Nv12, 33, 17, {}, Rotation::None);
    FrameBase<void> const copy = frame;
    frame = FrameBase<void>();
    std::ostringstream text;
    text << copy;
    Check(text.str().find(R"("colour_format":"nv12","width":33)") != std::string::npos,
          "a frame's text");
}

void CatchAcrossTheLibrarysEdge() {
    try {
        FrameBase<void> const frame(static_cast<ColourFormat>(9), 8, 8, {}, Rotation::None);
        Check(false, "an unknown format is refused");
    } catch (std::invalid_argument const& error) {
        Check(error.what() == std::string("Unsupported colour format"), error.what());
    }
    try {
        throw kes::object::BadCast("a message of its own");
    } catch (std::bad_cast const& error) {
        Check(error.what() == std::string("a message of its own"), "BadCast keeps its message");
    }
}

void CollapseLabels() {
    kes::algorithm::tracking_base::LabelCollapser const collapser(
        {"car", "truck", "vehicle"}, [](boost::string_view) { return "vehicle"; });
    Check(collapser.Process(0) == 2 && collapser.Process(1) == 2, "labels collapse");
    using kes::algorithm::tracking_base::DetectionPoint;
    Check(kes::type::Strings<DetectionPoint>::GetMap().at(2) == "mid-bottom", "a point's name");
}

// Eigen's memory comes from and goes back to this program, whatever flags it is compiled with.
void PairRowsWithColumns() {
    namespace hungarian = kes::algorithm::tracking_base::hungarian;
    Eigen::Array<float, Eigen::Dynamic, Eigen::Dynamic> costs(3, 3);
    costs << 4, 1, 3, 2, 0, 5, 3, 2, 2;
    for (int round = 0; round < 100; ++round) {
        Eigen::Array<std::uint8_t, Eigen::Dynamic, Eigen::Dynamic> marks = hungarian::Solve(costs);
        if (round == 0) {
            Check(marks.count() == 3 && marks(0, 1) == 1 && marks(1, 0) == 1 && marks(2, 2) == 1,
                  "an assignment");
        }
        marks.resize(marks.rows() + round, 7);
    }
    auto* const address = &hungarian::Solve;
    Check(address(costs.leftCols(0)).size() == 0, "an empty matrix, by the function's address");
}

#ifdef PACKAGE_VERSION  // as find_package found it
void CompareVersions() {
    Check(std::string(kes::VersionString) == PACKAGE_VERSION, "headers of the package's version");
    static_assert(KES_VERSION >= 1000000 && kes::VersionMajor == KES_VERSION_MAJOR);
}
#else
void CompareVersions() {}
#endif

}  // namespace

int main() {
    CompareVersions();
    SegmentABrightSquare();
    LearnAnAppearance();
    CopyAnAllocatedFrame();
    CatchAcrossTheLibrarysEdge();
    CollapseLabels();
    PairRowsWithColumns();
    return failures == 0 ? 0 : 1;
}
