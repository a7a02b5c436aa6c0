#include "bind.hpp"

PYBIND11_MODULE(_native, module) {
    module.doc() = "The compiled part of kes_tracking.";
    // The stubs and the first lines of the docstrings give the signatures.
    pybind11::options options;
    options.disable_function_signatures();
    kes::python::BindSegmenter(module);
    kes::python::BindAppearance(module);
    kes::python::BindSolve(module);
    kes::python::BindLabelCollapser(module);
    kes::python::BindTracks(module);
    kes::python::BindTracker(module);
    kes::python::BindCounter(module);
    kes::python::BindEvaluation(module);
}
