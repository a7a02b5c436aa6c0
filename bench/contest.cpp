#include "bench/contest.hpp"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ostream>

namespace kes::bench {
namespace {

double Median(std::vector<double>& values) {
    auto const middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

}  // namespace

std::vector<Result> RunContest(std::string const& job, std::vector<Contender> const& contenders,
                               Plan const& plan) {
    using Clock = std::chrono::steady_clock;
    std::vector<std::vector<double>> times(contenders.size());
    std::size_t repetition = 0;
    for (std::size_t round = 0; round < plan.rounds; ++round) {
        for (std::size_t i = 0; i < contenders.size(); ++i) {
            contenders[i].run(repetition);
            for (std::size_t k = 1; k <= plan.repetitionsInARow; ++k) {
                auto const start = Clock::now();
                contenders[i].run(repetition + k);
                std::chrono::duration<double, std::micro> const time = Clock::now() - start;
                times[i].push_back(time.count());
            }
        }
        repetition += plan.repetitionsInARow + 1;
    }
    std::vector<Result> results;
    for (std::size_t i = 0; i < contenders.size(); ++i) {
        results.push_back({job, contenders[i].name, Median(times[i])});
    }
    return results;
}

void Print(std::ostream& out, std::vector<Result> const& results) {
    out << results.front().job << '\n';
    for (Result const& result : results) {
        char line[128];
        std::snprintf(line, sizeof line, "  %-34s %12.1f us %9.2f x\n", result.name.c_str(),
                      result.microseconds, result.microseconds / results.front().microseconds);
        out << line;
    }
    out << std::flush;
}

}  // namespace kes::bench
