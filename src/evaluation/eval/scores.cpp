#include "eval/scores.hpp"

#include <algorithm>
#include <limits>
#include <map>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>

#include <kes/algorithm/tracking_base/solve.hpp>

namespace kes::eval {
namespace {

namespace hungarian = algorithm::tracking_base::hungarian;
using Costs = Eigen::Array<float, Eigen::Dynamic, Eigen::Dynamic>;

// What one question to the solver may come to: a table of this many floats, and some copies of it.
constexpr std::size_t MostPairs = std::size_t{1} << 24;
constexpr std::size_t MostAgreements = std::size_t{1} << 22;  // entries of a map

constexpr float Forbidden = std::numeric_limits<float>::max();

struct Labelled {
    long id;
    tracker::Box box;
};

using Frames = std::map<long, std::vector<Labelled>>;

Frames ByFrame(std::vector<mot::Row> const& rows, FrameRange range) {
    Frames frames;
    std::map<long, std::set<long>> ids;
    for (auto const& row : rows) {
        if (row.frame < range.first || row.frame > range.last) continue;
        if (!ids[row.frame].insert(row.id).second) {
            throw std::invalid_argument("frame " + std::to_string(row.frame) +
                                        " has two boxes of id " + std::to_string(row.id));
        }
        frames[row.frame].push_back({row.id, row.box});
    }
    return frames;
}

void RefuseTooMany(std::size_t truth, std::size_t result, std::string const& what) {
    if (result == 0 || truth <= MostPairs / result) return;
    throw std::invalid_argument(
        std::to_string(truth) + " true " + what + " and " + std::to_string(result) +
        " of the result are too many to compare: at most " + std::to_string(MostPairs) + " pairs");
}

std::optional<double> Share(double part, double whole) {
    if (whole == 0) return std::nullopt;
    return part / whole;
}

Costs OverlapCosts(std::vector<Labelled> const& truth, std::vector<Labelled> const& result) {
    Costs costs(truth.size(), result.size());
    for (std::size_t t = 0; t < truth.size(); ++t) {
        for (std::size_t r = 0; r < result.size(); ++r) {
            float const overlap = tracker::Overlap(truth[t].box, result[r].box);
            costs(static_cast<Eigen::Index>(t), static_cast<Eigen::Index>(r)) =
                overlap >= MatchOverlap ? 1 - overlap : Forbidden;
        }
    }
    return costs;
}

// Leaves only the kept pair in its row and its column.
void Keep(Costs& costs, Eigen::Index row, Eigen::Index column) {
    costs.row(row) = Forbidden;
    costs.col(column) = Forbidden;
    costs(row, column) = 0;
}

// Of a pair of ids, the number of frames in which their boxes could match.
using Agreement = std::map<std::pair<long, long>, std::int64_t>;

// The most boxes that can agree when each true id is given at most one result id.
std::int64_t BestAgreement(Agreement const& agreement) {
    std::map<long, Eigen::Index> rows;
    std::map<long, Eigen::Index> columns;
    std::int64_t most = 0;
    for (auto const& [ids, count] : agreement) {
        rows.try_emplace(ids.first, static_cast<Eigen::Index>(rows.size()));
        columns.try_emplace(ids.second, static_cast<Eigen::Index>(columns.size()));
        most = std::max(most, count);
    }
    RefuseTooMany(rows.size(), columns.size(), "ids");
    Costs costs(rows.size(), columns.size());
    costs = static_cast<float>(most);
    for (auto const& [ids, count] : agreement) {
        costs(rows[ids.first], columns[ids.second]) = static_cast<float>(most - count);
    }
    auto const marks = hungarian::Solve(costs);
    std::int64_t total = 0;
    for (auto const& [ids, count] : agreement) {
        if (marks(rows[ids.first], columns[ids.second]) == 1) total += count;
    }
    return total;
}

}  // namespace

std::optional<double> Scores::Mota() const {
    auto const errors = Share(static_cast<double>(misses + falsePositives + switches),
                              static_cast<double>(truthBoxes));
    if (!errors) return std::nullopt;
    return 1 - *errors;
}

std::optional<double> Scores::Idf1() const {
    return Share(2 * static_cast<double>(identityMatches),
                 static_cast<double>(truthBoxes + resultBoxes));
}

std::optional<double> Scores::Precision() const {
    return Share(static_cast<double>(matches), static_cast<double>(resultBoxes));
}

std::optional<double> Scores::Recall() const {
    return Share(static_cast<double>(matches), static_cast<double>(truthBoxes));
}

std::vector<mot::Row> Scored(std::vector<mot::Row> truth) {
    std::erase_if(truth, [](mot::Row const& row) { return row.confidence == 0; });
    return truth;
}

FrameRange FramesOf(std::vector<mot::Row> const& rows) {
    auto const [first, last] = std::minmax_element(
        rows.begin(), rows.end(), [](auto const& a, auto const& b) { return a.frame < b.frame; });
    return {first->frame, last->frame};
}

Scores Compare(std::vector<mot::Row> const& truthRows, std::vector<mot::Row> const& resultRows,
               FrameRange range) {
    Frames const truth = ByFrame(truthRows, range);
    Frames const result = ByFrame(resultRows, range);
    Scores scores;
    Agreement agreement;
    for (auto const& [frame, boxes] : result) {
        scores.resultBoxes += static_cast<std::int64_t>(boxes.size());
    }

    std::map<long, long> latest;    // result id that a true id was last matched to
    std::map<long, long> previous;  // the same in the frame before, if it was matched there
    long previousFrame = range.first - 1;
    for (auto const& [frame, trueBoxes] : truth) {
        scores.truthBoxes += static_cast<std::int64_t>(trueBoxes.size());
        if (frame != previousFrame + 1) previous.clear();
        previousFrame = frame;
        std::map<long, long> current;
        auto const found = result.find(frame);
        if (found != result.end()) {
            auto const& foundBoxes = found->second;
            RefuseTooMany(trueBoxes.size(), foundBoxes.size(),
                          "boxes in frame " + std::to_string(frame));
            Costs costs = OverlapCosts(trueBoxes, foundBoxes);
            Costs const unpaired = costs;
            for (Eigen::Index t = 0; t < costs.rows(); ++t) {
                for (Eigen::Index r = 0; r < costs.cols(); ++r) {
                    if (unpaired(t, r) == Forbidden) continue;
                    long const trueId = trueBoxes[static_cast<std::size_t>(t)].id;
                    long const foundId = foundBoxes[static_cast<std::size_t>(r)].id;
                    ++agreement[{trueId, foundId}];
                    if (agreement.size() > MostAgreements) {
                        throw std::invalid_argument("more than " + std::to_string(MostAgreements) +
                                                    " pairs of ids overlap: too many to compare");
                    }
                    auto const before = previous.find(trueId);
                    if (before != previous.end() && before->second == foundId) Keep(costs, t, r);
                }
            }
            auto const marks = hungarian::Solve(costs);
            for (Eigen::Index t = 0; t < costs.rows(); ++t) {
                for (Eigen::Index r = 0; r < costs.cols(); ++r) {
                    if (marks(t, r) == 1) {
                        current[trueBoxes[static_cast<std::size_t>(t)].id] =
                            foundBoxes[static_cast<std::size_t>(r)].id;
                    }
                }
            }
        }
        for (auto const& [trueId, foundId] : current) {
            auto const [last, isFirst] = latest.try_emplace(trueId, foundId);
            if (!isFirst && last->second != foundId) ++scores.switches;
            last->second = foundId;
        }
        scores.matches += static_cast<std::int64_t>(current.size());
        previous = std::move(current);
    }
    scores.misses = scores.truthBoxes - scores.matches;
    scores.falsePositives = scores.resultBoxes - scores.matches;
    scores.identityMatches = BestAgreement(agreement);
    return scores;
}

}  // namespace kes::eval
