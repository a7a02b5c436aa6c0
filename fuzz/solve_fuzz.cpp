// Any matrix, against the plain steps; and what no steps end on is refused.
#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <stdexcept>

#include <kes/algorithm/tracking_base/solve.hpp>

#include "bytes.hpp"
#include "support/plain_assignment.hpp"
#include "support/solve_ways.hpp"

using kes::algorithm::tracking_base::hungarian::Costs;
using kes::algorithm::tracking_base::hungarian::Marks;
using kes::fuzz::Bytes;
using kes::fuzz::Check;

namespace {

constexpr float Forbidden = std::numeric_limits<float>::max();
constexpr float Infinity = std::numeric_limits<float>::infinity();

// Ties, forbidden pairs, costs so far apart that they round away, shares of 255, or any bits.
float TakeCost(Bytes& bytes, unsigned int kind) {
    constexpr std::array Odd{0.0F, -0.0F, Forbidden, Infinity, 1e-45F, 1e-6F, 1.0F, 16777216.0F};
    switch (kind) {
        case 0: return static_cast<float>(bytes.Below(4));
        case 1: return static_cast<float>(bytes.Take<std::uint8_t>()) / 255;
        case 2: {
            unsigned int const value = bytes.Below(32);
            return value < Odd.size() ? Odd[value] : static_cast<float>(value) * 0.1F;
        }
        case 3: return static_cast<float>(bytes.Take<std::int8_t>());
        case 4: return std::ldexp(1.0F, bytes.Take<std::int8_t>() % 40);
        default: return bytes.Take<float>();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    Bytes bytes(data, size);
    unsigned int const kind = bytes.Below(6);
    auto const [rows, columns] = std::array{bytes.Below(40), bytes.Below(40)};
    Costs costs(rows, columns);
    // What the input leaves open repeats what it says.
    auto const cells = static_cast<std::size_t>(costs.size());
    for (std::size_t i = 0, said = 0; i < cells; ++i) {
        if (bytes.IsEmpty() && said > 0) {
            costs.data()[i] = costs.data()[i * 7 % said];
        } else {
            costs.data()[i] = TakeCost(bytes, kind);
            ++said;
        }
    }

    Costs const before = costs;
    auto const isRefused = [](float cost) { return std::isnan(cost) || cost == -Infinity; };
    bool const mustRefuse = std::any_of(before.data(), before.data() + cells, isRefused);
    try {
        auto const ways = kes::test::SolveInEachWay(costs);
        Check(!mustRefuse, "NaN and -infinity are refused");
        Marks const expected = kes::test::PlainSolve(before);
        for (auto const& [name, marks] : ways) {
            Check(marks.rows() == expected.rows() && marks.cols() == expected.cols(), "shape");
            Check((marks == expected).all(), name);
        }
    } catch (std::invalid_argument const&) {
        Check(mustRefuse, "any other matrix is solved");
    }
    Check(cells == 0 || std::memcmp(costs.data(), before.data(), cells * sizeof(float)) == 0,
          "the caller's matrix is the caller's");
    return 0;
}
