#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <limits>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <pybind11/stl.h>

#include "arguments.hpp"
#include "bind.hpp"
#include "eval/scores.hpp"
#include "mot/mot_text.hpp"

namespace kes::python {
namespace {

using eval::Scores;
using mot::Row;

using Integers = py::array_t<std::int64_t, py::array::c_style>;
using Floats = py::array_t<float, py::array::c_style | py::array::forcecast>;

struct Boxes {
    std::vector<Row> rows;
};

Boxes FromArrays(Integers const& frames, Integers const& ids, Floats const& boxes,
                 std::optional<Floats> const& confidences) {
    auto const count = frames.size();
    if (frames.ndim() != 1 || ids.ndim() != 1 || ids.size() != count || boxes.ndim() != 2 ||
        boxes.shape(0) != count || boxes.shape(1) != 4 ||
        (confidences && (confidences->ndim() != 1 || confidences->size() != count))) {
        throw py::value_error(
            "frames, ids and confidences must be (n,) and boxes (n, 4), with one n");
    }
    Boxes made;
    for (py::ssize_t i = 0; i < count; ++i) {
        auto const side = [&](py::ssize_t column) { return boxes.at(i, column); };
        made.rows.push_back({frames.at(i),
                             ids.at(i),
                             {side(0), side(1), side(2), side(3)},
                             confidences ? confidences->at(i) : 1.0F,
                             {}});
    }
    return made;
}

template <typename T, auto Field>
py::array Column(Boxes const& boxes) {
    py::array_t<T> column(static_cast<py::ssize_t>(boxes.rows.size()));
    T* to = column.mutable_data();
    for (Row const& row : boxes.rows) *to++ = row.*Field;
    return column;
}

py::array Sides(Boxes const& boxes) {
    py::array_t<float> sides({boxes.rows.size(), std::size_t{4}});
    float* to = sides.mutable_data();
    for (Row const& row : boxes.rows) {
        for (float const side : {row.box.left, row.box.top, row.box.right, row.box.bottom}) {
            *to++ = side;
        }
    }
    return sides;
}

std::vector<std::string> Labels(Boxes const& boxes) {
    std::vector<std::string> labels;
    for (Row const& row : boxes.rows) labels.push_back(row.label);
    return labels;
}

Boxes ReadMot(py::object const& path) {
    auto const bytes = py::reinterpret_steal<py::bytes>(PyOS_FSPath(path.ptr()));  // str or bytes
    if (!bytes) throw py::error_already_set();
    auto const name = py::object(bytes).cast<std::string>();
    std::ifstream in(name);
    if (!in) {
        PyErr_SetFromErrnoWithFilename(PyExc_OSError, name.c_str());
        throw py::error_already_set();
    }
    return {mot::Parse(in, name)};
}

Scores Evaluate(Boxes const& truth, Boxes const& tracks, std::optional<long> first,
                std::optional<long> last) {
    auto const scored = eval::Scored(truth.rows);
    if (scored.empty()) throw py::value_error("truth holds no box");
    eval::FrameRange range = eval::FramesOf(scored);
    if (first) range.first = *first;
    if (last) range.last = *last;
    py::gil_scoped_release const release;
    return eval::Compare(scored, tracks.rows, range);
}

std::string Text(Scores const& scores) {
    std::ostringstream text;
    auto const share = [&](char const* name, std::optional<double> value) {
        text << name << "=";
        value ? text << *value : text << "None";
        text << ", ";
    };
    text << "Scores(";
    share("mota", scores.Mota());
    share("idf1", scores.Idf1());
    share("precision", scores.Precision());
    share("recall", scores.Recall());
    text << "switches=" << scores.switches << ")";
    return text.str();
}

}  // namespace

void BindEvaluation(py::module_& module) {
    using py::arg;
    py::class_<Boxes> boxes(module, "Boxes", R"(Boxes(frames, ids, boxes, confidences=None)

The boxes of a whole video, ground truth or a tracker's result.

Parameters
----------
frames : numpy.ndarray
    (n,), integers: the frame of each box.
ids : numpy.ndarray
    (n,), integers: whose it is.
boxes : numpy.ndarray
    (n, 4): left, top, right, bottom in frame pixels.
confidences : numpy.ndarray, optional
    (n,). 1 by default; a true box of 0 is not scored.

Raises
------
ValueError
    If the shapes do not fit together.
)");
    boxes.attr("__module__") = "kes_tracking";
    boxes
        .def(py::init(&FromArrays), arg("frames"), arg("ids"), arg("boxes"),
             arg("confidences") = py::none())
        .def("__len__", [](Boxes const& self) { return self.rows.size(); })
        .def_property_readonly("frames", &Column<std::int64_t, &Row::frame>,
                               "numpy.ndarray : (n,), int64.")
        .def_property_readonly("ids", &Column<std::int64_t, &Row::id>,
                               "numpy.ndarray : (n,), int64; -1 in a detector's output.")
        .def_property_readonly("boxes", &Sides,
                               "numpy.ndarray : (n, 4), float32: left, top, right, bottom.")
        .def_property_readonly("confidences", &Column<float, &Row::confidence>,
                               "numpy.ndarray : (n,), float32.")
        .def_property_readonly("labels", &Labels,
                               "list of str : Class names where the file has them, else ''.");

    py::class_<Scores> scores(module, "Scores",
                              R"(How well a tracker's result agrees with the truth.

The measures are CLEAR MOT (Bernardin and Stiefelhagen, 2008) and the identity
measures (Ristani et al., 2016). Shares are at most 1, and None for 0 / 0.
)");
    scores.attr("__module__") = "kes_tracking";
    scores
        .def_property_readonly("mota", &Scores::Mota,
                               "float or None : 1 less the share of errors; can be negative.")
        .def_property_readonly("idf1", &Scores::Idf1,
                               "float or None : How many boxes bear the right identity.")
        .def_property_readonly("precision", &Scores::Precision,
                               "float or None : Of the result's boxes, those matched.")
        .def_property_readonly("recall", &Scores::Recall,
                               "float or None : Of the true boxes, those matched.")
        .def_readonly("true_boxes", &Scores::truthBoxes, "int : In the truth.")
        .def_readonly("result_boxes", &Scores::resultBoxes, "int : In the result.")
        .def_readonly("matches", &Scores::matches, "int : Boxes that agree.")
        .def_readonly("misses", &Scores::misses, "int : True boxes without a match.")
        .def_readonly("false_positives", &Scores::falsePositives,
                      "int : The result's boxes without a match.")
        .def_readonly("switches", &Scores::switches,
                      "int : True objects matched to another identity than the last time.")
        .def("__repr__", &Text);

    module.def("read_mot", &ReadMot, arg("path"), R"(read_mot(path)

Read boxes as the multiple-object tracking benchmarks write them.

A line a box: ``frame,id,left,top,width,height``, and optionally a confidence and
more. Frames count from 1; empty lines and those that start with # are skipped.

Parameters
----------
path : str or os.PathLike
    The file.

Returns
-------
Boxes

Raises
------
OSError
    If the file cannot be opened.
ValueError
    For a line that cannot be read, with its number.
)");
    module.def("evaluate", &Evaluate, arg("truth"), arg("tracks"), py::kw_only(),
               arg("first") = py::none(), arg("last") = py::none(),
               R"(evaluate(truth, tracks, *, first=None, last=None)

Score a tracker's result against ground truth.

A box may stand for a true one from an intersection over union of 0.5 on.

Parameters
----------
truth, tracks : Boxes
    What is true, and what was found.
first, last : int, optional
    The frames that are scored; by default from the first to the last that have
    ground truth.

Returns
-------
Scores

Raises
------
ValueError
    If `truth` holds no box, or an id has two boxes in one frame.
)");
}

}  // namespace kes::python
