#include "base/output_file.hpp"

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

void RefuseToOverwrite(std::string const& input, std::string const& output) {
    std::error_code ignored;  // a path that does not exist is not the same file
    if (std::filesystem::equivalent(input, output, ignored)) {
        throw Failure(ExitCode::BadUsage, output + ": is the input; it would be overwritten");
    }
}

}  // namespace kes::track
