#include <array>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include <pybind11/stl.h>

#include <kes/tracker/counter.hpp>

#include "bind.hpp"
#include "tracks.hpp"

namespace kes::python {
namespace {

using tracker::CountEvent;

using XY = std::array<float, 2>;
using LineEnds = std::array<float, 4>;

// An event with the name of its line or zone.
struct Count {
    CountEvent event;
    std::string name;
};

class Counter {
public:
    Counter(py::dict const& lines, py::dict const& zones, tracker::CountingOptions const& options)
        : native(Lines(lines), Zones(zones), options) {}

    std::vector<Count> Process(Tracks const& tracks) {
        return Named(native.Process(tracks.result.objects, tracks.time));
    }

    std::vector<Count> Finish() { return Named(native.Finish()); }

    std::vector<int> Inside(std::string const& zone) const {
        for (std::size_t i = 0; i < zoneNames.size(); ++i) {
            if (zoneNames[i] == zone) return native.Inside(i);
        }
        throw py::key_error(zone);
    }

private:
    std::vector<tracker::Line> Lines(py::dict const& given) {
        std::vector<tracker::Line> lines;
        for (auto const& [name, value] : given) {
            auto const ends = value.cast<LineEnds>();
            lineNames.push_back(name.cast<std::string>());
            lines.push_back({lineNames.back(), {ends[0], ends[1]}, {ends[2], ends[3]}});
        }
        return lines;
    }

    std::vector<tracker::Zone> Zones(py::dict const& given) {
        std::vector<tracker::Zone> zones;
        for (auto const& [name, value] : given) {
            zoneNames.push_back(name.cast<std::string>());
            tracker::Zone zone{zoneNames.back(), {}};
            for (XY const& corner : value.cast<std::vector<XY>>()) {
                zone.corners.push_back({corner[0], corner[1]});
            }
            zones.push_back(std::move(zone));
        }
        return zones;
    }

    std::vector<Count> Named(std::vector<CountEvent> const& events) const {
        std::vector<Count> counts;
        for (CountEvent const& event : events) {
            bool const isLine = event.type == CountEvent::Type::CrossedToLeft ||
                                event.type == CountEvent::Type::CrossedToRight;
            counts.push_back({event, (isLine ? lineNames : zoneNames)[event.index]});
        }
        return counts;
    }

    std::vector<std::string> lineNames;
    std::vector<std::string> zoneNames;
    tracker::Counter native;
};

}  // namespace

void BindCounter(py::module_& module) {
    using py::arg;
    py::object const countType = py::module_::import("kes_tracking._enums").attr("CountType");

    py::class_<Count> count(module, "Count", "A crossing of a line, or a visit to a zone.");
    count.attr("__module__") = "kes_tracking";
    count
        .def_property_readonly(
            "type",
            [countType](Count const& self) { return countType(static_cast<int>(self.event.type)); },
            "CountType : What happened.")
        .def_readonly("name", &Count::name, "str : Of the line or the zone.")
        .def_property_readonly(
            "id", [](Count const& self) { return self.event.id; }, "int : To which object.")
        .def_property_readonly(
            "time", [](Count const& self) { return self.event.time; },
            "float : When, in seconds; earlier than the call that tells of it.")
        .def_property_readonly(
            "place",
            [](Count const& self) {
                return py::make_tuple(self.event.place.x, self.event.place.y);
            },
            "tuple of float : x and y of the object's foot then, in frame pixels.")
        .def_property_readonly(
            "dwell", [](Count const& self) { return self.event.dwell; },
            "float : Seconds in the zone, of LEFT and VANISHED.")
        .def("__repr__", [countType](Count const& self) {
            return "Count(" +
                   countType(static_cast<int>(self.event.type)).attr("name").cast<std::string>() +
                   ", name='" + self.name + "', id=" + std::to_string(self.event.id) +
                   ", time=" + py::repr(py::float_(self.event.time)).cast<std::string>() + ")";
        });

    tracker::CountingOptions const defaults;
    py::class_<Counter> type(
        module, "Counter",
        R"(Counter(lines={}, zones={}, *, settling_time=1.0, maximum_age=5.0, margin=0.1)

Which objects cross a line, and which enter and leave a zone, each of them once.

Feed it the tracks of every frame, best those of a `Smoother`. Movers are
counted by their foot, the middle of their box's lower edge. No object counts
twice for trembling on a line, for standing on it or for beginning there.

Parameters
----------
lines : dict of str to tuple of float
    By name (x1, y1, x2, y2) in frame pixels, from its beginning to its end.
zones : dict of str to list of tuple of float
    By name the corners (x, y) of a polygon, three or more, in order.
settling_time : float
    Seconds: who is back on the former side before has not crossed.
maximum_age : float
    Seconds: who is not among the objects for longer has gone for good.
margin : float
    In heights of the object: so far beyond a line or an edge it is on the other
    side.

Raises
------
ValueError
    For a line without length, a zone of fewer than three corners, a coordinate
    that is not finite, and an option out of range.
)");
    type.attr("__module__") = "kes_tracking";
    type.def(py::init([](py::dict const& lines, py::dict const& zones, double settlingTime,
                         double maximumAge, float margin) {
                 return std::make_unique<Counter>(
                     lines, zones, tracker::CountingOptions{settlingTime, maximumAge, margin});
             }),
             arg("lines") = py::dict(), arg("zones") = py::dict(), py::kw_only(),
             arg("settling_time") = defaults.settlingTime, arg("maximum_age") = defaults.maximumAge,
             arg("margin") = defaults.margin)
        .def("process", &Counter::Process, arg("tracks"), R"(process(tracks)

Take the tracks of the next frame and return what is certain by now.

Returns
-------
list of Count
    In the order of their times.

Raises
------
ValueError
    If the tracks' time is before that of the last call.
)")
        .def("finish", &Counter::Finish, R"(finish()

At the end of the video: return what is still open.

Returns
-------
list of Count
)")
        .def("inside", &Counter::Inside, arg("zone"), R"(inside(zone)

Return who is in a zone by now.

Parameters
----------
zone : str
    Its name.

Returns
-------
list of int
    Identities, ascending.

Raises
------
KeyError
    If there is no zone of that name.
)");
}

}  // namespace kes::python
