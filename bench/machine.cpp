#include "bench/machine.hpp"

#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <sstream>

#include "algorithm/tracking_base/emog_row.hpp"

namespace kes::bench {
namespace {

// The first processor's entries of /proc/cpuinfo; empty where the system has no such file.
std::map<std::string, std::string> ProcessorEntries() {
    std::map<std::string, std::string> entries;
    std::ifstream file("/proc/cpuinfo");
    for (std::string line; std::getline(file, line) && !line.empty();) {
        auto const colon = line.find(':');
        if (colon == std::string::npos) continue;
        std::string const name = line.substr(0, line.find_last_not_of(" \t", colon - 1) + 1);
        entries[name] = line.substr(std::min(line.size(), colon + 2));
    }
    return entries;
}

}  // namespace

std::string DescribeMachine() {
    auto entries = ProcessorEntries();
    auto const kib = [](int name) { return sysconf(name) / 1024; };
    std::ostringstream text;
    text << entries["model name"] << " (family " << entries["cpu family"] << ", model "
         << entries["model"] << "), caches " << kib(_SC_LEVEL1_DCACHE_SIZE) << " KiB, "
         << kib(_SC_LEVEL2_CACHE_SIZE) << " KiB, " << kib(_SC_LEVEL3_CACHE_SIZE)
         << " KiB, lanes in " << algorithm::tracking_base::RowInstructionSet();
    return text.str();
}

}  // namespace kes::bench
