#include "bench/contest.hpp"

#include <time.h>

#include <algorithm>
#include <cstdio>
#include <ostream>

namespace kes::bench {
namespace {

// Time that this thread has spent on the processor: what else the machine does is left out, as far
// as it does not take memory bandwidth and cache. Reading it costs a few hundred nanoseconds, so a
// repetition should take many times that.
double Now() {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) * 1e6 + static_cast<double>(time.tv_nsec) * 1e-3;
}

}  // namespace

double Median(std::vector<double> values) {
    auto const middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

std::vector<Result> RunContest(std::string const& job, std::vector<Contender> const& contenders,
                               Plan const& plan) {
    std::vector<std::vector<double>> times(contenders.size());
    std::size_t repetition = 0;
    for (std::size_t round = 0; round < plan.rounds; ++round) {
        for (std::size_t i = 0; i < contenders.size(); ++i) {
            for (std::size_t k = 0; k <= plan.repetitionsInARow; ++k) {
                if (plan.prepare) plan.prepare(repetition + k);
                double const start = Now();
                contenders[i].run(repetition + k);
                if (k != 0) times[i].push_back(Now() - start);
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
        std::snprintf(line, sizeof line, "  %-34s %12.2f us %9.2f x\n", result.name.c_str(),
                      result.microseconds, result.microseconds / results.front().microseconds);
        out << line;
    }
    out << std::flush;
}

}  // namespace kes::bench
