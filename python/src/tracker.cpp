#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <pybind11/stl.h>

#include <kes/tracker/tracker.hpp>

#include "bind.hpp"
#include "in_use.hpp"
#include "tracks.hpp"

namespace kes::python {
namespace {

using algorithm::BitMask;

// A mask of cells, (h / 2, w / 2); its size is that of the array.
BitMask CellsOf(py::handle object, char const* name) {
    if (object.is_none()) return {};
    py::array const cells = ArrayOf(object, name);
    if (cells.ndim() != 2) {
        throw py::value_error(std::string(name) + " has shape " + ShapeText(cells) +
                              "; it must be one of cells, (height // 2, width // 2)");
    }
    Size const frameSize{2 * SideOf(cells.shape(1)), 2 * SideOf(cells.shape(0))};
    BitMask mask = EmptyMask(frameSize);
    ReadMask(object, name, frameSize, mask);
    return mask;
}

std::vector<tracker::Detection> DetectionsOf(py::handle object) {
    using Rows = py::array_t<double, py::array::c_style | py::array::forcecast>;
    py::array const given = ArrayOf(object, "detections");
    char const kind = given.dtype().kind();
    if (given.ndim() != 2 || given.shape(1) < 4 || given.shape(1) > 6 ||
        (kind != 'f' && kind != 'i' && kind != 'u')) {
        throw py::value_error("detections has dtype " + py::str(given.dtype()).cast<std::string>() +
                              " and shape " + ShapeText(given) +
                              "; it must be of numbers, (n, 4), (n, 5) or (n, 6): left, top, "
                              "right, bottom, confidence, label");
    }
    Rows const rows(given);
    auto const columns = static_cast<std::size_t>(rows.shape(1));
    std::vector<tracker::Detection> detections(static_cast<std::size_t>(rows.shape(0)));
    double const* row = rows.data();
    for (auto& detection : detections) {
        auto const at = [row](std::size_t column) { return static_cast<float>(row[column]); };
        detection.box = {at(0), at(1), at(2), at(3)};
        if (columns > 4) detection.confidence = at(4);
        if (columns > 5) {
            if (!(row[5] >= 0 && row[5] <= std::numeric_limits<unsigned int>::max())) {
                throw py::value_error("detections holds a label that is negative or too large");
            }
            detection.label = static_cast<unsigned int>(row[5]);
        }
        row += columns;
    }
    return detections;
}

class Tracker {
public:
    Tracker(tracker::Options given, py::handle exclude, py::handle freeze, py::handle reset)
        : options(std::move(given)) {
        options.exclude = CellsOf(exclude, "exclude");
        options.freeze = CellsOf(freeze, "freeze");
        options.reset = CellsOf(reset, "reset");
        Reset();
    }

    Tracks Update(py::handle pixels, std::optional<double> time, py::handle detections,
                  py::handle format) {
        InUse const use(isInUse, Name);
        Frame const frame = FrameOf(pixels, format);
        double const now = time ? *time : static_cast<double>(frames) / options.framesPerSecond;
        if (!std::isfinite(now) || now < lastTime) {
            throw py::value_error("time must be finite and not before that of the last frame");
        }
        std::optional<std::vector<tracker::Detection>> boxes;
        if (!detections.is_none()) boxes = DetectionsOf(detections);
        Tracks tracks;
        {
            py::gil_scoped_release const release;
            tracks.result = boxes ? native->Process(frame, *boxes) : native->Process(frame);
        }
        tracks.time = lastTime = now;
        ++frames;
        return tracks;
    }

    void ForgetObjects() {
        InUse const use(isInUse, Name);
        native->ForgetObjects();
        Rewind();
    }

    void Reset() {
        InUse const use(isInUse, Name);
        native = std::make_unique<tracker::Tracker>(options);
        Rewind();
    }

