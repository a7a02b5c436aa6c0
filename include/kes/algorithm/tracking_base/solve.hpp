/// \file
/// hungarian::Solve: which rows of a cost matrix (tracks, say) to pair with which columns
/// (detections, say) so that the pairs cost least in all. RowCol names a cell of such a matrix.
#pragma once

#include <cstdint>
#include <utility>

#include <Eigen/Core>

#include <kes/export.hpp>

namespace kes::algorithm::tracking_base::hungarian {

/// @{
/// Costs and marks, in Eigen's default storage order, spelt out so that the caller's macros do not
/// change it.
using Costs = Eigen::Array<float, Eigen::Dynamic, Eigen::Dynamic, Eigen::ColMajor>;
using Marks = Eigen::Array<std::uint8_t, Eigen::Dynamic, Eigen::Dynamic, Eigen::ColMajor>;
/// @}

/// A cell of a matrix, {0, 0} by default. An aggregate: RowCol{row, column}. Cells are ordered by
/// row and, within a row, by column.
struct RowCol {
    std::int64_t row = 0;     ///< from 0 at the top
    std::int64_t column = 0;  ///< from 0 at the left

    /// @{
    /// The order above; equal when row and column are.
    friend constexpr bool operator<(RowCol const& a, RowCol const& b) {
        return a.row < b.row || (a.row == b.row && a.column < b.column);
    }
    friend constexpr bool operator==(RowCol const& a, RowCol const& b) {
        return a.row == b.row && a.column == b.column;
    }
    friend constexpr bool operator!=(RowCol const& a, RowCol const& b) { return !(a == b); }
    /// @}
};

/// Solve on plain memory: both arrays hold rows * columns elements, column after column. Overwrites
/// every mark. Throws as Solve does.
KES_EXPORT void MarkPairs(float const* costs, std::int64_t rows, std::int64_t columns,
                          std::uint8_t* marks);

// Eigen allocates in a way that depends on the compiler's flags, so memory that one side of a
// library's edge allocates must not be freed by the other. Solve is therefore static: compiled into
// every source file that calls it, with that file's flags, so that only plain pointers cross the
// edge. The library exports a function of the same name outside this inline namespace, for callers
// that look it up by symbol.
inline namespace caller_side {

/// Pairs rows with columns at least total cost.
///
/// `costs`: any shape, no row or no column included. A cost is at least 0, and the largest finite
/// float (`std::numeric_limits<float>::max()`) forbids the pair; +infinity does the same. As many
/// pairs are made as the forbidden ones allow, up to the smaller of rows and columns, and no row or
/// column is in two pairs.
///
/// Returns marks of the same shape. A cell that holds 1 is a pair; read nothing else from it: 0 is
/// no pair, and a 2, a candidate that the search left behind when it ended, is no pair either.
///
/// Ties are broken always in the same way, by the steps of the method: zeros are taken row by row
/// and from the left. Equal costs give (0, 1), (1, 0) for 2 x 2 and (0, 2), (1, 1), (2, 0) for
/// 3 x 3. All arithmetic rounds to single precision, so where costs differ by many orders of
/// magnitude the small ones can vanish beside the large. The same costs give the same marks on
/// every processor.
///
/// Negative costs are accepted, with two caveats: a zero that is in the matrix from the start is
/// preferred to a negative cost beside it, so that the total need not be the least; and where costs
/// are so negative that sums overflow, the search ends early with the pairs it has.
///
/// Throws `std::invalid_argument` "Cost matrix must not hold NaN or negative infinity", and
/// `std::bad_alloc`. Keeps no state: any number of threads may call it at once.
///
/// Time grows with about the cube of the matrix's side, and with the fourth power for costs that
/// are products of a row's and a column's factor, of which 400 x 400 take seconds. Memory is a few
/// copies of the matrix.
///
/// The method is the Hungarian one (Kuhn, 1955) in the form of Munkres (1957), with the extension
/// to rectangular matrices by Bourgeois and Lassalle (1971).
static inline Marks Solve(Costs costs) {
    Marks marks(costs.rows(), costs.cols());
    MarkPairs(costs.data(), costs.rows(), costs.cols(), marks.data());
    return marks;
}

}  // namespace caller_side
}  // namespace kes::algorithm::tracking_base::hungarian
