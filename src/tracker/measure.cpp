#include "tracker/measure.hpp"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <vector>

#include <kes/tracker/tracker.hpp>

namespace kes::tracker {
namespace {

constexpr float MarginX = 0.4F;   // looked at beyond the pose's box, of its width
constexpr float MarginY = 0.3F;   // of its height
constexpr float ThinEnd = 0.15F;  // of the fullest row or column
constexpr int Gap = 4;            // cells without the object
constexpr int Least = 3;          // cells each way

struct Extent {
    int first;
    int end;
};

// About the fullest count, as far as counts are not thin; what lies beyond a gap is another
// object's.
Extent ExtentOf(std::vector<int> const& counts) {
    auto const fullest = std::max_element(counts.begin(), counts.end());
    float const least = std::max(1.0F, ThinEnd * static_cast<float>(*fullest));
    auto const reach = [&](auto from, auto end) {
        int length = 0;
        int thin = 0;
        for (auto it = from; it != end && thin < Gap; ++it) {
            bool const isThin = static_cast<float>(*it) < least;
            thin = isThin ? thin + 1 : 0;
            if (!isThin) length = static_cast<int>(it - from) + 1;
        }
        return length;
    };
    auto const middle = static_cast<int>(fullest - counts.begin());
    return {middle - reach(std::make_reverse_iterator(fullest), counts.rend()),
            middle + reach(fullest, counts.end())};
}

}  // namespace

std::optional<Pose> Measure(Pose const& pose, cv::Mat1b const& foreground) {
    Box const box = BoxOf(pose);
    int const x0 = std::max(0, static_cast<int>(box.left - MarginX * pose.width));
    int const x1 = std::min(foreground.cols, static_cast<int>(box.right + MarginX * pose.width));
    int const y0 = std::max(0, static_cast<int>(box.top - MarginY * pose.height));
    int const y1 = std::min(foreground.rows, static_cast<int>(box.bottom + MarginY * pose.height));
    return MeasureIn({x0, y0, std::max(0, x1 - x0), std::max(0, y1 - y0)}, foreground);
}

std::optional<Pose> MeasureIn(cv::Rect const& area, cv::Mat1b const& foreground) {
    if (area.width < Least || area.height < Least) return std::nullopt;
    std::vector<int> rows(static_cast<std::size_t>(area.height));
    std::vector<int> columns(static_cast<std::size_t>(area.width));
    for (int y = 0; y < area.height; ++y) {
        for (int x = 0; x < area.width; ++x) {
            if (foreground(area.y + y, area.x + x) == 0) continue;
            ++rows[static_cast<std::size_t>(y)];
            ++columns[static_cast<std::size_t>(x)];
        }
    }
    Extent const down = ExtentOf(rows);
    Extent const across = ExtentOf(columns);
    int const width = across.end - across.first;
    int const height = down.end - down.first;
    if (width < Least || height < Least) return std::nullopt;
    return Pose{static_cast<float>(area.x + across.first) + static_cast<float>(width) / 2,
                static_cast<float>(area.y + down.end), static_cast<float>(width),
                static_cast<float>(height)};
}

}  // namespace kes::tracker
