#include <chrono>
#include <cmath>
#include <cstddef>
#include <optional>
#include <string>
#include <utility>

#include <kes/algorithm/tracking_base/emog_segmenter.hpp>

#include "arguments.hpp"
#include "bind.hpp"
#include "in_use.hpp"
#include "masks.hpp"

namespace kes::python {
namespace {

using algorithm::BitMask;
using algorithm::tracking_base::EmogSegmenter;

// From here on a frame takes long enough for other threads to be let in meanwhile: see
// docs/python.md.
constexpr std::size_t LongFrame = 1 << 18;  // pixels

double SecondsOf(std::chrono::milliseconds time) {
    return static_cast<double>(time.count()) / 1000;
}

std::chrono::milliseconds MillisecondsOf(double seconds, char const* name) {
    double const milliseconds = std::round(seconds * 1000);
    if (!(std::abs(milliseconds) < 9e15)) {  // beyond it, a double is no longer exact
        throw py::value_error(std::string(name) + " must be a finite number of seconds");
    }
    return std::chrono::milliseconds(static_cast<std::int64_t>(milliseconds));
}

class Segmenter {
public:
    Segmenter(float threshold, float thresholdFactor, double stationaryTime, double holdOnTime,
              bool isAbandonedObjectEnabled) {
        SetThreshold(threshold);
        SetThresholdFactor(thresholdFactor);
        SetStationaryTime(stationaryTime);
        SetHoldOnTime(holdOnTime);
        SetAbandonedObject(isAbandonedObjectEnabled);
    }

    float Threshold() { return Use().GetStdDevThreshold(); }
    void SetThreshold(float value) { Use().SetStdDevThreshold(value); }
    float ThresholdFactor() const { return thresholdFactor; }
    void SetThresholdFactor(float factor) {
        Use().SetThresholdFactor(factor);
        thresholdFactor = factor;
    }
    double StationaryTime() { return SecondsOf(Use().GetStationaryTime()); }
    void SetStationaryTime(double seconds) {
        Use().SetStationaryTime(MillisecondsOf(seconds, "stationary_time"));
    }
    double HoldOnTime() { return SecondsOf(Use().GetHoldOnTime()); }
    void SetHoldOnTime(double seconds) {
        Use().SetHoldOnTime(MillisecondsOf(seconds, "hold_on_time"));
    }
    bool AbandonedObject() { return Use().IsAbandonedObjectEnabled(); }
    void SetAbandonedObject(bool enable) { Use().EnableAbandonedObject(enable); }
    void Reset() { Use().Reset(); }

    py::tuple Apply(py::handle frame, py::handle excludeMask, py::handle freezeMask,
                    py::handle resetMask, py::handle form, py::handle out) {
        py::array const pixels = PixelsOf(frame, "frame", GreyPixels);
        return Process(pixels, nullptr, excludeMask, freezeMask, resetMask, form, out);
    }

    py::tuple ApplyAll(py::handle frames, py::handle excludeMask, py::handle freezeMask,
                       py::handle resetMask, py::handle form, py::handle out) {
        static constexpr PixelShape Planes{3, 1, "planes (frames, height, width)"};
        py::array const pixels = PixelsOf(frames, "frames", Planes);
        py::ssize_t const count = pixels.shape(0);
        return Process(pixels, &count, excludeMask, freezeMask, resetMask, form, out);
    }

private:
    EmogSegmenter& Use() {
        InUse const check(isInUse, Name);
        return segmenter;
    }

