// Runs a fuzz target over files, and over random bytes as well, for builds without libFuzzer: what
// a target compares, every build's tests compare. usage: NAME_fuzz FILE...
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <vector>

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
    // Each is named first, so that a crash is known by its input.
    for (int i = 1; i < argumentCount; ++i) {
        std::fprintf(stderr, "%s\n", arguments[i]);
        std::ifstream stream(arguments[i], std::ios::binary);
        Run({std::istreambuf_iterator<char>(stream), {}});
    }
    for (std::uint32_t seed = 0; seed < RandomInputs; ++seed) {
        std::fprintf(stderr, "random input %u\n", seed);
        kes::test::Generator random(seed);
        std::vector<char> bytes(1 + random.Below(LongestRandomInput));
        for (char& byte : bytes) byte = static_cast<char>(random.Below(256));
        Run(bytes);
    }
    return argumentCount > 1 ? 0 : 1;
}
