#include "bench/tables.hpp"

#include <algorithm>
#include <cstdio>
#include <ostream>
#include <string>

namespace kes::bench {
namespace {

// In the order of their first appearance.
template <typename KeyOf>
std::vector<std::string> Distinct(std::vector<Result> const& results, KeyOf const& keyOf) {
    std::vector<std::string> keys;
    for (Result const& result : results) {
        std::string const key = keyOf(result);
        if (std::find(keys.begin(), keys.end(), key) == keys.end()) keys.push_back(key);
    }
    return keys;
}

std::string TableOf(Result const& result) { return result.job.substr(0, result.job.rfind('/')); }
std::string ColumnOf(Result const& result) { return result.job.substr(result.job.rfind('/') + 1); }
std::string RowOf(Result const& result) { return result.name; }

Result const* Find(std::vector<Result> const& results, std::string const& column,
                   std::string const& row) {
    auto const found = std::find_if(results.begin(), results.end(), [&](Result const& result) {
        return ColumnOf(result) == column && RowOf(result) == row;
    });
    return found == results.end() ? nullptr : &*found;
}

std::string TextOf(Result const* result, Result const* first) {
    if (result == nullptr || first == nullptr) return "–";
    char text[64];
    bool const isShort = result->microseconds < 100;
    std::snprintf(text, sizeof text, isShort ? "%.1f (%.2f)" : "%.0f (%.2f)", result->microseconds,
                  result->microseconds / first->microseconds);
    return text;
}

}  // namespace

std::vector<Result> MediansOf(std::vector<Result> const& resultsOfAllRuns) {
    std::vector<Result> medians;
    std::vector<std::vector<double>> times;
    for (Result const& result : resultsOfAllRuns) {
        auto const known = std::find_if(medians.begin(), medians.end(), [&](Result const& median) {
            return median.job == result.job && median.name == result.name;
        });
        auto const i = static_cast<std::size_t>(known - medians.begin());
        if (known == medians.end()) {
            medians.push_back(result);
            times.emplace_back();
        }
        times[i].push_back(result.microseconds);
    }
    for (std::size_t i = 0; i < medians.size(); ++i) medians[i].microseconds = Median(times[i]);
    return medians;
}

void PrintMarkdown(std::ostream& out, std::vector<Result> const& results) {
    for (std::string const& table : Distinct(results, TableOf)) {
        std::vector<Result> rows;
        std::copy_if(results.begin(), results.end(), std::back_inserter(rows),
                     [&](Result const& result) { return TableOf(result) == table; });
        std::vector<std::string> const columns = Distinct(rows, ColumnOf);
        std::vector<std::string> const names = Distinct(rows, RowOf);
        out << "\n| " << table << " |";
        for (std::string const& column : columns) out << ' ' << column << " |";
        out << "\n|---|";
        for (std::size_t i = 0; i < columns.size(); ++i) out << "---:|";
        out << '\n';
        for (std::string const& name : names) {
            out << "| " << name << " |";
            for (std::string const& column : columns) {
                Result const* const first = Find(rows, column, names.front());
                out << ' ' << TextOf(Find(rows, column, name), first) << " |";
            }
            out << '\n';
        }
    }
}

void PrintCsv(std::ostream& out, std::vector<Result> const& results) {
    out << "job,name,microseconds\n";
    for (Result const& result : results) {
        out << result.job << ",\"" << result.name << "\"," << result.microseconds << '\n';
    }
}

}  // namespace kes::bench
