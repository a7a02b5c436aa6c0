#include "support/plain_assignment.hpp"

#include <cstddef>
#include <limits>
#include <optional>
#include <set>
#include <utility>
#include <vector>

namespace kes::test {
namespace {

using algorithm::tracking_base::hungarian::Costs;
using algorithm::tracking_base::hungarian::Marks;
using algorithm::tracking_base::hungarian::RowCol;
using Index = Eigen::Index;

constexpr float Forbidden = std::numeric_limits<float>::max();

enum Mark : std::uint8_t { Unmarked = 0, Starred = 1, Primed = 2 };

class Steps {
public:
    explicit Steps(Costs matrix)
        : costs(std::move(matrix)),
          rows(costs.rows()),
          cols(costs.cols()),
          marks(Marks::Zero(rows, cols)),
          rowCover(static_cast<std::size_t>(rows)),
          colCover(static_cast<std::size_t>(cols)) {}

    Marks Run() {
        for (int step = 1; step != Stop;) {
            switch (step) {
                case 1: step = StarTheZerosThatAreThere(); break;
                case 2: step = CoverStarredColumns(); break;
                case 3: step = PrimeAnUncoveredZero(); break;
                case 4: step = FlipThePath(); break;
                case 5: step = MoveTheMinimum(); break;
            }
        }
        return marks;
    }

private:
    static constexpr int Stop = 0;

    int StarTheZerosThatAreThere() {
        for (Index r = 0; r < rows; ++r) {
            for (Index c = 0; c < cols; ++c) {
                if (costs(r, c) == 0 && !RowMarked(c, Starred)) {
                    marks(r, c) = Starred;
                    break;
                }
            }
        }
        return 2;
    }

    int CoverStarredColumns() {
        if (rows == 0) return Stop;
        Index stars = 0;
        for (Index r = 0; r < rows; ++r) {
            for (Index c = 0; c < cols; ++c) {
                if (marks(r, c) != Starred) continue;
                colCover[static_cast<std::size_t>(c)] = true;
                ++stars;
            }
        }
        return stars >= rows ? Stop : 3;
    }

    int PrimeAnUncoveredZero() {
        std::optional<RowCol> const zero = FirstUncoveredZero();
        if (!zero) return 5;
        marks(zero->row, zero->column) = Primed;
        std::optional<Index> const star = ColMarked(zero->row, Starred);
        if (!star) {
            z0 = *zero;
            return 4;
        }
        rowCover[static_cast<std::size_t>(zero->row)] = true;
        colCover[static_cast<std::size_t>(*star)] = false;
        return 3;
    }

    int FlipThePath() {
        std::set<RowCol> path{z0};
        Index c = z0.column;
        for (;;) {
            std::optional<Index> const r = RowMarked(c, Starred, path);
            if (!r) break;
            path.insert({*r, c});
            std::optional<Index> const k = ColMarked(*r, Primed, path);
            if (!k) break;
            path.insert({*r, *k});
            c = *k;
        }
        for (RowCol const& cell : path) {
            std::uint8_t& mark = marks(cell.row, cell.column);
            mark = mark == Primed ? Starred : Unmarked;
        }
        marks = (marks == Primed).select(Marks::Zero(rows, cols), marks);
        rowCover.assign(rowCover.size(), false);
        colCover.assign(colCover.size(), false);
        return 2;
    }

    int MoveTheMinimum() {
        if (rows == 0) return Stop;
        float m = Forbidden;
        for (Index r = 0; r < rows; ++r) {
            for (Index c = 0; c < cols; ++c) {
                if (IsRowCovered(r) || IsColCovered(c)) continue;
                m = m < costs(r, c) ? m : costs(r, c);
            }
        }
        // A sum has overflowed downward; moving infinity would make NaN and never end.
        if (m == Forbidden || m == -std::numeric_limits<float>::infinity()) return Stop;
        for (Index r = 0; r < rows; ++r) {
            if (!IsRowCovered(r)) continue;
            for (Index c = 0; c < cols; ++c) {
                if (costs(r, c) != Forbidden) costs(r, c) += m;
            }
        }
        for (Index c = 0; c < cols; ++c) {
            if (IsColCovered(c)) continue;
            for (Index r = 0; r < rows; ++r) {
                if (costs(r, c) != Forbidden) costs(r, c) -= m;
            }
        }
        return 3;
    }

    std::optional<RowCol> FirstUncoveredZero() const {
        for (Index r = 0; r < rows; ++r) {
            if (IsRowCovered(r)) continue;
            for (Index c = 0; c < cols; ++c) {
                if (!IsColCovered(c) && costs(r, c) == 0) return RowCol{r, c};
            }
        }
        return std::nullopt;
    }

    // The first row with that mark in column c, off the path.
    std::optional<Index> RowMarked(Index c, Mark mark, std::set<RowCol> const& path = {}) const {
        for (Index r = 0; r < rows; ++r) {
            if (marks(r, c) == mark && path.count({r, c}) == 0) return r;
        }
        return std::nullopt;
    }

    // The first column with that mark in row r, off the path.
    std::optional<Index> ColMarked(Index r, Mark mark, std::set<RowCol> const& path = {}) const {
        for (Index c = 0; c < cols; ++c) {
            if (marks(r, c) == mark && path.count({r, c}) == 0) return c;
        }
        return std::nullopt;
    }

    bool IsRowCovered(Index r) const { return rowCover[static_cast<std::size_t>(r)]; }
    bool IsColCovered(Index c) const { return colCover[static_cast<std::size_t>(c)]; }

    Costs costs;
    Index rows;
    Index cols;
    Marks marks;
    std::vector<bool> rowCover;
    std::vector<bool> colCover;
    RowCol z0{};
};

}  // namespace

Marks PlainSolve(Costs costs) { return Steps(std::move(costs)).Run(); }

}  // namespace kes::test
