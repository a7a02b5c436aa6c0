// The calls that bench/python_calls compares, made in C++ on the same memory. Each returns the
// seconds that it took.
#include <chrono>

#include <pybind11/numpy.h>

#include <kes/algorithm/tracking_base/emog_segmenter.hpp>
#include <kes/algorithm/tracking_base/smog.hpp>
#include <kes/algorithm/tracking_base/solve.hpp>
#include <kes/tracker/tracker.hpp>

namespace py = pybind11;
using namespace kes::algorithm;
using namespace kes::algorithm::tracking_base;
using kes::media::ColourFormat;
using Frame = kes::media::video::FrameBase<void const>;
using Pixels = py::array_t<std::uint8_t, py::array::c_style>;
using Costs = py::array_t<float, py::array::f_style>;

namespace {

double Time(auto const& work) {
    auto const start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

Frame View(Pixels const& pixels) {
    Frame::Planes planes{};
    planes[0] = {static_cast<unsigned long>(pixels.nbytes()), pixels.data(), pixels.strides(0)};
    return Frame(planes, pixels.ndim() == 2 ? ColourFormat::Grey : ColourFormat::Bgr,
                 static_cast<unsigned>(pixels.shape(1)), static_cast<unsigned>(pixels.shape(0)), {},
                 {});
}

struct Segmenter {
    double Apply(Pixels const& pixels) {
        BitMask const size = MakeEmptyMask(static_cast<unsigned>(pixels.shape(1)) / 2,
                                           static_cast<unsigned>(pixels.shape(0)) / 2);
        if (none.width != size.width) none = young = stationary = size;
        return Time([&] {
            native.Process(View(pixels), none.words.data(), none.words.data(), none.words.data(),
                           young.words.data(), stationary.words.data());
        });
    }

    EmogSegmenter native;
    BitMask none, young, stationary;
};

struct Appearance {
    explicit Appearance(Pixels const& pixels)
        : mask(MakeEmptyMask(static_cast<unsigned>(pixels.shape(1)) / 2,
                             static_cast<unsigned>(pixels.shape(0)) / 2)) {
        for (auto& word : mask.words) word = ~0U;
    }

    double Update(int l, int t, int r, int b, Pixels const& pixels) {
        return Time([&] { native.Update({l, t, r, b}, mask, View(pixels)); });
    }
    double Score(int l, int t, int r, int b, Pixels const& pixels) {
        return Time([&] { score = native.ScoreBlob({l, t, r, b}, mask, View(pixels)); });
    }

    appearance::Smog native;
    BitMask mask;
    float score = 0;
};

}  // namespace

PYBIND11_MODULE(cpp_calls, module) {
    py::class_<Segmenter>(module, "Segmenter").def(py::init<>()).def("apply", &Segmenter::Apply);
    py::class_<Appearance>(module, "Appearance")
        .def(py::init<Pixels const&>())
        .def("update", &Appearance::Update)
        .def("score", &Appearance::Score);
    py::class_<kes::tracker::Tracker>(module, "Tracker")
        .def(py::init([] {
            kes::tracker::Options options;
            options.framesPerSecond = 10;
            return std::make_unique<kes::tracker::Tracker>(options);
        }))
        .def("update", [](kes::tracker::Tracker& tracker, Pixels const& pixels) {
            return Time([&] { tracker.Process(View(pixels)); });
        });
    module.def("solve", [](Costs const& costs) {
        py::array_t<std::uint8_t, py::array::f_style> marks({costs.shape(0), costs.shape(1)});
        return Time([&] {
            hungarian::MarkPairs(costs.data(), costs.shape(0), costs.shape(1),
                                 marks.mutable_data());
        });
    });
}