    // frameCount: null for a single frame.
    py::tuple Process(py::array const& pixels, py::ssize_t const* frameCount,
                      py::handle excludeMask, py::handle freezeMask, py::handle resetMask,
                      py::handle form, py::handle out) {
        InUse const use(isInUse, Name);
        auto const rows = pixels.ndim() - 2;
        Size const size{SideOf(pixels.shape(rows + 1)), SideOf(pixels.shape(rows))};
        if (size != frameSize) Fit(size);
        BitMask const& excludeWords = Read(excludeMask, "exclude", exclude);
        BitMask const& freezeWords = Read(freezeMask, "freeze", freeze);
        BitMask const& resetWords = Read(resetMask, "reset", reset);
        py::handle youngOut = Py_None;
        py::handle stationaryOut = Py_None;
        if (!out.is_none()) {
            if (!PyTuple_Check(out.ptr()) || PyTuple_GET_SIZE(out.ptr()) != 2) {
                throw py::type_error("out must be a tuple of two: (young, stationary)");
            }
            youngOut = PyTuple_GET_ITEM(out.ptr(), 0);
            stationaryOut = PyTuple_GET_ITEM(out.ptr(), 1);
        }
        MaskForm const maskForm = MaskFormOf(form);
        MaskArray const youngArray(maskForm, size, frameCount, youngOut, "out[0]");
        MaskArray const stationaryArray(maskForm, size, frameCount, stationaryOut, "out[1]");
        if (!youngOut.is_none() && !stationaryOut.is_none()) {
            youngArray.RequireApart(stationaryArray);
        }

        std::size_t const count = frameCount ? static_cast<std::size_t>(*frameCount) : 1;
        auto const* const first = static_cast<unsigned char const*>(pixels.data());
        py::ssize_t const frameStride = frameCount ? pixels.strides(0) : 0;
        py::ssize_t const rowStride = pixels.strides(rows);
        {
            std::optional<py::gil_scoped_release> release;
            if (count * size.width * size.height >= LongFrame) release.emplace();
            for (std::size_t i = 0; i < count; ++i) {
                auto const frame =
                    GreyFrame(first + static_cast<py::ssize_t>(i) * frameStride, size, rowStride);
                segmenter.Process(frame, freezeWords.words.data(), resetWords.words.data(),
                                  excludeWords.words.data(), young.words.data(),
                                  stationary.words.data());
                youngArray.Write(young.words.data(), i);
                stationaryArray.Write(stationary.words.data(), i);
            }
        }
        return py::make_tuple(youngArray.array, stationaryArray.array);
    }

    void Fit(Size size) {
        frameSize = {};
        none = exclude = freeze = reset = young = stationary = EmptyMask(size);
        frameSize = size;
    }

    BitMask const& Read(py::handle argument, char const* name, BitMask& mask) const {
        if (argument.is_none()) return none;
        ReadMask(argument, name, frameSize, mask);
        return mask;
    }

    static constexpr char const* Name = "Segmenter";

