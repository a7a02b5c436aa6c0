#include "tracks.hpp"

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <sstream>

#include <pybind11/stl.h>

#include "bind.hpp"

namespace kes::python {
namespace {

using tracker::Event;
using tracker::Object;

std::array<float, 4> Sides(tracker::Box const& box) {
    return {box.left, box.top, box.right, box.bottom};
}

py::tuple BoxTuple(tracker::Box const& box) {
    return py::make_tuple(box.left, box.top, box.right, box.bottom);
}

// One number for each object.
template <typename T, typename Value>
py::array ColumnOf(Tracks const& tracks, Value const& value) {
    py::array_t<T> column(static_cast<py::ssize_t>(tracks.result.objects.size()));
    T* to = column.mutable_data();
    for (Object const& object : tracks.result.objects) *to++ = static_cast<T>(value(object));
    return column;
}

template <typename T, auto Field>
py::array Column(Tracks const& tracks) {
    return ColumnOf<T>(tracks, [](Object const& object) { return object.*Field; });
}

py::array Boxes(Tracks const& tracks) {
    py::array_t<float> boxes({tracks.result.objects.size(), std::size_t{4}});
    float* to = boxes.mutable_data();
    for (Object const& object : tracks.result.objects) {
        for (float const side : Sides(object.box)) *to++ = side;
    }
    return boxes;
}

py::dict Times(Tracks const& tracks) {
    auto const seconds = [](std::chrono::nanoseconds time) {
        return std::chrono::duration<double>(time).count();
    };
    tracker::Times const& times = tracks.result.times;
    py::dict dict;
    dict["segmentation"] = seconds(times.segmentation);
    dict["association"] = seconds(times.association);
    dict["identities"] = seconds(times.identities);
    dict["upkeep"] = seconds(times.upkeep);
    dict["total"] = seconds(times.total);
    return dict;
}

Object const& At(Tracks const& tracks, py::ssize_t index) {
    auto const count = static_cast<py::ssize_t>(tracks.result.objects.size());
    if (index < 0) index += count;
    if (index < 0 || index >= count) throw py::index_error("Tracks index out of range");
    return tracks.result.objects[static_cast<std::size_t>(index)];
}

void WriteBox(std::ostream& out, tracker::Box const& box) {
    out << "box=(" << box.left << ", " << box.top << ", " << box.right << ", " << box.bottom << ")";
}

}  // namespace

void BindTracks(py::module_& module) {
    // A value's name, from Python's own enumerations.
    auto const enums = py::module_::import("kes_tracking._enums");
    py::object const kind = enums.attr("Kind");
    py::object const visibility = enums.attr("Visibility");
    py::object const eventType = enums.attr("EventType");

    py::class_<Object> object(module, "Object", "One object in one frame.");
    object.attr("__module__") = "kes_tracking";
    object
        .def_readonly("id", &Object::id,
                      "int : From 1, in the order of first sight; never used twice.")
        .def_property_readonly(
            "box", [](Object const& self) { return BoxTuple(self.box); },
            "tuple of float : Left, top, right, bottom in frame pixels, clipped to the frame.")
        .def_property_readonly(
            "kind", [kind](Object const& self) { return kind(static_cast<int>(self.kind)); },
            "Kind : May turn as more is seen.")
        .def_property_readonly(
            "visibility",
            [visibility](Object const& self) {
                return visibility(static_cast<int>(self.visibility));
            },
            "Visibility : In this frame.")
        .def_readonly("confirmed", &Object::isConfirmed,
                      "bool : Whether it was seen for long enough to count.")
        .def_readonly("standing", &Object::isStanding,
                      "bool : Whether it has been at rest for the stationary time.")
        .def_readonly("confidence", &Object::confidence, "float : How much of it was seen, 0 to 1.")
        .def_readonly("label", &Object::label, "int : Of its detections.")
        .def("__repr__", [](Object const& self) {
            std::ostringstream text;
            text << "Object(id=" << self.id << ", ";
            WriteBox(text, self.box);
            text << ", confidence=" << self.confidence << ")";
            return text.str();
        });

    py::class_<Event> event(module, "Event", "What has become of an object.");
    event.attr("__module__") = "kes_tracking";
    event
        .def_property_readonly(
            "type",
            [eventType](Event const& self) { return eventType(static_cast<int>(self.type)); },
            "EventType : What happened.")
        .def_readonly("id", &Event::id, "int : To which object.")
        .def_property_readonly(
            "box", [](Event const& self) { return BoxTuple(self.box); },
            "tuple of float : Left, top, right, bottom in frame pixels; where it was last.")
        .def("__repr__", [eventType](Event const& self) {
            std::ostringstream text;
            text << "Event("
                 << eventType(static_cast<int>(self.type)).attr("name").cast<std::string>()
                 << ", id=" << self.id << ", ";
            WriteBox(text, self.box);
            text << ")";
            return text.str();
        });

    py::class_<Tracks> tracks(
        module, "Tracks",
        R"(The objects of one frame: a sequence of `Object`, and arrays of the same order.

For example, for supervision::

    sv.Detections(xyxy=tracks.boxes, confidence=tracks.confidences, tracker_id=tracks.ids)
)");
    tracks.attr("__module__") = "kes_tracking";
    tracks.def("__len__", [](Tracks const& self) { return self.result.objects.size(); })
        .def("__getitem__", &At, py::arg("index"))
        .def(
            "__iter__",
            [](Tracks const& self) {
                return py::make_iterator(self.result.objects.begin(), self.result.objects.end());
            },
            py::keep_alive<0, 1>())
        .def_property_readonly("ids", &Column<std::int64_t, &Object::id>,
                               "numpy.ndarray : (n,), int64.")
        .def_property_readonly("boxes", &Boxes,
                               "numpy.ndarray : (n, 4), float32: left, top, right, bottom.")
        .def_property_readonly("states", &Column<std::uint8_t, &Object::visibility>,
                               "numpy.ndarray : (n,), uint8: values of `Visibility`.")
        .def_property_readonly("kinds", &Column<std::uint8_t, &Object::kind>,
                               "numpy.ndarray : (n,), uint8: values of `Kind`.")
        .def_property_readonly("confidences", &Column<float, &Object::confidence>,
                               "numpy.ndarray : (n,), float32, 0 to 1.")
        .def_property_readonly("labels", &Column<std::int64_t, &Object::label>,
                               "numpy.ndarray : (n,), int64.")
        .def_property_readonly("confirmed", &Column<bool, &Object::isConfirmed>,
                               "numpy.ndarray : (n,), bool.")
        .def_property_readonly("standing", &Column<bool, &Object::isStanding>,
                               "numpy.ndarray : (n,), bool.")
        .def_property_readonly(
            "events", [](Tracks const& self) { return self.result.events; },
            "list of Event : Since the frame before.")
        .def_readonly("time", &Tracks::time, "float : When the frame was taken, in seconds.")
        .def_property_readonly("times", &Times,
                               "dict : How long each step took, in seconds, and 'total'.");
}

}  // namespace kes::python
