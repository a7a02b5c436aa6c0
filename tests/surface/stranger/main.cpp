// Uses a piece of everything that the package installs. Exits 0 when each did its work.
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <sstream>
#include <stdexcept>
#include <string>

#include <kes/algorithm/tracking_base/emog_segmenter.hpp>
#include <kes/algorithm/tracking_base/label_collapser.hpp>
#include <kes/algorithm/tracking_base/smog.hpp>
#include <kes/algorithm/tracking_base/solve.hpp>
#include <kes/media/video/frame.hpp>
#include <kes/object/bad_cast.hpp>
#include <kes/version.hpp>

namespace {

using kes::media::ColourFormat;
using kes::media::video::FrameBase;
using kes::media::video::frame::Rotation;

int failures = 0;

void Check(bool ok, char const* what) {
    std::printf("%s: %s\n", ok ? "ok" : "FAILED", what);
    if (!ok) ++failures;
}

void MakeOneOfEach() {
    kes::algorithm::tracking_base::EmogSegmenter const segmenter;
    Check(segmenter.GetStationaryTime() == std::chrono::seconds(5), "a segmenter");
    std::ostringstream text;
    text << kes::algorithm::tracking_base::appearance::Smog();
    Check(text.str().rfind("{\"gaussians\":[", 0) == 0, "a model's text");
    kes::algorithm::tracking_base::LabelCollapser const collapser(
        {"car", "truck", "vehicle"}, [](boost::string_view) { return "vehicle"; });
    Check(collapser.Process(0) == 2, "labels collapse");
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
    MakeOneOfEach();
    CopyAnAllocatedFrame();
    CatchAcrossTheLibrarysEdge();
    PairRowsWithColumns();
    return failures == 0 ? 0 : 1;
}