    EmogSegmenter segmenter;
    float thresholdFactor = 1;
    bool isInUse = false;
    Size frameSize{};
    BitMask none, exclude, freeze, reset;
    BitMask young, stationary;
};

}  // namespace

void BindSegmenter(py::module_& module) {
    using py::arg;
    py::class_<Segmenter> type(
        module, "Segmenter",
        R"(Segmenter(*, threshold=4.0, threshold_factor=1.0, stationary_time=5.0, hold_on_time=60.0, abandoned_object=False)

Tells what moves, and what has lately come to stand, from the background.

Make one for each stream and hand it every frame in order. A *cell* stands for
2 x 2 pixels. Times become frames at a fixed 15 frames a second: for a stream of
another rate, give times multiplied by rate / 15.

One thread at a time uses a segmenter; a call while another thread is in one
raises RuntimeError. Distinct segmenters are independent.

Parameters
----------
threshold : float
    Standard deviations by which a pixel may differ from what it was, 0 to 255.
threshold_factor : float
    A factor on it, for example to be less sensitive for a while.
stationary_time : float
    Age in seconds from which foreground counts as stationary. Kept in whole
    milliseconds.
hold_on_time : float
    Seconds for which stationary foreground is kept apart from the background
    before it is absorbed. Kept in whole milliseconds.
abandoned_object : bool
    A switch kept for the caller; it changes no result.

Raises
------
ValueError
    If `threshold` is out of range, or a time is not finite.
)");
    type.attr("__module__") = "kes_tracking";
    type.def(py::init<float, float, double, double, bool>(), py::kw_only(), arg("threshold") = 4.0F,
             arg("threshold_factor") = 1.0F, arg("stationary_time") = 5.0,
             arg("hold_on_time") = 60.0, arg("abandoned_object") = false)
        .def_property("threshold", &Segmenter::Threshold, &Segmenter::SetThreshold,
                      "float : Standard deviations, 0 to 255. ValueError where out of range.")
        .def_property("threshold_factor", &Segmenter::ThresholdFactor,
                      &Segmenter::SetThresholdFactor, "float : A factor on the threshold.")
        .def_property("stationary_time", &Segmenter::StationaryTime, &Segmenter::SetStationaryTime,
                      "float : Seconds, in whole milliseconds.")
        .def_property("hold_on_time", &Segmenter::HoldOnTime, &Segmenter::SetHoldOnTime,
                      "float : Seconds, in whole milliseconds.")
        .def_property("abandoned_object", &Segmenter::AbandonedObject,
                      &Segmenter::SetAbandonedObject,
                      "bool : A switch kept for the caller; it changes no result.")
        .def("reset", &Segmenter::Reset, R"(reset()

Forget what was learnt, and keep every parameter.
)")
        .def("apply", &Segmenter::Apply, arg("frame"), arg("exclude") = py::none(),
             arg("freeze") = py::none(), arg("reset") = py::none(), py::kw_only(),
             arg("form") = "half", arg("out") = py::none(),
             R"(apply(frame, exclude=None, freeze=None, reset=None, *, form='half', out=None)

Take the next frame and return what of it is foreground.

A frame whose half size differs from that of the one before starts afresh.

Parameters
----------
frame : numpy.ndarray
    One plane of luminance, (h, w), uint8. Rows may lie anywhere, also upside
    down; columns must be contiguous. It is read where it lies, and must not be
    written to meanwhile by another thread.
exclude, freeze, reset : numpy.ndarray, optional
    Masks: uint8 or bool, of cells (h // 2, w // 2) or of pixels (h, w), set
    where not 0; a cell is set when one of its pixels is. Or packed, uint32
    (h // 2, (w // 2 + 31) // 32), leftmost cell in the most significant bit.
    Cells of `exclude` are left out of the results and learn on; those of
    `freeze` do not grow older; those of `reset` learn this frame as background.
form : {'half', 'full', 'packed'}
    Of the masks returned: uint8 (h // 2, w // 2) or uint8 (h, w), with 0 and
    255, or packed words as above. The first is quick, the last is quickest.
out : tuple of two numpy.ndarray, optional
    Where to write (young, stationary), instead of into new arrays; either may
    be None.

Returns
-------
young : numpy.ndarray
    Foreground younger than the stationary time.
stationary : numpy.ndarray
    Foreground that has lasted the stationary time. Of both, the last row and
    column of cells are always 0.

Raises
------
TypeError
    If an argument is no array.
ValueError
    If an array has another dtype, shape or order. Nothing is copied silently.
MemoryError
    If there is no memory for the model; the segmenter is then as after `reset`.
RuntimeError
    If another thread is using the segmenter.
)")
        .def("apply_all", &Segmenter::ApplyAll, arg("frames"), arg("exclude") = py::none(),
             arg("freeze") = py::none(), arg("reset") = py::none(), py::kw_only(),
             arg("form") = "half", arg("out") = py::none(),
             R"(apply_all(frames, exclude=None, freeze=None, reset=None, *, form='half', out=None)

Take several frames, as `apply` would one after another.

Parameters
----------
frames : numpy.ndarray
    Planes of luminance, (n, h, w), uint8, columns contiguous.
exclude, freeze, reset : numpy.ndarray, optional
    As for `apply`; the same for each frame.
form, out
    As for `apply`, with the number of frames as the first dimension.

Returns
-------
young, stationary : numpy.ndarray
    As those of `apply`, with the number of frames as the first dimension.

Raises
------
TypeError, ValueError, MemoryError, RuntimeError
    As `apply`.
)");
}

}  // namespace kes::python
