#include "base/output_file.hpp"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <system_error>
#include <utility>

#include "base/failure.hpp"

namespace kes::track {
namespace {

[[noreturn]] void Fail(std::string const& path, int error) {
    throw Failure(ExitCode::BadOutput, path + ": " + std::generic_category().message(error));
}

// A regular file, or nothing yet: not a device such as /dev/null, of which nothing is lost.
bool IsFileToBe(std::string const& path) {
    std::error_code ignored;
    auto const status = std::filesystem::status(path, ignored);
    return !std::filesystem::exists(status) || std::filesystem::is_regular_file(status);
}

bool IsSameFile(std::string const& one, std::string const& other) {
    std::error_code error;
    if (std::filesystem::equivalent(one, other, error)) return true;
    // Neither is there yet.
    auto const place = [&](std::string const& path) {
        return std::filesystem::weakly_canonical(std::filesystem::absolute(path, error), error);
    };
    return place(one) == place(other);
}

}  // namespace

OutputFile::OutputFile(std::string outputPath) : path(std::move(outputPath)) {
    file.reset(std::fopen(path.c_str(), "wb"));
    if (!file) Fail(path, errno);
}

void OutputFile::Write(std::string_view bytes) {
    if (std::fwrite(bytes.data(), 1, bytes.size(), file.get()) != bytes.size()) Fail(path, errno);
}

void OutputFile::Flush() {
    if (std::fflush(file.get()) != 0) Fail(path, errno);
}

void OutputFile::Close() {
    if (!file) return;
    // Buffered bytes that find no room fail here, not in Write.
    if (std::fclose(file.release()) != 0) Fail(path, errno);
}

void RefuseToOverwrite(Paths const& inputs, Paths const& outputs) {
    for (auto output = outputs.begin(); output != outputs.end(); ++output) {
        if (!*output || !IsFileToBe(**output)) continue;
        auto const isSame = [&](std::optional<std::string> const& other) {
            return other && IsSameFile(*other, **output);
        };
        if (std::any_of(inputs.begin(), inputs.end(), isSame)) {
            throw Failure(ExitCode::BadUsage, **output + ": is read; it would be overwritten");
        }
        if (std::any_of(outputs.begin(), output, isSame)) {
            throw Failure(ExitCode::BadUsage, **output + ": is named for two outputs");
        }
    }
}

}  // namespace kes::track
