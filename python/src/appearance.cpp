#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string>

#include <pybind11/operators.h>
#include <pybind11/stl.h>

#include <kes/algorithm/tracking_base/smog.hpp>

#include "arguments.hpp"
#include "bind.hpp"

namespace kes::python {
namespace {

using algorithm::BitMask;
using algorithm::tracking_base::appearance::BlobScore;
using algorithm::tracking_base::appearance::Smog;

using Blob = std::array<int, 4>;
using Pair = std::array<float, 2>;

geometry::Rectangle<int> RectangleOf(Blob const& blob) {
    return {blob[0], blob[1], blob[2], blob[3]};
}

// The components' means or variances, where they lie; the view keeps its Appearance alive.
template <typename T>
py::array StateView(py::object const& self,
                    std::array<T, Smog::ChannelCount> Smog::Gaussian::*field) {
    auto& smog = self.cast<Smog&>();
    return py::array_t<T>({Smog::ComponentCount, Smog::ChannelCount},
                          {sizeof(Smog::Gaussian), sizeof(T)}, (smog.gaussians[0].*field).data(),
                          self);
}

py::array Means(py::object const& self) { return StateView(self, &Smog::Gaussian::means); }
py::array Variances(py::object const& self) { return StateView(self, &Smog::Gaussian::variances); }

// Of the mask, only what a blob can look at.
BitMask MaskOf(py::handle object, Frame const& frame, Blob const& blob) {
    if (object.is_none()) throw py::type_error("mask is None; it must be a numpy.ndarray");
    BitMask mask = EmptyMask(frame.GetSize());
    ReadMask(object, "mask", frame.GetSize(), mask, std::min(blob[1], blob[3]),
             std::max(blob[1], blob[3]));
    return mask;
}

void Update(Smog& smog, Blob const& blob, py::handle mask, py::handle pixels, py::handle format) {
    Frame const frame = FrameOf(pixels, format);
    smog.Update(RectangleOf(blob), MaskOf(mask, frame, blob), frame);
}

float Score(Smog const& smog, Blob const& blob, py::handle mask, py::handle pixels,
            py::handle format) {
    Frame const frame = FrameOf(pixels, format);
    return smog.ScoreBlob(RectangleOf(blob), MaskOf(mask, frame, blob), frame);
}

BlobScore Search(Smog const& smog, Blob const& blob, py::handle mask, py::handle pixels,
                 Pair const& predictedCentre, Pair const& expectedSize, py::handle format,
                 unsigned int tag) {
    Frame const frame = FrameOf(pixels, format);
    return smog.PartitionAndScoreBlob(RectangleOf(blob), tag, MaskOf(mask, frame, blob), frame,
                                      {predictedCentre[0], predictedCentre[1]},
                                      {expectedSize[0], expectedSize[1]});
}

py::array Bands(Smog const& smog, std::array<int, 2> const& size) {
    if (size[0] < 0 || size[1] < 0) throw py::value_error("size must not be negative");
    py::array_t<unsigned int> bands({Smog::ComponentCount, 4U});
    unsigned int* to = bands.mutable_data();
    for (auto const& band : smog.ComputeGaussianSectionRectangles({size[0], size[1]})) {
        for (unsigned int const side : {band.left, band.top, band.right, band.bottom}) {
            *to++ = side;
        }
    }
    return bands;
}

bool Equal(Smog const& a, Smog const& b) {
    auto const same = [](Smog::Gaussian const& x, Smog::Gaussian const& y) {
        return x.means == y.means && x.variances == y.variances;
    };
    return a.untrained == b.untrained &&
           std::equal(a.gaussians.begin(), a.gaussians.end(), b.gaussians.begin(), same);
}

std::string Text(Smog const& smog) {
    std::ostringstream text;
    text << smog;
    return text.str();
}

py::tuple State(py::object const& self) {
    return py::make_tuple(Means(self).attr("copy")(), Variances(self).attr("copy")(),
                          self.attr("untrained"));
}

Smog FromState(py::tuple const& state) {
    if (state.size() != 3) throw py::value_error("this is not the state of an Appearance");
    py::object const self = py::cast(Smog());
    Means(self)[py::ellipsis()] = state[0];
    Variances(self)[py::ellipsis()] = state[1];
    self.attr("untrained") = state[2];
    return self.cast<Smog>();
}

std::string ScoreText(BlobScore const& found) {
    std::ostringstream text;
    text << "BlobScore(score=" << found.score << ", centre=(" << found.centre.x << ", "
         << found.centre.y << "), size=(" << found.size.width << ", " << found.size.height
         << "), tag=" << found.tag << ")";
    return text.str();
}

}  // namespace

void BindAppearance(py::module_& module) {
    using py::arg;
    py::class_<BlobScore> score(
        module, "BlobScore", R"(What `Appearance.search` finds. Places and sizes are in mask cells.
)");
    score.attr("__module__") = "kes_tracking";
    score.def_readonly("score", &BlobScore::score, "float : How well the colours match, 0 to 1.")
        .def_property_readonly(
            "centre",
            [](BlobScore const& found) {
                return Pair{found.centre.x, found.centre.y};
            },
            "list of float : x and y of the whole blob, or of the best placement.")
        .def_property_readonly(
            "size",
            [](BlobScore const& found) {
                return Pair{found.size.width, found.size.height};
            },
            "list of float : Width and height of the whole blob, or as expected.")
        .def_readonly("tag", &BlobScore::tag,
                      "float : The caller's for a whole blob, 0 for a placement.")
        .def("__repr__", &ScoreText);

    py::class_<Smog> type(module, "Appearance", R"(Appearance()

What a tracked object looks like: eight components over the red share, the green
share, the intensity and the height of its samples.

Keep one for each object, teach it the object's blob in every frame in which the
blob is surely the object's own, and ask it how well a region of a later frame
matches, or where inside a crowd the object stands. It can be copied, compared
and pickled.

Four arguments are common to the methods:

blob : tuple of int
    (left, top, right, bottom) in mask cells, clipped to the mask by `update`
    and `score`.
mask : numpy.ndarray
    The foreground: uint8 or bool, of cells (h // 2, w // 2) or of pixels (h, w),
    set where not 0; or packed, uint32 (h // 2, (w // 2 + 31) // 32), which is
    quickest.
frame : numpy.ndarray
    uint8, columns contiguous, rows anywhere; it is read where it lies.
format : {'bgr', 'rgb', 'yuv', 'nv12'}, optional
    Of the frame: (h, w, 3), or for 'nv12' (3 * h // 2, w) or a tuple of arrays,
    (luma, chroma). 'bgr' by default.

The methods keep the interpreter lock: they take microseconds.
)");
    type.attr("__module__") = "kes_tracking";
    type.def(py::init<>())
        .def("update", &Update, arg("blob"), arg("mask"), arg("frame"), py::kw_only(),
             arg("format") = py::none(), R"(update(blob, mask, frame, *, format=None)

Learn from a blob. One without a sample changes nothing.

Raises
------
TypeError, ValueError
    If an argument is not as described for the class; nothing has changed then.
)")
        .def("score", &Score, arg("blob"), arg("mask"), arg("frame"), py::kw_only(),
             arg("format") = py::none(), R"(score(blob, mask, frame, *, format=None)

Say how well a blob matches.

Returns
-------
float
    The fraction, 0 to 1, of the blob's samples that some component accepts; 0
    for a blob without a sample.

Raises
------
TypeError, ValueError
    If an argument is not as described for the class.
)")
        .def("search", &Search, arg("blob"), arg("mask"), arg("frame"), arg("predicted_centre"),
             arg("expected_size"), py::kw_only(), arg("format") = py::none(), arg("tag") = 0U,
             R"(search(blob, mask, frame, predicted_centre, expected_size, *, format=None, tag=0)

Find the object in a blob that may hold more than it.

A blob that is not larger than expected is scored whole. In a larger one at most
10 x 10 placements around the prediction are tried; colour match and closeness
count alike.

Parameters
----------
predicted_centre : tuple of float
    (x, y) in cells.
expected_size : tuple of float
    (width, height) in cells.
tag : int
    Returned with a blob that is scored whole.

Returns
-------
BlobScore

Raises
------
TypeError, ValueError
    If an argument is not as described for the class, or a larger blob does not
    lie inside the mask, or a prediction is not finite or too large.
MemoryError
    If there is no memory for the search.
)")
        .def("bands", &Bands, arg("size"), R"(bands(size)

Return the band of rows of a candidate that each component accepts.

Parameters
----------
size : tuple of int
    (width, height) of the candidate, in cells.

Returns
-------
numpy.ndarray
    (8, 4), uint32: left, top, right, bottom.
)")
        .def_property_readonly("means", &Means,
                               "numpy.ndarray : (8, 4), int32: red share, green share, intensity "
                               "and height.\nA view: what is written to it changes the model.")
        .def_property_readonly("variances", &Variances,
                               "numpy.ndarray : (8, 4), uint32: squares of how far is accepted.\n"
                               "A view: what is written to it changes the model.")
        .def_readwrite("untrained", &Smog::untrained,
                       "bool : True until an update has found a sample: the next one replaces.")
        .def("__eq__", &Equal, py::is_operator())
        .def("__str__", &Text)
        .def("__copy__", [](Smog const& smog) { return smog; })
        .def("__deepcopy__", [](Smog const& smog, py::handle) { return smog; })
        .def(py::pickle(&State, &FromState));
    type.attr("__hash__") = py::none();  // its state changes
}

}  // namespace kes::python
