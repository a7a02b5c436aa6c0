#include "output/part_file.hpp"

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/failure.hpp"

namespace kes::track {
namespace {

namespace fs = std::filesystem;

// /dev/stdout may lead to a regular file, which is whoever redirected it to have and not to be
// replaced.
bool IsWrittenWhereItIs(std::string const& path) {
    if (path.starts_with("/dev/") || path.starts_with("/proc/")) return true;
    std::error_code ignored;
    auto const status = fs::status(path, ignored);
    return fs::exists(status) && !fs::is_regular_file(status);
}

// Where a link leads, so that the link stays.
std::string Followed(std::string const& path) {
    std::error_code error;
    if (!fs::is_symlink(path, error)) return path;
    auto const target = fs::weakly_canonical(path, error);
    return error ? path : target.string();
}

bool IsSame(struct stat const& one, struct stat const& other) {
    return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

}  // namespace

PartFile::PartFile(std::string outputPath) : name(std::move(outputPath)), path(name) {
    if (name == "-") {
        name = "standard output";
        path = "/dev/stdout";
        descriptor = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0);
    } else if (IsWrittenWhereItIs(path)) {
        descriptor = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    } else {
        place = Followed(path);
        path = PartOf(place);
        OpenBeside();
    }
    if (descriptor < 0) Fail(errno);
}

// Opens the part and locks it. Between the two, another program may have put it in its place: then
// the lock is on a file that is no part any more.
void PartFile::OpenBeside() {
    for (;;) {
        descriptor = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
        if (descriptor < 0) return;
        // Where a file system has no locks there is no protection.
        if (flock(descriptor, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
            close(descriptor);
            throw Failure(ExitCode::BadOutput, name + ": is being written by another program");
        }
        struct stat opened {};
        struct stat named {};
        if (fstat(descriptor, &opened) == 0 && stat(path.c_str(), &named) == 0 &&
            IsSame(opened, named)) {
            break;
        }
        close(descriptor);
    }
    struct stat before {};
    if (stat(place.c_str(), &before) == 0) fchmod(descriptor, before.st_mode & 07777);
    if (ftruncate(descriptor, 0) != 0) Fail(errno);
}

PartFile::~PartFile() {
    if (descriptor < 0) return;
    if (IsBeside() && !isKept) unlink(path.c_str());
    close(descriptor);
}

void PartFile::Commit() {
    if (descriptor < 0) return;
    Keep();  // it is whole, wherever it ends up
    if (IsBeside() && std::rename(path.c_str(), place.c_str()) != 0) Fail(errno);
    // Some file systems tell only here that there was no room.
    if (close(std::exchange(descriptor, -1)) != 0) Fail(errno);
}

void PartFile::Fail(int error) const {
    throw Failure(ExitCode::BadOutput, name + ": " + std::generic_category().message(error));
}

}  // namespace kes::track
