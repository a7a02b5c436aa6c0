// OutputFile: a file being written, whose every failure is said with its name.
#pragma once

#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "output/part_file.hpp"

namespace kes::track {

// A PartFile with a buffer. All of it throws Failure (BadOutput) with the name and the system's
// words.
class OutputFile {
public:
    explicit OutputFile(std::string path);

    void Write(std::string_view bytes);

    // Hands what was written to the system, for whoever follows the file; it stays, as a part, also
    // when no more follows.
    void Flush();

    // Puts the file in its place. Left out, it is not put there.
    void Close();

private:
    struct Closer {
        void operator()(std::FILE* file) const noexcept { std::fclose(file); }
    };

    PartFile part;
    std::unique_ptr<std::FILE, Closer> file;
};

// Makes a folder and those above it. Throws Failure (BadOutput).
void MakeFolder(std::string const& path);

using Paths = std::vector<std::optional<std::string>>;  // those given

// Throws Failure (BadUsage) when an output is a file that is read or that another output writes,
// the parts of outputs included. Call it before the first output is made.
void RefuseToOverwrite(Paths const& inputs, Paths const& outputs);

}  // namespace kes::track
