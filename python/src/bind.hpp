// What the module is made of: each function adds one part to it.
#pragma once

#include <pybind11/pybind11.h>

namespace kes::python {

void BindSegmenter(pybind11::module_& module);
void BindAppearance(pybind11::module_& module);
void BindSolve(pybind11::module_& module);
void BindLabelCollapser(pybind11::module_& module);
void BindTracks(pybind11::module_& module);
void BindTracker(pybind11::module_& module);
void BindCounter(pybind11::module_& module);
void BindEvaluation(pybind11::module_& module);

}  // namespace kes::python
