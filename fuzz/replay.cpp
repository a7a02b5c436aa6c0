// Runs a fuzz target over files, for builds without libFuzzer: replay FILE|DIRECTORY...
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size);

namespace {

void Replay(std::filesystem::path const& file) {
    std::ifstream stream(file, std::ios::binary);
    std::vector<char> const bytes{std::istreambuf_iterator<char>(stream), {}};
    // Named first, so that a crash is known by its file.
    std::fprintf(stderr, "%s\n", file.c_str());
    LLVMFuzzerTestOneInput(reinterpret_cast<std::uint8_t const*>(bytes.data()), bytes.size());
}

}  // namespace

int main(int argumentCount, char** arguments) {
    int files = 0;
    for (int i = 1; i < argumentCount; ++i) {
        std::filesystem::path const path = arguments[i];
        if (!std::filesystem::is_directory(path)) {
            Replay(path);
            ++files;
            continue;
        }
        for (auto const& entry : std::filesystem::directory_iterator(path)) {
            Replay(entry.path());
            ++files;
        }
    }
    return files > 0 ? 0 : 1;
}