    tracker::Options const& Options() const { return options; }

private:
    void Rewind() {
        frames = 0;
        lastTime = -std::numeric_limits<double>::infinity();
    }

    static constexpr char const* Name = "Tracker";

    tracker::Options options;
    std::unique_ptr<tracker::Tracker> native;
    bool isInUse = false;
    std::uint64_t frames = 0;  // since the beginning of time
    double lastTime = 0;
};

class Smoother {
public:
    Smoother(std::size_t delay, std::size_t smoothing) : native(delay, smoothing) {}

    std::optional<Tracks> Push(Tracks const& tracks) {
        times.push_back(tracks.time);
        return WithTime(native.Push(tracks.result));
    }

    std::optional<Tracks> Pop() { return WithTime(native.Pop()); }

private:
    std::optional<Tracks> WithTime(std::optional<tracker::Result> result) {
        if (!result) return std::nullopt;
        double const time = times.front();
        times.pop_front();
        return Tracks{std::move(*result), time};
    }

    tracker::FixedLagSmoother native;
    std::deque<double> times;  // of the results held
};

template <auto Field>
auto Option(Tracker const& tracker) {
    return tracker.Options().*Field;
}

}  // namespace

void BindTracker(py::module_& module) {
    using py::arg;
    tracker::Options const defaults;
    py::class_<Tracker> type(module, "Tracker", R"(Tracker(*, frames_per_second=15.0, **options)

Which objects are where in a video, under identities that last.

Make one for each stream and hand it every frame in order. One thread at a time
uses a tracker; a call while another thread is in one raises RuntimeError.
Distinct trackers are independent. Times are in seconds and not negative.

Parameters
----------
frames_per_second : float
    Of the stream; every time below is counted with it.
threshold : float
    Of the segmenter, in standard deviations, 0 to 255. Default 4.
threshold_factor : float
    A factor on it. Default 1.
minimum_height : float
    Of an object, as a share of the frame's height. Default 1 / 12.
minimum_static_side : float
    Of a static object, as a share of the frame's height. Default 1 / 40.
confirmation_time : float
    That an object is seen before it counts. Default 0.4.
maximum_occlusion : float
    That an object is followed behind another. Default 2.
maximum_age : float
    That an object is not seen and still keeps its identity. Default 5.
gate : float
    How far it may come back, in its own heights a second. Default 0.6.
stationary_time : float
    At rest, until something counts as stationary. Default 5.
hold_on_time : float
    Stationary, until it joins the background. Default 60.
exclude, freeze, reset : numpy.ndarray, optional
    Masks of cells, uint8 or bool (h // 2, w // 2), set where not 0: no
    foreground is seen in `exclude`; foreground in `freeze` does not grow older;
    every frame is learnt as background in `reset`.

Raises
------
ValueError
    If an option is out of range.
)");
    type.attr("__module__") = "kes_tracking";
    type.def(py::init([](double framesPerSecond, float threshold, float thresholdFactor,
                         float minimumHeight, float minimumStaticSide, double confirmationTime,
                         double maximumOcclusion, double maximumAge, float gate,
                         double stationaryTime, double holdOnTime, py::object const& exclude,
                         py::object const& freeze, py::object const& reset) {
                 tracker::Options options;
                 options.framesPerSecond = framesPerSecond;
                 options.threshold = threshold;
                 options.thresholdFactor = thresholdFactor;
                 options.minimumHeight = minimumHeight;
                 options.minimumStaticSide = minimumStaticSide;
                 options.confirmationTime = confirmationTime;
                 options.maximumOcclusion = maximumOcclusion;
                 options.maximumAge = maximumAge;
                 options.gate = gate;
                 options.stationaryTime = stationaryTime;
                 options.holdOnTime = holdOnTime;
                 return std::make_unique<Tracker>(options, exclude, freeze, reset);
             }),
             py::kw_only(), arg("frames_per_second") = defaults.framesPerSecond,
             arg("threshold") = defaults.threshold,
             arg("threshold_factor") = defaults.thresholdFactor,
             arg("minimum_height") = defaults.minimumHeight,
             arg("minimum_static_side") = defaults.minimumStaticSide,
             arg("confirmation_time") = defaults.confirmationTime,
             arg("maximum_occlusion") = defaults.maximumOcclusion,
             arg("maximum_age") = defaults.maximumAge, arg("gate") = defaults.gate,
             arg("stationary_time") = defaults.stationaryTime,
             arg("hold_on_time") = defaults.holdOnTime, arg("exclude") = py::none(),
             arg("freeze") = py::none(), arg("reset") = py::none())
        .def_property_readonly("frames_per_second", &Option<&tracker::Options::framesPerSecond>,
                               "float : Of the stream.")
        .def("update", &Tracker::Update, arg("frame"), arg("time") = py::none(), py::kw_only(),
             arg("detections") = py::none(), arg("format") = py::none(),
             R"(update(frame, time=None, *, detections=None, format=None)

Take the next frame and return the objects in it.

When the frame's size differs from that of the frame before, objects and scene
are forgotten. The interpreter lock is released meanwhile.

Parameters
----------
frame : numpy.ndarray
    uint8: (h, w, 3) BGR, as OpenCV gives it, or grey, (h, w); rows anywhere,
    columns contiguous. It is read where it lies, and must not be written to
    meanwhile by another thread.
time : float, optional
    When it was taken, in seconds, not before the frame before. By default the
    frames are counted. It is passed on and changes no result.
detections : numpy.ndarray, optional
    What a detector found, in place of foreground: (n, 4) left, top, right,
    bottom in frame pixels; (n, 5) with a confidence, 0 to 1; (n, 6) with a
    label, and only detections of one label are taken for the same object. A box
    without area or outside the frame is left out; objects begin only with the
    surer half of all boxes so far. Give a tracker detections with every frame
    or with none.
format : {'bgr', 'rgb', 'yuv', 'nv12', 'grey'}, optional
    Of the frame, where it is another: (h, w, 3), or for 'nv12'
    (3 * h // 2, w) or a tuple of arrays, (luma, chroma).

Returns
-------
Tracks
    All that are followed, those not confirmed and those lost included.

Raises
------
TypeError, ValueError
    If an argument is not as described; nothing has changed then.
MemoryError
    If there is no memory for the work.
RuntimeError
    If another thread is using the tracker.
)")
        .def("forget_objects", &Tracker::ForgetObjects, R"(forget_objects()

Forget the objects, so that identities begin at 1 again, and the time, and keep
what was learnt of the scene: its background, and how objects look where.
)")
        .def("reset", &Tracker::Reset, R"(reset()

Forget everything but the options.
)");

    py::class_<Smoother> smoother(module, "Smoother", R"(Smoother(delay=0, smoothing=0)

Results a moment later, when more is known.

What was seen for too short a time to count is gone, what turned out to count is
there from its first frame, and short gaps are filled in. Without a delay it
leaves out what does not count yet, and what is lost.

Parameters
----------
delay : int
    Frames by which results come later than they go in.
smoothing : int
    Frames to either side (after it, `delay` at most) over which an object's
    boxes are evened out; 0 for none.
)");
    smoother.attr("__module__") = "kes_tracking";
    smoother
        .def(py::init<std::size_t, std::size_t>(), arg("delay") = std::size_t{0},
             arg("smoothing") = std::size_t{0})
        .def("push", &Smoother::Push, arg("tracks"), R"(push(tracks)

Take those of a frame and return those of the frame `delay` earlier.

Returns
-------
Tracks or None
    None until there is such a frame.
)")
        .def("pop", &Smoother::Pop, R"(pop()

At the end of the video: return the tracks still held, one call after another.

Returns
-------
Tracks or None
    None when no more are held.
)");
}

}  // namespace kes::python
