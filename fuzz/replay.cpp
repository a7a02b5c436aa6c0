// Runs a fuzz target over files, and over random bytes as well, in every instruction set, for
// builds without libFuzzer: what a target compares, every build's tests compare.
// usage: NAME_fuzz FILE...
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <vector>

#include <hwy/highway.h>

#include "support/generated.hpp"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size);

namespace {

constexpr std::uint32_t RandomInputs = 1000;
constexpr std::uint32_t LongestRandomInput = 500;

void Run(std::vector<char> const& bytes) {
    LLVMFuzzerTestOneInput(reinterpret_cast<std::uint8_t const*>(bytes.data()), bytes.size());
}

}  // namespace

int main(int argumentCount, char** arguments) {
    std::vector<std::int64_t> sets = hwy::SupportedAndGeneratedTargets();
    sets.push_back(HWY_STATIC_TARGET);  // plain code where a compiler is given no flags
    for (std::int64_t const set : sets) {
        hwy::SetSupportedTargetsForTest(set);
        // Each input is named first, so that a crash is known by it.
        for (int i = 1; i < argumentCount; ++i) {
            std::fprintf(stderr, "%s: %s\n", hwy::TargetName(set), arguments[i]);
            std::ifstream stream(arguments[i], std::ios::binary);
            Run({std::istreambuf_iterator<char>(stream), {}});
        }
        for (std::uint32_t seed = 0; seed < RandomInputs; ++seed) {
            std::fprintf(stderr, "%s: random input %u\n", hwy::TargetName(set), seed);
            kes::test::Generator random(seed);
            std::vector<char> bytes(1 + random.Below(LongestRandomInput));
            for (char& byte : bytes) byte = static_cast<char>(random.Below(256));
            Run(bytes);
        }
    }
    return argumentCount > 1 ? 0 : 1;
}
