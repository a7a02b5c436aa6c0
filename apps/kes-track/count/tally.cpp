#include "count/tally.hpp"

#include <cmath>
#include <utility>

#include "base/format.hpp"

namespace kes::track::count {
namespace {

using Type = tracker::CountEvent::Type;

// Counts come with a delay: those of a minute are complete this long after it.
constexpr double Delay =
    tracker::CountingOptions{}.settlingTime + tracker::CountingOptions{}.maximumAge + 1;

std::int64_t MinuteOf(double seconds) {
    return static_cast<std::int64_t>(std::floor(seconds / 60));
}

void Add(Counts& counts, tracker::CountEvent const& event) {
    switch (event.type) {
        case Type::CrossedToLeft: ++counts.toLeft; break;
        case Type::CrossedToRight: ++counts.toRight; break;
        case Type::Entered:
        case Type::Appeared: ++counts.entered; break;
        case Type::Exited:
        case Type::Vanished:
            ++counts.left;
            counts.dwell += event.dwell;
            break;
    }
}

bool IsOfLine(tracker::CountEvent const& event) {
    return event.type == Type::CrossedToLeft || event.type == Type::CrossedToRight;
}

// A name as a field of a table.
std::string Quoted(std::string const& name) {
    std::string text = "\"";
    for (char const c : name) text += c == '"' ? std::string("\"\"") : std::string(1, c);
    return text + '"';
}

}  // namespace

Tally::Tally(Gates const& some, std::optional<std::string> const& file)
    : gates(some),
      counter(gates.lines, gates.zones),
      lines(gates.lines.size()),
      zones(gates.zones.size()),
      inside(gates.zones.size()) {
    if (!file) return;
    table.emplace(*file);
    table->Write("minute,name,to_left,to_right,entered,left,inside,mean_dwell\n");
}

std::vector<tracker::CountEvent> Tally::Process(std::vector<tracker::Object> const& objects,
                                                double time) {
    lastTime = time;
    auto events = counter.Process(objects, time);
    Add(events);
    WriteMinutesBefore(MinuteOf(time - Delay));
    return events;
}

std::vector<tracker::CountEvent> Tally::Finish() {
    auto events = counter.Finish();
    Add(events);
    WriteMinutesBefore(MinuteOf(lastTime) + 1);
    return events;
}

void Tally::Close() {
    if (table) table->Close();
}

void Tally::Add(std::vector<tracker::CountEvent> const& events) {
    for (tracker::CountEvent const& event : events) {
        auto& [minuteLines, minuteZones] = minutes[MinuteOf(event.time)];
        minuteLines.resize(lines.size());
        minuteZones.resize(zones.size());
        bool const isOfLine = IsOfLine(event);
        count::Add((isOfLine ? lines : zones)[event.index], event);
        count::Add((isOfLine ? minuteLines : minuteZones)[event.index], event);
    }
}

void Tally::WriteMinutesBefore(std::int64_t end) {
    for (; nextMinute < end; ++nextMinute) {
        auto counted = minutes.extract(nextMinute);
        Minute minute = counted ? std::move(counted.mapped()) : Minute{};
        minute.lines.resize(lines.size());
        minute.zones.resize(zones.size());
        std::string rows;
        std::string const start = std::to_string(nextMinute) + ',';
        for (std::size_t i = 0; i < lines.size(); ++i) {
            rows += start + Quoted(gates.lines[i].name) + ',' +
                    std::to_string(minute.lines[i].toLeft) + ',' +
                    std::to_string(minute.lines[i].toRight) + ",,,,\n";
        }
        for (std::size_t i = 0; i < zones.size(); ++i) {
            Counts const& zone = minute.zones[i];
            inside[i] += zone.entered - zone.left;
            std::string const dwell =
                zone.left == 0 ? "" : FormatNumber(zone.dwell / static_cast<double>(zone.left), 1);
            rows += start + Quoted(gates.zones[i].name) + ",,," + std::to_string(zone.entered) +
                    ',' + std::to_string(zone.left) + ',' + std::to_string(inside[i]) + ',' +
                    dwell + '\n';
        }
        if (!table) continue;
        table->Write(rows);
        table->Flush();
    }
}

}  // namespace kes::track::count
