// OutputFile: a file being written, whose every failure is said with its name.
#pragma once

#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kes::track {

// All of it throws Failure (BadOutput) with the path and the system's words.
class OutputFile {
public:
    // Makes the file, or empties one that was there.
    explicit OutputFile(std::string path);

    void Write(std::string_view bytes);

    // Hands what was written to the system, for whoever follows the file.
    void Flush();

    // What was written is with the system afterwards. Left out, the file is closed all the same,
    // without a word about failures.
    void Close();

private:
    struct Closer {
        void operator()(std::FILE* file) const noexcept { std::fclose(file); }
    };

    std::string path;
    std::unique_ptr<std::FILE, Closer> file;
};

using Paths = std::vector<std::optional<std::string>>;  // those given

// Throws Failure (BadUsage) when an output is a file that is read or that another output writes.
// Call it before the first output is made.
void RefuseToOverwrite(Paths const& inputs, Paths const& outputs);

}  // namespace kes::track
