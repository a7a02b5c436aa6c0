// One function a subject: runs its contests, prints each as it ends and returns all results.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "bench/contest.hpp"

namespace kes::bench {

using IsWanted = std::function<bool(std::string const& job)>;

std::vector<Result> CompareSegmenters(IsWanted const& isWanted);
std::vector<Result> CompareSmogs(IsWanted const& isWanted);
std::vector<Result> CompareSolvers(IsWanted const& isWanted);

}  // namespace kes::bench
