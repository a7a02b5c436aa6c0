#include "output/output_file.hpp"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

#include "base/failure.hpp"

namespace kes::track {
namespace {

// A regular file, standard output, or nothing yet: not a device such as /dev/null, of which nothing
// is lost.
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

OutputFile::OutputFile(std::string path) : part(std::move(path)) {
    int const descriptor = fcntl(part.Descriptor(), F_DUPFD_CLOEXEC, 0);
    if (descriptor < 0) part.Fail(errno);
    file.reset(fdopen(descriptor, "wb"));
    if (!file) {
        close(descriptor);
        part.Fail(errno);
    }
}

void OutputFile::Write(std::string_view bytes) {
    if (std::fwrite(bytes.data(), 1, bytes.size(), file.get()) != bytes.size()) part.Fail(errno);
}

void OutputFile::Flush() {
    if (std::fflush(file.get()) != 0) part.Fail(errno);
    part.Keep();
}

void OutputFile::Close() {
    if (!file) return;
    // Bytes that found no room are gone from the buffer: the file is not whole.
    bool const hasFailed = std::ferror(file.get()) != 0;
    if (std::fclose(file.release()) != 0) part.Fail(errno);
    if (hasFailed) part.Fail(EIO);
    part.Commit();
}

void MakeFolder(std::string const& path) {
    std::error_code error;
    std::filesystem::create_directories(path, error);
    if (error) throw Failure(ExitCode::BadOutput, path + ": " + error.message());
}

void RefuseToOverwrite(Paths const& inputs, Paths const& outputs) {
    for (auto output = outputs.begin(); output != outputs.end(); ++output) {
        if (!*output || !IsFileToBe(**output)) continue;
        auto const isSame = [&](std::optional<std::string> const& other) {
            return other && IsSameFile(*other, **output);
        };
        auto const isRead = [&](std::optional<std::string> const& input) {
            bool const isFile = input && *input != "-";
            return isFile && (isSame(input) || IsSameFile(*input, PartFile::PartOf(**output)));
        };
        if (std::any_of(inputs.begin(), inputs.end(), isRead)) {
            throw Failure(ExitCode::BadUsage, **output + ": is read; it would be overwritten");
        }
        if (std::any_of(outputs.begin(), output, isSame)) {
            throw Failure(ExitCode::BadUsage, **output + ": is named for two outputs");
        }
    }
}

}  // namespace kes::track
