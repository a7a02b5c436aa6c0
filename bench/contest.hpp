// A contest: several ways to do one job, run in turn in one process, told apart by their medians.
// Beside Google Benchmark, which times each way by itself: turns in blocks, an untimed repetition in
// each, and ratios to the first contender would need a runner and a reporter of their own there too.
#pragma once

#include <cstddef>
#include <functional>
#include <iosfwd>
#include <string>
#include <vector>

namespace kes::bench {

struct Contender {
    std::string name;
    std::function<void(std::size_t repetition)> run;
};

struct Result {
    std::string job;  // for example "Segmenter/1920x1080/clip"
    std::string name;
    double microseconds;  // on the processor; median of one repetition
};

// Every contender runs a block of repetitions, the first of them untimed, before the next one has
// its turn, and all of them do so in every round. Each contender's repetitions count up from 0.
struct Plan {
    std::size_t rounds = 10;
    std::size_t repetitionsInARow = 10;
    // Run before every repetition, untimed; may be none.
    std::function<void(std::size_t repetition)> prepare = nullptr;
};

std::vector<Result> RunContest(std::string const& job, std::vector<Contender> const& contenders,
                               Plan const& plan);

double Median(std::vector<double> values);

// A table: medians, and their ratios to the first contender's.
void Print(std::ostream& out, std::vector<Result> const& results);

}  // namespace kes::bench
