#include <deque>
#include <limits>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <pybind11/functional.h>
#include <pybind11/stl.h>

#include <kes/algorithm/tracking_base/label_collapser.hpp>

#include "bind.hpp"

namespace kes::python {
namespace {

namespace py = pybind11;
using algorithm::tracking_base::LabelCollapser;

LabelCollapser Make(std::vector<std::string> labels, py::function const& collapse) {
    std::deque<std::string> names;  // what is returned must last until the end
    auto const call = [&](boost::string_view label) -> boost::string_view {
        py::object const name = collapse(py::str(label.data(), label.size()));
        if (!py::isinstance<py::str>(name)) {
            throw py::type_error(std::string("collapse returned a ") +
                                 Py_TYPE(name.ptr())->tp_name + "; it must return a str");
        }
        return names.emplace_back(name.cast<std::string>());
    };
    try {
        return LabelCollapser(std::move(labels), call);
    } catch (py::builtin_exception const&) {  // one from above, and a runtime_error as well
        throw;
    } catch (std::runtime_error const& error) {
        throw py::value_error(error.what());
    }
}

unsigned int Process(LabelCollapser const& collapser, py::ssize_t label) {
    if (label < 0 || label > std::numeric_limits<unsigned int>::max()) {
        throw py::index_error("label " + std::to_string(label) + " is out of range");
    }
    return collapser.Process(static_cast<unsigned int>(label));
}

}  // namespace

void BindLabelCollapser(py::module_& module) {
    py::class_<LabelCollapser> type(module, "LabelCollapser",
                                    R"(LabelCollapser(labels=None, collapse=None)

Which of a detector's class labels stand for the same thing.

Parameters
----------
labels : list of str, optional
    The names, at most 128; a label's index is its position, and a repeated name
    stands for its last index. Without names every label is passed through.
collapse : callable, optional
    Called once with each name, in order; returns the name of the label that it
    collapses into. A name that is no label stands for index 0. What it raises
    leaves the constructor.

Raises
------
ValueError
    If there are more than 128 labels.
TypeError
    If `collapse` returns something other than a str.
)");
    type.attr("__module__") = "kes_tracking";
    type.def(py::init<>())
        .def(py::init(&Make), py::arg("labels"), py::arg("collapse"))
        .def("process", &Process, py::arg("label"), R"(process(label)

Return the index of the label that a label collapses into.

Parameters
----------
label : int
    An index, from 0.

Returns
-------
int
    The index it collapses into; 0 for one beyond the names but below 128.

Raises
------
IndexError
    If `label` is negative, or 128 or above where there are names.
)");
}

}  // namespace kes::python
