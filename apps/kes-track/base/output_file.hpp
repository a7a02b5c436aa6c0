// OutputFile: a file being written, whose every failure is said with its name.
#pragma once

#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

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

// Throws Failure (BadUsage) when `output` is the file that `input` names.
void RefuseToOverwrite(std::string const& input, std::string const& output);

}  // namespace kes::track
