#include "algorithm/tracking_base/solve_dense.hpp"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "algorithm/tracking_base/solve_dense.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "algorithm/tracking_base/solve_dense_matrix-inl.hpp"
#include "algorithm/tracking_base/solve_steps-inl.hpp"

HWY_BEFORE_NAMESPACE();
namespace kes::algorithm::tracking_base::hungarian::HWY_NAMESPACE {
namespace {

template <std::size_t GroupRows, bool IsSmall>
void Run(DenseSource const& source, std::size_t rows, std::size_t columns, std::uint8_t* marks) {
    DenseMatrix<GroupRows, IsSmall> matrix(source, rows, columns);
    FindPairs(matrix,
              source.stars == nullptr ? StarZeros(matrix) : matrix.TakeStars(*source.stars));
    WriteMarks(matrix, marks);
}

void SolveInLanes(DenseSource const& source, std::size_t rows, std::size_t columns,
                  std::uint8_t* marks) {
    bool const isSmall = rows <= 64 && columns <= 64;
    // Few rows are not padded to many: a thin matrix takes as little memory as another.
    auto const run = isSmall ? (rows <= 16   ? Run<16, true>
                                : rows <= 32 ? Run<32, true>
                                : rows <= 48 ? Run<48, true>
                                             : Run<64, true>)
                             : (rows == 1    ? Run<1, false>
                                : rows <= 4  ? Run<4, false>
                                : rows <= 16 ? Run<16, false>
                                             : Run<64, false>);
    run(source, rows, columns, marks);
}

}  // namespace
}  // namespace kes::algorithm::tracking_base::hungarian::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kes::algorithm::tracking_base::hungarian {

HWY_EXPORT(SolveInLanes);

void SolveDense(DenseSource const& source, std::size_t rows, std::size_t columns,
                std::uint8_t* marks) {
    HWY_DYNAMIC_DISPATCH(SolveInLanes)(source, rows, columns, marks);
}

}  // namespace kes::algorithm::tracking_base::hungarian
#endif
