// Any file as a painted mask: a mask of the frames' size, or one line of refusal.
#include <sys/mman.h>
#include <unistd.h>

#include <string>

#include "base/failure.hpp"
#include "bytes.hpp"
#include "video/mask_image.hpp"

extern "C" {
#include <libavutil/log.h>
}

using kes::fuzz::Check;

namespace {

// A file in memory, by a name that can be opened.
class MemoryFile {
public:
    MemoryFile(std::uint8_t const* data, std::size_t size)
        : descriptor(memfd_create("mask", MFD_CLOEXEC)) {
        Check(write(descriptor, data, size) == static_cast<ssize_t>(size), "a file in memory");
    }
    ~MemoryFile() { close(descriptor); }
    MemoryFile(MemoryFile const&) = delete;
    MemoryFile& operator=(MemoryFile const&) = delete;

    std::string Path() const { return "/proc/self/fd/" + std::to_string(descriptor); }

private:
    int descriptor;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    av_log_set_level(AV_LOG_QUIET);
    MemoryFile const file(data, size);
    try {
        auto const mask = kes::track::video::ReadMask(file.Path(), {70, 5});
        Check(mask.width == 35 && mask.height == 2 && mask.words.size() == 4, "the mask's size");
        Check((mask.words[1] << 3) == 0 && (mask.words[3] << 3) == 0, "clear padding");
    } catch (kes::track::Failure const& failure) {
        Check(failure.Code() == kes::track::ExitCode::BadSideInput, "the exit code");
        Check(std::string(failure.what()).find('\n') == std::string::npos, "one line");
    }
    return 0;
}
