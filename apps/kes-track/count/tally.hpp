// Tally: what was counted so far, in all and minute by minute.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <kes/tracker/counter.hpp>

#include "count/gates.hpp"
#include "output/output_file.hpp"

namespace kes::track::count {

// Of one line or zone.
struct Counts {
    std::uint64_t toLeft = 0;
    std::uint64_t toRight = 0;
    std::uint64_t entered = 0;  // across the edge, or first seen within
    std::uint64_t left = 0;     // across the edge, or last seen within
    double dwell = 0;           // seconds, of those who left

    std::uint64_t Inside() const { return entered - left; }
};

class Tally {
public:
    // file: a table of minutes, made at once; none where not wanted. Throws Failure (BadOutput).
    Tally(Gates const& gates, std::optional<std::string> const& file);

    // Counts the objects of a frame at `time` in seconds, and returns what is certain by now.
    std::vector<tracker::CountEvent> Process(std::vector<tracker::Object> const& objects,
                                             double time);

    // The end: what was still open, and the table finished by Close.
    std::vector<tracker::CountEvent> Finish();
    void Close();

    Gates const& Of() const { return gates; }
    std::vector<Counts> const& Lines() const { return lines; }
    std::vector<Counts> const& Zones() const { return zones; }

private:
    struct Minute {
        std::vector<Counts> lines;
        std::vector<Counts> zones;
    };

    void Add(std::vector<tracker::CountEvent> const& events);
    void WriteMinutesBefore(std::int64_t minute);

    Gates const gates;
    tracker::Counter counter;
    std::vector<Counts> lines;
    std::vector<Counts> zones;
    std::map<std::int64_t, Minute> minutes;  // not written yet
    std::vector<std::uint64_t> inside;       // of each zone, when the last minute was written
    std::int64_t nextMinute = 0;
    double lastTime = 0;
    std::optional<OutputFile> table;
};

}  // namespace kes::track::count
