// Lines and zones: who counts, and how often.

#include <kes/tracker/counter.hpp>

#include <cmath>
#include <iomanip>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace kes::tracker {
namespace {

// 20 pixels high, so that an object is on the other side of a line 2 pixels beyond it.
Object Standing(int id, float x, float y) {
    return {id, {x - 5, y - 20, x + 5, y}, Kind::Mover, Visibility::Visible, true, false, 1, 0};
}

constexpr double SecondsAFrame = 0.1;

// What is counted of objects that are at their paths' points in frame after frame; at NaN they are
// not among the objects. For example "0.5 #1 >0": to the right of line 0.
std::string Count(std::vector<std::vector<float>> const& pathsOfX, std::vector<Line> lines,
                  std::vector<Zone> zones, float y = 50) {
    Counter counter(std::move(lines), std::move(zones));
    std::ostringstream text;
    text << std::fixed << std::setprecision(1);
    auto const tell = [&](std::vector<CountEvent> const& events) {
        char const* const signs[] = {"<", ">", "in ", "appeared ", "out ", "vanished "};
        for (CountEvent const& event : events) {
            text << (text.tellp() > 0 ? ", " : "") << event.time << " #" << event.id << ' '
                 << signs[static_cast<int>(event.type)] << event.index;
            if (event.dwell > 0) text << " for " << event.dwell;
        }
    };
    for (std::size_t frame = 0; frame < pathsOfX[0].size(); ++frame) {
        std::vector<Object> objects;
        for (std::size_t i = 0; i < pathsOfX.size(); ++i) {
            float const x = pathsOfX[i][frame];
            if (!std::isnan(x)) objects.push_back(Standing(static_cast<int>(i) + 1, x, y));
        }
        tell(counter.Process(objects, static_cast<double>(frame) * SecondsAFrame));
    }
    tell(counter.Finish());
    return text.str();
}

// From one x to the next in even steps of a frame each, that many frames.
std::vector<float> Path(std::vector<std::pair<float, int>> const& parts) {
    std::vector<float> path{parts[0].first};
    for (auto const& [x, frames] : parts) {
        float const from = path.back();
        for (int i = 1; i <= frames; ++i) {
            path.push_back(from + (x - from) * static_cast<float>(i) / static_cast<float>(frames));
        }
    }
    return path;
}

constexpr float Gone = NAN;

TEST(Counter, CountsCrossingsOnceEach) {
    // Upwards through x = 100: its right is where x grows.
    std::vector<Line> const line{{"door", {100, 90}, {100, 10}}};
    std::vector<float> tremble;
    for (int i = 0; i < 60; ++i) tremble.push_back(100 + (i % 2 == 0 ? 1.9F : -1.9F));
    std::vector<float> const behindAPillar{80, 85, 90, Gone, Gone, Gone, 110, 115, 120};
    struct {
        char const* name;
        std::vector<float> path;
        char const* counted;
        float y = 50;
    } const cases[] = {
        {"to the right", Path({{80, 1}, {120, 40}}), "2.4 #1 >0"},
        {"to the left", Path({{120, 1}, {80, 40}}), "2.4 #1 <0"},
        {"there and back, later", Path({{80, 1}, {120, 20}, {120, 30}, {80, 20}}),
         "1.3 #1 >0, 6.3 #1 <0"},
        {"back before it has settled", Path({{80, 1}, {110, 15}, {80, 15}}), ""},
        {"trembles on it", tremble, ""},
        {"trembles on it, then goes on", Path({{80, 1}, {101, 10}, {99, 10}, {101, 10}, {130, 9}}),
         "3.2 #1 >0"},
        {"begins on it", Path({{100, 20}, {140, 20}}), ""},
        {"ends right behind it", Path({{80, 1}, {106, 13}}), "1.3 #1 >0"},
        {"passes above its end", Path({{80, 1}, {120, 40}}), "", 5},
        {"is not seen on it", behindAPillar, "0.6 #1 >0"},
    };
    for (auto const& c : cases) EXPECT_EQ(Count({c.path}, line, {}, c.y), c.counted) << c.name;
}

// Two who meet on either side of the line and bear each other's number for a moment.
TEST(Counter, CountsNoExchangeThatIsPutRight) {
    std::vector<float> a(40, 90), b(40, 110);
    for (std::size_t i = 15; i < 22; ++i) std::swap(a[i], b[i]);
    EXPECT_EQ(Count({a, b}, {{"door", {100, 90}, {100, 10}}}, {}), "");
}

TEST(Counter, CountsVisitsToZones) {
    std::vector<Zone> const zone{{"hall", {{100, 0}, {200, 0}, {200, 90}, {100, 90}}}};
    std::vector<Zone> const narrow{{"gate", {{100, 0}, {103, 0}, {103, 90}, {100, 90}}}};
    struct {
        char const* name;
        std::vector<Zone> zones;
        std::vector<float> path;
        char const* counted;
    } const cases[] = {
        {"in and out", zone, Path({{90, 1}, {150, 20}, {150, 20}, {210, 20}}),
         "0.6 #1 in 0, 5.9 #1 out 0 for 5.3"},
        {"was there", zone, Path({{150, 20}, {210, 20}}),
         "0.0 #1 appeared 0, 3.8 #1 out 0 for 3.8"},
        {"stays", zone, Path({{90, 1}, {150, 20}, {150, 20}}),
         "0.6 #1 in 0, 4.1 #1 vanished 0 for 3.5"},
        {"just looks in", zone, Path({{90, 1}, {104, 5}, {90, 5}}), ""},
        {"looks out", zone, Path({{150, 20}, {204, 20}, {150, 20}}),
         "0.0 #1 appeared 0, 6.0 #1 vanished 0 for 6.0"},
        {"stands in a narrow one", narrow, Path({{80, 1}, {101.5F, 10}, {101.5F, 30}}),
         "1.1 #1 in 0, 4.1 #1 vanished 0 for 3.0"},
        {"goes by", zone, Path({{20, 1}, {90, 30}}), ""},
    };
    for (auto const& c : cases) EXPECT_EQ(Count({c.path}, {}, c.zones), c.counted) << c.name;
}

TEST(Counter, KnowsWhoIsInside) {
    Counter counter({}, {{"hall", {{100, 0}, {200, 0}, {200, 90}, {100, 90}}}});
    for (int i = 0; i <= 20; ++i) {
        Object still = Standing(2, 150, 50);
        still.kind = Kind::StaticObject;
        Object doubtful = Standing(3, 150, 50);
        doubtful.isConfirmed = false;
        counter.Process({Standing(7, 150, 50), still, doubtful, Standing(4, 160, 50)}, 0.1 * i);
    }
    EXPECT_EQ(counter.Inside(0), (std::vector<int>{4, 7}));
    auto const events = counter.Process({Standing(4, 160, 50)}, 7.1);
    ASSERT_EQ(events.size(), 1U);
    EXPECT_EQ(events[0].id, 7);
    EXPECT_EQ(counter.Inside(0), (std::vector<int>{4}));
}

TEST(Counter, RefusesWhatCannotBeCounted) {
    using Zones = std::vector<Zone>;
    EXPECT_THROW(Counter({{"dot", {1, 1}, {1, 1}}}, {}), std::invalid_argument);
    EXPECT_THROW(Counter({{"far", {1, 1}, {INFINITY, 1}}}, {}), std::invalid_argument);
    EXPECT_THROW(Counter({}, Zones{{"edge", {{1, 1}, {2, 2}}}}), std::invalid_argument);
    EXPECT_THROW(Counter({}, {}, {.settlingTime = -1}), std::invalid_argument);
    Counter counter({}, {});
    counter.Process({}, 2);
    EXPECT_THROW(counter.Process({}, 1), std::invalid_argument);
}

}  // namespace
}  // namespace kes::tracker
