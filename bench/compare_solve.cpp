// The assignment solver against the plain steps and SciPy's linear_sum_assignment, called from
// Python on the same costs.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

#include "bench/compare.hpp"
#include "support/cost_matrices.hpp"
#include "support/plain_assignment.hpp"

namespace kes::bench {
namespace {

using algorithm::tracking_base::hungarian::Costs;
using algorithm::tracking_base::hungarian::Solve;

// The median in microseconds, or nothing where SciPy cannot be had.
std::vector<Result> AskSciPy(std::string const& job, Costs const& costs) {
    auto const path = std::filesystem::temp_directory_path() / "kes_compare_costs.f32";
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<char const*>(costs.data()),
               static_cast<std::streamsize>(costs.size()) *
                   static_cast<std::streamsize>(sizeof(float)));
    std::string const command = std::string("/usr/bin/python3 ") + KES_SOLVE_SCIPY + " " +
                                path.string() + " " + std::to_string(costs.rows());
    std::vector<Result> results;
    if (std::FILE* const answer = popen(command.c_str(), "r")) {
        double microseconds = 0;
        bool const isAnswered = std::fscanf(answer, "%lf", &microseconds) == 1;
        if (pclose(answer) == 0 && isAnswered) results.push_back({job, "SciPy", microseconds});
    }
    std::filesystem::remove(path);
    return results;
}

}  // namespace

std::vector<Result> CompareSolvers(IsWanted const& isWanted) {
    std::vector<Result> all;
    for (char const* kind : {"uniform", "digits", "gated", "crowd"}) {
        for (int size : {10, 30, 54, 100, 300, 1000}) {
            std::string const job =
                "Solve/" + std::to_string(size) + "x" + std::to_string(size) + "/" + kind;
            if (!isWanted(job)) continue;
            std::mt19937 random(1);
            Costs const costs = test::CostKindNamed(kind).make(size, size, random);
            std::vector<Contender> contenders{
                {"ours", [&](std::size_t) { static_cast<void>(Solve(costs)); }}};
            if (size <= 100) {
                contenders.push_back({"plain steps", [&](std::size_t) {
                                          static_cast<void>(test::PlainSolve(costs));
                                      }});
            }
            auto results = RunContest(job, contenders, {3, size <= 100 ? 20U : 3U});
            for (Result const& result : AskSciPy(job, costs)) results.push_back(result);
            Print(std::cout, results);
            all.insert(all.end(), results.begin(), results.end());
        }
    }
    return all;
}

}  // namespace kes::bench
