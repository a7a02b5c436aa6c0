#include "support/folder.hpp"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace kes::track::test {

Folder::Folder() {
    std::string name = (std::filesystem::temp_directory_path() / "kes-track.XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("cannot make " + name);
    path = name;
}

Folder::~Folder() {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
}

std::string ReadFile(std::string const& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void WriteFile(std::string const& path, std::string_view bytes) {
    std::ofstream(path, std::ios::binary)
        .write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

}  // namespace kes::track::test
