#include "algorithm/tracking_base/solve_deferred.hpp"

#include <algorithm>

#include "algorithm/tracking_base/solve_dense.hpp"
#include "algorithm/tracking_base/solve_history.hpp"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "algorithm/tracking_base/solve_deferred.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include "algorithm/tracking_base/solve_deferred_matrix-inl.hpp"
#include "algorithm/tracking_base/solve_steps-inl.hpp"

HWY_BEFORE_NAMESPACE();
namespace kes::algorithm::tracking_base::hungarian::HWY_NAMESPACE {
namespace {

bool SolveDeferredInLanes(float const* costs, Survey const& survey, std::size_t rows,
                          std::size_t columns, std::uint8_t* marks) {
    DeferredMatrix matrix(costs, survey, rows, columns);
    switch (FindPairs(matrix, StarZeros(matrix))) {
        case Ending::Found:
        case Ending::NoneLeft: WriteMarks(matrix, marks); return true;
        case Ending::NotStarted:
            SolveDense({matrix.Cells(), matrix.Stride(), matrix.Largest(), false, &matrix.marking},
                       rows, columns, marks);
            return true;
        case Ending::NotMoved: return false;
    }
    return false;
}

}  // namespace
}  // namespace kes::algorithm::tracking_base::hungarian::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kes::algorithm::tracking_base::hungarian {

HWY_EXPORT(SolveDeferredInLanes);

bool SolveDeferred(float const* costs, Survey const& survey, std::size_t rows, std::size_t columns,
                   std::uint8_t* marks) {
    // Row and column numbers share 31 bits with a flag, and a search must fit into the history.
    constexpr std::size_t MostLines = std::size_t{1} << 30;
    if (std::max(rows, columns) > MostLines) return false;
    if (std::min(rows, columns) + 2 > MoveHistory::MostMoves) return false;
    return HWY_DYNAMIC_DISPATCH(SolveDeferredInLanes)(costs, survey, rows, columns, marks);
}

}  // namespace kes::algorithm::tracking_base::hungarian
#endif
