// kes_compare: ours and the peers in turn, on one core. bench/compare builds and runs it.
#include <sched.h>

#include <algorithm>
#include <cstddef>
#include <exception>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include <opencv2/core.hpp>

#include "bench/compare.hpp"
#include "bench/machine.hpp"
#include "bench/tables.hpp"

namespace {

void PinToOneCore() {
    cpu_set_t cores;
    CPU_ZERO(&cores);
    CPU_SET(static_cast<std::size_t>(sched_getcpu()), &cores);
    if (sched_setaffinity(0, sizeof cores, &cores) != 0) {
        std::cerr << "kes_compare: not pinned to one core; expect more scatter\n";
    }
}

}  // namespace

int main(int argc, char** argv) try {
    unsigned runs = 1;
    std::string csvPath;
    std::vector<std::string> parts;
    CLI::App app("Times ours and the peers in turn, on one core.", "kes_compare");
    app.add_option("--runs", runs, "repeat everything and take the medians of the runs");
    app.add_option("--csv", csvPath, "write the results to this file, too");
    app.add_option("PART-OF-A-NAME", parts, "only the jobs whose name contains one of these");
    CLI11_PARSE(app, argc, argv);

    auto const isWanted = [&](std::string const& job) {
        return parts.empty() || std::any_of(parts.begin(), parts.end(), [&](auto const& part) {
                   return job.find(part) != std::string::npos;
               });
    };
    PinToOneCore();
    cv::setNumThreads(1);
    std::vector<kes::bench::Result> all;
    for (unsigned run = 0; run < runs; ++run) {
        for (auto const& compare : {kes::bench::CompareSegmenters, kes::bench::CompareSmogs,
                                    kes::bench::CompareSolvers}) {
            for (kes::bench::Result const& result : compare(isWanted)) all.push_back(result);
        }
    }
    std::cout << '\n' << kes::bench::DescribeMachine() << '\n';
    std::vector<kes::bench::Result> const results = kes::bench::MediansOf(all);
    kes::bench::PrintMarkdown(std::cout, results);
    if (!csvPath.empty()) {
        std::ofstream csv(csvPath);
        kes::bench::PrintCsv(csv, results);
        if (!csv.flush()) throw std::runtime_error("cannot write " + csvPath);
    }
    return 0;
} catch (std::exception const& error) {
    std::cerr << "kes_compare: " << error.what() << '\n';
    return 1;
}
