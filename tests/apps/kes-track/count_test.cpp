// Lines and zones: how they are spelt, and what the table of minutes says.

#include <cstddef>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "base/failure.hpp"
#include "count/gates.hpp"
#include "count/tally.hpp"
#include "support/folder.hpp"

namespace kes::track::count {
namespace {

using test::Folder;

TEST(Gates, AreReadAsTheyAreSpelt) {
    auto const line = ParseLine("gate: 2:10,-20.5,30,40");
    ASSERT_TRUE(line);
    EXPECT_EQ(line->name, "gate: 2");
    EXPECT_EQ(line->from, (tracker::Point{10, -20.5F}));
    EXPECT_EQ(line->to, (tracker::Point{30, 40}));
    auto const zone = ParseZone("hall:1,2,3,4,5,7,8,9");
    ASSERT_TRUE(zone);
    ASSERT_EQ(zone->corners.size(), 4U);
    EXPECT_EQ(zone->corners[3], (tracker::Point{8, 9}));
    for (char const* text : {"", "door", "door:", ":1,2,3,4", "door:1,2,3", "door:1,2,3,4,5,6",
                             "door:1,2,1,2", "door:1,2,3,x", "door:1,2,3,4,", "door:1,2,3,4,5", "door:1,2,3,1e99"}) {
        EXPECT_FALSE(ParseLine(text)) << text;
    }
    for (char const* text : {"hall:1,2,3,4", "hall:1,2,3,4,5", "hall:1,2,3,4,5,"}) {
        EXPECT_FALSE(ParseZone(text)) << text;
    }
}

TEST(Gates, ComeFromAFile) {
    Folder const folder;
    std::string const file = folder / "gates.json";
    auto const read = [&](char const* text) {
        test::WriteFile(file, text);
        Gates gates{{{"given", {0, 0}, {1, 1}}}, {}};
        ReadGates(file, gates);
        return gates;
    };
    auto const gates = read(R"({"lines": [{"name": "a", "from": [1, 2], "to": [3, 4]}],
                                "zones": [{"name": "b", "corners": [[0, 0], [9, 0], [9, 9]]}]})");
    ASSERT_EQ(gates.lines.size(), 2U);
    EXPECT_EQ(gates.lines[1].name, "a");
    EXPECT_EQ(gates.lines[1].to, (tracker::Point{3, 4}));
    ASSERT_EQ(gates.zones.size(), 1U);
    EXPECT_EQ(gates.zones[0].corners[2], (tracker::Point{9, 9}));
    for (char const* text : {"", "[]", R"({"lines": [{"name": "a", "from": [1, 2]}]})",
                             R"({"lines": [{"name": "a", "from": [1, 2], "to": [1, 2]}]})",
                             R"({"lines": [{"name": "a", "from": [1, 2, 3], "to": [3, 4]}]})",
                             R"({"zones": [{"name": "b", "corners": [[0, 0], [9, 0]]}]})"}) {
        EXPECT_THROW(read(text), Failure) << text;
    }
    Gates nothing;
    EXPECT_THROW(ReadGates(folder / "none.json", nothing), Failure);
    EXPECT_THROW(RequireDistinctNames({{{"a", {0, 0}, {1, 1}}}, {{"a", {}}}}), Failure);
}

TEST(Tally, WritesARowAMinuteForEach) {
    Folder const folder;
    Tally tally({{{"the \"door\"", {100, 90}, {100, 10}}},
                 {{"hall", {{100, 0}, {200, 0}, {200, 90}, {100, 90}}}}},
                folder / "counts.csv");
    // Comes in through the door at 50 s, stays for a minute, and goes.
    for (int second = 0; second <= 130; ++second) {
        float const x = second >= 50 && second < 110 ? 150.0F : 80.0F;
        tally.Process({{1,
                        {x - 5, 30, x + 5, 50},
                        tracker::Kind::Mover,
                        tracker::Visibility::Visible,
                        true,
                        false,
                        1,
                        0}},
                      second);
    }
    EXPECT_EQ(tally.Lines()[0].toRight, 1U);
    EXPECT_EQ(tally.Zones()[0].Inside(), 0U);
    tally.Finish();
    tally.Close();
    EXPECT_EQ(test::ReadFile(folder / "counts.csv"),
              "minute,name,to_left,to_right,entered,left,inside,mean_dwell\n"
              "0,\"the \"\"door\"\"\",0,1,,,,\n"
              "0,\"hall\",,,1,0,1,\n"
              "1,\"the \"\"door\"\"\",1,0,,,,\n"
              "1,\"hall\",,,0,1,0,60\n"
              "2,\"the \"\"door\"\"\",0,0,,,,\n"
              "2,\"hall\",,,0,0,0,\n");
}

}  // namespace
}  // namespace kes::track::count
