#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <optional>
#include <vector>

#include <kes/algorithm/tracking_base/solve.hpp>

#include "arguments.hpp"
#include "bind.hpp"

namespace kes::python {
namespace {

namespace hungarian = algorithm::tracking_base::hungarian;

// From here on a matrix takes long enough for other threads to be let in meanwhile: see
// docs/python.md.
constexpr py::ssize_t LongMatrix = 128 * 128;  // elements

constexpr std::uint8_t Pair = 1;

using Marks = py::array_t<std::uint8_t, py::array::f_style>;

// Column after column, in single precision. A square at a time, so that neither side of the copy
// jumps through memory.
template <typename T>
std::vector<float> ByColumns(py::array const& costs) {
    auto const rows = costs.shape(0);
    auto const columns = costs.shape(1);
    auto const* const first = static_cast<char const*>(costs.data());
    auto const rowStride = costs.strides(0);
    auto const columnStride = costs.strides(1);
    constexpr py::ssize_t Side = 16;
    std::vector<float> copy(static_cast<std::size_t>(rows * columns));
    for (py::ssize_t firstRow = 0; firstRow < rows; firstRow += Side) {
        auto const lastRow = std::min(firstRow + Side, rows);
        for (py::ssize_t firstColumn = 0; firstColumn < columns; firstColumn += Side) {
            auto const lastColumn = std::min(firstColumn + Side, columns);
            for (auto column = firstColumn; column < lastColumn; ++column) {
                float* const to = copy.data() + column * rows;
                for (auto row = firstRow; row < lastRow; ++row) {
                    T cost;
                    std::memcpy(&cost, first + row * rowStride + column * columnStride,
                                sizeof cost);
                    to[row] = static_cast<float>(cost);
                    if constexpr (sizeof(T) > sizeof(float)) {
                        if (std::isinf(to[row]) && !std::isinf(cost)) {
                            throw py::value_error(
                                "costs holds a value beyond the largest float32; "
                                "inf forbids a pair");
                        }
                    }
                }
            }
        }
    }
    return copy;
}

Marks MarkPairs(py::handle object) {
    py::array const costs = ArrayOf(object, "costs");
    if (costs.ndim() != 2) {
        throw py::value_error("costs has shape " + ShapeText(costs) +
                              "; it must be (rows, columns)");
    }
    auto const rows = costs.shape(0);
    auto const columns = costs.shape(1);
    bool const isSingle = py::isinstance<py::array_t<float>>(costs);
    bool const isInPlace = isSingle &&
                           (costs.flags() & py::detail::npy_api::NPY_ARRAY_F_CONTIGUOUS_) != 0 &&
                           (costs.flags() & py::detail::npy_api::NPY_ARRAY_ALIGNED_) != 0;
    std::vector<float> copy;
    if (isSingle && !isInPlace) {
        copy = ByColumns<float>(costs);
    } else if (py::isinstance<py::array_t<double>>(costs)) {
        copy = ByColumns<double>(costs);
    } else if (!isSingle) {
        throw py::value_error("costs has dtype " + py::str(costs.dtype()).cast<std::string>() +
                              "; it must be float32 or float64: convert it with "
                              ".astype(numpy.float32)");
    }
    auto const* const first = isInPlace ? static_cast<float const*>(costs.data()) : copy.data();
    Marks marks({rows, columns});
    std::uint8_t* const to = marks.mutable_data();
    {
        std::optional<py::gil_scoped_release> release;
        if (rows * columns >= LongMatrix) release.emplace();
        hungarian::MarkPairs(first, rows, columns, to);
    }
    return marks;
}

py::tuple Solve(py::handle costs) {
    Marks const marks = MarkPairs(costs);
    auto const rows = marks.shape(0);
    auto const columns = marks.shape(1);
    // Column by column, as they lie in memory; no column holds two pairs.
    std::vector<py::ssize_t> columnOfRow(static_cast<std::size_t>(rows), -1);
    py::ssize_t pairs = 0;
    std::uint8_t const* column = marks.data();
    for (py::ssize_t c = 0; c < columns; ++c, column += rows) {
        auto const* const found = static_cast<std::uint8_t const*>(
            std::memchr(column, Pair, static_cast<std::size_t>(rows)));
        if (found == nullptr) continue;
        columnOfRow[static_cast<std::size_t>(found - column)] = c;
        ++pairs;
    }
    py::array_t<py::ssize_t> rowIndices(pairs);
    py::array_t<py::ssize_t> columnIndices(pairs);
    auto* nextRow = rowIndices.mutable_data();
    auto* nextColumn = columnIndices.mutable_data();
    for (py::ssize_t r = 0; r < rows; ++r) {
        auto const c = columnOfRow[static_cast<std::size_t>(r)];
        if (c < 0) continue;
        *nextRow++ = r;
        *nextColumn++ = c;
    }
    return py::make_tuple(rowIndices, columnIndices);
}

}  // namespace

void BindSolve(py::module_& module) {
    module.def("solve", &Solve, py::arg("costs"), R"(solve(costs)

Pair rows with columns at least total cost.

The interface is that of `scipy.optimize.linear_sum_assignment`, with two
differences: where the forbidden pairs leave no complete solution, as many pairs
are made as they allow; and all arithmetic is in single precision.

Parameters
----------
costs : numpy.ndarray
    (rows, columns), float32 or float64, in any order in memory. Each at least
    0; numpy.inf forbids the pair. float32 in Fortran order is read where it
    lies; anything else is copied, and float64 rounded to float32.

Returns
-------
row_indices, column_indices : numpy.ndarray
    (pairs,), intp: ``costs[row_indices, column_indices]`` are the costs of the
    pairs. Rows ascend.

Raises
------
TypeError
    If `costs` is no array.
ValueError
    If it has another dtype or shape, or holds NaN, -inf or a number beyond
    float32.
MemoryError
    If there is no memory for the work.

See Also
--------
mark_pairs : The same as a matrix of marks.

Notes
-----
Ties are broken always in the same way. Negative costs are accepted, but the
total need then not be the least. Any number of threads may call it at once.
)");
    module.def("mark_pairs", &MarkPairs, py::arg("costs"), R"(mark_pairs(costs)

Pair rows with columns at least total cost, and mark the pairs in a matrix.

Parameters
----------
costs : numpy.ndarray
    As for `solve`.

Returns
-------
marks : numpy.ndarray
    (rows, columns), uint8, in Fortran order. 1 is a pair; anything else, 0 or
    2, is none.

Raises
------
TypeError, ValueError, MemoryError
    As `solve`.
)");
}

}  // namespace kes::python
