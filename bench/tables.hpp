// What is left of several runs of all contests.
#pragma once

#include <iosfwd>
#include <vector>

#include "bench/contest.hpp"

namespace kes::bench {

// One result a job and name, in their first order: the median of that result over the runs.
std::vector<Result> MediansOf(std::vector<Result> const& resultsOfAllRuns);

// Markdown tables in microseconds, one for all jobs of the same name but for its last part, which
// heads a column: Segmenter/1920x1080 with its clip, noise and so on. Beside each time stands its
// ratio to the job's first contender.
void PrintMarkdown(std::ostream& out, std::vector<Result> const& results);

// A line a result: job, name, microseconds.
void PrintCsv(std::ostream& out, std::vector<Result> const& results);

}  // namespace kes::bench
