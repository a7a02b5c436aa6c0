// kes_compare [--csv FILE] [PART-OF-A-JOB'S-NAME]...: ours and the peers in turn, on one core.
// bench/compare builds and runs it.
#include <sched.h>

#include <algorithm>
#include <cstddef>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

#include <opencv2/core.hpp>

#include "bench/compare.hpp"

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
    std::string csvPath;
    std::vector<std::string> parts;
    for (int i = 1; i < argc; ++i) {
        std::string const argument = argv[i];
        if (argument == "--csv" && i + 1 < argc) {
            csvPath = argv[++i];
        } else if (argument.rfind("-", 0) == 0) {
            std::cerr << "usage: kes_compare [--csv FILE] [PART-OF-A-JOB'S-NAME]...\n";
            return 2;
        } else {
            parts.push_back(argument);
        }
    }
    auto const isWanted = [&](std::string const& job) {
        return parts.empty() || std::any_of(parts.begin(), parts.end(), [&](auto const& part) {
                   return job.find(part) != std::string::npos;
               });
    };

    PinToOneCore();
    cv::setNumThreads(1);
    std::vector<kes::bench::Result> results;
    for (auto const& compare :
         {kes::bench::CompareSegmenters, kes::bench::CompareSmogs, kes::bench::CompareSolvers}) {
        for (kes::bench::Result const& result : compare(isWanted)) results.push_back(result);
    }
    if (!csvPath.empty()) {
        std::ofstream csv(csvPath);
        csv << "job,name,microseconds\n";
        for (kes::bench::Result const& result : results) {
            csv << result.job << ',' << result.name << ',' << result.microseconds << '\n';
        }
        if (!csv.flush()) throw std::runtime_error("cannot write " + csvPath);
    }
    return 0;
} catch (std::exception const& error) {
    std::cerr << "kes_compare: " << error.what() << '\n';
    return 1;
}
