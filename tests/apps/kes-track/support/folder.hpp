// A folder of a test's own, gone with the test.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace kes::track::test {

class Folder {
public:
    Folder();
    Folder(Folder const&) = delete;
    Folder& operator=(Folder const&) = delete;
    ~Folder();

    std::string operator/(std::string_view name) const { return (path / name).string(); }

private:
    std::filesystem::path path;
};

std::string ReadFile(std::string const& path);
void WriteFile(std::string const& path, std::string_view bytes);

}  // namespace kes::track::test
