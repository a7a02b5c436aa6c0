// The inputs behind tests/golden/bits.txt, as NumPy arrays over the generators' own memory.
#include <array>
#include <string>

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include "support/generated.hpp"
#include "support/hash.hpp"
#include "support/smog_cases.hpp"

namespace py = pybind11;
using namespace kes::test;
using kes::media::ColourFormat;

namespace {

template <typename T>
py::array_t<T> View(T* first, std::vector<std::size_t> shape, std::vector<std::size_t> strides,
                    py::handle owner) {
    return py::array_t<T>(std::move(shape), std::move(strides), first, owner);
}

py::array Words(Mask& mask, py::handle owner) {
    std::size_t const words = kes::algorithm::WordsPerRow(mask.width);
    return View(mask.words.data(), {mask.height, words}, {4 * words, 4}, owner);
}

std::array<int, 4> Sides(kes::geometry::Rectangle<int> const& r) {
    return {r.left, r.top, r.right, r.bottom};
}

}  // namespace

PYBIND11_MODULE(golden_inputs, module) {
    py::class_<Hash>(module, "Hash")
        .def(py::init<>())
        .def("add",
             [](Hash& hash, py::bytes const& bytes) {
                 for (char const byte : std::string_view(bytes)) hash << byte;
             })
        .def_readonly("value", &Hash::value);

    py::class_<Generator>(module, "Generator")
        .def(py::init<std::uint64_t>())
        .def("below", &Generator::Below)
        .def("one_in", &Generator::OneIn);

    py::class_<GeneratedVideo>(module, "Video")
        .def(py::init<std::uint64_t, unsigned, unsigned, std::size_t>())
        .def("advance", &GeneratedVideo::Advance)
        .def_property_readonly("frame",
                               [](py::object const& self) {
                                   auto& picture = self.cast<GeneratedVideo&>().picture;
                                   return View(picture.bytes.data(),
                                               {picture.height, picture.width}, {picture.stride, 1},
                                               self);
                               })
        .def_property_readonly("masks", [](py::object const& self) {
            auto& video = self.cast<GeneratedVideo&>();
            return py::make_tuple(Words(video.exclude, self), Words(video.freeze, self),
                                  Words(video.reset, self));
        });

    py::class_<Mask>(module, "Mask").def_property_readonly("words", [](py::object const& self) {
        return Words(self.cast<Mask&>(), self);
    });
    py::class_<ColourPicture>(module, "Picture")
        .def(py::init([](int format, unsigned width, unsigned height, std::size_t padding) {
            return ColourPicture(static_cast<ColourFormat>(format), width, height, padding);
        }))
        .def_property_readonly("frame", [](py::object const& self) -> py::object {
            auto& picture = self.cast<ColourPicture&>();
            std::size_t const width = picture.width;
            std::size_t const height = picture.height;
            if (picture.format != ColourFormat::Nv12) {
                return View(picture.plane0.data(), {height, width, 3}, {picture.stride, 3, 1},
                            self);
            }
            return py::make_tuple(
                View(picture.plane0.data(), {height, width}, {picture.stride, 1}, self),
                View(picture.plane1.data(), {(height + 1) / 2, (width + 1) / 2 * 2},
                     {picture.stride, 1}, self));
        });
    py::class_<SmogCases>(module, "Cases")
        .def(py::init<std::uint64_t>())
        .def("uniform", &SmogCases::Uniform)
        .def("paint", &SmogCases::Paint)
        .def("mask", &SmogCases::AnyMask)
        .def("blob", [](SmogCases& cases, Mask const& mask) { return Sides(cases.Blob(mask)); })
        .def("blob_inside",
             [](SmogCases& cases, Mask const& mask) { return Sides(cases.BlobInside(mask)); });
}
