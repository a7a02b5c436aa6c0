// The assignment solver against the plain steps, dlib's max_cost_assignment and SciPy's
// linear_sum_assignment, called from Python, on the same matrices.
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <limits>
#include <string>
#include <vector>

#include <dlib/optimization/max_cost_assignment.h>
#include <hwy/highway.h>

#include "bench/compare.hpp"
#include "bench/solve_matrices.hpp"
#include "support/plain_assignment.hpp"

namespace kes::bench {
namespace {

using algorithm::tracking_base::hungarian::Costs;
using algorithm::tracking_base::hungarian::Solve;

constexpr float Forbidden = std::numeric_limits<float>::max();

// dlib wants gains, and whole numbers, with which it is fast and exact: costs become shares of the
// dearest in 2^20 steps, and what is forbidden is only very dear.
dlib::matrix<std::int64_t> GainsOf(Costs const& costs) {
    constexpr std::int64_t Steps = std::int64_t{1} << 20;
    float const dearest = (costs < Forbidden).select(costs, 0).maxCoeff();
    dlib::matrix<std::int64_t> gains(costs.rows(), costs.cols());
    for (Eigen::Index row = 0; row < costs.rows(); ++row) {
        for (Eigen::Index column = 0; column < costs.cols(); ++column) {
            float const cost = costs(row, column);
            gains(row, column) = cost < Forbidden
                                     ? -std::llround(cost / dearest * static_cast<float>(Steps))
                                     : -Steps * costs.rows();
        }
    }
    return gains;
}

// Microseconds a matrix, or nothing where SciPy cannot be had.
std::vector<Result> AskSciPy(std::string const& job, std::vector<Costs> const& matrices) {
    auto const path = std::filesystem::temp_directory_path() / "kes_compare_costs.f32";
    std::ofstream file(path, std::ios::binary);
    for (Costs const& costs : matrices) {
        file.write(reinterpret_cast<char const*>(costs.data()),
                   static_cast<std::streamsize>(costs.size()) *
                       static_cast<std::streamsize>(sizeof(float)));
    }
    file.close();
    std::string const command = std::string("/usr/bin/python3 ") + KES_SOLVE_SCIPY + " " +
                                path.string() + " " + std::to_string(matrices.front().rows());
    std::vector<Result> results;
    if (std::FILE* const answer = popen(command.c_str(), "r")) {
        double microseconds = 0;
        bool const isAnswered = std::fscanf(answer, "%lf", &microseconds) == 1;
        if (pclose(answer) == 0 && isAnswered) results.push_back({job, "SciPy", microseconds});
    }
    std::filesystem::remove(path);
    return results;
}

// Every repetition solves all matrices; reported is its share for one.
std::vector<Result> Compare(std::string const& job, std::string const& kind, int size) {
    std::vector<Costs> const matrices = SolveMatrices(test::CostKindNamed(kind.c_str()), size);
    std::vector<dlib::matrix<std::int64_t>> gains;
    for (Costs const& costs : matrices) gains.push_back(GainsOf(costs));

    auto const solveAll = [&](std::size_t) {
        for (Costs const& costs : matrices) static_cast<void>(Solve(costs));
    };
    std::vector<Contender> contenders{{"ours", solveAll}};
    if ((hwy::SupportedTargets() & HWY_AVX3) != 0) {
        contenders.push_back({"ours, AVX2", [&](std::size_t repetition) {
                                  hwy::SetSupportedTargetsForTest(HWY_AVX2);
                                  solveAll(repetition);
                                  hwy::SetSupportedTargetsForTest(0);
                              }});
    }
    if (size <= 100) {  // beyond it seconds
        contenders.push_back({"plain steps", [&](std::size_t) {
                                  for (Costs const& costs : matrices) {
                                      static_cast<void>(test::PlainSolve(costs));
                                  }
                              }});
    }
    contenders.push_back({"dlib", [&](std::size_t) {
                              for (auto const& gain : gains) {
                                  static_cast<void>(dlib::max_cost_assignment(gain));
                              }
                          }});
    auto results = RunContest(job, contenders, {5, size <= 30 ? 8U : 2U});
    for (Result& result : results) result.microseconds /= static_cast<double>(matrices.size());
    for (Result const& result : AskSciPy(job, matrices)) results.push_back(result);
    Print(std::cout, results);
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
            for (Result const& result : Compare(job, kind, size)) all.push_back(result);
        }
    }
    return all;
}

}  // namespace kes::bench
