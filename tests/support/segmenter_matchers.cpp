#include "support/segmenter_matchers.hpp"

#include <bit>
#include <iomanip>
#include <sstream>

namespace kes::test {
namespace {

using algorithm::tracking_base::EmogSegmenter;
using Record = SecondSegmenter::Record;

// A line for each slot: count, then mean +- deviation of the three features.
void Draw(std::ostream& out, char const* title, Record const& record) {
    out << title << '\n';
    for (std::size_t i = 0; i < record.size(); ++i) {
        char const* const before = i % 7 == 0 ? "  age " : i % 7 % 2 == 1 ? "  " : " +- ";
        out << before << std::setw(5) << record[i] << (i % 7 == 6 ? "\n" : "");
    }
}

}  // namespace

testing::AssertionResult SameModel(SecondSegmenter const& expected,
                                   EmogSegmenter::Impl const& actual) {
    if (actual.frameCount != expected.framesSeen) {
        return testing::AssertionFailure()
               << "frameCount is " << actual.frameCount << ", not " << expected.framesSeen;
    }
    if (actual.blobStateSize[0] != expected.width || actual.blobStateSize[1] != expected.height ||
        static_cast<std::size_t>(actual.blobState.cols()) != expected.width ||
        static_cast<std::size_t>(actual.blobState.rows()) != expected.height) {
        return testing::AssertionFailure() << "the model is not of the frame's half size";
    }
    for (std::size_t y = 0; y < expected.height; ++y) {
        for (std::size_t x = 0; x < expected.width; ++x) {
            Record const wanted = expected.RecordOf(x, y);
            auto const found = std::bit_cast<Record>(
                actual.blobState(static_cast<Eigen::Index>(y), static_cast<Eigen::Index>(x)));
            if (found == wanted) continue;
            std::ostringstream text;
            text << "cell (" << x << ", " << y << ") differs\n";
            Draw(text, "wanted", wanted);
            Draw(text, "found", found);
            return testing::AssertionFailure() << text.str();
        }
    }
    return testing::AssertionSuccess();
}

}  // namespace kes::test
